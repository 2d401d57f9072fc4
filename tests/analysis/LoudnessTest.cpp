// Loudness: the meter on a signal of known loudness, the figures in the
// render summary, and --match-loudness.

#include "cli_Loudness.h"

#include "CliTestSupport.h"

namespace {

using namespace clitest;

double lufs(const Sound& inSound)
{
    cli::LoudnessMeter meter(inSound.mChannels, inSound.mSampleRate);
    meter.add(inSound.mSamples.data(), inSound.frames());
    return meter.integratedLufs();
}

// EBU Tech 3341, case 1: a 1 kHz sine at -23 dBFS on both channels reads -23.0 LUFS.
Sound ebuCaseOne()
{
    Sound sound = tone(48000, 2, 20 * 48000, -23.0);
    for (std::size_t i = 1; i < sound.mSamples.size(); i += 2)
        sound.mSamples[i] = sound.mSamples[i - 1];
    return sound;
}

TEST(Loudness, KnownSignalReadsItsLoudnessInTheMeterAndTheSummary)
{
    EXPECT_NEAR(lufs(ebuCaseOne()), -23.0, 0.1);
    cli::LoudnessMeter silence(2, 48000);
    EXPECT_EQ(silence.integratedLufs(), -INFINITY);

    const ScratchFolder folder;
    writeSound(folder / "in.wav", ebuCaseOne());
    const RunResult run = folder.run({"render", "in.wav", "-o", "out.wav", "--bypass"});
    ASSERT_EQ(run.mStatus, 0) << run.mErr;
    EXPECT_NE(run.mOut.find("  loudness -23.0 LUFS in, -23.0 LUFS out; true peak -23.0 dBTP in, -23.0 dBTP out\n"),
              std::string::npos)
        << run.mOut;
}

TEST(Loudness, MatchedOutputHasTheInputsLoudness)
{
    // A drum-like burst pattern driven hard: the plain render is louder than its input.
    Sound input = tone(44100, 2, 6 * 44100, -12.0);
    for (long long frame = 0; frame < input.frames(); ++frame)
        for (int channel = 0; channel < 2; ++channel)
            input.mSamples[std::size_t(frame * 2 + channel)] *= float(std::exp(-double(frame % 11025) / 2000.0));
    const ScratchFolder folder;
    writeSound(folder / "in.wav", input);
    const double inputLufs = lufs(input);

    const RunResult plain = folder.run({"render", "in.wav", "-o", "plain.wav", "--input-gain", "60", "--seed", "1"});
    ASSERT_EQ(plain.mStatus, 0) << plain.mErr;
    EXPECT_GT(std::fabs(lufs(readSound(folder / "plain.wav")) - inputLufs), 1.0);

    for (const char* format : {"FLOAT", "PCM_24"}) {
        SCOPED_TRACE(format);
        const RunResult matched = folder.run({"render", "in.wav", "-o", std::string("matched-") + format + ".wav",
                                              "--input-gain", "60", "--seed", "1", "--match-loudness", "--subtype",
                                              format});
        ASSERT_EQ(matched.mStatus, 0) << matched.mErr;
        EXPECT_NEAR(lufs(readSound(folder / (std::string("matched-") + format + ".wav"))), inputLufs, 0.1);
        EXPECT_NE(matched.mOut.find("  loudness matched to the input: "), std::string::npos) << matched.mOut;
    }
}

TEST(Loudness, ManyFilesAreEachMatchedToTheirOwnInput)
{
    const ScratchFolder folder;
    fs::create_directories(folder / "out");
    const std::vector<std::pair<std::string, double>> inputs = {{"loud.wav", -10.0}, {"quiet.wav", -30.0}};
    for (const auto& [name, level] : inputs)
        writeSound(folder / name, tone(48000, 2, 2 * 48000, level));
    const RunResult run = folder.run({"render", "loud.wav", "quiet.wav", "-o", "out/", "--input-gain", "60",
                                      "--seed", "3", "--match-loudness", "-j", "2"});
    ASSERT_EQ(run.mStatus, 0) << run.mErr;
    for (const char* column : {"LUFS in/out", "dBTP in/out", "matched"})
        EXPECT_NE(run.mOut.find(column), std::string::npos) << run.mOut;
    for (const auto& [name, level] : inputs) {
        SCOPED_TRACE(name);
        EXPECT_NEAR(lufs(readSound(folder / "out" / name)), lufs(readSound(folder / name)), 0.1);
    }
}

TEST(Loudness, WarnsWhenAFixedPointOutputsTruePeakClips)
{
    const ScratchFolder folder;
    writeSound(folder / "in.wav", tone(48000, 1, 48000, -6.0));
    struct Case
    {
        std::string mSubtype;
        bool mWarns;
    };
    for (const Case& item : {Case{"PCM_16", true}, Case{"FLOAT", false}}) {
        const RunResult run = folder.run(
            {"render", "in.wav", "-o", item.mSubtype + ".wav", "--subtype", item.mSubtype, "--trim", "12", "-f"});
        ASSERT_EQ(run.mStatus, 0) << run.mErr;
        EXPECT_EQ(run.mOut.find("  warning: the output's true peak of ") != std::string::npos, item.mWarns)
            << run.mOut;
    }
}

} // namespace
