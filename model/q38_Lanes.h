#pragma once

// Per-sample arithmetic on one model channel (a double) or on both at once (a
// pair of doubles in one register). Every operation on a pair is the IEEE
// operation of each lane, so the pair computes bit for bit what the two
// channels compute one after the other; the channels only share instructions.
// Selections replace branches, and all arms of a selection are computed.

#include "q38_ModelTypes.h"

#include <array>
#include <bit>
#include <cmath>
#include <cstdint>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

// The per-sample steps of the chain are merged into one loop body.
#define Q38_SAMPLE_INLINE [[gnu::always_inline]] inline

// The same for a lambda that holds a sample loop, so that the loop belongs to
// the function around it and to each of that function's versions for wider
// instruction sets (q38_ChannelChain.h).
#define Q38_INLINED __attribute__((always_inline))

namespace q38 {

typedef double DoublePair __attribute__((vector_size(16)));
typedef std::int64_t MaskPair __attribute__((vector_size(16)));

template <int NumLanes>
struct LaneTypes;

template <>
struct LaneTypes<1>
{
    using Value = double;
    using Mask = bool;
    using Words = std::uint64_t;
};

template <>
struct LaneTypes<2>
{
    using Value = DoublePair;
    using Mask = MaskPair;
    using Words = MaskPair;
};

template <int NumLanes>
using Lanes = typename LaneTypes<NumLanes>::Value;
template <int NumLanes>
using LaneMask = typename LaneTypes<NumLanes>::Mask;
template <int NumLanes>
using LaneWords = typename LaneTypes<NumLanes>::Words;

// One value per lane, read through inGet(lane).
template <int NumLanes, typename Get>
inline Lanes<NumLanes> gather(Get inGet)
{
    if constexpr (NumLanes == 1)
        return inGet(0);
    else
        return DoublePair{inGet(0), inGet(1)};
}

// Writes each lane through inPut(lane), which yields the destination.
template <int NumLanes, typename Put>
inline void scatter(Lanes<NumLanes> inValue, Put inPut)
{
    if constexpr (NumLanes == 1) {
        inPut(0) = inValue;
    } else {
        inPut(0) = inValue[0];
        inPut(1) = inValue[1];
    }
}

template <int NumLanes>
inline Lanes<NumLanes> splat(double inValue)
{
    if constexpr (NumLanes == 1)
        return inValue;
    else
        return DoublePair{inValue, inValue};
}

template <int NumLanes>
inline double lane(Lanes<NumLanes> inValue, int inLane)
{
    if constexpr (NumLanes == 1)
        return inValue;
    else
        return inValue[inLane];
}

// The bits in which inA and inB differ, a 64-bit word per lane; gathered
// with | and tested once by anyBits.
inline std::uint64_t changedBits(double inA, double inB)
{
    return std::bit_cast<std::uint64_t>(inA) ^ std::bit_cast<std::uint64_t>(inB);
}

inline MaskPair changedBits(DoublePair inA, DoublePair inB)
{
    return reinterpret_cast<MaskPair>(inA) ^ reinterpret_cast<MaskPair>(inB);
}

inline bool anyBits(std::uint64_t inBits)
{
    return inBits != 0;
}

inline bool anyBits(MaskPair inBits)
{
    return (inBits[0] | inBits[1]) != 0;
}

// Whether any lane of inA differs from inB in its bits.
template <int NumLanes>
inline bool differsInBits(Lanes<NumLanes> inA, Lanes<NumLanes> inB)
{
    return anyBits(changedBits(inA, inB));
}

// inIfSet where a lane of the mask is set, else inOtherwise. The lanes of a
// mask are all ones or all zeros, as comparisons give them, so the choice is
// a matter of bits, also for a mask kept from an earlier sample.
inline double select(bool inMask, double inIfSet, double inOtherwise)
{
    return inMask ? inIfSet : inOtherwise;
}

inline DoublePair select(MaskPair inMask, DoublePair inIfSet, DoublePair inOtherwise)
{
    return reinterpret_cast<DoublePair>((reinterpret_cast<MaskPair>(inIfSet) & inMask)
                                        | (reinterpret_cast<MaskPair>(inOtherwise) & ~inMask));
}

// The mask whose lanes are the bits of inBits, lane 0 in bit 0.
template <int NumLanes>
inline LaneMask<NumLanes> maskOfBits(int inBits)
{
    if constexpr (NumLanes == 1)
        return (inBits & 1) != 0;
    else
        return MaskPair{(inBits & 1) ? -1 : 0, (inBits & 2) ? -1 : 0};
}

// The lanes of inFlags as a mask.
template <int NumLanes>
inline LaneMask<NumLanes> laneMask(const bool (&inFlags)[NumLanes])
{
    int bits = 0;
    for (int c = 0; c < NumLanes; ++c)
        bits |= inFlags[c] ? 1 << c : 0;
    return maskOfBits<NumLanes>(bits);
}

// The lanes of a mask as bits, lane 0 in bit 0. Masks are best combined as
// these bits: without 64-bit integer comparisons (SSE2), the compiler turns
// & on a comparison's mask into a selection lane by lane.
inline int maskBits(bool inMask)
{
    return inMask ? 1 : 0;
}

inline int maskBits(MaskPair inMask)
{
#ifdef __SSE2__
    return _mm_movemask_pd(reinterpret_cast<__m128d>(inMask));
#else
    return (inMask[0] < 0 ? 1 : 0) | (inMask[1] < 0 ? 2 : 0);
#endif
}

inline bool allLanes(bool inMask)
{
    return inMask;
}

inline bool allLanes(MaskPair inMask)
{
    return maskBits(inMask) == 3;
}

inline double absolute(double inValue)
{
    return std::fabs(inValue);
}

inline DoublePair absolute(DoublePair inValue)
{
    constexpr MaskPair kMagnitude = {0x7FFFFFFFFFFFFFFF, 0x7FFFFFFFFFFFFFFF};
    return reinterpret_cast<DoublePair>(reinterpret_cast<MaskPair>(inValue) & kMagnitude);
}

// inValue with its sign bit flipped where inSignSource is negative: a
// multiplication by copysign(1, source), exactly, but in one step.
inline double flipSign(double inValue, double inSignSource)
{
    constexpr std::uint64_t kSign = 0x8000000000000000ull;
    const std::uint64_t sign = std::bit_cast<std::uint64_t>(inSignSource) & kSign;
    return std::bit_cast<double>(std::bit_cast<std::uint64_t>(inValue) ^ sign);
}

inline DoublePair flipSign(DoublePair inValue, DoublePair inSignSource)
{
    constexpr std::int64_t kSignBit = static_cast<std::int64_t>(0x8000000000000000);
    constexpr MaskPair kSign = {kSignBit, kSignBit};
    return reinterpret_cast<DoublePair>(reinterpret_cast<MaskPair>(inValue)
                                        ^ (reinterpret_cast<MaskPair>(inSignSource) & kSign));
}

// The channels that one pass of the chain runs: their states and their coefficient records.
template <int NumLanes>
struct LaneSet
{
    std::array<ChannelState*, NumLanes> mStates;
    std::array<const ChannelCoefficients*, NumLanes> mCoefficients;

    // The same member of every lane's state or coefficients, as inMember(record) gives it.
    template <typename Member>
    auto states(Member inMember) const
    {
        return each(mStates, inMember);
    }

    template <typename Member>
    auto coefficients(Member inMember) const
    {
        return each(mCoefficients, inMember);
    }

private:
    template <typename Record, typename Member>
    static auto each(const std::array<Record*, NumLanes>& inRecords, Member inMember)
    {
        std::array<decltype(inMember(*inRecords[0])), NumLanes> results{};
        for (int c = 0; c < NumLanes; ++c)
            results[c] = inMember(*inRecords[c]);
        return results;
    }
};

} // namespace q38
