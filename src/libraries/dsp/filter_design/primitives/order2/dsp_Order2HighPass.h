#pragma once

#include "dsp/filter_design/dsp_MatchPoints.h"

namespace dsp {

// Matched second-order high-pass with a residual DC gain.
struct Order2HighPass
{
    static constexpr int kNumCoefficients = 6;
    static constexpr int kNumAnalogCoefficients = 6;

    struct Params
    {
        double mFrequency;  // Hz, corner
        double mQ;
        double mDcGain;     // linear residual gain at DC
        double mGainDb;     // dB, output gain
    };

    static void designAnalog(const Params& inParams, double* outAnalogCoefficients);
    // outMatchPoints, when given, receives the frequencies where the digital
    // filter meets the target.
    static void design(const Params& inParams, double* outCoefficients, double* outAnalogCoefficients,
                       double inSampleRate, MatchPoints* outMatchPoints = nullptr);
    static void design(const Params& inParams, double* outCoefficients, double inSampleRate);
};

} // namespace dsp
