#include "ModelTestSupport.h"

#include "dsp/filter_design/dsp_IIRToolsImpl.h"
#include "dsp/filter_design/primitives/order1/dsp_Order1HighPass.h"
#include "dsp/filter_design/primitives/order1/dsp_Order1LowShelf.h"
#include "dsp/filter_design/primitives/order2/dsp_Bell.h"
#include "dsp/filter_design/primitives/order2/dsp_HighShelf2Q.h"
#include "dsp/filter_design/primitives/order2/dsp_LowShelf2.h"
#include "dsp/filter_design/primitives/order2/dsp_Order2HighPass.h"

#include <gtest/gtest.h>

#include <bit>
#include <cstring>

namespace {

using namespace q38;

struct MappingFixture : ::testing::Test
{
    ParameterValues mParameters;
    std::unique_ptr<ModelCoefficients> mCoefficients = std::make_unique<ModelCoefficients>();
    static constexpr double kRate = 44100.0;

    MappingFixture()
    {
        test::defaultParameters(mParameters);
        std::memset(mCoefficients.get(), 0, sizeof(ModelCoefficients));
        updateAll(mParameters, kRate, *mCoefficients);
    }

    const ChannelCoefficients& channel(int inIndex) const { return mCoefficients->mChannel[inIndex]; }
};

double gainDb(double inGain)
{
    return 20.0 * std::log10(inGain);
}

TEST_F(MappingFixture, InputAndOutputGainAlongTheControl)
{
    const struct
    {
        float mValue;
        double mInputDb;
        double mOutputDb;
    } cases[] = {{0.0f, -36.0, 36.0}, {0.75f, 0.0, 1.5}, {1.0f, 12.0, -9.0}};
    for (const auto& row : cases) {
        mParameters[kCh1InputGain] = row.mValue;
        updateInputGain(mParameters, kRate, *mCoefficients);
        EXPECT_NEAR(gainDb(channel(0).mInputGain), row.mInputDb, 1e-12) << row.mValue;
        EXPECT_NEAR(gainDb(channel(0).mOutputGain), row.mOutputDb, 1e-12) << row.mValue;
        if (row.mValue == 0.75f) {
            // A quarter of the way from the anchor at 2/3 to the one at 1.
            EXPECT_NEAR(gainDb(channel(0).mBiasGain), 0.7 + 0.25 * (-3.0 - 0.7), 1e-12);
            EXPECT_NEAR(gainDb(-channel(0).mSecondClip.mLower), -9.0 + 0.25 * 1.0, 1e-12);
            EXPECT_NEAR(gainDb(-channel(0).mFirstClip.mLower), -8.0, 1e-12);
        }
    }
    // Channel 2 keeps its own value while unlinked.
    EXPECT_NEAR(gainDb(channel(1).mInputGain), -36.0, 1e-12);

    // Outside the control range the table ends hold.
    mParameters[kCh1InputGain] = 1.5f;
    updateInputGain(mParameters, kRate, *mCoefficients);
    EXPECT_NEAR(gainDb(channel(0).mBiasFeedback), -1.5, 1e-12);
    mParameters[kCh1InputGain] = -0.5f;
    updateInputGain(mParameters, kRate, *mCoefficients);
    EXPECT_NEAR(gainDb(-channel(0).mBiasFloor), -5.0, 1e-12);
}

TEST_F(MappingFixture, HighPassPositionsAndTheirClipOffsets)
{
    const auto designsOf = [&](float inValue, double* outFirst, double* outSecond) {
        mParameters[kCh1HighPassFreq] = inValue;
        updateHighPass(mParameters, kRate, *mCoefficients);
        updateInputGain(mParameters, kRate, *mCoefficients);
        std::memcpy(outFirst, channel(0).mHighPassFirstOrder, sizeof(double) * 4);
        std::memcpy(outSecond, channel(0).mHighPassSecondOrder, sizeof(double) * 6);
    };
    double first[4];
    double second[6];
    double expectedFirst[4];
    double expectedSecond[6];

    designsOf(0.2499f, first, second);
    dsp::Order1LowShelf::design({320.0, 0.0, dsp::kUpperCorner, 0.0}, expectedFirst, kRate);
    dsp::Bell::design({75.0, 0.707, 0.0, 0.0}, expectedSecond, kRate);
    EXPECT_EQ(std::memcmp(first, expectedFirst, sizeof(first)), 0);
    EXPECT_EQ(std::memcmp(second, expectedSecond, sizeof(second)), 0);
    EXPECT_NEAR(gainDb(channel(0).mFirstClip.mUpper), -1.3, 1e-12);
    EXPECT_NEAR(gainDb(channel(0).mSecondClip.mUpper), -9.0, 1e-12);

    designsOf(0.25f, first, second);
    dsp::Order1LowShelf::design({75.0, 0.0, dsp::kUpperCorner, 0.0}, expectedFirst, kRate);
    dsp::Order2HighPass::design({75.0, 0.707, 0.0, 0.0}, expectedSecond, kRate);
    EXPECT_EQ(std::memcmp(first, expectedFirst, sizeof(first)), 0);
    EXPECT_EQ(std::memcmp(second, expectedSecond, sizeof(second)), 0);
    // A switched-in high-pass moves the clipping.
    EXPECT_NEAR(gainDb(channel(0).mFirstClip.mUpper), -1.3 + 5.0, 1e-12);
    EXPECT_NEAR(gainDb(channel(0).mSecondClip.mUpper), -9.0 - 3.0, 1e-12);
    EXPECT_NEAR(gainDb(-channel(0).mSecondClip.mLower), -7.5 + 1.6, 1e-12);
    EXPECT_NEAR(gainDb(-channel(0).mBiasFloor), -5.0 + 1.0, 1e-12);

    designsOf(0.6f, first, second);
    dsp::Order1HighPass::design({320.0, 0.0, 0.0}, expectedFirst, kRate);
    dsp::Bell::design({320.0, 0.707, 0.0, 0.0}, expectedSecond, kRate);
    EXPECT_EQ(std::memcmp(first, expectedFirst, sizeof(first)), 0);
    EXPECT_EQ(std::memcmp(second, expectedSecond, sizeof(second)), 0);

    designsOf(1.0f, first, second);
    dsp::Order1HighPass::design({250.0, 0.0, 0.0}, expectedFirst, kRate);
    dsp::Order2HighPass::design({100.0, 0.707, 0.0, 0.0}, expectedSecond, kRate);
    EXPECT_EQ(std::memcmp(first, expectedFirst, sizeof(first)), 0);
    EXPECT_EQ(std::memcmp(second, expectedSecond, sizeof(second)), 0);
    // Position 3 removes DC in both slots.
    EXPECT_NEAR(test::magnitude(first, 1, 0.0, kRate), 0.0, 1e-9);
    EXPECT_NEAR(test::magnitude(second, 2, 0.0, kRate), 0.0, 1e-9);
    EXPECT_NEAR(test::magnitude(first, 1, 5000.0, kRate), 1.0, 0.01);
}

TEST_F(MappingFixture, EnableEqOffSwitchesTheHighPassOutToo)
{
    mParameters[kCh1InputGain] = 0.4f;
    updateInputGain(mParameters, kRate, *mCoefficients);
    ChannelCoefficients bypassed;
    std::memcpy(&bypassed, &channel(0), sizeof(ChannelCoefficients));

    mParameters[kCh1HighPassFreq] = 0.8f;
    mParameters[kCh1EnableEq] = 0.0f;
    // The engine's order for "Enable Eq".
    updateEqEnable(mParameters, kRate, *mCoefficients);
    updateHighPass(mParameters, kRate, *mCoefficients);
    updateInputGain(mParameters, kRate, *mCoefficients);
    EXPECT_EQ(channel(0).mToneEnabled, 0);
    EXPECT_EQ(channel(0).mToneMixTarget, 0.0);
    bypassed.mToneEnabled = 0;
    bypassed.mToneMixTarget = 0.0;
    EXPECT_EQ(std::memcmp(&bypassed, &channel(0), sizeof(ChannelCoefficients)), 0);
    EXPECT_EQ(channel(1).mToneEnabled, 1);
}

TEST_F(MappingFixture, ToneControlsAtTheirMiddle)
{
    // The defaults are 0.5: a slightly bent curve gives +0.09 dB low and +0.08 dB high.
    double low[6];
    double high[6];
    dsp::LowShelf2::design({80.0, 0.2, 0.2, 0.09, 1, 0.0}, low, kRate);
    dsp::HighShelf2Q::design({6500.0, 0.2, 0.2, 0.08, 1, 0.0}, high, kRate);
    for (int k = 0; k < 6; ++k) {
        EXPECT_NEAR(channel(0).mLowShelf[k], low[k], 1e-12) << k;
        EXPECT_NEAR(channel(0).mHighShelf[k], high[k], 1e-12) << k;
    }
    EXPECT_NEAR(gainDb(test::magnitude(channel(0).mLowShelf, 2, 0.0, kRate)), 0.09, 1e-6);

    // Between anchors frequency, Q and gain move together.
    mParameters[kCh2EqLowToneGain] = 1.0f;
    mParameters[kCh2EqHighToneGain] = 0.0f;
    updateToneEq(mParameters, kRate, *mCoefficients);
    dsp::LowShelf2::design({100.0, 0.5, 0.5, 10.0, 1, 0.0}, low, kRate);
    dsp::HighShelf2Q::design({4000.0, 0.5, 0.5, -10.0, 1, 0.0}, high, kRate);
    for (int k = 0; k < 6; ++k) {
        EXPECT_NEAR(channel(1).mLowShelf[k], low[k], 1e-12) << k;
        EXPECT_NEAR(channel(1).mHighShelf[k], high[k], 1e-12) << k;
    }
}

TEST_F(MappingFixture, StereoLinkMakesChannelTwoAByteCopy)
{
    mParameters[kCh1InputGain] = 0.3f;
    mParameters[kCh1HighPassFreq] = 0.3f;
    mParameters[kCh1EqLowToneGain] = 0.9f;
    mParameters[kCh2EnableEq] = 0.0f;
    mParameters[kCh2InputGain] = 0.9f;
    mParameters[kStereoLink] = 1.0f;
    // Fill channel 2 with bytes that no update writes (padding included).
    std::memset(&mCoefficients->mChannel[1], 0xA5, sizeof(ChannelCoefficients));
    updateAll(mParameters, kRate, *mCoefficients);
    EXPECT_EQ(std::memcmp(&channel(0), &channel(1), sizeof(ChannelCoefficients)), 0);

    // Each group keeps the copy whole, whichever channel 2 control moved.
    std::memset(&mCoefficients->mChannel[1], 0xA5, sizeof(ChannelCoefficients));
    updateToneEq(mParameters, kRate, *mCoefficients);
    EXPECT_EQ(std::memcmp(&channel(0), &channel(1), sizeof(ChannelCoefficients)), 0);
    std::memset(&mCoefficients->mChannel[1], 0xA5, sizeof(ChannelCoefficients));
    updateEqEnable(mParameters, kRate, *mCoefficients);
    EXPECT_EQ(std::memcmp(&channel(0), &channel(1), sizeof(ChannelCoefficients)), 0);

    // Unlinked, channel 2 follows its own controls again.
    mParameters[kStereoLink] = 0.0f;
    updateAll(mParameters, kRate, *mCoefficients);
    EXPECT_EQ(channel(1).mToneEnabled, 0);
    EXPECT_NEAR(gainDb(channel(1).mInputGain), 48.0 * 0.9f - 36.0, 1e-9);
}

TEST_F(MappingFixture, MatricesForStereoModePhaseAndTrim)
{
    const StereoMatrix& in = mCoefficients->mInputMatrix;
    const StereoMatrix& out = mCoefficients->mOutputMatrix;
    EXPECT_EQ(std::bit_cast<std::uint64_t>(in.mGlideRate), 0x3F50624DE0000000ull);
    EXPECT_EQ(std::bit_cast<std::uint64_t>(out.mGlideRate), 0x3F50624DE0000000ull);
    EXPECT_EQ(in.mFirstToFirst, 1.0);
    EXPECT_EQ(in.mFirstToSecond, 0.0);
    EXPECT_EQ(out.mSecondToSecond, 1.0);

    mParameters[kStereoMode] = 1.0f;
    mParameters[kCh1PhaseReverse] = 1.0f;
    mParameters[kCh1OutputTrim] = 1.0f;
    mParameters[kCh2OutputTrim] = 0.0f;
    updateInputOutput(mParameters, kRate, *mCoefficients);
    // Only the left input is reversed, ahead of the encoder.
    EXPECT_EQ(in.mFirstToFirst, -0.5);
    EXPECT_EQ(in.mFirstToSecond, -0.5);
    EXPECT_EQ(in.mSecondToFirst, 0.5);
    EXPECT_EQ(in.mSecondToSecond, -0.5);
    EXPECT_NEAR(gainDb(out.mFirstToFirst), 24.0, 1e-12);
    EXPECT_EQ(out.mFirstToSecond, out.mFirstToFirst);
    EXPECT_NEAR(gainDb(out.mSecondToFirst), -24.0, 1e-12);
    EXPECT_EQ(out.mSecondToSecond, -out.mSecondToFirst);

    // Linked, channel 2 takes channel 1's phase and trim.
    mParameters[kStereoLink] = 1.0f;
    updateInputOutput(mParameters, kRate, *mCoefficients);
    EXPECT_EQ(in.mSecondToFirst, -0.5);
    EXPECT_EQ(out.mSecondToFirst, out.mFirstToFirst);

    mParameters[kEnableEffect] = 0.5f;
    updateEnable(mParameters, kRate, *mCoefficients);
    EXPECT_EQ(mCoefficients->mEffectEnabled, 0);
    EXPECT_EQ(mCoefficients->mWetTarget, 0.0);
}

} // namespace
