#include "DesignTestSupport.h"

#include "dsp/filter_design/dsp_MatchingSolvers.h"
#include "dsp/filter_design/primitives/order1/dsp_Order1HighPass.h"
#include "dsp/filter_design/primitives/order1/dsp_Order1HighShelf.h"

#include <gtest/gtest.h>

#include <functional>

// Round trips: a known prototype's power, read exactly at a solver's
// conditions, must give that prototype back.

using namespace q38test;

namespace {

constexpr double kU = 39478417.60435743;  // (2 pi 1000 Hz)^2

struct Solved
{
    double cSq = 0, dSq = 0, w = 0, t = 0;
};

void expectSolved(const Prototype& inP, const Solved& inS, double inTolerance)
{
    EXPECT_NEAR(inS.cSq, inP.mCSq, inTolerance * inP.mCSq);
    EXPECT_NEAR(inS.dSq, inP.mDSq, inTolerance * inP.mDSq);
    EXPECT_NEAR(inS.w, inP.mW, inTolerance * inP.mW);
    EXPECT_NEAR(inS.t, inP.mT, inTolerance * inP.mT);
}

// Where M = 1 away from u = 0, for t = 1 or z = w.
double crossing(const Prototype& p)
{
    return p.mT == 1.0 ? (p.mW * p.mW - p.mZ * p.mZ) / (p.mCSq - 2.0 * p.mZ - p.mDSq + 2.0 * p.mW)
                       : (p.mDSq - 2.0 * p.mW - p.mCSq + 2.0 * p.mT * p.mZ) / (p.mT * p.mT - 1.0);
}

double upperExtremum(const Prototype& p)
{
    double low = 0, high = 0;
    p.extrema(&low, &high);
    return high;
}

// A high-pass shape at 1 kHz with DC gain g, top gain t and resonance q.
Prototype highPass(double inT, double inG, double inQ, double inCRatio = 0.3)
{
    return {inT, inCRatio * kU / (inQ * inQ), inG * kU, kU / (inQ * inQ), kU};
}

} // namespace

TEST(Solvers, UnitDcAndFixedTopRoundTrips)
{
    for (const Prototype& p : {kLowPassWithTop, kResonantLowPass, kResonantShelf}) {
        SCOPED_TRACE(p.mT);
        Solved s;
        dsp::solveUnitDcFourPoints(3e7, p.power(3e7), 4e6, p.power(4e6), 9e5, p.power(9e5), 1e5, p.power(1e5), &s.cSq,
                                   &s.dSq, &s.w, &s.t);
        expectSolved(p, s, 1e-9);
        s = {.t = p.mT};
        dsp::solveFixedTopThreePoints(2e7, p.power(2e7), 3e6, p.power(3e6), 4e5, p.power(4e5), p.mT, &s.cSq, &s.dSq,
                                      &s.w);
        expectSolved(p, s, 1e-9);
        s = {.w = p.mW, .t = p.mT};
        dsp::solveFixedTopKnownCornerTwoPoints(2.5e5, p.power(2.5e5), 6e6, p.power(6e6), p.mT, p.mW, &s.cSq, &s.dSq);
        expectSolved(p, s, 1e-9);
    }
    const Prototype& lp = kResonantLowPass;
    double peak = 0, dip = 0;
    lp.extrema(&peak, &dip);
    const double mp = lp.power(peak), u2 = 0.3 * peak, m2 = lp.power(u2), u3 = 5 * peak, m3 = lp.power(u3);
    Solved s;
    dsp::solveUnitDcExtremumTwoPointsFloored(peak, mp, u2, m2, u3, m3, 0.0, &s.cSq, &s.dSq, &s.w, &s.t);
    expectSolved(lp, s, 1e-9);
    s = {.t = lp.mT};
    dsp::solveFixedTopExtremumCrossing(peak, mp, crossing(lp), lp.mT, &s.cSq, &s.dSq, &s.w);
    expectSolved(lp, s, 1e-9);
    // A raised floor on t^2 still meets the extremum and the last point.
    dsp::solveUnitDcExtremumTwoPointsFloored(peak, mp, u2, m2, u3, m3, 0.04, &s.cSq, &s.dSq, &s.w, &s.t);
    EXPECT_DOUBLE_EQ(s.t * s.t, 0.04);
    const Prototype raised{s.t, s.cSq, s.w, s.dSq, s.w};
    EXPECT_NEAR(raised.power(peak), mp, 1e-9 * mp);
    EXPECT_NEAR(raised.power(u3), m3, 1e-9 * m3);

    // The shelf's two extrema, given in either order; each returns the other.
    const Prototype& sh = kResonantShelf;
    sh.extrema(&dip, &peak);
    for (const auto& [u1, other] : {std::pair{dip, peak}, std::pair{peak, dip}}) {
        double found = 0;
        dsp::solveUnitDcTwoExtrema(u1, sh.power(u1), other, sh.power(other), &s.cSq, &s.dSq, &s.w, &s.t);
        expectSolved(sh, s, 1e-9);
        s = {.t = sh.mT};
        dsp::solveFixedTopTwoExtremaValues(u1, sh.power(u1), sh.power(other), sh.mT, &s.cSq, &s.dSq, &s.w, &found);
        expectSolved(sh, s, 1e-9);
        EXPECT_NEAR(found, other, 1e-9 * other);
        s = {.t = sh.mT};
        dsp::solveFixedTopExtremumPoint(u1, sh.power(u1), 3 * peak, sh.power(3 * peak), sh.mT, &s.cSq, &s.dSq, &s.w);
        expectSolved(sh, s, 1e-9);
    }
}

TEST(Solvers, DcGainUnitTopAndBellRoundTrips)
{
    Solved s;
    for (double g : {0.0, 0.1, 0.5}) {
        for (double top : {0.8, 1.0, 1.6}) {
            const Prototype p = highPass(top, g, 1.5);
            const double u1 = 30 * kU, u2 = 4 * kU, u3 = 0.8 * kU, u4 = 0.004 * kU;
            dsp::solveDcGainFourPoints(u1, p.power(u1), u2, p.power(u2), u3, p.power(u3), u4, p.power(u4), g, &s.cSq,
                                       &s.dSq, &s.w, &s.t);
            expectSolved(p, s, 1e-11);
            // The low point sits where the response is nearly g^2: a few digits go there.
            const Prototype r = highPass(top, g, 3.0);
            const double up = upperExtremum(r), lo = 25e-6 * up, hi = 7 * up;
            dsp::solveDcGainExtremumTwoPoints(up, r.power(up), lo, r.power(lo), hi, r.power(hi), g, &s.cSq, &s.dSq,
                                              &s.w, &s.t);
            expectSolved(r, s, 1e-8);
        }
        for (double q : {0.5, 0.7, 2.0}) {
            const Prototype p = highPass(1.0, g, q);
            const double u1 = 4 * kU, u2 = kU, u3 = (g + 0.001) * (g + 0.001) * kU;
            s = {.t = 1.0};
            dsp::solveUnitTopThreePoints(g, u1, p.power(u1), u2, p.power(u2), u3, p.power(u3), &s.cSq, &s.dSq, &s.w);
            expectSolved(p, s, 1e-10);
        }
        for (double q : {1.5, 4.0}) {
            const Prototype p = highPass(1.0, g, q, 0.2);
            const double up = upperExtremum(p);
            ASSERT_NEAR(p.power(crossing(p)), 1.0, 1e-12);
            dsp::solveUnitTopExtremumCrossing(g, up, p.power(up), crossing(p), &s.cSq, &s.dSq, &s.w);
            expectSolved(p, s, 1e-11);
        }
    }
    // Bells (t s^2 + C s + w) / (s^2 + D s + w), boosts and cuts.
    for (double t : {0.6, 1.0, 1.8})
        for (double ratio : {4.0, 0.25}) {
            const Prototype p{t, kU / 4 * ratio, kU, kU / 4, kU};
            const double up = upperExtremum(p);
            dsp::solveUnitDcExtremumTwoPoints(up, p.power(up), 9 * up, p.power(9 * up), up / 4, p.power(up / 4), &s.cSq,
                                              &s.dSq, &s.w, &s.t);
            expectSolved(p, s, 1e-11);
        }
}

TEST(Solvers, EachDocumentedFailureThrows)
{
    const double nan = std::nan("");
    double c = 0, d = 0, w = 0, t = 0;
    // Powers of rational functions that no real prototype has.
    auto m = [](double a, double b, double e, double f, double g) {
        return [=](double u) { return (a * u * u + b * u + g * g * f) / (u * u + e * u + f); };
    };
    const auto negA = m(-0.5, 3.0, 2.0, 4.0, 0.1);
    auto extremumCase = [&](double u, auto p) {
        dsp::solveDcGainExtremumTwoPoints(u, p(u), 0.3 * u, p(0.3 * u), 3 * u, p(3 * u), 0.3, &c, &d, &w, &t);
    };
    const std::function<void()> throwing[] = {
        [&] { dsp::solveUnitDcFourPoints(1e6, 2, 1e6, 2, 1e6, 2, 1e6, 2, &c, &d, &w, &t); },  // t undefined
        [&] { dsp::solveUnitDcExtremumTwoPointsFloored(1.25, 1.7, 1.85, 1.1, 2.75, 1.9, 0, &c, &d, &w, &t); },  // f < 0
        [&] { dsp::solveUnitDcExtremumTwoPointsFloored(1, 2, 3, 1.5, 3, 1.5, 0, &c, &d, &w, &t); },  // f undefined
        [&] { dsp::solveUnitDcTwoExtrema(1, 2, 4, 2, &c, &d, &w, &t); },      // m1 = m2
        [&] { dsp::solveUnitDcTwoExtrema(1, 0, 4, 2, &c, &d, &w, &t); },      // m1 = 0
        [&] { dsp::solveUnitDcTwoExtrema(1, 2, 2, -0.1, &c, &d, &w, &t); },   // m2 < 0
        [&] { dsp::solveUnitDcTwoExtrema(1, 2, 10, 3, &c, &d, &w, &t); },     // R < 0
        [&] { dsp::solveUnitDcTwoExtrema(4, 2.5, 4.5, 4, &c, &d, &w, &t); },  // E < 0
        // A peak between 1 and N^2 makes f, A or B negative.
        [&] { dsp::solveFixedTopExtremumCrossing(1e6, 2, 2e6, 2, &c, &d, &w); },
        [&] { dsp::solveFixedTopTwoExtremaValues(1e6, 2, 0.5, 2, &c, &d, &w, &t); },
        [&] { dsp::solveFixedTopTwoExtremaValues(1e6, 0.5, 2, 2, &c, &d, &w, &t); },
        [&] { dsp::solveFixedTopExtremumPoint(1e6, 2, 3e6, 3, 2, &c, &d, &w); },
        [&] { dsp::solveFixedTopKnownCornerTwoPoints(1, 2, 3, 2, 1.5, 2, &c, &d); },  // m1 = m2
        [&] { dsp::solveFixedTopKnownCornerTwoPoints(3, 1, 3, 2, 1.5, 2, &c, &d); },  // u1 = u2
        [&] { dsp::solveDcGainFourPoints(3, negA(3), 2, negA(2), 1, negA(1), 0.5, negA(0.5), 0.1, &c, &d, &w, &t); },
        [&] { dsp::solveDcGainFourPoints(1, nan, 2, 0.5, 3, 0.6, 4, 0.7, 0.1, &c, &d, &w, &t); },  // t^2 undefined
        [&] { extremumCase(0.3013233435508916, m(1.0, -1.0, -3.0, -1.0, 0.3)); },  // at its extremum; f < 0
        [&] { extremumCase(0.8672830804675363, m(-0.2, 3.0, 1.0, 1.0, 0.3)); },    // at its extremum; t^2 < 0
        [&] { dsp::solveUnitTopThreePoints(0.0, 1.0, 0.5, 2.0, 0.5, 4.0, 0.5, &c, &d, &w); },  // singular
        [&] { dsp::solveUnitTopExtremumCrossing(0.5, 10.0, 0.25, 5.0, &c, &d, &w); },  // g^2 = mp
        [&] { dsp::solveUnitTopExtremumCrossing(1.5, 10.0, 2.0, 5.0, &c, &d, &w); },   // f < 0
        [&] { dsp::solveUnitTopExtremumCrossing(0.1, 10.0, nan, 5.0, &c, &d, &w); },   // f undefined
        [&] { dsp::solveUnitTopExtremumCrossing(0.1, 10.0, 2.0, 0.0, &c, &d, &w); },   // no crossing
        [&] { dsp::solveUnitTopExtremumCrossing(0.1, 10.0, 1.0, 5.0, &c, &d, &w); },   // extremum at the top level
    };
    for (std::size_t i = 0; i < std::size(throwing); ++i)
        EXPECT_THROW(throwing[i](), dsp::EquationSolutionException) << "case " << i;
    // First order: d = 0, e = 0, R < 0, a^2 < 0; then d = 0, e = 0, c^2 < 0. Nothing is written.
    const std::function<void()> firstOrder[] = {
        [&] { dsp::solveOrder1ThreePoint(0.0, 2.0, 0.5, 2.0, 0.7, &c, &d, &w); },
        [&] { dsp::solveOrder1ThreePoint(0.5, 2.0, 1.0, 1.0, 0.75, &c, &d, &w); },
        [&] { dsp::solveOrder1ThreePoint(0.0, 1.0, 0.5, 2.0, 0.25, &c, &d, &w); },
        [&] { dsp::solveOrder1ThreePoint(0.5, 1.0, 0.25, 4.0, 0.0, &c, &d, &w); },
        [&] { dsp::solveOrder1TwoPoint(2.0, 1.5, 2.0, 1.2, &c, &d, &w); },
        [&] { dsp::solveOrder1TwoPoint(2.0, 1.0, 1.0, 1.0, &c, &d, &w); },
        [&] { dsp::solveOrder1TwoPoint(2.0, 0.5, 1.0, 2.0, &c, &d, &w); },
    };
    c = d = w = 7.0;
    for (std::size_t i = 0; i < std::size(firstOrder); ++i)
        EXPECT_THROW(firstOrder[i](), dsp::EquationSolutionException) << "first order case " << i;
    EXPECT_TRUE(c == 7.0 && d == 7.0 && w == 7.0);
    // Never thrown: a negative f is folded, and the bell's solve has no failure path.
    const auto negativeF = m(1.0, 3.0, 5.0, -4.0, 0.2);
    EXPECT_NO_THROW(dsp::solveDcGainFourPoints(40, negativeF(40), 9, negativeF(9), 3, negativeF(3), 1.5, negativeF(1.5),
                                               0.2, &c, &d, &w, &t));
    EXPECT_NEAR(w, 2.0, 1e-9);
    EXPECT_NO_THROW(dsp::solveFixedTopThreePoints(1, 3, 2, 0.1, 3, 7, 0.5, &c, &d, &w));
    EXPECT_GE(c, 0.0);
    EXPECT_NO_THROW(dsp::solveUnitDcExtremumTwoPoints(1.0, 2.0, 1.0, 2.0, 1.0, 2.0, &c, &d, &w, &t));
    EXPECT_NO_THROW(dsp::solveUnitDcExtremumTwoPoints(nan, -1.0, 0.0, 1.0, -3.0, 0.0, &c, &d, &w, &t));
}
