#include "q38_ChannelChain.h"

#include "q38_Lanes.h"
#include "q38_SampleRateSetup.h"
#include "q38_Sections.h"
#include "q38_TubeStages.h"

#include "dsp/containers/dsp_ChannelsBuffer.h"
#include "dsp/containers/dsp_DataBuffer.h"
#include "dsp/filter_design/dsp_IIRToolsImpl.h"
#include "vector/vector_Primitives.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <cmath>
#include <limits>
#include <type_traits>

namespace q38 {

void MatrixGlide(const double* const* inInputs, double* const* outOutputs, int inNumSamples, int inNumChannels,
                 MatrixGlideState& ioGlide, const StereoMatrix& inMatrix)
{
    const double rate = inMatrix.mGlideRate;
    if (ioGlide.mPending) {
        ioGlide.mPending = 0;
        ioGlide.mFirstToFirst = inMatrix.mFirstToFirst;
        // A single channel uses the first gain only and leaves the others as they are.
        if (inNumChannels != 1) {
            ioGlide.mFirstToSecond = inMatrix.mFirstToSecond;
            ioGlide.mSecondToFirst = inMatrix.mSecondToFirst;
            ioGlide.mSecondToSecond = inMatrix.mSecondToSecond;
        }
    }

    if (inNumChannels == 1) {
        // Deliberately one multiplication, whatever the stereo mode.
        const double target = inMatrix.mFirstToFirst;
        double gain = ioGlide.mFirstToFirst;
        const double* const in = inInputs[0];
        double* const out = outOutputs[0];
        for (int i = 0; i < inNumSamples; ++i) {
            gain += (target - gain) * rate;
            out[i] = gain * in[i];
        }
        ioGlide.mFirstToFirst = gain;
        return;
    }

    // The gains into the first and into the second channel side by side:
    // {x0, x0} * {g11, g12} + {x1, x1} * {g21, g22}.
    const double glideGains[] = {ioGlide.mFirstToFirst, ioGlide.mFirstToSecond, ioGlide.mSecondToFirst,
                                 ioGlide.mSecondToSecond};
    const double targets[] = {inMatrix.mFirstToFirst, inMatrix.mFirstToSecond, inMatrix.mSecondToFirst,
                              inMatrix.mSecondToSecond};
    constexpr int kAll[] = {0, 1, 2, 3};
    const bool gliding = glideMoves(glideGains, targets, kAll, 4, rate);
    DoublePair fromFirst = {glideGains[0], glideGains[1]};
    DoublePair fromSecond = {glideGains[2], glideGains[3]};
    const DoublePair fromFirstTarget = {targets[0], targets[1]};
    const DoublePair fromSecondTarget = {targets[2], targets[3]};
    const double* const in0 = inInputs[0];
    const double* const in1 = inInputs[1];
    double* const out0 = outOutputs[0];
    double* const out1 = outOutputs[1];
    for (int i = 0; i < inNumSamples; ++i) {
        if (gliding) {
            fromFirst += (fromFirstTarget - fromFirst) * rate;
            fromSecond += (fromSecondTarget - fromSecond) * rate;
        }
        const DoublePair mixed = DoublePair{in0[i], in0[i]} * fromFirst + DoublePair{in1[i], in1[i]} * fromSecond;
        out0[i] = mixed[0];
        out1[i] = mixed[1];
    }
    ioGlide.mFirstToFirst = fromFirst[0];
    ioGlide.mFirstToSecond = fromFirst[1];
    ioGlide.mSecondToFirst = fromSecond[0];
    ioGlide.mSecondToSecond = fromSecond[1];
}

void HissGenerator(double* outSamples, int inNumSamples, std::uint64_t& ioState)
{
    constexpr std::uint64_t kMultiplier = 0x5851F42D4C957F2Dull;
    constexpr std::uint64_t kIncrement = 0x14057B7EF767814Full;
    constexpr std::uint64_t kTwoToThe64Bits = std::bit_cast<std::uint64_t>(18446744073709551616.0);
    constexpr double kTwoToTheMinus63 = 1.0842021724855044e-19;
    std::uint64_t x = ioState;
    for (int i = 0; i < inNumSamples; ++i) {
        x = x * kMultiplier + kIncrement;
        // Through the signed value, lifted by 2^64 when negative. The sign is
        // random, so the lift is chosen by a mask rather than a branch; adding
        // 0.0 leaves a positive value as it is.
        const std::int64_t signedValue = static_cast<std::int64_t>(x);
        const double lift = std::bit_cast<double>(static_cast<std::uint64_t>(signedValue >> 63) & kTwoToThe64Bits);
        outSamples[i] = (static_cast<double>(signedValue) + lift) * kTwoToTheMinus63 - 1.0;
    }
    ioState = x;
}

namespace {

// The geometric ramp of one lane over a block: a jump is a ramp at ratio 1
// that starts on the target, which multiplies out to exactly the target.
void startGainRamp(GainRamp& ioRamp, double inTarget, int inNumSamples, double& outGain, double& outRatio)
{
    const double difference = inTarget - ioRamp.mCurrent;
    const double reach = std::exp(inNumSamples * ioRamp.mLogSpan);
    if (std::fabs(difference) < (reach - 1.0) * inTarget || ioRamp.mPending) {
        ioRamp.mPending = 0;
        outGain = inTarget;
        outRatio = 1.0;
    } else {
        outGain = ioRamp.mCurrent;
        outRatio = difference > 0.0 ? ioRamp.mUpRatio : ioRamp.mDownRatio;
    }
}

} // namespace

void runGainRamp(const double* inSamples, double* outSamples, int inNumSamples, GainRamp& ioRamp, double inTarget)
{
    double gain = 0.0;
    double ratio = 0.0;
    startGainRamp(ioRamp, inTarget, inNumSamples, gain, ratio);
    for (int i = 0; i < inNumSamples; ++i) {
        gain *= ratio;
        outSamples[i] = gain * inSamples[i];
    }
    ioRamp.mCurrent = gain;
}

namespace {

// The amplifier from its entrance to its last nonlinear stage, per sample,
// with the running extremes of its output for the activity meter.
template <int NumLanes>
struct AmplifierRunner
{
    using Value = Lanes<NumLanes>;
    FirstOrderRunner<NumLanes> mDcBlock;
    ClipRunner<NumLanes> mEnvelopeClip;
    Value mEnvelopeCoefficient, mEnvelopeKeep, mEnvelope;
    Value mBiasGain, mBiasGainTarget;
    FirstOrderRunner<NumLanes> mBassLift;
    GlidingFirstOrderRunner<NumLanes> mPreEmphasis;
    ClipRunner<NumLanes> mFirstClip;
    GlidingFirstOrderRunner<NumLanes> mDeEmphasis;
    GlidingFirstOrderRunner<NumLanes> mHighPassFirstOrder;
    GlidingBiquadRunner<NumLanes> mHighPassSecondOrder;
    ClipRunner<NumLanes> mSecondClip;
    GlidingBiquadRunner<NumLanes> mCouplingHighPass;
    BiasShiftClampRunner<NumLanes> mBiasShiftClamp;
    BiquadRunner<NumLanes> mInfrasonicHighPass;
    BiquadRunner<NumLanes> mFirstLowPass;
    BiquadRunner<NumLanes> mSecondLowPass;
    SaturatingIntegratorRunner<NumLanes, false> mCore;
    Value mSmallest, mLargest;

    // Takes the pending targets of each lane first, so a reset's first block starts on them.
    void load(const LaneSet<NumLanes>& inLanes)
    {
        for (int c = 0; c < NumLanes; ++c) {
            ChannelState& state = *inLanes.mStates[c];
            const ChannelCoefficients& coefficients = *inLanes.mCoefficients[c];
            if (state.mBiasGainPending) {
                state.mBiasGainPending = 0;
                state.mBiasGain = coefficients.mBiasGain;
            }
            takeTargetsIfPending(state.mPreEmphasis, coefficients.mPreEmphasis);
            takeTargetsIfPending(state.mDeEmphasis, coefficients.mDeEmphasis);
            takeTargetsIfPending(state.mHighPassFirstOrder, coefficients.mHighPassFirstOrder);
            takeTargetsIfPending(state.mHighPassSecondOrder, coefficients.mHighPassSecondOrder);
            takeTargetsIfPending(state.mCouplingHighPass, coefficients.mCouplingHighPass);
        }
        const auto state = [&](auto inGet) {
            return gather<NumLanes>([&](int c) { return inGet(*inLanes.mStates[c]); });
        };
        const auto targets = [&](auto inGet) {
            return inLanes.coefficients([&](const ChannelCoefficients& c) -> const double* { return inGet(c); });
        };
        mDcBlock.load(inLanes.states([](ChannelState& s) { return &s.mDcBlock; }));
        mEnvelopeClip.load(inLanes.states([](ChannelState& s) -> const dsp::ClipLimits* { return &s.mEnvelopeClip; }));
        mEnvelopeCoefficient = state([](const ChannelState& s) { return s.mEnvelopeCoefficient; });
        mEnvelopeKeep = 1.0 - mEnvelopeCoefficient;
        mEnvelope = state([](const ChannelState& s) { return s.mEnvelope; });
        mBiasGain = state([](const ChannelState& s) { return s.mBiasGain; });
        mBiasGainTarget = gather<NumLanes>([&](int c) { return inLanes.mCoefficients[c]->mBiasGain; });
        mBassLift.load(inLanes.states([](ChannelState& s) { return &s.mBassLift; }));
        mPreEmphasis.load(inLanes.states([](ChannelState& s) { return &s.mPreEmphasis; }),
                          targets([](const ChannelCoefficients& c) { return c.mPreEmphasis; }), kAmplifierGlideRate);
        mFirstClip.load(inLanes.coefficients([](const ChannelCoefficients& c) { return &c.mFirstClip; }));
        mDeEmphasis.load(inLanes.states([](ChannelState& s) { return &s.mDeEmphasis; }),
                         targets([](const ChannelCoefficients& c) { return c.mDeEmphasis; }), kAmplifierGlideRate);
        mHighPassFirstOrder.load(inLanes.states([](ChannelState& s) { return &s.mHighPassFirstOrder; }),
                                 targets([](const ChannelCoefficients& c) { return c.mHighPassFirstOrder; }),
                                 kAmplifierGlideRate);
        mHighPassSecondOrder.load(inLanes.states([](ChannelState& s) { return &s.mHighPassSecondOrder; }),
                                  targets([](const ChannelCoefficients& c) { return c.mHighPassSecondOrder; }),
                                  kAmplifierGlideRate);
        mSecondClip.load(inLanes.coefficients([](const ChannelCoefficients& c) { return &c.mSecondClip; }));
        mCouplingHighPass.load(inLanes.states([](ChannelState& s) { return &s.mCouplingHighPass; }),
                               targets([](const ChannelCoefficients& c) { return c.mCouplingHighPass; }),
                               kAmplifierGlideRate);
        mBiasShiftClamp.load(inLanes);
        mInfrasonicHighPass.load(inLanes.states([](ChannelState& s) { return &s.mInfrasonicHighPass; }));
        mFirstLowPass.load(inLanes.states([](ChannelState& s) { return &s.mFirstLowPass; }));
        mSecondLowPass.load(inLanes.states([](ChannelState& s) { return &s.mSecondLowPass; }));
        mCore.load(inLanes.states([](ChannelState& s) { return &s.mAmplifierCore; }));
        mSmallest = splat<NumLanes>(std::numeric_limits<double>::infinity());
        mLargest = -mSmallest;
    }

    // Writes back the memories and glides, and the meter reading of the block.
    void store(const LaneSet<NumLanes>& inLanes) const
    {
        mDcBlock.store(inLanes.states([](ChannelState& s) { return &s.mDcBlock; }));
        scatter<NumLanes>(mEnvelope, [&](int c) -> double& { return inLanes.mStates[c]->mEnvelope; });
        scatter<NumLanes>(mBiasGain, [&](int c) -> double& { return inLanes.mStates[c]->mBiasGain; });
        mBassLift.store(inLanes.states([](ChannelState& s) { return &s.mBassLift; }));
        mPreEmphasis.store(inLanes.states([](ChannelState& s) { return &s.mPreEmphasis; }));
        mDeEmphasis.store(inLanes.states([](ChannelState& s) { return &s.mDeEmphasis; }));
        mHighPassFirstOrder.store(inLanes.states([](ChannelState& s) { return &s.mHighPassFirstOrder; }));
        mHighPassSecondOrder.store(inLanes.states([](ChannelState& s) { return &s.mHighPassSecondOrder; }));
        mCouplingHighPass.store(inLanes.states([](ChannelState& s) { return &s.mCouplingHighPass; }));
        mBiasShiftClamp.store(inLanes);
        mInfrasonicHighPass.store(inLanes.states([](ChannelState& s) { return &s.mInfrasonicHighPass; }));
        mFirstLowPass.store(inLanes.states([](ChannelState& s) { return &s.mFirstLowPass; }));
        mSecondLowPass.store(inLanes.states([](ChannelState& s) { return &s.mSecondLowPass; }));
        mCore.store(inLanes.states([](ChannelState& s) { return &s.mAmplifierCore; }));
        for (int c = 0; c < NumLanes; ++c)
            writeActivity(lane<NumLanes>(mSmallest, c), lane<NumLanes>(mLargest, c), inLanes.mStates[c]->mActivity);
    }

    static void writeActivity(double inSmallest, double inLargest, double& outActivity)
    {
        static const double kActivityScale = dsp::decibelsToGain(15.0);
        const double peak = std::max(std::fabs(inSmallest), std::fabs(inLargest));
        double activity = peak * kActivityScale - 0.1;
        activity = activity < 0.0 ? 0.0 : activity;
        activity = activity > 1.0 ? 1.0 : activity;
        // Read by the control side without a lock.
        std::atomic_ref<double>(outActivity).store(activity, std::memory_order_relaxed);
    }

    // The amplifier runs in three stages, each in a loop over the block with
    // few other sections: consecutive samples then overlap in the processor,
    // where one loop of the whole chain would wait on each sample's long chain.

    // The entrance, the bias offset and the first clipper between its shelves.
    Q38_SAMPLE_INLINE Value clipperStage(Value inX)
    {
        const Value entrance = mDcBlock.tick(inX);
        // The rectified, limited and smoothed input scaled by the gliding bias
        // gain: an offset added ahead of the first clipper and taken out behind
        // it, so that its operating point moves with the programme.
        mEnvelope = mEnvelopeCoefficient * absolute(mEnvelopeClip.tick(entrance)) + mEnvelope * mEnvelopeKeep;
        mBiasGain += (mBiasGainTarget - mBiasGain) * kBiasGainGlideRate;
        const Value offset = mBiasGain * mEnvelope;

        Value x = mBassLift.tick(entrance);
        x = mPreEmphasis.tick(x);
        x = mFirstClip.tick(x + offset) - offset;
        return mDeEmphasis.tick(x);
    }

    // The high-pass switch, the second clipper and the bias shift.
    Q38_SAMPLE_INLINE Value highPassStage(Value inX)
    {
        Value x = mHighPassFirstOrder.tick(inX);
        x = mHighPassSecondOrder.tick(x);
        x = mSecondClip.tick(x);
        x = mCouplingHighPass.tick(x);
        return mBiasShiftClamp.tick(x);
    }

    // The fixed filters and the core, and the extremes for the meter.
    Q38_SAMPLE_INLINE Value coreStage(Value inX)
    {
        Value x = mInfrasonicHighPass.tick(inX);
        x = mFirstLowPass.tick(x);
        x = mSecondLowPass.tick(x);
        const Value y = mCore.tick(x);
        mSmallest = y < mSmallest ? y : mSmallest;
        mLargest = y > mLargest ? y : mLargest;
        return y;
    }

    Q38_SAMPLE_INLINE Value tick(Value inX)
    {
        return coreStage(highPassStage(clipperStage(inX)));
    }
};

// Takes a pending tone blend and tells whether the tone section has to run.
bool startToneBlend(ChannelState& ioState, const ChannelCoefficients& inCoefficients)
{
    if (ioState.mToneMixPending)
        ioState.mToneMix = inCoefficients.mToneMixTarget;
    ioState.mToneMixPending = 0;
    // Switched off and faded out, the section and its memories stand still.
    return inCoefficients.mToneEnabled || ioState.mToneMix > 0.0;
}

void finishToneBlend(ChannelState& ioState, double inMix)
{
    ioState.mToneMix = inMix >= kToneMixFloor ? inMix : 0.0;
}

// What the tone section of one channel remembers.
struct ToneMemories
{
    GlidingBiquad mLowShelf;
    GlidingBiquad mHighShelf;
    Biquad mFirstBell;
    Biquad mSecondBell;
    SaturatingIntegrator mOutputCore;

    void save(const ChannelState& inState)
    {
        mLowShelf = inState.mLowShelf;
        mHighShelf = inState.mHighShelf;
        mFirstBell = inState.mFirstBell;
        mSecondBell = inState.mSecondBell;
        mOutputCore = inState.mOutputCore;
    }

    void restore(ChannelState& outState) const
    {
        outState.mLowShelf = mLowShelf;
        outState.mHighShelf = mHighShelf;
        outState.mFirstBell = mFirstBell;
        outState.mSecondBell = mSecondBell;
        outState.mOutputCore = mOutputCore;
    }
};

// Whether every value that the channel carries to the next block is finite:
// its memories, glides and tone blend (the meter is held to 0..1 whatever it
// reads). A coefficient that is not finite makes its section's memory so at
// the next sample, whatever the sample, so the memories tell for the
// coefficients too. x - x is 0 for a finite x and NaN for the rest, and a sum
// is finite only if every term is (a sum of huge values that overflows fails
// as well); the sum is a tree, for a short chain of additions.
bool isFinite(const ChannelState& inState)
{
    const ChannelState& s = inState;
    const double amplifier =
        ((s.mDcBlock.mMemory + s.mEnvelope) + (s.mBiasGain + s.mBassLift.mMemory))
        + ((s.mPreEmphasis.mMemory + s.mDeEmphasis.mMemory) + (s.mHighPassFirstOrder.mMemory + s.mToneMix));
    const double highPass = ((s.mHighPassSecondOrder.mMemory1 + s.mHighPassSecondOrder.mMemory2)
                             + (s.mCouplingHighPass.mMemory1 + s.mCouplingHighPass.mMemory2))
                            + ((s.mBiasLowPassMemory + s.mBiasShift) + (s.mBiasFloor + s.mBiasFeedback));
    const double core = ((s.mInfrasonicHighPass.mMemory1 + s.mInfrasonicHighPass.mMemory2)
                         + (s.mFirstLowPass.mMemory1 + s.mFirstLowPass.mMemory2))
                        + ((s.mSecondLowPass.mMemory1 + s.mSecondLowPass.mMemory2)
                           + (s.mAmplifierCore.mState + s.mAmplifierCore.mPrevious));
    const double tone = ((s.mLowShelf.mMemory1 + s.mLowShelf.mMemory2) + (s.mHighShelf.mMemory1 + s.mHighShelf.mMemory2))
                        + ((s.mFirstBell.mMemory1 + s.mFirstBell.mMemory2)
                           + (s.mSecondBell.mMemory1 + s.mSecondBell.mMemory2));
    const double ramps =
        (s.mOutputCore.mState + s.mOutputCore.mPrevious) + (s.mInputRamp.mCurrent + s.mOutputRamp.mCurrent);
    const double sum = ((amplifier + highPass) + (core + tone)) + ramps;
    return sum - sum == 0.0;
}

// One pass of the per-channel chain over a block, for one model channel or
// both at once: hiss, input ramp, amplifier, tone blend, output ramp, from
// ioChannels[c] back into it.
template <int NumLanes>
void runChannels(double* const* ioChannels, int inNumSamples, const LaneSet<NumLanes>& inLanes)
{
    using Value = Lanes<NumLanes>;
    const int n = inNumSamples;

    double hiss[NumLanes][dsp::DataBuffer::MaxNumSamples];
    double inputGain[NumLanes], inputRatio[NumLanes], outputGain[NumLanes], outputRatio[NumLanes];
    bool runsTone[NumLanes];
    bool anyTone = false;
    for (int c = 0; c < NumLanes; ++c) {
        ChannelState& state = *inLanes.mStates[c];
        const ChannelCoefficients& coefficients = *inLanes.mCoefficients[c];
        HissGenerator(hiss[c], n, state.mHissState);
        startGainRamp(state.mInputRamp, coefficients.mInputGain, n, inputGain[c], inputRatio[c]);
        startGainRamp(state.mOutputRamp, coefficients.mOutputGain, n, outputGain[c], outputRatio[c]);
        runsTone[c] = startToneBlend(state, coefficients);
        if (runsTone[c]) {
            takeTargetsIfPending(state.mLowShelf, coefficients.mLowShelf);
            takeTargetsIfPending(state.mHighShelf, coefficients.mHighShelf);
        }
        anyTone = anyTone || runsTone[c];
    }

    Value inGain = gather<NumLanes>([&](int c) { return inputGain[c]; });
    const Value inRatio = gather<NumLanes>([&](int c) { return inputRatio[c]; });
    Value outGain = gather<NumLanes>([&](int c) { return outputGain[c]; });
    const Value outRatio = gather<NumLanes>([&](int c) { return outputRatio[c]; });
    Value mix = gather<NumLanes>([&](int c) { return inLanes.mStates[c]->mToneMix; });
    const Value mixTarget = gather<NumLanes>([&](int c) { return inLanes.mCoefficients[c]->mToneMixTarget; });
    // Lanes whose tone section stands still keep their memories and read the
    // block that the tone section would have written: the input ramp's output.
    const LaneMask<NumLanes> toneLanes = gather<NumLanes>([&](int c) { return runsTone[c] ? 1.0 : 0.0; }) != 0.0;

    AmplifierRunner<NumLanes> amplifier;
    amplifier.load(inLanes);

    // Stage buffers: the input ramp's output, and the chain between stages.
    Value ramped[dsp::DataBuffer::MaxNumSamples];
    Value first[dsp::DataBuffer::MaxNumSamples];

    for (int i = 0; i < n; ++i) {
        const Value noise = gather<NumLanes>([&](int c) { return hiss[c][i]; }) * kHissLevel;
        const Value entrance = noise + gather<NumLanes>([&](int c) { return ioChannels[c][i]; });
        inGain *= inRatio;
        ramped[i] = inGain * entrance;
        first[i] = amplifier.clipperStage(ramped[i]);
    }
    for (int i = 0; i < n; ++i)
        first[i] = amplifier.highPassStage(first[i]);

    // The core shares its loop with the tone section, whose own core's
    // recurrence then overlaps with it. The blend mixes in the tone section's
    // output where it runs.
    if (anyTone) {
        ToneSectionRunner<NumLanes> tone;
        tone.load(inLanes);
        for (int i = 0; i < n; ++i) {
            const Value amplified = amplifier.coreStage(first[i]);
            const Value toned = toneLanes ? tone.tick(amplified) : ramped[i];
            const Value blended = (1.0 - mix) * amplified + mix * toned;
            mix += (mixTarget - mix) * kToneMixGlideRate;
            outGain *= outRatio;
            scatter<NumLanes>(outGain * blended, [&](int c) -> double& { return ioChannels[c][i]; });
        }

        // A lane whose tone section stood still keeps its memories as they were.
        ToneMemories kept[NumLanes];
        for (int c = 0; c < NumLanes; ++c)
            if (!runsTone[c])
                kept[c].save(*inLanes.mStates[c]);
        tone.store(inLanes);
        for (int c = 0; c < NumLanes; ++c)
            if (!runsTone[c])
                kept[c].restore(*inLanes.mStates[c]);
    } else {
        for (int i = 0; i < n; ++i) {
            const Value blended = (1.0 - mix) * amplifier.coreStage(first[i]) + mix * ramped[i];
            mix += (mixTarget - mix) * kToneMixGlideRate;
            outGain *= outRatio;
            scatter<NumLanes>(outGain * blended, [&](int c) -> double& { return ioChannels[c][i]; });
        }
    }

    amplifier.store(inLanes);
    bool holdsNonFinite[NumLanes];
    for (int c = 0; c < NumLanes; ++c) {
        ChannelState& state = *inLanes.mStates[c];
        state.mInputRamp.mCurrent = lane<NumLanes>(inGain, c);
        state.mOutputRamp.mCurrent = lane<NumLanes>(outGain, c);
        finishToneBlend(state, lane<NumLanes>(mix, c));
        holdsNonFinite[c] = !isFinite(state);
    }
    // Finite input and coefficients keep every value finite. Should one ever
    // not be, the channel starts afresh from the next block, and this block
    // of it is silence rather than whatever it holds.
    for (int c = 0; c < NumLanes; ++c) {
        if (holdsNonFinite[c]) [[unlikely]] {
            clearChannelMemories(*inLanes.mStates[c]);
            std::fill(ioChannels[c], ioChannels[c] + n, 0.0);
        }
    }
}

} // namespace

void AmplifierSection(const double* inSamples, double* outSamples, int inNumSamples,
                      const ChannelCoefficients& inCoefficients, ChannelState& ioState)
{
    runBlock<AmplifierRunner<1>>(inSamples, outSamples, inNumSamples, LaneSet<1>{{&ioState}, {&inCoefficients}});
}

void ToneSectionBlend(const double* inSamples, double* outSamples, int inNumSamples,
                      const ChannelCoefficients& inCoefficients, ChannelState& ioState)
{
    if (startToneBlend(ioState, inCoefficients))
        ToneSection(inSamples, outSamples, inNumSamples, inCoefficients, ioState);

    const double target = inCoefficients.mToneMixTarget;
    double mix = ioState.mToneMix;
    for (int i = 0; i < inNumSamples; ++i) {
        outSamples[i] = (1.0 - mix) * inSamples[i] + mix * outSamples[i];
        mix += (target - mix) * kToneMixGlideRate;
    }
    finishToneBlend(ioState, mix);
}

void processModel(const double* const* inInputs, double* const* outOutputs, int inNumSamples, int inNumChannels,
                  const ModelCoefficients& inCoefficients, ModelState& ioState)
{
    dsp::ChannelsBuffer work(inNumChannels, inNumSamples);
    MatrixGlide(inInputs, work.channelPointers(), inNumSamples, inNumChannels, ioState.mInputMatrix,
                inCoefficients.mInputMatrix);

    // The two model channels are independent: with two they run side by side.
    if (inNumChannels == 2) {
        runChannels<2>(work.channelPointers(), inNumSamples,
                       {{&ioState.mChannel[0], &ioState.mChannel[1]},
                        {&inCoefficients.mChannel[0], &inCoefficients.mChannel[1]}});
    } else {
        runChannels<1>(work.channelPointers(), inNumSamples, {{&ioState.mChannel[0]}, {&inCoefficients.mChannel[0]}});
    }

    MatrixGlide(work.channelPointers(), outOutputs, inNumSamples, inNumChannels, ioState.mOutputMatrix,
                inCoefficients.mOutputMatrix);
}

} // namespace q38
