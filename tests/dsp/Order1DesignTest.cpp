#include "dsp/filter_design/dsp_EquationSolutionException.h"
#include "dsp/filter_design/dsp_IIRToolsImpl.h"
#include "dsp/filter_design/primitives/order1/dsp_Order1HighPass.h"
#include "dsp/filter_design/primitives/order1/dsp_Order1HighShelf.h"
#include "dsp/filter_design/primitives/order1/dsp_Order1LowPassNaive.h"
#include "dsp/filter_design/primitives/order1/dsp_Order1LowShelf.h"
#include "support/NoticeCapture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <string>
#include <vector>

using namespace dsp;
using q38test::NoticeCapture;
using Heads = std::vector<std::string>;

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kSampleRates[] = {44100.0, 48000.0, 96000.0, 192000.0};
const std::string kGeneric = "Generic assertion failed";
const std::string kSampleRateHead = "Assertion 'inSampleRate > 0.0' failed";
const std::string kFiniteHead = "Assertion 'dsp::checkBuffer(outCoefficients, kNumCoefficients)' failed";
const std::string kAnalogFiniteHead = "Assertion 'dsp::checkBuffer(outCoefficients, kNumAnalogCoefficients)' failed";
const std::string kStableHead = "Assertion 'DigitalIIRTools<1>::isStable(outCoefficients)' failed";
const std::string kMinimumPhaseHead = "Assertion 'DigitalIIRTools<1>::isMinimumPhase(outCoefficients)' failed";

double digitalAt(const double* inCoefficients, double inW, double inSampleRate)
{
    return digitalSquaredMagnitudeOrder1(inCoefficients, inW / kTwoPi, inSampleRate);
}

// The digital section reproduces the analog target's power at w.
::testing::AssertionResult matchesAt(const double* inCoefficients, const double* inAnalog, double inW,
                                     double inSampleRate, double inTolerance = 1e-9)
{
    const double digital = digitalAt(inCoefficients, inW, inSampleRate);
    const double analog = squaredMagnitude<1>(inAnalog, inW);
    if (std::fabs(digital - analog) <= inTolerance * analog + 1e-15)
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "at " << inW / kTwoPi << " Hz: digital " << digital << ", analog "
                                         << analog;
}

void expectCoefficients(const double* inCoefficients, double inB0, double inB1, double inA1, double inTolerance)
{
    EXPECT_NEAR(inCoefficients[0], inB0, inTolerance);
    EXPECT_NEAR(inCoefficients[1], inB1, inTolerance);
    EXPECT_EQ(inCoefficients[2], 1.0);
    EXPECT_NEAR(inCoefficients[3], inA1, inTolerance);
}

// Runs a design over an array prefilled with a marker and checks that every
// entry was written and a0 is in place.
void expectFullyWritten(const std::function<void(double*)>& inDesign)
{
    double coefficients[4] = {-12345.0, -12345.0, -12345.0, -12345.0};
    inDesign(coefficients);
    EXPECT_EQ(coefficients[2], 1.0);
    for (double value : coefficients)
        EXPECT_NE(value, -12345.0);
}

// The output gain scales the numerators, digital and analog, after the match:
// the solve never sees it.
void expectOutputGainOnNumeratorsOnly(const double* inPlain, const double* inPlainAnalog, const double* inLouder,
                                      const double* inLouderAnalog, double inOutputGain)
{
    const double g = decibelsToGain(inOutputGain);
    EXPECT_EQ(inLouder[0], inPlain[0] * g);
    EXPECT_EQ(inLouder[1], inPlain[1] * g);
    EXPECT_EQ(inLouder[3], inPlain[3]);
    EXPECT_EQ(inLouderAnalog[0], inPlainAnalog[0] * g);
    EXPECT_EQ(inLouderAnalog[1], inPlainAnalog[1] * g);
    EXPECT_EQ(inLouderAnalog[2], 1.0);
    EXPECT_EQ(inLouderAnalog[3], inPlainAnalog[3]);
}

} // namespace

// ---------------------------------------------------------------------------
// Solvers

TEST(Order1Solvers, InadmissibleDataThrowsAndLeavesResultsAlone)
{
    struct Case
    {
        const char* mName;
        std::function<void(double*, double*, double*)> mSolve;
    };
    const Case cases[] = {
        {"three-point, equal frequencies", [](double* a, double* b, double* c) { solveOrder1ThreePoint(0.0, 2.0, 0.5, 2.0, 0.7, a, b, c); }},
        {"three-point, e = 0", [](double* a, double* b, double* c) { solveOrder1ThreePoint(0.0, 1.0, 0.25, 2.0, 0.5, a, b, c); }},
        {"three-point, falling from DC 0", [](double* a, double* b, double* c) { solveOrder1ThreePoint(0.0, 1.0, 0.5, 2.0, 0.25, a, b, c); }},
        {"two-point, equal frequencies", [](double* a, double* b, double* c) { solveOrder1TwoPoint(2.0, 1.5, 2.0, 1.2, a, b, c); }},
        {"two-point, flat", [](double* a, double* b, double* c) { solveOrder1TwoPoint(2.0, 1.0, 1.0, 1.0, a, b, c); }},
        {"two-point, c^2 < 0", [](double* a, double* b, double* c) { solveOrder1TwoPoint(2.0, 0.5, 1.0, 2.0, a, b, c); }},
    };
    for (const Case& solveCase : cases) {
        double a = 7.0, b = 7.0, c = 7.0;
        EXPECT_THROW(solveCase.mSolve(&a, &b, &c), EquationSolutionException) << solveCase.mName;
        EXPECT_EQ(a, 7.0) << solveCase.mName;
        EXPECT_EQ(b, 7.0) << solveCase.mName;
        EXPECT_EQ(c, 7.0) << solveCase.mName;
    }
}

// ---------------------------------------------------------------------------
// Order1HighPass

TEST(Order1HighPass, TrueHighPassAt250Hz)
{
    NoticeCapture capture;
    const double fs = 48000.0;
    double coefficients[4], analog[4];
    Order1HighPass::design({250.0, 0.0, 0.0}, coefficients, analog, fs);
    expectCoefficients(coefficients, 0.98382035, -0.98382035, -0.96780436, 5e-9);
    // The zero sits exactly on the unit circle at DC and counts as minimum phase.
    EXPECT_EQ(coefficients[0], -coefficients[1]);
    EXPECT_TRUE(DigitalIIRTools<1>::isMinimumPhase(coefficients));
    EXPECT_TRUE(capture.empty());

    // The prototype behind it.
    const double w = 250.0 * kTwoPi, w2 = fs * 1.5672;
    const double u1 = std::pow(warpFrequency(w, fs), 2.0), u2 = std::pow(warpFrequency(w2, fs), 2.0);
    double a = 0.0, b = 0.0, c = 0.0;
    solveOrder1ThreePoint(0.0, u1, 0.5, u2, w2 * w2 / (w2 * w2 + w * w), &a, &b, &c);
    EXPECT_NEAR(a, 0.9999168, 5e-8);
    EXPECT_EQ(b, 0.0);
    EXPECT_NEAR(c, 1570.6752, 5e-5);
}

TEST(Order1HighPass, FloorMatchesAtDcCornerAndUpperPoint)
{
    const double fs = 48000.0, w2 = fs * 1.5672;
    double coefficients[4], analog[4];
    Order1HighPass::design({250.0, 0.5, 0.0}, coefficients, analog, fs);
    EXPECT_NEAR(digitalAt(coefficients, 0.0, fs), 0.25, 1e-9);
    EXPECT_NEAR(digitalSquaredMagnitudeOrder1(coefficients, 250.0, fs), 0.625, 1e-9);
    EXPECT_NEAR(w2 / kTwoPi, 11972.5, 0.05);
    EXPECT_NEAR(digitalAt(coefficients, w2, fs), squaredMagnitude<1>(analog, w2), 1e-9);

    double louder[4], louderAnalog[4];
    Order1HighPass::design({250.0, 0.5, 6.0}, louder, louderAnalog, fs);
    expectOutputGainOnNumeratorsOnly(coefficients, analog, louder, louderAnalog, 6.0);
}

TEST(Order1HighPass, UnitFloorAndFailedSolveGiveATransparentSection)
{
    NoticeCapture capture;
    double coefficients[4];
    Order1HighPass::design({250.0, 1.0, 0.0}, coefficients, 48000.0);
    EXPECT_DOUBLE_EQ(coefficients[0], 1.0);
    EXPECT_EQ(coefficients[1], coefficients[3]);
    EXPECT_TRUE(capture.empty());

    // A floor so high that the squared DC gain overflows: the solve throws,
    // the design reports "false" and leaves the section at g.
    Order1HighPass::design({1000.0, 1e200, 6.0}, coefficients, 48000.0);
    const double g = decibelsToGain(6.0);
    EXPECT_DOUBLE_EQ(coefficients[0], g);
    EXPECT_EQ(coefficients[1], coefficients[3] * g);
    EXPECT_LT(std::fabs(coefficients[3]), 1.0);
    EXPECT_EQ(capture.heads(), Heads{kGeneric});
    EXPECT_EQ(capture.paths(), Heads{"src/libraries/dsp/filter_design/primitives/order1/dsp_Order1HighPass.cpp"});
}

TEST(Order1HighPass, MatchesItsTargetAcrossRatesFrequenciesAndFloors)
{
    NoticeCapture capture;
    for (double fs : kSampleRates) {
        const double w2 = fs * 1.5672;
        for (double f : {20.0, 100.0, 1000.0, 4000.0, 12000.0, 30000.0}) {
            const double w1 = std::min(f * kTwoPi, 0.8 * w2);
            for (double floorGain : {0.0, 0.05, 0.5, 3.0}) {
                for (double outputGain : {0.0, -7.5}) {
                    SCOPED_TRACE(::testing::Message() << fs << " Hz, " << f << " Hz, floor " << floorGain << ", "
                                                      << outputGain << " dB");
                    double coefficients[4], analog[4];
                    Order1HighPass::design({f, floorGain, outputGain}, coefficients, analog, fs);
                    EXPECT_TRUE(matchesAt(coefficients, analog, 0.0, fs));
                    EXPECT_TRUE(matchesAt(coefficients, analog, w1, fs));
                    EXPECT_TRUE(matchesAt(coefficients, analog, w2, fs));
                }
            }
        }
    }
    EXPECT_TRUE(capture.empty());

    // Above about 0.1995 fs the corner itself is given up for 0.8 * w2.
    double coefficients[4];
    Order1HighPass::design({12000.0, 0.0, 0.0}, coefficients, 48000.0);
    EXPECT_GT(std::fabs(digitalSquaredMagnitudeOrder1(coefficients, 12000.0, 48000.0) - 0.5), 1e-6);
}

// ---------------------------------------------------------------------------
// Order1HighShelf

namespace {

// The two frequencies a high shelf is matched at, from its unmatched target.
void shelfMatchPoints(const double* inTarget, double inSampleRate, double* outW1, double* outW2)
{
    const double wc = inTarget[3];
    double w2 = inSampleRate * 1.7278759594743864;
    double w1 = std::min(0.8 * w2, wc);
    const double slope = std::fabs(10.0 * std::log10(squaredMagnitude<1>(inTarget, w2) /
                                                     squaredMagnitude<1>(inTarget, w1)));
    if (slope < 0.1) {
        const double t = std::max((slope - 0.05) * 20.0, 0.0);
        const double up = std::min(inSampleRate / 6.0 * kTwoPi + wc / 3.0, 0.425 * kTwoPi * inSampleRate);
        w2 = (1.0 - t) * up + t * w2;
        w1 = std::min(0.6 * w2, wc);
    }
    *outW1 = w1;
    *outW2 = w2;
}

} // namespace

TEST(Order1HighShelf, MatchFrequencyByMode)
{
    NoticeCapture capture;
    EXPECT_NEAR(Order1HighShelf::computeMatchFrequency({3000.0, 6.0, kLowerCorner, 0.0}), 5985.79, 0.005);
    EXPECT_NEAR(Order1HighShelf::computeMatchFrequency({1000.0, -6.0, kMidpoint, 0.0}), 707.95, 0.005);
    EXPECT_EQ(Order1HighShelf::computeMatchFrequency({3000.0, 6.0, kUpperCorner, 0.0}), 3000.0);
    EXPECT_EQ(Order1HighShelf::computeMatchFrequency({3000.0, -6.0, kLowerCorner, 0.0}), 3000.0);
    EXPECT_NEAR(Order1HighShelf::computeMatchFrequency({75.0, -6.0, kUpperCorner, 0.0}), 37.59, 0.005);
    EXPECT_TRUE(capture.empty());

    // An unknown mode reports and then behaves as the lower corner.
    const Order1HighShelf::Params unknown{3000.0, 6.0, 7, 0.0};
    const Order1HighShelf::Params lower{3000.0, 6.0, kLowerCorner, 0.0};
    EXPECT_EQ(Order1HighShelf::computeMatchFrequency(unknown), Order1HighShelf::computeMatchFrequency(lower));
    EXPECT_EQ(capture.heads(), Heads{kGeneric});
    double fromUnknown[4], fromLower[4];
    Order1HighShelf::design(unknown, fromUnknown, 48000.0);
    Order1HighShelf::design(lower, fromLower, 48000.0);
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(fromUnknown[i], fromLower[i]);
    for (const std::string& head : capture.heads())
        EXPECT_EQ(head, kGeneric);
}

TEST(Order1HighShelf, WorkedExamplesAt48kHz)
{
    NoticeCapture capture;
    const double fs = 48000.0;
    struct Example
    {
        Order1HighShelf::Params mParams;
        double mB0, mB1, mA1;
    };
    const Example examples[] = {
        {{3000.0, 6.0, kLowerCorner, 0.0}, 1.676274, -1.129279, -0.453005},
        {{1000.0, -6.0, kMidpoint, 0.0}, 0.524197, -0.435681, -0.911484},
        {{20000.0, 6.0, kUpperCorner, 0.0}, 1.297397, -0.329712, -0.032315},
    };
    for (const Example& example : examples) {
        SCOPED_TRACE(example.mParams.mFrequency);
        double coefficients[4], analog[4];
        Order1HighShelf::design(example.mParams, coefficients, analog, fs);
        expectCoefficients(coefficients, example.mB0, example.mB1, example.mA1, 5e-7);
    }

    // 3000 Hz, +6 dB: matched at fc and at 13200 Hz.
    double coefficients[4], analog[4];
    Order1HighShelf::design({3000.0, 6.0, kLowerCorner, 0.0}, coefficients, analog, fs);
    EXPECT_TRUE(matchesAt(coefficients, analog, 5985.78694491 * kTwoPi, fs));
    EXPECT_TRUE(matchesAt(coefficients, analog, 13200.0 * kTwoPi, fs));

    // 20000 Hz at the upper corner: w1 is held at 0.8 * w2 = 10560 Hz.
    Order1HighShelf::design({20000.0, 6.0, kUpperCorner, 0.0}, coefficients, analog, fs);
    EXPECT_TRUE(matchesAt(coefficients, analog, 10560.0 * kTwoPi, fs));

    // 0.01 dB is nearly flat between the standard points: w2 moves to a sixth
    // of the rate plus a third of wc, w1 to wc.
    Order1HighShelf::design({3000.0, 0.01, kLowerCorner, 0.0}, coefficients, analog, fs);
    const double movedW2 = fs * 1.0471975511965976 + analog[3] * 0.3333333333333333;
    EXPECT_NEAR(movedW2 / kTwoPi, 9001.15, 0.005);
    EXPECT_TRUE(matchesAt(coefficients, analog, movedW2, fs));
    EXPECT_TRUE(matchesAt(coefficients, analog, analog[3], fs));
    EXPECT_TRUE(capture.empty());
}

TEST(Order1HighShelf, ZeroGainOutputGainAndFallback)
{
    NoticeCapture capture;
    const double fs = 48000.0;
    double coefficients[4], analog[4];
    Order1HighShelf::design({3000.0, 0.0, kLowerCorner, 0.0}, coefficients, analog, fs);
    EXPECT_DOUBLE_EQ(coefficients[0], 1.0);
    EXPECT_EQ(coefficients[1], coefficients[3]);

    double plain[4], plainAnalog[4], louder[4], louderAnalog[4];
    Order1HighShelf::design({1000.0, -6.0, kMidpoint, 0.0}, plain, plainAnalog, fs);
    Order1HighShelf::design({1000.0, -6.0, kMidpoint, 4.5}, louder, louderAnalog, fs);
    expectOutputGainOnNumeratorsOnly(plain, plainAnalog, louder, louderAnalog, 4.5);
    EXPECT_TRUE(capture.empty());

    // A shelf so steep that its power overflows: the solve throws and the
    // plain, unwarped bilinear image of the target stays.
    Order1HighShelf::design({1000.0, 6000.0, kUpperCorner, 0.0}, coefficients, analog, fs);
    EXPECT_EQ(capture.heads(), Heads{kGeneric});
    double image[4];
    bilinearOrder1(analog[0], analog[1], 1.0, analog[3], 2.0 * fs, image);
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(coefficients[i], image[i]) << i;
}

TEST(Order1Shelves, MatchTheirTargetsAcrossRatesFrequenciesAndGains)
{
    NoticeCapture capture;
    int movedCases = 0;
    for (double fs : kSampleRates) {
        // 40000 Hz lies above the band at the lower rates: limited, not rejected.
        for (double f : {30.0, 200.0, 1000.0, 3000.0, 9000.0, 20000.0, 40000.0}) {
            for (double gain : {-18.0, -6.0, -0.3, -0.07, 0.02, 0.07, 0.3, 6.0, 18.0}) {
                for (std::int32_t mode : {kLowerCorner, kMidpoint, kUpperCorner}) {
                    SCOPED_TRACE(::testing::Message() << fs << " Hz, " << f << " Hz, " << gain << " dB, mode " << mode);
                    const double outputGain = gain > 0.0 ? -3.0 : 0.0;
                    double coefficients[4], analog[4];
                    Order1HighShelf::design({f, gain, mode, outputGain}, coefficients, analog, fs);
                    double w1 = 0.0, w2 = 0.0;
                    shelfMatchPoints(analog, fs, &w1, &w2);
                    movedCases += w2 < fs * 1.7278759594743864 ? 1 : 0;
                    // Low corners at high rates make the solve less well conditioned.
                    EXPECT_TRUE(matchesAt(coefficients, analog, w1, fs, 1e-8));
                    EXPECT_TRUE(matchesAt(coefficients, analog, w2, fs, 1e-8));
                    // DC is not a match point: its unit gain is built into the
                    // prototype and holds to rounding only.
                    EXPECT_TRUE(matchesAt(coefficients, analog, 0.0, fs, 1e-7));

                    // The low shelf: its DC gain is the shelf gain plus the output gain.
                    double low[4];
                    Order1LowShelf::design({f, gain, mode, outputGain}, low, fs);
                    const double lowDcPower = std::pow(decibelsToGain(gain + outputGain), 2.0);
                    EXPECT_NEAR(digitalAt(low, 0.0, fs), lowDcPower, 1e-7 * lowDcPower);
                }
            }
        }
    }
    EXPECT_GT(movedCases, 0);
    EXPECT_TRUE(capture.empty());
}

// ---------------------------------------------------------------------------
// Order1LowPassNaive and Order1LowShelf

TEST(Order1LowPassNaive, WorkedExamplesAndTheNyquistLimit)
{
    NoticeCapture capture;
    double coefficients[4];
    Order1LowPassNaive::design({1000.0, 0.0}, coefficients, 48000.0);
    expectCoefficients(coefficients, 0.06151177, 0.06151177, -0.87697646, 5e-9);
    Order1LowPassNaive::design({23999.0, 0.0}, coefficients, 48000.0);
    expectCoefficients(coefficients, 0.99993455, 0.99993455, 0.99986911, 5e-9);
    EXPECT_TRUE(capture.empty());

    // At half the rate the check fires and the pole ends up just inside z = -1.
    Order1LowPassNaive::design({24000.0, 0.0}, coefficients, 48000.0);
    EXPECT_EQ(capture.heads(), Heads{"Assertion 'inParams.mFrequency < 0.5 * inSampleRate' failed"});
    for (int i : {0, 1, 3}) {
        EXPECT_LT(coefficients[i], 1.0);
        EXPECT_GT(coefficients[i], 0.999999);
    }
}

TEST(Order1LowPassNaive, CornerIsExactlyMinus3dB)
{
    NoticeCapture capture;
    for (double fs : kSampleRates) {
        for (double f : {20.0, 1000.0, 10000.0, 0.45 * fs}) {
            for (double gain : {0.0, -6.0, 12.0}) {
                SCOPED_TRACE(::testing::Message() << fs << " Hz, " << f << " Hz, " << gain << " dB");
                double coefficients[4];
                Order1LowPassNaive::design({f, gain}, coefficients, fs);
                const double dcPower = std::pow(decibelsToGain(gain), 2.0);
                EXPECT_NEAR(digitalSquaredMagnitudeOrder1(coefficients, 0.0, fs), dcPower, 1e-12 * dcPower);
                EXPECT_NEAR(digitalSquaredMagnitudeOrder1(coefficients, f, fs), 0.5 * dcPower, 1e-10 * dcPower);
                EXPECT_EQ(coefficients[0] - coefficients[1], 0.0);  // nothing passes at half the rate
            }
        }
    }
    EXPECT_TRUE(capture.empty());
}

TEST(Order1LowShelf, WorkedExampleAndZeroGain)
{
    NoticeCapture capture;
    double coefficients[4];
    Order1LowShelf::design({75.0, 6.0, kUpperCorner, 0.0}, coefficients, 48000.0);
    expectCoefficients(coefficients, 1.002448, -0.992655, -0.995092, 5e-7);

    // It is the high shelf of -6 dB lifted by 6 dB, matched at 37.59 Hz.
    double target[4];
    Order1HighShelf::designAnalog({75.0, -6.0, kUpperCorner, 6.0}, target);
    EXPECT_NEAR(target[3] / kTwoPi, 37.59, 0.005);
    EXPECT_TRUE(matchesAt(coefficients, target, target[3], 48000.0));

    Order1LowShelf::design({75.0, 0.0, kUpperCorner, 0.0}, coefficients, 48000.0);
    EXPECT_DOUBLE_EQ(coefficients[0], 1.0);
    EXPECT_EQ(coefficients[1], coefficients[3]);
    EXPECT_TRUE(capture.empty());
}

// ---------------------------------------------------------------------------
// Bad arguments: every design reports and still hands back a written array.

TEST(Order1Designs, BadArgumentsReportAndStillWriteEveryCoefficient)
{
    struct Case
    {
        const char* mName;
        std::function<void(double*)> mDesign;
        Heads mExpected;  // empty: only "reports something" is required
    };
    const Case cases[] = {
        {"high-pass, zero rate", [](double* c) { Order1HighPass::design({250.0, 0.0, 0.0}, c, 0.0); },
         {kSampleRateHead, kGeneric, kFiniteHead, kMinimumPhaseHead}},
        {"high-pass, negative rate", [](double* c) { Order1HighPass::design({250.0, 0.0, 0.0}, c, -48000.0); },
         {kSampleRateHead, kStableHead}},
        {"high-pass, NaN output gain", [](double* c) { Order1HighPass::design({250.0, 0.0, kNaN}, c, 48000.0); },
         {kFiniteHead, kMinimumPhaseHead}},
        {"high-pass, NaN floor", [](double* c) { Order1HighPass::design({250.0, kNaN, 0.0}, c, 48000.0); },
         {kAnalogFiniteHead}},
        {"high shelf, zero rate", [](double* c) { Order1HighShelf::design({1000.0, 6.0, kLowerCorner, 0.0}, c, 0.0); },
         {kSampleRateHead, kGeneric}},
        {"high shelf, negative rate",
         [](double* c) { Order1HighShelf::design({1000.0, 6.0, kLowerCorner, 0.0}, c, -48000.0); }, {}},
        {"high shelf, NaN gain", [](double* c) { Order1HighShelf::design({1000.0, kNaN, kLowerCorner, 0.0}, c, 48000.0); },
         {kAnalogFiniteHead, kGeneric, kFiniteHead, kMinimumPhaseHead}},
        {"low-pass, zero rate", [](double* c) { Order1LowPassNaive::design({1000.0, 0.0}, c, 0.0); }, {}},
        {"low-pass, negative rate", [](double* c) { Order1LowPassNaive::design({1000.0, 0.0}, c, -48000.0); }, {}},
        {"low-pass, above half the rate", [](double* c) { Order1LowPassNaive::design({30000.0, 0.0}, c, 48000.0); },
         {"Assertion 'inParams.mFrequency < 0.5 * inSampleRate' failed", kStableHead}},
        {"low-pass, NaN gain", [](double* c) { Order1LowPassNaive::design({1000.0, kNaN}, c, 48000.0); },
         {kMinimumPhaseHead}},
        {"low shelf, zero rate", [](double* c) { Order1LowShelf::design({100.0, 6.0, kLowerCorner, 0.0}, c, 0.0); },
         {kSampleRateHead, kGeneric}},
        {"low shelf, NaN output gain",
         [](double* c) { Order1LowShelf::design({100.0, 6.0, kLowerCorner, kNaN}, c, 48000.0); },
         {kFiniteHead, kMinimumPhaseHead, kAnalogFiniteHead}},
    };
    for (const Case& badCase : cases) {
        SCOPED_TRACE(badCase.mName);
        NoticeCapture capture;
        expectFullyWritten(badCase.mDesign);
        EXPECT_FALSE(capture.empty());
        if (!badCase.mExpected.empty()) {
            EXPECT_EQ(capture.heads(), badCase.mExpected);
        }
    }
}
