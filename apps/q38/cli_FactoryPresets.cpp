#include "cli_FactoryPresets.h"

#include "cli_Error.h"

#include <algorithm>
#include <cctype>
#include <filesystem>

namespace cli {

namespace {

// Levels: the input gain sets how hard the tube stage is driven, the model
// keeps the level about the same, and the trims make up what the tone
// controls take away or add.
constexpr FactoryPreset kFactoryPresets[] = {
    {"clean-vocal", "Clean Vocal", "a spoken or sung vocal kept clean: rumble cut at 80 Hz, a touch of air", false,
     "input-gain = 30 dB\nhighpass = 80 Hz\nhigh-tone = 2 dB\nlow-tone = -1 dB\n"},
    {"warm-bass-di", "Warm Bass DI", "a bass guitar from the DI box: fuller lows, a softer top, mild saturation",
     false, "input-gain = 52 dB\nlow-tone = 4 dB\nhigh-tone = -3 dB\ntrim = -1 dB\n"},
    {"driven-guitar", "Driven Guitar", "a guitar DI or close mic pushed hard into the tube stage for grit", false,
     "input-gain = 70 dB\nhighpass = 80 Hz\nlow-tone = -2 dB\nhigh-tone = 3 dB\ntrim = -2 dB\n"},
    {"ms-room-widening", "M/S Room Widening",
     "a stereo room pair widened in M/S: the side louder and brighter, lows cut", true,
     "stereo-mode = M/S\ninput-gain = 40 dB\nhighpass1 = 80 Hz\nhighpass2 = 300 Hz\nhigh-tone2 = 3 dB\n"
     "trim1 = -1 dB\ntrim2 = 4 dB\n"},
    {"phone-line", "Phone Line", "a thin, band-limited telephone voice for effects and intros", false,
     "input-gain = 65 dB\nhighpass = 80 + 300 Hz\nlow-tone = -10 dB\nhigh-tone = -10 dB\ntrim = 3 dB\n"},
};

bool sameIgnoringCase(std::string_view inA, std::string_view inB)
{
    return std::equal(inA.begin(), inA.end(), inB.begin(), inB.end(), [](char inX, char inY) {
        return std::tolower(static_cast<unsigned char>(inX)) == std::tolower(static_cast<unsigned char>(inY));
    });
}

} // namespace

std::span<const FactoryPreset> factoryPresets()
{
    return kFactoryPresets;
}

const FactoryPreset* findFactoryPreset(std::string_view inWordOrName)
{
    for (const FactoryPreset& preset : kFactoryPresets)
        if (inWordOrName == preset.mWord || sameIgnoringCase(inWordOrName, preset.mName))
            return &preset;
    return nullptr;
}

Settings loadPreset(const ParameterTable& inTable, const std::string& inPresetOrFile)
{
    if (const FactoryPreset* preset = findFactoryPreset(inPresetOrFile))
        return inTable.parsePreset(preset->mSettings, preset->mWord);
    if (!std::filesystem::exists(inPresetOrFile) && inPresetOrFile.find('/') == std::string::npos &&
        !inPresetOrFile.ends_with(".q38preset")) {
        std::string words;
        for (const FactoryPreset& preset : kFactoryPresets)
            words += (words.empty() ? "" : ", ") + std::string(preset.mWord);
        throw UsageError("no preset \"" + shownText(inPresetOrFile) + "\": neither a file nor one of " + words);
    }
    return inTable.loadPreset(inPresetOrFile);
}

} // namespace cli
