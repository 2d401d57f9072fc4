#include "MatchedDesignSupport.h"

#include "dsp/filter_design/dsp_IIRToolsImpl.h"
#include "dsp/filter_design/primitives/order2/dsp_HighShelf2Q.h"
#include "dsp/filter_design/primitives/order2/dsp_LowShelf2.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <limits>
#include <string>

using dsp::HighShelf2Q;
using dsp::LowShelf2;
using q38test::NoticeCapture;

namespace {

HighShelf2Q::Params shelf(double inFrequency, double inQ, double inShelfGainDb, int inMode = 1, double inGainDb = 0.0)
{
    return HighShelf2Q::Params{inFrequency, inQ, inQ, inShelfGainDb, inMode, inGainDb};
}

// Gain in dB of a digital section at DC and at Nyquist.
double dcGainDb(const double* c)
{
    return 20.0 * std::log10(std::fabs((c[0] + c[1] + c[2]) / (c[3] + c[4] + c[5])));
}

double nyquistGainDb(const double* c)
{
    return 20.0 * std::log10(std::fabs((c[0] - c[1] + c[2]) / (c[3] - c[4] + c[5])));
}

constexpr double kSampleRates[] = {44100.0, 48000.0, 96000.0, 192000.0};

} // namespace

TEST(HighShelf2Q, HeightAbove24DbActsAs24Db)
{
    for (const double sign : {1.0, -1.0}) {
        double limited[6], limitedAnalog[6], beyond[6], beyondAnalog[6];
        HighShelf2Q::designMatched(shelf(1000.0, 0.5, sign * 24.0), limited, limitedAnalog, 48000.0);
        HighShelf2Q::designMatched(shelf(1000.0, 0.5, sign * 30.0), beyond, beyondAnalog, 48000.0);
        for (int i = 0; i < 6; ++i) {
            EXPECT_EQ(beyond[i], limited[i]) << i;
            EXPECT_EQ(beyondAnalog[i], limitedAnalog[i]) << i;
        }
    }
}

TEST(HighShelf2Q, HeightBelowOneHundredThousandthDbIsFlat)
{
    const double G = dsp::decibelsToGain(3.0);
    for (const double height : {9.9e-06, -9.9e-06, 0.0}) {
        double analog[6], extremumA = -1.0, extremumB = -1.0;
        HighShelf2Q::designAnalog(shelf(1000.0, 2.0, height, 1, 3.0), analog, &extremumA, &extremumB);
        EXPECT_EQ(extremumA, 0.0);
        EXPECT_EQ(extremumB, 0.0);
        for (int i = 0; i < 3; ++i)
            EXPECT_DOUBLE_EQ(analog[i], G * analog[i + 3]) << i;

        double digital[6];
        HighShelf2Q::design(shelf(1000.0, 2.0, height, 1, 3.0), digital, 48000.0);
        for (const double frequency : {20.0, 1000.0, 12000.0, 23000.0})
            EXPECT_NEAR(dsp::digitalSquaredMagnitudeOrder2(digital, frequency, 48000.0), G * G, 1e-12);
    }
}

TEST(HighShelf2Q, ResonanceChoosesTheTwoPointOrTheTwoExtremaSolve)
{
    const double fs = 48000.0, f = 1000.0, W = dsp::kTwoPi * f;
    // Q 0.7: the target keeps the plain corner, has no extrema, and is matched at four points.
    double analog[6], uA = -1.0, uB = -1.0;
    HighShelf2Q::designAnalog(shelf(f, 0.7, 6.0), analog, &uA, &uB);
    EXPECT_EQ(uA, 0.0);
    EXPECT_EQ(uB, 0.0);
    EXPECT_DOUBLE_EQ(analog[5], W * W);
    double digital[6];
    dsp::MatchPoints points{};
    HighShelf2Q::designMatched(shelf(f, 0.7, 6.0), digital, analog, fs, &points);
    EXPECT_EQ(points.mCount, 4);

    // Q 0.8: a dip and a peak, both matched as extrema.
    HighShelf2Q::designAnalog(shelf(f, 0.8, 6.0), analog, &uA, &uB);
    ASSERT_GT(uA, 0.0);
    ASSERT_GT(uB, uA);
    for (const double u : {uA, uB}) {
        const double w = std::sqrt(u);
        const double here = dsp::squaredMagnitudeOrder2(analog, w);
        const double below = dsp::squaredMagnitudeOrder2(analog, w * 0.999);
        const double above = dsp::squaredMagnitudeOrder2(analog, w * 1.001);
        // Both neighbours on the same side.
        EXPECT_GT((here - below) * (here - above), 0.0) << "not an extremum at " << w;
    }
    HighShelf2Q::designMatched(shelf(f, 0.8, 6.0), digital, analog, fs, &points);
    ASSERT_EQ(points.mCount, 2);
    EXPECT_DOUBLE_EQ(points.mFrequencies[0], std::sqrt(uA));
    EXPECT_DOUBLE_EQ(points.mFrequencies[1], std::sqrt(uB));
    EXPECT_LT(q38test::matchDeviationDb(digital, analog, fs, points), 1e-9);
}

TEST(HighShelf2Q, ShelfAtAThousandthOfTheSampleRateIsThePlainTransform)
{
    const double fs = 48000.0;
    for (const double height : {12.0, -12.0}) {
        double digital[6], analog[6];
        dsp::MatchPoints points{};
        HighShelf2Q::designMatched(shelf(0.001 * fs, 0.5, height), digital, analog, fs, &points);
        EXPECT_EQ(points.mCount, 0);
        double plain[6];
        dsp::bilinearOrder2(analog[0], analog[1], analog[2], analog[3], analog[4], analog[5], 2.0 * fs, plain);
        for (int i = 0; i < 6; ++i)
            EXPECT_DOUBLE_EQ(digital[i], plain[i]) << i;
    }
}

TEST(HighShelf2Q, ModeOneNamesTheMiddleOfTheShelf)
{
    // The plain shelf passes half its height in dB at the geometric middle of its transition.
    for (const double q : {0.3, 0.7, 2.0}) {
        for (const double height : {9.0, -9.0}) {
            double digital[6], analog[6];
            HighShelf2Q::design(shelf(2000.0, q, height), digital, analog, 48000.0);
            const double middle = q38test::powerDb(dsp::squaredMagnitudeOrder2(analog, dsp::kTwoPi * 2000.0));
            EXPECT_NEAR(middle, 0.5 * height, 1e-9) << q;
            EXPECT_NEAR(q38test::powerDb(dsp::squaredMagnitudeOrder2(analog, 1.0e9)), height, 1e-6);
        }
    }
}

TEST(HighShelf2Q, UnknownModeReportsAndKeepsTheFrequency)
{
    double digital[6], analog[6], asGiven[6], asGivenAnalog[6];
    {
        NoticeCapture capture;
        HighShelf2Q::design(shelf(2000.0, 0.5, 6.0, 2), digital, analog, 48000.0);
        ASSERT_EQ(capture.reports().size(), 1u);
        EXPECT_EQ(capture.reports()[0].rfind("Generic assertion failed in file "
                                              "'src/libraries/dsp/filter_design/primitives/order2/dsp_HighShelf2Q.cpp'",
                                              0),
                  0u)
            << capture.reports()[0];
    }
    HighShelf2Q::designMatched(shelf(2000.0, 0.5, 6.0, 2), asGiven, asGivenAnalog, 48000.0);
    for (int i = 0; i < 6; ++i)
        EXPECT_EQ(analog[i], asGivenAnalog[i]) << i;
}

TEST(LowShelf2, GainIsOutputPlusHeightAtDcAndOutputAtTheTop)
{
    for (const double height : {7.0, -7.0}) {
        double digital[6];
        LowShelf2::design(shelf(150.0, 0.4, height, 1, -2.0), digital, 48000.0);
        EXPECT_NEAR(dcGainDb(digital), -2.0 + height, 1e-9);
        EXPECT_NEAR(nyquistGainDb(digital), -2.0, 0.01);
    }
}

TEST(HighShelf2Q, HostileInputsNeverThrow)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const HighShelf2Q::Params cases[] = {
        {0.0, 0.5, 0.5, 6.0, 1, 0.0},       {-100.0, 0.5, 0.5, 6.0, 1, 0.0},  {1000.0, 0.0, 0.0, 6.0, 1, 0.0},
        {1000.0, 1.0e6, 1.0e6, 6.0, 1, 0.0}, {1000.0, 0.76, 40.0, 0.01, 1, 0.0}, {96000.0, 4.0, 4.0, 24.0, 0, 0.0},
        {1000.0, 0.5, 0.5, nan, 1, 0.0},    {nan, 0.8, 0.8, 6.0, 1, 0.0},     {1000.0, 4.0, 0.3, -24.0, 1, 0.0},
    };
    NoticeCapture capture;
    for (const HighShelf2Q::Params& params : cases) {
        double digital[6];
        EXPECT_NO_THROW(HighShelf2Q::design(params, digital, 48000.0));
        EXPECT_NO_THROW(LowShelf2::design(params, digital, 48000.0));
    }
}

TEST(ShelfSweep, ToneControlRangesFollowTheTarget)
{
    NoticeCapture capture;
    double largest = 0.0;
    for (const double fs : kSampleRates) {
        for (int fi = 0; fi <= 8; ++fi) {
            const double f = 80.0 * std::pow(6500.0 / 80.0, fi / 8.0);
            for (const double q : {0.2, 0.3, 0.4, 0.5}) {
                for (double height = -10.0; height <= 10.0; height += 2.5) {
                    double digital[6], analog[6];
                    dsp::MatchPoints points{};
                    HighShelf2Q::design(shelf(f, q, height), digital, analog, fs, &points);
                    ASSERT_TRUE(q38test::isSoundSection(digital, 1e-8)) << fs << " " << f << " " << q << " " << height;
                    EXPECT_LE(q38test::matchDeviationDb(digital, analog, fs, points), 0.1);
                    largest = std::max(largest, q38test::largestDeviationDb(digital, analog, fs));

                    LowShelf2::design(shelf(f, q, height), digital, fs);
                    ASSERT_TRUE(q38test::isSoundSection(digital, 1e-8)) << fs << " " << f << " " << q << " " << height;
                    EXPECT_NEAR(dcGainDb(digital), height, 1e-8);
                }
            }
        }
    }
    EXPECT_TRUE(capture.reports().empty()) << capture.reports().front();
    RecordProperty("largest_deviation_db", std::to_string(largest));
    std::printf("tone-control shelves: largest deviation from the target %.4f dB\n", largest);
}

TEST(ShelfSweep, WideRangesStaySoundAndMeetTheTargetWhereMatched)
{
    NoticeCapture capture;
    double largest = 0.0, largestAtMatch = 0.0;
    int designs = 0, matched = 0;
    const double qs[] = {0.3, 0.5, 0.7, 0.8, 1.0, 2.0, 4.0};
    for (const double fs : kSampleRates) {
        for (int fi = 0; fi <= 9; ++fi) {
            const double f = 20.0 * std::pow(0.45 * fs / 20.0, fi / 9.0);
            for (const double qLow : qs) {
                for (const double qHigh : qs) {
                    for (const double height : {-24.0, -12.0, -3.0, -0.5, 0.5, 3.0, 12.0, 24.0}) {
                        for (const int mode : {0, 1}) {
                            const HighShelf2Q::Params params{f, qLow, qHigh, height, mode, 0.0};
                            double digital[6], analog[6];
                            dsp::MatchPoints points{};
                            HighShelf2Q::design(params, digital, analog, fs, &points);
                            ++designs;
                            ASSERT_TRUE(q38test::isSoundSection(digital, 1e-8))
                                << fs << " " << f << " " << qLow << " " << qHigh << " " << height << " " << mode;
                            const double atMatch = q38test::matchDeviationDb(digital, analog, fs, points);
                            EXPECT_LE(atMatch, 0.1)
                                << fs << " " << f << " " << qLow << " " << qHigh << " " << height << " " << mode;
                            largestAtMatch = std::max(largestAtMatch, atMatch);
                            matched += points.mCount > 0 ? 1 : 0;
                            largest = std::max(largest, q38test::largestDeviationDb(digital, analog, fs));
                        }
                    }
                }
            }
        }
    }
    EXPECT_TRUE(capture.reports().empty()) << capture.reports().front();
    EXPECT_GT(matched, designs / 2);
    RecordProperty("largest_deviation_db", std::to_string(largest));
    RecordProperty("largest_deviation_at_match_db", std::to_string(largestAtMatch));
    std::printf("shelves over wide ranges (%d designs, %d matched): largest deviation from the target %.4f dB, "
                "at match frequencies %.6f dB\n",
                designs, matched, largest, largestAtMatch);
}
