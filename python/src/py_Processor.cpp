#include "py_Processor.h"

#include "cli_AudioFile.h"
#include "cli_Render.h"

#include <algorithm>
#include <stdexcept>
#include <string>

namespace pyq38 {

void Processor::process(const float* inInput, float* outOutput, int inNumChannels, long inNumSamples,
                        int inSampleRate, int inOversample, bool inReset, const cli::ParameterValues& inValues)
{
    if (inSampleRate < cli::kLowestSampleRate || inSampleRate > cli::kHighestSampleRate)
        throw std::invalid_argument("sample_rate " + std::to_string(inSampleRate) + " is out of range (" +
                                    std::to_string(cli::kLowestSampleRate) + " to " +
                                    std::to_string(cli::kHighestSampleRate) + " Hz)");
    if (inNumChannels < 1 || inNumChannels > kQ38MaxNumChannels)
        throw std::invalid_argument("audio has " + std::to_string(inNumChannels) + " channels; 1 or 2 are possible");
    if (!host::isOversamplingFactor(inOversample))
        throw std::invalid_argument("oversample=" + std::to_string(inOversample) + ": 1, 2, 4 or 8 are possible");

    const std::lock_guard lock(mMutex);
    const bool fresh = inReset || !mEngine || inSampleRate != mSampleRate || inOversample != mOversample;
    if (fresh) {
        mEngine = std::make_unique<host::OversampledEngine>();
        cli::startEngine(*mEngine, mSeed, inSampleRate, inOversample, inValues);
        mSampleRate = inSampleRate;
        mOversample = inOversample;
    } else {
        cli::applyValues(mEngine->engine(), inValues);
    }

    MeterReadings meters;
    const float* inputs[kQ38MaxNumChannels] = {};
    float* outputs[kQ38MaxNumChannels] = {};
    long written = 0;
    const auto point = [&](long inPosition) {
        for (int channel = 0; channel < inNumChannels; ++channel) {
            inputs[channel] = inInput + channel * inNumSamples + inPosition;
            outputs[channel] = outOutput + channel * inNumSamples + written;
        }
    };
    const auto keep = [&](int inCount) {
        written += inCount;
        for (int meter = 0; meter < kNumMeters; ++meter)
            meters.mPeak[meter] = std::max(meters.mPeak[meter], mEngine->meter(meter));
    };
    host::AlignedRun run(*mEngine);
    for (long position = 0; position < inNumSamples; position += kQ38MaxBufferSize) {
        const int count = static_cast<int>(std::min<long>(kQ38MaxBufferSize, inNumSamples - position));
        point(position);
        if (inReset) {
            keep(run.process(inputs, outputs, inNumChannels, count));
        } else {
            mEngine->process(inputs, outputs, inNumChannels, count);
            keep(count);
        }
    }
    while (inReset) {
        point(0);
        const int count = run.finish(outputs, inNumChannels);
        if (count == 0)
            break;
        keep(count);
    }
    for (int meter = 0; meter < kNumMeters; ++meter)
        meters.mLast[meter] = mEngine->meter(meter);
    mMeters = meters;
}

int Processor::latency(int inSampleRate, int inOversample)
{
    return host::oversamplingLatency(host::usableFactor(inSampleRate, inOversample));
}

MeterReadings Processor::meters() const
{
    const std::lock_guard lock(mMutex);
    return mMeters;
}

} // namespace pyq38
