// Audio through the plugin against the engine linked directly: same seed,
// same settings, sample for sample.

#include "Lv2TestHost.h"
#include "lv2_PortTable.h"

#include <cstring>

namespace lv2test {
namespace {

// Port values that the parameter table maps exactly, and their normalized values.
const Controls kControls = {
    {0, "ch1_input_gain", 39.5f}, {0, "ch2_input_gain", 21.25f}, {0, "ch1_highpass", 2.0f},
    {0, "ch2_highpass", 3.0f},    {0, "ch1_high_tone", 5.0f},    {0, "ch2_low_tone", -5.0f},
    {0, "ch1_output_trim", -12.0f}, {0, "ch2_output_trim", 6.0f}, {0, "ch2_phase_reverse", 1.0f},
    {0, "oversampling", 1.0f}, // the bare engine
};
const Parameters kParameters = {
    {0, kCh1InputGain, 0.5f},       {0, kCh2InputGain, 0.25f},     {0, kCh1HighPassFreq, 0.5f},
    {0, kCh2HighPassFreq, 0.75f},   {0, kCh1EqHighToneGain, 0.75f}, {0, kCh2EqLowToneGain, 0.25f},
    {0, kCh1OutputTrim, 0.25f},     {0, kCh2OutputTrim, 0.625f},    {0, kCh2PhaseReverse, 1.0f},
};

::testing::AssertionResult bitIdentical(const Audio& inActual, const Audio& inExpected)
{
    if (inActual.size() != inExpected.size() || inActual[0].size() != inExpected[0].size())
        return ::testing::AssertionFailure() << "the shapes differ";
    for (std::size_t c = 0; c < inActual.size(); ++c)
        for (std::size_t i = 0; i < inActual[c].size(); ++i)
            if (std::memcmp(&inActual[c][i], &inExpected[c][i], sizeof(float)) != 0)
                return ::testing::AssertionFailure() << "channel " << c << " frame " << i << ": " << inActual[c][i]
                                                     << " instead of " << inExpected[c][i];
    return ::testing::AssertionSuccess();
}

class Render : public ::testing::TestWithParam<const char*>
{
};

// Block 1 is how lv2apply of lilv-utils runs a plugin.
TEST_P(Render, EqualsTheEngineForAnyHostBlockSize)
{
    TestHost host;
    const int channels = GetParam() == std::string(kStereoUri) ? 2 : 1;
    const Audio input = testSignal(channels, 9010);
    const Audio expected = renderEngine(input, 32, kParameters);
    float meters[kNumMeters] = {};
    for (const std::uint32_t block : {1u, 31u, 32u, 33u, 512u, 4096u}) {
        SCOPED_TRACE(block);
        EXPECT_TRUE(bitIdentical(host.render(GetParam(), input, block, kControls, meters), expected));
    }
    // The meters read the last engine block: at 4096 a run, 9010 frames end in a block of 18.
    float engineMeters[kNumMeters] = {};
    renderEngine(input, 4096, kParameters, engineMeters);
    for (int m = 0; m < kNumMeters; ++m) {
        EXPECT_EQ(meters[m], engineMeters[m]);
        EXPECT_EQ(meters[m] > 0.0f, m < channels); // a loud signal on the channels that run
    }
}

INSTANTIATE_TEST_SUITE_P(Plugins, Render, ::testing::Values(kStereoUri, kMonoUri));

TEST(Controls, ChangeTakesEffectAtTheNextEngineBlock)
{
    TestHost host;
    const Audio input = testSignal(2, 4000);
    const Audio steady = renderEngine(input, 32, {});
    for (const std::uint32_t block : {1u, 40u, 512u}) {
        SCOPED_TRACE(block);
        const std::size_t at = 3 * block;
        const Audio changed =
            host.render(kStereoUri, input, block, {{at, "ch1_input_gain", 76}, {at, "ch2_highpass", 1}});
        EXPECT_TRUE(
            bitIdentical(changed, renderEngine(input, block, {{at, kCh1InputGain, 1}, {at, kCh2HighPassFreq, 0.25f}})));
        for (std::size_t c = 0; c < 2; ++c) {
            EXPECT_TRUE(std::equal(steady[c].begin(), steady[c].begin() + long(at), changed[c].begin()));
            EXPECT_NE(changed[c], steady[c]);
        }
    }
}

TEST(Controls, OutOfRangeValuesAreHeldToTheParameterRange)
{
    TestHost host;
    const Audio input = testSignal(2, 2000);
    const Audio wild = host.render(kStereoUri, input, 64,
                                   {{0, "ch1_input_gain", 500}, {0, "ch2_input_gain", std::nanf("")},
                                    {0, "ch1_highpass", 2.6f}, {0, "ch2_highpass", 1.4f}, {0, "ch2_phase_reverse", 0.25f},
                                    {0, "ch1_output_trim", -1e30f}});
    EXPECT_TRUE(bitIdentical(wild, renderEngine(input, 64,
                                                {{0, kCh1InputGain, 1}, {0, kCh1HighPassFreq, 0.75f},
                                                 {0, kCh2HighPassFreq, 0.25f}, {0, kCh2PhaseReverse, 1},
                                                 {0, kCh1OutputTrim, 0}})));
}

TEST(Controls, EngineShowsThePhysicalValueTheHostSet)
{
    const std::unique_ptr<Q38Engine> engine(createQ38Engine());
    for (const int id : {kCh1InputGain, kCh2EqHighToneGain, kCh1EqLowToneGain, kCh2OutputTrim}) {
        lv2::ParameterPort port{};
        ASSERT_EQ(lv2::describeParameter(*engine, id, port), nullptr);
        for (int k = 0; k <= 4096; ++k) {
            const float physical = engine->getPhysicalValue(id, static_cast<float>(k) / 4096.0f);
            ASSERT_EQ(engine->getPhysicalValue(id, lv2::portToNormalized(port, physical)), physical) << id;
        }
    }
}

} // namespace
} // namespace lv2test
