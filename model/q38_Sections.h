#pragma once

// The linear filter sections of the model at run time: first and second order,
// with fixed coefficients or gliding towards targets, in transposed direct
// form II. Coefficient sets are b0, b1, a0, a1 and b0, b1, b2, a0, a1, a2; a0
// is never read. No section flushes denormals: the hiss keeps them fed.
//
// Each section has a runner that holds its memories and coefficients in locals
// over a block, for one channel or for both at once (q38_Lanes.h): load, one
// tick per sample, store. The block operations below are single-channel loops
// over the same runners.

#include "q38_Lanes.h"
#include "q38_ModelTypes.h"

#include <bit>
#include <cstdint>

namespace q38 {

// Identity coefficient sets.
constexpr double kFirstOrderIdentity[kFirstOrderSize] = {1.0, 0.0, 1.0, 0.0};
constexpr double kSecondOrderIdentity[kSecondOrderSize] = {1.0, 0.0, 0.0, 1.0, 0.0, 0.0};

// Memories 0, coefficients the identity; a gliding section also takes its
// targets at the next block.
void resetSection(FirstOrderSection& outSection);
void resetSection(GlidingFirstOrderSection& outSection);
void resetSection(Biquad& outSection);
void resetSection(GlidingBiquad& outSection);

// What a caller does before a gliding section: when a reset has left it
// pending, the section starts exactly on its targets, without a glide.
void takeTargetsIfPending(GlidingFirstOrderSection& ioSection, const double* inTargets);
void takeTargetsIfPending(GlidingBiquad& ioSection, const double* inTargets);

// One glide step: c moves the fraction inRate of its distance to t.
template <typename Value>
Q38_SAMPLE_INLINE Value glide(Value inCurrent, Value inTarget, double inRate)
{
    return (inTarget - inCurrent) * inRate + inCurrent;
}

// Whether a glide step would move any of the coefficients. Once a step leaves
// a coefficient's bits as they are, every later step does too: a section that
// has settled on its targets can skip its glides, with the same result.
inline bool glideMoves(const double* inCurrent, const double* inTargets, const int* inIndices, int inCount,
                       double inRate)
{
    for (int k = 0; k < inCount; ++k) {
        const double current = inCurrent[inIndices[k]];
        const double next = glide(current, inTargets[inIndices[k]], inRate);
        if (std::bit_cast<std::uint64_t>(next) != std::bit_cast<std::uint64_t>(current))
            return true;
    }
    return false;
}

// The coefficients that move: a0 never does.
constexpr int kFirstOrderGlided[] = {0, 1, 3};
constexpr int kSecondOrderGlided[] = {0, 1, 2, 4, 5};

template <int NumLanes>
struct FirstOrderRunner
{
    using Value = Lanes<NumLanes>;
    Value mB0, mB1, mA1, mMemory;

    void load(const std::array<FirstOrderSection*, NumLanes>& inSections)
    {
        mB0 = gather<NumLanes>([&](int c) { return inSections[c]->mCoefficients[0]; });
        mB1 = gather<NumLanes>([&](int c) { return inSections[c]->mCoefficients[1]; });
        mA1 = gather<NumLanes>([&](int c) { return inSections[c]->mCoefficients[3]; });
        mMemory = gather<NumLanes>([&](int c) { return inSections[c]->mMemory; });
    }

    void store(const std::array<FirstOrderSection*, NumLanes>& inSections) const
    {
        scatter<NumLanes>(mMemory, [&](int c) -> double& { return inSections[c]->mMemory; });
    }

    Q38_SAMPLE_INLINE Value tick(Value inX)
    {
        const Value y = inX * mB0 + mMemory;
        mMemory = inX * mB1 - y * mA1;
        return y;
    }
};

// Every coefficient in use moves towards its target before the sample that uses it.
template <int NumLanes>
struct GlidingFirstOrderRunner
{
    using Value = Lanes<NumLanes>;
    Value mB0, mB1, mA1, mMemory;
    Value mTargetB0, mTargetB1, mTargetA1;
    double mRate;
    bool mGliding;

    void load(const std::array<GlidingFirstOrderSection*, NumLanes>& inSections,
              const std::array<const double*, NumLanes>& inTargets, double inRate)
    {
        mGliding = false;
        for (int c = 0; c < NumLanes; ++c)
            mGliding = mGliding || glideMoves(inSections[c]->mCoefficients, inTargets[c], kFirstOrderGlided, 3, inRate);
        mB0 = gather<NumLanes>([&](int c) { return inSections[c]->mCoefficients[0]; });
        mB1 = gather<NumLanes>([&](int c) { return inSections[c]->mCoefficients[1]; });
        mA1 = gather<NumLanes>([&](int c) { return inSections[c]->mCoefficients[3]; });
        mMemory = gather<NumLanes>([&](int c) { return inSections[c]->mMemory; });
        mTargetB0 = gather<NumLanes>([&](int c) { return inTargets[c][0]; });
        mTargetB1 = gather<NumLanes>([&](int c) { return inTargets[c][1]; });
        mTargetA1 = gather<NumLanes>([&](int c) { return inTargets[c][3]; });
        mRate = inRate;
    }

    void store(const std::array<GlidingFirstOrderSection*, NumLanes>& inSections) const
    {
        scatter<NumLanes>(mB0, [&](int c) -> double& { return inSections[c]->mCoefficients[0]; });
        scatter<NumLanes>(mB1, [&](int c) -> double& { return inSections[c]->mCoefficients[1]; });
        scatter<NumLanes>(mA1, [&](int c) -> double& { return inSections[c]->mCoefficients[3]; });
        scatter<NumLanes>(mMemory, [&](int c) -> double& { return inSections[c]->mMemory; });
    }

    Q38_SAMPLE_INLINE Value tick(Value inX)
    {
        if (mGliding) {
            mB0 = glide(mB0, mTargetB0, mRate);
            mB1 = glide(mB1, mTargetB1, mRate);
            mA1 = glide(mA1, mTargetA1, mRate);
        }
        const Value y = inX * mB0 + mMemory;
        mMemory = inX * mB1 - y * mA1;
        return y;
    }
};

template <int NumLanes>
struct BiquadRunner
{
    using Value = Lanes<NumLanes>;
    Value mB0, mB1, mB2, mA1, mA2, mMemory1, mMemory2;

    void load(const std::array<Biquad*, NumLanes>& inSections)
    {
        mB0 = gather<NumLanes>([&](int c) { return inSections[c]->mCoefficients[0]; });
        mB1 = gather<NumLanes>([&](int c) { return inSections[c]->mCoefficients[1]; });
        mB2 = gather<NumLanes>([&](int c) { return inSections[c]->mCoefficients[2]; });
        mA1 = gather<NumLanes>([&](int c) { return inSections[c]->mCoefficients[4]; });
        mA2 = gather<NumLanes>([&](int c) { return inSections[c]->mCoefficients[5]; });
        mMemory1 = gather<NumLanes>([&](int c) { return inSections[c]->mMemory1; });
        mMemory2 = gather<NumLanes>([&](int c) { return inSections[c]->mMemory2; });
    }

    void store(const std::array<Biquad*, NumLanes>& inSections) const
    {
        scatter<NumLanes>(mMemory1, [&](int c) -> double& { return inSections[c]->mMemory1; });
        scatter<NumLanes>(mMemory2, [&](int c) -> double& { return inSections[c]->mMemory2; });
    }

    Q38_SAMPLE_INLINE Value tick(Value inX)
    {
        const Value y = inX * mB0 + mMemory1;
        mMemory1 = (inX * mB1 + mMemory2) - y * mA1;
        mMemory2 = inX * mB2 - y * mA2;
        return y;
    }
};

template <int NumLanes>
struct GlidingBiquadRunner
{
    using Value = Lanes<NumLanes>;
    Value mB0, mB1, mB2, mA1, mA2, mMemory1, mMemory2;
    Value mTargetB0, mTargetB1, mTargetB2, mTargetA1, mTargetA2;
    double mRate;
    bool mGliding;

    void load(const std::array<GlidingBiquad*, NumLanes>& inSections,
              const std::array<const double*, NumLanes>& inTargets, double inRate)
    {
        mGliding = false;
        for (int c = 0; c < NumLanes; ++c)
            mGliding = mGliding || glideMoves(inSections[c]->mCoefficients, inTargets[c], kSecondOrderGlided, 5, inRate);
        mB0 = gather<NumLanes>([&](int c) { return inSections[c]->mCoefficients[0]; });
        mB1 = gather<NumLanes>([&](int c) { return inSections[c]->mCoefficients[1]; });
        mB2 = gather<NumLanes>([&](int c) { return inSections[c]->mCoefficients[2]; });
        mA1 = gather<NumLanes>([&](int c) { return inSections[c]->mCoefficients[4]; });
        mA2 = gather<NumLanes>([&](int c) { return inSections[c]->mCoefficients[5]; });
        mMemory1 = gather<NumLanes>([&](int c) { return inSections[c]->mMemory1; });
        mMemory2 = gather<NumLanes>([&](int c) { return inSections[c]->mMemory2; });
        mTargetB0 = gather<NumLanes>([&](int c) { return inTargets[c][0]; });
        mTargetB1 = gather<NumLanes>([&](int c) { return inTargets[c][1]; });
        mTargetB2 = gather<NumLanes>([&](int c) { return inTargets[c][2]; });
        mTargetA1 = gather<NumLanes>([&](int c) { return inTargets[c][4]; });
        mTargetA2 = gather<NumLanes>([&](int c) { return inTargets[c][5]; });
        mRate = inRate;
    }

    void store(const std::array<GlidingBiquad*, NumLanes>& inSections) const
    {
        scatter<NumLanes>(mB0, [&](int c) -> double& { return inSections[c]->mCoefficients[0]; });
        scatter<NumLanes>(mB1, [&](int c) -> double& { return inSections[c]->mCoefficients[1]; });
        scatter<NumLanes>(mB2, [&](int c) -> double& { return inSections[c]->mCoefficients[2]; });
        scatter<NumLanes>(mA1, [&](int c) -> double& { return inSections[c]->mCoefficients[4]; });
        scatter<NumLanes>(mA2, [&](int c) -> double& { return inSections[c]->mCoefficients[5]; });
        scatter<NumLanes>(mMemory1, [&](int c) -> double& { return inSections[c]->mMemory1; });
        scatter<NumLanes>(mMemory2, [&](int c) -> double& { return inSections[c]->mMemory2; });
    }

    Q38_SAMPLE_INLINE Value tick(Value inX)
    {
        if (mGliding) {
            mB0 = glide(mB0, mTargetB0, mRate);
            mB1 = glide(mB1, mTargetB1, mRate);
            mB2 = glide(mB2, mTargetB2, mRate);
            mA1 = glide(mA1, mTargetA1, mRate);
            mA2 = glide(mA2, mTargetA2, mRate);
        }
        const Value y = inX * mB0 + mMemory1;
        mMemory1 = (inX * mB1 + mMemory2) - y * mA1;
        mMemory2 = inX * mB2 - y * mA2;
        return y;
    }
};

// Runs a single-channel runner over a block.
template <typename Runner>
inline void runBlock(const double* inSamples, double* outSamples, int inNumSamples, Runner& ioRunner)
{
    for (int i = 0; i < inNumSamples; ++i)
        outSamples[i] = ioRunner.tick(inSamples[i]);
}

inline void processFirstOrder(const double* inSamples, double* outSamples, int inNumSamples,
                              FirstOrderSection& ioSection)
{
    FirstOrderRunner<1> runner;
    runner.load({&ioSection});
    runBlock(inSamples, outSamples, inNumSamples, runner);
    runner.store({&ioSection});
}

inline void processGlidingFirstOrder(const double* inSamples, double* outSamples, int inNumSamples,
                                     GlidingFirstOrderSection& ioSection, const double* inTargets, double inRate)
{
    GlidingFirstOrderRunner<1> runner;
    runner.load({&ioSection}, {inTargets}, inRate);
    runBlock(inSamples, outSamples, inNumSamples, runner);
    runner.store({&ioSection});
}

inline void processBiquad(const double* inSamples, double* outSamples, int inNumSamples, Biquad& ioSection)
{
    BiquadRunner<1> runner;
    runner.load({&ioSection});
    runBlock(inSamples, outSamples, inNumSamples, runner);
    runner.store({&ioSection});
}

inline void processGlidingBiquad(const double* inSamples, double* outSamples, int inNumSamples,
                                 GlidingBiquad& ioSection, const double* inTargets, double inRate)
{
    GlidingBiquadRunner<1> runner;
    runner.load({&ioSection}, {inTargets}, inRate);
    runBlock(inSamples, outSamples, inNumSamples, runner);
    runner.store({&ioSection});
}

} // namespace q38
