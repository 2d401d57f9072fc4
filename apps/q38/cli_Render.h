#pragma once

// One file through the engine: read in chunks, process in blocks of at most
// kQ38MaxBufferSize samples, write, and measure along the way.

#include "cli_Loudness.h"
#include "cli_Parameters.h"

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

// Renders one file with its own engine; safe to run on several threads at
// once. Throws Error; on any failure no output file is left behind.
RenderResult render(const RenderJob& inJob);

// A few lines for standard output.
std::string describeRender(const RenderJob& inJob, const RenderResult& inResult);

} // namespace cli
