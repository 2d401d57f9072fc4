#pragma once

// Running the q38 binary and making and reading sound files for its tests.

#include <sndfile.h>

#include <filesystem>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace clitest {

namespace fs = std::filesystem;

struct RunResult
{
    int mStatus = -1; // exit status, or -1 when the program did not exit normally
    std::string mOut;
    std::string mErr;
};

// Runs q38 with the arguments and extra environment variables.
RunResult runQ38(const std::vector<std::string>& inArguments,
                 const std::vector<std::pair<std::string, std::string>>& inEnvironment = {});

// A fresh folder, removed with everything in it at the end of the test.
class ScratchFolder
{
public:
    ScratchFolder();
    ~ScratchFolder();
    const fs::path& path() const { return mPath; }
    fs::path operator/(const std::string& inName) const { return mPath / inName; }
    std::vector<std::string> names() const; // sorted

private:
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

// Sample n of channel c.
using Generator = std::function<float(long long, int)>;

Sound makeSound(int inSampleRate, int inChannels, long long inFrames, const Generator& inGenerator);
Generator sine(double inFrequency, double inDecibels, int inSampleRate);
Generator noise(double inAmplitude);

void writeSound(const fs::path& inPath, const Sound& inSound, int inFormat = SF_FORMAT_WAV | SF_FORMAT_FLOAT);
Sound readSound(const fs::path& inPath);
std::string fileBytes(const fs::path& inPath);
void writeText(const fs::path& inPath, const std::string& inText);

// RMS in dBFS of one channel from frame inFrom on.
double rmsDb(const Sound& inSound, int inChannel, long long inFrom = 0);
bool sameSamples(const Sound& inA, const Sound& inB); // bit for bit
int lineCount(const std::string& inText);

} // namespace clitest
