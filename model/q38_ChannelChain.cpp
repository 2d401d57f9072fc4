#include "q38_ChannelChain.h"

#include "q38_Lanes.h"
#include "q38_SampleRateSetup.h"
#include "q38_Sections.h"
#include "q38_TubeStages.h"

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

namespace {

// The gains of a matrix glide over a block. One channel uses the first gain
// alone; two mix as {x0, x0} * {g11, g12} + {x1, x1} * {g21, g22}, the gains
// into the first and into the second channel side by side.
template <int NumLanes>
struct MatrixRunner;

template <>
struct MatrixRunner<1>
{
    double mGain, mTarget, mRate;
    bool mGliding;

    void load(MatrixGlideState& ioGlide, const StereoMatrix& inMatrix)
    {
        // A single channel snaps the first gain only and leaves the others as they are.
        if (ioGlide.mPending) {
            ioGlide.mPending = 0;
            ioGlide.mFirstToFirst = inMatrix.mFirstToFirst;
        }
        mGain = ioGlide.mFirstToFirst;
        mTarget = inMatrix.mFirstToFirst;
        mRate = inMatrix.mGlideRate;
        mGliding = glideMoves<1>(mGain, mTarget, mRate);
    }

    void store(MatrixGlideState& outGlide) const { outGlide.mFirstToFirst = mGain; }

    // Deliberately one multiplication, whatever the stereo mode.
    template <bool Glide = true>
    Q38_SAMPLE_INLINE double tick(double inX)
    {
        if constexpr (Glide)
            mGain = glide(mGain, mTarget, mRate);
        return mGain * inX;
    }

    static double read(const double* const* inChannels, int inIndex) { return inChannels[0][inIndex]; }
    static void write(double inValue, double* const* outChannels, int inIndex) { outChannels[0][inIndex] = inValue; }
};

template <>
struct MatrixRunner<2>
{
    DoublePair mFromFirst, mFromSecond, mFromFirstTarget, mFromSecondTarget;
    double mRate;
    bool mGliding;

    void load(MatrixGlideState& ioGlide, const StereoMatrix& inMatrix)
    {
        if (ioGlide.mPending) {
            ioGlide.mPending = 0;
            ioGlide.mFirstToFirst = inMatrix.mFirstToFirst;
            ioGlide.mFirstToSecond = inMatrix.mFirstToSecond;
            ioGlide.mSecondToFirst = inMatrix.mSecondToFirst;
            ioGlide.mSecondToSecond = inMatrix.mSecondToSecond;
        }
        mFromFirst = DoublePair{ioGlide.mFirstToFirst, ioGlide.mFirstToSecond};
        mFromSecond = DoublePair{ioGlide.mSecondToFirst, ioGlide.mSecondToSecond};
        mFromFirstTarget = DoublePair{inMatrix.mFirstToFirst, inMatrix.mFirstToSecond};
        mFromSecondTarget = DoublePair{inMatrix.mSecondToFirst, inMatrix.mSecondToSecond};
        mRate = inMatrix.mGlideRate;
        mGliding = glideMoves<2>(mFromFirst, mFromFirstTarget, mRate)
                   || glideMoves<2>(mFromSecond, mFromSecondTarget, mRate);
    }

    void store(MatrixGlideState& outGlide) const
    {
        outGlide.mFirstToFirst = mFromFirst[0];
        outGlide.mFirstToSecond = mFromFirst[1];
        outGlide.mSecondToFirst = mFromSecond[0];
        outGlide.mSecondToSecond = mFromSecond[1];
    }

    // All four gains glide before the sample's mix.
    template <bool Glide = true>
    Q38_SAMPLE_INLINE DoublePair tick(DoublePair inX)
    {
        if constexpr (Glide) {
            mFromFirst = glide(mFromFirst, mFromFirstTarget, mRate);
            mFromSecond = glide(mFromSecond, mFromSecondTarget, mRate);
        }
        return DoublePair{inX[0], inX[0]} * mFromFirst + DoublePair{inX[1], inX[1]} * mFromSecond;
    }

    static DoublePair read(const double* const* inChannels, int inIndex)
    {
        return DoublePair{inChannels[0][inIndex], inChannels[1][inIndex]};
    }
    static void write(DoublePair inValue, double* const* outChannels, int inIndex)
    {
        outChannels[0][inIndex] = inValue[0];
        outChannels[1][inIndex] = inValue[1];
    }
};

} // namespace

void MatrixGlide(const double* const* inInputs, double* const* outOutputs, int inNumSamples, int inNumChannels,
                 MatrixGlideState& ioGlide, const StereoMatrix& inMatrix)
{
    const auto run = [&](auto inRunner) {
        inRunner.load(ioGlide, inMatrix);
        for (int i = 0; i < inNumSamples; ++i)
            inRunner.write(inRunner.tick(inRunner.read(inInputs, i)), outOutputs, i);
        inRunner.store(ioGlide);
    };
    if (inNumChannels == 1)
        run(MatrixRunner<1>{});
    else
        run(MatrixRunner<2>{});
}

namespace {

// One step of the hiss sequence: the new state, as a double in [0, 2^64).
Q38_SAMPLE_INLINE double nextHissState(std::uint64_t& ioState)
{
    constexpr std::uint64_t kMultiplier = 0x5851F42D4C957F2Dull;
    constexpr std::uint64_t kIncrement = 0x14057B7EF767814Full;
    constexpr std::uint64_t kTwoToThe64Bits = std::bit_cast<std::uint64_t>(18446744073709551616.0);
    ioState = ioState * kMultiplier + kIncrement;
    // Through the signed value, lifted by 2^64 when negative. The sign is
    // random, so the lift is chosen by a mask rather than a branch; adding
    // 0.0 leaves a positive value as it is.
    const std::int64_t signedValue = static_cast<std::int64_t>(ioState);
    const double lift = std::bit_cast<double>(static_cast<std::uint64_t>(signedValue >> 63) & kTwoToThe64Bits);
    return static_cast<double>(signedValue) + lift;
}

// The state as a sample, uniform on [-1, 1).
template <typename Value>
Q38_SAMPLE_INLINE Value hissSample(Value inState)
{
    constexpr double kTwoToTheMinus63 = 1.0842021724855044e-19;
    return inState * kTwoToTheMinus63 - 1.0;
}

} // namespace

void HissGenerator(double* outSamples, int inNumSamples, std::uint64_t& ioState)
{
    std::uint64_t x = ioState;
    for (int i = 0; i < inNumSamples; ++i)
        outSamples[i] = hissSample(nextHissState(x));
    ioState = x;
}

namespace {

// exp(n * inLogSpan), how far a ramp reaches in a block of n samples. Every
// ramp has the same span, so the reaches of blocks of 1 to 32 samples are
// computed once, with the same expression.
double rampReach(double inLogSpan, int inNumSamples)
{
    struct Reaches
    {
        double mLogSpan;
        double mReach[dsp::DataBuffer::MaxNumSamples + 1];
    };
    static const Reaches kReaches = [] {
        Reaches reaches{gainRampLogSpan(), {}};
        for (int n = 1; n <= dsp::DataBuffer::MaxNumSamples; ++n)
            reaches.mReach[n] = std::exp(n * reaches.mLogSpan);
        return reaches;
    }();
    if (inLogSpan == kReaches.mLogSpan && inNumSamples >= 1 && inNumSamples <= dsp::DataBuffer::MaxNumSamples)
        return kReaches.mReach[inNumSamples];
    return std::exp(inNumSamples * inLogSpan);
}

// The geometric ramp of one lane over a block: a jump is a ramp at ratio 1
// that starts on the target, which multiplies out to exactly the target.
void startGainRamp(GainRamp& ioRamp, double inTarget, int inNumSamples, double& outGain, double& outRatio)
{
    const double difference = inTarget - ioRamp.mCurrent;
    const double reach = rampReach(ioRamp.mLogSpan, inNumSamples);
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
    // A stage leaves out its glides (Glide false) while none of them moves.

    bool clipperStageGlides() const
    {
        return glideMoves<NumLanes>(mBiasGain, mBiasGainTarget, kBiasGainGlideRate) || mPreEmphasis.mGliding
               || mDeEmphasis.mGliding;
    }

    bool highPassStageGlides() const
    {
        return mHighPassFirstOrder.mGliding || mHighPassSecondOrder.mGliding || mCouplingHighPass.mGliding
               || mBiasShiftClamp.mGliding;
    }

    // The entrance, the bias offset and the first clipper between its shelves.
    template <bool Glide = true>
    Q38_SAMPLE_INLINE Value clipperStage(Value inX)
    {
        const Value entrance = mDcBlock.tick(inX);
        // The rectified, limited and smoothed input scaled by the gliding bias
        // gain: an offset added ahead of the first clipper and taken out behind
        // it, so that its operating point moves with the programme.
        mEnvelope = mEnvelopeCoefficient * absolute(mEnvelopeClip.tick(entrance)) + mEnvelope * mEnvelopeKeep;
        if constexpr (Glide)
            mBiasGain += (mBiasGainTarget - mBiasGain) * kBiasGainGlideRate;
        const Value offset = mBiasGain * mEnvelope;

        Value x = mBassLift.tick(entrance);
        x = mPreEmphasis.template tick<Glide>(x);
        x = mFirstClip.tick(x + offset) - offset;
        return mDeEmphasis.template tick<Glide>(x);
    }

    // The high-pass switch, the second clipper and the coupling high-pass;
    // the bias shift follows in the same loop.
    template <bool Glide = true>
    Q38_SAMPLE_INLINE Value highPassStage(Value inX)
    {
        Value x = mHighPassFirstOrder.template tick<Glide>(inX);
        x = mHighPassSecondOrder.template tick<Glide>(x);
        x = mSecondClip.tick(x);
        return mCouplingHighPass.template tick<Glide>(x);
    }

    // The high-pass stage and the bias shift over a block in place.
    template <bool Glide>
    Q38_SAMPLE_INLINE void highPassAndBiasShift(Value* ioSamples, int inNumSamples)
    {
        mBiasShiftClamp.template runBlock<Glide>(ioSamples, inNumSamples,
                                                 [&](int i) { return highPassStage<Glide>(ioSamples[i]); });
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
        return coreStage(mBiasShiftClamp.tick(highPassStage(clipperStage(inX))));
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

// Runs inLoop with a compile-time flag, true when any glide of its loop moves.
template <typename Loop>
Q38_SAMPLE_INLINE void withGlides(bool inGlides, Loop&& inLoop)
{
    if (inGlides)
        inLoop(std::true_type{});
    else
        inLoop(std::false_type{});
}

// The tone section of the lanes in inRuns over a block, from the amplifier's
// output to outToned. A lane whose section stands still keeps its memories
// and passes inStill, the block that the blend takes in its place.
template <int NumLanes>
Q38_SAMPLE_INLINE void runToneSection(const Lanes<NumLanes>* inAmplified, const Lanes<NumLanes>* inStill,
                                      Lanes<NumLanes>* outToned, int inNumSamples, const LaneSet<NumLanes>& inLanes,
                                      const bool (&inRuns)[NumLanes])
{
    ToneSectionRunner<NumLanes> tone;
    tone.load(inLanes);
    // The shaper has no memory: in a loop of its own its samples overlap, and
    // its long chain of arithmetic stays out of the filters' loop.
    for (int i = 0; i < inNumSamples; ++i)
        outToned[i] = tone.shape(inAmplified[i]);
    const LaneMask<NumLanes> running = laneMask<NumLanes>(inRuns);
    withGlides(tone.gliding(), [&](auto inGlide) Q38_INLINED {
        for (int i = 0; i < inNumSamples; ++i)
            outToned[i] = select(running, tone.template filterStage<decltype(inGlide)::value>(outToned[i]), inStill[i]);
    });

    ToneMemories kept[NumLanes];
    for (int c = 0; c < NumLanes; ++c)
        if (!inRuns[c])
            kept[c].save(*inLanes.mStates[c]);
    tone.store(inLanes);
    for (int c = 0; c < NumLanes; ++c)
        if (!inRuns[c])
            kept[c].restore(*inLanes.mStates[c]);
}

// One pass of the chain over a block, for one model channel or both at once:
// the input matrix, then per channel hiss, input ramp, amplifier, tone blend
// and output ramp, then the output matrix.
template <int NumLanes>
Q38_SAMPLE_INLINE void runChannels(const double* const* inInputs, double* const* outOutputs, int inNumSamples,
                                   const ModelCoefficients& inCoefficients, ModelState& ioState)
{
    using Value = Lanes<NumLanes>;
    const int n = inNumSamples;
    LaneSet<NumLanes> lanes;
    for (int c = 0; c < NumLanes; ++c) {
        lanes.mStates[c] = &ioState.mChannel[c];
        lanes.mCoefficients[c] = &inCoefficients.mChannel[c];
    }

    MatrixRunner<NumLanes> inputMatrix, outputMatrix;
    inputMatrix.load(ioState.mInputMatrix, inCoefficients.mInputMatrix);
    outputMatrix.load(ioState.mOutputMatrix, inCoefficients.mOutputMatrix);
    const MatrixRunner<NumLanes> outputMatrixAtStart = outputMatrix;
    std::uint64_t hiss[NumLanes];
    double inputGain[NumLanes], inputRatio[NumLanes], outputGain[NumLanes], outputRatio[NumLanes];
    bool runsTone[NumLanes];
    bool anyTone = false;
    for (int c = 0; c < NumLanes; ++c) {
        ChannelState& state = *lanes.mStates[c];
        const ChannelCoefficients& coefficients = *lanes.mCoefficients[c];
        hiss[c] = state.mHissState;
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
    Value mix = gather<NumLanes>([&](int c) { return lanes.mStates[c]->mToneMix; });
    const Value mixTarget = gather<NumLanes>([&](int c) { return lanes.mCoefficients[c]->mToneMixTarget; });
    // A ramp that has jumped to its target goes on at the ratio 1.
    const Value one = splat<NumLanes>(1.0);

    AmplifierRunner<NumLanes> amplifier;
    amplifier.load(lanes);

    // Stage buffers: the input ramp's output (the hiss and the input matrix's
    // before it), and the chain between stages.
    Value ramped[dsp::DataBuffer::MaxNumSamples];
    Value first[dsp::DataBuffer::MaxNumSamples];

    const bool entranceGlides = inputMatrix.mGliding || differsInBits<NumLanes>(inRatio, one)
                                || amplifier.clipperStageGlides();
    // The hiss and the input matrix in a loop of their own: the amplifier's
    // entrance then starts each sample without their arithmetic on its way.
    withGlides(inputMatrix.mGliding, [&](auto inGlide) Q38_INLINED {
        for (int i = 0; i < n; ++i) {
            const Value state = gather<NumLanes>([&](int c) { return nextHissState(hiss[c]); });
            const Value noise = hissSample(state) * kHissLevel;
            ramped[i] = noise + inputMatrix.template tick<decltype(inGlide)::value>(inputMatrix.read(inInputs, i));
        }
    });
    withGlides(entranceGlides, [&](auto inGlide) Q38_INLINED {
        constexpr bool glides = decltype(inGlide)::value;
        for (int i = 0; i < n; ++i) {
            const Value entrance = ramped[i];
            if constexpr (glides)
                inGain *= inRatio;
            ramped[i] = inGain * entrance;
            first[i] = amplifier.template clipperStage<glides>(ramped[i]);
        }
    });
    withGlides(amplifier.highPassStageGlides(), [&](auto inGlide) Q38_INLINED {
        amplifier.template highPassAndBiasShift<decltype(inGlide)::value>(first, n);
    });

    for (int i = 0; i < n; ++i)
        first[i] = amplifier.coreStage(first[i]);

    // The tone section, where it runs, replaces the input ramp's output that
    // the blend mixes in.
    Value toned[dsp::DataBuffer::MaxNumSamples];
    const Value* blendedWith = ramped;
    if (anyTone) {
        runToneSection<NumLanes>(first, ramped, toned, n, lanes, runsTone);
        blendedWith = toned;
    }

    // The blend, the output ramp and the output matrix.
    const bool outputGlides = glideMoves<NumLanes>(mix, mixTarget, kToneMixGlideRate)
                              || differsInBits<NumLanes>(outRatio, one) || outputMatrix.mGliding;
    Value model[dsp::DataBuffer::MaxNumSamples];  // the model channels ahead of the output matrix
    withGlides(outputGlides, [&](auto inGlide) Q38_INLINED {
        constexpr bool glides = decltype(inGlide)::value;
        for (int i = 0; i < n; ++i) {
            const Value blended = (1.0 - mix) * first[i] + mix * blendedWith[i];
            if constexpr (glides) {
                mix += (mixTarget - mix) * kToneMixGlideRate;
                outGain *= outRatio;
            }
            model[i] = outGain * blended;
            outputMatrix.write(outputMatrix.template tick<glides>(model[i]), outOutputs, i);
        }
    });

    inputMatrix.store(ioState.mInputMatrix);
    amplifier.store(lanes);
    bool holdsNonFinite[NumLanes];
    for (int c = 0; c < NumLanes; ++c) {
        ChannelState& state = *lanes.mStates[c];
        state.mHissState = hiss[c];
        state.mInputRamp.mCurrent = lane<NumLanes>(inGain, c);
        state.mOutputRamp.mCurrent = lane<NumLanes>(outGain, c);
        finishToneBlend(state, lane<NumLanes>(mix, c));
        holdsNonFinite[c] = !isFinite(state);
    }
    // Finite input and coefficients keep every value finite. Should one ever
    // not be, the channel starts afresh from the next block, and this block
    // of it is silence rather than whatever it holds: the output matrix mixes
    // the block again.
    bool anyNonFinite = false;
    for (int c = 0; c < NumLanes; ++c) {
        if (holdsNonFinite[c]) [[unlikely]] {
            clearChannelMemories(*lanes.mStates[c]);
            anyNonFinite = true;
        }
    }
    if (anyNonFinite) [[unlikely]] {
        const LaneMask<NumLanes> silenced = laneMask<NumLanes>(holdsNonFinite);
        outputMatrix = outputMatrixAtStart;
        for (int i = 0; i < n; ++i)
            outputMatrix.write(outputMatrix.tick(select(silenced, splat<NumLanes>(0.0), model[i])), outOutputs, i);
    }
    outputMatrix.store(ioState.mOutputMatrix);
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

namespace {

// The chain in one version per instruction set: the same source, inlined
// whole into each.
using ChainFunction = void (*)(const double* const*, double* const*, int, const ModelCoefficients&, ModelState&);

template <int NumLanes>
void runChannelsBaseline(const double* const* inInputs, double* const* outOutputs, int inNumSamples,
                         const ModelCoefficients& inCoefficients, ModelState& ioState)
{
    runChannels<NumLanes>(inInputs, outOutputs, inNumSamples, inCoefficients, ioState);
}

#if defined(__x86_64__)
template <int NumLanes>
[[gnu::target("arch=x86-64-v3")]] void runChannelsX86V3(const double* const* inInputs, double* const* outOutputs,
                                                        int inNumSamples, const ModelCoefficients& inCoefficients,
                                                        ModelState& ioState)
{
    runChannels<NumLanes>(inInputs, outOutputs, inNumSamples, inCoefficients, ioState);
}

template <int NumLanes>
[[gnu::target("arch=x86-64-v4")]] void runChannelsX86V4(const double* const* inInputs, double* const* outOutputs,
                                                        int inNumSamples, const ModelCoefficients& inCoefficients,
                                                        ModelState& ioState)
{
    runChannels<NumLanes>(inInputs, outOutputs, inNumSamples, inCoefficients, ioState);
}
#endif

struct ChainVersion
{
    ChainFunction mOneChannel;
    ChainFunction mTwoChannels;
};

ChainVersion chainVersion(SampleLoops inLoops)
{
#if defined(__x86_64__)
    if (inLoops == SampleLoops::X86V4)
        return {&runChannelsX86V4<1>, &runChannelsX86V4<2>};
    if (inLoops == SampleLoops::X86V3)
        return {&runChannelsX86V3<1>, &runChannelsX86V3<2>};
#endif
    return {&runChannelsBaseline<1>, &runChannelsBaseline<2>};
}

SampleLoops widestSampleLoops()
{
    for (const SampleLoops loops : {SampleLoops::X86V4, SampleLoops::X86V3})
        if (processorRuns(loops))
            return loops;
    return SampleLoops::Baseline;
}

// Relaxed: a single value, read once per block.
std::atomic<SampleLoops> gUsedSampleLoops{SampleLoops::Widest};

} // namespace

bool processorRuns(SampleLoops inLoops)
{
#if defined(__x86_64__)
    if (inLoops == SampleLoops::X86V4)
        return __builtin_cpu_supports("x86-64-v4");
    if (inLoops == SampleLoops::X86V3)
        return __builtin_cpu_supports("x86-64-v3");
#endif
    return inLoops == SampleLoops::Baseline || inLoops == SampleLoops::Widest;
}

void useSampleLoops(SampleLoops inLoops)
{
    gUsedSampleLoops.store(processorRuns(inLoops) ? inLoops : SampleLoops::Widest, std::memory_order_relaxed);
}

void processModel(const double* const* inInputs, double* const* outOutputs, int inNumSamples, int inNumChannels,
                  const ModelCoefficients& inCoefficients, ModelState& ioState)
{
    static const ChainVersion kWidest = chainVersion(widestSampleLoops());
    const SampleLoops used = gUsedSampleLoops.load(std::memory_order_relaxed);
    const ChainVersion version = used == SampleLoops::Widest ? kWidest : chainVersion(used);
    // The two model channels are independent: with two they run side by side.
    if (inNumChannels == 2)
        version.mTwoChannels(inInputs, outOutputs, inNumSamples, inCoefficients, ioState);
    else
        version.mOneChannel(inInputs, outOutputs, inNumSamples, inCoefficients, ioState);
}

} // namespace q38
