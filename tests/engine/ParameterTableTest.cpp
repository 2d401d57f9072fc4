// The parameter vocabulary as the host reads it, and the coefficient blocks
// that setParameter publishes.

#include "EngineTestSupport.h"

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <tuple>

using namespace enginetest;

namespace {

std::string valueText(Q38Engine& inEngine, int inId, float inValue)
{
    char text[64];
    inEngine.getValueText(inId, inValue, text, sizeof text);
    return text;
}

// What a query writes into a buffer of 16 '#'.
template <typename Query>
std::string written(Query inQuery)
{
    std::string text(16, '#');
    inQuery(text.data());
    return text;
}

} // namespace

TEST(ParameterTable, NamesDefaultsUnitsTextsAndPhysicalValues)
{
    static_assert(kNumParameters == 17 && kNumMeters == 2 && kQ38MaxBufferSize == 32 && kQ38MaxNumChannels == 2);
    // Name, default, unit, the default's text, and the physical values at 0, 0.5 and 1.
    const struct { const char* mName; float mDefault; const char *mUnit, *mText; float mAt0, mAtHalf, mAt1; } table[] = {
        {"Enable Effect", 1.0f, "", "On", 0, 0, 0},
        {"Stereo Link", 0.0f, "", "Unlinked", 0, 0, 0},
        {"Stereo Mode", 0.0f, "", "L/R", 0, 0, 0},
        {"Ch.1: Phase Reverse", 0.0f, "", "Normal", 0, 0, 0},
        {"Ch.2: Phase Reverse", 0.0f, "", "Normal", 0, 0, 0},
        {"Ch.1: Input Gain", 0.0f, "dB", "", 3, 39.5f, 76},
        {"Ch.2: Input Gain", 0.0f, "dB", "", 3, 39.5f, 76},
        {"Ch.1: HighPass Freq", 0.0f, "", "Bypassed", 0, 0, 0},
        {"Ch.2: HighPass Freq", 0.0f, "", "Bypassed", 0, 0, 0},
        {"Ch.1: Eq High Tone Gain", 0.5f, "dB", "", -10, 0, 10},
        {"Ch.2: Eq High Tone Gain", 0.5f, "dB", "", -10, 0, 10},
        {"Ch.1: Eq Low Tone Gain", 0.5f, "dB", "", -10, 0, 10},
        {"Ch.2: Eq Low Tone Gain", 0.5f, "dB", "", -10, 0, 10},
        {"Ch.1: Enable Eq", 1.0f, "", "On", 0, 0, 0},
        {"Ch.2: Enable Eq", 1.0f, "", "On", 0, 0, 0},
        {"Ch.1: Output Trim", 0.5f, "dB", "", -24, 0, 24},
        {"Ch.2: Output Trim", 0.5f, "dB", "", -24, 0, 24},
    };
    q38::Q38PrivateEngine engine;
    for (int id = 0; id < kNumParameters; ++id) {
        const auto& row = table[id];
        char name[64], unit[64], text[64];
        engine.getParameterName(id, name, sizeof name);
        engine.getParameterUnit(id, unit, sizeof unit);
        engine.getValueText(id, text, sizeof text);
        EXPECT_STREQ(name, row.mName);
        EXPECT_TRUE(std::string(unit) == row.mUnit && std::string(text) == row.mText) << row.mName;
        EXPECT_TRUE(engine.getParameterValue(id) == row.mDefault && q38::kParameterDefaults[id] == row.mDefault);
        EXPECT_EQ((std::array{engine.getPhysicalValue(id, 0.0f), engine.getPhysicalValue(id, 0.5f), engine.getPhysicalValue(id, 1.0f)}),
                  (std::array{row.mAt0, row.mAtHalf, row.mAt1})) << row.mName;
    }
}

TEST(ParameterTable, TextsAtTheSwitchBoundaries)
{
    const std::tuple<int, float, const char*> rows[] = {
        {kEnableEffect, 0.5f, "Off"},      {kEnableEffect, 0.50001f, "On"},    {kCh2EnableEq, 0.0f, "Off"},
        {kStereoLink, 0.5f, "Unlinked"},   {kStereoLink, 1.0f, "Linked"},      {kStereoMode, 0.7f, "M/S"},
        {kCh1PhaseReverse, 0.5f, "Normal"}, {kCh2PhaseReverse, 0.50001f, "Reversed"},
        {kCh1HighPassFreq, 0.2499f, "Bypassed"}, {kCh1HighPassFreq, 0.25f, "80 Hz"}, {kCh2HighPassFreq, 0.4999f, "80 Hz"},
        {kCh2HighPassFreq, 0.5f, "300 Hz"}, {kCh1HighPassFreq, 0.7499f, "300 Hz"}, {kCh2HighPassFreq, 0.75f, "80 + 300 Hz"},
        {kCh1HighPassFreq, 1.0f, "80 + 300 Hz"}, {kCh1InputGain, 0.3f, ""},   {kCh2OutputTrim, 0.9f, ""},
    };
    q38::Q38PrivateEngine engine;
    engine.setSampleRate(48000);
    for (const auto& [id, value, text] : rows) {
        EXPECT_EQ(valueText(engine, id, value), text) << id << " at " << value;
        // The stored value's text is that of the explicit query.
        engine.setParameter(id, value);
        char stored[64];
        engine.getValueText(id, stored, sizeof stored);
        EXPECT_STREQ(stored, text);
    }
}

TEST(ParameterTable, TextsAreCopiedWithStrncpySemantics)
{
    q38::Q38PrivateEngine engine;
    // Shorter than the text, or just as long: no terminator, nothing beyond.
    EXPECT_EQ(written([&](char* t) { engine.getParameterName(kEnableEffect, t, 5); }), "Enabl###########");
    EXPECT_EQ(written([&](char* t) { engine.getValueText(kCh1HighPassFreq, 1.0f, t, 11); }), "80 + 300 Hz#####");
    // Longer: zero-filled up to the length; the empty text is all zero bytes.
    EXPECT_EQ(written([&](char* t) { engine.getParameterUnit(kCh1InputGain, t, 6); }),
              std::string("dB\0\0\0\0##########", 16));
    EXPECT_EQ(written([&](char* t) { engine.getParameterUnit(kCh1HighPassFreq, t, 4); }),
              std::string("\0\0\0\0############", 16));
    EXPECT_EQ(written([&](char* t) { engine.getValueText(kEnableEffect, t, 0); }), std::string(16, '#'));
}

// Each id redesigns its group and every group that depends on it, so after
// any sequence of changes the published block is what a full update gives.
TEST(HandOver, EveryChangeLeavesNoStaleGroup)
{
    q38::Q38PrivateEngine engine;
    engine.setSampleRate(48000);
    std::mt19937 generator(21);
    for (int step = 0; step < 400; ++step) {
        const int id = static_cast<int>(generator() % kNumParameters);
        // Switch positions often, so that the fall-throughs are crossed.
        const float value = static_cast<float>(generator() % (step % 3 == 0 ? 5 : 1000)) / (step % 3 == 0 ? 4 : 999);
        engine.setParameter(id, value);
        const q38::CoefficientBytes published = EngineInspector::published(engine);
        ASSERT_EQ(published, EngineInspector::fullUpdate(engine, published)) << "after id " << id << " = " << value;
        ASSERT_EQ(EngineInspector::edit(engine), published);
    }
}

// resetParameters writes the defaults and nothing else; a change then updates
// its own group only, and the next setSampleRate all of them.
TEST(HandOver, ResetParametersIsShallow)
{
    q38::Q38PrivateEngine engine;
    engine.setSampleRate(44100);
    for (int id = 1; id < kNumParameters; ++id)
        engine.setParameter(id, 0.3f);
    const q38::CoefficientBytes before = EngineInspector::published(engine);
    engine.resetParameters();
    for (int id = 0; id < kNumParameters; ++id)
        EXPECT_EQ(engine.getParameterValue(id), q38::kParameterDefaults[id]);
    EXPECT_EQ(EngineInspector::sampleRate(engine), 44100.0f);
    EXPECT_EQ(EngineInspector::published(engine), before);

    engine.setParameter(kEnableEffect, 1.0f);
    const q38::CoefficientBytes after = EngineInspector::published(engine);
    using Block = q38::ModelCoefficients;
    for (const auto& [offset, size] : {std::pair{offsetof(Block, mOutputMatrix), sizeof(Block::mOutputMatrix)},
                                      {offsetof(Block, mChannel), sizeof(Block::mChannel)}})
        EXPECT_EQ(std::memcmp(before.data() + offset, after.data() + offset, size), 0) << offset;

    engine.setSampleRate(44100);
    const q38::CoefficientBytes recomputed = EngineInspector::published(engine);
    EXPECT_TRUE(recomputed != after && recomputed == EngineInspector::fullUpdate(engine, recomputed));
}
