#include "MatchedDesignSupport.h"
#include "Order2DesignTestSupport.h"
#include "SecondOrderPrototype.h"

#include "dsp/filter_design/primitives/order2/dsp_HighShelf2Q.h"
#include "dsp/filter_design/primitives/order2/dsp_LowShelf2.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <limits>

using dsp::HighShelf2Q;
using namespace q38test;

namespace {

HighShelf2Q::Params shelf(double inFrequency, double inQ, double inHeightDb, int inMode = 1, double inGainDb = 0.0)
{
    return HighShelf2Q::Params{inFrequency, inQ, inQ, inHeightDb, inMode, inGainDb};
}

// The plain shelf (g s^2 + sqrt(g) (Wc/Q) s + Wc^2) / (s^2 + (Wc/Q) s + Wc^2), Wc = W (boost) or sqrt(g) W.
SecondOrderPrototype plainShelf(double inW, double inQ, double inG)
{
    const double wc = inG >= 1 ? inW : std::sqrt(inG) * inW;
    return {inG, std::sqrt(inG) * wc / inQ, wc * wc, wc / inQ, wc * wc};
}

} // namespace

TEST(HighShelf2Q, EachSideFollowsItsOwnQ)
{
    const double W = dsp::kTwoPi * 1000;
    double analog[6], uA = 0, uB = 0;
    for (const double height : {9.0, -9.0}) {
        // Broad sides: the target meets each plain shelf far out on its own side.
        const double g = dsp::decibelsToGain(height), h2 = g * g * g * g;
        HighShelf2Q::designAnalog({1000, 0.3, 0.6, height, 1, 0}, analog, &uA, &uB);
        const double low = std::fmin(W / h2, W * h2), high = std::fmax(W / h2, W * h2);
        EXPECT_NEAR(dsp::squaredMagnitudeOrder2(analog, low), plainShelf(W, 0.3, g).power(low * low), 1e-9);
        EXPECT_NEAR(dsp::squaredMagnitudeOrder2(analog, high), plainShelf(W, 0.6, g).power(high * high), 1e-9 * g * g);
        // Resonant sides: the sharper extremum where its plain shelf has it, the other at its plain height.
        HighShelf2Q::designAnalog({1000, 1.0, 3.0, height, 1, 0}, analog, &uA, &uB);
        double lowExtremum = 0, highExtremum = 0, unused = 0;
        plainShelf(W, 3.0, g).extrema(&unused, &highExtremum);
        plainShelf(W, 1.0, g).extrema(&lowExtremum, &unused);
        EXPECT_NEAR(uB, highExtremum, 1e-9 * uB);
        EXPECT_NEAR(dsp::squaredMagnitudeOrder2(analog, std::sqrt(uB)),
                    plainShelf(W, 3.0, g).power(highExtremum), 1e-9);
        EXPECT_NEAR(dsp::squaredMagnitudeOrder2(analog, std::sqrt(uA)),
                    plainShelf(W, 1.0, g).power(lowExtremum), 1e-9);
    }
}

TEST(HighShelf2Q, HeightEdges)
{
    double a[6], b[6], analogA[6], analogB[6], uA = -1, uB = -1;
    // 30 dB acts as 24 (the match works on the frequency as given).
    for (const double sign : {1.0, -1.0}) {
        HighShelf2Q::designMatched(shelf(1000, 0.5, sign * 24), a, analogA, 48000);
        HighShelf2Q::designMatched(shelf(1000, 0.5, sign * 30), b, analogB, 48000);
        for (int i = 0; i < 6; ++i)
            EXPECT_TRUE(a[i] == b[i] && analogA[i] == analogB[i]) << i;
    }
    // Under 1e-05 dB: flat at the output gain, no extrema.
    const double G = dsp::decibelsToGain(3.0);
    for (const double height : {9.9e-06, -9.9e-06, 0.0}) {
        HighShelf2Q::designAnalog(shelf(1000, 2, height, 1, 3), analogA, &uA, &uB);
        EXPECT_TRUE(uA == 0.0 && uB == 0.0);
        for (int i = 0; i < 3; ++i)
            EXPECT_DOUBLE_EQ(analogA[i], G * analogA[i + 3]);
        HighShelf2Q::design(shelf(1000, 2, height, 1, 3), a, 48000);
        for (const double f : {20.0, 1000.0, 23000.0})
            EXPECT_NEAR(dsp::digitalSquaredMagnitudeOrder2(a, f, 48000), G * G, 1e-12);
    }
    // At 0.001 fs: the plain transform of the target.
    dsp::MatchPoints points{};
    HighShelf2Q::designMatched(shelf(48, 0.5, -12), a, analogA, 48000, &points);
    EXPECT_EQ(points.mCount, 0);
    dsp::bilinearOrder2(analogA[0], analogA[1], analogA[2], analogA[3], analogA[4], analogA[5], 96000, b);
    for (int i = 0; i < 6; ++i)
        EXPECT_DOUBLE_EQ(a[i], b[i]);
}

TEST(HighShelf2Q, ResonanceChoosesTheTwoPointOrTheTwoExtremaSolve)
{
    double digital[6], analog[6], uA = -1, uB = -1;
    dsp::MatchPoints points{};
    // Q 0.7: no extrema, the plain corner kept, four match points.
    HighShelf2Q::designAnalog(shelf(1000, 0.7, 6), analog, &uA, &uB);
    EXPECT_TRUE(uA == 0.0 && uB == 0.0);
    EXPECT_DOUBLE_EQ(analog[5], dsp::kTwoPi * 1000 * dsp::kTwoPi * 1000);
    HighShelf2Q::designMatched(shelf(1000, 0.7, 6), digital, analog, 48000, &points);
    EXPECT_EQ(points.mCount, 4);
    // Q 0.8: a dip and a peak of the target, matched as they are.
    HighShelf2Q::designAnalog(shelf(1000, 0.8, 6), analog, &uA, &uB);
    ASSERT_TRUE(uA > 0.0 && uB > uA);
    for (const double u : {uA, uB}) {
        const double w = std::sqrt(u), here = dsp::squaredMagnitudeOrder2(analog, w);
        EXPECT_GT((here - dsp::squaredMagnitudeOrder2(analog, 0.999 * w)) *
                      (here - dsp::squaredMagnitudeOrder2(analog, 1.001 * w)),
                  0.0);
    }
    HighShelf2Q::designMatched(shelf(1000, 0.8, 6), digital, analog, 48000, &points);
    ASSERT_EQ(points.mCount, 2);
    EXPECT_DOUBLE_EQ(points.mFrequencies[1], std::sqrt(uB));
    EXPECT_LT(matchDeviationDb(digital, analog, 48000, points), 1e-9);
}

TEST(HighShelf2Q, ModeOneNamesTheMiddleOfTheShelf)
{
    double digital[6], analog[6];
    // Mode 1: the plain shelf passes half its height at the named frequency, whatever its Q.
    for (const double q : {0.3, 0.7, 2.0})
        for (const double height : {9.0, -9.0}) {
            HighShelf2Q::design(shelf(2000, q, height), digital, analog, 48000);
            EXPECT_NEAR(10 * std::log10(dsp::squaredMagnitudeOrder2(analog, dsp::kTwoPi * 2000)), height / 2, 1e-9);
        }
}

TEST(LowShelf2, OutputPlusHeightAtDcAndOutputAtTheTop)
{
    for (const double height : {7.0, -7.0}) {
        double c[6];
        dsp::LowShelf2::design(shelf(150, 0.4, height, 1, -2), c, 48000);
        EXPECT_NEAR(dcGainDb(c), height - 2, 1e-9);
        EXPECT_NEAR(20 * std::log10(std::fabs((c[0] - c[1] + c[2]) / (c[3] - c[4] + c[5]))), -2, 0.01);
    }
}

TEST(HighShelf2Q, HostileInputsNeverThrow)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const HighShelf2Q::Params cases[] = {{0, 0.5, 0.5, 6, 1, 0},    {-100, 0.5, 0.5, 6, 1, 0}, {1000, 0, 0, 6, 1, 0},
                                         {1000, 1e6, 1e6, 6, 1, 0}, {1000, 0.76, 40, 0.01, 1, 0}, {96000, 4, 4, 24, 0, 0},
                                         {1000, 0.5, 0.5, nan, 1, 0}, {nan, 0.8, 0.8, 6, 1, 0}};
    order2_test::FailedChecks checks;
    double digital[6];
    for (const HighShelf2Q::Params& params : cases) {
        EXPECT_NO_THROW(HighShelf2Q::design(params, digital, 48000));
        EXPECT_NO_THROW(dsp::LowShelf2::design(params, digital, 48000));
    }
}

// Every shelf is sound, meets its target where it matched, and its largest
// deviation from the target is reported. Tone ranges, then far beyond them.
TEST(ShelfSweep, SoundAndOnTargetOverToneAndWideRanges)
{
    order2_test::FailedChecks checks;
    const double qs[] = {0.3, 0.5, 0.7, 0.8, 1.0, 2.0, 4.0};
    double toneLargest = 0, wideLargest = 0, atMatch = 0;
    for (const double fs : {44100.0, 48000.0, 96000.0, 192000.0}) {
        auto check = [&](const HighShelf2Q::Params& p, double& largest) {
            double digital[6], analog[6];
            dsp::MatchPoints points{};
            HighShelf2Q::design(p, digital, analog, fs, &points);
            ASSERT_TRUE(isSoundSection(digital, 1e-8)) << fs << " " << p.mFrequency << " " << p.mShelfGainDb;
            const double deviation = matchDeviationDb(digital, analog, fs, points);
            EXPECT_LE(deviation, 0.1) << fs << " " << p.mFrequency << " " << p.mQLow << " " << p.mQHigh;
            atMatch = std::max(atMatch, deviation);
            largest = std::max(largest, largestDeviationDb(digital, analog, fs));
        };
        for (int fi = 0; fi <= 8; ++fi)
            for (const double q : {0.2, 0.3, 0.4, 0.5})
                for (double height = -10; height <= 10; height += 2.5) {
                    const double f = 80 * std::pow(6500 / 80.0, fi / 8.0);
                    check(shelf(f, q, height), toneLargest);
                    double low[6];
                    dsp::LowShelf2::design(shelf(f, q, height), low, fs);
                    ASSERT_TRUE(isSoundSection(low, 1e-8));
                    EXPECT_NEAR(dcGainDb(low), height, 1e-8);
                }
        for (int fi = 0; fi <= 9; ++fi)
            for (const double qLow : qs)
                for (const double qHigh : qs)
                    for (const double height : {-24.0, -12.0, -3.0, -0.5, 0.5, 3.0, 12.0, 24.0})
                        for (const int mode : {0, 1})
                            check({20 * std::pow(0.45 * fs / 20, fi / 9.0), qLow, qHigh, height, mode, 0}, wideLargest);
    }
    EXPECT_TRUE(checks.expressions().empty()) << checks.first();
    RecordProperty("tone_largest_deviation_db", std::to_string(toneLargest));
    RecordProperty("wide_largest_deviation_db", std::to_string(wideLargest));
    RecordProperty("largest_deviation_at_match_db", std::to_string(atMatch));
    std::printf("shelves, largest deviation from the target: tone ranges %.4f dB, wide ranges %.4f dB, "
                "at match frequencies %.6f dB\n",
                toneLargest, wideLargest, atMatch);
}
