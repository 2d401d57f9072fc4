#include "dsp_MatchingSolvers.h"

#include <cmath>

namespace dsp {

void solveUnitDcFourPoints(double, double, double, double, double, double, double, double, double*, double*,
                           double*, double*)
{
    throw EquationSolutionException();  // placeholder
}

void solveUnitDcExtremumTwoPoints(double inUp, double inMp, double inU2, double inM2, double inU3, double inM3,
                                  double* outCSq, double* outDSq, double* outW, double* outT)
{
    const double u0 = inUp, g = inMp, u2 = inU2, m2 = inM2, u1 = inU3, m1 = inM3;
    const double dm = m2 - g;
    const double sq = u0 * u0;
    const double T = 2.0 * (m2 - m1) * (g - 1.0) * u2 * u1 * u0;
    const double A = ((m1 - 1.0) * dm * u2 - (m1 - g) * (m2 - 1.0) * u1) * sq +
                     ((u2 * m1 - m2 * u1) + (u1 - u2) * g) * (1.0 - g) * u2 * u1 - T;
    const double Z = (g - m1) * dm * u2 * (u2 - u1) * u1 * sq;
    // The quadratic in w has no linear term; the absolute value stands in for a
    // negative discriminant by design.
    const double q = -0.5 * std::sqrt(std::fabs(-4.0 * A * Z));
    const double candidateA = Z / q;
    const double candidateB = q / A;
    const double x = candidateA > candidateB ? candidateA : candidateB;
    const double gN = std::sqrt(std::fabs((1.0 - g) * x * x + sq * g)) * (1.0 / u0);
    const double cSq = ((x * x - (u2 * u2 + x * x) * m2) * g * u0 + (g - 1.0) * m2 * u2 * x * x + g * m2 * u2 * sq +
                        ((g * u2 - u0 * m2) * gN + 2.0 * dm * x) * u0 * u2 * gN) /
                       (dm * u2 * u0);
    const double dSq = (2.0 * g * x + cSq - 2.0 * g * u0 - 2.0 * x * gN + 2.0 * gN * gN * u0) / g;
    *outCSq = cSq;
    *outDSq = dSq;
    *outW = x;
    *outT = gN;
}

void solveUnitDcExtremumTwoPointsFloored(double, double, double, double, double, double, double, double*, double*,
                                         double*, double*)
{
    throw EquationSolutionException();  // placeholder
}

void solveUnitDcTwoExtrema(double, double, double, double, double*, double*, double*, double*)
{
    throw EquationSolutionException();  // placeholder
}

} // namespace dsp
