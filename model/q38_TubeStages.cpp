#include "q38_TubeStages.h"

#include "q38_Sections.h"

#include "dsp/containers/dsp_DataBuffer.h"

namespace q38 {

namespace {

template <bool UnityShaper>
void runIntegrator(const double* inSamples, double* outSamples, int inNumSamples, SaturatingIntegrator& ioIntegrator)
{
    const dsp::SoftKneeShaper shaper = ioIntegrator.mShaper;
    const double inputScale = ioIntegrator.mInputScale;
    const double outputScale = ioIntegrator.mOutputScale;
    const double leak = ioIntegrator.mLeak;
    const double lossScale = ioIntegrator.mLossScale;
    double state = ioIntegrator.mState;
    double previous = ioIntegrator.mPrevious;
    for (int i = 0; i < inNumSamples; ++i) {
        const double v = inSamples[i] * inputScale + state;
        const double f = UnityShaper ? dsp::evaluateSoftKneeShaperUnity(shaper, v)
                                     : dsp::evaluateSoftKneeShaper(shaper, v);
        state = (v - (v - f) * lossScale) * leak;
        outSamples[i] = (v - previous) * outputScale;
        previous = v;
    }
    ioIntegrator.mState = state;
    ioIntegrator.mPrevious = previous;
}

} // namespace

void runSaturatingIntegrator(const double* inSamples, double* outSamples, int inNumSamples,
                             SaturatingIntegrator& ioIntegrator)
{
    runIntegrator<false>(inSamples, outSamples, inNumSamples, ioIntegrator);
}

void runSaturatingIntegratorUnity(const double* inSamples, double* outSamples, int inNumSamples,
                                  SaturatingIntegrator& ioIntegrator)
{
    runIntegrator<true>(inSamples, outSamples, inNumSamples, ioIntegrator);
}

void runBiasShiftClamp(const double* inSamples, double* outSamples, int inNumSamples,
                       const ChannelCoefficients& inCoefficients, ChannelState& ioState)
{
    const double b0 = ioState.mBiasLowPass[0];
    const double b1 = ioState.mBiasLowPass[1];
    const double a1 = ioState.mBiasLowPass[3];
    const double floorTarget = inCoefficients.mBiasFloor;
    const double feedbackTarget = inCoefficients.mBiasFeedback;
    double memory = ioState.mBiasLowPassMemory;
    double shift = ioState.mBiasShift;
    double floor = ioState.mBiasFloor;
    double feedback = ioState.mBiasFeedback;
    for (int i = 0; i < inNumSamples; ++i) {
        const double x = inSamples[i];
        double v = x - shift * feedback;
        if (v <= floor)
            v = floor;
        outSamples[i] = v;
        const double e = x - v;
        shift = e * b0 + memory;
        memory = e * b1 - a1 * shift;
        // No pending flag: after a reset both start from 0.
        feedback += (feedbackTarget - feedback) * kBiasGlideRate;
        floor += (floorTarget - floor) * kBiasGlideRate;
    }
    ioState.mBiasLowPassMemory = memory;
    ioState.mBiasShift = shift;
    ioState.mBiasFloor = floor;
    ioState.mBiasFeedback = feedback;
}

void ToneSection(const double* inSamples, double* outSamples, int inNumSamples,
                 const ChannelCoefficients& inCoefficients, ChannelState& ioState)
{
    dsp::DataBuffer u(1, inNumSamples);
    dsp::DataBuffer w(1, inNumSamples);
    double* const uSamples = u.mSamples;
    double* const wSamples = w.mSamples;

    dsp::processRationalTanhShaper(inSamples, uSamples, inNumSamples, ioState.mOutputTanh);
    takeTargetsIfPending(ioState.mLowShelf, inCoefficients.mLowShelf);
    processGlidingBiquad(uSamples, wSamples, inNumSamples, ioState.mLowShelf, inCoefficients.mLowShelf,
                         kToneShelfGlideRate);
    takeTargetsIfPending(ioState.mHighShelf, inCoefficients.mHighShelf);
    processGlidingBiquad(wSamples, uSamples, inNumSamples, ioState.mHighShelf, inCoefficients.mHighShelf,
                         kToneShelfGlideRate);
    processBiquad(uSamples, wSamples, inNumSamples, ioState.mFirstBell);
    processBiquad(wSamples, uSamples, inNumSamples, ioState.mSecondBell);
    runSaturatingIntegratorUnity(uSamples, outSamples, inNumSamples, ioState.mOutputCore);
}

} // namespace q38
