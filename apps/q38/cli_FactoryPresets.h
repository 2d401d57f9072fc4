#pragma once

// The factory presets: named settings for everyday jobs. q38 takes them with
// --preset WORD and lists them with q38 presets; the LV2 bundle's presets are
// written from this table at build time, so both offer the same sounds.

#include "cli_Parameters.h"

#include <span>
#include <string>
#include <string_view>

namespace cli {

struct FactoryPreset
{
    const char* mWord;     // --preset WORD; also ends the LV2 preset's URI
    const char* mName;     // as hosts' preset menus show it
    const char* mPurpose;  // what it is for, in one line
    bool mStereoOnly;      // needs two channels (M/S): not offered for mono
    const char* mSettings; // preset text, NAME = VALUE lines; the rest stays at the defaults
};

std::span<const FactoryPreset> factoryPresets();

// By its word, or by its name without regard to case; null if none.
const FactoryPreset* findFactoryPreset(std::string_view inWordOrName);

// The settings of --preset's argument: a factory preset when it names one,
// otherwise a preset file. Throws UsageError.
Settings loadPreset(const ParameterTable& inTable, const std::string& inPresetOrFile);

} // namespace cli
