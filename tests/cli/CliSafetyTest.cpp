// Failures: a non-zero exit, one clear line, every file in the folder as it
// was and no output or temporary file left behind.

#include "CliTestSupport.h"

using namespace clitest;

namespace {

class CliSafety : public ::testing::Test
{
protected:
    void SetUp() override
    {
        writeSound(mFolder / "in.wav", tone(48000, 2, 48000, -20.0));
        writeSound(mFolder / "three.wav", tone(48000, 3, 100, -20.0));
        writeSound(mFolder / "slow.wav", tone(4000, 1, 100, -20.0));
        writeText(mFolder / "text.wav", "this is not a sound file\n");
        writeText(mFolder / "kept.wav", "keep me");
        writeText(mFolder / "bad.q38preset", "# fine\ntrim = 0\ninput-gain = 99 dB\n");
        writeText(mFolder / "worse.q38preset", "no equals sign\n");
        writeText(mFolder / "binary.q38preset", std::string("trim = 0\n\0\x01\x7f", 12));
        writeText(mFolder / "long.q38preset", "# fine\ntrim = " + std::string(2000, '0') + "\n");
        fs::create_directory(mFolder / "folder");
        fs::create_symlink("in.wav", mFolder / "link.wav");
        fs::create_hard_link(mFolder / "in.wav", mFolder / "hard.wav");
    }

    void expectFailure(const std::vector<std::string>& inArguments, int inStatus, const std::string& inMessage,
                       const std::string& inVariables = "")
    {
        SCOPED_TRACE(inVariables + ::testing::PrintToString(inArguments));
        const auto before = mFolder.contents();
        const RunResult result = mFolder.run(inArguments, inVariables);
        EXPECT_EQ(result.mStatus, inStatus);
        EXPECT_EQ(result.mErr.rfind("q38: ", 0), 0u) << result.mErr;
        EXPECT_NE(result.mErr.find(inMessage), std::string::npos) << result.mErr;
        EXPECT_EQ(result.mErr.find('\n'), result.mErr.size() - 1) << result.mErr;
        EXPECT_EQ(result.mOut, "");
        EXPECT_TRUE(mFolder.contents() == before);
    }

    ScratchFolder mFolder;
};

std::vector<std::string> renderWith(std::vector<std::string> inOptions)
{
    inOptions.insert(inOptions.begin(), {"render", "in.wav", "-o", "out.wav"});
    return inOptions;
}

TEST_F(CliSafety, EveryFailureLeavesTheFilesAsTheyWere)
{
    struct Case
    {
        std::vector<std::string> mArguments;
        int mStatus; // 1: a file cannot be read or written, 2: a bad command line
        std::string mMessage;
        const char* mVariables = "";
    };
    const char* full = "Q38_TEST_WRITE_LIMIT=10000"; // the header fits, the samples do not
    const char* fuller = "Q38_TEST_WRITE_LIMIT=20";  // not even the header fits
    const Case cases[] = {
        {{"render", "missing.wav", "-o", "out.wav"}, 1, "No such file or directory"},
        {{"render", "text.wav", "-o", "out.wav"}, 1, "is not a sound file"},
        {{"render", "folder", "-o", "out.wav"}, 1, "the output folder 'out.wav' does not exist"},
        {{"render", "three.wav", "-o", "out.wav"}, 1, "has 3 channels"},
        {{"render", "slow.wav", "-o", "out.wav"}, 1, "4000 Hz"},
        {{"render", "in.wav", "-o", "out.xyz"}, 2, "unsupported format '.xyz'"},
        {{"render", "in.wav", "-o", "out"}, 2, "unsupported format"},
        {{"render", "in.wav", "-o", "out.flac", "--subtype", "FLOAT"}, 2, "FLAC does not hold FLOAT"},
        {renderWith({"--subtype", "PCM_23"}), 2, "unknown subtype"},
        {{"render", "in.wav", "-o", "nowhere/out.wav"}, 1, "No such file or directory"},
        {{"render", "in.wav", "-o", "in.wav", "-f"}, 2, "'in.wav' is the input file"},
        {{"render", "in.wav", "-o", "link.wav", "-f"}, 2, "'link.wav' is the input file"},
        {{"render", "in.wav", "-o", "hard.wav", "-f"}, 2, "'hard.wav' is the input file"},
        {{"render", "in.wav", "-o", "folder/../in.wav", "-f"}, 2, "is the input file"},
        {renderWith({"--save-preset=hard.wav", "-f"}), 2, "'hard.wav' is the input file"},
        {{"render", "in.wav", "-o", "kept.wav"}, 2, "'kept.wav' exists; use --force"},
        {renderWith({}), 1, "No space left on device", full},
        {renderWith({}), 1, "No space left on device", fuller},
        {{"render", "in.wav", "-o", "out.flac"}, 1, "No space left on device", full},
        {{"render", "in.wav", "-o", "out.flac"}, 1, "No space left on device", fuller},
        {renderWith({"--input-gain", "80"}), 2, "Ch.1: Input Gain: 80 dB is out of range (3 to 76 dB)"},
        {renderWith({"--trim2", "-24.5dB"}), 2, "Ch.2: Output Trim: -24.5 dB is out of range (-24 to 24 dB)"},
        {renderWith({"--set", "Ch.1: Eq Low Tone Gain=11"}), 2, "Gain: 11 dB is out of range (-10 to 10 dB)"},
        {renderWith({"--set", "7=1.5"}), 2, "Ch.1: HighPass Freq: normalized value 1.5 is out of range (0 to 1)"},
        {renderWith({"--highpass", "90 Hz"}), 2, "\"90 Hz\" is not one of Bypassed | 80 Hz | 300 Hz | 80 + 300 Hz"},
        {renderWith({"--stereo-mode", "X/Y"}), 2, "Stereo Mode: \"X/Y\" is not one of L/R | M/S"},
        {renderWith({"--input-gain", "loud"}), 2, "Ch.1: Input Gain: \"loud\" is not a value in dB"},
        {renderWith({"--set", "Volume=3"}), 2, "unknown parameter \"Volume\""},
        {renderWith({"--set", "17=0"}), 2, "unknown parameter id 17"},
        {renderWith({"--seed", "-1"}), 2, "--seed takes a whole number"},
        {renderWith({"--oversample", "3"}), 2, "--oversample takes 1, 2, 4 or 8, not \"3\""},
        {renderWith({"--oversample", "8"}), 1, "No space left on device", full},
        {renderWith({"--trim"}), 2, "option --trim needs a value"},
        {renderWith({"--no-such-option"}), 2, "unknown option --no-such-option"},
        {renderWith({"--preset", "bad.q38preset"}), 2, "bad.q38preset:3: Ch.1: Input Gain: 99 dB is out of range"},
        {renderWith({"--preset", "worse.q38preset"}), 2, "worse.q38preset:1: expected NAME = VALUE"},
        {{"frobnicate"}, 2, "unknown command \"frobnicate\""},
        {renderWith({"--highpass", "80"}), 2, "HighPass Freq: \"80\" is not one of Bypassed | 80 Hz | 300 Hz"},
        {renderWith({"--input-gain", std::string(5000, 'x')}), 2, std::string(40, 'x') + "...\" is not a value"},
        {renderWith({"--preset", "/dev/zero"}), 2, "preset '/dev/zero' is larger than 64 KiB"},
        {renderWith({"--preset", "binary.q38preset"}), 2, "'binary.q38preset' is not a preset: it holds binary data"},
        {renderWith({"--preset", "long.q38preset"}), 2, "long.q38preset:2: line longer than 1024 characters"},
        {renderWith({"--preset", "warm"}), 2, "no preset \"warm\": neither a file nor one of clean-vocal,"},
        // Several inputs go into a folder, checked before anything renders.
        {{"render", "in.wav", "-o", "nowhere/"}, 1, "the output folder 'nowhere/' does not exist"},
        {{"render", "in.wav", "-o", "kept.wav/"}, 1, "cannot write into 'kept.wav/': Not a directory"},
        {{"render", "in.wav", "-o", "/proc/"}, 1, "cannot write into '/proc/'"},
        {{"render", "folder", "-o", "folder/"}, 2, "the folder 'folder' holds no sound files"},
        {{"render", "in.wav", "text.wav", "-o", "."}, 2, "'./in.wav' is one of the inputs"},
        {{"render", "in.wav", "folder/../in.wav", "-o", "folder/"}, 2,
         "'in.wav' and 'folder/../in.wav' would both be written to 'folder/in.wav'"},
        {{"render", "in.wav", "-o", "folder", "--format", "xyz"}, 2, "unsupported format '.xyz'"},
        {{"render", "in.wav", "-o", "folder/", "-j", "0"}, 2, "--jobs takes a whole number from 1 to 256, not \"0\""},
        {{"render", "in.wav", "-o", "folder/", "--save-preset=x.q38preset"}, 2, "--save-preset takes no FILE"},
    };
    for (const Case& item : cases)
        expectFailure(item.mArguments, item.mStatus, item.mMessage, item.mVariables);

    // The sound fits, its preset does not: neither stays.
    ASSERT_EQ(mFolder.run({"render", "in.wav", "-o", "sized.wav", "-q"}).mStatus, 0);
    const std::string fits = "Q38_TEST_WRITE_LIMIT=" + std::to_string(fs::file_size(mFolder / "sized.wav") + 10);
    fs::remove(mFolder / "sized.wav");
    expectFailure(renderWith({"--save-preset"}), 1, "No space left on device", fits);
}

TEST_F(CliSafety, ForceReplacesAnOutputAndLeavesNoTemporaryFile)
{
    const auto before = mFolder.contents();
    ASSERT_EQ(mFolder.run({"render", "in.wav", "-o", "kept.wav", "--force", "-q"}).mStatus, 0);
    EXPECT_EQ(readSound(mFolder / "kept.wav").frames(), 48000);
    auto after = mFolder.contents();
    after["kept.wav"] = before.at("kept.wav");
    EXPECT_TRUE(after == before);
}

} // namespace
