#include "host_OversampledEngine.h"

#include <algorithm>
#include <cfloat>
#include <cmath>

namespace host {

namespace {

constexpr int kMaxTopSamples = kQ38MaxBufferSize * dsp::kMaxOversamplingFactor;

int stagesOf(int inFactor)
{
    int stages = 0;
    while ((1 << stages) < inFactor)
        ++stages;
    return stages;
}

// What the engine makes of an input sample, applied ahead of the up-sampler,
// which would otherwise smear one bad sample over its neighbours.
double guardedSample(float inSample)
{
    return std::isfinite(inSample) && std::fabs(inSample) <= kQ38InputSampleLimit ? inSample : 0.0;
}

// The engine's own limit on the way out: the largest float, never infinity.
float toFloat(double inSample)
{
    return static_cast<float>(std::clamp(inSample, -double(FLT_MAX), double(FLT_MAX)));
}

} // namespace

bool isOversamplingFactor(int inFactor)
{
    return std::find(std::begin(kOversamplingFactors), std::end(kOversamplingFactors), inFactor) !=
           std::end(kOversamplingFactors);
}

int usableFactor(int inHostRate, int inFactor)
{
    int factor = isOversamplingFactor(inFactor) ? inFactor : 1;
    while (factor > 1 && static_cast<long long>(inHostRate) * factor > kQ38MaxSampleRate)
        factor /= 2;
    return factor;
}

int oversamplingLatency(int inFactor)
{
    return dsp::oversamplingLatency(stagesOf(isOversamplingFactor(inFactor) ? inFactor : 1));
}

OversampledEngine::OversampledEngine() : mEngine(createQ38Engine())
{
    for (dsp::OversamplingState& state : mChannels)
        dsp::resetOversampling(state, 0);
}

int OversampledEngine::setSampleRate(int inHostRate, int inFactor)
{
    mFactor = usableFactor(inHostRate, inFactor);
    mLatency = oversamplingLatency(mFactor);
    for (dsp::OversamplingState& state : mChannels)
        dsp::resetOversampling(state, stagesOf(mFactor));
    std::fill(std::begin(mMeters), std::end(mMeters), 0.0f);
    mEngine->setSampleRate(inHostRate * mFactor);
    return mFactor;
}

void OversampledEngine::process(const float* const* inInputs, float* const* outOutputs, int inNumChannels,
                                int inNumSamples)
{
    if (mFactor == 1) {
        mEngine->process(inInputs, outOutputs, inNumChannels, inNumSamples);
        for (int m = 0; m < kNumMeters; ++m)
            mMeters[m] = mEngine->getMeterValue(m);
        return;
    }
    // Out-of-range counts are the engine's to report; here they only must
    // not reach past the buffers.
    const int channels = std::clamp(inNumChannels, 0, kQ38MaxNumChannels);
    const int samples = std::clamp(inNumSamples, 0, kQ38MaxBufferSize);
    const int topSamples = samples * mFactor;

    double top[kQ38MaxNumChannels][kMaxTopSamples];
    for (int c = 0; c < channels; ++c) {
        double host[kQ38MaxBufferSize];
        for (int i = 0; i < samples; ++i)
            host[i] = guardedSample(inInputs[c][i]);
        dsp::upsample(mChannels[c], host, top[c], samples);
    }

    std::fill(std::begin(mMeters), std::end(mMeters), 0.0f);
    float blockIn[kQ38MaxNumChannels][kQ38MaxBufferSize];
    float blockOut[kQ38MaxNumChannels][kQ38MaxBufferSize];
    const float* engineIn[kQ38MaxNumChannels] = {blockIn[0], blockIn[1]};
    float* engineOut[kQ38MaxNumChannels] = {blockOut[0], blockOut[1]};
    for (int start = 0; start < topSamples; start += kQ38MaxBufferSize) {
        const int count = std::min(kQ38MaxBufferSize, topSamples - start);
        for (int c = 0; c < channels; ++c)
            for (int i = 0; i < count; ++i)
                blockIn[c][i] = static_cast<float>(top[c][start + i]);
        mEngine->process(engineIn, engineOut, inNumChannels, count);
        for (int c = 0; c < channels; ++c)
            for (int i = 0; i < count; ++i)
                top[c][start + i] = blockOut[c][i];
        for (int m = 0; m < kNumMeters; ++m)
            mMeters[m] = std::max(mMeters[m], mEngine->getMeterValue(m));
    }

    for (int c = 0; c < channels; ++c) {
        double host[kQ38MaxBufferSize];
        dsp::downsample(mChannels[c], top[c], host, samples);
        for (int i = 0; i < samples; ++i)
            outOutputs[c][i] = toFloat(host[i]);
    }
}

float OversampledEngine::meter(int inMeterId) const
{
    return inMeterId >= 0 && inMeterId < kNumMeters ? mMeters[inMeterId] : 0.0f;
}

int AlignedRun::process(const float* const* inInputs, float* const* outOutputs, int inNumChannels,
                        int inNumSamples)
{
    if (mToDrop == 0) {
        mEngine.process(inInputs, outOutputs, inNumChannels, inNumSamples);
        return inNumSamples;
    }
    float block[kQ38MaxNumChannels][kQ38MaxBufferSize];
    float* outputs[kQ38MaxNumChannels] = {block[0], block[1]};
    mEngine.process(inInputs, outputs, inNumChannels, inNumSamples);
    const int samples = std::clamp(inNumSamples, 0, kQ38MaxBufferSize);
    const int dropped = std::min(samples, mToDrop);
    mToDrop -= dropped;
    for (int c = 0; c < std::clamp(inNumChannels, 0, kQ38MaxNumChannels); ++c)
        std::copy(block[c] + dropped, block[c] + samples, outOutputs[c]);
    return samples - dropped;
}

int AlignedRun::finish(float* const* outOutputs, int inNumChannels)
{
    static constexpr float kSilence[kQ38MaxBufferSize] = {};
    const float* inputs[kQ38MaxNumChannels] = {kSilence, kSilence};
    int written = 0;
    // Drops left over from an input shorter than the delay come first.
    while (mTailLeft > 0 && written == 0) {
        const int count = std::min(mTailLeft, kQ38MaxBufferSize);
        mTailLeft -= count;
        written = process(inputs, outOutputs, inNumChannels, count);
    }
    return written;
}

} // namespace host
