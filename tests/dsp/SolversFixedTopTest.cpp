#include "SecondOrderPrototype.h"

#include "dsp/filter_design/dsp_MatchingSolvers.h"

#include <gtest/gtest.h>

using namespace q38test;
using dsp::EquationSolutionException;

namespace {

void expectNear(double inActual, double inExpected)
{
    EXPECT_NEAR(inActual, inExpected, 1e-9 * std::fabs(inExpected));
}

void expectSquares(const SecondOrderPrototype& inP, double inCSq, double inDSq)
{
    expectNear(inCSq, inP.mC * inP.mC);
    expectNear(inDSq, inP.mD * inP.mD);
}

} // namespace

TEST(FixedTopSolvers, RecoverPrototypesFromTheirOwnResponse)
{
    double cSq = 0, dSq = 0, w = 0, u2 = 0;
    for (const SecondOrderPrototype& p : {kLowPassWithTop, kResonantLowPass, kResonantShelf}) {
        dsp::solveFixedTopThreePoints(2e7, p.power(2e7), 3e6, p.power(3e6), 4e5, p.power(4e5), p.mT, &cSq, &dSq, &w);
        expectSquares(p, cSq, dSq);
        expectNear(w, p.mW);
        dsp::solveFixedTopKnownCornerTwoPoints(2.5e5, p.power(2.5e5), 6e6, p.power(6e6), p.mT, p.mW, &cSq, &dSq);
        expectSquares(p, cSq, dSq);
    }

    // Peak and unity crossing, (N^2 - 1) uq = e - b.
    const SecondOrderPrototype& lp = kResonantLowPass;
    double peak = 0, dip = 0;
    lp.extrema(&peak, &dip);
    const double uq = (lp.mD * lp.mD - 2 * lp.mW - lp.mC * lp.mC + 2 * lp.mT * lp.mZ) / (lp.mT * lp.mT - 1);
    dsp::solveFixedTopExtremumCrossing(peak, lp.power(peak), uq, lp.mT, &cSq, &dSq, &w);
    expectSquares(lp, cSq, dSq);
    expectNear(w, lp.mW);

    // Either extremum of the shelf anchors, and the other one comes out.
    const SecondOrderPrototype& s = kResonantShelf;
    s.extrema(&dip, &peak);
    dsp::solveFixedTopTwoExtremaValues(dip, s.power(dip), s.power(peak), s.mT, &cSq, &dSq, &w, &u2);
    expectSquares(s, cSq, dSq);
    expectNear(w, s.mW);
    expectNear(u2, peak);
    dsp::solveFixedTopTwoExtremaValues(peak, s.power(peak), s.power(dip), s.mT, &cSq, &dSq, &w, &u2);
    expectNear(u2, dip);
    for (const double up : {dip, peak}) {
        dsp::solveFixedTopExtremumPoint(up, s.power(up), 3 * peak, s.power(3 * peak), s.mT, &cSq, &dSq, &w);
        expectSquares(s, cSq, dSq);
        expectNear(w, s.mW);
    }
}

TEST(FixedTopSolvers, ThrowOnEachInadmissibleInput)
{
    double cSq = 0, dSq = 0, w = 0, u2 = 0;
    // A peak between 1 and N^2.
    EXPECT_THROW(dsp::solveFixedTopExtremumCrossing(1e6, 2, 2e6, 2, &cSq, &dSq, &w), EquationSolutionException);
    EXPECT_THROW(dsp::solveFixedTopTwoExtremaValues(1e6, 2, 0.5, 2, &cSq, &dSq, &w, &u2), EquationSolutionException);
    EXPECT_THROW(dsp::solveFixedTopTwoExtremaValues(1e6, 0.5, 2, 2, &cSq, &dSq, &w, &u2), EquationSolutionException);
    EXPECT_THROW(dsp::solveFixedTopExtremumPoint(1e6, 2, 3e6, 3, 2, &cSq, &dSq, &w), EquationSolutionException);
    // Repeated values or frequencies.
    EXPECT_THROW(dsp::solveFixedTopKnownCornerTwoPoints(1, 2, 3, 2, 1.5, 2, &cSq, &dSq), EquationSolutionException);
    EXPECT_THROW(dsp::solveFixedTopKnownCornerTwoPoints(3, 1, 3, 2, 1.5, 2, &cSq, &dSq), EquationSolutionException);
    // The three-point solve folds and clamps instead.
    EXPECT_NO_THROW(dsp::solveFixedTopThreePoints(1, 3, 2, 0.1, 3, 7, 0.5, &cSq, &dSq, &w));
    EXPECT_GE(cSq, 0.0);
}
