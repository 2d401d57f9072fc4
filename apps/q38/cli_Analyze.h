#pragma once

// q38 analyze: measures the engine at a setting and draws what it found:
// the magnitude response with the 2nd and 3rd harmonics from a sine sweep,
// or with --drive the output level and THD at 1 kHz against input level.

#include "cli_Parameters.h"

#include <filesystem>
#include <optional>
#include <ostream>

namespace cli {

constexpr int kLowestAnalyzeRate = 8000;
constexpr int kHighestAnalyzeRate = 192000;

struct AnalyzeOptions
{
    ParameterValues mValues{};
    std::filesystem::path mOutput; // .png or .svg
    std::optional<std::filesystem::path> mCsv;
    int mSampleRate = 48000;
    int mOversample = 1;
    double mLevelDb = -40.0;
    bool mDrive = false;
    int mWidth = 960;
    int mHeight = 720;
    unsigned long long mSeed = 38;
    bool mOverwrite = false;
    bool mQuiet = false;
};

// Throws UsageError for a bad option, Error for a file that cannot be written.
int runAnalyze(const AnalyzeOptions& inOptions, const ParameterTable& inTable, std::ostream& outReport);

// "Input Gain 40 dB, HighPass Freq 80 Hz": what differs from the defaults,
// one entry for a pair of channels that agree; "default settings" if nothing.
std::string describeSettings(const ParameterValues& inValues, const ParameterTable& inTable);

} // namespace cli
