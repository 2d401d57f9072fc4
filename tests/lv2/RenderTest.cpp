// Audio through the plugin, in our host and in lv2apply, against the engine
// linked directly: same seed, same settings, sample for sample.

#include "Lv2TestHost.h"
#include "lv2_PortTable.h"

#include <sndfile.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <limits>

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
protected:
    int channels() const { return GetParam() == std::string(kStereoUri) ? 2 : 1; }
    TestHost mHost;
};

TEST_P(Render, EqualsTheEngineForAnyHostBlockSize)
{
    const Audio input = testSignal(channels(), 9010);
    const Audio expected = renderEngine(input, 32, kParameters);
    float meters[kNumMeters] = {};
    for (const std::uint32_t block : {1u, 31u, 32u, 33u, 512u, 4096u}) {
        SCOPED_TRACE(block);
        EXPECT_TRUE(bitIdentical(mHost.render(GetParam(), input, block, kControls, meters), expected));
    }
    // The meters read the last engine block: at 4096 a run, 9010 frames end in a block of 18.
    float engineMeters[kNumMeters] = {};
    renderEngine(input, 4096, kParameters, engineMeters);
    for (int m = 0; m < kNumMeters; ++m) {
        EXPECT_EQ(meters[m], engineMeters[m]);
        EXPECT_EQ(meters[m] > 0.0f, m < channels()); // a loud signal on the channels that run
    }
}

// lv2apply, an uninstrumented host from lilv-utils, runs the plugin one frame per run().
TEST_P(Render, Lv2ApplyEqualsOurHostAt512)
{
    const std::filesystem::path folder =
        std::filesystem::path(::testing::TempDir()) / ("q38_lv2apply_" + std::to_string(::getpid()));
    std::filesystem::create_directories(folder);
    const Audio input = testSignal(channels(), 5000);
    const sf_count_t length = sf_count_t(input[0].size());
    std::vector<float> frames(input.size() * input[0].size()); // interleaved
    for (std::size_t i = 0; i < frames.size(); ++i)
        frames[i] = input[i % input.size()][i / input.size()];
    SF_INFO info{0, kSampleRate, channels(), SF_FORMAT_WAV | SF_FORMAT_FLOAT, 0, 0};
    SNDFILE* file = sf_open((folder / "in.wav").c_str(), SFM_WRITE, &info);
    ASSERT_NE(file, nullptr);
    sf_writef_float(file, frames.data(), length);
    sf_close(file);

    // A sanitizer build of the plugin needs the sanitizer's runtime preloaded
    // into the tool; the tool's own leaks are none of ours.
    std::string command = "cd '" + folder.string() + "' && LV2_PATH='" Q38_LV2_PATH "' Q38_HISS_SEED=";
    command += std::to_string(kSeed);
    if (*Q38_SANITIZER_RUNTIME != '\0')
        command += " LD_PRELOAD='" Q38_SANITIZER_RUNTIME "' ASAN_OPTIONS=detect_leaks=0:abort_on_error=1";
    command += " '" Q38_LV2APPLY "' -i in.wav -o out.wav";
    for (const auto& control : kControls)
        command += " -c " + control.mKey + " " + std::to_string(control.mValue);
    ASSERT_EQ(std::system((command + " " + GetParam()).c_str()), 0) << command;

    file = sf_open((folder / "out.wav").c_str(), SFM_READ, &info);
    ASSERT_TRUE(file != nullptr && info.channels == channels() && info.frames == length);
    sf_readf_float(file, frames.data(), length);
    sf_close(file);
    std::filesystem::remove_all(folder);
    Audio applied = input;
    for (std::size_t i = 0; i < frames.size(); ++i)
        applied[i % input.size()][i / input.size()] = frames[i];
    EXPECT_TRUE(bitIdentical(applied, mHost.render(GetParam(), input, 512, kControls)));
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
        const Audio expected = renderEngine(input, block, {{at, kCh1InputGain, 1}, {at, kCh2HighPassFreq, 0.25f}});
        EXPECT_TRUE(bitIdentical(changed, expected));
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
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const Audio wild = host.render(kStereoUri, input, 64,
                                   {{0, "ch1_input_gain", 500}, {0, "ch2_input_gain", nan}, {0, "ch1_highpass", 2.6f},
                                    {0, "ch2_highpass", 1.4f}, {0, "ch2_phase_reverse", 0.25f},
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
