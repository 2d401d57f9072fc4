#include "dsp/filter_design/dsp_MatchingSolvers.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

// Round trips: a known prototype (t s^2 + c s + z) / (s^2 + d s + w) is read
// exactly at a solver's conditions, and the solver must give it back.

namespace {

using dsp::EquationSolutionException;

constexpr double kU = 39478417.60435743;  // (2 pi 1000 Hz)^2

struct Prototype
{
    double mT, mCSq, mZ, mDSq, mW;

    double power(double inU) const
    {
        const long double u = inU;
        const long double n = (mT * u - mZ) * (mT * u - mZ) + mCSq * u;
        return static_cast<double>(n / ((u - mW) * (u - mW) + mDSq * u));
    }
    // The largest root of N' D - N D' = 0.
    double extremum() const
    {
        const long double a = mT * mT, b = mCSq - 2.0L * mT * mZ, e = mDSq - 2.0L * mW, f = 1.0L * mW * mW;
        const long double n0 = 1.0L * mZ * mZ, A = a * e - b, B = 2.0L * (a * f - n0), C = b * f - n0 * e;
        const long double root = std::sqrt(B * B - 4.0L * A * C);
        return static_cast<double>(std::max((-B + root) / (2.0L * A), (-B - root) / (2.0L * A)));
    }
    // Where the power crosses 1 when t = 1.
    double crossing() const { return (mW * mW - mZ * mZ) / (mCSq - 2.0 * mZ - mDSq + 2.0 * mW); }

    void expectEqual(double inCSq, double inDSq, double inW, double inTolerance) const
    {
        EXPECT_NEAR(inCSq, mCSq, inTolerance * mCSq);
        EXPECT_NEAR(inDSq, mDSq, inTolerance * mDSq);
        EXPECT_NEAR(inW, mW, inTolerance * mW);
    }
};

// A high-pass shape with DC gain g, top gain t and a resonance of quality q at 1 kHz.
Prototype highPass(double inT, double inG, double inQ, double inCRatio = 0.3)
{
    const double dSq = kU / (inQ * inQ);
    return {inT, inCRatio * dSq, inG * kU, dSq, kU};
}

TEST(DcGainSolvers, RoundTrips)
{
    double cSq, dSq, w, t;
    for (double g : {0.0, 0.1, 0.5}) {
        for (double top : {0.8, 1.0, 1.6}) {
            const Prototype p = highPass(top, g, 1.5);
            const double u1 = 30.0 * kU, u2 = 4.0 * kU, u3 = 0.8 * kU, u4 = 0.004 * kU;
            dsp::solveDcGainFourPoints(u1, p.power(u1), u2, p.power(u2), u3, p.power(u3), u4, p.power(u4), g, &cSq,
                                       &dSq, &w, &t);
            p.expectEqual(cSq, dSq, w, 1e-11);
            EXPECT_NEAR(t, top, 1e-11);

            // The low point sits where the response is nearly g^2: a few digits go there.
            const Prototype r = highPass(top, g, 3.0);
            const double up = r.extremum(), lo = 25e-6 * up, hi = 7.0 * up;
            dsp::solveDcGainExtremumTwoPoints(up, r.power(up), lo, r.power(lo), hi, r.power(hi), g, &cSq, &dSq, &w,
                                              &t);
            r.expectEqual(cSq, dSq, w, 1e-8);
            EXPECT_NEAR(t, top, 1e-9);
        }
        for (double q : {0.5, 0.7, 2.0}) {
            const Prototype p = highPass(1.0, g, q);
            const double u1 = 4.0 * kU, u2 = kU, u3 = (g + 0.001) * (g + 0.001) * kU;
            dsp::solveUnitTopThreePoints(g, u1, p.power(u1), u2, p.power(u2), u3, p.power(u3), &cSq, &dSq, &w);
            p.expectEqual(cSq, dSq, w, 1e-10);
        }
        for (double q : {1.5, 4.0}) {
            const Prototype p = highPass(1.0, g, q, 0.2);
            const double up = p.extremum(), uq = p.crossing();
            ASSERT_NEAR(p.power(uq), 1.0, 1e-12);
            dsp::solveUnitTopExtremumCrossing(g, up, p.power(up), uq, &cSq, &dSq, &w);
            p.expectEqual(cSq, dSq, w, 1e-11);
        }
    }
}

TEST(BellPeakSolver, ExtremumTwoPointsRoundTrip)
{
    // Bells (gN s^2 + C s + w) / (s^2 + D s + w), boosts and cuts.
    for (double gN : {0.6, 1.0, 1.8}) {
        for (double ratio : {4.0, 0.25}) {
            const Prototype p{gN, kU / 4.0 * ratio, kU, kU / 4.0, kU};
            const double up = p.extremum(), u2 = 9.0 * up, u3 = 0.25 * up;
            double cSq, dSq, w, t;
            dsp::solveUnitDcExtremumTwoPoints(up, p.power(up), u2, p.power(u2), u3, p.power(u3), &cSq, &dSq, &w, &t);
            p.expectEqual(cSq, dSq, w, 1e-11);
            EXPECT_NEAR(t, gN, 1e-11);
        }
    }
    // It has no failure path, whatever it is given.
    double cSq, dSq, w, t;
    EXPECT_NO_THROW(dsp::solveUnitDcExtremumTwoPoints(1.0, 2.0, 1.0, 2.0, 1.0, 2.0, &cSq, &dSq, &w, &t));
    EXPECT_NO_THROW(dsp::solveUnitDcExtremumTwoPoints(std::nan(""), -1.0, 0.0, 1.0, -3.0, 0.0, &cSq, &dSq, &w, &t));
}

// Powers of rational functions (a u^2 + b u + g^2 f) / (u^2 + e u + f) that no real prototype has.
struct Rational
{
    double a, b, e, f, g;
    double operator()(double u) const { return (a * u * u + b * u + g * g * f) / (u * u + e * u + f); }
};

TEST(DcGainSolvers, FailureConditions)
{
    double cSq, dSq, w, t;
    const double nan = std::nan("");
    // A negative f is folded, not a failure.
    const Rational negativeF{1.0, 3.0, 5.0, -4.0, 0.2};
    EXPECT_NO_THROW(dsp::solveDcGainFourPoints(40, negativeF(40), 9, negativeF(9), 3, negativeF(3), 1.5,
                                               negativeF(1.5), 0.2, &cSq, &dSq, &w, &t));
    EXPECT_NEAR(w, 2.0, 1e-9);
    const Rational negativeA{-0.5, 3.0, 2.0, 4.0, 0.1};
    EXPECT_THROW(dsp::solveDcGainFourPoints(3, negativeA(3), 2, negativeA(2), 1, negativeA(1), 0.5, negativeA(0.5),
                                            0.1, &cSq, &dSq, &w, &t),
                 EquationSolutionException);
    EXPECT_THROW(dsp::solveDcGainFourPoints(1, nan, 2, 0.5, 3, 0.6, 4, 0.7, 0.1, &cSq, &dSq, &w, &t),
                 EquationSolutionException);

    // The extremum solve refuses a negative f and a negative t^2; the extrema are at 0.30132 and 0.86728.
    const Rational withF{1.0, -1.0, -3.0, -1.0, 0.3}, withA{-0.2, 3.0, 1.0, 1.0, 0.3};
    for (const auto& [r, up] : {std::pair{withF, 0.3013233435508916}, std::pair{withA, 0.8672830804675363}})
        EXPECT_THROW(dsp::solveDcGainExtremumTwoPoints(up, r(up), 0.3 * up, r(0.3 * up), 3 * up, r(3 * up), 0.3,
                                                       &cSq, &dSq, &w, &t),
                     EquationSolutionException);
}

TEST(UnitTopSolvers, FailureConditions)
{
    double cSq, dSq, w;
    // Equal values at u = 1, 2, 4 with g = 0: an exactly singular system.
    EXPECT_THROW(dsp::solveUnitTopThreePoints(0.0, 1.0, 0.5, 2.0, 0.5, 4.0, 0.5, &cSq, &dSq, &w),
                 EquationSolutionException);
    // g^2 equal to the extremum's value; a negative or missing f; no crossing; an extremum at the top level.
    for (const auto& [g, mp, uq] : {std::tuple{0.5, 0.25, 5.0}, std::tuple{1.5, 2.0, 5.0},
                                    std::tuple{0.1, std::nan(""), 5.0}, std::tuple{0.1, 2.0, 0.0},
                                    std::tuple{0.1, 1.0, 5.0}})
        EXPECT_THROW(dsp::solveUnitTopExtremumCrossing(g, 10.0, mp, uq, &cSq, &dSq, &w), EquationSolutionException)
            << g << " " << mp << " " << uq;
}

} // namespace
