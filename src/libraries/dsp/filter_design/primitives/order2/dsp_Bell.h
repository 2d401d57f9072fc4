#pragma once

#include "dsp/filter_design/dsp_MatchPoints.h"

namespace dsp {

// Second-order peaking section whose digital peak keeps the analog target's
// height and frequency, also near half the sample rate.
struct Bell
{
    static constexpr int kNumCoefficients = 6;
    static constexpr int kNumAnalogCoefficients = 6;

    struct Params
    {
        double mFrequency;   // Hz, centre
        double mQ;           // positive
        double mGain;        // dB, negative for a cut
        double mOutputGain;  // dB, applied after the design
    };

    static void designAnalog(const Params& inParams, double* outCoefficients);
    // outMatchPoints, when given, receives the frequencies where the digital
    // filter meets the target.
    static void design(const Params& inParams, double* outCoefficients, double* outAnalogCoefficients,
                       double inSampleRate, MatchPoints* outMatchPoints = nullptr);
    static void design(const Params& inParams, double* outCoefficients, double inSampleRate);
};

} // namespace dsp
