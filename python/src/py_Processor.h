#pragma once

// The engine behind one q38.Preamp. It is made afresh at a reset or at a new
// sample rate or oversampling factor exactly as the q38 program makes its
// engine, and kept between calls for streaming. Knows nothing of Python: the
// module hands it plain channel arrays with the interpreter lock released.

#include "cli_Parameters.h"
#include "host_OversampledEngine.h"

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
    // call, as the program does from the start of a file. With inReset the
    // call is a whole render, oversampled as the program renders a file: the
    // resamplers' delay taken out. Without, it goes on with the stream, whose
    // output comes latency() samples late. Calls from several threads take
    // turns. Throws std::invalid_argument for a rate out of range.
    void process(const float* inInput, float* outOutput, int inNumChannels, long inNumSamples, int inSampleRate,
                 int inOversample, bool inReset, const cli::ParameterValues& inValues);

    MeterReadings meters() const;
    // The delay of a stream at a rate and factor, in samples.
    static int latency(int inSampleRate, int inOversample);
    const std::optional<unsigned long long>& seed() const { return mSeed; }

private:
    const std::optional<unsigned long long> mSeed;
    std::unique_ptr<host::OversampledEngine> mEngine;
    int mSampleRate = 0;
    int mOversample = 1;
    MeterReadings mMeters;
    mutable std::mutex mMutex;
};

} // namespace pyq38
