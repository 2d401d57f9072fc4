#include "CliTestSupport.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <numbers>
#include <sstream>
#include <stdexcept>

namespace clitest {

RunResult runQ38(const std::vector<std::string>& inArguments,
                 const std::vector<std::pair<std::string, std::string>>& inEnvironment)
{
    ScratchFolder capture;
    const fs::path outPath = capture / "stdout";
    const fs::path errPath = capture / "stderr";
    const pid_t child = ::fork();
    if (child == 0) {
        const int out = ::open(outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        const int err = ::open(errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        const int in = ::open("/dev/null", O_RDONLY);
        if (out < 0 || err < 0 || in < 0 || ::dup2(out, 1) < 0 || ::dup2(err, 2) < 0 || ::dup2(in, 0) < 0)
            ::_exit(127);
        for (const auto& [name, value] : inEnvironment)
            ::setenv(name.c_str(), value.c_str(), 1);
        std::vector<char*> argv{const_cast<char*>(Q38_CLI_BINARY)};
        for (const std::string& argument : inArguments)
            argv.push_back(const_cast<char*>(argument.c_str()));
        argv.push_back(nullptr);
        ::execv(Q38_CLI_BINARY, argv.data());
        ::_exit(127);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    RunResult result;
    result.mStatus = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    result.mOut = fileBytes(outPath);
    result.mErr = fileBytes(errPath);
    return result;
}

ScratchFolder::ScratchFolder()
{
    const char* base = std::getenv("TMPDIR");
    std::string pattern = (fs::path(base && *base ? base : "/tmp") / "q38-cli-test-XXXXXX").string();
    if (!::mkdtemp(pattern.data()))
        throw std::runtime_error("cannot make a scratch folder");
    mPath = pattern;
}

ScratchFolder::~ScratchFolder()
{
    std::error_code ignored;
    fs::remove_all(mPath, ignored);
}

std::vector<std::string> ScratchFolder::names() const
{
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(mPath))
        names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

Sound makeSound(int inSampleRate, int inChannels, long long inFrames, const Generator& inGenerator)
{
    Sound sound{inSampleRate, inChannels, SF_FORMAT_WAV | SF_FORMAT_FLOAT, {}};
    sound.mSamples.reserve(static_cast<std::size_t>(inFrames * inChannels));
    for (long long frame = 0; frame < inFrames; ++frame)
        for (int channel = 0; channel < inChannels; ++channel)
            sound.mSamples.push_back(inGenerator(frame, channel));
    return sound;
}

Generator sine(double inFrequency, double inDecibels, int inSampleRate)
{
    const double amplitude = std::pow(10.0, inDecibels / 20.0);
    return [=](long long inFrame, int) {
        return static_cast<float>(amplitude *
                                  std::sin(2.0 * std::numbers::pi * inFrequency * double(inFrame) / inSampleRate));
    };
}

Generator noise(double inAmplitude)
{
    return [inAmplitude, state = std::uint64_t(12345)](long long, int) mutable {
        state = state * 6364136223846793005ULL + 1442695040888963407ULL;
        return static_cast<float>(inAmplitude * (double(state >> 11) * 0x1.0p-52 - 1.0));
    };
}

void writeSound(const fs::path& inPath, const Sound& inSound, int inFormat)
{
    SF_INFO info{};
    info.samplerate = inSound.mSampleRate;
    info.channels = inSound.mChannels;
    info.format = inFormat;
    SNDFILE* file = sf_open(inPath.c_str(), SFM_WRITE, &info);
    if (!file)
        throw std::runtime_error("cannot write " + inPath.string() + ": " + sf_strerror(nullptr));
    const sf_count_t written = sf_writef_float(file, inSound.mSamples.data(), inSound.frames());
    sf_close(file);
    if (written != inSound.frames())
        throw std::runtime_error("short write to " + inPath.string());
}

Sound readSound(const fs::path& inPath)
{
    SF_INFO info{};
    SNDFILE* file = sf_open(inPath.c_str(), SFM_READ, &info);
    if (!file)
        throw std::runtime_error("cannot read " + inPath.string() + ": " + sf_strerror(nullptr));
    Sound sound{info.samplerate, info.channels, info.format, {}};
    std::vector<float> chunk(4096 * static_cast<std::size_t>(info.channels));
    while (const sf_count_t frames = sf_readf_float(file, chunk.data(), 4096))
        sound.mSamples.insert(sound.mSamples.end(), chunk.begin(), chunk.begin() + frames * info.channels);
    sf_close(file);
    return sound;
}

std::string fileBytes(const fs::path& inPath)
{
    std::ifstream file(inPath, std::ios::binary);
    std::ostringstream bytes;
    bytes << file.rdbuf();
    return bytes.str();
}

void writeText(const fs::path& inPath, const std::string& inText)
{
    std::ofstream(inPath, std::ios::binary) << inText;
}

double rmsDb(const Sound& inSound, int inChannel, long long inFrom)
{
    double sum = 0.0;
    long long count = 0;
    for (long long frame = inFrom; frame < inSound.frames(); ++frame, ++count) {
        const double sample = inSound.mSamples[static_cast<std::size_t>(frame * inSound.mChannels + inChannel)];
        sum += sample * sample;
    }
    return 10.0 * std::log10(sum / double(count));
}

bool sameSamples(const Sound& inA, const Sound& inB)
{
    return inA.mSamples.size() == inB.mSamples.size() &&
           std::memcmp(inA.mSamples.data(), inB.mSamples.data(), inA.mSamples.size() * sizeof(float)) == 0;
}

int lineCount(const std::string& inText)
{
    return static_cast<int>(std::count(inText.begin(), inText.end(), '\n'));
}

} // namespace clitest
