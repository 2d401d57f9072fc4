#include "cli_Demo.h"

#include "cli_AudioFile.h"
#include "cli_Error.h"
#include "cli_Progress.h"
#include "cli_Render.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <numbers>
#include <vector>

namespace cli {

namespace fs = std::filesystem;

namespace {

constexpr int kDemoSampleRate = 48000;
constexpr double kSampleRate = kDemoSampleRate;
constexpr double kTwoPi = 2.0 * std::numbers::pi;
constexpr double kProgrammePeakDb = -18.0; // a healthy microphone level
constexpr double kSyllableSeconds = 0.4;
constexpr int kSyllables = 9;
constexpr double kGapSeconds = 0.25;
constexpr double kSweepSeconds = 3.0;
constexpr unsigned long long kDemoSeed = 38;
constexpr const char* kDemoGains[] = {"3", "30", "50", "70"};

// Repeatable noise for the string's excitation and the breath.
class Noise
{
public:
    double next()
    {
        mState = mState * 6364136223846793005ULL + 1442695040888963407ULL;
        return double(mState >> 11) * 0x1.0p-52 - 1.0;
    }

private:
    std::uint64_t mState = 0x5eed;
};

struct Formants
{
    double mFrequency[3];
};
constexpr Formants kVowels[] = {
    {{730, 1090, 2440}}, // a
    {{530, 1840, 2480}}, // e
    {{270, 2290, 3010}}, // i
    {{570, 840, 2410}},  // o
    {{300, 870, 2240}},  // u
};
constexpr double kFormantBandwidth[3] = {90, 110, 160};
constexpr double kFormantWeight[3] = {1.0, 0.5, 0.3};

double formantGain(double inFrequency, const Formants& inFormants)
{
    double gain = 0.0;
    for (int index = 0; index < 3; ++index) {
        const double detune = (inFrequency - inFormants.mFrequency[index]) / (0.5 * kFormantBandwidth[index]);
        gain += kFormantWeight[index] / std::sqrt(1.0 + detune * detune);
    }
    return gain;
}

void normalize(std::vector<double>& ioSignal, double inPeakDb)
{
    double peak = 0.0;
    for (double sample : ioSignal)
        peak = std::max(peak, std::fabs(sample));
    const double gain = peak > 0.0 ? std::pow(10.0, inPeakDb / 20.0) / peak : 0.0;
    for (double& sample : ioSignal)
        sample *= gain;
}

// Sung vowels on a gliding pitch with vibrato: harmonics shaped by three
// formants, in syllables.
std::vector<double> voice(std::size_t inLength)
{
    std::vector<double> signal(inLength, 0.0);
    Noise noise;
    double phase = 0.0;
    for (std::size_t n = 0; n < inLength; ++n) {
        const double time = double(n) / kSampleRate;
        const int syllable = static_cast<int>(time / kSyllableSeconds);
        const double within = time - syllable * kSyllableSeconds;
        const double voiced = kSyllableSeconds * 0.8;
        if (within >= voiced)
            continue;
        const double pitch =
            120.0 * (1.0 + 0.15 * std::sin(kTwoPi * 0.3 * time)) * (1.0 + 0.012 * std::sin(kTwoPi * 5.5 * time));
        phase = std::fmod(phase + kTwoPi * pitch / kSampleRate, kTwoPi);
        // Glide from the last vowel during the first 60 ms.
        const Formants& from = kVowels[(syllable + 4) % 5];
        const Formants& to = kVowels[syllable % 5];
        const double blend = std::min(within / 0.06, 1.0);
        Formants formants{};
        for (int index = 0; index < 3; ++index)
            formants.mFrequency[index] =
                from.mFrequency[index] + blend * (to.mFrequency[index] - from.mFrequency[index]);
        double sample = 0.0;
        for (int harmonic = 1; harmonic * pitch < 6000.0; ++harmonic)
            sample += formantGain(harmonic * pitch, formants) / harmonic * std::sin(harmonic * phase);
        const double envelope = std::pow(std::sin(std::numbers::pi * within / voiced), 2.0);
        signal[n] = envelope * (sample + 0.02 * noise.next());
    }
    normalize(signal, kProgrammePeakDb);
    return signal;
}

// A plucked string (Karplus-Strong) playing an arpeggio, one note a syllable.
std::vector<double> pluckedString(std::size_t inLength)
{
    constexpr double kNotes[] = {110.0, 164.81, 220.0, 261.63, 329.63, 220.0, 196.0, 246.94, 329.63};
    std::vector<double> signal(inLength, 0.0);
    Noise noise;
    for (int note = 0; note < kSyllables; ++note) {
        const std::size_t start = static_cast<std::size_t>(note * kSyllableSeconds * kSampleRate);
        std::vector<double> line(static_cast<std::size_t>(std::lround(kSampleRate / kNotes[note])));
        for (double& sample : line)
            sample = noise.next();
        std::size_t position = 0;
        for (std::size_t n = start; n < inLength; ++n) {
            const std::size_t following = (position + 1) % line.size();
            const double sample = line[position];
            line[position] = 0.4985 * (sample + line[following]);
            position = following;
            signal[n] += sample;
        }
    }
    // Fade the last ringing out.
    const std::size_t fade = static_cast<std::size_t>(0.05 * kSampleRate);
    for (std::size_t n = 0; n < fade && n < inLength; ++n)
        signal[inLength - 1 - n] *= double(n) / double(fade);
    normalize(signal, kProgrammePeakDb);
    return signal;
}

// An exponential sine sweep from 40 Hz to 16 kHz with short fades.
std::vector<double> sweep(std::size_t inLength)
{
    constexpr double kLow = 40.0;
    constexpr double kHigh = 16000.0;
    const double ratio = std::log(kHigh / kLow);
    const double amplitude = std::pow(10.0, kProgrammePeakDb / 20.0);
    const double fade = 0.02 * kSampleRate;
    std::vector<double> signal(inLength);
    for (std::size_t n = 0; n < inLength; ++n) {
        const double time = double(n) / kSampleRate;
        const double phase = kTwoPi * kLow * kSweepSeconds / ratio * std::expm1(time / kSweepSeconds * ratio);
        const double edge = std::min({1.0, double(n) / fade, double(inLength - 1 - n) / fade});
        signal[n] = amplitude * edge * std::sin(phase);
    }
    return signal;
}

// Interleaved stereo: a voice-like signal on the left and a plucked string on
// the right, then a sine sweep on both.
std::vector<float> synthesizeDemoProgramme()
{
    const auto samples = [](double inSeconds) { return static_cast<std::size_t>(inSeconds * kSampleRate); };
    const std::size_t phraseLength = samples(kSyllables * kSyllableSeconds);
    const std::size_t sweepStart = phraseLength + samples(kGapSeconds);
    const std::size_t sweepLength = samples(kSweepSeconds);
    const std::size_t length = sweepStart + sweepLength + samples(kGapSeconds);

    const std::vector<double> left = voice(phraseLength);
    const std::vector<double> right = pluckedString(phraseLength);
    const std::vector<double> tone = sweep(sweepLength);
    std::vector<float> programme(2 * length, 0.0f);
    for (std::size_t n = 0; n < phraseLength; ++n) {
        programme[2 * n] = static_cast<float>(left[n]);
        programme[2 * n + 1] = static_cast<float>(right[n]);
    }
    for (std::size_t n = 0; n < sweepLength; ++n)
        programme[2 * (sweepStart + n)] = programme[2 * (sweepStart + n) + 1] = static_cast<float>(tone[n]);
    return programme;
}

} // namespace

void runDemo(const fs::path& inFolder, bool inQuiet, const ParameterTable& inTable, std::ostream& outReport,
             bool inMatchLoudness)
{
    std::error_code error;
    fs::create_directories(inFolder, error);
    if (error)
        throw Error("cannot create the folder '" + inFolder.string() + "': " + error.message());

    const std::vector<float> programme = synthesizeDemoProgramme();
    const fs::path programmePath = inFolder / "programme.wav";
    {
        const OutputFormat format = chooseOutputFormat(programmePath, "", 2, kDemoSampleRate);
        OutputFile file(programmePath, format, 2, kDemoSampleRate, nullptr, true);
        file.write(programme.data(), static_cast<sf_count_t>(programme.size() / 2));
        file.commit();
    }
    char line[256];
    std::snprintf(line, sizeof line, "q38 demo: %.2f s of stereo at %d Hz in %s\n",
                  double(programme.size() / 2) / kDemoSampleRate, kDemoSampleRate, programmePath.string().c_str());
    outReport << line << "  left: a voice-like signal, right: a plucked string, then a sine sweep on both;\n"
              << "  rendered at these input gains (both channels), hiss seed " << kDemoSeed << ":\n\n";
    std::snprintf(line, sizeof line, "  %-22s %10s %8s %8s %8s %8s %8s %8s %8s %8s %8s %8s%s\n", "file", "input gain",
                  "peak in", "peak out", "RMS in", "RMS out", "LUFS in", "LUFS out", "dBTP in", "dBTP out", "meter 1",
                  "meter 2", inMatchLoudness ? "  matched by" : "");
    outReport << line;

    for (const char* gain : kDemoGains) {
        Settings settings;
        inTable.parseAssignment("input-gain", gain, settings);
        char name[64];
        std::snprintf(name, sizeof name, "input-gain-%02ddB.wav", std::atoi(gain));
        RenderJob job;
        job.mInput = programmePath;
        job.mOutput = inFolder / name;
        job.mOverwrite = true;
        ProgressBar progress(!inQuiet);
        job.mOnProgress = [&](sf_count_t inDone, sf_count_t inTotal) {
            progress.update(double(inDone) / double(inTotal), name);
        };
        job.mSeed = kDemoSeed;
        job.mMatchLoudness = inMatchLoudness;
        job.mValues = inTable.apply(settings);
        const RenderResult result = render(job);
        const LoudnessReport& loudness = result.mLoudness;
        char matched[32] = "";
        if (inMatchLoudness)
            std::snprintf(matched, sizeof matched, "  %+8.2f dB", loudness.mGainDb);
        std::snprintf(line, sizeof line, "  %-22s %10s %8s %8s %8s %8s %8s %8s %8s %8s %8.3f %8.3f%s\n", name,
                      inTable.formatValue(settings.front().mId, settings.front().mValue).c_str(),
                      formatDecibels(result.mInputLevels.peakDb()).c_str(),
                      formatDecibels(result.mOutputLevels.peakDb()).c_str(),
                      formatDecibels(result.mInputLevels.rmsDb()).c_str(),
                      formatDecibels(result.mOutputLevels.rmsDb()).c_str(), formatDecibels(loudness.mInputLufs).c_str(),
                      formatDecibels(loudness.mOutputLufs).c_str(), formatDecibels(loudness.mInputTruePeakDb).c_str(),
                      formatDecibels(loudness.mOutputTruePeakDb).c_str(), result.mMeterPeak[0], result.mMeterPeak[1],
                      matched);
        outReport << line << std::flush;
    }
    outReport << "\n  Levels in dBFS; integrated loudness in LUFS and true peak in dBTP (EBU R 128).\n"
              << (inMatchLoudness ? "  Each output was scaled to the programme's integrated loudness.\n" : "")
              << "  Meters: the highest reading of each channel's meter (0 to 1).\n"
              << "  The files are 32-bit float WAV in " << inFolder.string() << ".\n";
}

} // namespace cli
