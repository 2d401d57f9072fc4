#include "cli_Render.h"

#include "Q38EngineHooks.h"
#include "cli_AudioFile.h"
#include "cli_Error.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <memory>
#include <sstream>
#include <vector>

namespace cli {

namespace {

using Clock = std::chrono::steady_clock;

constexpr sf_count_t kChunkFrames = 8192;

double toDecibels(double inPower, double inFactor)
{
    return inPower > 0.0 ? inFactor * std::log10(inPower) : -INFINITY;
}

} // namespace

void Levels::add(const float* inSamples, std::size_t inCount)
{
    for (std::size_t index = 0; index < inCount; ++index) {
        double sample = inSamples[index];
        if (!std::isfinite(sample)) {
            ++mNonFinite;
            sample = 0.0;
        }
        mPeak = std::max(mPeak, std::fabs(sample));
        mSumOfSquares += sample * sample;
    }
    mCount += static_cast<long long>(inCount);
}

double Levels::peakDb() const
{
    return toDecibels(mPeak, 20.0);
}

double Levels::rmsDb() const
{
    return mCount > 0 ? toDecibels(mSumOfSquares / double(mCount), 10.0) : -INFINITY;
}

RenderResult render(const RenderJob& inJob)
{
    InputFile input(inJob.mInput);
    const int channels = input.channels();
    const FileIdentity& inputIdentity = input.identity();
    const OutputFormat format = chooseOutputFormat(inJob.mOutput, inJob.mSubtype, channels, input.sampleRate());
    checkOutputPath(inJob.mOutput, &inputIdentity, inJob.mOverwrite);
    if (inJob.mPresetPath)
        checkOutputPath(*inJob.mPresetPath, &inputIdentity, inJob.mOverwrite);

    const std::unique_ptr<Q38Engine> engine(createQ38Engine());
    if (!engine)
        throw Error("cannot create the engine");
    if (inJob.mSeed)
        q38FixHissSeed(engine.get(), *inJob.mSeed);
    engine->setSampleRate(input.sampleRate());
    // The engine starts at its defaults; only the differences go in.
    for (int id = 0; id < kNumParameters; ++id)
        if (const float value = inJob.mValues[static_cast<std::size_t>(id)]; value != engine->getParameterValue(id))
            engine->setParameter(id, value);

    RenderResult result;
    result.mChannels = channels;
    result.mSampleRate = input.sampleRate();
    result.mInputFormat = input.formatName();
    result.mOutputFormat = format.mDescription;

    OutputFile output(inJob.mOutput, format, channels, input.sampleRate(), &inputIdentity, inJob.mOverwrite);
    std::vector<float> chunkIn(static_cast<std::size_t>(kChunkFrames * channels));
    std::vector<float> chunkOut(chunkIn.size());
    float blockIn[kQ38MaxNumChannels][kQ38MaxBufferSize];
    float blockOut[kQ38MaxNumChannels][kQ38MaxBufferSize];
    const float* inputs[kQ38MaxNumChannels] = {blockIn[0], blockIn[1]};
    float* outputs[kQ38MaxNumChannels] = {blockOut[0], blockOut[1]};

    // What goes into the file, measured as written: with --match-loudness
    // that is the scaled output, after the whole input has been read.
    const FrameSink writeOutput = [&](const float* inInterleaved, long long inFrames) {
        const std::size_t samples = static_cast<std::size_t>(inFrames * channels);
        result.mOutputLevels.add(inInterleaved, samples);
        if (format.mClips)
            result.mClippedSamples += std::count_if(inInterleaved, inInterleaved + samples,
                                                    [](float inSample) { return std::fabs(inSample) > 1.0f; });
        output.write(inInterleaved, inFrames);
    };
    LoudnessStage loudness(channels, input.sampleRate(), inJob.mMeasureLoudness, inJob.mMatchLoudness,
                           format.mClips);

    const Clock::time_point start = Clock::now();
    while (const sf_count_t frames = input.read(chunkIn.data(), kChunkFrames)) {
        // A non-finite sample (a damaged file) is counted, then goes in, and
        // is metered for loudness, as silence.
        const auto chunkEnd = chunkIn.begin() + static_cast<long>(frames * channels);
        result.mInputLevels.add(chunkIn.data(), static_cast<std::size_t>(frames * channels));
        std::replace_if(chunkIn.begin(), chunkEnd, [](float inSample) { return !std::isfinite(inSample); }, 0.0f);
        loudness.addInput(chunkIn.data(), frames);
        for (sf_count_t position = 0; position < frames; position += kQ38MaxBufferSize) {
            const int count = static_cast<int>(std::min<sf_count_t>(kQ38MaxBufferSize, frames - position));
            const float* source = chunkIn.data() + position * channels;
            for (int index = 0; index < count; ++index)
                for (int channel = 0; channel < channels; ++channel)
                    blockIn[channel][index] = source[index * channels + channel];
            engine->process(inputs, outputs, channels, count);
            float* destination = chunkOut.data() + position * channels;
            for (int index = 0; index < count; ++index)
                for (int channel = 0; channel < channels; ++channel)
                    destination[index * channels + channel] = blockOut[channel][index];
            for (int meter = 0; meter < kNumMeters; ++meter)
                result.mMeterPeak[meter] = std::max(result.mMeterPeak[meter], engine->getMeterValue(meter));
        }
        loudness.addOutput(chunkOut.data(), frames, writeOutput);
        result.mFrames += frames;
        if (inJob.mOnProgress)
            inJob.mOnProgress(result.mFrames, input.frames());
    }
    result.mLoudness = loudness.finish(writeOutput);
    output.commit();
    result.mWorkSeconds = std::chrono::duration<double>(Clock::now() - start).count();
    if (inJob.mPresetPath)
        writeTextFile(*inJob.mPresetPath, inJob.mPresetText, &inputIdentity, inJob.mOverwrite);
    return result;
}

std::string describeRender(const RenderJob& inJob, const RenderResult& inResult)
{
    const double seconds = double(inResult.mFrames) / inResult.mSampleRate;
    std::ostringstream text;
    char line[256];
    text << inJob.mInput.string() << " -> " << inJob.mOutput.string() << "\n";
    std::snprintf(line, sizeof line, "  %s, %d Hz, %.3f s (%lld frames); %s -> %s\n",
                  inResult.mChannels == 1 ? "mono" : "stereo", inResult.mSampleRate, seconds,
                  static_cast<long long>(inResult.mFrames), inResult.mInputFormat.c_str(),
                  inResult.mOutputFormat.c_str());
    text << line;
    if (inResult.mWorkSeconds > 0.0)
        std::snprintf(line, sizeof line, "  rendered in %.2f s, %.1fx real time\n", inResult.mWorkSeconds,
                      seconds / inResult.mWorkSeconds);
    else
        std::snprintf(line, sizeof line, "  rendered in no measurable time\n");
    text << line;
    text << "  peak " << formatDecibels(inResult.mInputLevels.peakDb()) << " dBFS in, "
         << formatDecibels(inResult.mOutputLevels.peakDb()) << " dBFS out; RMS "
         << formatDecibels(inResult.mInputLevels.rmsDb()) << " dBFS in, "
         << formatDecibels(inResult.mOutputLevels.rmsDb()) << " dBFS out\n";
    text << describeLoudness(inResult.mLoudness);
    std::snprintf(line, sizeof line, "  highest meter reading (0 to 1): ch1 %.3f", inResult.mMeterPeak[0]);
    text << line;
    if (inResult.mChannels > 1) {
        std::snprintf(line, sizeof line, ", ch2 %.3f", inResult.mMeterPeak[1]);
        text << line;
    }
    text << "\n";
    if (inResult.mInputLevels.mNonFinite > 0)
        text << "  " << inResult.mInputLevels.mNonFinite << " non-finite input samples treated as silence\n";
    if (inResult.mOutputLevels.mNonFinite > 0)
        text << "  " << inResult.mOutputLevels.mNonFinite << " non-finite output samples\n";
    if (inResult.mClippedSamples > 0)
        text << "  " << inResult.mClippedSamples << " samples clipped at full scale\n";
    if (inJob.mPresetPath)
        text << "  settings saved to " << inJob.mPresetPath->string() << "\n";
    return text.str();
}

} // namespace cli
