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

TEST(Loudness, KnownSignalReadsItsLoudnessInTheMeterAndTheSummary)
{
    // EBU Tech 3341, case 1: a 1 kHz sine at -23 dBFS on both channels reads -23.0 LUFS.
    Sound sine = tone(48000, 2, 20 * 48000, -23.0);
    for (std::size_t i = 1; i < sine.mSamples.size(); i += 2)
        sine.mSamples[i] = sine.mSamples[i - 1];
    EXPECT_NEAR(lufs(sine), -23.0, 0.1);
    EXPECT_EQ(cli::LoudnessMeter(2, 48000).integratedLufs(), -INFINITY);

    const ScratchFolder folder;
    writeSound(folder / "in.wav", sine);
    const RunResult run = folder.run({"render", "in.wav", "-o", "out.wav", "--bypass"});
    ASSERT_EQ(run.mStatus, 0) << run.mErr;
    EXPECT_NE(run.mOut.find("  loudness -23.0 LUFS in, -23.0 LUFS out; true peak -23.0 dBTP in, -23.0 dBTP out\n"),
              std::string::npos)
        << run.mOut;
}

TEST(Loudness, MatchedOutputsHaveTheirOwnInputsLoudness)
{
    // A drum-like burst pattern driven hard: the plain render is louder than its input.
    Sound drums = tone(44100, 2, 6 * 44100, -12.0);
    for (std::size_t i = 0; i < drums.mSamples.size(); ++i)
        drums.mSamples[i] *= float(std::exp(-double(i / 2 % 11025) / 2000.0));
    const ScratchFolder folder;
    fs::create_directories(folder / "out");
    writeSound(folder / "drums.wav", drums);
    writeSound(folder / "quiet.wav", tone(48000, 2, 2 * 48000, -30.0));
    const std::vector<std::string> settings = {"--input-gain", "60", "--seed", "1"};
    const auto render = [&](std::vector<std::string> inArguments) {
        inArguments.insert(inArguments.begin(), "render");
        inArguments.insert(inArguments.end(), settings.begin(), settings.end());
        const RunResult run = folder.run(inArguments);
        EXPECT_EQ(run.mStatus, 0) << run.mErr;
        return run.mOut;
    };
    render({"drums.wav", "-o", "plain.wav"});
    EXPECT_GT(std::fabs(lufs(readSound(folder / "plain.wav")) - lufs(drums)), 1.0);

    // One file, then two at once, each matched to its own input.
    const std::string one = render({"drums.wav", "-o", "matched.wav", "--match-loudness"});
    EXPECT_NE(one.find("  loudness matched to the input: "), std::string::npos) << one;
    EXPECT_NEAR(lufs(readSound(folder / "matched.wav")), lufs(drums), 0.1);
    const std::string two =
        render({"drums.wav", "quiet.wav", "-o", "out/", "--match-loudness", "--subtype", "PCM_24", "-j", "2"});
    for (const char* column : {"LUFS in/out", "dBTP in/out", "matched"})
        EXPECT_NE(two.find(column), std::string::npos) << two;
    for (const char* name : {"drums.wav", "quiet.wav"})
        EXPECT_NEAR(lufs(readSound(folder / "out" / name)), lufs(readSound(folder / name)), 0.1) << name;
}

TEST(Loudness, WarnsWhenAFixedPointOutputsTruePeakClips)
{
    const ScratchFolder folder;
    writeSound(folder / "in.wav", tone(48000, 1, 48000, -6.0));
    for (const auto& [subtype, warns] : {std::pair{"PCM_16", true}, {"FLOAT", false}}) {
        const RunResult run =
            folder.run({"render", "in.wav", "-o", "out.wav", "--subtype", subtype, "--trim", "12", "-f"});
        ASSERT_EQ(run.mStatus, 0) << run.mErr;
        EXPECT_EQ(run.mOut.find("  warning: the output's true peak of ") != std::string::npos, warns) << run.mOut;
    }
}

} // namespace
