#pragma once

#include "q38_ModelTypes.h"

#include <cstdint>

namespace q38 {

// A monotonic clock in nanoseconds; the reset seeds each channel's hiss from it.
struct MonotonicClock
{
    std::uint64_t (*mReadNanoseconds)(void* inContext);
    void* mContext;
};

// The system's steady clock.
MonotonicClock systemMonotonicClock();

// The gain ramp's step of 2^(1/480), 6.02 dB per 480 samples at every rate,
// and twice its log.
double gainRampUpRatio();
double gainRampLogSpan();

// Silent, unprimed state: memories cleared, coefficients at identity, every
// pending flag set, meters at 0. Reads the clock once per channel.
void resetModel(ModelState& outState, const MonotonicClock& inClock);

// Clears one channel's signal memories and glides as the reset does (pending
// flags set, meter at 0), keeping its fixed designs and its hiss sequence.
// Allocates nothing: the audio thread uses it to revive a channel.
void clearChannelMemories(ChannelState& outChannel);

// The fixed designs and time constants for a sample rate.
void prepareModel(ModelState& ioState, double inSampleRate);

} // namespace q38
