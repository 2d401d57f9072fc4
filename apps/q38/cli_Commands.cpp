#include "cli_Commands.h"

#include "cli_Demo.h"
#include "cli_Error.h"
#include "cli_FactoryPresets.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <sstream>

namespace cli {

namespace {

// --- Help layout ------------------------------------------------------------------
//
// Usage lines first, then the description, then each group of options with
// its description indented below the option, then the examples (the footer).

constexpr std::size_t kHelpWidth = 79;

// Lines longer than the help's width broken at spaces, each after inIndent.
std::string wrapped(const std::string& inText, std::size_t inIndent)
{
    std::string text;
    std::istringstream lines(inText);
    for (std::string line; std::getline(lines, line);) {
        do {
            std::size_t cut = line.size();
            if (inIndent + line.size() > kHelpWidth) {
                const std::size_t space = line.rfind(' ', kHelpWidth - inIndent);
                cut = space == std::string::npos || space == 0 ? line.size() : space;
            }
            text += std::string(inIndent, ' ') + line.substr(0, cut) + "\n";
            line.erase(0, std::min(line.size(), cut + 1));
        } while (!line.empty());
    }
    return text;
}

class HelpFormatter : public CLI::Formatter
{
public:
    explicit HelpFormatter(const CommandContext& inContext) : mContext(inContext) {}

    std::string make_help(const CLI::App* inApp, std::string, CLI::AppFormatMode inMode) const override
    {
        std::string text = make_usage(inApp, "");
        if (!inApp->get_description().empty())
            text += "\n" + wrapped(inApp->get_description(), 0);
        const std::string groups = make_groups(inApp, inMode);
        if (!groups.empty())
            text += "\n" + groups;
        if (!inApp->get_footer().empty())
            text += "\n" + wrapped(inApp->get_footer(), 0);
        return text;
    }

    std::string make_usage(const CLI::App* inApp, std::string) const override
    {
        const auto usage = mContext.mUsage.find(inApp->get_parent() ? inApp->get_name() : "q38");
        return usage == mContext.mUsage.end() ? "" : "Usage: " + usage->second + "\n";
    }

    std::string make_option(const CLI::Option* inOption, bool inPositional) const override
    {
        if (inPositional)
            return "";
        std::string names;
        for (const std::string& name : inOption->get_snames())
            names += (names.empty() ? "-" : ", -") + name;
        for (const std::string& name : inOption->get_lnames())
            names += (names.empty() ? "--" : ", --") + name;
        std::string text = "  " + names;
        if (!inOption->get_option_text().empty())
            text += " " + inOption->get_option_text();
        return text + "\n" + wrapped(inOption->get_description(), 6);
    }

    std::string make_group(std::string inGroup, bool, std::vector<const CLI::Option*> inOptions) const override
    {
        std::string text = wrapped(inGroup + ":", 0);
        for (const CLI::Option* option : inOptions)
            text += make_option(option, false);
        return text;
    }

private:
    const CommandContext& mContext;
};

// --- Small commands ---------------------------------------------------------------

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
    std::printf("\nA text parameter also takes its text's index (--highpass 1 is \"80 Hz\"), and other\n"
                "numbers in 0..1 as normalized values (a switch is on above 0.5). Option words of\n"
                "q38 render (a word without a channel number sets both channels):\n");
    for (const Alias& group : inTable.optionGroups()) {
        std::string ids;
        for (int id : group.mIds)
            ids += (ids.empty() ? "" : ", ") + std::to_string(id);
        std::printf("  %-7s %s\n", ids.c_str(), group.mWord.c_str());
    }
}

CommandAction setupParams(CLI::App&, CommandContext& ioContext)
{
    return [&table = ioContext.mTable] {
        printParameters(table);
        return kExitSuccess;
    };
}

CommandAction setupPresets(CLI::App& ioCommand, CommandContext& ioContext)
{
    auto word = std::make_shared<std::string>();
    ioCommand.add_option("WORD", *word);
    std::vector<std::string> words;
    for (const FactoryPreset& preset : factoryPresets())
        words.push_back(preset.mWord);
    ioContext.mCompletions["presets WORD"] = {words};
    ioCommand.footer("Examples:\n  q38 presets\n  q38 presets warm-bass-di > my-bass.q38preset");
    return [&table = ioContext.mTable, word] {
        if (!word->empty()) {
            const FactoryPreset* preset = findFactoryPreset(*word);
            if (!preset)
                throw UsageError("no factory preset \"" + shownText(*word) + "\" (q38 presets lists them)");
            std::cout << table.formatPreset(table.apply(table.parsePreset(preset->mSettings, preset->mWord)),
                                            std::string(preset->mName) + ": " + preset->mPurpose);
            return kExitSuccess;
        }
        std::cout << "Factory presets (q38 render --preset WORD; in LV2 hosts, the plugin's presets):\n\n";
        for (const FactoryPreset& preset : factoryPresets()) {
            // The settings, as many to a line as fit.
            std::string settings = "     ";
            std::istringstream lines(preset.mSettings);
            for (std::string line; std::getline(lines, line);) {
                if (settings.size() - settings.rfind('\n') + line.size() + 2 > kHelpWidth)
                    settings += ",\n     ";
                settings += (settings.ends_with(" ") ? " " : ", ") + line;
            }
            std::cout << "  " << preset.mWord << " (\"" << preset.mName << "\""
                      << (preset.mStereoOnly ? ", stereo only" : "") << ")\n"
                      << wrapped(preset.mPurpose, 6) << settings << "\n";
        }
        return kExitSuccess;
    };
}

CommandAction setupDemo(CLI::App& ioCommand, CommandContext& ioContext)
{
    auto folder = std::make_shared<std::string>("q38-demo");
    auto quiet = std::make_shared<bool>(false);
    auto matchLoudness = std::make_shared<bool>(false);
    ioCommand.add_option("-o,--output", *folder)
        ->option_text("FOLDER")
        ->description("where the files go (created if missing; default q38-demo)\ne.g. q38 demo -o out/demo");
    ioCommand.add_flag("-q,--quiet", *quiet, "no progress bar\ne.g. q38 demo -q");
    ioCommand.add_flag("--match-loudness", *matchLoudness,
                       "scale each rendered file to the programme's integrated loudness\n"
                       "e.g. q38 demo --match-loudness");
    ioContext.mCompletions["demo --output"] = {{}, true};
    return [&table = ioContext.mTable, folder, quiet, matchLoudness] {
        runDemo(*folder, *quiet, table, std::cout, *matchLoudness);
        return kExitSuccess;
    };
}

// --- The table of commands ----------------------------------------------------------

struct CommandEntry
{
    const char* mName;
    std::vector<std::pair<const char*, const char*>> mForms; // usage after the name, and what it does
    const char* mDescription;
    CommandAction (*mSetup)(CLI::App&, CommandContext&);
};

const std::vector<CommandEntry>& commandTable()
{
    static const std::vector<CommandEntry> table = {
        {"render",
         {{"IN -o OUT [settings] [options]", "render one file"},
          {"IN... -o FOLDER/ [-j N] [--format EXT] [settings] [options]", "render many in parallel"}},
         "", setupRenderCommand},
        {"analyze",
         {{"-o PLOT [settings] [options]", "plot response and harmonics"},
          {"--drive -o PLOT [settings] [options]", "plot level and THD against input"}},
         "", setupAnalyzeCommand},
        {"presets",
         {{"[WORD]", "list or print factory presets"}},
         "Lists the factory presets: the word q38 render --preset takes, the name LV2\n"
         "hosts show, what each is for and what it sets (the rest stays at the\n"
         "defaults). With WORD, prints that preset with every value, as --save-preset\n"
         "writes it: a start for a preset of your own.",
         setupPresets},
        {"params",
         {{"", "list parameters, option words"}},
         "Lists the engine's 17 parameters as the engine reports them: id, name, unit,\n"
         "range or value texts, default, and the option words that set each one.",
         setupParams},
        {"demo",
         {{"[-o FOLDER]", "render a built-in programme"}},
         "Synthesises a short programme (a voice-like signal on the left, a plucked\n"
         "string on the right, then a sine sweep on both), writes it as programme.wav,\n"
         "renders it at a few input gains with a fixed hiss seed, and prints for each\n"
         "file the peak and RMS level, integrated loudness and true peak before and\n"
         "after, and the highest reading of the two meters. The demo replaces its own\n"
         "files on every run.",
         setupDemo},
        {"completion",
         {{"bash", "print the bash completion script"}},
         "Prints a bash completion script for q38: commands, options, value texts,\n"
         "factory presets and file names.",
         nullptr},
        {"help", {{"[COMMAND]", "this text, or a command's help"}}, "", nullptr},
    };
    return table;
}

std::string overviewFooter()
{
    return R"(q38 renders sound files through the Q38 model of a two-channel vacuum-tube
microphone preamplifier (input gain, switchable high-pass, high and low tone
controls, output trim).

Examples:
  q38 demo -o q38-demo
  q38 render vocal.wav -o vocal-q38.wav --input-gain 40 --highpass "80 Hz"
  q38 render takes/ -o rendered/ --preset clean-vocal -j 4
  q38 render take.flac -o take.wav --subtype PCM_24 --preset warm.q38preset
  q38 analyze -o response.svg --input-gain 50 --highpass "80 Hz"
  q38 presets

Exit status: 0 on success; 1 when a file cannot be read or written (in a
render of several files: when any failed); 2 for a bad command line, setting
or preset. Errors are one line each on standard error.)";
}

// A switch word or --save-preset followed by an existing file: the file is
// an input, so it moves ahead of the option, which then stands alone.
void moveFilesOffOptionalValues(std::vector<std::string>& ioArguments, const CommandContext& inContext)
{
    if (ioArguments.empty())
        return;
    for (std::size_t index = 1; index < ioArguments.size() && ioArguments[index] != "--"; ++index) {
        if (!inContext.mOptionalValues.contains(ioArguments[0] + " " + ioArguments[index]))
            continue;
        const bool isPresetOption = ioArguments[index] == "--save-preset";
        while (index + 1 < ioArguments.size()) {
            const std::string& next = ioArguments[index + 1];
            if (next.starts_with("-") || !std::filesystem::exists(next) ||
                (isPresetOption && next.ends_with(".q38preset")))
                break;
            std::swap(ioArguments[index], ioArguments[index + 1]);
            ++index;
        }
    }
}

} // namespace

std::string optionName(const CLI::Option& inOption)
{
    if (!inOption.get_lnames().empty())
        return "--" + inOption.get_lnames().front();
    if (!inOption.get_snames().empty())
        return "-" + inOption.get_snames().front();
    return inOption.get_name(true);
}

std::string requiredValue(const CLI::Option& inOption, const std::string& inValue, const std::string& inExample)
{
    if (inValue.empty())
        throw UsageError("option " + optionName(inOption) + " needs a value (e.g. " + inExample + ")");
    return inValue;
}

unsigned long long parseWholeNumber(const CLI::Option& inOption, const std::string& inText,
                                    unsigned long long inLowest, unsigned long long inHighest,
                                    const std::string& inExample)
{
    const std::string text = requiredValue(inOption, inText, inExample);
    unsigned long long value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || value < inLowest || value > inHighest)
        throw UsageError(optionName(inOption) + " takes a whole number from " + std::to_string(inLowest) + " to " +
                         std::to_string(inHighest) + ", not \"" + shownText(text) + "\"");
    return value;
}

int runCommandLine(std::vector<std::string> inArguments, const ParameterTable& inTable)
{
    CommandContext context{inTable, {}, {}, {}};
    CLI::App app("", "q38");
    app.formatter(std::make_shared<HelpFormatter>(context));
    app.set_help_flag("-h,--help", "this text")->group(""); // the usage lines tell them
    app.allow_extras();
    app.require_subcommand(0, 1); // so an input named like a command is a file
    app.option_defaults()->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
    const CLI::Option* version = app.add_flag("--version")->group("");

    std::vector<std::pair<std::string, std::string>> forms; // for the overview
    std::vector<std::pair<CLI::App*, CommandAction>> commands;
    for (const CommandEntry& entry : commandTable()) {
        CLI::App* command = app.add_subcommand(entry.mName, entry.mForms.front().second);
        command->description(entry.mDescription);
        command->footer("");
        std::string& usage = context.mUsage[entry.mName];
        for (const auto& [form, what] : entry.mForms) {
            forms.emplace_back(std::string("q38 ") + entry.mName + (*form ? " " : "") + form, what);
            usage += (usage.empty() ? "" : "\n       ") + forms.back().first;
        }
        commands.emplace_back(command, entry.mSetup ? entry.mSetup(*command, context) : CommandAction());
        // Added last, so that it comes last in the help.
        command->set_help_flag("-h,--help", "this text")->group("Other options");
    }
    forms.emplace_back("q38 --version", "the program's version");
    // What each form does beside it, or below a form too long for that.
    constexpr std::size_t kColumn = 44;
    std::string& overview = context.mUsage["q38"];
    overview = "q38 COMMAND [options]\n";
    for (const auto& [form, what] : forms)
        overview += "  " + form + (form.size() + 2 < kColumn ? std::string(kColumn - form.size(), ' ')
                                                             : "\n" + std::string(kColumn + 2, ' ')) +
                    what + "\n";
    overview.pop_back();
    app.footer(overviewFooter());

    CLI::App* completion = app.get_subcommand("completion");
    std::string shell;
    completion->add_option("SHELL", shell);
    context.mCompletions["completion SHELL"] = {{"bash"}};
    CLI::App* help = app.get_subcommand("help");
    std::string topic;
    help->add_option("COMMAND", topic);
    for (const CommandEntry& entry : commandTable())
        context.mCompletions["help COMMAND"].mWords.push_back(entry.mName);

    if (inArguments.empty()) {
        std::cout << app.help();
        return kExitSuccess;
    }
    if (!inArguments[0].starts_with("-") &&
        std::none_of(commandTable().begin(), commandTable().end(),
                     [&](const CommandEntry& inEntry) { return inArguments[0] == inEntry.mName; }))
        throw UsageError("unknown command \"" + shownText(inArguments[0]) + "\" (q38 --help lists the commands)");
    moveFilesOffOptionalValues(inArguments, context);
    std::reverse(inArguments.begin(), inArguments.end()); // CLI11 takes them last first
    try {
        app.parse(inArguments);
    } catch (const CLI::CallForHelp&) {
        const std::vector<CLI::App*> chosen = app.get_subcommands();
        std::cout << (chosen.empty() ? app.help() : chosen.front()->help());
        return kExitSuccess;
    } catch (const CLI::ParseError& error) {
        throw UsageError(error.what());
    }

    const std::vector<CLI::App*> chosen = app.get_subcommands();
    CLI::App& command = chosen.empty() ? app : *chosen.front();
    for (const std::string& extra : command.remaining()) {
        const std::string name = chosen.empty() ? "" : command.get_name() + " ";
        if (extra.starts_with("-"))
            throw UsageError("unknown option " + shownText(extra) + " (q38 " + name + "--help lists them)");
        throw UsageError("unexpected argument \"" + shownText(extra) + "\" for " +
                         (chosen.empty() ? "q38" : command.get_name()));
    }
    if (version->count() > 0) {
        std::cout << "q38 " << Q38_VERSION << "\n";
        return kExitSuccess;
    }
    if (chosen.empty()) {
        std::cout << app.help();
        return kExitSuccess;
    }
    if (&command == help) {
        const std::vector<CLI::App*> about =
            app.get_subcommands([&](CLI::App* inCommand) { return inCommand->get_name() == topic; });
        if (!topic.empty() && about.empty()) {
            std::string names;
            for (const CommandEntry& entry : commandTable())
                names += (names.empty() ? "" : ", ") + std::string(entry.mName);
            throw UsageError("no help on \"" + shownText(topic) + "\"; the commands are " + names);
        }
        std::cout << (about.empty() ? app.help() : about.front()->help());
        return kExitSuccess;
    }
    if (&command == completion) {
        if (shell != "bash")
            throw UsageError("completion takes the shell's name: q38 completion bash");
        std::cout << bashCompletion(app, context);
        return kExitSuccess;
    }
    for (const auto& [subcommand, action] : commands)
        if (subcommand == &command)
            return action();
    return kExitFailure;
}

} // namespace cli
