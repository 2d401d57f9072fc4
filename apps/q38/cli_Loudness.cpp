#include "cli_Loudness.h"

#include "cli_Error.h"

#include <cerrno>
#include <cmath>
#include <cstring>
#include <sstream>
#include <vector>

namespace cli {

namespace {

constexpr long long kChunkFrames = 8192;

double amplitudeToDecibels(double inAmplitude)
{
    return inAmplitude > 0.0 ? 20.0 * std::log10(inAmplitude) : -INFINITY;
}

} // namespace

LoudnessMeter::LoudnessMeter(int inChannels, int inSampleRate)
    : mState(ebur128_init(static_cast<unsigned>(inChannels), static_cast<unsigned long>(inSampleRate),
                          EBUR128_MODE_I | EBUR128_MODE_TRUE_PEAK)),
      mChannels(inChannels)
{
    if (!mState)
        throw Error("cannot start the loudness meter");
}

LoudnessMeter::~LoudnessMeter()
{
    ebur128_destroy(&mState);
}

void LoudnessMeter::add(const float* inInterleaved, long long inFrames)
{
    if (inFrames > 0 && ebur128_add_frames_float(mState, inInterleaved, static_cast<std::size_t>(inFrames)) !=
                            EBUR128_SUCCESS)
        throw Error("the loudness meter ran out of memory");
}

double LoudnessMeter::integratedLufs() const
{
    double loudness = -INFINITY;
    if (ebur128_loudness_global(mState, &loudness) != EBUR128_SUCCESS || !std::isfinite(loudness))
        return -INFINITY;
    return loudness;
}

double LoudnessMeter::truePeakDb() const
{
    double highest = 0.0;
    for (int channel = 0; channel < mChannels; ++channel) {
        double peak = 0.0;
        if (ebur128_true_peak(mState, static_cast<unsigned>(channel), &peak) == EBUR128_SUCCESS)
            highest = std::max(highest, peak);
    }
    return amplitudeToDecibels(highest);
}

LoudnessStage::LoudnessStage(int inChannels, int inSampleRate, bool inMeasure, bool inMatch, bool inFixedPoint)
    : mChannels(inChannels), mMatch(inMatch)
{
    mReport.mMeasured = inMeasure || inMatch;
    if (mReport.mMeasured) {
        mInput.emplace(inChannels, inSampleRate);
        mOutput.emplace(inChannels, inSampleRate);
    }
    mReport.mMatchAsked = inMatch;
    mReport.mFixedPoint = inFixedPoint;
    if (mMatch && !(mHeld = std::tmpfile()))
        throw Error(std::string("cannot make a temporary file for --match-loudness: ") + std::strerror(errno));
}

LoudnessStage::~LoudnessStage()
{
    if (mHeld)
        std::fclose(mHeld);
}

void LoudnessStage::addInput(const float* inInterleaved, long long inFrames)
{
    if (mInput)
        mInput->add(inInterleaved, inFrames);
}

void LoudnessStage::addOutput(float* ioInterleaved, long long inFrames, const FrameSink& inWrite)
{
    if (mOutput)
        mOutput->add(ioInterleaved, inFrames);
    if (!mMatch) {
        inWrite(ioInterleaved, inFrames);
        return;
    }
    const std::size_t count = static_cast<std::size_t>(inFrames * mChannels);
    if (std::fwrite(ioInterleaved, sizeof(float), count, mHeld) != count)
        throw Error(std::string("cannot hold the output for --match-loudness: ") + std::strerror(errno));
}

LoudnessReport LoudnessStage::finish(const FrameSink& inWrite)
{
    LoudnessReport report = mReport;
    if (!report.mMeasured)
        return report;
    report.mInputLufs = mInput->integratedLufs();
    report.mInputTruePeakDb = mInput->truePeakDb();
    report.mOutputLufs = mOutput->integratedLufs();
    report.mOutputTruePeakDb = mOutput->truePeakDb();
    if (!mMatch)
        return report;

    // Scaling by a constant scales the integrated loudness and the true peak
    // by the same gain; neither needs measuring again.
    report.mMatched = std::isfinite(report.mInputLufs) && std::isfinite(report.mOutputLufs);
    report.mGainDb = report.mMatched ? report.mInputLufs - report.mOutputLufs : 0.0;
    const double gain = std::pow(10.0, report.mGainDb / 20.0);
    report.mOutputLufs += report.mGainDb;
    report.mOutputTruePeakDb += report.mGainDb;

    std::rewind(mHeld);
    std::vector<float> chunk(static_cast<std::size_t>(kChunkFrames * mChannels));
    while (const std::size_t read = std::fread(chunk.data(), sizeof(float) * mChannels, kChunkFrames, mHeld)) {
        for (std::size_t i = 0; i < read * static_cast<std::size_t>(mChannels); ++i)
            chunk[i] = static_cast<float>(chunk[i] * gain);
        inWrite(chunk.data(), static_cast<long long>(read));
    }
    if (std::ferror(mHeld))
        throw Error(std::string("cannot read back the output for --match-loudness: ") + std::strerror(errno));
    return report;
}

std::string formatDecibels(double inDecibels)
{
    if (std::isinf(inDecibels))
        return inDecibels < 0.0 ? "-inf" : "inf";
    char text[32];
    std::snprintf(text, sizeof text, "%.1f", inDecibels);
    return text;
}

std::vector<std::string> loudnessNotes(const LoudnessReport& inReport)
{
    std::vector<std::string> notes;
    if (inReport.mMatchAsked && !inReport.mMatched) {
        notes.push_back(std::string("loudness not matched: the ") +
                        (std::isfinite(inReport.mInputLufs) ? "output" : "input") +
                        " has no integrated loudness (silent, or shorter than 0.4 s); no gain applied");
    }
    if (inReport.mFixedPoint && inReport.mOutputTruePeakDb > 0.0)
        notes.push_back("warning: the output's true peak of " + formatDecibels(inReport.mOutputTruePeakDb) +
                        " dBTP is above full scale, and its fixed-point format clips it; lower the level" +
                        (inReport.mMatched ? " of the input" : "") + " or write floating point (--subtype FLOAT)");
    return notes;
}

std::string describeLoudness(const LoudnessReport& inReport)
{
    std::ostringstream text;
    text << "  loudness " << formatDecibels(inReport.mInputLufs) << " LUFS in, "
         << formatDecibels(inReport.mOutputLufs) << " LUFS out; true peak "
         << formatDecibels(inReport.mInputTruePeakDb) << " dBTP in, " << formatDecibels(inReport.mOutputTruePeakDb)
         << " dBTP out\n";
    if (inReport.mMatched) {
        char gain[32];
        std::snprintf(gain, sizeof gain, "%+.2f", inReport.mGainDb);
        text << "  loudness matched to the input: " << gain << " dB applied to the output\n";
    }
    for (const std::string& note : loudnessNotes(inReport))
        text << "  " << note << "\n";
    return text.str();
}

} // namespace cli
