#include "dsp_FourPointSystem.h"
#include "dsp_MatchingSolvers.h"

#include <algorithm>
#include <cmath>

// The high-pass view of the matching solvers: the DC gain g is given (z = g w)
// and the top of the response is either solved for (DcGain) or unity (UnitTop).
// With a = t^2, b = cSq - 2 t z, e = dSq - 2 w and f = w^2 each condition is
// linear; the eliminations below are that linear algebra written out.

namespace dsp {
namespace {

// cSq from M(u) = m, once t, z, w and dSq are known:
// m ((u - w)^2 + dSq u) = (t u - z)^2 + cSq u.
double numeratorFromPoint(double inU, double inM, double inT, double inZ, double inW, double inDSq)
{
    const double fromDenominator = inM * ((inU - inW) * (inU - inW) + inDSq * inU);
    const double fromNumerator = (inT * inU - inZ) * (inT * inU - inZ);
    return (fromDenominator - fromNumerator) / inU;
}

} // namespace

void solveDcGainFourPoints(double inU1, double inM1, double inU2, double inM2, double inU3, double inM3,
                           double inU4, double inM4, double inG, double* outCSq, double* outDSq, double* outW,
                           double* outT)
{
    const double u[4] = {inU1, inU2, inU3, inU4};
    const double m[4] = {inM1, inM2, inM3, inM4};
    const FourPointSystem system = reduceFourPoints(u, m, inG * inG);
    const double f = fourPointConstant(system);
    // |f| cannot be negative; only a NaN trips this.
    if (!(std::fabs(f) >= 0.0))
        throw EquationSolutionException();
    const double folded = std::fabs(f);
    const double w = std::sqrt(folded);
    // a from the folded f: of the ways to read a fold, the one that keeps the
    // design nearest its target (a of the unfolded system strays further).
    const double a = fourPointLeading(system, folded);
    if (!(a >= 0.0))
        throw EquationSolutionException();
    const double t = std::sqrt(a);
    const double z = inG * w;

    // cSq eliminated between the point equations at points 1 and 2.
    const double side1 = (t * inU1 - z) * (t * inU1 - z) - inM1 * ((inU1 - w) * (inU1 - w));
    const double side2 = (t * inU2 - z) * (t * inU2 - z) - inM2 * ((inU2 - w) * (inU2 - w));
    const double dSq = (inU2 * side1 - inU1 * side2) / ((inM1 - inM2) * inU1 * inU2);
    const double cSq = std::max(0.0, numeratorFromPoint(inU4, inM4, t, z, w, dSq));

    *outCSq = cSq;
    *outDSq = dSq;
    *outW = w;
    *outT = t;
}

void solveDcGainExtremumTwoPoints(double inUp, double inMp, double inU2, double inM2, double inU3, double inM3,
                                  double inG, double* outCSq, double* outDSq, double* outW, double* outT)
{
    // The extremum fixes a and b through e and f:
    //     a = mp + k f / up^2,  b = mp e - 2 k f / up,  k = g^2 - mp,
    // which leaves each point as -e u d + f (k (u - up)^2 / up^2 - d) = d u^2, d = m - mp.
    const double k = inG * inG - inMp;
    const double upSq = inUp * inUp;
    const double d2 = inM2 - inMp;
    const double d3 = inM3 - inMp;
    const double p2 = k * ((inU2 - inUp) * (inU2 - inUp)) / upSq - d2;
    const double p3 = k * ((inU3 - inUp) * (inU3 - inUp)) / upSq - d3;
    const double f = d2 * d3 * inU2 * inU3 * (inU2 - inU3) / (inU3 * d3 * p2 - inU2 * d2 * p3);
    if (!(f >= 0.0))
        throw EquationSolutionException();
    const double w = std::sqrt(f);
    const double a = inMp + (inG * inG - inMp) * f / upSq;
    if (!(a >= 0.0))
        throw EquationSolutionException();
    const double t = std::sqrt(a);

    // dSq from the extremum and point 3, and cSq from the point equation at
    // point 3. Far below the rate point 3 lies decades above the extremum and
    // both forms cancel to rounding noise; each then comes from the equivalent
    // equation that loses three digits less: point 2 for e, and the extremum's
    // b = mp e - 2 k f / up for cSq. Elsewhere the forms stand as written.
    double e = (f * p3 - d3 * inU3 * inU3) / (inU3 * d3);
    const double errorAt3 = std::max(std::fabs(f * p3), std::fabs(d3 * inU3 * inU3)) / std::fabs(inU3 * d3);
    const double errorAt2 = std::max(std::fabs(f * p2), std::fabs(d2 * inU2 * inU2)) / std::fabs(inU2 * d2);
    if (1e3 * errorAt2 < errorAt3)
        e = (f * p2 - d2 * inU2 * inU2) / (inU2 * d2);
    const double dSq = e + 2.0 * w;
    const double z = inG * w;
    double cSq = numeratorFromPoint(inU3, inM3, t, z, w, dSq);
    const double uw = inU3 - w, tz = t * inU3 - z;
    const double pointError = (inM3 * (uw * uw + std::fabs(dSq) * inU3) + tz * tz) / inU3;
    const double extremumError = std::fabs(inMp * e) + std::fabs(2.0 * k * f / inUp) + 2.0 * t * z;
    if (1e3 * extremumError < pointError)
        cSq = inMp * e - 2.0 * k * f / inUp + 2.0 * t * z;
    cSq = std::max(0.0, cSq);

    *outCSq = cSq;
    *outDSq = dSq;
    *outW = w;
    *outT = t;
}

void solveUnitTopThreePoints(double inG, double inU1, double inM1, double inU2, double inM2, double inU3,
                             double inM3, double* outCSq, double* outDSq, double* outW)
{
    // With t = 1 each point divided by u reads b - m e + h f = y,
    // h = (g^2 - m) / u, y = (m - 1) u.
    const double gSq = inG * inG;
    const double h1 = (gSq - inM1) / inU1, h2 = (gSq - inM2) / inU2, h3 = (gSq - inM3) / inU3;
    const double y1 = (inM1 - 1.0) * inU1, y2 = (inM2 - 1.0) * inU2, y3 = (inM3 - 1.0) * inU3;
    const double determinant = inM3 * h2 - inM2 * h3 + inM1 * (h3 - h2) + h1 * (inM2 - inM3);
    if (determinant == 0.0)
        throw EquationSolutionException();
    const double f = (inM3 * y2 - inM2 * y3 + inM1 * (y3 - y2) + y1 * (inM2 - inM3)) / determinant;
    double e = ((y2 * h3 - y3 * h2) - y1 * (h3 - h2) + h1 * (y3 - y2)) / determinant;
    double b = (y1 * (inM3 * h2 - inM2 * h3) + inM1 * (y2 * h3 - y3 * h2) + h1 * (y3 * inM2 - y2 * inM3)) /
               determinant;
    const double w = std::sqrt(std::fabs(f));
    if (f < 0.0) {
        // Folded: no prototype meets all three points, and the unfolded e and b
        // belong to none (they can leave a notch tens of dB deep). They are
        // solved again with the folded f from the points at u2 and u3, the
        // corner and the floor.
        const double folded = -f;
        const double r2 = y2 - h2 * folded, r3 = y3 - h3 * folded;
        e = (r2 - r3) / (inM3 - inM2);
        b = r2 + inM2 * e;
    }
    const double dSq = std::max(0.0, e + 2.0 * w);
    const double cSq = std::max(0.0, b + 2.0 * inG * w);

    *outCSq = cSq;
    *outDSq = dSq;
    *outW = w;
}

void solveUnitTopExtremumCrossing(double inG, double inUp, double inMp, double inUq, double* outCSq,
                                  double* outDSq, double* outW)
{
    const double gSq = inG * inG;
    if (gSq == inMp)
        throw EquationSolutionException();
    const double f = inUp * inUp * (1.0 - inMp) / (gSq - inMp);
    if (!(f >= 0.0))
        throw EquationSolutionException();
    if ((inMp - 1.0) * inUq == 0.0)
        throw EquationSolutionException();
    const double w = std::sqrt(f);
    const double dSq = std::max(0.0, -(2.0 * w * inUq * (1.0 - inMp) + (gSq - 1.0) * f - 2.0 * inUp * inUq +
                                       2.0 * inMp * inUp * inUq) /
                                         ((inMp - 1.0) * inUq));
    const double cSq = std::max(0.0, 2.0 * (inG - inMp) * w + 2.0 * (inMp - 1.0) * inUp + dSq * inMp);

    *outCSq = cSq;
    *outDSq = dSq;
    *outW = w;
}

} // namespace dsp
