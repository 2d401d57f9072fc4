#pragma once

// Closed-form solvers for second-order prototypes
//
//     H(s) = (t s^2 + c s + z) / (s^2 + d s + w)
//
// whose power response, with u = w^2 in rad^2/s^2,
//
//     M(u) = (t^2 u^2 + (cSq - 2 t z) u + z^2) / (u^2 + (dSq - 2 w) u + w^2)
//
// meets given conditions: points (u, m), extrema (M(u) = m with zero slope) and
// level crossings. Every u is a squared angular frequency and every m a squared
// linear gain; g and N are linear amplitudes. No solver iterates or allocates.
// A solver that finds no admissible solution throws EquationSolutionException
// and leaves its results unwritten or partly written.
//
// Families: UnitDc means z = w; DcGain means z = g w; FixedTop means t = N;
// UnitTop means t = 1.

#include "dsp_EquationSolutionException.h"

namespace dsp {

// z = w. Four points. Results cSq, dSq, w, t.
void solveUnitDcFourPoints(double inU1, double inM1, double inU2, double inM2, double inU3, double inM3,
                           double inU4, double inM4, double* outCSq, double* outDSq, double* outW, double* outT);

// z = w. Extremum (up, mp), points (u2, m2) and (u3, m3). Never throws.
void solveUnitDcExtremumTwoPoints(double inUp, double inMp, double inU2, double inM2, double inU3, double inM3,
                                  double* outCSq, double* outDSq, double* outW, double* outT);

// As above, with t^2 raised to at least inFloor.
void solveUnitDcExtremumTwoPointsFloored(double inUp, double inMp, double inU2, double inM2, double inU3,
                                         double inM3, double inFloor, double* outCSq, double* outDSq,
                                         double* outW, double* outT);

// z = w. Two extrema (u1, m1) and (u2, m2), in either order.
void solveUnitDcTwoExtrema(double inU1, double inM1, double inU2, double inM2, double* outCSq, double* outDSq,
                           double* outW, double* outT);

// z = w, t = N. Three points. Never throws.
void solveFixedTopThreePoints(double inU1, double inM1, double inU2, double inM2, double inU3, double inM3,
                              double inN, double* outCSq, double* outDSq, double* outW);

// z = w, t = N. Extremum (up, mp) and the crossing uq of M = 1.
void solveFixedTopExtremumCrossing(double inUp, double inMp, double inUq, double inN, double* outCSq,
                                   double* outDSq, double* outW);

// z = w, t = N. The extremum at u1 and the values m1, m2 of the two extrema;
// the fourth result is the second extremum's frequency u2.
void solveFixedTopTwoExtremaValues(double inU1, double inM1, double inM2, double inN, double* outCSq,
                                   double* outDSq, double* outW, double* outU2);

// z = w, t = N, w given. Two points. Results cSq, dSq.
void solveFixedTopKnownCornerTwoPoints(double inU1, double inM1, double inU2, double inM2, double inN, double inW,
                                       double* outCSq, double* outDSq);

// z = w, t = N. Extremum (up, mp) and a point (u2, m2).
void solveFixedTopExtremumPoint(double inUp, double inMp, double inU2, double inM2, double inN, double* outCSq,
                                double* outDSq, double* outW);

// z = g w. Four points. Results cSq, dSq, w, t.
void solveDcGainFourPoints(double inU1, double inM1, double inU2, double inM2, double inU3, double inM3,
                           double inU4, double inM4, double inG, double* outCSq, double* outDSq, double* outW,
                           double* outT);

// z = g w. Extremum (up, mp), points (u2, m2) and (u3, m3).
void solveDcGainExtremumTwoPoints(double inUp, double inMp, double inU2, double inM2, double inU3, double inM3,
                                  double inG, double* outCSq, double* outDSq, double* outW, double* outT);

// z = g w, t = 1. Three points.
void solveUnitTopThreePoints(double inG, double inU1, double inM1, double inU2, double inM2, double inU3,
                             double inM3, double* outCSq, double* outDSq, double* outW);

// z = g w, t = 1. Extremum (up, mp) and the crossing uq of M = 1.
void solveUnitTopExtremumCrossing(double inG, double inUp, double inMp, double inUq, double* outCSq,
                                  double* outDSq, double* outW);

} // namespace dsp
