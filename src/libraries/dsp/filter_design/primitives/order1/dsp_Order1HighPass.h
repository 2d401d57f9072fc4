#pragma once

#include "dsp/filter_design/dsp_MatchPoints.h"

namespace dsp {

// First-order high-pass with a floor, matched to its analog target at DC, at
// the corner and near a quarter of the sample rate.
struct Order1HighPass
{
    static constexpr int kNumCoefficients = 4;
    static constexpr int kNumAnalogCoefficients = 4;

    struct Params
    {
        double mFrequency;   // Hz, corner
        double mFloorGain;   // linear, DC gain relative to the top; 0 for a true high-pass
        double mOutputGain;  // dB, applied after the design
    };

    static void designAnalog(const Params& inParams, double* outCoefficients);
    // outMatchPoints, when given, receives the frequencies where the digital
    // filter meets the target (DC counts as 0 rad/s).
    static void design(const Params& inParams, double* outCoefficients, double* outAnalogCoefficients,
                       double inSampleRate, MatchPoints* outMatchPoints = nullptr);
    static void design(const Params& inParams, double* outCoefficients, double inSampleRate);
};

// a, b, c of (a s + b) / (s + c) from the squared DC gain and two points.
void solveOrder1ThreePoint(double inG0, double inU1, double inM1, double inU2, double inM2,
                           double* outNumeratorS, double* outNumeratorConstant, double* outDenominatorConstant);

} // namespace dsp
