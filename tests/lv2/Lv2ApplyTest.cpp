// lv2apply, an uninstrumented host from lilv-utils, runs the plugin one frame
// per run() on a sound file; its output must equal our host's at 512 frames.

#include "Lv2TestHost.h"

#include <gtest/gtest.h>
#include <sndfile.h>

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

extern char** environ;

namespace lv2test {
namespace {

bool writeFile(const std::string& inPath, const Audio& inAudio)
{
    SF_INFO info{};
    info.samplerate = kSampleRate;
    info.channels = static_cast<int>(inAudio.size());
    info.format = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
    SNDFILE* file = sf_open(inPath.c_str(), SFM_WRITE, &info);
    if (file == nullptr)
        return false;
    std::vector<float> frames;
    for (std::size_t i = 0; i < inAudio[0].size(); ++i)
        for (const auto& channel : inAudio)
            frames.push_back(channel[i]);
    const bool written = sf_writef_float(file, frames.data(), static_cast<sf_count_t>(inAudio[0].size())) ==
                         static_cast<sf_count_t>(inAudio[0].size());
    return sf_close(file) == 0 && written;
}

Audio readFile(const std::string& inPath)
{
    SF_INFO info{};
    SNDFILE* file = sf_open(inPath.c_str(), SFM_READ, &info);
    if (file == nullptr)
        return {};
    std::vector<float> frames(static_cast<std::size_t>(info.frames * info.channels));
    sf_readf_float(file, frames.data(), info.frames);
    sf_close(file);
    Audio audio(static_cast<std::size_t>(info.channels), std::vector<float>(static_cast<std::size_t>(info.frames)));
    for (std::size_t i = 0; i < frames.size(); ++i)
        audio[i % audio.size()][i / audio.size()] = frames[i];
    return audio;
}

// Runs the tool with the bundle of the build tree and the fixed hiss seed.
// A sanitizer build of the plugin needs its runtime preloaded into the
// uninstrumented tool; leaks of the tool itself are not ours to judge.
int runTool(const std::vector<std::string>& inArguments)
{
    std::vector<std::string> environment = {"LV2_PATH=" + std::filesystem::path(Q38_LV2_BUNDLE_DIR).parent_path().string(),
                                            "Q38_HISS_SEED=" + std::to_string(kSeed)};
    if (std::strlen(Q38_SANITIZER_RUNTIME) > 0) {
        environment.push_back(std::string("LD_PRELOAD=") + Q38_SANITIZER_RUNTIME);
        environment.push_back("ASAN_OPTIONS=detect_leaks=0:abort_on_error=1");
    }
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string text = *entry;
        const std::string name = text.substr(0, text.find('='));
        if (name != "LV2_PATH" && name != "Q38_HISS_SEED" && name != "LD_PRELOAD" && name != "ASAN_OPTIONS")
            environment.push_back(text);
    }
    std::vector<char*> argv;
    for (const std::string& argument : inArguments)
        argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);
    std::vector<char*> envp;
    for (std::string& entry : environment)
        envp.push_back(entry.data());
    envp.push_back(nullptr);

    pid_t child = 0;
    if (posix_spawn(&child, argv[0], nullptr, nullptr, argv.data(), envp.data()) != 0)
        return -1;
    int status = 0;
    if (waitpid(child, &status, 0) != child || !WIFEXITED(status))
        return -1;
    return WEXITSTATUS(status);
}

class Lv2Apply : public ::testing::TestWithParam<const char*>
{
};

TEST_P(Lv2Apply, OneFrameRunsEqualOurHostAt512)
{
    const bool stereo = std::string(GetParam()) == kStereoUri;
    const std::filesystem::path directory =
        std::filesystem::temp_directory_path() / ("q38_lv2apply_" + std::to_string(getpid()));
    std::filesystem::create_directories(directory);
    const std::string inPath = (directory / "in.wav").string();
    const std::string outPath = (directory / "out.wav").string();

    const Audio input = testSignal(stereo ? 2 : 1, 5000);
    ASSERT_TRUE(writeFile(inPath, input));
    const std::map<std::string, float> controls = {{"ch1_input_gain", 39.5f}, {"ch1_highpass", 3.0f},
                                                   {"ch1_low_tone", -7.5f}, {"stereo_mode", 1.0f}};
    std::vector<std::string> arguments = {Q38_LV2APPLY, "-i", inPath, "-o", outPath};
    for (const auto& [symbol, value] : controls)
        arguments.insert(arguments.end(), {"-c", symbol, std::to_string(value)});
    arguments.push_back(GetParam());
    ASSERT_EQ(runTool(arguments), 0);

    TestHost host;
    const Audio expected = host.render(GetParam(), input, 512, controls);
    const Audio applied = readFile(outPath);
    std::filesystem::remove_all(directory);
    ASSERT_EQ(applied.size(), expected.size());
    for (std::size_t c = 0; c < expected.size(); ++c)
        EXPECT_TRUE(applied[c].size() == expected[c].size() &&
                    std::memcmp(applied[c].data(), expected[c].data(), expected[c].size() * sizeof(float)) == 0)
            << "channel " << c;
}

INSTANTIATE_TEST_SUITE_P(Plugins, Lv2Apply, ::testing::Values(kStereoUri, kMonoUri));

} // namespace
} // namespace lv2test
