// Rendering files: shape of the output, levels, seeds, bypass and formats.

#include "CliTestSupport.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace clitest;

namespace {

// Renders IN (written from inSound) to OUT with the options; expects success.
Sound renderSound(const ScratchFolder& inFolder, const Sound& inSound, const std::vector<std::string>& inOptions,
                  const std::string& inOutName = "out.wav")
{
    const fs::path in = inFolder / "in.wav";
    const fs::path out = inFolder / inOutName;
    fs::remove(out);
    writeSound(in, inSound);
    std::vector<std::string> arguments = {"render", in.string(), "-o", out.string()};
    arguments.insert(arguments.end(), inOptions.begin(), inOptions.end());
    const RunResult run = runQ38(arguments);
    EXPECT_EQ(run.mStatus, 0) << run.mErr;
    return readSound(out);
}

} // namespace

TEST(CliRender, KeepsLengthRateAndChannelsAtEveryRate)
{
    ScratchFolder folder;
    for (int rate : {8000, 44100, 48000, 96000, 384000}) {
        for (int channels : {1, 2}) {
            SCOPED_TRACE(std::to_string(rate) + " Hz, " + std::to_string(channels) + " channels");
            // An odd length leaves a last block shorter than 32 samples.
            const long long frames = rate / 10 + 17;
            const Sound out = renderSound(folder, makeSound(rate, channels, frames, sine(440.0, -20.0, rate)), {});
            EXPECT_EQ(out.mSampleRate, rate);
            EXPECT_EQ(out.mChannels, channels);
            EXPECT_EQ(out.frames(), frames);
            EXPECT_EQ(out.mFormat, SF_FORMAT_WAV | SF_FORMAT_FLOAT);
        }
    }
}

TEST(CliRender, DefaultSettingsKeepAQuietSineWithinHalfADecibel)
{
    ScratchFolder folder;
    constexpr int kRate = 48000;
    const Sound in = makeSound(kRate, 2, kRate, sine(1000.0, -40.0, kRate));
    const Sound out = renderSound(folder, in, {"--seed", "1"});
    for (int channel = 0; channel < 2; ++channel)
        EXPECT_NEAR(rmsDb(out, channel, kRate / 2), rmsDb(in, channel, kRate / 2), 0.5) << "channel " << channel;
}

TEST(CliRender, SeedMakesTheHissReproducible)
{
    ScratchFolder folder;
    const Sound in = makeSound(44100, 2, 20000, sine(220.0, -30.0, 44100));
    const Sound first = renderSound(folder, in, {"--seed", "7"});
    const Sound again = renderSound(folder, in, {"--seed", "7"});
    const Sound otherSeed = renderSound(folder, in, {"--seed", "8"});
    const Sound unseeded = renderSound(folder, in, {});
    const Sound unseededAgain = renderSound(folder, in, {});
    EXPECT_TRUE(sameSamples(first, again));
    EXPECT_FALSE(sameSamples(first, otherSeed));
    EXPECT_FALSE(sameSamples(unseeded, unseededAgain));
}

TEST(CliRender, EffectOffGivesTheInputBitForBit)
{
    ScratchFolder folder;
    // Full-scale noise and values beyond full scale survive in 32-bit float.
    const Sound in = makeSound(44100, 2, 10000, noise(1.5));
    for (const auto& options : std::vector<std::vector<std::string>>{
             {"--effect", "Off"}, {"--bypass"}, {"--set", "Enable Effect=off"}, {"--set", "0=0"}}) {
        SCOPED_TRACE(options.front());
        EXPECT_TRUE(sameSamples(renderSound(folder, in, options), in));
    }
}

TEST(CliRender, ReadsAndWritesOtherFormats)
{
    ScratchFolder folder;
    const Sound in = makeSound(48000, 2, 12345, sine(330.0, -12.0, 48000));
    struct Case
    {
        int mInputFormat;
        std::string mOutput;
        std::vector<std::string> mOptions;
        int mExpectedFormat;
    };
    const Case cases[] = {
        {SF_FORMAT_FLAC | SF_FORMAT_PCM_16, "out.flac", {}, SF_FORMAT_FLAC | SF_FORMAT_PCM_24},
        {SF_FORMAT_AIFF | SF_FORMAT_PCM_24, "out.aiff", {}, SF_FORMAT_AIFF | SF_FORMAT_FLOAT},
        {SF_FORMAT_OGG | SF_FORMAT_VORBIS, "out.wav", {"--subtype", "PCM_24"}, SF_FORMAT_WAV | SF_FORMAT_PCM_24},
        {SF_FORMAT_WAV | SF_FORMAT_PCM_16, "out.ogg", {}, SF_FORMAT_OGG | SF_FORMAT_VORBIS},
    };
    for (const Case& item : cases) {
        SCOPED_TRACE(item.mOutput);
        const fs::path input = folder / "input";
        writeSound(input, in, item.mInputFormat);
        std::vector<std::string> arguments = {"render", input.string(), "-o", (folder / item.mOutput).string()};
        arguments.insert(arguments.end(), item.mOptions.begin(), item.mOptions.end());
        const RunResult run = runQ38(arguments);
        ASSERT_EQ(run.mStatus, 0) << run.mErr;
        const Sound out = readSound(folder / item.mOutput);
        EXPECT_EQ(out.mFormat, item.mExpectedFormat);
        EXPECT_EQ(out.mSampleRate, 48000);
        EXPECT_EQ(out.mChannels, 2);
        EXPECT_EQ(out.frames(), in.frames());
        fs::remove(folder / item.mOutput);
    }
}

TEST(CliRender, SummaryOnStandardOutputAndNoProgressBarWithoutATerminal)
{
    ScratchFolder folder;
    writeSound(folder / "in.wav", makeSound(48000, 1, 48000, sine(100.0, -20.0, 48000)));
    const RunResult loud = runQ38({"render", (folder / "in.wav").string(), "-o", (folder / "a.wav").string()});
    EXPECT_EQ(loud.mStatus, 0);
    EXPECT_EQ(loud.mErr, "");
    EXPECT_NE(loud.mOut.find("1.000 s"), std::string::npos) << loud.mOut;
    EXPECT_NE(loud.mOut.find("real time"), std::string::npos) << loud.mOut;
    EXPECT_NE(loud.mOut.find("meter"), std::string::npos) << loud.mOut;
    const RunResult quiet = runQ38({"render", (folder / "in.wav").string(), "-o", (folder / "b.wav").string(), "-q"});
    EXPECT_EQ(quiet.mStatus, 0);
    EXPECT_EQ(quiet.mOut + quiet.mErr, "");
}
