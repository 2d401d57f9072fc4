// The options shared by the commands that run the engine: --set, --preset,
// --bypass and the option words of the parameter table, which set its
// parameters, and --oversample.

#include "cli_Commands.h"
#include "cli_Error.h"
#include "cli_FactoryPresets.h"
#include "host_OversampledEngine.h"

#include <algorithm>
#include <cmath>
#include <sstream>

namespace cli {

namespace {

constexpr const char* kSettingsGroup = "Settings, applied in the order given (a later one wins)";
constexpr const char* kWordsGroup = "Option words, made from the engine's parameter names (q38 params). A word "
                                    "without a channel number sets both channels; values out of range are refused";

std::string quoteIfSpaced(const std::string& inText)
{
    return inText.find(' ') == std::string::npos ? inText : "\"" + inText + "\"";
}

// A value for the examples: three quarters up a range, or the second text.
std::string exampleValue(const ParameterInfo& inInfo)
{
    if (inInfo.mKind == ParameterKind::kContinuous)
        return formatNumber(std::round(inInfo.mLowest + 0.75f * (inInfo.mHighest - inInfo.mLowest)));
    if (inInfo.mKind == ParameterKind::kSwitch)
        return quoteIfSpaced(inInfo.mTexts[inInfo.mDefault > 0.5f ? 0 : 1]);
    if (inInfo.mTexts.size() > 1)
        return quoteIfSpaced(inInfo.mTexts[1]);
    return "0.5";
}

} // namespace

CLI::Option* addValueOption(CLI::App& ioCommand, CommandContext& ioContext, const std::string& inNames,
                            const std::string& inText, const std::string& inWhat, const std::string& inGroup,
                            std::vector<std::string> inWords, bool inFiles)
{
    CLI::Option* option = ioCommand.add_option(inNames)
                              ->expected(0, 1)
                              ->default_str("")
                              ->option_text(inText)
                              ->description(inWhat)
                              ->group(inGroup);
    if (!inWords.empty() || inFiles)
        ioContext.mCompletions[ioCommand.get_name() + " " + optionName(*option)] = {std::move(inWords), inFiles};
    return option;
}

CLI::Option* addOversampleOption(CLI::App& ioCommand, CommandContext& ioContext, const std::string& inRate,
                                 const std::string& inGroup, const std::string& inMore)
{
    std::vector<std::string> words;
    for (const int factor : host::kOversamplingFactors)
        words.push_back(std::to_string(factor));
    return addValueOption(ioCommand, ioContext, "--oversample", "N",
                          "run the engine at N times " + inRate +
                              " (1, 2, 4 or 8; default 1), between half-band resamplers: far less aliasing "
                              "from the tube stages at high input gain, for N times the engine's work. Where "
                              "N times the rate would pass 384000 Hz the largest N that fits is used. " +
                              inMore + "\ne.g. --oversample 4",
                          inGroup, words);
}

int oversampleFactor(const CLI::Option& inOption)
{
    if (inOption.count() == 0)
        return 1;
    const std::string text = requiredValue(inOption, inOption.as<std::string>(), "--oversample 4");
    for (const int factor : host::kOversamplingFactors)
        if (text == std::to_string(factor))
            return factor;
    throw UsageError(optionName(inOption) + " takes 1, 2, 4 or 8, not \"" + shownText(text) + "\"");
}

SettingOptions::SettingOptions(CLI::App& ioCommand, CommandContext& ioContext)
{
    CLI::Option* set = addValueOption(ioCommand, ioContext, "--set", "NAME=VALUE",
                                      "one parameter by its name, option word or id (q38 params). The value is\n"
                                      "the physical value, unit optional, or a value text; after a numeric id\n"
                                      "a bare number is the normalized value 0..1 that the engine receives\n"
                                      "e.g. --set \"Ch.1: Input Gain=40dB\"   --set highpass2=\"300 Hz\"\n"
                                      "     --set 7=0.25",
                                      kSettingsGroup)
                           ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    std::vector<std::string> presetWords;
    for (const FactoryPreset& preset : factoryPresets())
        presetWords.push_back(preset.mWord);
    CLI::Option* preset = addValueOption(ioCommand, ioContext, "--preset", "NAME|FILE",
                                         "a factory preset (q38 presets), or settings from a file: one\n"
                                         "NAME = VALUE a line as for --set, # comments. A factory preset's word\n"
                                         "wins over a file of that name (write ./NAME for the file)\n"
                                         "e.g. --preset clean-vocal   or   --preset warm.q38preset",
                                         kSettingsGroup, presetWords, true)
                              ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    CLI::Option* bypass = ioCommand.add_flag("--bypass")
                              ->description("\"Enable Effect\" off: the output is the input, sample for sample\n"
                                            "e.g. --bypass")
                              ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
                              ->group(kSettingsGroup);
    const ParameterTable& table = ioContext.mTable;
    mHandlers[set] = [&table, set](const std::string& inValue, Settings& ioSettings) {
        const std::string assignment = requiredValue(*set, inValue, "--set \"Ch.1: Input Gain=40dB\"");
        const std::size_t equals = assignment.find('=');
        if (equals == std::string::npos)
            throw UsageError("--set takes NAME=VALUE, not \"" + shownText(assignment) + "\"");
        table.parseAssignment(std::string_view(assignment).substr(0, equals),
                              std::string_view(assignment).substr(equals + 1), ioSettings);
    };
    mHandlers[preset] = [&table, preset](const std::string& inValue, Settings& ioSettings) {
        const Settings loaded = loadPreset(table, requiredValue(*preset, inValue, "--preset clean-vocal"));
        ioSettings.insert(ioSettings.end(), loaded.begin(), loaded.end());
    };
    mHandlers[bypass] = [&table](const std::string&, Settings& ioSettings) {
        table.parseAssignment("enable-effect", "off", ioSettings);
    };
    addParameterOptions(ioCommand, ioContext);
}

// One option for each set of words that sets the same parameters. A
// channel's own words are hidden from the help and told in their
// both-channel entry.
void SettingOptions::addParameterOptions(CLI::App& ioCommand, CommandContext& ioContext)
{
    const ParameterTable& table = ioContext.mTable;
    const std::string command = ioCommand.get_name() + " ";
    const std::vector<Alias> groups = table.optionGroups();
    for (const Alias& group : groups) {
        std::vector<std::string> words;
        std::istringstream list(group.mWord);
        for (std::string word; std::getline(list >> std::ws, word, ',');)
            words.push_back(word);
        // Shortest first: CLI11 names an option by its first word.
        std::stable_sort(words.begin(), words.end(),
                         [](const std::string& inA, const std::string& inB) { return inA.size() < inB.size(); });
        std::string names;
        for (const std::string& word : words)
            names += (names.empty() ? "" : ",") + word;
        const ParameterInfo& first = table.parameter(group.mIds.front());
        const bool isSwitch = first.mKind == ParameterKind::kSwitch;
        const bool ofAGroup = group.mIds.size() == 1 && std::any_of(groups.begin(), groups.end(), [&](const Alias& g) {
                                  return g.mIds.size() > 1 &&
                                         std::count(g.mIds.begin(), g.mIds.end(), group.mIds.front());
                              });

        CLI::Option* option = ioCommand.add_option(names)
                                  ->expected(0, 1)
                                  ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
                                  ->default_str(isSwitch ? first.mTexts[1] : "")
                                  ->option_text(isSwitch                                    ? "[TEXT]"
                                                : first.mKind == ParameterKind::kContinuous ? "VALUE"
                                                                                            : "TEXT")
                                  ->group(ofAGroup ? "" : kWordsGroup);
        const std::string example = optionName(*option) + " " + exampleValue(first);
        std::string what;
        for (int id : group.mIds)
            what += (what.empty() ? "" : " and ") + table.parameter(id).mName;
        what += ": " + table.rangeText(first.mId);
        if (isSwitch)
            what += "; alone: " + first.mTexts[1];
        if (group.mIds.size() > 1) {
            what += "\none channel:";
            for (std::size_t channel = 1; channel <= group.mIds.size(); ++channel)
                what += (channel > 1 ? "," : "") + std::string(" ") + optionName(*option) + std::to_string(channel);
        }
        option->description(what + "\ne.g. " + example);

        if (!first.mTexts.empty())
            ioContext.mCompletions[command + optionName(*option)] = {first.mTexts};
        for (const std::string& word : words)
            if (isSwitch)
                ioContext.mOptionalValues.insert(command + word);
        mHandlers[option] = [&table, ids = group.mIds, option, example](const std::string& inValue,
                                                                        Settings& ioSettings) {
            const std::string value = requiredValue(*option, inValue, example);
            for (int id : ids)
                ioSettings.push_back({id, table.parseValue(id, value, false)});
        };
    }
}

Settings SettingOptions::collect(const CLI::App& inCommand) const
{
    Settings settings;
    std::map<const CLI::Option*, std::size_t> taken;
    for (const CLI::Option* option : inCommand.parse_order())
        if (const auto handler = mHandlers.find(option); handler != mHandlers.end())
            handler->second(option->results().at(taken[option]++), settings);
    return settings;
}

} // namespace cli
