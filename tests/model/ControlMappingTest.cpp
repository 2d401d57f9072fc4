#include "ModelTestSupport.h"

#include "dsp/filter_design/primitives/order1/dsp_Order1HighPass.h"
#include "dsp/filter_design/primitives/order1/dsp_Order1HighShelf.h"
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

constexpr double kRate = 44100.0;

double db(double inGain) { return 20.0 * std::log10(inGain); }

template <std::size_t Size>
void expectNear(const double* inActual, const double (&inExpected)[Size])
{
    for (std::size_t k = 0; k < Size; ++k)
        EXPECT_NEAR(inActual[k], inExpected[k], 1e-12) << k;
}

// A table of anchors spread evenly over 0..1, read at a value that hits its
// segments exactly.
template <std::size_t Size>
double lookup(const double (&inTable)[Size], double inValue)
{
    const int segments = static_cast<int>(Size) - 1;
    const int i = std::min(static_cast<int>(inValue * segments), segments - 1);
    const double f = inValue * segments - i;
    return (1.0 - f) * inTable[i] + f * inTable[i + 1];
}

TEST(ControlMapping, InputGainAlongItsTableWithAndWithoutTheHighPass)
{
    const double shelfFrequency[] = {15000, 8000, 4500, 4000}, shelfGain[] = {0, 8, 8, 10};
    const double firstUpper[] = {-1.3, -5.7, -5.7, -5.5}, secondUpper[] = {-9, -9, -7, -6};
    const double secondLower[] = {-7.5, -10, -9, -8}, coupling[] = {24, 18, 15, 20};
    const double biasGain[] = {-18, -6, 0.7, -3}, feedback[] = {-1, -0.2, -3, -1.5}, floor[] = {-5, -13, -10, -15};
    const struct
    {
        float mValue;
        double mInputDb, mOutputDb;
    } rows[] = {{0.0f, -36, 36}, {0.5f, -12, 12}, {0.75f, 0, 1.5}, {1.0f, 12, -9}};
    for (const int c : {0, 1}) {
        for (const bool filtered : {false, true}) {
            for (const auto& row : rows) {
                SCOPED_TRACE(testing::Message() << "channel " << c << " filtered " << filtered << " at " << row.mValue);
                test::Model model(kRate);
                model.mParameters[kCh1InputGain + c] = row.mValue;
                model.mParameters[kCh1HighPassFreq + c] = filtered ? 0.25f : 0.0f;
                model.update();
                const ChannelCoefficients& ch = model.coefficients(c);
                const double g = row.mValue;
                EXPECT_NEAR(db(ch.mInputGain), row.mInputDb, 1e-12);
                EXPECT_NEAR(db(ch.mOutputGain), row.mOutputDb, 1e-12);
                EXPECT_NEAR(db(ch.mBiasGain), lookup(biasGain, g), 1e-12);
                EXPECT_NEAR(db(ch.mBiasFeedback), lookup(feedback, g), 1e-12);
                EXPECT_NEAR(db(-ch.mBiasFloor), lookup(floor, g) + (filtered ? 1.0 : 0.0), 1e-12);
                EXPECT_NEAR(db(-ch.mFirstClip.mLower), -8.0, 1e-12);
                EXPECT_NEAR(db(ch.mFirstClip.mUpper), lookup(firstUpper, g) + (filtered ? 5.0 : 0.0), 1e-12);
                EXPECT_NEAR(db(ch.mSecondClip.mUpper), lookup(secondUpper, g) - (filtered ? 3.0 : 0.0), 1e-12);
                EXPECT_NEAR(db(-ch.mSecondClip.mLower), lookup(secondLower, g) + (filtered ? 1.6 : 0.0), 1e-12);
                double pre[4], de[4], highPass[6];
                const double frequency = lookup(shelfFrequency, g);
                dsp::Order1HighShelf::design({frequency, lookup(shelfGain, g), dsp::kLowerCorner, 0.0}, pre, kRate);
                dsp::Order1HighShelf::design({frequency, -lookup(shelfGain, g), dsp::kLowerCorner, 0.0}, de, kRate);
                dsp::Order2HighPass::design({lookup(coupling, g), 0.6, 0.0, 0.0}, highPass, kRate);
                expectNear(ch.mPreEmphasis, pre);
                expectNear(ch.mDeEmphasis, de);
                expectNear(ch.mCouplingHighPass, highPass);
            }
        }
    }
}

TEST(ControlMapping, HighPassPositionsAndEnableEqOff)
{
    double first[4][4], second[4][6];
    dsp::Order1LowShelf::design({320.0, 0.0, dsp::kUpperCorner, 0.0}, first[0], kRate);
    dsp::Bell::design({75.0, 0.707, 0.0, 0.0}, second[0], kRate);
    dsp::Order1LowShelf::design({75.0, 0.0, dsp::kUpperCorner, 0.0}, first[1], kRate);
    dsp::Order2HighPass::design({75.0, 0.707, 0.0, 0.0}, second[1], kRate);
    dsp::Order1HighPass::design({320.0, 0.0, 0.0}, first[2], kRate);
    dsp::Bell::design({320.0, 0.707, 0.0, 0.0}, second[2], kRate);
    dsp::Order1HighPass::design({250.0, 0.0, 0.0}, first[3], kRate);
    dsp::Order2HighPass::design({100.0, 0.707, 0.0, 0.0}, second[3], kRate);

    test::Model bypassed(kRate);
    bypassed.mParameters[kCh1InputGain] = 0.4f;
    bypassed.update();
    const struct
    {
        float mValue, mEnableEq;
        int mPosition;
    } rows[] = {{0.2499f, 1, 0}, {0.25f, 1, 1}, {0.6f, 1, 2}, {1.0f, 1, 3}, {0.8f, 0, 0}};
    for (const auto& row : rows) {
        test::Model model(kRate);
        model.mParameters[kCh1InputGain] = 0.4f;
        model.mParameters[kCh1HighPassFreq] = row.mValue;
        model.mParameters[kCh1EnableEq] = row.mEnableEq;
        model.update();
        ChannelCoefficients& ch = model.coefficients(0);
        EXPECT_EQ(std::memcmp(ch.mHighPassFirstOrder, first[row.mPosition], sizeof first[0]), 0) << row.mValue;
        EXPECT_EQ(std::memcmp(ch.mHighPassSecondOrder, second[row.mPosition], sizeof second[0]), 0) << row.mValue;
        if (row.mEnableEq == 0.0f) {
            // Off, the switch is out as well as the tone: all as at position 0 but the tone's own fields.
            EXPECT_EQ(ch.mToneEnabled, 0);
            EXPECT_EQ(ch.mToneMixTarget, 0.0);
            ch.mToneEnabled = 1;
            ch.mToneMixTarget = 1.0;
            EXPECT_EQ(std::memcmp(&ch, &bypassed.coefficients(0), sizeof ch), 0);
            EXPECT_EQ(model.coefficients(1).mToneEnabled, 1);
        }
    }
}

TEST(ControlMapping, ToneShelvesAlongTheirTables)
{
    const double lowQ[] = {0.5, 0.4, 0.2, 0.2, 0.3, 0.4, 0.5}, lowFrequency[] = {120, 100, 80, 80, 80, 90, 100};
    const double highQ[] = {0.5, 0.4, 0.3, 0.2, 0.2, 0.3, 0.4};
    const double highFrequency[] = {4000, 4800, 6500, 6500, 6500, 5000, 4000};
    for (const float v : {0.0f, 0.25f, 0.5f, 0.75f, 1.0f}) {
        test::Model model(kRate);
        model.mParameters[kCh2EqLowToneGain] = v;
        model.mParameters[kCh2EqHighToneGain] = v;
        model.update();
        // From -10 to +10 dB, through +0.09 dB (low) and +0.08 dB (high) at 0.5.
        const double lowGain = std::pow(v, 0.98707382555573) * 20.0 - 10.0;
        const double highGain = std::pow(v, 0.9885043611621706) * 20.0 - 10.0;
        double low[6], high[6];
        dsp::LowShelf2::design({lookup(lowFrequency, v), lookup(lowQ, v), lookup(lowQ, v), lowGain, 1, 0.0}, low, kRate);
        dsp::HighShelf2Q::design({lookup(highFrequency, v), lookup(highQ, v), lookup(highQ, v), highGain, 1, 0.0}, high,
                                 kRate);
        SCOPED_TRACE(v);
        expectNear(model.coefficients(1).mLowShelf, low);
        expectNear(model.coefficients(1).mHighShelf, high);
    }
}

TEST(ControlMapping, StereoLinkCopiesChannelOneWholeInEveryGroup)
{
    test::Model model(kRate);
    ParameterValues& p = model.mParameters;
    p[kCh1InputGain] = p[kCh1HighPassFreq] = 0.3f;
    p[kCh1EqLowToneGain] = 0.9f;
    p[kCh2EnableEq] = 0.0f;
    p[kCh2InputGain] = 0.9f;
    p[kStereoLink] = 1.0f;
    using Update = void (*)(const ParameterValues&, double, ModelCoefficients&);
    for (const Update update : {&updateAll, &updateInputGain, &updateHighPass, &updateToneEq, &updateEqEnable}) {
        std::memset(&model.coefficients(1), 0xA5, sizeof(ChannelCoefficients));  // padding included
        update(p, kRate, *model.mCoefficients);
        EXPECT_EQ(std::memcmp(&model.coefficients(0), &model.coefficients(1), sizeof(ChannelCoefficients)), 0);
    }
    p[kStereoLink] = 0.0f;
    model.update();
    EXPECT_EQ(model.coefficients(1).mToneEnabled, 0);
    EXPECT_NEAR(db(model.coefficients(1).mInputGain), 48.0 * 0.9f - 36.0, 1e-9);
}

TEST(ControlMapping, MatricesForStereoModePhaseAndTrim)
{
    test::Model model(kRate);
    const StereoMatrix& in = model.mCoefficients->mInputMatrix;
    const StereoMatrix& out = model.mCoefficients->mOutputMatrix;
    EXPECT_EQ(std::bit_cast<std::uint64_t>(in.mGlideRate), 0x3F50624DE0000000ull);
    EXPECT_EQ(std::bit_cast<std::uint64_t>(out.mGlideRate), 0x3F50624DE0000000ull);
    EXPECT_TRUE(in.mFirstToFirst == 1.0 && in.mFirstToSecond == 0.0 && out.mSecondToSecond == 1.0);

    ParameterValues& p = model.mParameters;
    p[kStereoMode] = p[kCh1PhaseReverse] = p[kCh1OutputTrim] = 1.0f;
    p[kCh2OutputTrim] = 0.0f;
    model.update();
    // Only the left input is reversed, ahead of the encoder.
    EXPECT_TRUE(in.mFirstToFirst == -0.5 && in.mFirstToSecond == -0.5);
    EXPECT_TRUE(in.mSecondToFirst == 0.5 && in.mSecondToSecond == -0.5);
    EXPECT_NEAR(db(out.mFirstToFirst), 24.0, 1e-12);
    EXPECT_NEAR(db(out.mSecondToFirst), -24.0, 1e-12);
    EXPECT_TRUE(out.mFirstToSecond == out.mFirstToFirst && out.mSecondToSecond == -out.mSecondToFirst);

    // Linked, channel 2 takes channel 1's phase and trim.
    p[kStereoLink] = 1.0f;
    p[kEnableEffect] = 0.5f;
    model.update();
    EXPECT_EQ(in.mSecondToFirst, -0.5);
    EXPECT_EQ(out.mSecondToFirst, out.mFirstToFirst);
    EXPECT_TRUE(model.mCoefficients->mEffectEnabled == 0 && model.mCoefficients->mWetTarget == 0.0);
}

} // namespace
