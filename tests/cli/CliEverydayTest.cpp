// Many files at once, factory presets, damaged input, killed renders and
// shell completion.

#include "CliTestSupport.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <set>
#include <sstream>
#include <thread>

using namespace clitest;

namespace {

const std::vector<std::string> kPresetWords = {"clean-vocal", "warm-bass-di", "driven-guitar", "ms-room-widening",
                                               "phone-line"};

std::size_t count(const std::string& inText, const std::string& inPart)
{
    std::size_t found = 0;
    for (std::size_t at = inText.find(inPart); at != std::string::npos; at = inText.find(inPart, at + 1))
        ++found;
    return found;
}

bool hasHiddenFile(const fs::path& inFolder)
{
    for (const auto& entry : fs::directory_iterator(inFolder))
        if (entry.path().filename().string().starts_with("."))
            return true;
    return false;
}

TEST(CliBatch, EqualsSingleRendersAndGoesOnPastABadFile)
{
    ScratchFolder folder;
    fs::create_directories(folder / "in");
    fs::create_directories(folder / "out");
    writeSound(folder / "in/a.wav", tone(48000, 2, 30000, -12.0));
    writeSound(folder / "in/b.flac", tone(44100, 1, 20000, -6.0), SF_FORMAT_FLAC | SF_FORMAT_PCM_16);
    writeText(folder / "in/c.wav", "not a sound file\n");
    writeText(folder / "in/notes.txt", "skipped: not named like a sound file\n");
    const std::vector<std::string> settings = {"--seed", "5", "--preset", "warm-bass-di", "--trim", "-2"};

    const auto withSettings = [&](std::vector<std::string> inArguments) {
        inArguments.insert(inArguments.end(), settings.begin(), settings.end());
        return folder.run(inArguments);
    };
    const RunResult run = withSettings({"render", "in", "-o", "out/", "-j", "2"});
    EXPECT_EQ(run.mStatus, 1);
    EXPECT_EQ(count(run.mErr, "\n"), 1u) << run.mErr;
    EXPECT_NE(run.mErr.find("q38: 'in/c.wav' is not a sound file"), std::string::npos) << run.mErr;
    for (const char* expected : {"out/a.wav", "out/b.flac", "in/c.wav  failed: 'in/c.wav' is not a sound file",
                                 "\n3 files: 2 rendered, 1 failed"})
        EXPECT_NE(run.mOut.find(expected), std::string::npos) << expected << "\n" << run.mOut;
    std::set<std::string> written;
    for (const auto& entry : fs::directory_iterator(folder / "out"))
        written.insert(entry.path().filename().string());
    EXPECT_EQ(written, (std::set<std::string>{"a.wav", "b.flac"}));
    for (const std::string name : {"a.wav", "b.flac"}) {
        ASSERT_EQ(withSettings({"render", "in/" + name, "-o", "one-" + name, "-q"}).mStatus, 0);
        EXPECT_TRUE(sameSamples(readSound(folder / ("out/" + name)), readSound(folder / ("one-" + name)))) << name;
    }

    // --format names the outputs; a folder of outputs takes the presets beside them.
    ASSERT_EQ(folder.run({"render", "in/a.wav", "in/b.flac", "-o", "out", "--format", "wav", "-f", "-q",
                          "--save-preset"})
                  .mStatus,
              0);
    for (const char* name : {"a.wav", "b.wav", "a.q38preset", "b.q38preset"})
        EXPECT_TRUE(fs::exists(folder / "out" / name)) << name;
}

TEST(CliInput, NonFiniteSamplesGoInAsSilenceAndAreCounted)
{
    ScratchFolder folder;
    Sound in = tone(48000, 1, 24000, -6.0);
    in.mSamples[1000] = NAN;
    in.mSamples[2000] = INFINITY;
    in.mSamples[3000] = -INFINITY;
    in.mSamples[4000] = 1e30f; // finite: measured, not counted
    writeSound(folder / "in.wav", in);
    const RunResult run = folder.run({"render", "in.wav", "-o", "out.wav", "--seed", "1"});
    EXPECT_EQ(run.mStatus, 0) << run.mErr;
    EXPECT_NE(run.mOut.find("\n  3 non-finite input samples treated as silence\n"), std::string::npos) << run.mOut;
    EXPECT_NE(run.mOut.find("peak 600.0 dBFS in"), std::string::npos) << run.mOut;
    for (const char* absent : {"inf", "nan", "ch2"})
        EXPECT_EQ(run.mOut.find(absent), std::string::npos) << absent << "\n" << run.mOut;
    const std::vector<float> out = readSound(folder / "out.wav").mSamples;
    EXPECT_TRUE(std::all_of(out.begin(), out.end(), [](float inSample) { return std::isfinite(inSample); }));
}

TEST(CliPresets, FactoryPresetsLoadAndAgreeWithHelpAndReadme)
{
    ScratchFolder folder;
    writeSound(folder / "in.wav", tone(48000, 2, 6000, -18.0));
    const RunResult list = folder.run({"presets"});
    ASSERT_EQ(list.mStatus, 0);
    const std::string help = folder.run({"render", "--help"}).mOut;
    const std::string readme = fileBytes(Q38_SOURCE_DIR "/README.md");
    const auto render = [&](const std::string& inPreset, const std::string& inOutput) {
        EXPECT_EQ(folder.run({"render", "in.wav", "-o", inOutput, "--seed", "9", "-q", "-f", "--preset", inPreset}).mStatus,
                  0);
        return readSound(folder / inOutput);
    };
    writeText(folder / "plain.q38preset", ""); // the defaults
    const Sound plain = render("plain.q38preset", "plain.wav");
    for (const std::string& word : kPresetWords) {
        SCOPED_TRACE(word);
        EXPECT_NE(help.find(word), std::string::npos);
        // Each listed line, word and name, purpose and settings, is in the README too.
        const std::size_t start = list.mOut.find("  " + word + " (");
        ASSERT_NE(start, std::string::npos) << list.mOut;
        std::istringstream entry(list.mOut.substr(start));
        for (std::string line; std::getline(entry, line) && (line.starts_with("      ") || line.find(word) != line.npos);)
            EXPECT_NE(readme.find(line.substr(line.find_first_not_of(' '))), std::string::npos) << line;

        // q38 presets WORD prints a preset file that sounds the same.
        writeText(folder / (word + ".q38preset"), folder.run({"presets", word}).mOut);
        const Sound factory = render(word, word + ".wav");
        EXPECT_TRUE(sameSamples(render("./" + word + ".q38preset", "file.wav"), factory));
        EXPECT_FALSE(sameSamples(factory, plain));
    }
    EXPECT_EQ(count(list.mOut, "\n  ") - count(list.mOut, "\n   "), kPresetWords.size()); // no other entries

    // A byte-order mark and Windows line ends are read.
    writeText(folder / "plain.q38preset", "\xEF\xBB\xBF# warm\r\ninput-gain = 52 dB\r\nlow-tone = 4\r\n"
                                          "high-tone = -3\r\ntrim = -1 dB\r\n");
    EXPECT_TRUE(sameSamples(render("plain.q38preset", "bom.wav"), render("warm-bass-di", "warm.wav")));
}

// A render killed while it writes leaves no file behind, or one that the
// next render in that folder removes (where files cannot be unnamed, or
// when told to name them).
TEST(CliSafetyKill, KilledRenderLeavesNothingForLong)
{
    ScratchFolder folder;
    const int probe = ::open(folder.mPath.c_str(), O_TMPFILE | O_RDWR, 0600);
    const bool unnamed = probe >= 0;
    if (probe >= 0)
        ::close(probe);
    writeSound(folder / "in.wav", tone(8000, 1, 800, -20.0));
    for (const char* hook : {"", "Q38_TEST_NO_TMPFILE=1"}) {
        SCOPED_TRACE(hook);
        ASSERT_EQ(::mkfifo((folder / "fifo.wav").c_str(), 0600), 0);
        const pid_t child = ::fork();
        if (child == 0) {
            if (*hook)
                ::putenv(const_cast<char*>(hook));
            ::chdir(folder.mPath.c_str());
            ::execl(Q38_CLI_BINARY, "q38", "render", "fifo.wav", "-o", "out.wav", "-q", "-f", nullptr);
            ::_exit(127);
        }
        // A header promising ten seconds, then one: the render waits for more.
        int pipe = -1;
        for (int attempt = 0; attempt < 500 && pipe < 0; ++attempt) {
            pipe = ::open((folder / "fifo.wav").c_str(), O_WRONLY | O_NONBLOCK); // fails until q38 reads
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        ASSERT_GE(pipe, 0);
        ::fcntl(pipe, F_SETFL, 0);
        // 16-bit mono at 8 kHz, little-endian: RIFF size, fmt, data size 160000.
        std::string wav("RIFF\x24\x71\x02\0WAVEfmt \x10\0\0\0\1\0\1\0\x40\x1f\0\0\x80\x3e\0\0\2\0\x10\0"
                        "data\0\x71\x02\0", 44);
        wav.append(16000, '\0');
        ASSERT_EQ(::write(pipe, wav.data(), wav.size()), ssize_t(wav.size()));
        // Wait until the output is open: a descriptor on a file in the folder that is not the input.
        bool writing = false;
        for (int attempt = 0; attempt < 500 && !writing; ++attempt) {
            std::error_code error;
            for (const auto& entry : fs::directory_iterator("/proc/" + std::to_string(child) + "/fd", error)) {
                const std::string target = fs::read_symlink(entry.path(), error).string();
                writing |= target.starts_with(folder.mPath.string()) && !target.ends_with("fifo.wav");
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        EXPECT_TRUE(writing);
        ::kill(child, SIGKILL);
        ::waitpid(child, nullptr, 0);
        ::close(pipe);
        fs::remove(folder / "fifo.wav");
        EXPECT_EQ(hasHiddenFile(folder.mPath), !unnamed || *hook);
        EXPECT_FALSE(fs::exists(folder / "out.wav"));

        ASSERT_EQ(folder.run({"render", "in.wav", "-o", "out.wav", "-q"}, hook).mStatus, 0);
        EXPECT_FALSE(hasHiddenFile(folder.mPath));
        fs::remove(folder / "out.wav");
    }
}

TEST(CliCompletion, BashOffersCommandsOptionsTextsAndPresets)
{
    ScratchFolder folder;
    const RunResult script = folder.run({"completion", "bash"});
    ASSERT_EQ(script.mStatus, 0);
    writeText(folder / "q38.bash", script.mOut);
    writeText(folder / "take.wav", "");
    // As typed, the last word being completed, and what is offered.
    const std::pair<std::string, std::string> cases[] = {
        {"q38 pre", "presets|"},
        {"q38 render --highp", "--highpass|--highpass-freq|--highpass1|--highpass-freq1|--highpass2|--highpass-freq2|"},
        {"q38 render --highpass2 80", "80\\ Hz|80\\ +\\ 300\\ Hz|"},
        {"q38 render --stereo-mode M", "M/S|"},
        {"q38 render --preset ph", "phone-line|"},
        {"q38 render --trim ", "|"},
        {"q38 render --oversample ", "1|2|4|8|"},
        {"q38 render ta", "take.wav|"},
        {"q38 presets w", "warm-bass-di|"},
        {"q38 an", "analyze|"},
        {"q38 analyze --stereo-mode L", "L/R|"},
    };
    for (const auto& [words, offered] : cases) {
        writeText(folder / "complete.sh", "source q38.bash; COMP_WORDS=(" + words + (words.ends_with(" ") ? "''" : "") +
                                              "); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _q38; "
                                              "printf '%s|' \"${COMPREPLY[@]}\"");
        const std::string command = "cd " + shellQuoted(folder.mPath.string()) + " && bash complete.sh > reply";
        ASSERT_EQ(std::system(command.c_str()), 0) << words;
        EXPECT_EQ(fileBytes(folder / "reply"), offered) << words;
    }
}

} // namespace
