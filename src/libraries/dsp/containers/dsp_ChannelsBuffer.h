#pragma once

#include "core/core_Assert.h"

namespace dsp {

// A block of one or two channels of double samples on the stack. Construction
// neither clears nor copies the samples: a user writes before reading.
class ChannelsBuffer
{
public:
    static constexpr int MaxNumChannels = 2;
    static constexpr int MaxNumSamples = 32;

    ChannelsBuffer(int inNumChannels, int inNumSamples)
    {
        for (int c = 0; c < MaxNumChannels; ++c)
            mChannelPointers[c] = mSamples[c];
        Q38_ASSERT_TEXT(core::kAssertionLibrary, static_cast<unsigned>(inNumChannels) <= MaxNumChannels,
                        "inNumChannels <= MaxNumChannels && inNumChannels >= 0");
        Q38_ASSERT_TEXT(core::kAssertionLibrary, static_cast<unsigned>(inNumSamples) <= MaxNumSamples,
                        "inNumSamples <= MaxNumSamples && inNumSamples >= 0");
        mNumChannels = inNumChannels;
        mNumSamples = inNumSamples;
    }

    // The row's address is computed from the index directly; a negative index passes the check.
    double* channel(int inChannelIndex)
    {
        Q38_ASSERT_TEXT(core::kAssertionLibrary, inChannelIndex < mNumChannels, "inChannelIndex < mNumChannels");
        return mSamples[0] + inChannelIndex * MaxNumSamples;
    }

    // The channel pointers as a plain array, in the form the chain takes.
    double* const* channelPointers() { return mChannelPointers; }
    const double* const* channelPointers() const { return mChannelPointers; }

    int numChannels() const { return mNumChannels; }
    int numSamples() const { return mNumSamples; }

    int mNumChannels;
    int mNumSamples;
    double* mChannelPointers[MaxNumChannels];
    alignas(16) double mSamples[MaxNumChannels][MaxNumSamples];
};

} // namespace dsp
