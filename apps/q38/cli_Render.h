#pragma once

// One file through the engine: read in chunks, process in blocks of at most
// kQ38MaxBufferSize samples, write, and measure along the way.

#include "cli_Loudness.h"
#include "cli_Parameters.h"
#include "host_OversampledEngine.h"

#include <sndfile.h>

#include <filesystem>
#include <functional>
#include <optional>
#include <string>

namespace cli {

// Peak and RMS over all samples of all channels; a non-finite sample is
// counted apart and measured as silence.
struct Levels
{
    double mPeak = 0.0;
    double mSumOfSquares = 0.0;
    long long mCount = 0;
    long long mNonFinite = 0;

    void add(const float* inSamples, std::size_t inCount);
    double peakDb() const;
    double rmsDb() const; // a full-scale sine reads -3 dBFS
};

struct RenderJob
{
    std::filesystem::path mInput;
    std::filesystem::path mOutput;
    std::string mSubtype;
    bool mOverwrite = false;
    std::optional<unsigned long long> mSeed;
    bool mMatchLoudness = false; // scale the output to the input's integrated loudness
    // Loudness and true peak cost more than the render itself: measured only
    // when somebody reads them (or the match needs them).
    bool mMeasureLoudness = true;
    // 1, 2, 4 or 8: the engine at that multiple of the file's rate, or the
    // largest of them that the engine can run at.
    int mOversample = 1;
    ParameterValues mValues{};
    // Written after the sound file, when a render succeeded.
    std::optional<std::filesystem::path> mPresetPath;
    std::string mPresetText;
    // Called after every chunk with the frames done and the file's frames.
    std::function<void(sf_count_t inDone, sf_count_t inTotal)> mOnProgress;
};

struct RenderResult
{
    int mChannels = 0;
    int mSampleRate = 0;
    int mOversample = 1; // the factor used
    int mLatency = 0;    // the resamplers' delay, in frames, taken out of the output
    sf_count_t mFrames = 0;
    std::string mInputFormat;
    std::string mOutputFormat;
    double mWorkSeconds = 0.0;
    Levels mInputLevels; // its mNonFinite samples went into the engine as silence
    Levels mOutputLevels;
    float mMeterPeak[kNumMeters] = {}; // highest reading seen per meter
    long long mClippedSamples = 0;     // beyond full scale in an integer format
    LoudnessReport mLoudness;
};

// A fresh engine as every render starts it: the hiss seed, the rate and
// factor, then the values that differ from the defaults. Throws Error when
// the engine cannot be made.
void startEngine(host::OversampledEngine& ioEngine, const std::optional<unsigned long long>& inSeed, int inSampleRate,
                 int inOversample, const ParameterValues& inValues);

// Sets the values that differ from the engine's: a fresh engine starts at the
// defaults, so only the differences go in.
void applyValues(Q38Engine& ioEngine, const ParameterValues& inValues);

// Renders one file with its own engine; safe to run on several threads at
// once. Throws Error; on any failure no output file is left behind.
RenderResult render(const RenderJob& inJob);

// "  oversampled 4x; the engine at 192000 Hz, ..." for a summary, saying so
// when the factor used is not the one asked for.
std::string describeOversampling(int inAsked, int inUsed, int inSampleRate, int inLatency);

// A few lines for standard output.
std::string describeRender(const RenderJob& inJob, const RenderResult& inResult);

} // namespace cli
