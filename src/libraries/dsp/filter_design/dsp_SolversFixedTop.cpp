#include "dsp_MatchingSolvers.h"
#include "dsp_PointEquation.h"

#include <algorithm>
#include <cmath>

// Fixed-top family: z = w and t = N, so that a = N^2 is known and each point
//     b - m e + (1 - m) f / u = (m - N^2) u
// is linear in b = cSq - 2 N w, e = dSq - 2 w and f = w^2.

namespace dsp {

void solveFixedTopThreePoints(double inU1, double inM1, double inU2, double inM2, double inU3, double inM3,
                              double inN, double* outCSq, double* outDSq, double* outW)
{
    const double nSq = inN * inN;
    const double g1 = (1.0 - inM1) / inU1;
    const double g2 = (1.0 - inM2) / inU2;
    const double g3 = (1.0 - inM3) / inU3;
    // Rows (1,2) and (2,3) without b:  B e + C f = R.
    const double B1 = inM2 - inM1, C1 = g1 - g2, R1 = (inM1 - nSq) * inU1 - (inM2 - nSq) * inU2;
    const double B2 = inM3 - inM2, C2 = g2 - g3, R2 = (inM2 - nSq) * inU2 - (inM3 - nSq) * inU3;
    const double f = std::fabs((B1 * R2 - B2 * R1) / (B1 * C2 - B2 * C1));
    const double w = std::sqrt(f);

    // cSq with dSq eliminated between points 1 and 2.
    const double uw1 = inU1 - w, nu1 = inN * inU1 - w;
    const double uw2 = inU2 - w, nu2 = inN * inU2 - w;
    const double cSqRaw = (inM1 * inM2 * (uw1 * uw1 / inU1 - uw2 * uw2 / inU2) - inM2 * (nu1 * nu1) / inU1 +
                           inM1 * (nu2 * nu2) / inU2) /
                          (inM2 - inM1);
    const double cSq = std::max(0.0, cSqRaw);
    const double dSq = pointEquationDSq(inU3, inM3, inN, w, w, cSq);

    *outCSq = cSq;
    *outDSq = dSq;
    *outW = w;
}

void solveFixedTopExtremumCrossing(double inUp, double inMp, double inUq, double inN, double* outCSq,
                                   double* outDSq, double* outW)
{
    const double nSq = inN * inN;
    const double r = 1.0 / (inMp - 1.0);
    const double f = (inUp * inUp) * (inMp - nSq) * r;
    if (!(f >= 0.0))
        throw EquationSolutionException();
    const double w = std::sqrt(f);
    const double cSq = std::max(0.0, r * (2.0 * inN * (inMp - 1.0) * w + 2.0 * nSq * inUp - 2.0 * inMp * inUp +
                                          inMp * inUq - nSq * inMp * inUq));
    const double dSq = 2.0 * w * (1.0 - inN) + cSq + (nSq - 1.0) * inUq;

    *outCSq = cSq;
    *outDSq = dSq;
    *outW = w;
}

void solveFixedTopTwoExtremaValues(double inU1, double inM1, double inM2, double inN, double* outCSq,
                                   double* outDSq, double* outW, double* outU2)
{
    const double nSq = inN * inN;
    const double A = (inM1 - nSq) / (inM1 - 1.0);
    const double B = (inM2 - 1.0) / (inM2 - nSq);
    if (!(A >= 0.0) || !(B >= 0.0))
        throw EquationSolutionException();
    const double w = inU1 * std::sqrt(A);
    const double u2 = w * std::sqrt(B);
    // m1 == m2 is excluded by the callers.
    const double r = 2.0 / (inM1 - inM2);
    const double cSq = r * ((u2 - inU1) * inM1 * inM2 + w * inN * (inM1 - inM2) + (inU1 * inM2 - u2 * inM1) * nSq);
    const double dSq = r * ((u2 - w) * inM2 + (w - inU1) * inM1 + (inU1 - u2) * nSq);

    *outCSq = cSq;
    *outDSq = dSq;
    *outW = w;
    *outU2 = u2;
}

void solveFixedTopKnownCornerTwoPoints(double inU1, double inM1, double inU2, double inM2, double inN, double inW,
                                       double* outCSq, double* outDSq)
{
    if (inM1 == inM2 || inU1 == inU2)
        throw EquationSolutionException();
    const double nSq = inN * inN;
    const double uw1 = inU1 - inW;
    const double uw2 = inU2 - inW;
    const double dSq =
        (uw2 * uw2 * inU1 * inM2 - uw1 * uw1 * inM1 * inU2 + (inU1 * inU2 * nSq - inW * inW) * (inU1 - inU2)) /
        ((inM1 - inM2) * inU1 * inU2);
    const double cSq = pointEquationCSq(inU1, inM1, inN, inW, inW, dSq);

    *outCSq = cSq;
    *outDSq = dSq;
}

void solveFixedTopExtremumPoint(double inUp, double inMp, double inU2, double inM2, double inN, double* outCSq,
                                double* outDSq, double* outW)
{
    const double nSq = inN * inN;
    const double A = (inMp - nSq) / (inMp - 1.0);
    if (!(A >= 0.0))
        throw EquationSolutionException();
    const double w = inUp * std::sqrt(A);
    const double uw2 = inU2 - w;
    const double dSq =
        (2.0 * inMp * inU2 * (inUp - w) + w * w - uw2 * uw2 * inM2 + (inU2 - 2.0 * inUp) * inU2 * nSq) /
        ((inM2 - inMp) * inU2);
    const double cSq = pointEquationCSq(inU2, inM2, inN, w, w, dSq);

    *outCSq = cSq;
    *outDSq = dSq;
    *outW = w;
}

} // namespace dsp
