#pragma once

// The command line: which command, its files and options, and the parameter
// settings in the order given (presets at their place among the options).

#include "cli_Analyze.h"
#include "cli_Parameters.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace cli {

enum class CommandKind
{
    kHelp,
    kVersion,
    kParams,
    kRender,
    kDemo,
    kAnalyze,
};

struct Command
{
    CommandKind mKind = CommandKind::kHelp;
    std::string mHelpTopic; // "" for the overview, else a command's name

    // render
    std::filesystem::path mInput;
    std::filesystem::path mOutput; // render: the file; demo: the folder
    std::string mSubtype;
    bool mForce = false;
    bool mQuiet = false;
    std::optional<unsigned long long> mSeed;
    Settings mSettings;
    std::optional<std::filesystem::path> mPresetOutput;
    bool mMatchLoudness = false; // render and demo

    // analyze: its own options; mOutput, mForce, mQuiet, mSeed and mSettings as above
    AnalyzeOptions mAnalyze;
};

// Throws UsageError for anything it cannot take.
Command parseCommandLine(const std::vector<std::string>& inArguments, const ParameterTable& inTable);

std::string helpText(const std::string& inTopic, const ParameterTable& inTable);

} // namespace cli
