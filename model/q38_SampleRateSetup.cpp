#include "q38_SampleRateSetup.h"

#include "q38_Sections.h"

#include "dsp/filter_design/dsp_IIRToolsImpl.h"
#include "dsp/filter_design/primitives/order1/dsp_Order1HighPass.h"
#include "dsp/filter_design/primitives/order1/dsp_Order1LowPassNaive.h"
#include "dsp/filter_design/primitives/order1/dsp_Order1LowShelf.h"
#include "dsp/filter_design/primitives/order2/dsp_Bell.h"
#include "dsp/filter_design/primitives/order2/dsp_Order2HighPassNaive.h"
#include "dsp/filter_design/primitives/order2/dsp_Order2LowPass.h"
#include "vector/vector_Primitives.h"

#include <atomic>
#include <chrono>
#include <cmath>

namespace q38 {

namespace {

std::uint64_t readSteadyClock(void*)
{
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::nanoseconds>(now).count());
}

constexpr double kMinusTwoPi = -6.283185307179586;

double logSpanOf(double inUpRatio)
{
    return 2.0 * std::log(inUpRatio);
}

void resetGainRamp(GainRamp& outRamp)
{
    outRamp.mPending = 1;
    outRamp.mCurrent = 1.0;
    outRamp.mUpRatio = gainRampUpRatio();
    outRamp.mDownRatio = 1.0 / outRamp.mUpRatio;
    outRamp.mLogSpan = logSpanOf(outRamp.mUpRatio);
}

// A fixed section keeps its design; only its memory goes.
void clearMemory(FirstOrderSection& outSection)
{
    outSection.mMemory = 0.0;
}

void clearMemory(Biquad& outSection)
{
    outSection.mMemory1 = 0.0;
    outSection.mMemory2 = 0.0;
}

void resetChannel(ChannelState& outChannel, const MonotonicClock& inClock)
{
    clearChannelMemories(outChannel);
    // Each channel reads the clock once, so the two hiss sequences differ.
    outChannel.mHissState = inClock.mReadNanoseconds(inClock.mContext) & 0xFFFFFFFFull;

    // The identity until prepareModel designs them for the rate.
    for (FirstOrderSection* section : {&outChannel.mDcBlock, &outChannel.mBassLift})
        resetSection(*section);
    for (Biquad* section : {&outChannel.mFirstBell, &outChannel.mSecondBell, &outChannel.mInfrasonicHighPass,
                            &outChannel.mFirstLowPass, &outChannel.mSecondLowPass})
        resetSection(*section);
    // The shapers and the envelope's limits do not depend on the rate.
    dsp::designRationalTanhShaper(outChannel.mOutputTanh, 1.535714, 0.0, 0.0);
    dsp::designClipLimits(outChannel.mEnvelopeClip, -13.0, -13.0, true, true);
    dsp::designSoftKneeShaper(outChannel.mAmplifierCore.mShaper, -55.428799, 0.035712, 0.136578, 0.0, 0.0);
}

void resetMatrixGlide(MatrixGlideState& outGlide)
{
    outGlide.mPending = 1;
    outGlide.mFirstToFirst = 0.0;
    outGlide.mFirstToSecond = 0.0;
    outGlide.mSecondToFirst = 0.0;
    outGlide.mSecondToSecond = 0.0;
}

void prepareChannel(ChannelState& ioChannel, double inSampleRate)
{
    const double fs = inSampleRate;
    const double r = 1.0 / fs;
    double first[kFirstOrderSize];
    double second[kSecondOrderSize];

    dsp::Bell::design({6200.0, 0.3, -0.25, 0.0}, second, fs);
    vectorCopy(second, ioChannel.mFirstBell.mCoefficients, kSecondOrderSize);
    // A very wide, gentle lift.
    dsp::Bell::design({649.0, 0.02, 0.18, 0.0}, second, fs);
    vectorCopy(second, ioChannel.mSecondBell.mCoefficients, kSecondOrderSize);

    SaturatingIntegrator& outputCore = ioChannel.mOutputCore;
    outputCore.mLeak = std::exp(5.0 * kMinusTwoPi * r);
    outputCore.mLossScale = r * 88200.0;
    outputCore.mInputScale = dsp::decibelsToGain(0.0) * r;
    outputCore.mOutputScale = dsp::decibelsToGain(0.0) * fs;
    dsp::designSoftKneeShaper(outputCore.mShaper, -60.0, 0.85, 0.89, 0.0, 0.0);

    dsp::Order1HighPass::design({13.0, 0.0, 0.0}, first, fs);
    vectorCopy(first, ioChannel.mDcBlock.mCoefficients, kFirstOrderSize);
    dsp::Order1LowShelf::design({20.0, 6.0, dsp::kUpperCorner, 0.0}, first, fs);
    vectorCopy(first, ioChannel.mBassLift.mCoefficients, kFirstOrderSize);
    dsp::Order2HighPassNaive::design({1.5, 0.707, 0.0}, second, fs);
    vectorCopy(second, ioChannel.mInfrasonicHighPass.mCoefficients, kSecondOrderSize);
    dsp::Order2LowPass::design({20383.099609, 1.59107, 0.0, 0.0}, second, fs);
    vectorCopy(second, ioChannel.mFirstLowPass.mCoefficients, kSecondOrderSize);
    dsp::Order2LowPass::design({22000.0, 0.5, 0.0, 0.0}, second, fs);
    vectorCopy(second, ioChannel.mSecondLowPass.mCoefficients, kSecondOrderSize);
    dsp::Order1LowPassNaive::design({5.0, 0.0}, first, fs);
    vectorCopy(first, ioChannel.mBiasLowPass, kFirstOrderSize);

    ioChannel.mEnvelopeCoefficient = dsp::onePoleCoefficient(45.222214, fs);

    SaturatingIntegrator& amplifierCore = ioChannel.mAmplifierCore;
    amplifierCore.mLossScale = r * 44100.0;
    amplifierCore.mLeak = std::exp(2.0 * kMinusTwoPi * r);
    amplifierCore.mInputScale = r;
    amplifierCore.mOutputScale = fs;
}

} // namespace

void clearChannelMemories(ChannelState& outChannel)
{
    resetGainRamp(outChannel.mInputRamp);
    resetGainRamp(outChannel.mOutputRamp);

    outChannel.mToneMix = 0.0;
    outChannel.mToneMixPending = 1;
    resetSection(outChannel.mHighShelf);
    resetSection(outChannel.mLowShelf);
    clearMemory(outChannel.mFirstBell);
    clearMemory(outChannel.mSecondBell);
    outChannel.mOutputCore.mState = 0.0;
    outChannel.mOutputCore.mPrevious = 0.0;

    clearMemory(outChannel.mDcBlock);
    outChannel.mEnvelope = 0.0;
    outChannel.mBiasGain = 1.0;
    outChannel.mBiasGainPending = 1;
    clearMemory(outChannel.mBassLift);
    resetSection(outChannel.mPreEmphasis);
    resetSection(outChannel.mDeEmphasis);
    resetSection(outChannel.mHighPassFirstOrder);
    resetSection(outChannel.mHighPassSecondOrder);
    resetSection(outChannel.mCouplingHighPass);
    // These two glides have no pending flag: they rise from 0 after a reset.
    outChannel.mBiasLowPassMemory = 0.0;
    outChannel.mBiasShift = 0.0;
    outChannel.mBiasFloor = 0.0;
    outChannel.mBiasFeedback = 0.0;
    clearMemory(outChannel.mInfrasonicHighPass);
    clearMemory(outChannel.mFirstLowPass);
    clearMemory(outChannel.mSecondLowPass);
    outChannel.mAmplifierCore.mState = 0.0;
    outChannel.mAmplifierCore.mPrevious = 0.0;
    std::atomic_ref<double>(outChannel.mActivity).store(0.0, std::memory_order_relaxed);
}

double gainRampUpRatio()
{
    return std::exp(0.6931471805599453 * 0.0020833333333333333);
}

double gainRampLogSpan()
{
    return logSpanOf(gainRampUpRatio());
}

MonotonicClock systemMonotonicClock()
{
    return MonotonicClock{&readSteadyClock, nullptr};
}

void resetModel(ModelState& outState, const MonotonicClock& inClock)
{
    outState.mFadePending = 1;
    outState.mFade = 1.0;
    resetMatrixGlide(outState.mInputMatrix);
    resetMatrixGlide(outState.mOutputMatrix);
    for (ChannelState& channel : outState.mChannel)
        resetChannel(channel, inClock);
}

void prepareModel(ModelState& ioState, double inSampleRate)
{
    for (ChannelState& channel : ioState.mChannel)
        prepareChannel(channel, inSampleRate);
}

} // namespace q38
