#include "dsp/filter_design/primitives/order2/dsp_Order2HighPass.h"
#include "dsp/filter_design/primitives/order2/dsp_Order2HighPassNaive.h"

#include "Order2DesignTestSupport.h"
#include "dsp/filter_design/dsp_IIRToolsImpl.h"
#include "dsp/filter_design/dsp_MatchingFrame.h"
#include "dsp/filter_design/dsp_MatchingSolvers.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

namespace {

using order2_test::FailedChecks;
using order2_test::kTwoPi;
using Texts = std::vector<std::string>;

struct Section
{
    double mDigital[6], mAnalog[6];
    double mFs;

    // Powers at a frequency in rad/s.
    double digital(double inW) const { return dsp::digitalSquaredMagnitudeOrder2(mDigital, inW / kTwoPi, mFs); }
    double target(double inW) const { return dsp::squaredMagnitudeOrder2(mAnalog, inW); }
    void expectMatchedAt(double inW, double inTolerance) const
    {
        EXPECT_NEAR(digital(inW), target(inW), inTolerance * target(inW)) << "at " << inW;
    }
    bool sameDigital(const Section& inOther) const { return std::equal(mDigital, mDigital + 6, inOther.mDigital); }
};

Section highPass(double inHz, double inQ, double inDcGain, double inFs, double inGainDb = 0.0)
{
    Section s;
    s.mFs = inFs;
    dsp::Order2HighPass::design({inHz, inQ, inDcGain, inGainDb}, s.mDigital, s.mAnalog, inFs);
    return s;
}

Section naive(double inHz, double inQ, double inFs, double inGainDb = 0.0)
{
    Section s;
    s.mFs = inFs;
    dsp::Order2HighPassNaive::design({inHz, inQ, inGainDb}, s.mDigital, s.mAnalog, inFs);
    return s;
}

// The plain high-pass magnitude lifted to the floor g in amplitude.
double envelope(double inU, double inW, double inQ, double inG)
{
    const double WSq = inW * inW;
    const double plain = inU * inU / (inU * inU + (1.0 / (inQ * inQ) - 2.0) * WSq * inU + WSq * WSq);
    return std::pow(std::sqrt(plain) * (1.0 - inG) + inG, 2.0);
}

TEST(Order2HighPassDesign, FlatCases)
{
    FailedChecks checks;
    const double G = dsp::decibelsToGain(6.0);
    const Section unit = highPass(1000.0, 0.707, 1.0, 48000.0, 6.0);
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(unit.mAnalog[i], unit.mAnalog[i + 3] * G) << i;
    for (double w : {60.0, 6000.0, 90000.0, 144000.0})
        EXPECT_NEAR(unit.digital(w), G * G, 1e-12) << w;
    EXPECT_EQ(checks.first(), "");

    // (1 - g, corner in Hz): flat just above the corner, shaped just below.
    for (const auto& [r, corner] : {std::pair{0.9e-6, 20000.0}, std::pair{0.009, 40000.0}, std::pair{0.09, 60000.0}})
        for (double f : {corner * 0.999, corner * 1.001}) {
            double analog[6];
            dsp::Order2HighPass::designAnalog({f, 0.707, 1.0 - r, 0.0}, analog);
            const double W = kTwoPi * f;
            EXPECT_EQ(analog[5] == W * W && analog[1] == analog[4], f > corner) << r << " " << f;
        }
}

TEST(Order2HighPassDesign, NoMatchingFromDcGain098)
{
    const double fs = 48000.0, E = 2.84 * fs, G = dsp::decibelsToGain(-4.0);
    const Section direct = highPass(3000.0, 0.707, 0.98, fs, -4.0);
    double target[6], plain[6];
    dsp::Order2HighPass::designAnalog({3000.0, 0.707, 0.98, 0.0}, target);
    dsp::bilinearOrder2(target[0], target[1], target[2], 1.0, target[4], target[5], 2.0 * fs, plain);
    for (int i = 0; i < 6; ++i)
        EXPECT_NEAR(direct.mDigital[i], plain[i] * (i < 3 ? G : 1.0), 1e-13) << i;
    EXPECT_GT(std::fabs(direct.digital(E) / direct.target(E) - 1.0), 1e-6);
    // Just below, the four-point match holds the target at the band's top.
    highPass(3000.0, 0.707, 0.9799, fs, -4.0).expectMatchedAt(E, 1e-9);
}

TEST(Order2HighPassDesign, ButterworthAt100HzTakesThreeAndFourPoints)
{
    FailedChecks checks;
    const double fs = 48000.0, W = kTwoPi * 100.0;
    const Section s = highPass(100.0, 0.707, 0.0, fs);
    // The envelope's three points; with g = 0 that is the textbook section.
    for (double u : {4.0 * W * W, W * W, 1e-6 * W * W})
        EXPECT_NEAR(s.target(std::sqrt(u)), envelope(u, W, 0.707, 0.0), 1e-9 * envelope(u, W, 0.707, 0.0));
    EXPECT_NEAR(s.mAnalog[4], W / 0.707, 1e-6 * W);
    // The general four points; near the double zero at z = 1 evaluating the response costs digits.
    for (double w : {2.84 * fs, W * std::sqrt(0.1), 0.1 * W})
        s.expectMatchedAt(w, 1e-7);
    s.expectMatchedAt(0.0005 * W, 1e-4);
    EXPECT_EQ(checks.first(), "");
}

TEST(Order2HighPassDesign, AnalogShapeByQ)
{
    const double W = kTwoPi * 700.0, g = 0.2;
    // Q 0.72 blends the three-point and the extremum solve with a weight of 0.033.
    const double weight = (0.72 - 0.707) * 2.544529262086513, q = 1.0 / (0.72 * 0.72);
    EXPECT_NEAR(weight, 0.033, 1e-4);
    const double u1 = 4.0 * W * W, u2 = W * W, u3 = (g + 0.001) * (g + 0.001) * W * W;
    double cSq3, dSq3, w3, cSqE, dSqE, wE, analog[6];
    dsp::solveUnitTopThreePoints(g, u1, envelope(u1, W, 0.72, g), u2, envelope(u2, W, 0.72, g), u3,
                                 envelope(u3, W, 0.72, g), &cSq3, &dSq3, &w3);
    dsp::solveUnitTopExtremumCrossing(g, 2.0 * W * W / (2.0 - q), std::pow(4.0 / (q * (4.0 - q)), 1.0 - g),
                                      W * W / (2.0 - q), &cSqE, &dSqE, &wE);
    dsp::Order2HighPass::designAnalog({700.0, 0.72, g, 0.0}, analog);
    EXPECT_NEAR(analog[5], (1.0 - weight) * w3 + weight * wE, 1e-12 * analog[5]);
    EXPECT_NEAR(analog[4] * analog[4], (1.0 - weight) * dSq3 + weight * dSqE, 1e-9 * dSq3);
    EXPECT_GT(std::fabs(analog[5] - w3), 1e-6 * w3);

    // From Q 1.1 on: the plain high-pass's peak, its power raised to 1 - g, and its crossing of unity.
    for (double Q : {1.1, 2.0, 5.0}) {
        const double qq = 1.0 / (Q * Q), wp = W * std::sqrt(2.0 / (2.0 - qq));
        const double mp = std::pow(4.0 / (qq * (4.0 - qq)), 1.0 - g);
        dsp::Order2HighPass::designAnalog({700.0, Q, g, 0.0}, analog);
        auto power = [&](double w) { return dsp::squaredMagnitudeOrder2(analog, w); };
        EXPECT_NEAR(power(wp), mp, 1e-9 * mp) << Q;
        const double h = 1e-4 * wp;
        EXPECT_NEAR(order2_test::vertexOffset(power(wp - h), power(wp), power(wp + h), h), 0.0, 1e-6 * wp) << Q;
        EXPECT_NEAR(power(W / std::sqrt(2.0 - qq)), 1.0, 1e-9) << Q;
    }
}

TEST(Order2HighPassDesign, ResonantCornerFollowsThePeak)
{
    FailedChecks checks;
    const double fs = 48000.0;
    const Section s = highPass(1000.0, 2.0, 0.1, fs, 3.0);
    double wp = 0.0;
    ASSERT_TRUE(dsp::powerResponseExtremum(dsp::powerResponseOf(s.mAnalog), &wp));
    for (double w : {wp, 0.005 * wp, 2.84 * fs})
        s.expectMatchedAt(w, 1e-8);
    const double h = 1e-4 * wp;
    EXPECT_LT(std::fabs(order2_test::vertexOffset(s.digital(wp - h), s.digital(wp), s.digital(wp + h), h)), 1e-6 * wp);
    EXPECT_EQ(checks.first(), "");
}

TEST(Order2HighPassDesign, CornersAboveNyquist)
{
    const double fs = 48000.0;
    for (double f : {26000.0, 50000.0, 96000.0})
        for (double Q : {0.5, 0.707, 2.0})
            for (double g : {0.0, 0.5}) {
                FailedChecks checks;
                const Section s = highPass(f, Q, g, fs);
                EXPECT_EQ(checks.first(), "") << f << " " << Q << " " << g;
                EXPECT_FALSE(s.sameDigital(naive(f, Q, fs)));
            }
    FailedChecks checks;
    highPass(96001.0, 0.707, 0.0, fs);
    EXPECT_EQ(checks.first(), "inParams.mFrequency <= 2 * inSampleRate");
    // The plain design reports the same corner, and its tangent turns the poles outside.
    FailedChecks plainChecks;
    naive(30000.0, 0.707, fs);
    EXPECT_EQ(plainChecks.expressions(),
              (Texts{"inParams.mFrequency < 0.5 * inSampleRate", "DigitalIIRTools<2>::isStable(outCoefficients)"}));
}

TEST(Order2HighPassDesign, UnsolvableTargetEndsInThePlainDesign)
{
    const double fs = 48000.0, nan = std::nan("");
    {
        // The analog design falls back to the plain form; its peak takes the peak path, whose failure is told.
        FailedChecks checks;
        EXPECT_TRUE(highPass(1000.0, 2.0, nan, fs, 3.0).sameDigital(naive(1000.0, 2.0, fs, 3.0)));
        EXPECT_EQ(checks.expressions(), Texts{"false"});
    }
    {
        // At a low Q the four-point path fails silently; only the target's own check speaks.
        FailedChecks checks;
        EXPECT_TRUE(highPass(1000.0, 0.6, nan, fs, 3.0).sameDigital(naive(1000.0, 0.6, fs, 3.0)));
        EXPECT_EQ(checks.expressions(), Texts{"dsp::checkBuffer(outAnalogCoefficients, kNumAnalogCoefficients)"});
    }
}

TEST(Order2HighPassDesign, SweepIsFiniteStableAndMinimumPhase)
{
    FailedChecks checks;
    for (double fs : {44100.0, 48000.0, 96000.0, 192000.0})
        for (double f = 10.0; f <= 2.0 * fs; f *= 1.25)
            for (double Q = 0.5; Q <= 5.0; Q *= 1.2)
                for (double g : {0.0, 0.001, 0.05, 0.3, 0.7, 0.95, 0.979, 0.99}) {
                    Section s;
                    ASSERT_NO_THROW(s = highPass(f, Q, g, fs));
                    const std::string where = std::to_string(fs) + " " + std::to_string(f) + " " +
                                              std::to_string(Q) + " " + std::to_string(g);
                    ASSERT_TRUE(dsp::checkBuffer(s.mDigital, 6)) << where;
                    ASSERT_TRUE(dsp::DigitalIIRTools<2>::isStable(s.mDigital)) << where;
                    ASSERT_TRUE(dsp::DigitalIIRTools<2>::isAlmostMinimumPhase(s.mDigital, 1.e-7)) << where;
                }
    EXPECT_EQ(checks.first(), "");
}

TEST(Order2HighPassNaiveDesign, PrewarpedTextbookSection)
{
    FailedChecks checks;
    const double fs = 44100.0, f = 5000.0, Q = 1.3, G = dsp::decibelsToGain(2.0), W = kTwoPi * f;
    const Section s = naive(f, Q, fs, 2.0);
    // Both zeros at z = 1, and the gain Q G at the corner itself.
    EXPECT_DOUBLE_EQ(s.mDigital[2], s.mDigital[0]);
    EXPECT_DOUBLE_EQ(s.mDigital[1], -2.0 * s.mDigital[0]);
    EXPECT_NEAR(s.digital(W), Q * Q * G * G, 1e-10);
    const double expected[6] = {G / (W * W), 0.0, 0.0, 1.0 / (W * W), 1.0 / (W * Q), 1.0};
    for (int i = 0; i < 6; ++i)
        EXPECT_NEAR(s.mAnalog[i], expected[i], 1e-14 * expected[i]) << i;
    EXPECT_EQ(checks.first(), "");
}

TEST(Order2HighPassReflection, KeepsTheMagnitudeAndMovesRootsInside)
{
    // Zeros at 2 and 0.25, poles at radius 1.25.
    double section[6] = {1.0, -2.25, 0.5, 1.0, -2.5 * std::cos(1.0), 1.5625};
    const double copy[6] = {1.0, -2.25, 0.5, 1.0, -2.5 * std::cos(1.0), 1.5625};
    EXPECT_TRUE(dsp::reflectRootsIntoUnitCircle(section));
    EXPECT_TRUE(dsp::DigitalIIRTools<2>::isStable(section));
    EXPECT_TRUE(dsp::DigitalIIRTools<2>::isMinimumPhase(section));
    for (double f : {300.0, 5000.0, 20000.0}) {
        const double before = dsp::digitalSquaredMagnitudeOrder2(copy, f, 48000.0);
        EXPECT_NEAR(dsp::digitalSquaredMagnitudeOrder2(section, f, 48000.0), before, 1e-12 * before);
    }
    // A section already inside stays bit for bit.
    EXPECT_FALSE(dsp::reflectRootsIntoUnitCircle(section));
}

} // namespace
