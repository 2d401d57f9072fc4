#pragma once

// The engine at 1, 2, 4 or 8 times the host's rate, between a half-band
// up-sampler and down-sampler, for the q38 program, the Python package and
// the LV2 plugins alike. The engine itself knows nothing of it: it is simply
// set to the higher rate. Every factor's filters are made once, at
// construction; changing the factor clears memory and allocates nothing.
//
// Factor 1 hands the host's blocks to the engine untouched, so it sounds
// exactly as the engine alone. Above 1 the resamplers delay the sound by
// latency() host frames; AlignedRun takes that delay out for offline work.

#include "Q38Engine.h"
#include "dsp/resampling/dsp_HalfBandCascade.h"

#include <memory>

namespace host {

inline constexpr int kOversamplingFactors[] = {1, 2, 4, 8};
inline constexpr int kHighestOversamplingFactor = dsp::kMaxOversamplingFactor;

bool isOversamplingFactor(int inFactor);

// The largest of 1, 2, 4, 8 up to inFactor at which the engine's rate stays
// within kQ38MaxSampleRate; 1 for anything else.
int usableFactor(int inHostRate, int inFactor);

// The delay, in host frames, at a factor of kOversamplingFactors.
int oversamplingLatency(int inFactor);

class OversampledEngine
{
public:
    // valid() tells whether the engine could be made.
    OversampledEngine();
    bool valid() const { return mEngine != nullptr; }
    Q38Engine& engine() { return *mEngine; }

    // Runs the engine at inHostRate times usableFactor(inHostRate, inFactor)
    // and clears all audio state (engine and resamplers); returns the factor.
    // Like the engine's own setSampleRate it must not overlap process().
    int setSampleRate(int inHostRate, int inFactor);
    int factor() const { return mFactor; }
    int latency() const { return mLatency; }

    // One host block of 1 to kQ38MaxBufferSize frames on 1 or 2 channels;
    // inputs and outputs may be the same arrays. Real-time safe. Above factor
    // 1 a sample the engine would take as silence (not finite, or beyond
    // kQ38InputSampleLimit) goes into the up-sampler as silence.
    void process(const float* const* inInputs, float* const* outOutputs, int inNumChannels, int inNumSamples);

    // The highest reading of the engine's meter over the engine blocks of the
    // last process call: at factor 1, the engine's own reading.
    float meter(int inMeterId) const;

private:
    std::unique_ptr<Q38Engine> mEngine;
    int mFactor = 1;
    int mLatency = 0;
    float mMeters[kNumMeters] = {};
    dsp::OversamplingState mChannels[kQ38MaxNumChannels];
};

// Offline use: a whole stream with the delay taken out, so that the output
// has the input's length and alignment. The first latency() output frames
// are dropped, and finish() runs as many frames of silence after the input.
// At factor 1 it is OversampledEngine::process and nothing else.
class AlignedRun
{
public:
    explicit AlignedRun(OversampledEngine& ioEngine)
        : mEngine(ioEngine), mToDrop(ioEngine.latency()), mTailLeft(ioEngine.latency())
    {
    }

    // One block of input, as OversampledEngine::process takes it; writes the
    // output frames now due to the start of outOutputs and returns how many.
    int process(const float* const* inInputs, float* const* outOutputs, int inNumChannels, int inNumSamples);

    // After the last block of input: the next frames of the tail, at most
    // kQ38MaxBufferSize; returns 0 when the output is complete.
    int finish(float* const* outOutputs, int inNumChannels);

private:
    OversampledEngine& mEngine;
    int mToDrop;
    int mTailLeft;
};

} // namespace host
