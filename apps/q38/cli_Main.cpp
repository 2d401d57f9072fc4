// q38: renders sound files through the engine; see q38 --help.

#include "cli_Arguments.h"
#include "cli_Demo.h"
#include "cli_Error.h"
#include "cli_Parameters.h"
#include "cli_Render.h"

#include <algorithm>
#include <cstdio>
#include <iostream>
#include <sstream>

namespace {

using namespace cli;

void printParameters(const ParameterTable& inTable)
{
    struct Row
    {
        std::string mId, mName, mUnit, mRange, mDefault, mTexts;
    };
    std::vector<Row> rows = {{"id", "name", "unit", "range", "default", "value texts"}};
    for (const ParameterInfo& info : inTable.parameters()) {
        const bool continuous = info.mKind == ParameterKind::kContinuous;
        rows.push_back({std::to_string(info.mId), info.mName, info.mUnit,
                        continuous ? formatNumber(info.mLowest) + " to " + formatNumber(info.mHighest) : "0 to 1",
                        inTable.formatValue(info.mId, info.mDefault),
                        info.mTexts.empty() ? "-" : inTable.rangeText(info.mId)});
    }
    std::size_t widths[5] = {};
    for (const Row& row : rows) {
        const std::string* cells[5] = {&row.mId, &row.mName, &row.mUnit, &row.mRange, &row.mDefault};
        for (int column = 0; column < 5; ++column)
            widths[column] = std::max(widths[column], cells[column]->size());
    }
    for (const Row& row : rows) {
        std::printf("%*s  %-*s  %-*s  %-*s  %-*s  %s\n", int(widths[0]), row.mId.c_str(), int(widths[1]),
                    row.mName.c_str(), int(widths[2]), row.mUnit.c_str(), int(widths[3]), row.mRange.c_str(),
                    int(widths[4]), row.mDefault.c_str(), row.mTexts.c_str());
    }
    std::printf("\nSwitches take normalized values too (on above 0.5). Option words of q38 render\n"
                "(a word without a channel number sets both channels):\n");
    for (const Alias& group : inTable.optionGroups()) {
        std::string ids;
        for (int id : group.mIds)
            ids += (ids.empty() ? "" : ", ") + std::to_string(id);
        std::printf("  %-7s %s\n", ids.c_str(), group.mWord.c_str());
    }
}

int runRender(const Command& inCommand, const ParameterTable& inTable)
{
    RenderJob job;
    job.mInput = inCommand.mInput;
    job.mOutput = inCommand.mOutput;
    job.mSubtype = inCommand.mSubtype;
    job.mOverwrite = inCommand.mForce;
    job.mShowProgress = !inCommand.mQuiet;
    job.mSeed = inCommand.mSeed;
    job.mMatchLoudness = inCommand.mMatchLoudness;
    job.mValues = inTable.apply(inCommand.mSettings);
    if (inCommand.mPresetOutput) {
        job.mPresetPath = *inCommand.mPresetOutput;
        std::string header = "q38 settings used to render " + job.mOutput.filename().string() + " from " +
                             job.mInput.filename().string();
        if (job.mSeed)
            header += "\nhiss seed: --seed " + std::to_string(*job.mSeed);
        job.mPresetText = inTable.formatPreset(job.mValues, header);
    }
    const RenderResult result = render(job);
    if (!inCommand.mQuiet)
        std::cout << describeRender(job, result) << std::flush;
    return kExitSuccess;
}

int run(const std::vector<std::string>& inArguments)
{
    const ParameterTable table;
    const Command command = parseCommandLine(inArguments, table);
    switch (command.mKind) {
    case CommandKind::kHelp:
        std::cout << helpText(command.mHelpTopic, table);
        return kExitSuccess;
    case CommandKind::kVersion:
        std::cout << "q38 " << Q38_VERSION << "\n";
        return kExitSuccess;
    case CommandKind::kParams:
        printParameters(table);
        return kExitSuccess;
    case CommandKind::kRender:
        return runRender(command, table);
    case CommandKind::kDemo:
        runDemo(command.mOutput, command.mQuiet, table, std::cout, command.mMatchLoudness);
        return kExitSuccess;
    case CommandKind::kAnalyze: {
        AnalyzeOptions options = command.mAnalyze;
        options.mValues = table.apply(command.mSettings);
        options.mOutput = command.mOutput;
        options.mOverwrite = command.mForce;
        options.mQuiet = command.mQuiet;
        options.mSeed = command.mSeed.value_or(options.mSeed);
        return runAnalyze(options, table, std::cout);
    }
    }
    return kExitFailure;
}

// One line, whatever the message holds.
std::string oneLine(std::string inText)
{
    std::replace(inText.begin(), inText.end(), '\n', ' ');
    return inText;
}

} // namespace

int main(int argc, char** argv)
{
    try {
        return run(std::vector<std::string>(argv + 1, argv + argc));
    } catch (const cli::Error& error) {
        std::cerr << "q38: " << oneLine(error.what()) << std::endl;
        return error.exitStatus();
    } catch (const std::exception& error) {
        std::cerr << "q38: " << oneLine(error.what()) << std::endl;
        return cli::kExitFailure;
    }
}
