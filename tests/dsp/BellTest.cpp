#include "dsp/filter_design/primitives/order2/dsp_Bell.h"

#include "Order2DesignTestSupport.h"
#include "dsp/filter_design/dsp_IIRToolsImpl.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

namespace {

using order2_test::FailedChecks;
using order2_test::kTwoPi;

struct BellResult
{
    double mDigital[6], mAnalog[6];
    double mFs;

    double digital(double inHz) const { return dsp::digitalSquaredMagnitudeOrder2(mDigital, inHz, mFs); }
    double target(double inHz) const { return dsp::squaredMagnitudeOrder2(mAnalog, kTwoPi * inHz); }
};

BellResult designBell(double inHz, double inQ, double inGain, double inFs, double inOutputGain = 0.0)
{
    BellResult result;
    result.mFs = inFs;
    dsp::Bell::design({inHz, inQ, inGain, inOutputGain}, result.mDigital, result.mAnalog, inFs);
    return result;
}

// The upper match point in Hz: 0.3968 fs moved by 0.05 fs rad/s away from the centre.
double upperPoint(double inHz, double inFs)
{
    const double wH = inFs * 2.49316792988886;
    return (kTwoPi * inHz <= wH ? wH + 0.05 * inFs : wH - 0.05 * inFs) / kTwoPi;
}

TEST(BellDesign, ReferenceCases)
{
    FailedChecks checks;
    const BellResult b = designBell(1000.0, 1.0, 6.0, 48000.0);
    const double expected[6] = {1.064184, -1.867502, 0.81936, 1.0, -1.861254, 0.877297};
    for (int i = 0; i < 6; ++i)
        EXPECT_NEAR(b.mDigital[i], expected[i], i == 2 ? 5e-6 : 5e-7) << i;
    EXPECT_NEAR(b.digital(1000.0), 3.981072, 5e-7);
    EXPECT_LT(b.digital(999.0), b.digital(1000.0));
    EXPECT_LT(b.digital(1001.0), b.digital(1000.0));
    EXPECT_NEAR(upperPoint(1000.0, 48000.0), 19428.4, 0.05);
    for (double f : {500.0, upperPoint(1000.0, 48000.0)})
        EXPECT_NEAR(b.digital(f), b.target(f), 5e-7) << f;

    // The centre above 0.3968 fs: the upper point moves below it.
    const BellResult high = designBell(18000.0, 0.5, 5.0, 44100.0);
    EXPECT_NEAR(upperPoint(18000.0, 44100.0), 17147.9, 0.05);
    for (double f : {18000.0, 9000.0, upperPoint(18000.0, 44100.0)})
        EXPECT_NEAR(high.digital(f), high.target(f), 1e-9 * high.target(f)) << f;

    // Very low: the plain bilinear image of the target.
    const BellResult low = designBell(8.0, 1.0, 3.0, 48000.0);
    EXPECT_NEAR(low.mDigital[4], -1.998952, 5e-7);
    double plain[6];
    dsp::bilinearOrder2(low.mAnalog[0], low.mAnalog[1], low.mAnalog[2], 1.0, low.mAnalog[4], low.mAnalog[5],
                        96000.0, plain);
    for (int i = 0; i < 6; ++i)
        EXPECT_NEAR(low.mDigital[i], plain[i], 1e-14) << i;

    // At the limit: four fixed points.
    const BellResult limit = designBell(24000.0, 1.0, 6.0, 48000.0);
    EXPECT_NEAR(limit.digital(23952.0), limit.target(23952.0), 5e-6);
    EXPECT_EQ(checks.first(), "");
}

TEST(BellDesign, FlatGainAndOutputGain)
{
    for (double gain : {0.0, 9.99e-7, -9.99e-7}) {
        const BellResult b = designBell(3000.0, 2.0, gain, 48000.0);
        for (int i = 0; i < 3; ++i)
            EXPECT_NEAR(b.mDigital[i], b.mDigital[i + 3], 1e-14) << gain << " " << i;
    }
    const BellResult smallest = designBell(3000.0, 2.0, 1e-6, 48000.0);
    EXPECT_NE(smallest.mDigital[0], smallest.mDigital[3]);

    // The output gain scales the numerators and nothing else.
    const BellResult plain = designBell(2000.0, 0.7, -9.0, 96000.0);
    const BellResult loud = designBell(2000.0, 0.7, -9.0, 96000.0, 12.0);
    const double factor = std::pow(10.0, 12.0 / 20.0);
    for (int i = 0; i < 3; ++i) {
        EXPECT_NEAR(loud.mDigital[i], plain.mDigital[i] * factor, 1e-12) << i;
        EXPECT_NEAR(loud.mAnalog[i], plain.mAnalog[i] * factor, 1e-12 * std::fabs(loud.mAnalog[i])) << i;
        EXPECT_EQ(loud.mDigital[i + 3], plain.mDigital[i + 3]) << i;
    }
}

// The normal case solves for (gN s^2 + C s + w) / (s^2 + D s + w), whose power
// is linear in a = gN^2, b = C^2 - 2 gN w, e = D^2 - 2 w, f = w^2. The match can
// be exact only when the solution has f, a, C^2 and D^2 non-negative; found
// here by plain elimination with pivoting.
bool exactPrototypeExists(double inU0, double inPeak, double inU1, double inM1, double inU2, double inM2)
{
    long double rows[4][5] = {{inU0 * inU0, inU0, -inPeak * inU0, 1.0L - inPeak, inPeak * inU0 * inU0},
                              {2.0L * inU0, 1.0L, -inPeak, 0.0L, 2.0L * inPeak * inU0},
                              {inU1 * inU1, inU1, -inM1 * inU1, 1.0L - inM1, inM1 * inU1 * inU1},
                              {inU2 * inU2, inU2, -inM2 * inU2, 1.0L - inM2, inM2 * inU2 * inU2}};
    for (int column = 0; column < 4; ++column) {
        int pivot = column;
        for (int row = column + 1; row < 4; ++row)
            if (std::fabs(rows[row][column]) > std::fabs(rows[pivot][column]))
                pivot = row;
        std::swap(rows[column], rows[pivot]);
        for (int row = 0; row < 4; ++row)
            for (int k = 4; k >= column && row != column; --k)
                rows[row][k] -= rows[row][column] / rows[column][column] * rows[column][k];
    }
    const long double a = rows[0][4] / rows[0][0], b = rows[1][4] / rows[1][1];
    const long double e = rows[2][4] / rows[2][2], f = rows[3][4] / rows[3][3];
    return f >= 0.0L && a >= 0.0L && b + 2.0L * std::sqrt(a * f) >= 0.0L && e + 2.0L * std::sqrt(f) >= 0.0L;
}

double warpedSquare(double inHz, double inFs)
{
    const double warped = 2.0 * inFs * std::tan(M_PI * inHz / inFs);
    return warped * warped;
}

TEST(BellDesign, SweepIsStableMinimumPhaseAndMatched)
{
    FailedChecks checks;
    int inexact = 0;
    for (double fs : {44100.0, 48000.0, 96000.0, 192000.0})
        for (double f = 20.0; f <= 0.49 * fs; f *= 1.37)
            for (double Q : {0.1, 0.3, 0.707, 1.5, 4.0, 10.0})
                for (double gain : {-24.0, -12.0, -3.0, -0.5, 0.5, 3.0, 12.0, 24.0}) {
                    const BellResult b = designBell(f, Q, gain, fs);
                    const std::string where = std::to_string(fs) + " " + std::to_string(f) + " " +
                                              std::to_string(Q) + " " + std::to_string(gain);
                    ASSERT_TRUE(dsp::checkBuffer(b.mDigital, 6)) << where;
                    ASSERT_TRUE(dsp::DigitalIIRTools<2>::isStable(b.mDigital)) << where;
                    ASSERT_TRUE(dsp::DigitalIIRTools<2>::isMinimumPhase(b.mDigital)) << where;
                    const double peak = std::pow(10.0, gain / 10.0), upper = upperPoint(f, fs);
                    if (f < fs / 4000.0)
                        continue;  // the plain transform
                    if (!exactPrototypeExists(warpedSquare(f, fs), peak, warpedSquare(0.5 * f, fs),
                                              b.target(0.5 * f), warpedSquare(upper, fs), b.target(upper))) {
                        ++inexact;
                        continue;
                    }
                    EXPECT_NEAR(b.digital(f), peak, 1e-9 * peak) << where;
                    // Six places: poles close to z = 1 cost the solve a few digits.
                    for (double point : {0.5 * f, upper})
                        EXPECT_NEAR(b.digital(point), b.target(point), 1e-6 * b.target(point)) << where;
                    const double h = 1e-4 * f;
                    EXPECT_LT(std::fabs(order2_test::vertexOffset(b.digital(f - h), b.digital(f), b.digital(f + h), h)),
                              1e-6 * f)
                        << where;
                }
    // Over this range an exact prototype always exists; the test of it can tell.
    EXPECT_EQ(inexact, 0);
    EXPECT_FALSE(exactPrototypeExists(1.0, 4.0, 0.25, 100.0, 100.0, 1.0));
    EXPECT_EQ(checks.first(), "");
}

} // namespace
