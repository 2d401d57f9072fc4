#include "SecondOrderPrototype.h"

#include "dsp/filter_design/dsp_MatchingSolvers.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using q38test::SecondOrderPrototype;

namespace {

constexpr double kTight = 1e-9;

// t, c, z = w, d, w: a low-pass with a residual top and a resonant shelf with a dip and a peak.
constexpr SecondOrderPrototype kLowPassWithTop{0.3, 700.0, 4.0e6, 1500.0, 4.0e6};
constexpr SecondOrderPrototype kResonantLowPass{0.1, 100.0, 4.0e6, 800.0, 4.0e6};
constexpr SecondOrderPrototype kResonantShelf{2.0, 707.1067811865476, 1.0e6, 500.0, 1.0e6};

void expectPrototype(const SecondOrderPrototype& inExpected, double inCSq, double inDSq, double inW, double inT)
{
    EXPECT_NEAR(inCSq, inExpected.cSq(), kTight * inExpected.cSq());
    EXPECT_NEAR(inDSq, inExpected.dSq(), kTight * inExpected.dSq());
    EXPECT_NEAR(inW, inExpected.mW, kTight * inExpected.mW);
    EXPECT_NEAR(inT, inExpected.mT, kTight * inExpected.mT);
}

} // namespace

TEST(SolveUnitDcFourPoints, RecoversPrototypesFromTheirOwnResponse)
{
    for (const SecondOrderPrototype& p : {kLowPassWithTop, kResonantShelf, kResonantLowPass}) {
        const double u[4] = {3.0e7, 4.0e6, 9.0e5, 1.0e5};
        double cSq = 0, dSq = 0, w = 0, t = 0;
        dsp::solveUnitDcFourPoints(u[0], p.power(u[0]), u[1], p.power(u[1]), u[2], p.power(u[2]), u[3],
                                   p.power(u[3]), &cSq, &dSq, &w, &t);
        expectPrototype(p, cSq, dSq, w, t);
    }
}

TEST(SolveUnitDcFourPoints, ThrowsWhenTheTopGainIsNotANumber)
{
    // Four copies of one point leave the system singular.
    double cSq = 0, dSq = 0, w = 0, t = 0;
    EXPECT_THROW(dsp::solveUnitDcFourPoints(1.0e6, 2.0, 1.0e6, 2.0, 1.0e6, 2.0, 1.0e6, 2.0, &cSq, &dSq, &w, &t),
                 dsp::EquationSolutionException);
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_THROW(dsp::solveUnitDcFourPoints(3.0e7, nan, 4.0e6, 2.0, 9.0e5, 1.5, 1.0e5, 1.1, &cSq, &dSq, &w, &t),
                 dsp::EquationSolutionException);
}

TEST(SolveUnitDcExtremumTwoPointsFloored, RecoversThePrototypeWhenTheFloorIsLow)
{
    const SecondOrderPrototype& p = kResonantLowPass;
    // The peak; a dip towards the residual top follows higher up.
    double up = 0, dip = 0;
    ASSERT_EQ(p.extrema(&up, &dip), 2);
    ASSERT_GT(p.power(up), 1.0);
    const double u2 = 0.3 * up, u3 = 5.0 * up;
    double cSq = 0, dSq = 0, w = 0, t = 0;
    dsp::solveUnitDcExtremumTwoPointsFloored(up, p.power(up), u2, p.power(u2), u3, p.power(u3), 0.0, &cSq, &dSq,
                                             &w, &t);
    expectPrototype(p, cSq, dSq, w, t);
}

TEST(SolveUnitDcExtremumTwoPointsFloored, RaisedTopStillMeetsTheExtremumValueAndTheLastPoint)
{
    const SecondOrderPrototype& p = kResonantLowPass;
    // The peak; a dip towards the residual top follows higher up.
    double up = 0, dip = 0;
    ASSERT_EQ(p.extrema(&up, &dip), 2);
    ASSERT_GT(p.power(up), 1.0);
    const double u2 = 0.3 * up, u3 = 5.0 * up;
    const double floor = 0.04;  // above t^2 = 0.01
    double cSq = 0, dSq = 0, w = 0, t = 0;
    dsp::solveUnitDcExtremumTwoPointsFloored(up, p.power(up), u2, p.power(u2), u3, p.power(u3), floor, &cSq, &dSq,
                                             &w, &t);
    EXPECT_DOUBLE_EQ(t * t, floor);
    EXPECT_NEAR(w, p.mW, kTight * p.mW);
    const SecondOrderPrototype solved{t, std::sqrt(cSq), w, std::sqrt(dSq), w};
    EXPECT_NEAR(solved.power(up), p.power(up), kTight * p.power(up));
    EXPECT_NEAR(solved.power(u3), p.power(u3), kTight * p.power(u3));
}

TEST(SolveUnitDcExtremumTwoPointsFloored, ThrowsOnANegativeOrUndefinedCorner)
{
    double cSq = 0, dSq = 0, w = 0, t = 0;
    EXPECT_THROW(dsp::solveUnitDcExtremumTwoPointsFloored(1.25, 1.7, 1.85, 1.1, 2.75, 1.9, 0.0, &cSq, &dSq, &w, &t),
                 dsp::EquationSolutionException);
    // Two coinciding points give 0 / 0.
    EXPECT_THROW(dsp::solveUnitDcExtremumTwoPointsFloored(1.0, 2.0, 3.0, 1.5, 3.0, 1.5, 0.0, &cSq, &dSq, &w, &t),
                 dsp::EquationSolutionException);
}

TEST(SolveUnitDcTwoExtrema, RecoversTheShelfFromItsDipAndPeakInEitherOrder)
{
    const SecondOrderPrototype& p = kResonantShelf;
    double dip = 0, peak = 0;
    ASSERT_EQ(p.extrema(&dip, &peak), 2);
    ASSERT_LT(p.power(dip), 1.0);
    ASSERT_GT(p.power(peak), 4.0);
    double cSq = 0, dSq = 0, w = 0, t = 0;
    dsp::solveUnitDcTwoExtrema(dip, p.power(dip), peak, p.power(peak), &cSq, &dSq, &w, &t);
    expectPrototype(p, cSq, dSq, w, t);
    dsp::solveUnitDcTwoExtrema(peak, p.power(peak), dip, p.power(dip), &cSq, &dSq, &w, &t);
    expectPrototype(p, cSq, dSq, w, t);
}

TEST(SolveUnitDcTwoExtrema, ThrowsOnEachInadmissibleInput)
{
    double cSq = 0, dSq = 0, w = 0, t = 0;
    auto solve = [&](double u1, double m1, double u2, double m2) {
        dsp::solveUnitDcTwoExtrema(u1, m1, u2, m2, &cSq, &dSq, &w, &t);
    };
    EXPECT_THROW(solve(1.0, 2.0, 4.0, 2.0), dsp::EquationSolutionException);   // m1 = m2
    EXPECT_THROW(solve(1.0, 0.0, 4.0, 2.0), dsp::EquationSolutionException);   // m1 = 0
    EXPECT_THROW(solve(1.0, 0.5, 4.0, -1.0), dsp::EquationSolutionException);  // m2 < 0
    EXPECT_THROW(solve(1.0, 2.0, 10.0, 3.0), dsp::EquationSolutionException);  // R < 0
    EXPECT_THROW(solve(4.0, 2.5, 4.5, 4.0), dsp::EquationSolutionException);   // E < 0
    EXPECT_NO_THROW(solve(4.0, 0.5, 9.0, 2.0));
}
