#include "dsp/filter_design/dsp_IIRToolsImpl.h"
#include "support/NoticeCapture.h"

#include <gtest/gtest.h>

#include <limits>

#include <sys/mman.h>
#include <unistd.h>

using dsp::Complex;
using dsp::DigitalIIRTools;

namespace {
constexpr double kInf = std::numeric_limits<double>::infinity();
const Complex kMissing(-kInf, 0.0);
} // namespace

TEST(IIRTools, QuadraticRootsOrderAndDroppedDegrees)
{
    EXPECT_EQ(dsp::decibelsToGain(-13.0), 0.22387211385683395);
    Complex roots[2];
    ASSERT_EQ(dsp::quadraticRoots(1.0, 3.0, 2.0, roots), 2);
    EXPECT_TRUE(roots[0] == Complex(-2.0, 0.0) && roots[1] == Complex(-1.0, 0.0));  // larger magnitude first
    ASSERT_EQ(dsp::quadraticRoots(2.0, -2.0, 1.0, roots), 2);
    EXPECT_TRUE(std::abs(roots[0].real() - 0.5) < 1e-15 && std::abs(std::abs(roots[0].imag()) - 0.5) < 1e-15);
    EXPECT_EQ(roots[1], std::conj(roots[0]));
    // x^2 + q gives a double root at 0 for every q, so z^2 + 2 passes as stable.
    for (double q : {-4.0, 0.5, 2.0, 9.0}) {
        ASSERT_EQ(dsp::quadraticRoots(1.0, 0.0, q, roots), 2);
        EXPECT_TRUE(roots[0] == Complex(0.0, 0.0) && roots[1] == Complex(0.0, 0.0)) << q;
    }
    const double zSquaredPlusTwo[6] = {1.0, 0.0, 0.0, 1.0, 0.0, 2.0};
    EXPECT_TRUE(DigitalIIRTools<2>::isStable(zSquaredPlusTwo));
    // 1e-310 is negligible: the degree drops.
    ASSERT_EQ(dsp::quadraticRoots(1e-310, 2.0, 4.0, roots), 1);
    EXPECT_EQ(roots[0], Complex(-2.0, 0.0));
    EXPECT_EQ(dsp::quadraticRoots(1e-310, 1e-310, 4.0, roots), 0);

    q38test::NoticeCapture capture;
    Complex zeros[2], poles[2];
    double gain = 0.0;
    const double order2[6] = {1e-310, 2.0, 4.0, 1.0, 0.5, 0.0};
    DigitalIIRTools<2>::zerosPolesGain(order2, zeros, poles, &gain);
    EXPECT_TRUE(zeros[0] == Complex(-2.0, 0.0) && zeros[1] == kMissing && poles[0] == Complex(-0.5, 0.0));
    EXPECT_EQ(gain, 2.0);  // from the first coefficient that counts
    EXPECT_FALSE(DigitalIIRTools<2>::isMinimumPhase(order2));  // the missing zero counts as infinite
    const double noPoles[6] = {3.0, 0.0, 0.0, 0.0, 0.0, 0.5};
    DigitalIIRTools<2>::zerosPolesGain(noPoles, zeros, poles, &gain);
    EXPECT_TRUE(poles[0] == kMissing && poles[1] == kMissing && gain == 6.0);
    EXPECT_TRUE(capture.empty());
    // A denominator with nothing left reports, and the division still happens.
    const double noDenominator[4] = {1.0, 0.5, 0.0, 0.0};
    DigitalIIRTools<1>::zerosPolesGain(noDenominator, zeros, poles, &gain);
    EXPECT_EQ(gain, kInf);
    EXPECT_EQ(capture.size(), 1u);
}

TEST(IIRTools, UnitCircleLimitsOfStabilityAndMinimumPhase)
{
    const double zeroAtOne[4] = {1.0, -1.0, 1.0, 0.0}, zeroJustOutside[4] = {1.0, -1.0000000000001, 1.0, 0.0};
    EXPECT_TRUE(DigitalIIRTools<1>::isMinimumPhase(zeroAtOne));
    EXPECT_FALSE(DigitalIIRTools<1>::isMinimumPhase(zeroJustOutside));
    EXPECT_TRUE(DigitalIIRTools<1>::isAlmostMinimumPhase(zeroJustOutside, 1e-7));
    const double zeroOutsideTolerance[4] = {1.0, -1.00000006, 1.0, 0.0};  // 1.00000006^2 > 1.0000001
    EXPECT_FALSE(DigitalIIRTools<1>::isAlmostMinimumPhase(zeroOutsideTolerance, 1e-7));
    const double poleAtMinusOne[4] = {1.0, 0.0, 1.0, 1.0}, poleJustOutside[4] = {1.0, 0.0, 1.0, 1.0000000000001};
    EXPECT_TRUE(DigitalIIRTools<1>::isStable(poleAtMinusOne));
    EXPECT_FALSE(DigitalIIRTools<1>::isStable(poleJustOutside));
    const double complexPolesOutside[6] = {1.0, 0.0, 0.0, 1.0, -1.0, 1.01};  // |p|^2 = 1.01
    EXPECT_FALSE(DigitalIIRTools<2>::isStable(complexPolesOutside));
}

TEST(IIRTools, CheckBufferStopsAtTheFirstBadValue)
{
    const double values[4] = {1e-310, -1e300, -kInf, 2.0};
    EXPECT_TRUE(dsp::checkBuffer(values, 2));
    EXPECT_FALSE(dsp::checkBuffer(values, 4));
    // A NaN in the last double of a page before an unreadable one: the scan must end there.
    const long pageSize = ::sysconf(_SC_PAGESIZE);
    void* pages = ::mmap(nullptr, 2 * pageSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(pages, MAP_FAILED);
    ASSERT_EQ(::mprotect(static_cast<char*>(pages) + pageSize, pageSize, PROT_NONE), 0);
    double* last = reinterpret_cast<double*>(static_cast<char*>(pages) + pageSize) - 1;
    *last = std::numeric_limits<double>::quiet_NaN();
    EXPECT_FALSE(dsp::checkBuffer(last, 6));
    ::munmap(pages, 2 * pageSize);
}
