#pragma once

// Plain data of the channel model: what the audio path takes from the
// parameters (ModelCoefficients, copied whole between threads) and what it
// remembers between blocks (ModelState). No constructors: the engine obtains
// both from vectorAllocate and the model's reset gives them their values.

#include "dsp/cells/shapers/dsp_Shapers.h"

#include <cstdint>

namespace q38 {

constexpr int kNumModelChannels = 2;

// Coefficient sets in direct form: b0, b1, a0, a1 and b0, b1, b2, a0, a1, a2.
// a0 is 1 and never read at run time.
constexpr int kFirstOrderSize = 4;
constexpr int kSecondOrderSize = 6;

// --- Run-time filter sections ------------------------------------------------

struct FirstOrderSection
{
    double mMemory;
    double mCoefficients[kFirstOrderSize];
};

struct GlidingFirstOrderSection
{
    std::uint8_t mPending;  // take the targets at the next block
    double mMemory;
    double mCoefficients[kFirstOrderSize];  // the values in force
};

struct Biquad
{
    double mMemory1;
    double mMemory2;
    double mCoefficients[kSecondOrderSize];
};

struct GlidingBiquad
{
    std::uint8_t mPending;
    double mMemory1;
    double mMemory2;
    double mCoefficients[kSecondOrderSize];
};

// --- Glides and ramps --------------------------------------------------------

// Gains from source channel to destination channel, and the per-sample glide rate.
struct StereoMatrix
{
    double mFirstToFirst;
    double mFirstToSecond;
    double mSecondToFirst;
    double mSecondToSecond;
    double mGlideRate;
};

// The matrix gains now in force.
struct MatrixGlideState
{
    std::uint8_t mPending;
    double mFirstToFirst;
    double mFirstToSecond;
    double mSecondToFirst;
    double mSecondToSecond;
};

// Geometric gain ramp of 6.02 dB per 480 samples.
struct GainRamp
{
    std::uint8_t mPending;
    double mCurrent;
    double mUpRatio;
    double mDownRatio;
    double mLogSpan;
};

// Leaky integrator with a soft-knee limited memory and a differentiated output.
struct SaturatingIntegrator
{
    double mInputScale;
    double mOutputScale;
    double mLeak;
    double mLossScale;
    double mState;
    double mPrevious;
    dsp::SoftKneeShaper mShaper;
};

// --- Coefficients --------------------------------------------------------------

struct ChannelCoefficients
{
    double mBiasGain;                                   // linear target of the envelope gain
    double mPreEmphasis[kFirstOrderSize];               // high shelf ahead of the first clipper
    dsp::ClipLimits mFirstClip;
    double mDeEmphasis[kFirstOrderSize];                // its inverse after the clipper
    double mHighPassFirstOrder[kFirstOrderSize];        // first half of the high-pass switch
    double mHighPassSecondOrder[kSecondOrderSize];      // second half of the high-pass switch
    dsp::ClipLimits mSecondClip;
    double mCouplingHighPass[kSecondOrderSize];
    double mBiasFloor;                                  // negative, linear
    double mBiasFeedback;                               // linear
    std::uint8_t mToneEnabled;
    double mToneMixTarget;                              // 1.0 or 0.0
    double mLowShelf[kSecondOrderSize];
    double mHighShelf[kSecondOrderSize];
    double mInputGain;                                  // linear target of the input ramp
    double mOutputGain;                                 // linear target of the output ramp
};

struct ModelCoefficients
{
    std::uint8_t mEffectEnabled;
    double mWetTarget;  // exactly 1.0 or 0.0
    StereoMatrix mInputMatrix;
    StereoMatrix mOutputMatrix;
    ChannelCoefficients mChannel[kNumModelChannels];
};

// --- State ---------------------------------------------------------------------

// Fields marked "fixed" are designed per sample rate; the rest are signal
// memory and glide values.
struct ChannelState
{
    FirstOrderSection mDcBlock;            // fixed: 13 Hz high-pass
    dsp::ClipLimits mEnvelopeClip;         // fixed: +-(-13 dB)
    double mEnvelopeCoefficient;           // fixed
    double mEnvelope;
    std::uint8_t mBiasGainPending;
    double mBiasGain;
    FirstOrderSection mBassLift;           // fixed: low shelf 20 Hz, 6 dB
    GlidingFirstOrderSection mPreEmphasis;
    GlidingFirstOrderSection mDeEmphasis;
    GlidingFirstOrderSection mHighPassFirstOrder;
    GlidingBiquad mHighPassSecondOrder;
    GlidingBiquad mCouplingHighPass;
    double mBiasLowPass[kFirstOrderSize];  // fixed: 5 Hz low-pass
    double mBiasLowPassMemory;
    double mBiasShift;
    double mBiasFloor;
    double mBiasFeedback;
    Biquad mInfrasonicHighPass;            // fixed
    Biquad mFirstLowPass;                  // fixed
    Biquad mSecondLowPass;                 // fixed
    SaturatingIntegrator mAmplifierCore;
    double mActivity;                      // meter, 0..1; read by other threads through std::atomic_ref
    double mToneMix;
    std::uint8_t mToneMixPending;
    Biquad mFirstBell;                     // fixed
    Biquad mSecondBell;                    // fixed
    GlidingBiquad mLowShelf;
    GlidingBiquad mHighShelf;
    SaturatingIntegrator mOutputCore;
    dsp::RationalTanhShaper mOutputTanh;   // fixed
    GainRamp mInputRamp;
    GainRamp mOutputRamp;
    std::uint64_t mHissState;
};

struct ModelState
{
    std::uint8_t mFadePending;  // set by the reset: the next block starts at its target
    double mFade;
    MatrixGlideState mInputMatrix;
    MatrixGlideState mOutputMatrix;
    ChannelState mChannel[kNumModelChannels];
};

} // namespace q38
