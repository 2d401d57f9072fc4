#pragma once

// The stateful nonlinear stages of a channel: the saturating integrator (a
// transformer-like core), the bias-shift clamp and the tone section that
// "Enable Eq" switches in. Each has a runner for one channel or both at once
// (q38_Lanes.h); the block operations run one channel over a block.

#include "q38_Lanes.h"
#include "q38_ModelTypes.h"
#include "q38_Sections.h"

#include "dsp/cells/shapers/dsp_Shapers.h"
#include "dsp/containers/dsp_DataBuffer.h"

#include <bit>
#include <cmath>
#include <cstdint>
#include <type_traits>

namespace q38 {

// Glide rate of the clamp's floor and feedback, per sample.
constexpr double kBiasGlideRate = 0.001;
// Glide rate of the tone shelves, half that of the amplifier's filters.
constexpr double kToneShelfGlideRate = 0.0005;

// The leaky integrator: its memory loses mLossScale times what the shaper takes
// away, and the output is the rate of change of the unshaped level. This is the
// amplifier's form, whose shaper applies its pre and post gains.
void runSaturatingIntegrator(const double* inSamples, double* outSamples, int inNumSamples,
                             SaturatingIntegrator& ioIntegrator);

// The output stage's form: its shaper ignores the (0 dB) pre and post gains.
void runSaturatingIntegratorUnity(const double* inSamples, double* outSamples, int inNumSamples,
                                  SaturatingIntegrator& ioIntegrator);

// One-sided clamp from below with a 5 Hz low-passed feedback of what it cuts
// off; floor and feedback glide to their targets after each sample.
void runBiasShiftClamp(const double* inSamples, double* outSamples, int inNumSamples,
                       const ChannelCoefficients& inCoefficients, ChannelState& ioState);

// Output shaper, the two tone shelves, two fixed bells and the output integrator.
void ToneSection(const double* inSamples, double* outSamples, int inNumSamples,
                 const ChannelCoefficients& inCoefficients, ChannelState& ioState);

// --- Runners ---------------------------------------------------------------------------
// One channel evaluates the cell library's curves; a pair evaluates the same
// formulas lane by lane with selections.

template <int NumLanes>
struct ClipRunner
{
    using Value = Lanes<NumLanes>;
    Value mUpper, mLower;

    void load(const std::array<const dsp::ClipLimits*, NumLanes>& inLimits)
    {
        mUpper = gather<NumLanes>([&](int c) { return inLimits[c]->mUpper; });
        mLower = gather<NumLanes>([&](int c) { return inLimits[c]->mLower; });
    }

    // As the vector threshold: below the lower limit, within, else (NaN too)
    // the upper one. Written as the processor's minimum and maximum, which
    // agree with those comparisons for the model's limits, a negative lower
    // and a positive upper one: where they pick the other of two equal
    // operands, the two are the same nonzero number.
    Q38_SAMPLE_INLINE Value tick(Value inX) const
    {
        const Value below = inX < mUpper ? inX : mUpper;
        return below > mLower ? below : mLower;
    }
};

template <int NumLanes, bool UnityShaper>
struct SaturatingIntegratorRunner
{
    using Value = Lanes<NumLanes>;
    Value mInputScale, mOutputScale, mLeak, mLossScale, mState, mPrevious;
    // The shaper, lane by lane.
    Value mPreGain, mPostGain, mSlope, mOffset, mKneeLow, mKneeHigh, mKneeA, mKneeB, mKneeC;

    void load(const std::array<SaturatingIntegrator*, NumLanes>& inIntegrators)
    {
        const auto field = [&](double SaturatingIntegrator::*inField) {
            return gather<NumLanes>([&](int c) { return inIntegrators[c]->*inField; });
        };
        const auto shaper = [&](double dsp::SoftKneeShaper::*inField) {
            return gather<NumLanes>([&](int c) { return inIntegrators[c]->mShaper.*inField; });
        };
        mInputScale = field(&SaturatingIntegrator::mInputScale);
        mOutputScale = field(&SaturatingIntegrator::mOutputScale);
        mLeak = field(&SaturatingIntegrator::mLeak);
        mLossScale = field(&SaturatingIntegrator::mLossScale);
        mState = field(&SaturatingIntegrator::mState);
        mPrevious = field(&SaturatingIntegrator::mPrevious);
        mPreGain = shaper(&dsp::SoftKneeShaper::mPreGain);
        mPostGain = shaper(&dsp::SoftKneeShaper::mPostGain);
        mSlope = shaper(&dsp::SoftKneeShaper::mSlope);
        mOffset = shaper(&dsp::SoftKneeShaper::mOffset);
        mKneeLow = shaper(&dsp::SoftKneeShaper::mKneeLow);
        mKneeHigh = shaper(&dsp::SoftKneeShaper::mKneeHigh);
        mKneeA = shaper(&dsp::SoftKneeShaper::mKneeA);
        mKneeB = shaper(&dsp::SoftKneeShaper::mKneeB);
        mKneeC = shaper(&dsp::SoftKneeShaper::mKneeC);
    }

    void store(const std::array<SaturatingIntegrator*, NumLanes>& inIntegrators) const
    {
        scatter<NumLanes>(mState, [&](int c) -> double& { return inIntegrators[c]->mState; });
        scatter<NumLanes>(mPrevious, [&](int c) -> double& { return inIntegrators[c]->mPrevious; });
    }

    // The cell library's curve (dsp_Shapers.h), lane by lane. With
    // s = copysign(1, v), s * v is |v| and a product with s a sign flip; a
    // zero v, the one case where s is 0, takes the first arm either way. All
    // lanes below the knee, the usual case at programme levels, take the first
    // arm by a branch: the curve's arithmetic then stays off the integrator's
    // chain from sample to sample.
    Q38_SAMPLE_INLINE Value shape(Value inV) const
    {
        if constexpr (UnityShaper) {
            const Value a = absolute(inV);
            if (allLanes(a <= mKneeLow))
                return inV;
            const Value knee = flipSign((a * mKneeA + mKneeB) * a + mKneeC, inV);
            const Value line = flipSign(a * mSlope + mOffset, inV);
            return a <= mKneeLow ? inV : (a <= mKneeHigh ? knee : line);
        } else {
            const Value a = absolute(inV) * mPreGain;
            const Value linear = mPreGain * mPostGain * inV;
            if (allLanes(a <= mKneeLow))
                return linear;
            const Value knee = flipSign((a * mKneeA + mKneeB) * a + mKneeC, inV) * mPostGain;
            const Value line = flipSign(a * mSlope + mOffset, inV) * mPostGain;
            return a <= mKneeLow ? linear : (a <= mKneeHigh ? knee : line);
        }
    }

    Q38_SAMPLE_INLINE Value tick(Value inX)
    {
        const Value v = inX * mInputScale + mState;
        const Value f = shape(v);
        mState = (v - (v - f) * mLossScale) * mLeak;
        const Value y = (v - mPrevious) * mOutputScale;
        mPrevious = v;
        return y;
    }
};

// Where the clamp does not act for a long time, its feedback decays into the
// subnormal range and can come to rest on a subnormal value, which the
// processor computes slowly. Resting there, it changes no bits: a sample well
// above the floor and far from zero leaves the clamp's output equal to its
// input and the memories as they are. A resting lane therefore computes on
// zero memories in their place, with the same result, and keeps its own; the
// other lane of a pair, which may well act, computes as ever. The glides go
// on in every lane.
//
// How the samples are checked: Checked tests each sample before it is
// computed; Held assumes that every resting lane rests through the block and
// only records whether one did not (the block then runs again, Checked), and
// AllHeld does the same where every lane rests, which leaves nothing to
// compute; Plain is for blocks with no lane at rest.
enum class RestCheck
{
    Plain,
    Held,
    AllHeld,
    Checked
};

template <int NumLanes>
struct BiasShiftClampRunner
{
    using Value = Lanes<NumLanes>;
    Value mB0, mB1, mA1, mMemory, mShift, mFloor, mFeedback, mFloorTarget, mFeedbackTarget;
    Value mKeptShift, mKeptMemory;  // the resting lanes' own memories while held
    int mRestingLanes;              // as lane bits
    int mWokenLanes;                // held lanes whose sample did not pass
    bool mHeld;
    bool mGliding;                  // the floor or the feedback still moves

    // Below this, a subtraction of a subnormal could change the sample.
    static constexpr double kSmallestPassed = 0x1p-900;

    // The feedback's memories give themselves back for a sample with no cut, and
    // its product with the feedback gain is far below a passed sample's last bit.
    static bool isResting(const ChannelState& inState, const ChannelCoefficients& inCoefficients)
    {
        const double shift = inState.mBiasShift;
        const double memory = inState.mBiasLowPassMemory;
        const double nextShift = 0.0 * inState.mBiasLowPass[0] + memory;
        const double nextMemory = 0.0 * inState.mBiasLowPass[1] - inState.mBiasLowPass[3] * nextShift;
        return std::fabs(shift) < 0x1p-1022 && std::fabs(inState.mBiasFeedback) <= 2.0
               && std::fabs(inCoefficients.mBiasFeedback) <= 2.0
               && std::bit_cast<std::uint64_t>(nextShift) == std::bit_cast<std::uint64_t>(shift)
               && std::bit_cast<std::uint64_t>(nextMemory) == std::bit_cast<std::uint64_t>(memory);
    }

    void load(const LaneSet<NumLanes>& inLanes)
    {
        const auto state = [&](auto inGet) { return gather<NumLanes>([&](int c) { return inGet(*inLanes.mStates[c]); }); };
        mB0 = state([](const ChannelState& s) { return s.mBiasLowPass[0]; });
        mB1 = state([](const ChannelState& s) { return s.mBiasLowPass[1]; });
        mA1 = state([](const ChannelState& s) { return s.mBiasLowPass[3]; });
        mMemory = state([](const ChannelState& s) { return s.mBiasLowPassMemory; });
        mShift = state([](const ChannelState& s) { return s.mBiasShift; });
        mFloor = state([](const ChannelState& s) { return s.mBiasFloor; });
        mFeedback = state([](const ChannelState& s) { return s.mBiasFeedback; });
        mFloorTarget = gather<NumLanes>([&](int c) { return inLanes.mCoefficients[c]->mBiasFloor; });
        mFeedbackTarget = gather<NumLanes>([&](int c) { return inLanes.mCoefficients[c]->mBiasFeedback; });
        // Zero memories compute at full speed: they need no rest.
        bool resting[NumLanes];
        for (int c = 0; c < NumLanes; ++c) {
            const ChannelState& channel = *inLanes.mStates[c];
            resting[c] = (channel.mBiasShift != 0.0 || channel.mBiasLowPassMemory != 0.0)
                         && isResting(channel, *inLanes.mCoefficients[c]);
        }
        mRestingLanes = maskBits(laneMask<NumLanes>(resting));
        mWokenLanes = 0;
        mHeld = false;
        mGliding = glideMoves<NumLanes>(mFeedback, mFeedbackTarget, kBiasGlideRate)
                   || glideMoves<NumLanes>(mFloor, mFloorTarget, kBiasGlideRate);
    }

    void store(const LaneSet<NumLanes>& inLanes) const
    {
        const LaneMask<NumLanes> kept = maskOfBits<NumLanes>(mHeld ? mRestingLanes : 0);
        const Value memory = select(kept, mKeptMemory, mMemory);
        const Value shift = select(kept, mKeptShift, mShift);
        scatter<NumLanes>(memory, [&](int c) -> double& { return inLanes.mStates[c]->mBiasLowPassMemory; });
        scatter<NumLanes>(shift, [&](int c) -> double& { return inLanes.mStates[c]->mBiasShift; });
        scatter<NumLanes>(mFloor, [&](int c) -> double& { return inLanes.mStates[c]->mBiasFloor; });
        scatter<NumLanes>(mFeedback, [&](int c) -> double& { return inLanes.mStates[c]->mBiasFeedback; });
    }

    RestCheck restCheck() const
    {
        if (mRestingLanes == 0)
            return RestCheck::Plain;
        return mRestingLanes == (1 << NumLanes) - 1 ? RestCheck::AllHeld : RestCheck::Held;
    }

    // Puts zero memories in place of the resting lanes' own, for a Held block.
    void hold()
    {
        mHeld = true;
        mKeptShift = mShift;
        mKeptMemory = mMemory;
        const LaneMask<NumLanes> resting = maskOfBits<NumLanes>(mRestingLanes);
        mShift = select(resting, splat<NumLanes>(0.0), mShift);
        mMemory = select(resting, splat<NumLanes>(0.0), mMemory);
    }

    // Whether a held lane met a sample that does not pass.
    bool woke() const { return mWokenLanes != 0; }

    // The lanes, as bits, whose sample passes: well above the floor and far from zero.
    Q38_SAMPLE_INLINE int passingLanes(Value inX) const
    {
        return maskBits(absolute(inX) >= kSmallestPassed) & maskBits(inX > mFloor);
    }

    // The clamp over a block into outSamples, its input sample i given by
    // inInput(i) in the same loop. A block in which a lane rests is held;
    // should a sample wake it, the clamp runs again on the same input, checked.
    template <bool Glide, typename Input>
    Q38_SAMPLE_INLINE void runBlock(Value* outSamples, int inNumSamples, Input&& inInput)
    {
        const RestCheck check = restCheck();
        if (check == RestCheck::Plain) {
            for (int i = 0; i < inNumSamples; ++i)
                outSamples[i] = tick<Glide, RestCheck::Plain>(inInput(i));
            return;
        }
        const BiasShiftClampRunner atStart = *this;
        Value input[dsp::DataBuffer::MaxNumSamples];
        hold();
        const auto held = [&](auto inCheck) Q38_INLINED {
            for (int i = 0; i < inNumSamples; ++i) {
                input[i] = inInput(i);
                outSamples[i] = tick<Glide, decltype(inCheck)::value>(input[i]);
            }
        };
        if (check == RestCheck::AllHeld)
            held(std::integral_constant<RestCheck, RestCheck::AllHeld>{});
        else
            held(std::integral_constant<RestCheck, RestCheck::Held>{});
        if (woke()) [[unlikely]] {
            *this = atStart;
            for (int i = 0; i < inNumSamples; ++i)
                outSamples[i] = tick<Glide, RestCheck::Checked>(input[i]);
        }
    }

    template <bool Glide = true, RestCheck Check = RestCheck::Checked>
    Q38_SAMPLE_INLINE Value tick(Value inX)
    {
        Value shift = mShift;
        Value memory = mMemory;
        LaneMask<NumLanes> resting{};
        if constexpr (Check == RestCheck::Held || Check == RestCheck::AllHeld) {
            mWokenLanes |= mRestingLanes & ~passingLanes(inX);
        } else if (Check == RestCheck::Checked && mRestingLanes != 0) {
            // A lane rests for as long as its samples pass.
            mRestingLanes &= passingLanes(inX);
            resting = maskOfBits<NumLanes>(mRestingLanes);
            shift = select(resting, splat<NumLanes>(0.0), shift);
            memory = select(resting, splat<NumLanes>(0.0), memory);
        }
        Value v = inX;
        if constexpr (Check != RestCheck::AllHeld) {
            v = inX - shift * mFeedback;
            // Mostly the clamp does not act: a branch then keeps the selection
            // off the chain from one sample's shift to the next.
            if (!allLanes(v > mFloor))
                v = v <= mFloor ? mFloor : v;
            const Value e = inX - v;
            shift = e * mB0 + memory;
            memory = e * mB1 - mA1 * shift;
            if constexpr (Check == RestCheck::Checked) {
                shift = select(resting, mShift, shift);
                memory = select(resting, mMemory, memory);
            }
            mShift = shift;
            mMemory = memory;
        }
        // No pending flag: after a reset both rise from 0.
        if constexpr (Glide) {
            mFeedback += (mFeedbackTarget - mFeedback) * kBiasGlideRate;
            mFloor += (mFloorTarget - mFloor) * kBiasGlideRate;
        }
        return v;
    }
};

template <int NumLanes>
struct ToneSectionRunner
{
    using Value = Lanes<NumLanes>;
    Value mCubic, mLinear, mDenominator, mLimit;
    dsp::RationalTanhShaper mShaper;  // the single channel's, for the cell library's curve
    GlidingBiquadRunner<NumLanes> mLowShelf;
    GlidingBiquadRunner<NumLanes> mHighShelf;
    BiquadRunner<NumLanes> mFirstBell;
    BiquadRunner<NumLanes> mSecondBell;
    SaturatingIntegratorRunner<NumLanes, true> mOutputCore;

    // The caller has taken the shelves' pending targets.
    void load(const LaneSet<NumLanes>& inLanes)
    {
        const auto tanh = [&](double dsp::RationalTanhShaper::*inField) {
            return gather<NumLanes>([&](int c) { return inLanes.mStates[c]->mOutputTanh.*inField; });
        };
        mCubic = tanh(&dsp::RationalTanhShaper::mCubic);
        mLinear = tanh(&dsp::RationalTanhShaper::mLinear);
        mDenominator = tanh(&dsp::RationalTanhShaper::mDenominator);
        mLimit = tanh(&dsp::RationalTanhShaper::mLimit);
        mShaper = inLanes.mStates[0]->mOutputTanh;
        mLowShelf.load(inLanes.states([](ChannelState& s) { return &s.mLowShelf; }),
                       inLanes.coefficients([](const ChannelCoefficients& c) -> const double* { return c.mLowShelf; }),
                       kToneShelfGlideRate);
        mHighShelf.load(inLanes.states([](ChannelState& s) { return &s.mHighShelf; }),
                        inLanes.coefficients([](const ChannelCoefficients& c) -> const double* { return c.mHighShelf; }),
                        kToneShelfGlideRate);
        mFirstBell.load(inLanes.states([](ChannelState& s) { return &s.mFirstBell; }));
        mSecondBell.load(inLanes.states([](ChannelState& s) { return &s.mSecondBell; }));
        mOutputCore.load(inLanes.states([](ChannelState& s) { return &s.mOutputCore; }));
    }

    void store(const LaneSet<NumLanes>& inLanes) const
    {
        mLowShelf.store(inLanes.states([](ChannelState& s) { return &s.mLowShelf; }));
        mHighShelf.store(inLanes.states([](ChannelState& s) { return &s.mHighShelf; }));
        mFirstBell.store(inLanes.states([](ChannelState& s) { return &s.mFirstBell; }));
        mSecondBell.store(inLanes.states([](ChannelState& s) { return &s.mSecondBell; }));
        mOutputCore.store(inLanes.states([](ChannelState& s) { return &s.mOutputCore; }));
    }

    Q38_SAMPLE_INLINE Value shape(Value inX) const
    {
        if constexpr (NumLanes == 1) {
            return dsp::evaluateRationalTanhShaper(mShaper, inX);
        } else {
            Value y = (inX * inX * inX * mCubic + inX * mLinear) / (inX * inX + mDenominator);
            y = y < -mLimit ? -mLimit : y;
            return y > mLimit ? mLimit : y;
        }
    }

    bool gliding() const { return mLowShelf.mGliding || mHighShelf.mGliding; }

    // Everything after the shaper, which has no memory and so may run ahead
    // over a whole block.
    template <bool Glide = true>
    Q38_SAMPLE_INLINE Value filterStage(Value inShaped)
    {
        Value x = mLowShelf.template tick<Glide>(inShaped);
        x = mHighShelf.template tick<Glide>(x);
        x = mFirstBell.tick(x);
        x = mSecondBell.tick(x);
        return mOutputCore.tick(x);
    }

    Q38_SAMPLE_INLINE Value tick(Value inX) { return filterStage(shape(inX)); }
};

} // namespace q38
