#pragma once

#include "dsp_HighShelf2Q.h"

namespace dsp {

// The low shelf, designed as a high shelf of the opposite height raised by that height.
struct LowShelf2
{
    static constexpr int kNumCoefficients = 6;
    static constexpr int kNumAnalogCoefficients = 6;

    using Params = HighShelf2Q::Params;

    static void design(const Params& inParams, double* outCoefficients, double inSampleRate);
};

} // namespace dsp
