#pragma once

// Shared helpers of the channel-model tests: a fixed clock for the hiss seed,
// a notice catcher, and a model at a given rate with given parameters.

#include "model/q38_ChannelChain.h"
#include "model/q38_ControlMapping.h"
#include "model/q38_SampleRateSetup.h"

#include "core/core_Assert.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace q38::test {

// Counts its reads and answers a fixed reading plus the count.
struct FakeClock
{
    std::uint64_t mReading = 0;
    int mReads = 0;

    static std::uint64_t read(void* inContext)
    {
        auto& clock = *static_cast<FakeClock*>(inContext);
        return clock.mReading + static_cast<std::uint64_t>(clock.mReads++);
    }
    MonotonicClock clock() { return MonotonicClock{&FakeClock::read, this}; }
};

// Collects notices while alive and restores the previous handler afterwards.
class NoticeCatcher
{
public:
    NoticeCatcher()
        : mPrevious(core::setNoticeHandler([this](const core::AssertionNotice& inNotice) {
              mReports.push_back(inNotice.mReport);
          }))
    {
    }
    ~NoticeCatcher() { core::setNoticeHandler(mPrevious); }
    NoticeCatcher(const NoticeCatcher&) = delete;
    NoticeCatcher& operator=(const NoticeCatcher&) = delete;

    std::vector<std::string> mReports;

private:
    core::NoticeHandler mPrevious;
};

inline void defaultParameters(ParameterValues& outParameters)
{
    const float defaults[kNumParameters] = {1.0f, 0.0f, 0.0f, 0.0f, 0.0f, 0.0f, 0.0f, 0.0f, 0.0f,
                                            0.5f, 0.5f, 0.5f, 0.5f, 1.0f, 1.0f, 0.5f, 0.5f};
    for (int i = 0; i < kNumParameters; ++i)
        outParameters[i] = defaults[i];
}

// State and coefficients of a model set up as the engine does at a new rate.
struct Model
{
    std::unique_ptr<ModelState> mState = std::make_unique<ModelState>();
    std::unique_ptr<ModelCoefficients> mCoefficients = std::make_unique<ModelCoefficients>();
    ParameterValues mParameters;
    double mSampleRate = 44100.0;
    FakeClock mClock;

    explicit Model(double inSampleRate = 44100.0, std::uint64_t inSeed = 12345)
        : mSampleRate(inSampleRate)
    {
        defaultParameters(mParameters);
        mClock.mReading = inSeed;
        resetModel(*mState, mClock.clock());
        prepareModel(*mState, mSampleRate);
        updateAll(mParameters, mSampleRate, *mCoefficients);
    }

    // Runs a whole signal through processModel in blocks of inBlockSize.
    void run(std::vector<double>* ioChannels, int inNumChannels, int inBlockSize = 32)
    {
        const int length = static_cast<int>(ioChannels[0].size());
        for (int start = 0; start < length; start += inBlockSize) {
            const int n = std::min(inBlockSize, length - start);
            const double* inputs[2] = {};
            double* outputs[2] = {};
            double out[2][32];
            for (int c = 0; c < inNumChannels; ++c) {
                inputs[c] = ioChannels[c].data() + start;
                outputs[c] = out[c];
            }
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

inline double rms(const std::vector<double>& inSignal, int inFrom)
{
    double sum = 0.0;
    for (int i = inFrom; i < static_cast<int>(inSignal.size()); ++i)
        sum += inSignal[i] * inSignal[i];
    return std::sqrt(sum / (static_cast<double>(inSignal.size()) - inFrom));
}

inline double toDecibels(double inRatio)
{
    return 20.0 * std::log10(inRatio);
}

// Magnitude of a digital section (b0, b1, [b2,] a0, a1 [, a2]) at a frequency.
inline double magnitude(const double* inCoefficients, int inOrder, double inFrequency, double inSampleRate)
{
    const std::complex<double> z1 = std::polar(1.0, -6.283185307179586 * inFrequency / inSampleRate);
    std::complex<double> numerator = 0.0;
    std::complex<double> denominator = 0.0;
    std::complex<double> power = 1.0;
    for (int k = 0; k <= inOrder; ++k) {
        numerator += inCoefficients[k] * power;
        denominator += inCoefficients[inOrder + 1 + k] * power;
        power *= z1;
    }
    return std::abs(numerator / denominator);
}

} // namespace q38::test
