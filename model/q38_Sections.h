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

#include "vector/vector_Primitives.h"

#include <bit>
#include <cstddef>
#include <cstdint>
#include <iterator>

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
template <typename GlidingSection>
inline void takeTargetsIfPending(GlidingSection& ioSection, const double* inTargets)
{
    if (ioSection.mPending) [[unlikely]] {
        ioSection.mPending = 0;
        vectorCopy(inTargets, ioSection.mCoefficients, static_cast<int>(std::size(ioSection.mCoefficients)));
    }
}

// One glide step: c moves the fraction inRate of its distance to t.
template <typename Value>
Q38_SAMPLE_INLINE Value glide(Value inCurrent, Value inTarget, double inRate)
{
    return (inTarget - inCurrent) * inRate + inCurrent;
}

// Whether a glide step would move the value of any lane. Once a step leaves a
// value's bits as they are, every later step does too: a glide that has
// settled on its target can be skipped, with the same result.
template <int NumLanes>
inline bool glideMoves(Lanes<NumLanes> inCurrent, Lanes<NumLanes> inTarget, double inRate)
{
    return differsInBits<NumLanes>(glide(inCurrent, inTarget, inRate), inCurrent);
}

// The coefficients that move: a0 never does.
inline constexpr int kFirstOrderGlided[] = {0, 1, 3};
inline constexpr int kSecondOrderGlided[] = {0, 1, 2, 4, 5};

// The coefficient inIndex of every lane's section.
template <int NumLanes, typename Section>
inline Lanes<NumLanes> gatherCoefficient(const std::array<Section*, NumLanes>& inSections, int inIndex)
{
    return gather<NumLanes>([&](int c) { return inSections[c]->mCoefficients[inIndex]; });
}

// Fixed or gliding: any section with mMemory and a first-order mCoefficients.
template <int NumLanes>
struct FirstOrderRunner
{
    using Value = Lanes<NumLanes>;
    static constexpr int kSize = kFirstOrderSize;
    Value mCoefficients[kSize];
    Value mMemory;

    template <typename Section>
    void load(const std::array<Section*, NumLanes>& inSections)
    {
        for (int k = 0; k < kSize; ++k)
            mCoefficients[k] = gatherCoefficient<NumLanes>(inSections, k);
        mMemory = gather<NumLanes>([&](int c) { return inSections[c]->mMemory; });
    }

    template <typename Section>
    void store(const std::array<Section*, NumLanes>& inSections) const
    {
        scatter<NumLanes>(mMemory, [&](int c) -> double& { return inSections[c]->mMemory; });
    }

    Q38_SAMPLE_INLINE Value tick(Value inX)
    {
        const Value y = inX * mCoefficients[0] + mMemory;
        mMemory = inX * mCoefficients[1] - y * mCoefficients[3];
        return y;
    }
};

// Fixed or gliding: any section with two memories and a second-order mCoefficients.
template <int NumLanes>
struct BiquadRunner
{
    using Value = Lanes<NumLanes>;
    static constexpr int kSize = kSecondOrderSize;
    Value mCoefficients[kSize];
    Value mMemory1, mMemory2;

    template <typename Section>
    void load(const std::array<Section*, NumLanes>& inSections)
    {
        for (int k = 0; k < kSize; ++k)
            mCoefficients[k] = gatherCoefficient<NumLanes>(inSections, k);
        mMemory1 = gather<NumLanes>([&](int c) { return inSections[c]->mMemory1; });
        mMemory2 = gather<NumLanes>([&](int c) { return inSections[c]->mMemory2; });
    }

    template <typename Section>
    void store(const std::array<Section*, NumLanes>& inSections) const
    {
        scatter<NumLanes>(mMemory1, [&](int c) -> double& { return inSections[c]->mMemory1; });
        scatter<NumLanes>(mMemory2, [&](int c) -> double& { return inSections[c]->mMemory2; });
    }

    Q38_SAMPLE_INLINE Value tick(Value inX)
    {
        const Value y = inX * mCoefficients[0] + mMemory1;
        mMemory1 = (inX * mCoefficients[1] + mMemory2) - y * mCoefficients[4];
        mMemory2 = inX * mCoefficients[2] - y * mCoefficients[5];
        return y;
    }
};

// A section whose coefficients glide: every coefficient in use (inGlided, all
// but a0) moves towards its target before the sample that uses it. The chain
// leaves the steps out (Glide false) while mGliding, read at the load, says
// that none of them would change a bit.
template <typename FixedRunner, int NumLanes, const auto& Glided>
struct GlidingRunner
{
    using Value = Lanes<NumLanes>;
    FixedRunner mSection;
    Value mTargets[FixedRunner::kSize];
    double mRate;
    bool mGliding;

    template <typename Section>
    void load(const std::array<Section*, NumLanes>& inSections, const std::array<const double*, NumLanes>& inTargets,
              double inRate)
    {
        mSection.load(inSections);
        for (const int k : Glided)
            mTargets[k] = gather<NumLanes>([&](int c) { return inTargets[c][k]; });
        mRate = inRate;
        LaneWords<NumLanes> moved{};
        for (const int k : Glided)
            moved |= changedBits(glide(mSection.mCoefficients[k], mTargets[k], inRate), mSection.mCoefficients[k]);
        mGliding = anyBits(moved);
    }

    template <typename Section>
    void store(const std::array<Section*, NumLanes>& inSections) const
    {
        mSection.store(inSections);
        for (const int k : Glided)
            scatter<NumLanes>(mSection.mCoefficients[k], [&](int c) -> double& { return inSections[c]->mCoefficients[k]; });
    }

    template <bool Glide = true>
    Q38_SAMPLE_INLINE Value tick(Value inX)
    {
        if constexpr (Glide) {
            for (const int k : Glided)
                mSection.mCoefficients[k] = glide(mSection.mCoefficients[k], mTargets[k], mRate);
        }
        return mSection.tick(inX);
    }
};

template <int NumLanes>
using GlidingFirstOrderRunner = GlidingRunner<FirstOrderRunner<NumLanes>, NumLanes, kFirstOrderGlided>;
template <int NumLanes>
using GlidingBiquadRunner = GlidingRunner<BiquadRunner<NumLanes>, NumLanes, kSecondOrderGlided>;

// Runs a runner over a block of one channel: load from inSource, one tick a
// sample, store back into inSource.
template <typename Runner, typename Source, typename... LoadArguments>
inline void runBlock(const double* inSamples, double* outSamples, int inNumSamples, const Source& inSource,
                     const LoadArguments&... inLoadArguments)
{
    Runner runner;
    runner.load(inSource, inLoadArguments...);
    for (int i = 0; i < inNumSamples; ++i)
        outSamples[i] = runner.tick(inSamples[i]);
    runner.store(inSource);
}

inline void processFirstOrder(const double* inSamples, double* outSamples, int inNumSamples,
                              FirstOrderSection& ioSection)
{
    runBlock<FirstOrderRunner<1>>(inSamples, outSamples, inNumSamples, std::array{&ioSection});
}

inline void processGlidingFirstOrder(const double* inSamples, double* outSamples, int inNumSamples,
                                     GlidingFirstOrderSection& ioSection, const double* inTargets, double inRate)
{
    runBlock<GlidingFirstOrderRunner<1>>(inSamples, outSamples, inNumSamples, std::array{&ioSection},
                                         std::array{inTargets}, inRate);
}

inline void processBiquad(const double* inSamples, double* outSamples, int inNumSamples, Biquad& ioSection)
{
    runBlock<BiquadRunner<1>>(inSamples, outSamples, inNumSamples, std::array{&ioSection});
}

inline void processGlidingBiquad(const double* inSamples, double* outSamples, int inNumSamples,
                                 GlidingBiquad& ioSection, const double* inTargets, double inRate)
{
    runBlock<GlidingBiquadRunner<1>>(inSamples, outSamples, inNumSamples, std::array{&ioSection},
                                     std::array{inTargets}, inRate);
}

} // namespace q38
