#pragma once

#include "core/core_Assert.h"

namespace dsp {

// A block of one channel of double samples on the stack; not cleared on construction.
class DataBuffer
{
public:
    static constexpr int MaxNumSamples = 32;

    // The channel count is only checked, never stored.
    DataBuffer(int inNumChannels, int inNumSamples)
    {
        Q38_ASSERT_TEXT(core::kAssertionLibrary, static_cast<unsigned>(inNumChannels) <= 1u,
                        "inNumChannels <= 1 && inNumChannels >= 0");
        Q38_ASSERT_TEXT(core::kAssertionLibrary, static_cast<unsigned>(inNumSamples) <= MaxNumSamples,
                        "inNumSamples <= MaxNumSamples && inNumSamples >= 0");
        mNumSamples = inNumSamples;
    }

    double* channel(int inChannelIndex)
    {
        Q38_ASSERT_TEXT(core::kAssertionLibrary, inChannelIndex == 0, "inChannelIndex == 0");
        return mSamples;
    }

    int numSamples() const { return mNumSamples; }

    int mNumSamples;
    alignas(16) double mSamples[MaxNumSamples];
};

} // namespace dsp
