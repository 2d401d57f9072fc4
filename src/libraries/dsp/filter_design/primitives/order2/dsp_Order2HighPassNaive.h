#pragma once

namespace dsp {

// Prewarped bilinear transform of the textbook second-order high-pass.
struct Order2HighPassNaive
{
    static constexpr int kNumCoefficients = 6;
    static constexpr int kNumAnalogCoefficients = 6;

    struct Params
    {
        double mFrequency;  // Hz, below half the sample rate
        double mQ;
        double mGainDb;     // dB
    };

    static void designAnalog(const Params& inParams, double* outAnalogCoefficients);
    static void design(const Params& inParams, double* outCoefficients, double* outAnalogCoefficients,
                       double inSampleRate);
    static void design(const Params& inParams, double* outCoefficients, double inSampleRate);
};

} // namespace dsp
