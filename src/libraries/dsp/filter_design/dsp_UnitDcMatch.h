#pragma once

// Shared steps of the matched designs whose prototype keeps unit gain at DC
// (z = w): the four-point match and the closing transform.

#include "dsp_MatchingFrame.h"

namespace dsp {

// (t s^2 + c s + w) / (s^2 + d s + w), by cSq, dSq, w and t.
struct UnitDcPrototype
{
    double mCSq, mDSq, mW, mT;
};

// Matches the target at four frequencies in rad/s; throws EquationSolutionException
// as solveUnitDcFourPoints does.
void matchUnitDcFourPoints(const PowerResponse& inResponse, double inSampleRate, double inW1, double inW2,
                           double inW3, double inW4, UnitDcPrototype* outPrototype);

// The bilinear transform of the solved prototype or, unmatched, of the analog
// target as it stands; then the output gain on both numerators.
void finishUnitDcDesign(bool inMatched, const UnitDcPrototype& inPrototype, double inSampleRate, double inOutputGain,
                        double* ioAnalogCoefficients, double* outCoefficients);

} // namespace dsp
