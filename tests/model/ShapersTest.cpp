#include "ModelTestSupport.h"

#include "dsp/cells/shapers/dsp_Shapers.h"
#include "dsp/filter_design/dsp_IIRToolsImpl.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

using q38::test::NoticeCatcher;

TEST(ClipLimits, DesignAndInfiniteSides)
{
    dsp::ClipLimits limits{};
    dsp::designClipLimits(limits, -13.0, -13.0, true, true);
    EXPECT_EQ(limits.mUpper, 0.22387211385683395);
    EXPECT_EQ(limits.mLower, -0.22387211385683395);

    dsp::designClipLimits(limits, 6.0, -6.0, false, false);
    EXPECT_EQ(limits.mUpper, std::numeric_limits<double>::infinity());
    EXPECT_EQ(limits.mLower, -std::numeric_limits<double>::infinity());

    dsp::designClipLimits(limits, -8.0, -1.3, true, true);
    const double in[] = {-1.0, -0.3, 0.0, 0.5, 0.9, 2.0};
    double out[6];
    dsp::clip(in, out, 6, limits);
    EXPECT_EQ(out[0], limits.mLower);
    EXPECT_EQ(out[1], -0.3);
    EXPECT_EQ(out[2], 0.0);
    EXPECT_EQ(out[3], 0.5);
    EXPECT_EQ(out[4], limits.mUpper);
    EXPECT_EQ(out[5], limits.mUpper);
}

double shaperSlope(const dsp::SoftKneeShaper& inShaper, double inValue)
{
    const double h = inValue * 1e-7;
    return (dsp::evaluateSoftKneeShaper(inShaper, inValue + h) - dsp::evaluateSoftKneeShaper(inShaper, inValue - h))
           / (2.0 * h);
}

TEST(SoftKneeShaper, KneesOfBothInstances)
{
    dsp::SoftKneeShaper amplifier{};
    dsp::designSoftKneeShaper(amplifier, -55.428799, 0.035712, 0.136578, 0.0, 0.0);
    EXPECT_NEAR(amplifier.mOffset / (1.0 - 0.035712), 0.0016926222675352487, 1e-15);
    EXPECT_NEAR(amplifier.mKneeLow, 0.0014614473, 5e-11);
    EXPECT_NEAR(amplifier.mKneeHigh, 0.0019237972, 5e-11);

    dsp::SoftKneeShaper output{};
    dsp::designSoftKneeShaper(output, -60.0, 0.85, 0.89, 0.0, 0.0);
    EXPECT_NEAR(output.mKneeLow, 0.00011, 1e-15);
    EXPECT_NEAR(output.mKneeHigh, 0.00189, 1e-15);
}

TEST(SoftKneeShaper, ContinuousOddAndTransparentBelowTheKnee)
{
    dsp::SoftKneeShaper shaper{};
    dsp::designSoftKneeShaper(shaper, -55.428799, 0.035712, 0.136578, 0.0, 0.0);
    EXPECT_EQ(dsp::evaluateSoftKneeShaper(shaper, 0.0), 0.0);
    EXPECT_EQ(dsp::evaluateSoftKneeShaper(shaper, 0.001), 0.001);

    // Value and slope meet at both ends of the knee.
    for (const double edge : {shaper.mKneeLow, shaper.mKneeHigh}) {
        const double below = dsp::evaluateSoftKneeShaper(shaper, edge * (1.0 - 1e-12));
        const double above = dsp::evaluateSoftKneeShaper(shaper, edge * (1.0 + 1e-12));
        EXPECT_NEAR(below, above, 1e-14);
        EXPECT_NEAR(shaperSlope(shaper, edge * (1.0 - 1e-5)), shaperSlope(shaper, edge * (1.0 + 1e-5)), 1e-3);
    }
    EXPECT_NEAR(shaperSlope(shaper, 0.01), 0.035712, 1e-9);

    for (const double v : {1e-5, 0.0015, 0.0017, 0.0019, 0.002, 0.1, 3.0}) {
        EXPECT_EQ(dsp::evaluateSoftKneeShaper(shaper, -v), -dsp::evaluateSoftKneeShaper(shaper, v)) << v;
        EXPECT_EQ(dsp::evaluateSoftKneeShaperUnity(shaper, v), dsp::evaluateSoftKneeShaper(shaper, v)) << v;
    }
}

TEST(SoftKneeShaper, WideKneeAndEmptyKnee)
{
    dsp::SoftKneeShaper shaper{};
    dsp::designSoftKneeShaper(shaper, -20.0, 0.5, 1.5, 0.0, 0.0);
    EXPECT_EQ(shaper.mKneeLow, 0.0);
    // Held at 0 below, the knee stays symmetrical around the threshold.
    EXPECT_EQ(shaper.mKneeHigh, 2.0 * dsp::decibelsToGain(-20.0));

    NoticeCatcher catcher;
    dsp::designSoftKneeShaper(shaper, -20.0, 0.5, 0.0, 0.0, 0.0);
    ASSERT_EQ(catcher.mReports.size(), 1u);
    EXPECT_NE(catcher.mReports[0].find("Assertion '"), std::string::npos);
    EXPECT_NE(catcher.mReports[0].find("dsp_Shapers.cpp"), std::string::npos);
}

TEST(RationalTanhShaper, OutputInstance)
{
    dsp::RationalTanhShaper shaper{};
    dsp::designRationalTanhShaper(shaper, 1.535714, 0.0, 0.0);
    EXPECT_NEAR(shaper.mCubic, 1.0 / 9.0, 1e-16);
    EXPECT_NEAR(shaper.mLinear, 1.2720394, 5e-8);
    EXPECT_NEAR(shaper.mDenominator, 1.2720394, 5e-8);
    EXPECT_NEAR(shaper.mLimit, 0.6511629, 5e-8);

    // Unity gain for small signals; the ceiling is reached at 3 / curvature and held beyond.
    EXPECT_NEAR(dsp::evaluateRationalTanhShaper(shaper, 1e-6), 1e-6, 1e-16);
    const double knee = 3.0 / 1.535714;
    EXPECT_NEAR(knee, 1.9534887, 5e-8);
    EXPECT_NEAR(dsp::evaluateRationalTanhShaper(shaper, knee), shaper.mLimit, 1e-15);
    EXPECT_EQ(dsp::evaluateRationalTanhShaper(shaper, 2.5), shaper.mLimit);
    EXPECT_EQ(dsp::evaluateRationalTanhShaper(shaper, 1e6), shaper.mLimit);
    EXPECT_LT(dsp::evaluateRationalTanhShaper(shaper, 1.9), shaper.mLimit);

    const double in[] = {0.01, 0.3, 1.0, 1.9, 4.0};
    double positive[5];
    double negative[5];
    const double minus[] = {-0.01, -0.3, -1.0, -1.9, -4.0};
    dsp::processRationalTanhShaper(in, positive, 5, shaper);
    dsp::processRationalTanhShaper(minus, negative, 5, shaper);
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(negative[i], -positive[i]);
        EXPECT_LE(positive[i], std::tanh(1.535714 * in[i]) / 1.535714 + 0.02);
        EXPECT_GE(positive[i], std::tanh(1.535714 * in[i]) / 1.535714 - 0.02);
    }
}

TEST(OnePoleCoefficient, EnvelopeAt44100)
{
    EXPECT_EQ(dsp::onePoleCoefficient(45.222214, 44100.0), 0.000501303469433223);
}

} // namespace
