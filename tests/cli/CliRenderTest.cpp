// Rendering files: their shape, levels, seeds and bypass; settings, presets,
// the parameter list, the help and the demo.

#include "CliTestSupport.h"

using namespace clitest;

namespace {

class CliRender : public ::testing::Test
{
protected:
    // Renders inInput quietly with seed 3 unless the options say otherwise.
    Sound render(const Sound& inInput, std::vector<std::string> inOptions, const std::string& inOutput = "out.wav",
                 int inFormat = kWavFloat)
    {
        writeSound(mFolder / "in", inInput, inFormat);
        inOptions.insert(inOptions.begin(), {"render", "in", "-o", inOutput, "--seed", "3", "-q", "--force"});
        const RunResult run = mFolder.run(inOptions);
        EXPECT_EQ(run.mStatus, 0) << run.mErr;
        EXPECT_EQ(run.mOut + run.mErr, "");
        return readSound(mFolder / inOutput);
    }

    ScratchFolder mFolder;
};

TEST_F(CliRender, KeepsLengthRateAndChannelsInEveryFormat)
{
    struct Case
    {
        int mRate, mChannels, mInputFormat;
        std::string mOutput;
        int mOutputFormat;
        std::vector<std::string> mOptions = {};
    };
    const Case cases[] = {
        {8000, 1, kWavFloat, "out.wav", kWavFloat},
        {44100, 2, kWavFloat, "out.wav", kWavFloat},
        {48000, 1, SF_FORMAT_FLAC | SF_FORMAT_PCM_16, "out.flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_24},
        {48000, 2, SF_FORMAT_AIFF | SF_FORMAT_PCM_24, "out.aiff", SF_FORMAT_AIFF | SF_FORMAT_FLOAT},
        {96000, 1, SF_FORMAT_OGG | SF_FORMAT_VORBIS, "out.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_24, 
         {"--subtype", "PCM_24"}},
        {96000, 2, SF_FORMAT_WAV | SF_FORMAT_PCM_16, "out.ogg", SF_FORMAT_OGG | SF_FORMAT_VORBIS},
        {384000, 2, kWavFloat, "out.wav", kWavFloat},
    };
    for (const Case& item : cases) {
        SCOPED_TRACE(std::to_string(item.mRate) + " Hz to " + item.mOutput);
        // An odd length leaves a last block shorter than 32 samples.
        const Sound in = tone(item.mRate, item.mChannels, item.mRate / 10 + 17, -20.0);
        const Sound out = render(in, item.mOptions, item.mOutput, item.mInputFormat);
        EXPECT_EQ(out.mSampleRate, item.mRate);
        EXPECT_EQ(out.mChannels, item.mChannels);
        EXPECT_EQ(out.frames(), in.frames());
        EXPECT_EQ(out.mFormat, item.mOutputFormat);
    }
}

TEST_F(CliRender, DefaultSettingsKeepAQuietSineWithinHalfADecibel)
{
    const Sound in = tone(48000, 2, 48000, -40.0);
    const Sound out = render(in, {});
    for (int channel = 0; channel < 2; ++channel)
        EXPECT_NEAR(rmsDb(out, channel, 24000), rmsDb(in, channel, 24000), 0.5) << "channel " << channel;

    // Without -q a summary goes to standard output, and without a terminal no progress bar.
    const RunResult loud = mFolder.run({"render", "in", "-o", "loud.wav"});
    EXPECT_EQ(loud.mErr, "");
    for (const char* expected : {"1.000 s", "real time", "meter"})
        EXPECT_NE(loud.mOut.find(expected), std::string::npos) << loud.mOut;
}

TEST_F(CliRender, SeedMakesTheHissReproducible)
{
    const Sound in = tone(44100, 2, 20000, -30.0);
    const Sound first = render(in, {"--seed", "7"});
    EXPECT_TRUE(sameSamples(render(in, {"--seed", "7"}), first));
    EXPECT_FALSE(sameSamples(render(in, {"--seed", "8"}), first));
    ASSERT_EQ(mFolder.run({"render", "in", "-o", "u.wav", "-q"}).mStatus, 0); // unseeded
    ASSERT_EQ(mFolder.run({"render", "in", "-o", "v.wav", "-q"}).mStatus, 0);
    EXPECT_FALSE(sameSamples(readSound(mFolder / "u.wav"), readSound(mFolder / "v.wav")));
}

TEST_F(CliRender, EffectOffGivesTheInputBitForBit)
{
    const Sound in = tone(44100, 2, 10000, 3.5); // beyond full scale, which 32-bit float keeps
    for (const std::vector<std::string>& options :
         {std::vector<std::string>{"--effect", "Off"}, {"--bypass"}, {"--set", "Enable Effect=off"}, {"--set", "0=0"}})
        EXPECT_TRUE(sameSamples(render(in, options), in)) << options.back();
}

TEST_F(CliRender, SettingsByNameWordTextAndNormalizedValueAgree)
{
    // As a person writes a setting, and as the engine's normalized values.
    const std::vector<std::pair<std::vector<std::string>, std::vector<std::string>>> pairs = {
        {{"--input-gain1", "39.5"}, {"--set", "5=0.5"}},
        {{"--set", "Ch.1: Input Gain=21.25dB"}, {"--set", "5=0.25"}},
        {{"--input-gain", "57.75 dB"}, {"--set", "5=0.75", "--set", "6=0.75"}},
        {{"--trim", "-3"}, {"--set", "15=0.4375", "--set", "16=0.4375"}},
        {{"--high-tone2", "+5"}, {"--set", "10=0.75"}},
        {{"--set", "eq-low-tone-gain1=-10 dB"}, {"--set", "11=0"}},
        {{"--highpass", "80 Hz"}, {"--set", "7=0.25", "--set", "8=0.25"}},
        {{"--highpass2", "80+300hz"}, {"--set", "8=0.75"}},
        {{"--highpass1", "1"}, {"--set", "7=0.25"}}, // an index, as in Python
        {{"--stereo-mode", "M/S"}, {"--set", "2=1"}},
        {{"--phase-reverse1"}, {"--set", "3=1"}},
        {{"--set", "Ch.2: Phase Reverse=Reversed"}, {"--set", "4=1"}},
        {{"--link", "--input-gain1", "76"}, {"--set", "1=1", "--set", "5=1"}},
        {{"--eq", "off"}, {"--set", "13=0", "--set", "14=0"}},
    };
    const Sound in = tone(48000, 2, 9000, -14.0);
    const Sound plain = render(in, {});
    for (const auto& [person, engine] : pairs) {
        SCOPED_TRACE(person.back());
        const Sound set = render(in, person);
        EXPECT_TRUE(sameSamples(set, render(in, engine)));
        EXPECT_FALSE(sameSamples(set, plain));
    }
}

TEST_F(CliRender, PresetsLoadSaveAndGiveWayToLaterOptions)
{
    writeText(mFolder / "warm.q38preset", "# a warm vocal\nCh.1: Input Gain = 52 dB   # hot\n\ninput-gain2 = 48.5\n"
                                          "highpass = 80 Hz\nStereo Link = Unlinked\ntrim = -2.25 dB\n");
    const auto options = [](const char* inGain1) {
        return std::vector<std::string>{"--input-gain2", "48.5", "--highpass", "80 Hz", "--trim", "-2.25",
                                        "--input-gain1", inGain1};
    };
    const Sound in = tone(48000, 2, 9000, -14.0);
    const Sound preset = render(in, {"--preset", "warm.q38preset", "--save-preset"}, "a.wav");
    EXPECT_TRUE(sameSamples(preset, render(in, options("52"))));
    EXPECT_TRUE(sameSamples(render(in, {"--preset", "a.q38preset"}), preset));
    EXPECT_TRUE(sameSamples(render(in, {"--preset", "warm.q38preset", "--input-gain1", "40"}), render(in, options("40"))));
}

TEST_F(CliRender, ParamsAndHelp)
{
    const std::string params = mFolder.run({"params"}).mOut;
    for (const char* expected : {"Enable Effect", "Ch.2: Output Trim", "3 to 76", "-10 to 10", "-24 to 24",
                                 "Bypassed | 80 Hz | 300 Hz | 80 + 300 Hz", "L/R | M/S", "--input-gain", "--trim"})
        EXPECT_NE(params.find(expected), std::string::npos) << expected;
    // A header and 17 rows, then the option words after a blank line.
    EXPECT_EQ(std::count(params.begin(), params.begin() + long(params.find("\n\n") + 1), '\n'), 18) << params;

    EXPECT_NE(mFolder.run({"--help"}).mOut.find("q38 render IN -o OUT"), std::string::npos);
    const std::string render = mFolder.run({"render", "--help"}).mOut;
    EXPECT_NE(render.find("--save-preset [FILE]"), std::string::npos);
    EXPECT_EQ(mFolder.run({"help", "render"}).mOut, render);
}

TEST_F(CliRender, DemoWritesItsFilesAndATableOfLevels)
{
    const RunResult run = mFolder.run({"demo", "-o", "demo"});
    ASSERT_EQ(run.mStatus, 0) << run.mErr;
    EXPECT_EQ(run.mErr, "");
    EXPECT_NE(run.mOut.find("meter 2"), std::string::npos);
    const Sound programme = readSound(mFolder / "demo/programme.wav");
    EXPECT_EQ(programme.mChannels, 2);
    EXPECT_GT(programme.frames(), 3 * 48000);
    for (const std::string gain : {"03", "30", "50", "70"}) {
        EXPECT_NE(run.mOut.find("input-gain-" + gain + "dB.wav"), std::string::npos) << gain;
        EXPECT_EQ(readSound(mFolder / ("demo/input-gain-" + gain + "dB.wav")).mSamples.size(), programme.mSamples.size());
    }
    // Its hiss seed is fixed, so a second run gives the same files.
    const std::string first = fileBytes(mFolder / "demo/input-gain-70dB.wav");
    ASSERT_EQ(mFolder.run({"demo", "-o", "demo", "-q"}).mStatus, 0);
    EXPECT_EQ(fileBytes(mFolder / "demo/input-gain-70dB.wav"), first);
}

} // namespace
