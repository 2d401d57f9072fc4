#include "DesignTestSupport.h"

#include "dsp/filter_design/primitives/order1/dsp_Order1HighPass.h"
#include "dsp/filter_design/primitives/order1/dsp_Order1HighShelf.h"
#include "dsp/filter_design/primitives/order1/dsp_Order1LowPassNaive.h"
#include "dsp/filter_design/primitives/order1/dsp_Order1LowShelf.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

using namespace dsp;
using namespace q38test;
using Heads = std::vector<std::string>;

namespace {

double digitalAt(const double* inCoefficients, double inW, double inFs)
{
    return digitalSquaredMagnitudeOrder1(inCoefficients, inW / kTwoPi, inFs);
}

// The digital section has the analog target's power at w.
::testing::AssertionResult matchesAt(const double* inDigital, const double* inAnalog, double inW, double inFs,
                                     double inTolerance = 1e-9)
{
    const double digital = digitalAt(inDigital, inW, inFs), analog = squaredMagnitude<1>(inAnalog, inW);
    if (std::fabs(digital - analog) <= inTolerance * analog + 1e-15)
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << inW / kTwoPi << " Hz: digital " << digital << ", analog " << analog;
}

void expectCoefficients(const double* c, double inB0, double inB1, double inA1, double inTolerance)
{
    EXPECT_TRUE(std::fabs(c[0] - inB0) <= inTolerance && std::fabs(c[1] - inB1) <= inTolerance && c[2] == 1.0 &&
                std::fabs(c[3] - inA1) <= inTolerance)
        << c[0] << " " << c[1] << " " << c[2] << " " << c[3];
}

} // namespace

TEST(Order1HighPass, WorkedExamples)
{
    NoticeCapture capture;
    const double fs = 48000.0, w = 250.0 * kTwoPi, w2 = fs * 1.5672, g = decibelsToGain(6.0);
    double c[4], analog[4], louder[4], louderAnalog[4];
    Order1HighPass::design({250.0, 0.0, 0.0}, c, analog, fs);
    expectCoefficients(c, 0.98382035, -0.98382035, -0.96780436, 5e-9);
    EXPECT_EQ(c[0], -c[1]);  // the zero exactly at DC counts as minimum phase
    double a = 0.0, b = 0.0, pole = 0.0;
    solveOrder1ThreePoint(0.0, std::pow(warpFrequency(w, fs), 2.0), 0.5, std::pow(warpFrequency(w2, fs), 2.0),
                          w2 * w2 / (w2 * w2 + w * w), &a, &b, &pole);
    EXPECT_NEAR(a, 0.9999168, 5e-8);
    EXPECT_EQ(b, 0.0);
    EXPECT_NEAR(pole, 1570.6752, 5e-5);

    MatchPoints points{};
    Order1HighPass::design({250.0, 0.5, 0.0}, c, analog, fs, &points);
    EXPECT_TRUE(points.mCount == 3 && points.mFrequencies[0] == 0.0 && points.mFrequencies[1] == w &&
                points.mFrequencies[2] == w2);
    EXPECT_NEAR(digitalAt(c, 0.0, fs), 0.25, 1e-9);
    EXPECT_NEAR(digitalAt(c, w, fs), 0.625, 1e-9);
    EXPECT_TRUE(matchesAt(c, analog, w2, fs));
    Order1HighPass::design({250.0, 0.5, 6.0}, louder, louderAnalog, fs);  // the solve never sees the output gain
    EXPECT_TRUE(louder[0] == c[0] * g && louder[1] == c[1] * g && louder[3] == c[3]);
    EXPECT_TRUE(louderAnalog[0] == analog[0] * g && louderAnalog[1] == analog[1] * g && louderAnalog[3] == analog[3]);
    Order1HighPass::design({250.0, 1.0, 0.0}, c, analog, fs, &points);  // unit floor: transparent
    EXPECT_TRUE(std::fabs(c[0] - 1.0) < 1e-15 && c[1] == c[3] && points.mCount == 0);
    // Above about 0.1995 fs the corner itself is given up for 0.8 w2.
    Order1HighPass::design({12000.0, 0.0, 0.0}, c, analog, fs, &points);
    EXPECT_EQ(points.mFrequencies[1], 0.8 * w2);
    EXPECT_GT(std::fabs(digitalAt(c, 12000.0 * kTwoPi, fs) - 0.5), 1e-6);
    EXPECT_TRUE(capture.empty());

    // A floor whose squared DC gain overflows: the solve throws, the design
    // reports "false" and the section is transparent at g.
    Order1HighPass::design({1000.0, 1e200, 6.0}, c, fs);
    EXPECT_TRUE(std::fabs(c[0] - g) < 1e-15 && c[1] == c[3] * g);
    EXPECT_EQ(capture.heads(), Heads{"Generic assertion failed"});
    EXPECT_EQ(capture.paths(), Heads{"src/libraries/dsp/filter_design/primitives/order1/dsp_Order1HighPass.cpp"});
}

TEST(Order1HighShelf, WorkedExamplesAndFallbacks)
{
    NoticeCapture capture;
    const double fs = 48000.0;
    double c[4], analog[4];
    const struct
    {
        Order1HighShelf::Params mParams;
        double mB0, mB1, mA1;
    } examples[] = {{{3000.0, 6.0, kLowerCorner, 0.0}, 1.676274, -1.129279, -0.453005},
                    {{1000.0, -6.0, kMidpoint, 0.0}, 0.524197, -0.435681, -0.911484},
                    {{20000.0, 6.0, kUpperCorner, 0.0}, 1.297397, -0.329712, -0.032315},
                    {{3000.0, 0.0, kLowerCorner, 0.0}, 1.0, -0.671752, -0.671752}};  // 0 dB: unwarped, b1 = a1
    for (const auto& example : examples)
        expectCoefficients((Order1HighShelf::design(example.mParams, c, fs), c), example.mB0, example.mB1, example.mA1,
                           5e-7);
    // The match points: the pole frequency, at most 0.8 w2; moved down to a sixth
    // of the rate plus a third of wc where the two points differ by under 0.05 dB.
    MatchPoints points{};
    Order1HighShelf::design({20000.0, 6.0, kUpperCorner, 0.0}, c, analog, fs, &points);
    EXPECT_NEAR(points.mFrequencies[1] / kTwoPi, 10560.0, 1e-9);
    Order1HighShelf::design({3000.0, 0.01, kLowerCorner, 0.0}, c, analog, fs, &points);
    EXPECT_NEAR(points.mFrequencies[2] / kTwoPi, 9001.15, 0.005);
    EXPECT_EQ(points.mFrequencies[1], analog[3]);
    EXPECT_TRUE(capture.empty());

    // An unknown mode reports and acts as the lower corner.
    Order1HighShelf::design({3000.0, 6.0, 7, 0.0}, c, fs);
    expectCoefficients(c, 1.676274, -1.129279, -0.453005, 5e-7);
    EXPECT_EQ(capture.heads(), (Heads{"Generic assertion failed", "Generic assertion failed"}));
    // A shelf so steep that its power overflows: the plain, unwarped image of the target stays.
    capture.clear();
    Order1HighShelf::design({1000.0, 6000.0, kUpperCorner, 0.0}, c, analog, fs);
    EXPECT_EQ(capture.heads(), Heads{"Generic assertion failed"});
    double image[4];
    bilinearOrder1(analog[0], analog[1], 1.0, analog[3], 2.0 * fs, image);
    EXPECT_TRUE(std::equal(c, c + 4, image));
}

TEST(Order1LowPassAndLowShelf, WorkedExamplesAndTheCorner)
{
    NoticeCapture capture;
    double c[4], target[4];
    Order1LowPassNaive::design({1000.0, 0.0}, c, 48000.0);
    expectCoefficients(c, 0.06151177, 0.06151177, -0.87697646, 5e-9);
    Order1LowPassNaive::design({23999.0, 0.0}, c, 48000.0);
    expectCoefficients(c, 0.99993455, 0.99993455, 0.99986911, 5e-9);
    Order1LowPassNaive::design({1000.0, -6.0}, c, 48000.0);  // the gain at DC; nothing passes at half the rate
    EXPECT_TRUE(std::fabs(digitalSquaredMagnitudeOrder1(c, 0.0, 48000.0) - std::pow(decibelsToGain(-6.0), 2.0)) < 1e-12 &&
                c[0] == c[1]);
    // The low shelf is the high shelf of -6 dB lifted by 6 dB, matched at 37.59 Hz.
    Order1LowShelf::design({75.0, 6.0, kUpperCorner, 0.0}, c, 48000.0);
    expectCoefficients(c, 1.002448, -0.992655, -0.995092, 5e-7);
    Order1HighShelf::designAnalog({75.0, -6.0, kUpperCorner, 6.0}, target);
    EXPECT_NEAR(target[3] / kTwoPi, 37.59, 0.005);
    EXPECT_TRUE(matchesAt(c, target, target[3], 48000.0));
    Order1LowShelf::design({75.0, 0.0, kUpperCorner, 0.0}, c, 48000.0);
    EXPECT_TRUE(std::fabs(c[0] - 1.0) < 1e-15 && c[1] == c[3]);
    EXPECT_TRUE(capture.empty());

    // At half the rate the check fires and the pole ends up just inside z = -1.
    Order1LowPassNaive::design({24000.0, 0.0}, c, 48000.0);
    EXPECT_EQ(capture.heads(), Heads{"Assertion 'inParams.mFrequency < 0.5 * inSampleRate' failed"});
    EXPECT_TRUE(c[0] > 0.999999 && c[0] < 1.0 && c[1] == c[0] && c[3] > 0.999999 && c[3] < 1.0);
}

// Bad arguments report (first with the given check) and still write every coefficient.
TEST(Order1Designs, BadArgumentsReportAndStillWriteEveryCoefficient)
{
    auto expectReported = [](const std::function<void(double*)>& inDesign, const std::string& inFirst) {
        NoticeCapture capture;
        double c[4] = {-12345.0, -12345.0, -12345.0, -12345.0};
        inDesign(c);
        EXPECT_TRUE(c[0] != -12345.0 && c[1] != -12345.0 && c[2] == 1.0 && c[3] != -12345.0) << inFirst;
        EXPECT_EQ(capture.heads().empty() ? "" : capture.heads()[0], "Assertion '" + inFirst + "' failed");
    };
    const double nan = std::nan("");
    const std::string rate = "inSampleRate > 0.0";
    for (double fs : {0.0, -48000.0}) {
        expectReported([&](double* c) { Order1HighPass::design({250.0, 0.0, 0.0}, c, fs); }, rate);
        expectReported([&](double* c) { Order1HighShelf::design({1e3, 6.0, kLowerCorner, 0.0}, c, fs); }, rate);
        expectReported([&](double* c) { Order1LowShelf::design({1e3, 6.0, kLowerCorner, 0.0}, c, fs); }, rate);
        expectReported([&](double* c) { Order1LowPassNaive::design({1e3, 0.0}, c, fs); }, rate);
    }
    const std::string finite = "dsp::checkBuffer(outCoefficients, kNumCoefficients)";
    const std::string finiteTarget = "dsp::checkBuffer(outCoefficients, kNumAnalogCoefficients)";
    expectReported([&](double* c) { Order1HighPass::design({250.0, nan, 0.0}, c, 48e3); }, finiteTarget);
    expectReported([&](double* c) { Order1HighPass::design({250.0, 0.0, nan}, c, 48e3); }, finite);
    expectReported([&](double* c) { Order1HighShelf::design({1e3, nan, kLowerCorner, 0.0}, c, 48e3); }, finiteTarget);
    expectReported([&](double* c) { Order1LowShelf::design({1e3, 6.0, kLowerCorner, nan}, c, 48e3); }, finite);
    expectReported([&](double* c) { Order1LowPassNaive::design({1e3, nan}, c, 48e3); },
                   "DigitalIIRTools<1>::isMinimumPhase(outCoefficients)");
    expectReported([&](double* c) { Order1LowPassNaive::design({3e4, 0.0}, c, 48e3); },
                   "inParams.mFrequency < 0.5 * inSampleRate");
}
