#include "ModelTestSupport.h"

#include "model/q38_Sections.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

using namespace q38;
using q38::test::FakeClock;

struct SetupFixture : ::testing::Test
{
    std::unique_ptr<ModelState> mState = std::make_unique<ModelState>();
    FakeClock mClock;

    void setUp(double inSampleRate)
    {
        resetModel(*mState, mClock.clock());
        prepareModel(*mState, inSampleRate);
    }
};

TEST_F(SetupFixture, TimeConstantsAt44100And88200)
{
    setUp(44100.0);
    const ChannelState& channel = mState->mChannel[0];
    EXPECT_EQ(channel.mAmplifierCore.mLossScale, 1.0);
    EXPECT_EQ(channel.mOutputCore.mLossScale, 2.0);
    EXPECT_EQ(channel.mEnvelopeCoefficient, 0.000501303469433223);
    EXPECT_EQ(channel.mAmplifierCore.mLeak, 0.9997150888802726);
    EXPECT_EQ(channel.mOutputCore.mLeak, 0.9992878743953528);
    EXPECT_EQ(channel.mAmplifierCore.mOutputScale, 44100.0);
    EXPECT_DOUBLE_EQ(channel.mAmplifierCore.mInputScale * channel.mAmplifierCore.mOutputScale, 1.0);
    EXPECT_DOUBLE_EQ(channel.mOutputCore.mInputScale * channel.mOutputCore.mOutputScale, 1.0);

    // The shapers do not depend on the rate.
    EXPECT_NEAR(channel.mAmplifierCore.mShaper.mKneeLow, 0.0014614473, 5e-11);
    EXPECT_NEAR(channel.mAmplifierCore.mShaper.mKneeHigh, 0.0019237972, 5e-11);
    EXPECT_NEAR(channel.mOutputCore.mShaper.mKneeLow, 0.00011, 1e-15);
    EXPECT_NEAR(channel.mOutputCore.mShaper.mKneeHigh, 0.00189, 1e-15);
    EXPECT_NEAR(channel.mOutputTanh.mLimit, 0.6511629, 5e-8);
    EXPECT_EQ(channel.mEnvelopeClip.mUpper, 0.22387211385683395);
    EXPECT_EQ(channel.mEnvelopeClip.mLower, -0.22387211385683395);

    setUp(88200.0);
    EXPECT_EQ(mState->mChannel[1].mAmplifierCore.mLossScale, 0.5);
    EXPECT_EQ(mState->mChannel[1].mOutputCore.mLossScale, 1.0);
}

TEST_F(SetupFixture, ResetLeavesEveryGlidePendingAndEveryMemoryCleared)
{
    // Dirty the state first: the reset must not depend on what was there.
    std::memset(mState.get(), 0x5A, sizeof(ModelState));
    setUp(48000.0);
    EXPECT_EQ(mState->mFadePending, 1);
    EXPECT_EQ(mState->mFade, 1.0);
    EXPECT_EQ(mState->mInputMatrix.mPending, 1);
    EXPECT_EQ(mState->mOutputMatrix.mSecondToFirst, 0.0);
    for (const ChannelState& channel : mState->mChannel) {
        EXPECT_EQ(channel.mActivity, 0.0);
        EXPECT_EQ(channel.mBiasGainPending, 1);
        EXPECT_EQ(channel.mToneMixPending, 1);
        EXPECT_EQ(channel.mToneMix, 0.0);
        EXPECT_EQ(channel.mPreEmphasis.mPending, 1);
        EXPECT_EQ(channel.mCouplingHighPass.mPending, 1);
        EXPECT_EQ(channel.mLowShelf.mPending, 1);
        EXPECT_EQ(channel.mHighShelf.mMemory2, 0.0);
        EXPECT_EQ(channel.mDcBlock.mMemory, 0.0);
        EXPECT_EQ(channel.mBiasFloor, 0.0);
        EXPECT_EQ(channel.mBiasFeedback, 0.0);
        EXPECT_EQ(channel.mAmplifierCore.mState, 0.0);
        EXPECT_EQ(channel.mOutputCore.mPrevious, 0.0);
        EXPECT_EQ(std::memcmp(channel.mHighPassSecondOrder.mCoefficients, kSecondOrderIdentity,
                              sizeof(kSecondOrderIdentity)),
                  0);

        for (const GainRamp* ramp : {&channel.mInputRamp, &channel.mOutputRamp}) {
            EXPECT_EQ(ramp->mPending, 1);
            EXPECT_EQ(ramp->mCurrent, 1.0);
            EXPECT_EQ(ramp->mUpRatio, 1.0014450997779993);
            EXPECT_DOUBLE_EQ(ramp->mUpRatio * ramp->mDownRatio, 1.0);
            EXPECT_NEAR(std::exp(480.0 * ramp->mLogSpan / 2.0), 2.0, 1e-12);
        }
    }
}

TEST_F(SetupFixture, HissSeedsAreTheLowBitsOfOneClockReadingPerChannel)
{
    mClock.mReading = 0xABCDEF0100000010ull;
    setUp(44100.0);
    EXPECT_EQ(mClock.mReads, 2);
    EXPECT_EQ(mState->mChannel[0].mHissState, 0x10u);
    EXPECT_EQ(mState->mChannel[1].mHissState, 0x11u);
}

TEST_F(SetupFixture, BothChannelsGetEqualFixedDesigns)
{
    for (const double rate : {22050.0, 44100.0, 96000.0, 192000.0}) {
        setUp(rate);
        const ChannelState& first = mState->mChannel[0];
        const ChannelState& second = mState->mChannel[1];
        EXPECT_EQ(std::memcmp(&first.mFirstLowPass, &second.mFirstLowPass, sizeof(Biquad)), 0);
        EXPECT_EQ(std::memcmp(&first.mSecondBell, &second.mSecondBell, sizeof(Biquad)), 0);
        EXPECT_EQ(std::memcmp(first.mBiasLowPass, second.mBiasLowPass, sizeof(first.mBiasLowPass)), 0);
        EXPECT_EQ(std::memcmp(&first.mOutputCore, &second.mOutputCore, sizeof(SaturatingIntegrator)), 0);
    }
}

// The fixed filters against their analog intentions; meaningful once the designs are real.
TEST_F(SetupFixture, FixedFiltersAt48000)
{
    const double fs = 48000.0;
    setUp(fs);
    const ChannelState& channel = mState->mChannel[0];
    using test::magnitude;
    EXPECT_NEAR(magnitude(channel.mDcBlock.mCoefficients, 1, 0.0, fs), 0.0, 1e-9);
    EXPECT_NEAR(test::toDecibels(magnitude(channel.mDcBlock.mCoefficients, 1, 13.0, fs)), -3.0103, 0.05);
    EXPECT_NEAR(test::toDecibels(magnitude(channel.mBassLift.mCoefficients, 1, 0.0, fs)), 6.0, 1e-6);
    EXPECT_NEAR(test::toDecibels(magnitude(channel.mBassLift.mCoefficients, 1, 2000.0, fs)), 0.0, 0.01);
    EXPECT_NEAR(magnitude(channel.mInfrasonicHighPass.mCoefficients, 2, 0.0, fs), 0.0, 1e-9);
    EXPECT_NEAR(magnitude(channel.mSecondLowPass.mCoefficients, 2, 0.0, fs), 1.0, 1e-9);
    EXPECT_NEAR(test::toDecibels(magnitude(channel.mFirstBell.mCoefficients, 2, 6200.0, fs)), -0.25, 0.005);
    EXPECT_NEAR(test::toDecibels(magnitude(channel.mSecondBell.mCoefficients, 2, 649.0, fs)), 0.18, 0.005);
    EXPECT_NEAR(test::toDecibels(magnitude(channel.mBiasLowPass, 1, 5.0, fs)), -3.0103, 0.01);
}

} // namespace
