#include "cli_Parameters.h"

#include "cli_Error.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <fstream>
#include <optional>
#include <set>
#include <sstream>

namespace cli {

namespace {

constexpr int kTextCapacity = 256;
constexpr std::size_t kMaxPresetBytes = 64 * 1024; // a full preset is under 1 KiB
constexpr std::size_t kMaxPresetLine = 1024;

// Short option words offered on top of the ones derived from the names.
// Each stands for a derived word and keeps its channel digit.
struct Shorthand
{
    const char* mShort;
    const char* mDerived;
};
constexpr Shorthand kShorthands[] = {
    {"effect", "enable-effect"},      {"link", "stereo-link"},
    {"highpass", "highpass-freq"},    {"high-tone", "eq-high-tone-gain"},
    {"low-tone", "eq-low-tone-gain"}, {"eq", "enable-eq"},
    {"trim", "output-trim"},
};

template <typename Query> std::string askText(Query&& inQuery)
{
    char text[kTextCapacity + 1] = {};
    inQuery(text, kTextCapacity);
    text[kTextCapacity] = '\0';
    return text;
}

std::string_view trim(std::string_view inText)
{
    while (!inText.empty() && std::isspace(static_cast<unsigned char>(inText.front())))
        inText.remove_prefix(1);
    while (!inText.empty() && std::isspace(static_cast<unsigned char>(inText.back())))
        inText.remove_suffix(1);
    return inText;
}

// Texts compare without case and without blanks: "80hz" finds "80 Hz".
std::string foldText(std::string_view inText)
{
    std::string folded;
    for (char c : inText)
        if (!std::isspace(static_cast<unsigned char>(c)))
            folded += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return folded;
}

std::optional<double> parseNumber(std::string_view inText)
{
    inText = trim(inText);
    if (!inText.empty() && inText.front() == '+')
        inText.remove_prefix(1);
    double value = 0.0;
    const auto [end, error] = std::from_chars(inText.data(), inText.data() + inText.size(), value);
    if (inText.empty() || error != std::errc() || end != inText.data() + inText.size() || !std::isfinite(value))
        return std::nullopt;
    return value;
}

// Removes a trailing unit, compared without case; returns whether one was there.
bool stripUnit(std::string_view& ioText, const std::string& inUnit)
{
    ioText = trim(ioText);
    if (inUnit.empty() || ioText.size() < inUnit.size())
        return false;
    const std::string_view tail = ioText.substr(ioText.size() - inUnit.size());
    if (foldText(tail) != foldText(inUnit))
        return false;
    ioText.remove_suffix(inUnit.size());
    return true;
}

// "Ch.2: Input Gain" -> channel 2 and "Input Gain"; 0 when it names no channel.
int splitChannel(const std::string& inName, std::string& outRest)
{
    outRest = inName;
    if (inName.rfind("Ch.", 0) != 0)
        return 0;
    std::size_t position = 3;
    int channel = 0;
    while (position < inName.size() && std::isdigit(static_cast<unsigned char>(inName[position])))
        channel = channel * 10 + (inName[position++] - '0');
    if (channel == 0 || inName.compare(position, 2, ": ") != 0)
        return 0;
    outRest = inName.substr(position + 2);
    return channel;
}

// "HighPass Freq" -> "highpass-freq".
std::string slug(const std::string& inText)
{
    std::string word;
    for (char c : inText) {
        if (std::isalnum(static_cast<unsigned char>(c)))
            word += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        else if (!word.empty() && word.back() != '-')
            word += '-';
    }
    while (!word.empty() && word.back() == '-')
        word.pop_back();
    return word;
}

bool sameFloat(float inA, float inB)
{
    return std::memcmp(&inA, &inB, sizeof inA) == 0;
}

} // namespace

std::string formatNumber(float inValue)
{
    if (inValue == 0.0f)
        inValue = 0.0f; // no "-0"
    char text[32];
    const auto result = std::to_chars(text, text + sizeof text, inValue);
    return std::string(text, result.ptr);
}

ParameterTable::ParameterTable() : mProbe(createQ38Engine())
{
    if (!mProbe)
        throw Error("cannot create the engine");
    Q38Engine& engine = *mProbe;
    for (int id = 0; id < kNumParameters; ++id) {
        ParameterInfo info;
        info.mId = id;
        info.mName = askText([&](char* outText, int inLength) { engine.getParameterName(id, outText, inLength); });
        info.mUnit = askText([&](char* outText, int inLength) { engine.getParameterUnit(id, outText, inLength); });
        info.mDefault = engine.getParameterValue(id);
        const auto textAt = [&](float inValue) {
            return askText([&](char* outText, int inLength) { engine.getValueText(id, inValue, outText, inLength); });
        };
        const std::vector<float> quarters = {0.0f, 0.25f, 0.5f, 0.75f};
        std::vector<std::string> fourTexts;
        for (float value : quarters)
            fourTexts.push_back(textAt(value));
        const std::set<std::string> distinct(fourTexts.begin(), fourTexts.end());
        if (!info.mUnit.empty()) {
            info.mKind = ParameterKind::kContinuous;
            info.mLowest = engine.getPhysicalValue(id, 0.0f);
            info.mHighest = engine.getPhysicalValue(id, 1.0f);
        } else if (distinct.size() == 4 && !distinct.contains("")) {
            info.mKind = ParameterKind::kFourWay;
            info.mTexts = fourTexts;
            info.mTextValues = quarters;
        } else if (const std::string off = textAt(0.0f), on = textAt(1.0f); !off.empty() && !on.empty() && off != on) {
            info.mKind = ParameterKind::kSwitch;
            info.mTexts = {off, on};
            info.mTextValues = {0.0f, 1.0f};
        }
        mParameters.push_back(std::move(info));
    }
    buildAliases();
}

ParameterTable::~ParameterTable() = default;

void ParameterTable::buildAliases()
{
    std::vector<Alias> derived;
    std::vector<std::pair<std::string, std::vector<int>>> groups;
    for (const ParameterInfo& info : mParameters) {
        std::string rest;
        const int channel = splitChannel(info.mName, rest);
        const std::string word = slug(rest);
        if (word.empty())
            continue;
        derived.push_back({channel ? word + std::to_string(channel) : word, {info.mId}});
        if (channel) {
            auto group = std::find_if(groups.begin(), groups.end(), [&](const auto& g) { return g.first == word; });
            if (group == groups.end())
                groups.push_back({word, {info.mId}});
            else
                group->second.push_back(info.mId);
        }
    }
    for (auto& [word, ids] : groups)
        if (ids.size() > 1)
            derived.push_back({word, ids});

    mAliases = derived;
    for (const Shorthand& shorthand : kShorthands) {
        for (const Alias& alias : derived) {
            if (alias.mWord.rfind(shorthand.mDerived, 0) != 0)
                continue;
            const std::string suffix = alias.mWord.substr(std::string_view(shorthand.mDerived).size());
            if (suffix.empty() || std::all_of(suffix.begin(), suffix.end(), ::isdigit))
                mAliases.push_back({shorthand.mShort + suffix, alias.mIds});
        }
    }
}

std::vector<Alias> ParameterTable::optionGroups() const
{
    std::vector<Alias> groups;
    for (const Alias& alias : mAliases) {
        auto group = std::find_if(groups.begin(), groups.end(), [&](const Alias& g) { return g.mIds == alias.mIds; });
        if (group == groups.end())
            groups.push_back({"--" + alias.mWord, alias.mIds});
        else
            group->mWord += ", --" + alias.mWord;
    }
    std::stable_sort(groups.begin(), groups.end(), [](const Alias& inA, const Alias& inB) {
        if (inA.mIds.front() != inB.mIds.front())
            return inA.mIds.front() < inB.mIds.front();
        return inA.mIds.size() > inB.mIds.size();
    });
    return groups;
}

const Alias* ParameterTable::findAlias(std::string_view inWord) const
{
    for (const Alias& alias : mAliases)
        if (alias.mWord == inWord)
            return &alias;
    return nullptr;
}

float ParameterTable::physicalToNormalized(const ParameterInfo& inInfo, double inPhysical) const
{
    // The engine maps v to lowest + v * (highest - lowest); invert that and
    // make sure the engine's own mapping gives the value back.
    const double lowest = inInfo.mLowest;
    const double span = double(inInfo.mHighest) - lowest;
    const float value = std::clamp(static_cast<float>((inPhysical - lowest) / span), 0.0f, 1.0f);
    const double miss = std::fabs(double(mProbe->getPhysicalValue(inInfo.mId, value)) - inPhysical);
    if (!(miss <= 1e-5 * std::fabs(span)))
        throw Error(inInfo.mName + ": the engine's value mapping is not a straight line; cannot convert " +
                    formatNumber(static_cast<float>(inPhysical)) + " " + inInfo.mUnit);
    return value;
}

float ParameterTable::parseValue(int inId, std::string_view inValue, bool inNormalizedNumbers) const
{
    const ParameterInfo& info = parameter(inId);
    const std::string shown = shownText(trim(inValue));
    const auto normalized = [&](double inNumber) {
        if (!(inNumber >= 0.0 && inNumber <= 1.0))
            throw UsageError(info.mName + ": normalized value " + shown + " is out of range (0 to 1)");
        return static_cast<float>(inNumber);
    };

    if (info.mKind == ParameterKind::kContinuous) {
        std::string_view number = inValue;
        const bool hasUnit = stripUnit(number, info.mUnit);
        const std::optional<double> value = parseNumber(number);
        if (!value)
            throw UsageError(info.mName + ": \"" + shown + "\" is not a value in " + info.mUnit + " (" +
                             rangeText(inId) + ")");
        if (inNormalizedNumbers && !hasUnit)
            return normalized(*value);
        const double lowest = std::min(info.mLowest, info.mHighest);
        const double highest = std::max(info.mLowest, info.mHighest);
        if (!(*value >= lowest && *value <= highest)) {
            char number[32];
            const auto end = std::to_chars(number, number + sizeof number, *value).ptr;
            throw UsageError(info.mName + ": " + std::string(number, end) + " " + info.mUnit + " is out of range (" +
                             rangeText(inId) + ")");
        }
        return physicalToNormalized(info, *value);
    }

    const std::string folded = foldText(inValue);
    for (std::size_t index = 0; index < info.mTexts.size(); ++index)
        if (foldText(info.mTexts[index]) == folded)
            return info.mTextValues[index];
    if (info.mKind == ParameterKind::kSwitch) {
        if (folded == "on" || folded == "yes" || folded == "true")
            return info.mTextValues[1];
        if (folded == "off" || folded == "no" || folded == "false")
            return info.mTextValues[0];
    }
    // A whole number is a text's index, as in Python (for a switch the same
    // as its normalized value); another number in 0..1 is a normalized value.
    // Beyond that it is more likely meant as a text ("80" for "80 Hz"), so the
    // texts are what the message lists.
    const std::optional<double> value = parseNumber(inValue);
    const std::size_t texts = info.mTexts.size();
    if (value && !inNormalizedNumbers && texts > 0 && *value >= 0.0 && *value < double(texts) &&
        *value == std::floor(*value))
        return info.mTextValues[static_cast<std::size_t>(*value)];
    if (value && (inNormalizedNumbers || texts == 0 || (*value >= 0.0 && *value <= 1.0)))
        return normalized(*value);
    if (texts == 0)
        throw UsageError(info.mName + ": \"" + shown + "\" is not a normalized value (0 to 1)");
    throw UsageError(info.mName + ": \"" + shown + "\" is not one of " + rangeText(inId) + ", nor an index 0 to " +
                     std::to_string(texts - 1));
}

void ParameterTable::parseAssignment(std::string_view inName, std::string_view inValue, Settings& ioSettings) const
{
    const std::string_view name = trim(inName);
    std::vector<int> ids;
    bool byId = false;
    if (const std::optional<double> number = parseNumber(name)) {
        if (*number != std::floor(*number) || *number < 0 || *number >= double(kNumParameters))
            throw UsageError("unknown parameter id " + shownText(name) + " (ids are 0 to " +
                             std::to_string(kNumParameters - 1) + ")");
        ids = {static_cast<int>(*number)};
        byId = true;
    } else {
        for (const ParameterInfo& info : mParameters)
            if (foldText(info.mName) == foldText(name))
                ids = {info.mId};
        std::string_view word = name;
        while (ids.empty() && !word.empty() && word.front() == '-')
            word.remove_prefix(1);
        if (const Alias* alias = ids.empty() ? findAlias(word) : nullptr)
            ids = alias->mIds;
    }
    if (ids.empty())
        throw UsageError("unknown parameter \"" + shownText(name) + "\" (q38 params lists them)");
    for (int id : ids)
        ioSettings.push_back({id, parseValue(id, inValue, byId)});
}

std::string ParameterTable::formatValue(int inId, float inNormalizedValue) const
{
    const ParameterInfo& info = parameter(inId);
    switch (info.mKind) {
    case ParameterKind::kContinuous:
        return formatNumber(mProbe->getPhysicalValue(inId, inNormalizedValue)) + " " + info.mUnit;
    case ParameterKind::kSwitch:
    case ParameterKind::kFourWay:
        return askText(
            [&](char* outText, int inLength) { mProbe->getValueText(inId, inNormalizedValue, outText, inLength); });
    case ParameterKind::kPlain:
        break;
    }
    return formatNumber(inNormalizedValue);
}

std::string ParameterTable::rangeText(int inId) const
{
    const ParameterInfo& info = parameter(inId);
    if (info.mKind == ParameterKind::kContinuous)
        return formatNumber(info.mLowest) + " to " + formatNumber(info.mHighest) + " " + info.mUnit;
    if (info.mTexts.empty())
        return "0 to 1";
    std::string text;
    for (const std::string& valueText : info.mTexts)
        text += (text.empty() ? "" : " | ") + valueText;
    return text;
}

ParameterValues ParameterTable::defaults() const
{
    ParameterValues values{};
    for (const ParameterInfo& info : mParameters)
        values[static_cast<std::size_t>(info.mId)] = info.mDefault;
    return values;
}

ParameterValues ParameterTable::apply(const Settings& inSettings) const
{
    ParameterValues values = defaults();
    for (const Setting& setting : inSettings)
        values[static_cast<std::size_t>(setting.mId)] = setting.mValue;
    return values;
}

Settings ParameterTable::loadPreset(const std::filesystem::path& inPath) const
{
    // Read one byte beyond the cap, so that an endless file (/dev/zero) stops there.
    std::ifstream file(inPath, std::ios::binary);
    std::string text(kMaxPresetBytes + 1, '\0');
    if (file)
        file.read(text.data(), static_cast<std::streamsize>(text.size()));
    if (!file && !file.eof())
        throw UsageError("cannot read preset '" + inPath.string() + "': " + std::strerror(errno ? errno : EIO));
    text.resize(static_cast<std::size_t>(file.gcount()));
    if (text.size() > kMaxPresetBytes)
        throw UsageError("preset '" + inPath.string() + "' is larger than " + std::to_string(kMaxPresetBytes / 1024) +
                         " KiB; a preset is a short text of NAME = VALUE lines");
    return parsePreset(text, inPath.string());
}

Settings ParameterTable::parsePreset(std::string_view inText, const std::string& inOrigin) const
{
    constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
    if (inText.starts_with(kByteOrderMark))
        inText.remove_prefix(kByteOrderMark.size());
    if (std::any_of(inText.begin(), inText.end(), [](char inChar) {
            const auto byte = static_cast<unsigned char>(inChar);
            return (byte < 0x20 && byte != '\t' && byte != '\n' && byte != '\r') || byte == 0x7f;
        }))
        throw UsageError("'" + inOrigin + "' is not a preset: it holds binary data, not NAME = VALUE lines");
    Settings settings;
    int lineNumber = 0;
    while (!inText.empty()) {
        const std::size_t end = std::min(inText.find('\n'), inText.size());
        std::string_view content = inText.substr(0, end);
        inText.remove_prefix(std::min(end + 1, inText.size()));
        const std::string where = inOrigin + ":" + std::to_string(++lineNumber) + ": ";
        if (content.size() > kMaxPresetLine)
            throw UsageError(where + "line longer than " + std::to_string(kMaxPresetLine) + " characters");
        content = trim(content.substr(0, content.find('#')));
        if (content.empty())
            continue;
        const std::size_t equals = content.find('=');
        if (equals == std::string_view::npos)
            throw UsageError(where + "expected NAME = VALUE, found \"" + shownText(content) + "\"");
        try {
            parseAssignment(content.substr(0, equals), content.substr(equals + 1), settings);
        } catch (const UsageError& error) {
            throw UsageError(where + error.what());
        }
    }
    return settings;
}

std::string ParameterTable::formatPreset(const ParameterValues& inValues, const std::string& inHeader) const
{
    std::ostringstream text;
    std::istringstream header(inHeader);
    for (std::string line; std::getline(header, line);)
        text << "# " << line << "\n";
    for (const ParameterInfo& info : mParameters) {
        const float value = inValues[static_cast<std::size_t>(info.mId)];
        const std::string shown = formatValue(info.mId, value);
        bool exact = false;
        try {
            exact = sameFloat(parseValue(info.mId, shown, false), value);
        } catch (const Error&) {
        }
        // A physical value that cannot carry the exact float goes by id.
        if (exact)
            text << info.mName << " = " << shown << "\n";
        else
            text << info.mId << " = " << formatNumber(value) << "  # " << info.mName << " = " << shown << "\n";
    }
    return text.str();
}

} // namespace cli
