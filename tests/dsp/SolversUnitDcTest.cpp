#include "SecondOrderPrototype.h"

#include "dsp/filter_design/dsp_MatchingSolvers.h"

#include <gtest/gtest.h>

using namespace q38test;
using dsp::EquationSolutionException;

namespace {

struct Result
{
    double mCSq = 0, mDSq = 0, mW = 0, mT = 0;
};

void expectPrototype(const SecondOrderPrototype& inP, const Result& inR)
{
    EXPECT_NEAR(inR.mCSq, inP.mC * inP.mC, 1e-9 * inP.mC * inP.mC);
    EXPECT_NEAR(inR.mDSq, inP.mD * inP.mD, 1e-9 * inP.mD * inP.mD);
    EXPECT_NEAR(inR.mW, inP.mW, 1e-9 * inP.mW);
    EXPECT_NEAR(inR.mT, inP.mT, 1e-9 * inP.mT);
}

} // namespace

TEST(UnitDcSolvers, RecoverPrototypesFromTheirOwnResponse)
{
    Result r;
    for (const SecondOrderPrototype& p : {kLowPassWithTop, kResonantShelf, kResonantLowPass}) {
        const double u1 = 3.0e7, u2 = 4.0e6, u3 = 9.0e5, u4 = 1.0e5;
        dsp::solveUnitDcFourPoints(u1, p.power(u1), u2, p.power(u2), u3, p.power(u3), u4, p.power(u4), &r.mCSq,
                                   &r.mDSq, &r.mW, &r.mT);
        expectPrototype(p, r);
    }
    double peak = 0, dip = 0;
    kResonantLowPass.extrema(&peak, &dip);
    const SecondOrderPrototype& lp = kResonantLowPass;
    dsp::solveUnitDcExtremumTwoPointsFloored(peak, lp.power(peak), 0.3 * peak, lp.power(0.3 * peak), 5.0 * peak,
                                             lp.power(5.0 * peak), 0.0, &r.mCSq, &r.mDSq, &r.mW, &r.mT);
    expectPrototype(lp, r);

    // The two extrema in either order.
    const SecondOrderPrototype& s = kResonantShelf;
    s.extrema(&dip, &peak);
    dsp::solveUnitDcTwoExtrema(dip, s.power(dip), peak, s.power(peak), &r.mCSq, &r.mDSq, &r.mW, &r.mT);
    expectPrototype(s, r);
    dsp::solveUnitDcTwoExtrema(peak, s.power(peak), dip, s.power(dip), &r.mCSq, &r.mDSq, &r.mW, &r.mT);
    expectPrototype(s, r);
}

TEST(UnitDcSolvers, RaisedTopStillMeetsTheExtremumAndTheLastPoint)
{
    const SecondOrderPrototype& p = kResonantLowPass;
    double peak = 0, dip = 0;
    p.extrema(&peak, &dip);
    Result r;
    dsp::solveUnitDcExtremumTwoPointsFloored(peak, p.power(peak), 0.3 * peak, p.power(0.3 * peak), 5.0 * peak,
                                             p.power(5.0 * peak), 0.04, &r.mCSq, &r.mDSq, &r.mW, &r.mT);
    EXPECT_DOUBLE_EQ(r.mT * r.mT, 0.04);
    const SecondOrderPrototype solved{r.mT, std::sqrt(r.mCSq), r.mW, std::sqrt(r.mDSq), r.mW};
    EXPECT_NEAR(solved.power(peak), p.power(peak), 1e-9 * p.power(peak));
    EXPECT_NEAR(solved.power(5.0 * peak), p.power(5.0 * peak), 1e-9 * p.power(5.0 * peak));
}

TEST(UnitDcSolvers, ThrowOnEachInadmissibleInput)
{
    Result r;
    // Four copies of one point: the top gain is not a number.
    EXPECT_THROW(dsp::solveUnitDcFourPoints(1e6, 2, 1e6, 2, 1e6, 2, 1e6, 2, &r.mCSq, &r.mDSq, &r.mW, &r.mT),
                 EquationSolutionException);
    // Negative corner square, then an undefined one.
    EXPECT_THROW(dsp::solveUnitDcExtremumTwoPointsFloored(1.25, 1.7, 1.85, 1.1, 2.75, 1.9, 0, &r.mCSq, &r.mDSq, &r.mW,
                                                          &r.mT),
                 EquationSolutionException);
    EXPECT_THROW(dsp::solveUnitDcExtremumTwoPointsFloored(1, 2, 3, 1.5, 3, 1.5, 0, &r.mCSq, &r.mDSq, &r.mW, &r.mT),
                 EquationSolutionException);
    auto twoExtrema = [&](double u1, double m1, double u2, double m2) {
        dsp::solveUnitDcTwoExtrema(u1, m1, u2, m2, &r.mCSq, &r.mDSq, &r.mW, &r.mT);
    };
    EXPECT_THROW(twoExtrema(1, 2, 4, 2), EquationSolutionException);    // m1 = m2
    EXPECT_THROW(twoExtrema(1, 0, 4, 2), EquationSolutionException);    // m1 = 0
    EXPECT_THROW(twoExtrema(1, 0.5, 4, -1), EquationSolutionException); // m2 < 0
    EXPECT_THROW(twoExtrema(1, 2, 10, 3), EquationSolutionException);   // R < 0
    EXPECT_THROW(twoExtrema(4, 2.5, 4.5, 4), EquationSolutionException); // E < 0
    EXPECT_NO_THROW(twoExtrema(4, 0.5, 9, 2));
}
