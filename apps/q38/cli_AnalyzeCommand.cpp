// q38 analyze: its options, the settings as for render, and the measurement.

#include "cli_Analyze.h"
#include "cli_Commands.h"
#include "cli_Error.h"
#include "cli_Plot.h"

#include <charconv>
#include <iostream>
#include <memory>
#include <optional>

namespace cli {

namespace {

struct AnalyzeCommandOptions
{
    std::vector<std::string> mFiles; // none are taken; caught for a clear message
    CLI::Option* mOutput = nullptr;
    CLI::Option* mCsv = nullptr;
    CLI::Option* mSize = nullptr;
    CLI::Option* mForce = nullptr;
    CLI::Option* mRate = nullptr;
    CLI::Option* mLevel = nullptr;
    CLI::Option* mDrive = nullptr;
    CLI::Option* mSeed = nullptr;
    CLI::Option* mOversample = nullptr;
    CLI::Option* mQuiet = nullptr;
    std::optional<SettingOptions> mSettings;
};

double parseDecibels(const CLI::Option& inOption, const std::string& inText, const std::string& inExample)
{
    const std::string given = requiredValue(inOption, inText, inExample);
    const std::string text = given.front() == '+' ? given.substr(1) : given;
    double value = 0.0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (text.empty() || error != std::errc() || end != text.data() + text.size())
        throw UsageError(optionName(inOption) + " takes a number, not \"" + shownText(given) + "\"");
    return value;
}

const char* kDescription = R"(Measures the engine itself at the given settings with an exponential sine
sweep on one channel at a time, and plots the magnitude response (output over
input) from 20 Hz to 20 kHz (or 0.45 of the rate) and the 2nd and 3rd
harmonics relative to the fundamental, for fundamentals up to a third of that
top frequency (above, the 3rd harmonic is out of the band). A second run on
silence gives the hiss floor: a value less than 6 dB above it is not drawn,
and the plot says so. Channel 2 is measured too when its settings differ from
channel 1's.

With --drive it plays a 1 kHz sine from -60 to 0 dBFS in 1 dB steps instead,
and plots the output level and the total harmonic distortion (harmonics 2 to
10) against the input level.)";

const char* kFooter = R"(The summary on standard output gives the plot's title, a few of the measured
values of each channel and the files written.

Examples:
  q38 analyze -o response.svg --input-gain 50 --highpass "80 Hz"
  q38 analyze -o response.png --preset clean-vocal --level -20 --csv response.csv
  q38 analyze -o drive.png --drive --input-gain 60 --rate 96000)";

} // namespace

CommandAction setupAnalyzeCommand(CLI::App& ioCommand, CommandContext& ioContext)
{
    auto options = std::make_shared<AnalyzeCommandOptions>();
    ioCommand.description(kDescription);
    ioCommand.footer(kFooter);
    ioCommand.add_option("FILE", options->mFiles);

    const char* files = "Files";
    options->mOutput = addValueOption(ioCommand, ioContext, "-o,--output", "PLOT",
                                      "the plot, PNG or SVG by its extension\ne.g. -o response.svg", files, {}, true);
    options->mCsv = addValueOption(ioCommand, ioContext, "--csv", "FILE",
                                   "also write the numbers; values under the hiss floor are left empty\n"
                                   "e.g. --csv response.csv",
                                   files, {}, true);
    options->mSize = addValueOption(ioCommand, ioContext, "--size", "WIDTHxHEIGHT",
                                    "the plot's size in pixels (default 960x720)\ne.g. --size 1200x800", files);
    options->mForce = ioCommand.add_flag("-f,--force")
                          ->description("replace the plot and the CSV file if they exist\ne.g. -f")
                          ->group(files);

    const char* measurement = "Measurement";
    options->mRate = addValueOption(ioCommand, ioContext, "--rate", "R",
                                    "the sample rate in Hz, " + std::to_string(kLowestAnalyzeRate) + " to " +
                                        std::to_string(kHighestAnalyzeRate) + " (default 48000)\ne.g. --rate 96000",
                                    measurement);
    options->mLevel = addValueOption(ioCommand, ioContext, "--level", "DBFS",
                                     "the test signal's peak, -120 to 0 (default -40; a full-scale sine is 0)\n"
                                     "e.g. --level -20",
                                     measurement);
    options->mDrive = ioCommand.add_flag("--drive")
                          ->description("the transfer curve at 1 kHz instead of the sweep\ne.g. --drive")
                          ->group(measurement);
    options->mSeed = addValueOption(ioCommand, ioContext, "--seed", "N",
                                    "the hiss's seed (default 38), so that a measurement repeats exactly\n"
                                    "e.g. --seed 7",
                                    measurement);
    options->mOversample = addOversampleOption(ioCommand, ioContext, "--rate", measurement,
                                               "The engine is measured as q38 render --oversample runs it");

    options->mSettings.emplace(ioCommand, ioContext);

    options->mQuiet = ioCommand.add_flag("-q,--quiet")->description("no summary\ne.g. -q")->group("Other options");

    return [&ioCommand, &table = ioContext.mTable, options]() -> int {
        const AnalyzeCommandOptions& o = *options;
        const Settings settings = o.mSettings->collect(ioCommand);
        if (!o.mFiles.empty())
            throw UsageError("analyze takes no input file; it measures the engine (q38 analyze --help)");
        if (o.mOutput->count() == 0)
            throw UsageError("analyze needs a plot file: q38 analyze -o response.svg");
        const auto value = [](const CLI::Option* inOption) { return inOption->as<std::string>(); };

        AnalyzeOptions analyze;
        analyze.mOutput = requiredValue(*o.mOutput, value(o.mOutput), "-o response.svg");
        if (o.mCsv->count())
            analyze.mCsv = requiredValue(*o.mCsv, value(o.mCsv), "--csv response.csv");
        if (o.mSize->count())
            plot::parseImageSize(requiredValue(*o.mSize, value(o.mSize), "--size 1200x800"), analyze.mWidth,
                                 analyze.mHeight);
        analyze.mOverwrite = o.mForce->count() > 0;
        if (o.mRate->count())
            analyze.mSampleRate = static_cast<int>(parseWholeNumber(*o.mRate, value(o.mRate), kLowestAnalyzeRate,
                                                                    kHighestAnalyzeRate, "--rate 96000"));
        if (o.mLevel->count())
            analyze.mLevelDb = parseDecibels(*o.mLevel, value(o.mLevel), "--level -20");
        analyze.mDrive = o.mDrive->count() > 0;
        if (o.mSeed->count())
            analyze.mSeed = parseWholeNumber(*o.mSeed, value(o.mSeed), 0, ~0ULL, "--seed 38");
        analyze.mOversample = oversampleFactor(*o.mOversample);
        analyze.mQuiet = o.mQuiet->count() > 0;
        analyze.mValues = table.apply(settings);
        return runAnalyze(analyze, table, std::cout);
    };
}

} // namespace cli
