#pragma once

#include "dsp/filter_design/dsp_MatchPoints.h"

namespace dsp {

// Matched second-order low-pass with a residual gain at infinite frequency.
struct Order2LowPass
{
    static constexpr int kNumCoefficients = 6;
    static constexpr int kNumAnalogCoefficients = 6;

    struct Params
    {
        double mFrequency;  // Hz
        double mQ;
        double mTopGain;    // linear gain at infinite frequency; 0 for a pure low-pass
        double mGainDb;     // dB, output gain
    };

    static void designAnalog(const Params& inParams, double* outAnalogCoefficients);
    // outMatchPoints, when given, receives the frequencies where the digital
    // filter meets the target.
    static void design(const Params& inParams, double* outCoefficients, double* outAnalogCoefficients,
                       double inSampleRate, MatchPoints* outMatchPoints = nullptr);
    static void design(const Params& inParams, double* outCoefficients, double inSampleRate);
};

// The plain low-pass's peak as a multiple of W^2 (Q above 1/sqrt(2)); returns whether it gave one.
bool lowPassPeakRatio(double inQ, double* outRatio);
// Where the plain low-pass returns to unity, as a multiple of W^2.
bool lowPassCrossingRatio(double inQ, double* outRatio);

} // namespace dsp
