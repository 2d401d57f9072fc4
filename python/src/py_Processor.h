#pragma once

// The engine behind one q38.Preamp. It is made afresh at a reset or at a new
// sample rate exactly as the q38 program makes its engine, and kept between
// calls for streaming. Knows nothing of Python: the module hands it plain
// channel arrays with the interpreter lock released.

#include "Q38Engine.h"
#include "cli_Parameters.h"

#include <memory>
#include <mutex>
#include <optional>

namespace pyq38 {

struct MeterReadings
{
    float mLast[kNumMeters] = {}; // after the last block
    float mPeak[kNumMeters] = {}; // highest of the last call
};

class Processor
{
public:
    explicit Processor(std::optional<unsigned long long> inSeed) : mSeed(inSeed) {}

    // inNumChannels arrays of inNumSamples samples, one after the other, in
    // and out. Runs in blocks of kQ38MaxBufferSize from the start of the
    // call, as the program does from the start of a file. Calls from several
    // threads take turns. Throws std::invalid_argument for a rate out of range.
    void process(const float* inInput, float* outOutput, int inNumChannels, long inNumSamples, int inSampleRate,
                 bool inReset, const cli::ParameterValues& inValues);

    MeterReadings meters() const;
    const std::optional<unsigned long long>& seed() const { return mSeed; }

private:
    const std::optional<unsigned long long> mSeed;
    std::unique_ptr<Q38Engine> mEngine;
    int mSampleRate = 0;
    MeterReadings mMeters;
    mutable std::mutex mMutex;
};

} // namespace pyq38
