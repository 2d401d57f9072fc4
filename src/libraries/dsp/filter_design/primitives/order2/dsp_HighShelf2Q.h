#pragma once

#include "dsp/filter_design/dsp_MatchPoints.h"

#include <cstdint>

namespace dsp {

// Second-order high shelf with separate Qs for the low and the high side.
struct HighShelf2Q
{
    static constexpr int kNumCoefficients = 6;
    static constexpr int kNumAnalogCoefficients = 6;

    struct Params
    {
        double mFrequency;            // Hz
        double mQLow;                 // Q of the low side
        double mQHigh;                // Q of the high side
        double mShelfGainDb;          // dB, used up to +-24
        std::int32_t mFrequencyMode;  // 0 or 1: what mFrequency refers to
        double mGainDb;               // dB, output gain
    };

    // The target; outExtremumA and outExtremumB receive its extrema as squared
    // frequencies (0 means none).
    static void designAnalog(const Params& inParams, double* outAnalogCoefficients, double* outExtremumA,
                             double* outExtremumB);
    // The match on the frequency as given; outMatchPoints, when given, receives
    // the frequencies where the digital filter meets the target.
    static void designMatched(const Params& inParams, double* outCoefficients, double* outAnalogCoefficients,
                              double inSampleRate, MatchPoints* outMatchPoints = nullptr);
    // Frequency normalised by mode, matched, roots reflected into the unit circle.
    static void design(const Params& inParams, double* outCoefficients, double* outAnalogCoefficients,
                       double inSampleRate, MatchPoints* outMatchPoints = nullptr);
    static void design(const Params& inParams, double* outCoefficients, double inSampleRate);
};

} // namespace dsp
