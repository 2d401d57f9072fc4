// The built-in demo.

#include "CliTestSupport.h"

#include <gtest/gtest.h>

using namespace clitest;

TEST(CliDemo, WritesItsFilesAndATableOfLevels)
{
    ScratchFolder folder;
    const fs::path out = folder / "demo";
    const RunResult run = runQ38({"demo", "-o", out.string()});
    ASSERT_EQ(run.mStatus, 0) << run.mErr;
    EXPECT_EQ(run.mErr, "");
    const Sound programme = readSound(out / "programme.wav");
    EXPECT_EQ(programme.mChannels, 2);
    EXPECT_EQ(programme.mSampleRate, 48000);
    EXPECT_GT(programme.frames(), 3 * 48000);

    int renders = 0;
    for (const auto& entry : fs::directory_iterator(out)) {
        const std::string name = entry.path().filename().string();
        if (name == "programme.wav")
            continue;
        ++renders;
        EXPECT_NE(run.mOut.find(name), std::string::npos) << name;
        const Sound rendered = readSound(entry.path());
        EXPECT_EQ(rendered.frames(), programme.frames());
        EXPECT_EQ(rendered.mChannels, 2);
    }
    EXPECT_GE(renders, 3);
    EXPECT_NE(run.mOut.find("dBFS"), std::string::npos);
    EXPECT_NE(run.mOut.find("meter 2"), std::string::npos);

    // Its hiss seed is fixed, so a second run gives the same files.
    const Sound first = readSound(out / "input-gain-70dB.wav");
    ASSERT_EQ(runQ38({"demo", "-o", out.string(), "-q"}).mStatus, 0);
    EXPECT_TRUE(sameSamples(readSound(out / "input-gain-70dB.wav"), first));
}
