#include "dsp_FourPointSystem.h"
#include "dsp_MatchingSolvers.h"
#include "dsp_PointEquation.h"

#include <algorithm>
#include <cmath>

namespace dsp {

namespace {

// A clamp to at least 0 that lets a NaN through, so that a later test still sees it.
inline double atLeastZeroKeepNan(double inValue)
{
    return inValue < 0.0 ? 0.0 : inValue;
}

} // namespace

void solveUnitDcFourPoints(double inU1, double inM1, double inU2, double inM2, double inU3, double inM3,
                           double inU4, double inM4, double* outCSq, double* outDSq, double* outW, double* outT)
{
    const double u[4] = {inU1, inU2, inU3, inU4};
    const double m[4] = {inM1, inM2, inM3, inM4};
    const FourPointSystem system = reduceFourPoints(u, m, 1.0);
    const double f = std::fabs(fourPointConstant(system));
    const double w = std::sqrt(f);
    // a from the folded f, as in the DC-gain family.
    const double a = atLeastZeroKeepNan(fourPointLeading(system, f));
    if (!std::isfinite(a))
        throw EquationSolutionException();
    const double t = std::sqrt(a);

    const double uw3 = inU3 - w, tu3 = t * inU3 - w;
    const double uw4 = inU4 - w, tu4 = t * inU4 - w;
    const double p3 = (tu3 * tu3 - inM3 * (uw3 * uw3)) / inU3;
    const double p4 = (tu4 * tu4 - inM4 * (uw4 * uw4)) / inU4;
    const double dSq = (p3 - p4) / (inM3 - inM4);
    const double cSq = pointEquationCSq(inU4, inM4, t, w, w, dSq);

    *outCSq = cSq;
    *outDSq = dSq;
    *outW = w;
    *outT = t;
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

// The extremum gives a = mp + (1 - mp) f / up^2 and, with each point, one
// equation  -(m - mp) e + K f = (m - mp) u  in (e, f).
//
// A low-pass far below the rate has its top power a = t^2 many decades below
// mp, and point 3 (near the top of the band) far above its corner. There the
// plain forms of a and of dSq lose all their digits to cancellation; each is
// then taken from an equivalent form that carries the small quantity directly.
// Where the plain forms are sound they are used as they are.
void solveUnitDcExtremumTwoPointsFloored(double inUp, double inMp, double inU2, double inM2, double inU3,
                                         double inM3, double inFloor, double* outCSq, double* outDSq,
                                         double* outW, double* outT)
{
    const double upSq = inUp * inUp;
    const double s = 1.0 - inMp;
    const double k2 = s * (inU2 - 2.0 * inUp) / upSq + (1.0 - inM2) / inU2;
    const double k3 = s * (inU3 - 2.0 * inUp) / upSq + (1.0 - inM3) / inU3;
    const double d2 = inM2 - inMp;
    const double d3 = inM3 - inMp;
    const double determinant = d3 * k2 - d2 * k3;
    const double f = d2 * d3 * (inU2 - inU3) / determinant;
    if (!(f >= 0.0))
        throw EquationSolutionException();
    const double w = std::sqrt(f);

    double solvedA = inMp + s * f / upSq;
    if (std::fabs(solvedA) < 1e-3 * std::fabs(inMp)) {
        // (mp up^2 determinant + s f determinant) / (up^2 determinant), expanded
        // so that the terms of size mp cancel by algebra rather than in rounding.
        const double sum =
            inMp * inM2 * (2.0 * inUp - inU2) + inM3 * (inM2 * (inU2 - inU3) + inMp * (inU3 - 2.0 * inUp));
        solvedA = (s * sum + inMp * upSq * (d3 * (1.0 - inM2) / inU2 - d2 * (1.0 - inM3) / inU3)) /
                  (upSq * determinant);
    }
    double a = solvedA;
    if (!(a > inFloor))
        a = inFloor;
    const double t = std::sqrt(a);

    // With a possibly raised, keep the value at the extremum and at point 3:
    // X = b - mp e from the extremum, Y = b - m3 e from point 3.
    const double x = inMp * inUp - a * inUp - (1.0 - inMp) * f / inUp;
    const double y = inM3 * inU3 - a * inU3 - (1.0 - inM3) * f / inU3;
    const double b = (inM3 * x - inMp * y) / (inM3 - inMp);
    const double cSqSolved = b + 2.0 * t * w;
    const double cSq = std::max(0.0, cSqSolved);

    // dSq from the point equation at point 3 with that cSq. Far above the corner
    // its two sides agree to many digits; unless cSq was clamped, the same e then
    // follows from X - Y = (m3 - mp) e where that loses three digits less, so
    // that designs whose plain form is sound keep their values to the bit.
    const double uw = inU3 - w, tz = t * inU3 - w;
    const double left = (cSq * inU3 + tz * tz) / inM3, right = uw * uw;
    double dSq = (left - right) / inU3;
    if (cSq == cSqSolved) {
        const double e = (x - y) / (inM3 - inMp);
        const double pointError = std::max(left, right) / inU3;
        const double differenceError = std::max(std::fabs(x), std::fabs(y)) / std::fabs(inM3 - inMp) + 2.0 * w;
        if (1e3 * differenceError < pointError)
            dSq = e + 2.0 * w;
    }

    *outCSq = cSq;
    *outDSq = dSq;
    *outW = w;
    *outT = t;
}

void solveUnitDcTwoExtrema(double inU1, double inM1, double inU2, double inM2, double* outCSq, double* outDSq,
                           double* outW, double* outT)
{
    const double R = (inM1 - inM2) / ((inM1 - 1.0) * (inU2 * inU2) - (inU1 * inU1) * (inM2 - 1.0));
    if (!(R >= 0.0 && inM1 > 0.0 && inM2 > 0.0 && inM1 != inM2))
        throw EquationSolutionException();
    const double u12 = inU1 * inU2;
    const double w = std::sqrt(R) * inU1 * inU2;
    const double f = std::fabs(R) * (u12 * u12);
    const double E = (inU2 * inU2) * inM2 - (inM2 - 1.0) * f;
    if (!(E >= 0.0))
        throw EquationSolutionException();
    const double t = std::sqrt(E) / inU2;
    const double dSq = (((inM2 - 1.0) * inU1 - (inM1 - 1.0) * inU2) * f + 2.0 * (inM1 - inM2) * w * inU1 * inU2 +
                        (inU2 * inM2 - inU1 * inM1) * inU1 * inU2 + (inU1 - inU2) * inU1 * inU2 * (t * t)) /
                       ((inM1 - inM2) * inU1 * inU2);
    const double cSq = 2.0 * t * (w - t * inU1) + (2.0 * (inU1 - w) + dSq) * inM1;

    *outCSq = cSq;
    *outDSq = dSq;
    *outW = w;
    *outT = t;
}

} // namespace dsp
