#include "q38_ChannelChain.h"

#include "q38_Sections.h"
#include "q38_TubeStages.h"

#include "dsp/containers/dsp_ChannelsBuffer.h"
#include "dsp/containers/dsp_DataBuffer.h"
#include "dsp/filter_design/dsp_IIRToolsImpl.h"
#include "vector/vector_Primitives.h"

#include <atomic>
#include <cmath>

namespace q38 {

void MatrixGlide(const double* const* inInputs, double* const* outOutputs, int inNumSamples, int inNumChannels,
                 MatrixGlideState& ioGlide, const StereoMatrix& inMatrix)
{
    const double rate = inMatrix.mGlideRate;
    if (inNumChannels == 1) {
        // Deliberately one multiplication, whatever the stereo mode.
        const double target = inMatrix.mFirstToFirst;
        double gain = ioGlide.mFirstToFirst;
        if (ioGlide.mPending) {
            ioGlide.mPending = 0;
            gain = target;
        }
        const double* const in = inInputs[0];
        double* const out = outOutputs[0];
        for (int i = 0; i < inNumSamples; ++i) {
            gain += (target - gain) * rate;
            out[i] = gain * in[i];
        }
        ioGlide.mFirstToFirst = gain;
        return;
    }

    const double t11 = inMatrix.mFirstToFirst;
    const double t12 = inMatrix.mFirstToSecond;
    const double t21 = inMatrix.mSecondToFirst;
    const double t22 = inMatrix.mSecondToSecond;
    double g11 = ioGlide.mFirstToFirst;
    double g12 = ioGlide.mFirstToSecond;
    double g21 = ioGlide.mSecondToFirst;
    double g22 = ioGlide.mSecondToSecond;
    if (ioGlide.mPending) {
        ioGlide.mPending = 0;
        g11 = t11;
        g12 = t12;
        g21 = t21;
        g22 = t22;
    }
    const double* const in0 = inInputs[0];
    const double* const in1 = inInputs[1];
    double* const out0 = outOutputs[0];
    double* const out1 = outOutputs[1];
    for (int i = 0; i < inNumSamples; ++i) {
        g11 += (t11 - g11) * rate;
        g12 += (t12 - g12) * rate;
        g21 += (t21 - g21) * rate;
        g22 += (t22 - g22) * rate;
        const double x0 = in0[i];
        const double x1 = in1[i];
        out0[i] = x0 * g11 + x1 * g21;
        out1[i] = x0 * g12 + x1 * g22;
    }
    ioGlide.mFirstToFirst = g11;
    ioGlide.mFirstToSecond = g12;
    ioGlide.mSecondToFirst = g21;
    ioGlide.mSecondToSecond = g22;
}

void HissGenerator(double* outSamples, int inNumSamples, std::uint64_t& ioState)
{
    constexpr std::uint64_t kMultiplier = 0x5851F42D4C957F2Dull;
    constexpr std::uint64_t kIncrement = 0x14057B7EF767814Full;
    constexpr double kTwoToThe64 = 18446744073709551616.0;
    constexpr double kTwoToTheMinus63 = 1.0842021724855044e-19;
    std::uint64_t x = ioState;
    for (int i = 0; i < inNumSamples; ++i) {
        x = x * kMultiplier + kIncrement;
        // Through the signed value, lifted by 2^64 when negative.
        const std::int64_t signedValue = static_cast<std::int64_t>(x);
        double value = static_cast<double>(signedValue);
        if (signedValue < 0)
            value += kTwoToThe64;
        outSamples[i] = value * kTwoToTheMinus63 - 1.0;
    }
    ioState = x;
}

void runGainRamp(const double* inSamples, double* outSamples, int inNumSamples, GainRamp& ioRamp, double inTarget)
{
    const double difference = inTarget - ioRamp.mCurrent;
    const double reach = std::exp(inNumSamples * ioRamp.mLogSpan);
    if (std::fabs(difference) < (reach - 1.0) * inTarget || ioRamp.mPending) {
        ioRamp.mCurrent = inTarget;
        ioRamp.mPending = 0;
        for (int i = 0; i < inNumSamples; ++i)
            outSamples[i] = inTarget * inSamples[i];
        return;
    }
    const double ratio = difference > 0.0 ? ioRamp.mUpRatio : ioRamp.mDownRatio;
    double current = ioRamp.mCurrent;
    for (int i = 0; i < inNumSamples; ++i) {
        current *= ratio;
        outSamples[i] = current * inSamples[i];
    }
    ioRamp.mCurrent = current;
}

namespace {

// Rectified, limited and smoothed input, scaled by the gliding bias gain: the
// offset that moves the first clipper's operating point with the programme.
// Leaves the offset in ioOffset; ioScratch receives the limited input.
void computeBiasOffset(const double* inSamples, double* ioOffset, double* ioScratch, int inNumSamples,
                       double inGainTarget, ChannelState& ioState)
{
    dsp::clip(inSamples, ioScratch, inNumSamples, ioState.mEnvelopeClip);
    vectorAbs(ioScratch, ioOffset, inNumSamples);

    const double c = ioState.mEnvelopeCoefficient;
    const double keep = 1.0 - c;
    double envelope = ioState.mEnvelope;
    if (ioState.mBiasGainPending) {
        ioState.mBiasGainPending = 0;
        ioState.mBiasGain = inGainTarget;
    }
    double gain = ioState.mBiasGain;
    for (int i = 0; i < inNumSamples; ++i) {
        envelope = c * ioOffset[i] + envelope * keep;
        gain += (inGainTarget - gain) * kBiasGainGlideRate;
        ioOffset[i] = gain * envelope;
    }
    ioState.mEnvelope = envelope;
    ioState.mBiasGain = gain;
}

void writeActivity(const double* inSamples, int inNumSamples, double& outActivity)
{
    static const double kActivityScale = dsp::decibelsToGain(15.0);
    double smallest = 0.0;
    double largest = 0.0;
    vectorMinMax(inSamples, inNumSamples, &smallest, &largest);
    const double peak = std::fabs(smallest) > std::fabs(largest) ? std::fabs(smallest) : std::fabs(largest);
    double activity = peak * kActivityScale - 0.1;
    activity = activity < 0.0 ? 0.0 : activity;
    activity = activity > 1.0 ? 1.0 : activity;
    // Read by the control side without a lock.
    std::atomic_ref<double>(outActivity).store(activity, std::memory_order_relaxed);
}

} // namespace

void AmplifierSection(const double* inSamples, double* outSamples, int inNumSamples,
                      const ChannelCoefficients& inCoefficients, ChannelState& ioState)
{
    dsp::DataBuffer xBuffer(1, inNumSamples);
    dsp::DataBuffer yBuffer(1, inNumSamples);
    dsp::DataBuffer zBuffer(1, inNumSamples);
    double* const x = xBuffer.mSamples;
    double* const y = yBuffer.mSamples;
    double* const z = zBuffer.mSamples;
    const int n = inNumSamples;

    processFirstOrder(inSamples, y, n, ioState.mDcBlock);
    // x: the offset added ahead of the first clipper and taken out behind it.
    computeBiasOffset(y, x, z, n, inCoefficients.mBiasGain, ioState);
    processFirstOrder(y, z, n, ioState.mBassLift);
    takeTargetsIfPending(ioState.mPreEmphasis, inCoefficients.mPreEmphasis);
    processGlidingFirstOrder(z, y, n, ioState.mPreEmphasis, inCoefficients.mPreEmphasis, kAmplifierGlideRate);
    vectorAddInPlace(x, y, n);
    dsp::clip(y, z, n, inCoefficients.mFirstClip);
    vectorSubtractInPlace(x, z, n);
    takeTargetsIfPending(ioState.mDeEmphasis, inCoefficients.mDeEmphasis);
    processGlidingFirstOrder(z, x, n, ioState.mDeEmphasis, inCoefficients.mDeEmphasis, kAmplifierGlideRate);
    takeTargetsIfPending(ioState.mHighPassFirstOrder, inCoefficients.mHighPassFirstOrder);
    processGlidingFirstOrder(x, y, n, ioState.mHighPassFirstOrder, inCoefficients.mHighPassFirstOrder,
                             kAmplifierGlideRate);
    takeTargetsIfPending(ioState.mHighPassSecondOrder, inCoefficients.mHighPassSecondOrder);
    processGlidingBiquad(y, z, n, ioState.mHighPassSecondOrder, inCoefficients.mHighPassSecondOrder,
                         kAmplifierGlideRate);
    dsp::clip(z, x, n, inCoefficients.mSecondClip);
    takeTargetsIfPending(ioState.mCouplingHighPass, inCoefficients.mCouplingHighPass);
    processGlidingBiquad(x, z, n, ioState.mCouplingHighPass, inCoefficients.mCouplingHighPass, kAmplifierGlideRate);
    runBiasShiftClamp(z, x, n, inCoefficients, ioState);
    processBiquad(x, y, n, ioState.mInfrasonicHighPass);
    processBiquad(y, x, n, ioState.mFirstLowPass);
    processBiquad(x, y, n, ioState.mSecondLowPass);
    runSaturatingIntegrator(y, outSamples, n, ioState.mAmplifierCore);
    writeActivity(outSamples, n, ioState.mActivity);
}

void ToneSectionBlend(const double* inSamples, double* outSamples, int inNumSamples,
                      const ChannelCoefficients& inCoefficients, ChannelState& ioState)
{
    const double target = inCoefficients.mToneMixTarget;
    if (ioState.mToneMixPending)
        ioState.mToneMix = target;
    ioState.mToneMixPending = 0;

    // Switched off and faded out, the section and its memories stand still.
    if (inCoefficients.mToneEnabled || ioState.mToneMix > 0.0)
        ToneSection(inSamples, outSamples, inNumSamples, inCoefficients, ioState);

    double mix = ioState.mToneMix;
    for (int i = 0; i < inNumSamples; ++i) {
        outSamples[i] = (1.0 - mix) * inSamples[i] + mix * outSamples[i];
        mix += (target - mix) * kToneMixGlideRate;
    }
    ioState.mToneMix = mix >= kToneMixFloor ? mix : 0.0;
}

void processModel(const double* const* inInputs, double* const* outOutputs, int inNumSamples, int inNumChannels,
                  const ModelCoefficients& inCoefficients, ModelState& ioState)
{
    dsp::ChannelsBuffer work(inNumChannels, inNumSamples);
    MatrixGlide(inInputs, work.channelPointers(), inNumSamples, inNumChannels, ioState.mInputMatrix,
                inCoefficients.mInputMatrix);

    for (int c = 0; c < inNumChannels; ++c) {
        const ChannelCoefficients& coefficients = inCoefficients.mChannel[c];
        ChannelState& state = ioState.mChannel[c];
        double* const channel = work.mSamples[c];
        dsp::DataBuffer aBuffer(1, inNumSamples);
        dsp::DataBuffer bBuffer(1, inNumSamples);
        double* const a = aBuffer.mSamples;
        double* const b = bBuffer.mSamples;

        HissGenerator(a, inNumSamples, state.mHissState);
        vectorScaleInPlace(kHissLevel, a, inNumSamples);
        vectorAdd(a, channel, b, inNumSamples);
        runGainRamp(b, a, inNumSamples, state.mInputRamp, coefficients.mInputGain);
        AmplifierSection(a, b, inNumSamples, coefficients, state);
        ToneSectionBlend(b, a, inNumSamples, coefficients, state);
        runGainRamp(a, channel, inNumSamples, state.mOutputRamp, coefficients.mOutputGain);
    }

    MatrixGlide(work.channelPointers(), outOutputs, inNumSamples, inNumChannels, ioState.mOutputMatrix,
                inCoefficients.mOutputMatrix);
}

} // namespace q38
