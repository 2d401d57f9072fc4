#include "q38_SampleRateSetup.h"

#include <chrono>

namespace q38 {

namespace {

std::uint64_t readSteadyClock(void*)
{
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::nanoseconds>(now).count());
}

} // namespace

MonotonicClock systemMonotonicClock()
{
    return MonotonicClock{&readSteadyClock, nullptr};
}

// Placeholder until the model's setup lands.
void resetModel(ModelState& outState, const MonotonicClock& inClock)
{
    outState.mFadePending = 1;
    outState.mFade = 1.0;
    for (ChannelState& channel : outState.mChannel) {
        channel.mActivity = 0.0;
        channel.mHissState = inClock.mReadNanoseconds(inClock.mContext) & 0xFFFFFFFFu;
    }
}

void prepareModel(ModelState&, double)
{
}

} // namespace q38
