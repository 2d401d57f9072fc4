#include "ModelTestSupport.h"

#include "dsp/filter_design/dsp_IIRToolsImpl.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

using namespace q38;

TEST(SampleRateSetup, TimeConstantsAndShapers)
{
    test::Model model(44100.0);
    const ChannelState& channel = model.state(0);
    EXPECT_EQ(channel.mAmplifierCore.mLossScale, 1.0);
    EXPECT_EQ(channel.mOutputCore.mLossScale, 2.0);
    EXPECT_EQ(channel.mEnvelopeCoefficient, 0.000501303469433223);
    EXPECT_EQ(channel.mAmplifierCore.mLeak, 0.9997150888802726);
    EXPECT_EQ(channel.mOutputCore.mLeak, 0.9992878743953528);
    EXPECT_EQ(channel.mAmplifierCore.mOutputScale, 44100.0);
    EXPECT_EQ(channel.mOutputCore.mOutputScale, 44100.0);
    EXPECT_DOUBLE_EQ(channel.mAmplifierCore.mInputScale * 44100.0, 1.0);
    EXPECT_DOUBLE_EQ(channel.mOutputCore.mInputScale * 44100.0, 1.0);
    EXPECT_EQ(channel.mEnvelopeClip.mUpper, 0.22387211385683395);
    EXPECT_EQ(channel.mEnvelopeClip.mLower, -0.22387211385683395);
    EXPECT_NEAR(channel.mAmplifierCore.mShaper.mKneeLow, 0.0014614473, 5e-11);
    EXPECT_NEAR(channel.mAmplifierCore.mShaper.mKneeHigh, 0.0019237972, 5e-11);
    EXPECT_NEAR(channel.mOutputCore.mShaper.mKneeLow, 0.00011, 1e-15);
    EXPECT_NEAR(channel.mOutputCore.mShaper.mKneeHigh, 0.00189, 1e-15);
    EXPECT_NEAR(channel.mOutputTanh.mLimit, 0.6511629, 5e-8);

    test::Model doubled(88200.0);
    EXPECT_EQ(doubled.state(1).mAmplifierCore.mLossScale, 0.5);
    EXPECT_EQ(doubled.state(1).mOutputCore.mLossScale, 1.0);
}

TEST(SampleRateSetup, FixedFiltersMeetTheirAnalogTargets)
{
    const double fs = 48000.0;
    test::Model model(fs);
    const ChannelState& s = model.state(0);
    const struct
    {
        const double* mCoefficients;
        int mOrder;
        double mFrequency, mMagnitude, mTolerance;
    } checks[] = {
        {s.mDcBlock.mCoefficients, 1, 0.0, 0.0, 1e-9},         {s.mDcBlock.mCoefficients, 1, 13.0, 0.7071, 0.005},
        {s.mBassLift.mCoefficients, 1, 0.0, 1.99526, 1e-5},    {s.mBassLift.mCoefficients, 1, 2000.0, 1.0, 0.002},
        {s.mInfrasonicHighPass.mCoefficients, 2, 0.0, 0.0, 1e-9}, {s.mFirstLowPass.mCoefficients, 2, 0.0, 1.0, 1e-9},
        {s.mSecondLowPass.mCoefficients, 2, 0.0, 1.0, 1e-9},   {s.mFirstBell.mCoefficients, 2, 6200.0, 0.97163, 5e-4},
        {s.mSecondBell.mCoefficients, 2, 649.0, 1.02094, 5e-4}, {s.mBiasLowPass, 1, 5.0, 0.7071, 0.001},
    };
    for (const auto& check : checks) {
        const double* c = check.mCoefficients;
        const double power = check.mOrder == 1 ? dsp::digitalSquaredMagnitudeOrder1(c, check.mFrequency, fs)
                                               : dsp::digitalSquaredMagnitudeOrder2(c, check.mFrequency, fs);
        EXPECT_NEAR(std::sqrt(power), check.mMagnitude, check.mTolerance) << &check - checks;
    }
    // Both channels alike at every rate: with the same hiss they give the same output.
    for (const double rate : {22050.0, 96000.0, 192000.0}) {
        test::Model other(rate);
        other.state(1).mHissState = other.state(0).mHissState;
        std::vector<double> signal[2] = {test::noise(2000, 0.5, 1), test::noise(2000, 0.5, 1)};
        other.run(signal, 2);
        EXPECT_EQ(signal[0], signal[1]) << rate;
    }
}

// Whatever the memory held before, a reset model sounds the same: nothing
// stale survives, and every glide starts from its target.
TEST(SampleRateSetup, ResetLeavesNothingOfThePreviousState)
{
    std::vector<double> outputs[2][2];
    for (const int fill : {0x00, 0xFF}) {
        test::Model model(48000.0, 0xABCDEF0100000010ull);
        std::memset(model.mState.get(), fill, sizeof(ModelState));
        model.mClock.mReads = 0;
        resetModel(*model.mState, model.mClock.clock());
        prepareModel(*model.mState, 48000.0);
        EXPECT_EQ(model.mClock.mReads, 2);
        EXPECT_EQ(model.state(0).mHissState, 0x10u);  // the low bits of one reading per channel
        EXPECT_EQ(model.state(1).mHissState, 0x11u);
        // Pending: the fade and both matrices take their targets at once.
        EXPECT_TRUE(model.mState->mFadePending && model.mState->mInputMatrix.mPending
                    && model.mState->mOutputMatrix.mPending && model.mState->mFade == 1.0);
        std::vector<double>* signal = outputs[fill & 1];
        signal[0] = test::noise(3000, 0.5, 1);
        signal[1] = test::noise(3000, 0.5, 2);
        model.run(signal, 2, 29);
    }
    EXPECT_EQ(outputs[0][0], outputs[1][0]);
    EXPECT_EQ(outputs[0][1], outputs[1][1]);
}

} // namespace
