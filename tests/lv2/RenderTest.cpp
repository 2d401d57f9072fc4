// Audio through the plugin against the engine linked directly: same seed,
// same settings, sample for sample.

#include "Lv2TestHost.h"

#include "Q38Engine.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>

namespace lv2test {
namespace {

// Port values that the parameter table maps exactly, and their normalized values.
const std::map<std::string, float> kControls = {
    {"ch1_input_gain", 39.5f}, {"ch2_input_gain", 21.25f}, {"ch1_highpass", 2.0f}, {"ch2_highpass", 3.0f},
    {"ch1_high_tone", 5.0f},   {"ch2_low_tone", -5.0f},    {"ch1_output_trim", -12.0f}, {"ch2_output_trim", 6.0f},
    {"ch2_phase_reverse", 1.0f},
};
const std::map<int, float> kParameters = {
    {kCh1InputGain, 0.5f},      {kCh2InputGain, 0.25f},      {kCh1HighPassFreq, 0.5f}, {kCh2HighPassFreq, 0.75f},
    {kCh1EqHighToneGain, 0.75f}, {kCh2EqLowToneGain, 0.25f}, {kCh1OutputTrim, 0.25f},  {kCh2OutputTrim, 0.625f},
    {kCh2PhaseReverse, 1.0f},
};

::testing::AssertionResult bitIdentical(const Audio& inActual, const Audio& inExpected)
{
    if (inActual.size() != inExpected.size())
        return ::testing::AssertionFailure() << "channel counts differ";
    for (std::size_t c = 0; c < inActual.size(); ++c) {
        if (inActual[c].size() != inExpected[c].size())
            return ::testing::AssertionFailure() << "lengths differ";
        for (std::size_t i = 0; i < inActual[c].size(); ++i)
            if (std::memcmp(&inActual[c][i], &inExpected[c][i], sizeof(float)) != 0)
                return ::testing::AssertionFailure() << "channel " << c << " frame " << i << ": " << inActual[c][i]
                                                     << " instead of " << inExpected[c][i];
    }
    return ::testing::AssertionSuccess();
}

class Render : public ::testing::Test
{
protected:
    TestHost mHost;
};

TEST_F(Render, EqualsTheEngineForAnyHostBlockSize)
{
    const Audio input = testSignal(2, 9000);
    Meters meters{};
    Meters engineMeters{};
    const Audio expected = renderEngine(input, 32, kParameters, {}, &engineMeters);
    for (const std::uint32_t block : {1u, 31u, 32u, 33u, 512u, 4096u}) {
        SCOPED_TRACE(block);
        EXPECT_TRUE(bitIdentical(mHost.render(kStereoUri, input, block, kControls, {}, &meters), expected));
    }
    // The meters read the last engine block: at 4096 frames a run, 9000 frames end in one of 8.
    renderEngine(input, 4096, kParameters, {}, &engineMeters);
    for (int m = 0; m < 2; ++m) {
        EXPECT_GT(meters.mValues[m], 0.0f);  // tones of 0.3 with gain read well above the floor
        EXPECT_EQ(meters.mValues[m], engineMeters.mValues[m]);
    }
}

TEST_F(Render, MonoHandsTheEngineOneChannel)
{
    const Audio input = testSignal(1, 3000);
    Meters meters{};
    Meters engineMeters{};
    const Audio expected = renderEngine(input, 100, kParameters, {}, &engineMeters);
    EXPECT_TRUE(bitIdentical(mHost.render(kMonoUri, input, 100, kControls, {}, &meters), expected));
    EXPECT_GT(meters.mValues[0], 0.0f);
    EXPECT_EQ(meters.mValues[0], engineMeters.mValues[0]);
    EXPECT_EQ(meters.mValues[1], 0.0f);  // channel 2 never runs
}

TEST_F(Render, ControlChangeTakesEffectAtTheNextEngineBlock)
{
    const Audio input = testSignal(2, 4000);
    const Audio steady = renderEngine(input, 32, {});
    for (const std::uint32_t block : {1u, 40u, 512u}) {
        SCOPED_TRACE(block);
        const std::size_t at = 3 * block;
        const Audio changed = mHost.render(kStereoUri, input, block, {},
                                           {{at, "ch1_input_gain", 76.0f}, {at, "ch2_highpass", 1.0f}});
        EXPECT_TRUE(bitIdentical(changed, renderEngine(input, block, {},
                                                       {{at, kCh1InputGain, 1.0f}, {at, kCh2HighPassFreq, 0.25f}})));
        for (std::size_t c = 0; c < 2; ++c) {
            EXPECT_TRUE(std::equal(changed[c].begin(), changed[c].begin() + static_cast<std::ptrdiff_t>(at),
                                   steady[c].begin()));
            EXPECT_NE(changed[c], steady[c]);
        }
    }
}

TEST_F(Render, HostBypassFadesToTheDrySignal)
{
    const Audio input = testSignal(2, 14000);
    const Audio bypassed = mHost.render(kStereoUri, input, 256, kControls, {{1024, "enable", 0.0f}});
    EXPECT_TRUE(bitIdentical(bypassed, renderEngine(input, 256, kParameters, {{1024, kEnableEffect, 0.0f}})));
    // The fade of 1000 samples per e-fold has passed its floor well before
    // frame 1024 + 9206 + 256; from then on the input comes through untouched.
    for (std::size_t c = 0; c < 2; ++c) {
        EXPECT_NE(bypassed[c][1100], input[c][1100]);
        EXPECT_TRUE(std::equal(bypassed[c].begin() + 10600, bypassed[c].end(), input[c].begin() + 10600));
    }
}

TEST_F(Render, OutOfRangeControlsAreHeldToTheParameterRange)
{
    const Audio input = testSignal(2, 2000);
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const Audio wild = mHost.render(kStereoUri, input, 64, {{"ch1_input_gain", 500.0f}, {"ch2_input_gain", nan},
                                                            {"ch1_highpass", 2.6f}, {"ch2_highpass", 1.4f},
                                                            {"ch2_phase_reverse", 0.25f}, {"ch1_output_trim", -1e30f}});
    EXPECT_TRUE(bitIdentical(wild, renderEngine(input, 64, {{kCh1InputGain, 1.0f}, {kCh1HighPassFreq, 0.75f},
                                                             {kCh2HighPassFreq, 0.25f}, {kCh2PhaseReverse, 1.0f},
                                                             {kCh1OutputTrim, 0.0f}})));
}

} // namespace
} // namespace lv2test
