#pragma once

// Runs the q38 binary and makes and reads the sound files of its tests.

#include <gtest/gtest.h>
#include <sndfile.h>
#include <sys/wait.h>

#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <numbers>
#include <string>
#include <vector>

namespace clitest {

namespace fs = std::filesystem;

constexpr int kWavFloat = SF_FORMAT_WAV | SF_FORMAT_FLOAT;

inline std::string fileBytes(const fs::path& inPath)
{
    std::ifstream file(inPath, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

inline void writeText(const fs::path& inPath, const std::string& inText)
{
    std::ofstream(inPath, std::ios::binary) << inText;
}

struct RunResult
{
    int mStatus; // -1 when the program did not exit normally
    std::string mOut;
    std::string mErr;
};

inline std::string shellQuoted(const std::string& inText)
{
    std::string quoted = "'";
    for (char c : inText)
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
}

// A fresh folder, removed with everything in it at the end of the test.
struct ScratchFolder
{
    ScratchFolder()
    {
        std::string pattern = (fs::temp_directory_path() / "q38-cli-test-XXXXXX").string();
        if (!::mkdtemp(pattern.data()))
            throw std::runtime_error("cannot make a scratch folder");
        mPath = pattern;
    }
    ~ScratchFolder() { std::error_code ignored; fs::remove_all(mPath, ignored); }
    fs::path operator/(const std::string& inName) const { return mPath / inName; }

    // Every file's name and bytes.
    std::map<std::string, std::string> contents() const
    {
        std::map<std::string, std::string> files;
        for (const auto& entry : fs::directory_iterator(mPath))
            files[entry.path().filename().string()] = entry.is_regular_file() ? fileBytes(entry.path()) : "";
        return files;
    }

    // Runs q38 in this folder with no standard input; inVariables are shell
    // words such as "NAME=VALUE".
    RunResult run(const std::vector<std::string>& inArguments, const std::string& inVariables = "") const
    {
        const ScratchFolder capture;
        std::string command = "cd " + shellQuoted(mPath.string());
        command.append(" && ").append(inVariables).append(" ").append(shellQuoted(Q38_CLI_BINARY));
        for (const std::string& argument : inArguments)
            command.append(" ").append(shellQuoted(argument));
        command.append(" </dev/null >").append(shellQuoted((capture / "out").string()));
        command.append(" 2>").append(shellQuoted((capture / "err").string()));
        const int status = std::system(command.c_str());
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, fileBytes(capture / "out"), fileBytes(capture / "err")};
    }

    fs::path mPath;
};

struct Sound
{
    int mSampleRate = 0;
    int mChannels = 0;
    int mFormat = 0;
    std::vector<float> mSamples; // interleaved
    long long frames() const { return mChannels ? static_cast<long long>(mSamples.size()) / mChannels : 0; }
};

// A sine at inDecibels: 1 kHz on the first channel, 150 Hz on the others.
inline Sound tone(int inSampleRate, int inChannels, long long inFrames, double inDecibels)
{
    Sound sound{inSampleRate, inChannels, kWavFloat, {}};
    for (long long frame = 0; frame < inFrames; ++frame)
        for (int channel = 0; channel < inChannels; ++channel)
            sound.mSamples.push_back(float(std::pow(10.0, inDecibels / 20.0) *
                                           std::sin((channel ? 150.0 : 1000.0) * 2.0 * std::numbers::pi *
                                                    double(frame) / inSampleRate)));
    return sound;
}

inline void writeSound(const fs::path& inPath, const Sound& inSound, int inFormat = kWavFloat)
{
    SF_INFO info{0, inSound.mSampleRate, inSound.mChannels, inFormat, 0, 0};
    SNDFILE* file = sf_open(inPath.c_str(), SFM_WRITE, &info);
    if (!file || sf_writef_float(file, inSound.mSamples.data(), inSound.frames()) != inSound.frames())
        throw std::runtime_error("cannot write " + inPath.string());
    sf_close(file);
}

inline Sound readSound(const fs::path& inPath)
{
    SF_INFO info{};
    SNDFILE* file = sf_open(inPath.c_str(), SFM_READ, &info);
    if (!file)
        throw std::runtime_error("cannot read " + inPath.string());
    Sound sound{info.samplerate, info.channels, info.format, std::vector<float>(size_t(info.frames * info.channels))};
    sound.mSamples.resize(size_t(sf_readf_float(file, sound.mSamples.data(), info.frames) * info.channels));
    sf_close(file);
    return sound;
}

// RMS in dBFS of one channel from frame inFrom on.
inline double rmsDb(const Sound& inSound, int inChannel, long long inFrom)
{
    double sum = 0.0;
    for (long long frame = inFrom; frame < inSound.frames(); ++frame)
        sum += std::pow(inSound.mSamples[size_t(frame * inSound.mChannels + inChannel)], 2.0);
    return 10.0 * std::log10(sum / double(inSound.frames() - inFrom));
}

inline bool sameSamples(const Sound& inA, const Sound& inB) // bit for bit
{
    return inA.mSamples.size() == inB.mSamples.size() &&
           std::memcmp(inA.mSamples.data(), inB.mSamples.data(), inA.mSamples.size() * sizeof(float)) == 0;
}

} // namespace clitest
