#include "py_Processor.h"

#include "Q38EngineHooks.h"
#include "cli_AudioFile.h"

#include <algorithm>
#include <stdexcept>
#include <string>

namespace pyq38 {

void Processor::process(const float* inInput, float* outOutput, int inNumChannels, long inNumSamples,
                        int inSampleRate, bool inReset, const cli::ParameterValues& inValues)
{
    if (inSampleRate < cli::kLowestSampleRate || inSampleRate > cli::kHighestSampleRate)
        throw std::invalid_argument("sample_rate " + std::to_string(inSampleRate) + " is out of range (" +
                                    std::to_string(cli::kLowestSampleRate) + " to " +
                                    std::to_string(cli::kHighestSampleRate) + " Hz)");
    if (inNumChannels < 1 || inNumChannels > kQ38MaxNumChannels)
        throw std::invalid_argument("audio has " + std::to_string(inNumChannels) + " channels; 1 or 2 are possible");

    const std::lock_guard lock(mMutex);
    if (inReset || !mEngine || inSampleRate != mSampleRate) {
        // The order of the q38 program: seed, rate, then the settings that
        // differ from the defaults.
        mEngine.reset(createQ38Engine());
        if (!mEngine)
            throw std::runtime_error("cannot create the engine");
        if (mSeed)
            q38FixHissSeed(mEngine.get(), *mSeed);
        mEngine->setSampleRate(inSampleRate);
        mSampleRate = inSampleRate;
    }
    for (int id = 0; id < kNumParameters; ++id)
        if (const float value = inValues[static_cast<std::size_t>(id)]; value != mEngine->getParameterValue(id))
            mEngine->setParameter(id, value);

    MeterReadings meters;
    const float* inputs[kQ38MaxNumChannels] = {};
    float* outputs[kQ38MaxNumChannels] = {};
    for (long position = 0; position < inNumSamples; position += kQ38MaxBufferSize) {
        const int count = static_cast<int>(std::min<long>(kQ38MaxBufferSize, inNumSamples - position));
        for (int channel = 0; channel < inNumChannels; ++channel) {
            inputs[channel] = inInput + channel * inNumSamples + position;
            outputs[channel] = outOutput + channel * inNumSamples + position;
        }
        mEngine->process(inputs, outputs, inNumChannels, count);
        for (int meter = 0; meter < kNumMeters; ++meter)
            meters.mPeak[meter] = std::max(meters.mPeak[meter], mEngine->getMeterValue(meter));
    }
    for (int meter = 0; meter < kNumMeters; ++meter)
        meters.mLast[meter] = mEngine->getMeterValue(meter);
    mMeters = meters;
}

MeterReadings Processor::meters() const
{
    const std::lock_guard lock(mMutex);
    return mMeters;
}

} // namespace pyq38
