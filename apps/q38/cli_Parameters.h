#pragma once

// The renderer's view of the engine's parameters. Everything here is asked of
// a probe engine at start-up (names, units, ranges, value texts, defaults),
// so the command line can never disagree with the engine it drives.

#include "Q38Engine.h"

#include <array>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace cli {

enum class ParameterKind
{
    kContinuous, // has a unit and a physical value
    kSwitch,     // two value texts, at 0 and 1
    kFourWay,    // four value texts, at 0, 0.25, 0.5 and 0.75
    kPlain,      // none of these: normalized numbers only
};

struct ParameterInfo
{
    int mId = 0;
    std::string mName;
    std::string mUnit;
    ParameterKind mKind = ParameterKind::kPlain;
    float mLowest = 0.0f;              // physical value at 0 (continuous only)
    float mHighest = 0.0f;             // physical value at 1
    float mDefault = 0.0f;             // normalized
    std::vector<std::string> mTexts;   // value texts in index order
    std::vector<float> mTextValues;    // a normalized value that shows each text
};

// An option word of the command line and the parameters it sets: one, or
// both channels of a per-channel parameter.
struct Alias
{
    std::string mWord; // in a group of optionGroups: the words, comma-separated
    std::vector<int> mIds;
};

// One normalized value for one parameter, in the order given.
struct Setting
{
    int mId;
    float mValue;
};
using Settings = std::vector<Setting>;
using ParameterValues = std::array<float, kNumParameters>;

class ParameterTable
{
public:
    ParameterTable();
    ~ParameterTable();
    ParameterTable(const ParameterTable&) = delete;
    ParameterTable& operator=(const ParameterTable&) = delete;

    const std::vector<ParameterInfo>& parameters() const { return mParameters; }
    const ParameterInfo& parameter(int inId) const { return mParameters.at(static_cast<std::size_t>(inId)); }

    // The option words grouped by the parameters they set, in id order, the
    // both-channel group ahead of its channels.
    std::vector<Alias> optionGroups() const;

    // The alias for an option word without its dashes, or null.
    const Alias* findAlias(std::string_view inWord) const;

    // Appends the settings of NAME=VALUE. NAME is a parameter name, an option
    // word or an id; VALUE is a physical value (unit optional) or a value
    // text, except that after a numeric id a number is the normalized value.
    // Throws UsageError naming the parameter and its range.
    void parseAssignment(std::string_view inName, std::string_view inValue, Settings& ioSettings) const;

    // The normalized value of a value given for one parameter (see above).
    float parseValue(int inId, std::string_view inValue, bool inNormalizedNumbers) const;

    // "40 dB", "80 Hz", "Linked" or a bare number, as a person reads it.
    std::string formatValue(int inId, float inNormalizedValue) const;
    // "3 to 76 dB", "Bypassed | 80 Hz | 300 Hz | 80 + 300 Hz" or "0 to 1".
    std::string rangeText(int inId) const;

    ParameterValues defaults() const;
    ParameterValues apply(const Settings& inSettings) const;

    // Settings from a preset: one NAME = VALUE a line, # starts a comment; a
    // UTF-8 byte-order mark is skipped. A file is refused beyond 64 KiB, a
    // line beyond 1024 characters and text with control characters in it.
    // inOrigin names the preset in messages.
    Settings loadPreset(const std::filesystem::path& inPath) const;
    Settings parsePreset(std::string_view inText, const std::string& inOrigin) const;
    // A preset holding every value, each written so that it loads back to the
    // same normalized value.
    std::string formatPreset(const ParameterValues& inValues, const std::string& inHeader) const;

private:
    float physicalToNormalized(const ParameterInfo& inInfo, double inPhysical) const;
    void buildAliases();

    std::unique_ptr<Q38Engine> mProbe;
    std::vector<ParameterInfo> mParameters;
    std::vector<Alias> mAliases;
};

// Shortest decimal text that reads back as the same float.
std::string formatNumber(float inValue);

} // namespace cli
