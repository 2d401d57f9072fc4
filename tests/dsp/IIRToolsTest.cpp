#include "dsp/filter_design/dsp_IIRToolsImpl.h"
#include "support/NoticeCapture.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include <sys/mman.h>
#include <unistd.h>

using dsp::Complex;
using dsp::DigitalIIRTools;
using q38test::NoticeCapture;

namespace {
constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

void expectMissing(const Complex& inRoot)
{
    EXPECT_EQ(inRoot.real(), -kInf);
    EXPECT_EQ(inRoot.imag(), 0.0);
}
} // namespace

TEST(IIRTools, DecibelsAndNegligibleValues)
{
    EXPECT_EQ(dsp::decibelsToGain(-13.0), 0.22387211385683395);
    EXPECT_EQ(dsp::decibelsToGain(0.0), 1.0);
    EXPECT_NEAR(dsp::decibelsToGain(20.0), 10.0, 1e-14);

    for (double value : {0.0, -0.0, 1e-310, -1e-310, kNaN})
        EXPECT_TRUE(dsp::isNegligible(value)) << value;
    for (double value : {2.2250738585072014e-308, 1e-300, -1.0, kInf, -kInf})
        EXPECT_FALSE(dsp::isNegligible(value)) << value;

    EXPECT_TRUE(dsp::isNearlyEqual(1.0, 1.0 + 2.220446049250313e-16));
    EXPECT_FALSE(dsp::isNearlyEqual(1.0, 1.0 + 1e-15));
    EXPECT_TRUE(dsp::isNearlyEqual(0.0, 1e-310));
}

TEST(IIRTools, QuadraticRootsOrderAndTheZeroLinearTermCase)
{
    Complex roots[2];
    ASSERT_EQ(dsp::quadraticRoots(1.0, 3.0, 2.0, roots), 2);
    EXPECT_EQ(roots[0], Complex(-2.0, 0.0));  // the larger in magnitude first
    EXPECT_EQ(roots[1], Complex(-1.0, 0.0));

    ASSERT_EQ(dsp::quadraticRoots(2.0, -2.0, 1.0, roots), 2);  // 0.5 +- 0.5i
    EXPECT_NEAR(roots[0].real(), 0.5, 1e-15);
    EXPECT_NEAR(std::abs(roots[0].imag()), 0.5, 1e-15);
    EXPECT_NEAR(roots[1].imag(), -roots[0].imag(), 1e-15);

    // x^2 + q: the linear term 0 gives a double root at 0 for every q.
    for (double q : {-4.0, 0.5, 2.0, 9.0}) {
        ASSERT_EQ(dsp::quadraticRoots(1.0, 0.0, q, roots), 2);
        EXPECT_EQ(roots[0], Complex(0.0, 0.0)) << q;
        EXPECT_EQ(roots[1], Complex(0.0, 0.0)) << q;
    }
    const double zSquaredPlusTwo[6] = {1.0, 0.0, 0.0, 1.0, 0.0, 2.0};
    EXPECT_TRUE(DigitalIIRTools<2>::isStable(zSquaredPlusTwo));

    ASSERT_EQ(dsp::quadraticRoots(1e-310, 2.0, 4.0, roots), 1);
    EXPECT_EQ(roots[0], Complex(-2.0, 0.0));
    EXPECT_EQ(dsp::quadraticRoots(1e-310, 1e-310, 4.0, roots), 0);
}

TEST(IIRTools, DroppedDegreeGivesMissingRootAndGainFromFirstCountingCoefficient)
{
    NoticeCapture capture;
    Complex zeros[2], poles[2];
    double gain = 0.0;

    const double order2[6] = {1e-310, 2.0, 4.0, 1.0, 0.5, 0.0};
    DigitalIIRTools<2>::zerosPolesGain(order2, zeros, poles, &gain);
    EXPECT_EQ(zeros[0], Complex(-2.0, 0.0));
    expectMissing(zeros[1]);
    EXPECT_EQ(poles[0], Complex(-0.5, 0.0));
    EXPECT_EQ(gain, 2.0);
    EXPECT_FALSE(DigitalIIRTools<2>::isMinimumPhase(order2));  // the missing zero counts as infinite
    EXPECT_TRUE(DigitalIIRTools<2>::isStable(order2));

    const double order2NoPoles[6] = {3.0, 0.0, 0.0, 0.0, 0.0, 0.5};
    DigitalIIRTools<2>::zerosPolesGain(order2NoPoles, zeros, poles, &gain);
    expectMissing(poles[0]);
    expectMissing(poles[1]);
    EXPECT_EQ(gain, 6.0);
    EXPECT_FALSE(DigitalIIRTools<2>::isStable(order2NoPoles));

    const double order1[4] = {1e-310, 3.0, 1.0, -0.5};
    DigitalIIRTools<1>::zerosPolesGain(order1, zeros, poles, &gain);
    expectMissing(zeros[0]);
    EXPECT_EQ(poles[0], Complex(0.5, 0.0));
    EXPECT_EQ(gain, 3.0);
    EXPECT_FALSE(DigitalIIRTools<1>::isMinimumPhase(order1));
    EXPECT_TRUE(capture.empty());

    // A denominator with nothing left reports, and the division still happens.
    const double noDenominator[4] = {1.0, 0.5, 0.0, 0.0};
    DigitalIIRTools<1>::zerosPolesGain(noDenominator, zeros, poles, &gain);
    EXPECT_EQ(gain, kInf);
    ASSERT_EQ(capture.size(), 1u);
    EXPECT_EQ(capture.paths()[0], "src/libraries/dsp/filter_design/dsp_IIRToolsImpl.cpp");
}

TEST(IIRTools, UnitCircleLimitsOfStabilityAndMinimumPhase)
{
    const double zeroAtOne[4] = {1.0, -1.0, 1.0, 0.0};
    const double zeroJustOutside[4] = {1.0, -1.0000000000001, 1.0, 0.0};
    EXPECT_TRUE(DigitalIIRTools<1>::isMinimumPhase(zeroAtOne));
    EXPECT_FALSE(DigitalIIRTools<1>::isMinimumPhase(zeroJustOutside));
    EXPECT_TRUE(DigitalIIRTools<1>::isAlmostMinimumPhase(zeroJustOutside, 1e-7));

    // The tolerance bounds the squared magnitude: 1.00000006^2 > 1.0000001.
    const double zeroOutsideTolerance[4] = {1.0, -1.00000006, 1.0, 0.0};
    EXPECT_FALSE(DigitalIIRTools<1>::isAlmostMinimumPhase(zeroOutsideTolerance, 1e-7));
    const double order2ZerosAtMinusOne[6] = {1.0, 2.0, 1.0, 1.0, 0.0, 0.0};
    EXPECT_TRUE(DigitalIIRTools<2>::isMinimumPhase(order2ZerosAtMinusOne));

    const double poleAtMinusOne[4] = {1.0, 0.0, 1.0, 1.0};
    const double poleJustOutside[4] = {1.0, 0.0, 1.0, 1.0000000000001};
    EXPECT_TRUE(DigitalIIRTools<1>::isStable(poleAtMinusOne));
    EXPECT_FALSE(DigitalIIRTools<1>::isStable(poleJustOutside));
    const double complexPolesOutside[6] = {1.0, 0.0, 0.0, 1.0, -1.0, 1.01};  // |p|^2 = 1.01
    EXPECT_FALSE(DigitalIIRTools<2>::isStable(complexPolesOutside));
}

TEST(IIRTools, CheckBufferStopsAtTheFirstBadValue)
{
    const double good[5] = {0.0, -0.0, 1e-310, -1e300, 4.0};
    EXPECT_TRUE(dsp::checkBuffer(good, 5));
    const double withInfinity[3] = {1.0, -kInf, 2.0};
    EXPECT_FALSE(dsp::checkBuffer(withInfinity, 3));
    EXPECT_TRUE(dsp::checkBuffer(withInfinity, 1));

    // A NaN in the last double of a page followed by an unreadable page: the
    // scan must end there and never touch the rest of the count.
    const long pageSize = ::sysconf(_SC_PAGESIZE);
    void* pages = ::mmap(nullptr, 2 * pageSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(pages, MAP_FAILED);
    ASSERT_EQ(::mprotect(static_cast<char*>(pages) + pageSize, pageSize, PROT_NONE), 0);
    double* last = reinterpret_cast<double*>(static_cast<char*>(pages) + pageSize) - 1;
    *last = kNaN;
    EXPECT_FALSE(dsp::checkBuffer(last, 6));
    *last = kInf;
    EXPECT_FALSE(dsp::checkBuffer(last, 6));
    ::munmap(pages, 2 * pageSize);
}

TEST(IIRTools, CoefficientsFromConjugatePairs)
{
    NoticeCapture capture;
    const Complex zeros[2] = {Complex(0.5, 0.3), Complex(0.5, -0.3)};
    const Complex poles[2] = {Complex(0.2, 0.0), Complex(-0.4, 0.0)};
    double coefficients[6];
    DigitalIIRTools<2>::coefficientsFromZerosPolesGain(zeros, poles, 2.0, coefficients);
    EXPECT_TRUE(capture.empty());
    const double expected[6] = {2.0, -2.0, (0.25 + 0.09) * 2.0, 1.0, 0.2, -0.08};
    for (int i = 0; i < 6; ++i)
        EXPECT_NEAR(coefficients[i], expected[i], 1e-15) << i;

    const Complex notConjugate[2] = {Complex(0.5, 0.3), Complex(0.5, 0.3)};
    DigitalIIRTools<2>::coefficientsFromZerosPolesGain(notConjugate, poles, 1.0, coefficients);
    EXPECT_EQ(capture.heads(),
              std::vector<std::string>{"Assertion 'detail::conjugateOrReal(inZeros[0], inZeros[1])' failed"});
}

TEST(IIRTools, PrewarpedBilinearPutsTheCornerWhereAsked)
{
    // A prewarped analog corner lands exactly on the digital one: -3 dB for
    // order 1, and for a Butterworth order 2 as well.
    const double fs = 48000.0, f = 5000.0;
    const double wp = dsp::warpFrequency(dsp::kTwoPi * f, fs);
    double order1[4], order2[6];
    dsp::bilinearOrder1(0.0, wp, 1.0, wp, 2.0 * fs, order1);
    dsp::bilinearOrder2(0.0, 0.0, wp * wp, 1.0, std::sqrt(2.0) * wp, wp * wp, 2.0 * fs, order2);
    EXPECT_EQ(order1[2], 1.0);
    EXPECT_EQ(order2[3], 1.0);
    EXPECT_NEAR(dsp::digitalSquaredMagnitudeOrder1(order1, f, fs), 0.5, 1e-12);
    EXPECT_NEAR(dsp::digitalSquaredMagnitudeOrder2(order2, f, fs), 0.5, 1e-12);
    EXPECT_NEAR(dsp::digitalSquaredMagnitudeOrder2(order2, 0.0, fs), 1.0, 1e-12);
}
