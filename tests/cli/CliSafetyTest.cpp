// Failures: one clear line, a non-zero exit, the input untouched and no
// output or temporary file left behind.

#include "CliTestSupport.h"

#include <gtest/gtest.h>

using namespace clitest;

namespace {

class CliSafety : public ::testing::Test
{
protected:
    void SetUp() override
    {
        writeSound(mFolder / "in.wav", makeSound(48000, 2, 48000, sine(440.0, -20.0, 48000)));
        mInputBytes = fileBytes(mFolder / "in.wav");
    }

    // Runs a render that must fail and checks what it leaves.
    void expectFailure(const std::vector<std::string>& inArguments, const std::string& inExpected,
                       const std::vector<std::pair<std::string, std::string>>& inEnvironment = {})
    {
        const std::vector<std::string> before = mFolder.names();
        const RunResult run = runQ38(inArguments, inEnvironment);
        EXPECT_NE(run.mStatus, 0);
        EXPECT_EQ(lineCount(run.mErr), 1) << run.mErr;
        EXPECT_EQ(run.mErr.rfind("q38: ", 0), 0u) << run.mErr;
        EXPECT_NE(run.mErr.find(inExpected), std::string::npos) << run.mErr;
        EXPECT_EQ(run.mOut, "");
        EXPECT_EQ(mFolder.names(), before);
        EXPECT_EQ(fileBytes(mFolder / "in.wav"), mInputBytes);
    }

    std::string in() const { return (mFolder / "in.wav").string(); }
    std::string at(const std::string& inName) const { return (mFolder / inName).string(); }

    ScratchFolder mFolder;
    std::string mInputBytes;
};

} // namespace

TEST_F(CliSafety, UnreadableInputs)
{
    expectFailure({"render", at("missing.wav"), "-o", at("out.wav")}, "No such file or directory");
    writeText(mFolder / "text.wav", "this is not a sound file\n");
    expectFailure({"render", at("text.wav"), "-o", at("out.wav")}, "is not a sound file");
    fs::create_directory(mFolder / "folder");
    expectFailure({"render", at("folder"), "-o", at("out.wav")}, "Is a directory");
    writeSound(mFolder / "three.wav", makeSound(48000, 3, 100, noise(0.1)));
    expectFailure({"render", at("three.wav"), "-o", at("out.wav")}, "has 3 channels");
    writeSound(mFolder / "slow.wav", makeSound(4000, 1, 100, noise(0.1)));
    expectFailure({"render", at("slow.wav"), "-o", at("out.wav")}, "4000 Hz");
}

TEST_F(CliSafety, UnsupportedOutputFormats)
{
    expectFailure({"render", in(), "-o", at("out.xyz")}, "unsupported format '.xyz'");
    expectFailure({"render", in(), "-o", at("out")}, "unsupported format");
    expectFailure({"render", in(), "-o", at("out.flac"), "--subtype", "FLOAT"}, "FLAC does not hold FLOAT");
    expectFailure({"render", in(), "-o", at("out.wav"), "--subtype", "PCM_23"}, "unknown subtype");
    expectFailure({"render", in(), "-o", at("nowhere/out.wav")}, "No such file or directory");
}

TEST_F(CliSafety, NeverOverwritesTheInputByAnyName)
{
    fs::create_symlink(mFolder / "in.wav", mFolder / "link.wav");
    fs::create_hard_link(mFolder / "in.wav", mFolder / "hard.wav");
    fs::create_directory(mFolder / "sub");
    for (const std::string& output : {in(), at("link.wav"), at("hard.wav"), at("sub/../in.wav")}) {
        SCOPED_TRACE(output);
        expectFailure({"render", in(), "-o", output, "--force"}, "is the input file");
    }
    expectFailure({"render", in(), "-o", at("out.wav"), "--save-preset=" + at("hard.wav"), "--force"},
                  "is the input file");
}

TEST_F(CliSafety, ExistingOutputNeedsForce)
{
    writeText(mFolder / "out.wav", "keep me");
    expectFailure({"render", in(), "-o", at("out.wav")}, "exists; use --force");
    EXPECT_EQ(fileBytes(mFolder / "out.wav"), "keep me");

    const RunResult forced = runQ38({"render", in(), "-o", at("out.wav"), "--force", "-q"});
    EXPECT_EQ(forced.mStatus, 0) << forced.mErr;
    EXPECT_EQ(readSound(mFolder / "out.wav").frames(), 48000);
    EXPECT_EQ(mFolder.names(), (std::vector<std::string>{"in.wav", "out.wav"}));
}

TEST_F(CliSafety, FullDiskLeavesNothingBehind)
{
    // The header fits and the samples do not; then the header does not either.
    for (const char* limit : {"10000", "20"}) {
        SCOPED_TRACE(limit);
        expectFailure({"render", in(), "-o", at("out.wav")}, "No space left on device",
                      {{"Q38_TEST_WRITE_LIMIT", limit}});
        expectFailure({"render", in(), "-o", at("out.flac")}, "No space left on device",
                      {{"Q38_TEST_WRITE_LIMIT", limit}});
    }
    // The sound fits, its preset does not: neither stays.
    const RunResult sized = runQ38({"render", in(), "-o", at("sized.wav"), "-q"});
    ASSERT_EQ(sized.mStatus, 0);
    const std::string fits = std::to_string(fs::file_size(mFolder / "sized.wav") + 10);
    fs::remove(mFolder / "sized.wav");
    expectFailure({"render", in(), "-o", at("out.wav"), "--save-preset"}, "No space left on device",
                  {{"Q38_TEST_WRITE_LIMIT", fits}});
}
