#include "dsp/filter_design/dsp_MatchingSolvers.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>

// Round trips: a known prototype (t s^2 + c s + z) / (s^2 + d s + w) is
// sampled exactly at the solver's conditions, and the solver must give it back.

namespace {

struct Prototype
{
    double mT, mCSq, mZ, mDSq, mW;

    long double numerator(long double u) const
    {
        return (mT * u - mZ) * (mT * u - mZ) + mCSq * u;
    }
    long double denominator(long double u) const { return (u - mW) * (u - mW) + mDSq * u; }
    double power(double u) const { return static_cast<double>(numerator(u) / denominator(u)); }

    // Roots of N' D - N D' = 0 in u, the extrema of the power response.
    int extrema(double* outU) const
    {
        const long double a = static_cast<long double>(mT) * mT, b = mCSq - 2.0L * mT * mZ;
        const long double e = mDSq - 2.0L * mW, f = static_cast<long double>(mW) * mW;
        const long double n0 = static_cast<long double>(mZ) * mZ;
        const long double A = a * e - b, B = 2.0L * (a * f - n0), C = b * f - n0 * e;
        const long double disc = B * B - 4.0L * A * C;
        if (disc < 0.0L)
            return 0;
        int count = 0;
        for (long double sign : {-1.0L, 1.0L}) {
            const long double u = (-B + sign * std::sqrt(disc)) / (2.0L * A);
            if (u > 0.0L)
                outU[count++] = static_cast<double>(u);
        }
        return count;
    }
};

constexpr double kW1k = 39478417.60435743;  // (2 pi 1000)^2

void expectRelative(double inActual, double inExpected, double inTolerance, const char* inWhat)
{
    EXPECT_NEAR(inActual, inExpected, inTolerance * std::fabs(inExpected)) << inWhat;
}

void expectPrototype(const Prototype& inP, double inCSq, double inDSq, double inW, double inTolerance)
{
    expectRelative(inCSq, inP.mCSq, inTolerance, "cSq");
    expectRelative(inDSq, inP.mDSq, inTolerance, "dSq");
    expectRelative(inW, inP.mW, inTolerance, "w");
}

// A high-pass shape with a residual DC gain g and a resonance near 1 kHz.
Prototype dcGainPrototype(double inT, double inG, double inQ)
{
    const double w = kW1k;
    const double d = std::sqrt(w) / inQ;
    return {inT, 0.3 * d * d, inG * w, d * d, w};
}

double extremumOf(const Prototype& inP)
{
    double u[2];
    const int count = inP.extrema(u);
    EXPECT_GE(count, 1);
    return count == 2 ? std::max(u[0], u[1]) : u[0];
}

using dsp::EquationSolutionException;

TEST(DcGainSolvers, FourPointsRoundTrip)
{
    for (double g : {0.0, 0.05, 0.5}) {
        for (double t : {1.0, 0.7, 1.6}) {
            const Prototype p = dcGainPrototype(t, g, 1.5);
            const double u[4] = {30.0 * kW1k, 4.0 * kW1k, 0.8 * kW1k, 0.004 * kW1k};
            double cSq = 0, dSq = 0, w = 0, tOut = 0;
            dsp::solveDcGainFourPoints(u[0], p.power(u[0]), u[1], p.power(u[1]), u[2], p.power(u[2]), u[3],
                                       p.power(u[3]), g, &cSq, &dSq, &w, &tOut);
            expectPrototype(p, cSq, dSq, w, 1e-11);
            expectRelative(tOut, t, 1e-11, "t");
        }
    }
}

TEST(DcGainSolvers, FourPointsFoldsNegativeConstant)
{
    // A power response whose f is negative: the solver takes |f| and goes on.
    const double g = 0.2, fTrue = -4.0, a = 1.0, b = 3.0, e = 5.0;
    auto power = [&](double u) { return (a * u * u + b * u + g * g * fTrue) / (u * u + e * u + fTrue); };
    const double u[4] = {40.0, 9.0, 3.0, 1.5};
    double cSq = 0, dSq = 0, w = 0, t = 0;
    EXPECT_NO_THROW(dsp::solveDcGainFourPoints(u[0], power(u[0]), u[1], power(u[1]), u[2], power(u[2]), u[3],
                                               power(u[3]), g, &cSq, &dSq, &w, &t));
    EXPECT_NEAR(w, 2.0, 1e-9);
    EXPECT_GE(cSq, 0.0);
}

TEST(DcGainSolvers, FourPointsThrowsOnNegativeOrMissingLeadingTerm)
{
    // t^2 < 0 has no real t.
    const double g = 0.1, a = -0.5, b = 3.0, e = 2.0, f = 4.0;
    auto power = [&](double u) { return (a * u * u + b * u + g * g * f) / (u * u + e * u + f); };
    const double u[4] = {3.0, 2.0, 1.0, 0.5};
    double cSq, dSq, w, t;
    EXPECT_THROW(dsp::solveDcGainFourPoints(u[0], power(u[0]), u[1], power(u[1]), u[2], power(u[2]), u[3],
                                            power(u[3]), g, &cSq, &dSq, &w, &t),
                 EquationSolutionException);
    const double nan = std::nan("");
    EXPECT_THROW(dsp::solveDcGainFourPoints(1, nan, 2, 0.5, 3, 0.6, 4, 0.7, g, &cSq, &dSq, &w, &t),
                 EquationSolutionException);
}

TEST(DcGainSolvers, ExtremumTwoPointsRoundTrip)
{
    for (double g : {0.0, 0.1, 0.4}) {
        for (double t : {1.0, 0.8, 1.3}) {
            const Prototype p = dcGainPrototype(t, g, 3.0);
            const double up = extremumOf(p);
            const double lo = 0.005 * 0.005 * up, hi = 7.0 * up;
            double cSq = 0, dSq = 0, w = 0, tOut = 0;
            dsp::solveDcGainExtremumTwoPoints(up, p.power(up), lo, p.power(lo), hi, p.power(hi), g, &cSq, &dSq,
                                              &w, &tOut);
            expectPrototype(p, cSq, dSq, w, 1e-8);
            expectRelative(tOut, t, 1e-9, "t");
        }
    }
}

TEST(DcGainSolvers, ExtremumTwoPointsThrowsOnNegativeConstantOrLeadingTerm)
{
    // Data of rational functions with f < 0, and with a < 0, at one of their extrema.
    const double g = 0.3;
    for (const auto& [a, b, e, f] : {std::array<double, 4>{1.0, -1.0, -3.0, -1.0},
                                     std::array<double, 4>{-0.2, 3.0, 1.0, 1.0}}) {
        auto power = [&](double u) { return (a * u * u + b * u + g * g * f) / (u * u + e * u + f); };
        const double n0 = g * g * f;
        const double A = a * e - b, B = 2.0 * (a * f - n0), C = b * f - n0 * e;
        const double root = std::sqrt(B * B - 4.0 * A * C);
        const double up = std::max((-B + root) / (2.0 * A), (-B - root) / (2.0 * A));
        ASSERT_GT(up, 0.0);
        double cSq, dSq, w, t;
        EXPECT_THROW(dsp::solveDcGainExtremumTwoPoints(up, power(up), 0.3 * up, power(0.3 * up), 3.0 * up,
                                                       power(3.0 * up), g, &cSq, &dSq, &w, &t),
                     EquationSolutionException)
            << "a " << a << " f " << f;
    }
}

TEST(UnitTopSolvers, ThreePointsRoundTrip)
{
    for (double g : {0.0, 0.02, 0.3, 0.9}) {
        for (double q : {0.5, 0.7, 2.0}) {
            const Prototype p = dcGainPrototype(1.0, g, q);
            const double u[3] = {4.0 * kW1k, kW1k, (g + 0.001) * (g + 0.001) * kW1k};
            double cSq = 0, dSq = 0, w = 0;
            dsp::solveUnitTopThreePoints(g, u[0], p.power(u[0]), u[1], p.power(u[1]), u[2], p.power(u[2]), &cSq,
                                         &dSq, &w);
            expectPrototype(p, cSq, dSq, w, 1e-11);
        }
    }
}

TEST(UnitTopSolvers, ThreePointsThrowsOnSingularSystem)
{
    // Equal values at u = 1, 2, 4 with g = 0: every row is a multiple of the others, exactly.
    double cSq, dSq, w;
    EXPECT_THROW(dsp::solveUnitTopThreePoints(0.0, 1.0, 0.5, 2.0, 0.5, 4.0, 0.5, &cSq, &dSq, &w),
                 EquationSolutionException);
}

TEST(UnitTopSolvers, ExtremumCrossingRoundTrip)
{
    for (double g : {0.0, 0.1, 0.5}) {
        for (double q : {1.5, 4.0}) {
            Prototype p = dcGainPrototype(1.0, g, q);
            p.mCSq = 0.2 * p.mDSq;
            const double up = extremumOf(p);
            const double b = p.mCSq - 2.0 * p.mZ, e = p.mDSq - 2.0 * p.mW;
            const double uq = (p.mW * p.mW - p.mZ * p.mZ) / (b - e);
            ASSERT_NEAR(p.power(uq), 1.0, 1e-12);
            double cSq = 0, dSq = 0, w = 0;
            dsp::solveUnitTopExtremumCrossing(g, up, p.power(up), uq, &cSq, &dSq, &w);
            expectPrototype(p, cSq, dSq, w, 1e-11);
        }
    }
}

TEST(UnitTopSolvers, ExtremumCrossingThrowConditions)
{
    double cSq, dSq, w;
    // g^2 equal to the extremum's value.
    EXPECT_THROW(dsp::solveUnitTopExtremumCrossing(0.5, 10.0, 0.25, 5.0, &cSq, &dSq, &w), EquationSolutionException);
    // A negative f: the peak lies between g^2 and 1 on the wrong side.
    EXPECT_THROW(dsp::solveUnitTopExtremumCrossing(1.5, 10.0, 2.0, 5.0, &cSq, &dSq, &w), EquationSolutionException);
    EXPECT_THROW(dsp::solveUnitTopExtremumCrossing(0.1, 10.0, std::nan(""), 5.0, &cSq, &dSq, &w),
                 EquationSolutionException);
    // No crossing frequency, or an extremum at the flat level.
    EXPECT_THROW(dsp::solveUnitTopExtremumCrossing(0.1, 10.0, 2.0, 0.0, &cSq, &dSq, &w), EquationSolutionException);
    EXPECT_THROW(dsp::solveUnitTopExtremumCrossing(0.1, 10.0, 1.0, 5.0, &cSq, &dSq, &w), EquationSolutionException);
}

TEST(UnitDcSolvers, ExtremumTwoPointsRoundTrip)
{
    // Bell-like prototypes (gN s^2 + C s + w) / (s^2 + D s + w), boosts and cuts.
    for (double gN : {1.0, 0.6, 1.8}) {
        for (double ratio : {4.0, 0.25}) {
            const double w = kW1k, dSq = w / 4.0;
            const Prototype p{gN, dSq * ratio, w, dSq, w};
            const double up = extremumOf(p);
            const double u2 = 9.0 * up, u3 = 0.25 * up;
            double cSq = 0, dSqOut = 0, wOut = 0, t = 0;
            EXPECT_NO_THROW(dsp::solveUnitDcExtremumTwoPoints(up, p.power(up), u2, p.power(u2), u3, p.power(u3),
                                                              &cSq, &dSqOut, &wOut, &t));
            expectPrototype(p, cSq, dSqOut, wOut, 1e-11);
            expectRelative(t, gN, 1e-11, "t");
        }
    }
}

TEST(UnitDcSolvers, ExtremumTwoPointsNeverThrows)
{
    double cSq, dSq, w, t;
    const double nan = std::nan("");
    EXPECT_NO_THROW(dsp::solveUnitDcExtremumTwoPoints(1.0, 2.0, 1.0, 2.0, 1.0, 2.0, &cSq, &dSq, &w, &t));
    EXPECT_NO_THROW(dsp::solveUnitDcExtremumTwoPoints(nan, -1.0, 0.0, nan, -3.0, 0.0, &cSq, &dSq, &w, &t));
}

} // namespace
