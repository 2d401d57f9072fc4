#include "SecondOrderPrototype.h"

#include "dsp/filter_design/dsp_MatchingSolvers.h"

#include <gtest/gtest.h>

using q38test::SecondOrderPrototype;

namespace {

constexpr double kTight = 1e-9;

// Fixed-top prototypes: z = w, t = N.
constexpr SecondOrderPrototype kLowPassWithTop{0.3, 700.0, 4.0e6, 1500.0, 4.0e6};
constexpr SecondOrderPrototype kResonantLowPass{0.1, 100.0, 4.0e6, 800.0, 4.0e6};
constexpr SecondOrderPrototype kResonantShelf{2.0, 707.1067811865476, 1.0e6, 500.0, 1.0e6};

void expectCoefficients(const SecondOrderPrototype& inExpected, double inCSq, double inDSq)
{
    EXPECT_NEAR(inCSq, inExpected.cSq(), kTight * inExpected.cSq());
    EXPECT_NEAR(inDSq, inExpected.dSq(), kTight * inExpected.dSq());
}

} // namespace

TEST(SolveFixedTopThreePoints, RecoversPrototypesAndNeverThrows)
{
    for (const SecondOrderPrototype& p : {kLowPassWithTop, kResonantLowPass, kResonantShelf}) {
        const double u1 = 2.0e7, u2 = 3.0e6, u3 = 4.0e5;
        double cSq = 0, dSq = 0, w = 0;
        dsp::solveFixedTopThreePoints(u1, p.power(u1), u2, p.power(u2), u3, p.power(u3), p.mT, &cSq, &dSq, &w);
        expectCoefficients(p, cSq, dSq);
        EXPECT_NEAR(w, p.mW, kTight * p.mW);
    }
    double cSq = 0, dSq = 0, w = 0;
    EXPECT_NO_THROW(dsp::solveFixedTopThreePoints(1.0, 1.0, 1.0, 1.0, 1.0, 1.0, 0.5, &cSq, &dSq, &w));
    EXPECT_NO_THROW(dsp::solveFixedTopThreePoints(1.0, 3.0, 2.0, 0.1, 3.0, 7.0, 0.5, &cSq, &dSq, &w));
    EXPECT_GE(cSq, 0.0);
}

TEST(SolveFixedTopExtremumCrossing, RecoversAResonantLowPass)
{
    const SecondOrderPrototype& p = kResonantLowPass;
    // The peak; a dip towards the residual top follows higher up.
    double up = 0, dip = 0;
    ASSERT_EQ(p.extrema(&up, &dip), 2);
    ASSERT_GT(p.power(up), 1.0);
    const double uq = p.unitCrossing();
    ASSERT_GT(uq, up);
    double cSq = 0, dSq = 0, w = 0;
    dsp::solveFixedTopExtremumCrossing(up, p.power(up), uq, p.mT, &cSq, &dSq, &w);
    expectCoefficients(p, cSq, dSq);
    EXPECT_NEAR(w, p.mW, kTight * p.mW);
}

TEST(SolveFixedTopExtremumCrossing, ThrowsWhenThePeakLiesBetweenOneAndTheTop)
{
    double cSq = 0, dSq = 0, w = 0;
    EXPECT_THROW(dsp::solveFixedTopExtremumCrossing(1.0e6, 2.0, 2.0e6, 2.0, &cSq, &dSq, &w),
                 dsp::EquationSolutionException);
}

TEST(SolveFixedTopTwoExtremaValues, GivesTheOtherExtremumFromEitherAnchor)
{
    const SecondOrderPrototype& p = kResonantShelf;
    double dip = 0, peak = 0;
    ASSERT_EQ(p.extrema(&dip, &peak), 2);
    double cSq = 0, dSq = 0, w = 0, u2 = 0;
    dsp::solveFixedTopTwoExtremaValues(dip, p.power(dip), p.power(peak), p.mT, &cSq, &dSq, &w, &u2);
    expectCoefficients(p, cSq, dSq);
    EXPECT_NEAR(w, p.mW, kTight * p.mW);
    EXPECT_NEAR(u2, peak, kTight * peak);
    dsp::solveFixedTopTwoExtremaValues(peak, p.power(peak), p.power(dip), p.mT, &cSq, &dSq, &w, &u2);
    expectCoefficients(p, cSq, dSq);
    EXPECT_NEAR(u2, dip, kTight * dip);
}

TEST(SolveFixedTopTwoExtremaValues, ThrowsWhenAValueLiesBetweenTheEnds)
{
    double cSq = 0, dSq = 0, w = 0, u2 = 0;
    EXPECT_THROW(dsp::solveFixedTopTwoExtremaValues(1.0e6, 2.0, 0.5, 2.0, &cSq, &dSq, &w, &u2),
                 dsp::EquationSolutionException);
    EXPECT_THROW(dsp::solveFixedTopTwoExtremaValues(1.0e6, 0.5, 2.0, 2.0, &cSq, &dSq, &w, &u2),
                 dsp::EquationSolutionException);
}

TEST(SolveFixedTopKnownCornerTwoPoints, RecoversPrototypesAndRejectsRepeatedInputs)
{
    for (const SecondOrderPrototype& p : {kLowPassWithTop, kResonantShelf}) {
        const double u1 = 2.5e5, u2 = 6.0e6;
        double cSq = 0, dSq = 0;
        dsp::solveFixedTopKnownCornerTwoPoints(u1, p.power(u1), u2, p.power(u2), p.mT, p.mW, &cSq, &dSq);
        expectCoefficients(p, cSq, dSq);
    }
    double cSq = 0, dSq = 0;
    EXPECT_THROW(dsp::solveFixedTopKnownCornerTwoPoints(1.0, 2.0, 3.0, 2.0, 1.5, 2.0, &cSq, &dSq),
                 dsp::EquationSolutionException);
    EXPECT_THROW(dsp::solveFixedTopKnownCornerTwoPoints(3.0, 1.0, 3.0, 2.0, 1.5, 2.0, &cSq, &dSq),
                 dsp::EquationSolutionException);
}

TEST(SolveFixedTopExtremumPoint, RecoversThePrototypeFromEitherExtremum)
{
    const SecondOrderPrototype& p = kResonantShelf;
    double dip = 0, peak = 0;
    ASSERT_EQ(p.extrema(&dip, &peak), 2);
    for (const double up : {dip, peak}) {
        const double u2 = 3.0 * peak;
        double cSq = 0, dSq = 0, w = 0;
        dsp::solveFixedTopExtremumPoint(up, p.power(up), u2, p.power(u2), p.mT, &cSq, &dSq, &w);
        expectCoefficients(p, cSq, dSq);
        EXPECT_NEAR(w, p.mW, kTight * p.mW);
    }
    double cSq = 0, dSq = 0, w = 0;
    EXPECT_THROW(dsp::solveFixedTopExtremumPoint(1.0e6, 2.0, 3.0e6, 3.0, 2.0, &cSq, &dSq, &w),
                 dsp::EquationSolutionException);
}
