#pragma once

#include "dsp_Order1HighShelf.h"

namespace dsp {

// A low shelf of g dB is a high shelf of -g dB with the whole filter raised by g dB.
struct Order1LowShelf
{
    static constexpr int kNumCoefficients = 4;
    static constexpr int kNumAnalogCoefficients = 4;

    // mGain is the shelf gain at low frequencies.
    using Params = Order1HighShelf::Params;

    static void design(const Params& inParams, double* outCoefficients, double inSampleRate);
};

} // namespace dsp
