#include "MatchedDesignSupport.h"
#include "Order2DesignTestSupport.h"

#include "dsp/filter_design/dsp_MatchingFrame.h"
#include "dsp/filter_design/primitives/order2/dsp_Order2LowPass.h"

#include <gtest/gtest.h>

#include <complex>
#include <cstdio>

using dsp::Order2LowPass;
using namespace q38test;

namespace {

// The plain low-pass W^4 / (u^2 + (1/Q^2 - 2) W^2 u + W^4).
double plainLowPass(double inW, double inQ, double inU)
{
    const double W2 = inW * inW;
    return W2 * W2 / (inU * inU + (1.0 / (inQ * inQ) - 2.0) * W2 * inU + W2 * W2);
}

} // namespace

TEST(Order2LowPass, FlatTops)
{
    double digital[6], analog[6];
    // g = 1, or within 1e-10 of it: exactly flat at the output gain.
    const double G = dsp::decibelsToGain(-4.0);
    for (const double top : {1.0, 1.0 - 5e-11}) {
        Order2LowPass::designAnalog({1000, 2, top, -4}, analog);
        for (int i = 0; i < 3; ++i)
            EXPECT_DOUBLE_EQ(analog[i], G * analog[i + 3]);
        Order2LowPass::design({1000, 2, top, -4}, digital, analog, 48000);
        EXPECT_NEAR(dsp::digitalSquaredMagnitudeOrder2(digital, 15000, 48000), G * G, 1e-12);
    }
    // g = 0.995: flat in the digital design only, poles at the prewarped (and limited) corner.
    const double fs = 48000, k = 2 * fs;
    for (const double f : {3000.0, 0.45 * fs}) {
        Order2LowPass::design({f, 2, 0.995, 0}, digital, analog, fs);
        EXPECT_NEAR(dsp::digitalSquaredMagnitudeOrder2(digital, f, fs), 1.0, 1e-12);
        EXPECT_LT(dsp::squaredMagnitudeOrder2(analog, 1e7), 0.9951 * 0.9951);
        const std::complex<double> r = std::sqrt(std::complex<double>(digital[4] * digital[4] - 4 * digital[5]));
        const std::complex<double> p1 = 0.5 * (-digital[4] + r), p2 = 0.5 * (-digital[4] - r);
        const double v = k * std::tan(std::min(2.563539605329271 * fs, dsp::kTwoPi * f) / k);
        EXPECT_NEAR(std::abs(k * (p1 - 1.0) / (p1 + 1.0) * k * (p2 - 1.0) / (p2 + 1.0)), v * v, 1e-6 * v * v);
    }
}

TEST(Order2LowPass, PeakDesignNeedsMoreThanTenHertz)
{
    // Above Q 1.1 the peak design alone shapes the target: its peak is the plain
    // low-pass's peak to the power 1 - g.
    double ratio = 0, crossing = 0, analog[6];
    ASSERT_TRUE(dsp::lowPassPeakRatio(2.0, &ratio) && dsp::lowPassCrossingRatio(2.0, &crossing));
    EXPECT_NEAR(plainLowPass(1, 2, crossing), 1.0, 1e-12);
    for (const double f : {10.5, 9.9}) {
        const double W = dsp::kTwoPi * f, up = ratio * W * W;
        Order2LowPass::designAnalog({f, 2, 0.2, 0}, analog);
        const double expected = std::pow(plainLowPass(W, 2, up), 0.8);
        const double error = std::fabs(dsp::squaredMagnitudeOrder2(analog, std::sqrt(up)) - expected) / expected;
        EXPECT_EQ(error < 1e-9, f > 10) << f << " " << error;
    }
}

TEST(Order2LowPass, ChoosesItsMatchByPeakAndCrossing)
{
    const double fs = 48000;
    double digital[6], analog[6];
    dsp::MatchPoints points{};
    // No peak: straight to the table, first entry 0.4535.
    Order2LowPass::design({1000, 0.7, 0, 0}, digital, analog, fs, &points);
    ASSERT_EQ(points.mCount, 4);
    EXPECT_DOUBLE_EQ(points.mFrequencies[0], dsp::kTwoPi * (0.4535 * fs));
    EXPECT_DOUBLE_EQ(points.mFrequencies[1], dsp::kTwoPi * 1000);
    EXPECT_LT(matchDeviationDb(digital, analog, fs, points), 1e-9);
    // A peak in reach: the peak, then the top at 2.5635 fs.
    Order2LowPass::design({1000, 2, 0, 0}, digital, analog, fs, &points);
    ASSERT_GE(points.mCount, 2);
    EXPECT_NEAR(points.mFrequencies[0], dsp::kTwoPi * 1000 * std::sqrt(1 - 0.5 / 4), 1e-6);
    EXPECT_DOUBLE_EQ(points.mFrequencies[1], 2.563539605329271 * fs);
    EXPECT_LT(matchDeviationDb(digital, analog, fs, points), 1e-9);
    // A peak beyond 3.0788 fs: four points from 3.1322 fs down.
    Order2LowPass::design({26000, 2, 0, 0}, digital, analog, fs, &points);
    ASSERT_EQ(points.mCount, 4);
    EXPECT_DOUBLE_EQ(points.mFrequencies[0], 3.132167875629024 * fs);
}

TEST(Order2LowPass, SoundAtTheModelsRatesAndOverWideRanges)
{
    order2_test::FailedChecks checks;
    double largest = 0, atMatch = 0;
    for (const double fs : {22050.0, 44100.0, 48000.0, 88200.0, 96000.0, 192000.0}) {
        // The model's two fixed low-passes.
        for (const Order2LowPass::Params& p : {Order2LowPass::Params{20383.099609, 1.59107, 0, 0}, {22000, 0.5, 0, 0}}) {
            double digital[6];
            Order2LowPass::design(p, digital, fs);
            EXPECT_TRUE(isSoundSection(digital, 0.0)) << fs << " " << p.mFrequency;
            EXPECT_NEAR(dcGainDb(digital), 0.0, 1e-9);
        }
        for (int fi = 0; fi <= 16; ++fi)
            for (const double q : {0.3, 0.5, 0.7, 0.7081, 0.75, 1.0, 1.59107, 4.0})
                for (const double top : {0.0, 0.05, 0.3, 0.9, 0.995, 1.0}) {
                    const double f = 20 * std::pow(0.6 * fs / 20, fi / 16.0);
                    double digital[6], analog[6];
                    dsp::MatchPoints points{};
                    Order2LowPass::design({f, q, top, 0}, digital, analog, fs, &points);
                    ASSERT_TRUE(isSoundSection(digital, 0.0)) << fs << " " << f << " " << q << " " << top;
                    if (top == 0.0) {
                        atMatch = std::max(atMatch, matchDeviationDb(digital, analog, fs, points));
                        if (f < 0.45 * fs)
                            largest = std::max(largest, largestDeviationDb(digital, analog, fs));
                    }
                }
    }
    EXPECT_TRUE(checks.expressions().empty()) << checks.first();
    EXPECT_LE(atMatch, 0.25);
    RecordProperty("largest_deviation_db", std::to_string(largest));
    RecordProperty("largest_deviation_at_match_db", std::to_string(atMatch));
    std::printf("pure low-passes, largest deviation from the target %.4f dB, at match frequencies %.6f dB\n", largest,
                atMatch);
}

TEST(MatchingFrame, NegativeSquaresTakeTheFloor)
{
    double fromNegative[6], fromFloor[6];
    dsp::prototypeToDigital(1, -4, 1e8, -9, 1e8, 48000, 1, fromNegative);
    dsp::prototypeToDigital(1, 1e-16, 1e8, 1e-16, 1e8, 48000, 1, fromFloor);
    for (int i = 0; i < 6; ++i)
        EXPECT_EQ(fromNegative[i], fromFloor[i]);
}
