#pragma once

// A model set up as the engine does at a rate, with a fixed hiss seed, and a
// few signals and measures.

#include "model/q38_ChannelChain.h"
#include "model/q38_ControlMapping.h"
#include "model/q38_Parameters.h"
#include "model/q38_SampleRateSetup.h"
#include "support/NoticeCapture.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>
#include <vector>

namespace q38::test {

// Answers a fixed reading plus the number of reads so far.
struct FakeClock
{
    std::uint64_t mReading = 0;
    int mReads = 0;

    MonotonicClock clock()
    {
        return {[](void* inClock) {
                    auto& clock = *static_cast<FakeClock*>(inClock);
                    return clock.mReading + static_cast<std::uint64_t>(clock.mReads++);
                },
                this};
    }
};

struct Model
{
    std::unique_ptr<ModelState> mState = std::make_unique<ModelState>();
    std::unique_ptr<ModelCoefficients> mCoefficients = std::make_unique<ModelCoefficients>();
    ParameterValues mParameters;
    double mSampleRate;
    FakeClock mClock;

    explicit Model(double inSampleRate = 44100.0, std::uint64_t inSeed = 12345) : mSampleRate(inSampleRate)
    {
        std::copy(kParameterDefaults, kParameterDefaults + kNumParameters, mParameters);
        mClock.mReading = inSeed;
        resetModel(*mState, mClock.clock());
        prepareModel(*mState, mSampleRate);
        update();
    }

    void update() { updateAll(mParameters, mSampleRate, *mCoefficients); }
    ChannelState& state(int inChannel) { return mState->mChannel[inChannel]; }
    ChannelCoefficients& coefficients(int inChannel) { return mCoefficients->mChannel[inChannel]; }

    // Whole signals through processModel in blocks, in place.
    void run(std::vector<double>* ioChannels, int inNumChannels, int inBlockSize = 32)
    {
        for (std::size_t start = 0; start < ioChannels[0].size(); start += inBlockSize) {
            const int n = static_cast<int>(std::min<std::size_t>(inBlockSize, ioChannels[0].size() - start));
            double out[2][32];
            const double* inputs[] = {ioChannels[0].data() + start, ioChannels[inNumChannels - 1].data() + start};
            double* outputs[] = {out[0], out[1]};
            processModel(inputs, outputs, n, inNumChannels, *mCoefficients, *mState);
            for (int c = 0; c < inNumChannels; ++c)
                std::copy(out[c], out[c] + n, ioChannels[c].data() + start);
        }
    }
};

inline std::vector<double> sine(double inAmplitude, double inFrequency, double inSampleRate, int inLength)
{
    std::vector<double> signal(inLength);
    for (int i = 0; i < inLength; ++i)
        signal[i] = inAmplitude * std::sin(6.283185307179586 * inFrequency * i / inSampleRate);
    return signal;
}

inline std::vector<double> noise(int inLength, double inLevel, std::uint32_t inSeed)
{
    std::vector<double> signal(inLength);
    for (double& sample : signal) {
        inSeed = inSeed * 1664525u + 1013904223u;
        sample = inLevel * (inSeed / 2147483648.0 - 1.0);
    }
    return signal;
}

// In dB, from sample inFrom on.
inline double rmsDb(const std::vector<double>& inSignal, std::size_t inFrom)
{
    double sum = 0.0;
    for (std::size_t i = inFrom; i < inSignal.size(); ++i)
        sum += inSignal[i] * inSignal[i];
    return 10.0 * std::log10(sum / static_cast<double>(inSignal.size() - inFrom));
}

} // namespace q38::test
