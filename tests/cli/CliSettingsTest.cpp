// Settings in physical units, texts and normalized values; presets; the
// parameter table.

#include "CliTestSupport.h"

#include <gtest/gtest.h>

#include <cstdio>

using namespace clitest;

namespace {

class CliSettings : public ::testing::Test
{
protected:
    void SetUp() override
    {
        // Loud enough that every control changes the output's bits.
        writeSound(mFolder / "in.wav", makeSound(48000, 2, 9000, [](long long inFrame, int inChannel) {
                       return sine(inChannel ? 150.0 : 2500.0, -14.0, 48000)(inFrame, inChannel);
                   }));
    }

    RunResult render(const std::string& inOutName, std::vector<std::string> inOptions)
    {
        std::vector<std::string> arguments = {
            "render", (mFolder / "in.wav").string(), "-o", (mFolder / inOutName).string(), "--seed", "3", "-q",
            "--force"};
        arguments.insert(arguments.end(), inOptions.begin(), inOptions.end());
        return runQ38(arguments);
    }

    Sound rendered(const std::string& inOutName, const std::vector<std::string>& inOptions)
    {
        const RunResult run = render(inOutName, inOptions);
        EXPECT_EQ(run.mStatus, 0) << run.mErr;
        return readSound(mFolder / inOutName);
    }

    ScratchFolder mFolder;
};

std::string normalized(double inValue)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.9g", static_cast<float>(inValue));
    return text;
}

} // namespace

TEST_F(CliSettings, PhysicalValuesMapAsTheEngineDoes)
{
    // Each row: the same setting as a person writes it and as the engine's
    // normalized value from the engine's own mapping.
    const std::vector<std::pair<std::vector<std::string>, std::vector<std::string>>> pairs = {
        {{"--input-gain1", "40"}, {"--set", "5=" + normalized((40.0 - 3.0) / 73.0)}},
        {{"--set", "Ch.1: Input Gain=40dB"}, {"--set", "5=" + normalized((40.0 - 3.0) / 73.0)}},
        {{"--input-gain", "58 dB"}, {"--set", "5=" + normalized(55.0 / 73.0), "--set", "6=" + normalized(55.0 / 73.0)}},
        {{"--trim", "-3"}, {"--set", "15=0.4375", "--set", "16=0.4375"}},
        {{"--high-tone2", "+5"}, {"--set", "10=0.75"}},
        {{"--set", "eq-low-tone-gain1=-10 dB"}, {"--set", "11=0"}},
    };
    const Sound plain = rendered("plain.wav", {});
    for (const auto& [person, engine] : pairs) {
        SCOPED_TRACE(person.back());
        const Sound a = rendered("a.wav", person);
        EXPECT_TRUE(sameSamples(a, rendered("b.wav", engine)));
        EXPECT_FALSE(sameSamples(a, plain));
    }
}

TEST_F(CliSettings, TextsAndSwitchesSetTheirValues)
{
    const std::vector<std::pair<std::vector<std::string>, std::vector<std::string>>> pairs = {
        {{"--highpass", "80 Hz"}, {"--set", "7=0.25", "--set", "8=0.25"}},
        {{"--highpass2", "80+300hz"}, {"--set", "8=0.75"}},
        {{"--stereo-mode", "M/S"}, {"--set", "2=1"}},
        {{"--phase-reverse1"}, {"--set", "Ch.1: Phase Reverse=Reversed"}},
        {{"--link", "--input-gain1", "60"}, {"--set", "1=1", "--set", "5=" + normalized(57.0 / 73.0)}},
        {{"--eq", "off"}, {"--set", "13=0", "--set", "14=0"}},
    };
    for (const auto& [person, engine] : pairs) {
        SCOPED_TRACE(person.front());
        EXPECT_TRUE(sameSamples(rendered("a.wav", person), rendered("b.wav", engine)));
    }
}

TEST_F(CliSettings, TrimMovesTheOutputLevelBySoManyDecibels)
{
    const Sound plain = rendered("plain.wav", {});
    const Sound lower = rendered("lower.wav", {"--trim", "-6"});
    for (int channel = 0; channel < 2; ++channel)
        EXPECT_NEAR(rmsDb(plain, channel, 4000) - rmsDb(lower, channel, 4000), 6.0, 0.05);
}

TEST_F(CliSettings, BadSettingsAreRefusedWithTheParameterAndItsRange)
{
    struct Case
    {
        std::vector<std::string> mOptions;
        std::vector<std::string> mExpected;
    };
    const Case cases[] = {
        {{"--input-gain", "80"}, {"Ch.1: Input Gain", "80 dB", "3 to 76 dB"}},
        {{"--trim2", "-24.5dB"}, {"Ch.2: Output Trim", "-24 to 24 dB"}},
        {{"--set", "Ch.1: Eq Low Tone Gain=11"}, {"Ch.1: Eq Low Tone Gain", "-10 to 10 dB"}},
        {{"--set", "7=1.5"}, {"Ch.1: HighPass Freq", "0 to 1"}},
        {{"--highpass", "90 Hz"}, {"Ch.1: HighPass Freq", "Bypassed | 80 Hz | 300 Hz | 80 + 300 Hz"}},
        {{"--stereo-mode", "X/Y"}, {"Stereo Mode", "L/R | M/S"}},
        {{"--input-gain", "loud"}, {"Ch.1: Input Gain", "loud"}},
        {{"--set", "Volume=3"}, {"unknown parameter", "Volume"}},
        {{"--set", "17=0"}, {"unknown parameter id 17"}},
        {{"--seed", "-1"}, {"--seed"}},
        {{"--trim"}, {"--trim", "needs a value"}},
        {{"--no-such-option"}, {"unknown option --no-such-option"}},
    };
    for (const Case& item : cases) {
        SCOPED_TRACE(item.mOptions.front());
        const RunResult run = render("out.wav", item.mOptions);
        EXPECT_EQ(run.mStatus, 2);
        EXPECT_EQ(lineCount(run.mErr), 1) << run.mErr;
        EXPECT_EQ(run.mErr.rfind("q38: ", 0), 0u) << run.mErr;
        for (const std::string& expected : item.mExpected)
            EXPECT_NE(run.mErr.find(expected), std::string::npos) << run.mErr;
        EXPECT_FALSE(fs::exists(mFolder / "out.wav"));
    }
}

TEST_F(CliSettings, PresetFilesLoadAndSavedPresetsRenderTheSame)
{
    writeText(mFolder / "warm.q38preset", "# a warm vocal\n"
                                          "Ch.1: Input Gain = 52 dB   # hot\n"
                                          "\n"
                                          "input-gain2 = 48.5\n"
                                          "highpass = 80 Hz\n"
                                          "Stereo Link = Unlinked\n"
                                          "trim = -2.25 dB\n");
    const Sound fromPreset =
        rendered("preset.wav", {"--preset", (mFolder / "warm.q38preset").string(), "--save-preset"});
    const Sound fromOptions = rendered(
        "options.wav", {"--input-gain1", "52", "--input-gain2", "48.5", "--highpass", "80 Hz", "--trim", "-2.25"});
    EXPECT_TRUE(sameSamples(fromPreset, fromOptions));

    const std::string saved = fileBytes(mFolder / "preset.q38preset");
    EXPECT_NE(saved.find("Ch.1: Input Gain = 52 dB\n"), std::string::npos) << saved;
    EXPECT_NE(saved.find("Ch.2: HighPass Freq = 80 Hz\n"), std::string::npos) << saved;
    EXPECT_NE(saved.find("Ch.2: Output Trim = -2.25 dB\n"), std::string::npos) << saved;
    const fs::path copy = mFolder / "copy.q38preset";
    EXPECT_TRUE(sameSamples(
        rendered("again.wav", {"--preset", (mFolder / "preset.q38preset").string(), "--save-preset", copy.string()}),
        fromPreset));
    // The same settings, under a header that names other files.
    const std::string copied = fileBytes(copy);
    EXPECT_EQ(copied.substr(copied.find("\nEnable")), saved.substr(saved.find("\nEnable")));

    // Options after a preset win over it.
    EXPECT_TRUE(sameSamples(rendered("later.wav", {"--preset", (mFolder / "warm.q38preset").string(), "--input-gain1",
                                                   "48.5", "--input-gain2", "52"}),
                            rendered("swapped.wav", {"--input-gain1", "48.5", "--input-gain2", "52", "--highpass",
                                                     "80 Hz", "--trim", "-2.25"})));
}

TEST_F(CliSettings, PresetErrorsNameTheFileAndLine)
{
    writeText(mFolder / "bad.q38preset", "# fine\ntrim = 0\ninput-gain = 99 dB\n");
    const RunResult run = render("out.wav", {"--preset", (mFolder / "bad.q38preset").string()});
    EXPECT_EQ(run.mStatus, 2);
    EXPECT_NE(run.mErr.find("bad.q38preset:3: Ch.1: Input Gain"), std::string::npos) << run.mErr;
    EXPECT_EQ(lineCount(run.mErr), 1);
    writeText(mFolder / "bad.q38preset", "no equals sign\n");
    EXPECT_NE(render("out.wav", {"--preset", (mFolder / "bad.q38preset").string()}).mErr.find("bad.q38preset:1:"),
              std::string::npos);
    EXPECT_FALSE(fs::exists(mFolder / "out.wav"));
}

TEST(CliParams, ListsTheEnginesParameters)
{
    const RunResult run = runQ38({"params"});
    ASSERT_EQ(run.mStatus, 0);
    for (const char* expected : {"Enable Effect", "Ch.2: Output Trim", "3 to 76", "-10 to 10", "-24 to 24",
                                 "Bypassed | 80 Hz | 300 Hz | 80 + 300 Hz", "Unlinked | Linked", "L/R | M/S",
                                 "Normal | Reversed", "--input-gain", "--trim"})
        EXPECT_NE(run.mOut.find(expected), std::string::npos) << expected;
    // A header and 17 rows, then the option words after a blank line.
    EXPECT_EQ(lineCount(run.mOut.substr(0, run.mOut.find("\n\n") + 1)), 18) << run.mOut;
}

TEST(CliHelp, DocumentsEveryOptionWithAnExample)
{
    const RunResult overview = runQ38({"--help"});
    EXPECT_EQ(overview.mStatus, 0);
    for (const char* command : {"render", "demo", "params"})
        EXPECT_NE(overview.mOut.find(std::string("q38 ") + command), std::string::npos);
    const RunResult render = runQ38({"render", "--help"});
    EXPECT_EQ(render.mStatus, 0);
    for (const char* option : {"--output", "--subtype", "--force", "--save-preset", "--set", "--preset", "--bypass",
                               "--seed", "--quiet", "--input-gain", "--highpass", "--trim", "--link", "--stereo-mode"})
        EXPECT_NE(render.mOut.find(option), std::string::npos) << option;
    EXPECT_EQ(runQ38({"help", "render"}).mOut, render.mOut);
    const RunResult wrong = runQ38({"frobnicate"});
    EXPECT_EQ(wrong.mStatus, 2);
    EXPECT_EQ(lineCount(wrong.mErr), 1);
}
