#include "ModelTestSupport.h"

#include "model/q38_TubeStages.h"

#include "vector/vector_Primitives.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

using namespace q38;
using test::Model;

TEST(GainRamp, JumpsWhenPendingOrCloseAndOtherwiseRampsGeometrically)
{
    GainRamp ramp = Model().state(0).mInputRamp;
    double ones[32], out[32];
    std::fill(ones, ones + 32, 1.0);
    runGainRamp(ones, out, 32, ramp, 8.0);  // pending after the reset
    EXPECT_TRUE(out[0] == 8.0 && out[31] == 8.0 && ramp.mPending == 0);

    // Doubling takes 480 samples of 2^(1/480) each and ends with a jump at a block boundary; halving likewise.
    for (const double target : {16.0, 8.0}) {
        const double start = ramp.mCurrent, step = target > start ? ramp.mUpRatio : ramp.mDownRatio;
        int blocks = 0;
        for (; ramp.mCurrent != target && blocks < 100; ++blocks) {
            runGainRamp(ones, out, 32, ramp, target);
            if (blocks == 0) {
                EXPECT_TRUE(out[0] == start * step && std::fabs(out[31] / start - std::pow(step, 32.0)) < 1e-12);
            }
        }
        EXPECT_TRUE(blocks == 14 || blocks == 15) << blocks;
    }
}

TEST(MatrixGlide, MonoUsesTheFirstGainOnlyAndStereoMixes)
{
    MatrixGlideState glide{1, 0.0, 0.0, 0.0, 0.0};
    const StereoMatrix midSide{0.5, 0.5, 0.5, -0.5, 0.001};
    const double left[] = {1.0, 2.0}, right[] = {3.0, 5.0};
    const double* in[] = {left, right};
    double first[2], second[2];
    double* out[] = {first, second};
    MatrixGlide(in, out, 2, 1, glide, midSide);
    EXPECT_TRUE(first[0] == 0.5 && first[1] == 1.0 && glide.mFirstToSecond == 0.0 && glide.mPending == 0);

    // No longer pending: the other gains glide up from 0 at the rate.
    MatrixGlide(in, out, 1, 2, glide, midSide);
    EXPECT_EQ(first[0], 1.0 * 0.5 + 3.0 * (0.5 * 0.001));
    EXPECT_EQ(second[0], 1.0 * (0.5 * 0.001) + 3.0 * (-0.5 * 0.001));
    glide.mPending = 1;
    MatrixGlide(in, out, 2, 2, glide, midSide);
    EXPECT_TRUE(first[1] == 3.5 && second[1] == -1.5);
}

TEST(HissGenerator, UniformFromItsSeed)
{
    std::uint64_t seed = 0;
    double hiss[3];
    HissGenerator(hiss, 3, seed);  // the third value comes from a negative signed state
    EXPECT_TRUE(hiss[0] == -0.8435826902434123 && hiss[1] == -0.7966024794064138 && hiss[2] == 0.21064664525046695);
    EXPECT_EQ(seed, 0x9AF678222E728119ull);
}

TEST(ToneSectionBlend, SwitchedOffFromTheStartPassesItsInputAndStandsStill)
{
    Model model;
    model.mParameters[kCh1EnableEq] = 0.0f;
    model.update();
    ChannelState& state = model.state(0);
    const ChannelState before = state;
    const std::vector<double> in = test::noise(32, 0.5, 3);
    double out[32];
    std::fill(out, out + 32, 0.25);
    ToneSectionBlend(in.data(), out, 32, model.coefficients(0), state);
    EXPECT_EQ(std::memcmp(out, in.data(), sizeof out), 0);
    EXPECT_EQ(std::memcmp(&before.mOutputCore, &state.mOutputCore, sizeof(SaturatingIntegrator)), 0);
    EXPECT_EQ(std::memcmp(&before.mLowShelf, &state.mLowShelf, sizeof(GlidingBiquad)), 0);

    // Switched on, the blend rises by 0.001 a sample from 0.
    model.mParameters[kCh1EnableEq] = 1.0f;
    model.update();
    ToneSectionBlend(in.data(), out, 32, model.coefficients(0), state);
    EXPECT_EQ(out[0], in[0]);
    EXPECT_NEAR(state.mToneMix, 1.0 - std::pow(0.999, 32), 1e-15);
}

TEST(AmplifierSection, ActivityMeterReadsTheBlockPeak)
{
    Model model;
    const std::vector<double> in = test::sine(0.05, 2000.0, 44100.0, 32 * 40);
    double out[32];
    for (int start = 0; start < 32 * 40; start += 32) {
        AmplifierSection(in.data() + start, out, 32, model.coefficients(0), model.state(0));
        double smallest = 0.0, largest = 0.0;
        vectorMinMax(out, 32, &smallest, &largest);
        EXPECT_DOUBLE_EQ(model.state(0).mActivity,
                         std::clamp(std::max(-smallest, largest) * 5.623413251903491 - 0.1, 0.0, 1.0));
    }
    EXPECT_GT(model.state(0).mActivity, 0.0);
}

TEST(ProcessModel, DefaultsKeepTheLevelOfAQuietSine)
{
    for (const double rate : {44100.0, 48000.0, 96000.0}) {
        const int length = static_cast<int>(rate);
        std::vector<double> signal[2] = {test::sine(0.01, 1000.0, rate, length), test::sine(0.01, 1000.0, rate, length)};
        Model(rate).run(signal, 2);
        for (int c = 0; c < 2; ++c)
            EXPECT_NEAR(test::rmsDb(signal[c], length / 2), test::rmsDb(test::sine(0.01, 1000.0, rate, length), length / 2),
                        0.5) << rate;
    }
}

} // namespace
