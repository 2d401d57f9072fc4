#pragma once

#include "dsp/filter_design/dsp_MatchPoints.h"

#include <cstdint>

namespace dsp {

// Which point of a shelf's transition its frequency names.
enum ShelfFrequencyMode : std::int32_t
{
    kLowerCorner = 0,
    kMidpoint = 1,
    kUpperCorner = 2,
};

// First-order high shelf, matched to its analog target at two frequencies
// with unit gain at DC.
struct Order1HighShelf
{
    static constexpr int kNumCoefficients = 4;
    static constexpr int kNumAnalogCoefficients = 4;

    struct Params
    {
        double mFrequency;            // Hz
        double mGain;                 // dB, shelf gain at high frequencies
        std::int32_t mFrequencyMode;  // ShelfFrequencyMode
        double mOutputGain;           // dB, applied after the design
    };

    // The target's pole frequency in Hz.
    static double computeMatchFrequency(const Params& inParams);
    static void designAnalog(const Params& inParams, double* outCoefficients);
    // outMatchPoints, when given, receives the frequencies where the digital
    // filter meets the target (DC counts as 0 rad/s).
    static void design(const Params& inParams, double* outCoefficients, double* outAnalogCoefficients,
                       double inSampleRate, MatchPoints* outMatchPoints = nullptr);
    static void design(const Params& inParams, double* outCoefficients, double inSampleRate);
};

// a, b, c of (a s + b) / (s + c) with unit DC gain through the values G2 at u2 and G1 at u1.
void solveOrder1TwoPoint(double inU2, double inG2, double inU1, double inG1, double* outNumeratorS,
                         double* outNumeratorConstant, double* outDenominatorConstant);

} // namespace dsp
