#pragma once

namespace dsp {

// Plain bilinear transform of a prewarped first-order low-pass: the digital
// -3 dB corner lies exactly at mFrequency.
struct Order1LowPassNaive
{
    static constexpr int kNumCoefficients = 4;
    static constexpr int kNumAnalogCoefficients = 4;

    struct Params
    {
        double mFrequency;  // Hz, below half the sample rate
        double mGain;       // dB at DC
    };

    static void designAnalog(const Params& inParams, double* outCoefficients);
    static void design(const Params& inParams, double* outCoefficients, double inSampleRate);
};

} // namespace dsp
