#pragma once

// The commands of q38 on CLI11. Each command adds its options to its own
// subcommand and hands back what to run once the command line is read; a new
// command is a setup function and one more row of the table in
// cli_Commands.cpp.

#include "cli_Parameters.h"

#include <CLI/CLI.hpp>

#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace cli {

using CommandAction = std::function<int()>;

// What a shell may offer after an option: words, file names, or both.
struct Completion
{
    std::vector<std::string> mWords;
    bool mFiles = false;
};

struct CommandContext
{
    const ParameterTable& mTable;
    // By command and option name: "render --highpass".
    std::map<std::string, Completion> mCompletions;
    // Options whose value may be left out ("--link", "--save-preset"): a
    // following existing file is an input, not their value.
    std::set<std::string> mOptionalValues;
    // The usage lines of each command's help, by command name ("q38" for the whole).
    std::map<std::string, std::string> mUsage;
};

// Every failure is a cli::Error; help, version and the commands' output go
// to standard output. Returns the exit status.
int runCommandLine(std::vector<std::string> inArguments, const ParameterTable& inTable);

// Setup functions, one per command file.
CommandAction setupRenderCommand(CLI::App& ioCommand, CommandContext& ioContext);
CommandAction setupAnalyzeCommand(CLI::App& ioCommand, CommandContext& ioContext);

// An option that takes one value, shown as inText in the help, in inGroup;
// the shell completes it with inWords and, with inFiles, file names.
CLI::Option* addValueOption(CLI::App& ioCommand, CommandContext& ioContext, const std::string& inNames,
                            const std::string& inText, const std::string& inWhat, const std::string& inGroup,
                            std::vector<std::string> inWords = {}, bool inFiles = false);

// --oversample N, running the engine at N times inRate ("the file's rate");
// inMore ends its help. oversampleFactor gives N, 1 when the option is
// absent, or throws UsageError.
CLI::Option* addOversampleOption(CLI::App& ioCommand, CommandContext& ioContext, const std::string& inRate,
                                 const std::string& inGroup, const std::string& inMore);
int oversampleFactor(const CLI::Option& inOption);

// The options that set parameters, the same for every command that runs the
// engine: --set, --preset, --bypass and the option words made from the
// parameter table. collect() gives the settings in the order they came.
class SettingOptions
{
public:
    SettingOptions(CLI::App& ioCommand, CommandContext& ioContext);
    Settings collect(const CLI::App& inCommand) const;

private:
    using Handler = std::function<void(const std::string& inValue, Settings& ioSettings)>;
    void addParameterOptions(CLI::App& ioCommand, CommandContext& ioContext);
    std::map<const CLI::Option*, Handler> mHandlers;
};

// An option's first long name with its dashes ("--trim"), else its short
// one; CLI11's own get_name() is empty for options hidden from the help.
std::string optionName(const CLI::Option& inOption);

// The value of an option that must have one: CLI11 gives "" when it was
// left out. Throws UsageError with an example.
std::string requiredValue(const CLI::Option& inOption, const std::string& inValue, const std::string& inExample);

// A whole number from inLowest to inHighest, or UsageError naming the option.
unsigned long long parseWholeNumber(const CLI::Option& inOption, const std::string& inText,
                                    unsigned long long inLowest, unsigned long long inHighest,
                                    const std::string& inExample);

// The bash completion script for the whole command line.
std::string bashCompletion(const CLI::App& inApp, const CommandContext& inContext);

} // namespace cli
