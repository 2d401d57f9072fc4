// The parameter vocabulary as the host reads it: names, defaults, units,
// physical values and display texts, with the copy semantics of the text
// queries.

#include "EngineTestSupport.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

using namespace enginetest;

namespace {

std::string name(Q38Engine& inEngine, int inId)
{
    char text[64];
    inEngine.getParameterName(inId, text, sizeof text);
    return text;
}

std::string unit(Q38Engine& inEngine, int inId)
{
    char text[64];
    inEngine.getParameterUnit(inId, text, sizeof text);
    return text;
}

std::string valueText(Q38Engine& inEngine, int inId, float inValue)
{
    char text[64];
    inEngine.getValueText(inId, inValue, text, sizeof text);
    return text;
}

std::string storedValueText(Q38Engine& inEngine, int inId)
{
    char text[64];
    inEngine.getValueText(inId, text, sizeof text);
    return text;
}

struct TableRow
{
    int mId;
    const char* mName;
    float mDefault;
    const char* mUnit;
    const char* mDefaultText;
};

const TableRow kTable[] = {
    {kEnableEffect, "Enable Effect", 1.0f, "", "On"},
    {kStereoLink, "Stereo Link", 0.0f, "", "Unlinked"},
    {kStereoMode, "Stereo Mode", 0.0f, "", "L/R"},
    {kCh1PhaseReverse, "Ch.1: Phase Reverse", 0.0f, "", "Normal"},
    {kCh2PhaseReverse, "Ch.2: Phase Reverse", 0.0f, "", "Normal"},
    {kCh1InputGain, "Ch.1: Input Gain", 0.0f, "dB", ""},
    {kCh2InputGain, "Ch.2: Input Gain", 0.0f, "dB", ""},
    {kCh1HighPassFreq, "Ch.1: HighPass Freq", 0.0f, "", "Bypassed"},
    {kCh2HighPassFreq, "Ch.2: HighPass Freq", 0.0f, "", "Bypassed"},
    {kCh1EqHighToneGain, "Ch.1: Eq High Tone Gain", 0.5f, "dB", ""},
    {kCh2EqHighToneGain, "Ch.2: Eq High Tone Gain", 0.5f, "dB", ""},
    {kCh1EqLowToneGain, "Ch.1: Eq Low Tone Gain", 0.5f, "dB", ""},
    {kCh2EqLowToneGain, "Ch.2: Eq Low Tone Gain", 0.5f, "dB", ""},
    {kCh1EnableEq, "Ch.1: Enable Eq", 1.0f, "", "On"},
    {kCh2EnableEq, "Ch.2: Enable Eq", 1.0f, "", "On"},
    {kCh1OutputTrim, "Ch.1: Output Trim", 0.5f, "dB", ""},
    {kCh2OutputTrim, "Ch.2: Output Trim", 0.5f, "dB", ""},
};

} // namespace

TEST(ParameterTable, NamesDefaultsUnitsAndDefaultTextsOfANewEngine)
{
    static_assert(kNumParameters == 17 && kNumMeters == 2);
    static_assert(kQ38MaxBufferSize == 32 && kQ38MaxNumChannels == 2);
    ASSERT_EQ(std::size(kTable), static_cast<std::size_t>(kNumParameters));

    q38::Q38PrivateEngine engine;
    for (const TableRow& row : kTable) {
        SCOPED_TRACE(row.mName);
        EXPECT_EQ(name(engine, row.mId), row.mName);
        EXPECT_EQ(engine.getParameterValue(row.mId), row.mDefault);
        EXPECT_EQ(unit(engine, row.mId), row.mUnit);
        EXPECT_EQ(storedValueText(engine, row.mId), row.mDefaultText);
    }
}

TEST(ParameterTable, SwitchTextsTurnStrictlyAboveOneHalf)
{
    q38::Q38PrivateEngine engine;
    EXPECT_EQ(valueText(engine, kEnableEffect, 0.5f), "Off");
    EXPECT_EQ(valueText(engine, kEnableEffect, 0.50001f), "On");
    EXPECT_EQ(valueText(engine, kStereoLink, 0.5f), "Unlinked");
    EXPECT_EQ(valueText(engine, kStereoLink, 1.0f), "Linked");
    EXPECT_EQ(valueText(engine, kStereoMode, 0.0f), "L/R");
    EXPECT_EQ(valueText(engine, kStereoMode, 0.7f), "M/S");
    EXPECT_EQ(valueText(engine, kCh2PhaseReverse, 0.50001f), "Reversed");
    EXPECT_EQ(valueText(engine, kCh1PhaseReverse, 0.5f), "Normal");
    EXPECT_EQ(valueText(engine, kCh2EnableEq, 0.0f), "Off");
}

TEST(ParameterTable, HighPassPositionsAtTheirBoundaries)
{
    q38::Q38PrivateEngine engine;
    for (int id : {kCh1HighPassFreq, kCh2HighPassFreq}) {
        EXPECT_EQ(valueText(engine, id, 0.0f), "Bypassed");
        EXPECT_EQ(valueText(engine, id, 0.2499f), "Bypassed");
        EXPECT_EQ(valueText(engine, id, 0.25f), "80 Hz");
        EXPECT_EQ(valueText(engine, id, 0.4999f), "80 Hz");
        EXPECT_EQ(valueText(engine, id, 0.5f), "300 Hz");
        EXPECT_EQ(valueText(engine, id, 0.7499f), "300 Hz");
        EXPECT_EQ(valueText(engine, id, 0.75f), "80 + 300 Hz");
        EXPECT_EQ(valueText(engine, id, 1.0f), "80 + 300 Hz");
    }
    // Continuous parameters show their physical value, not a text.
    EXPECT_EQ(valueText(engine, kCh1InputGain, 0.3f), "");
    EXPECT_EQ(valueText(engine, kCh2OutputTrim, 0.9f), "");
}

TEST(ParameterTable, PhysicalValuesInSinglePrecision)
{
    q38::Q38PrivateEngine engine;
    engine.setSampleRate(48000);
    for (int id : {kCh1InputGain, kCh2InputGain}) {
        EXPECT_EQ(engine.getPhysicalValue(id, 0.0f), 3.0f);
        EXPECT_EQ(engine.getPhysicalValue(id, 0.5f), 39.5f);
        EXPECT_EQ(engine.getPhysicalValue(id, 1.0f), 76.0f);
    }
    for (int id : {kCh1EqHighToneGain, kCh2EqHighToneGain, kCh1EqLowToneGain, kCh2EqLowToneGain}) {
        EXPECT_EQ(engine.getPhysicalValue(id, 0.0f), -10.0f);
        EXPECT_EQ(engine.getPhysicalValue(id, 0.5f), 0.0f);
        EXPECT_EQ(engine.getPhysicalValue(id, 1.0f), 10.0f);
    }
    for (int id : {kCh1OutputTrim, kCh2OutputTrim}) {
        EXPECT_EQ(engine.getPhysicalValue(id, 0.0f), -24.0f);
        EXPECT_EQ(engine.getPhysicalValue(id, 0.5f), 0.0f);
        EXPECT_EQ(engine.getPhysicalValue(id, 1.0f), 24.0f);
    }

    for (int id : {kEnableEffect, kStereoLink, kStereoMode, kCh1PhaseReverse, kCh1HighPassFreq, kCh2HighPassFreq,
                   kCh1EnableEq})
        EXPECT_EQ(engine.getPhysicalValue(id, 1.0f), 0.0f) << id;

    engine.setParameter(kCh2OutputTrim, 0.75f);
    EXPECT_EQ(engine.getPhysicalValue(kCh2OutputTrim), 12.0f);
    EXPECT_EQ(engine.getPhysicalValue(kCh1OutputTrim), 0.0f);
}

TEST(ParameterTable, StoredAndExplicitQueriesAgreeAndExplicitOnesStoreNothing)
{
    q38::Q38PrivateEngine engine;
    engine.setSampleRate(48000);
    const float values[] = {0.0f, 0.25f, 0.5f, 0.50001f, 0.8f, 1.0f};
    for (int id = 0; id < kNumParameters; ++id) {
        for (float value : values) {
            engine.setParameter(id, value);
            EXPECT_EQ(engine.getParameterValue(id), value);
            EXPECT_EQ(storedValueText(engine, id), valueText(engine, id, engine.getParameterValue(id)));
            EXPECT_EQ(engine.getPhysicalValue(id), engine.getPhysicalValue(id, value));
        }
        // Asking about another value leaves the stored one alone.
        valueText(engine, id, 0.1f);
        engine.getPhysicalValue(id, 0.1f);
        EXPECT_EQ(engine.getParameterValue(id), 1.0f);
    }
}

TEST(ParameterTable, TextsAreCopiedWithStrncpySemantics)
{
    q38::Q38PrivateEngine engine;

    // Shorter buffer: the first bytes, no terminator, nothing beyond.
    char text[16];
    std::memset(text, '#', sizeof text);
    engine.getParameterName(kEnableEffect, text, 5);
    EXPECT_EQ(std::string(text, sizeof text), "Enabl###########");

    // Exactly the text's length: still no terminator.
    std::memset(text, '#', sizeof text);
    engine.getValueText(kCh1HighPassFreq, 1.0f, text, 11);
    EXPECT_EQ(std::string(text, sizeof text), std::string("80 + 300 Hz#####"));

    // Longer buffer: the rest up to inMaxLength is zero-filled.
    std::memset(text, '#', sizeof text);
    engine.getParameterUnit(kCh1InputGain, text, 6);
    EXPECT_EQ(std::string(text, sizeof text), std::string("dB\0\0\0\0##########", 16));

    // The empty text is empty, not a space: all zero bytes.
    std::memset(text, '#', sizeof text);
    engine.getParameterUnit(kCh1HighPassFreq, text, 4);
    EXPECT_EQ(std::string(text, sizeof text), std::string("\0\0\0\0############", 16));

    // A length of zero writes nothing.
    std::memset(text, '#', sizeof text);
    engine.getValueText(kEnableEffect, text, 0);
    EXPECT_EQ(std::string(text, sizeof text), std::string(16, '#'));
}

TEST(ParameterTable, ResetParametersWritesDefaultsAndNothingElse)
{
    q38::Q38PrivateEngine engine;
    engine.setSampleRate(44100);
    for (int id = 0; id < kNumParameters; ++id)
        engine.setParameter(id, 0.3f);
    const q38::CoefficientBytes before = q38::EngineInspector::published(engine);

    engine.resetParameters();

    for (const TableRow& row : kTable)
        EXPECT_EQ(engine.getParameterValue(row.mId), row.mDefault) << row.mName;
    EXPECT_EQ(q38::EngineInspector::sampleRate(engine), 44100.0f);
    EXPECT_EQ(q38::EngineInspector::published(engine), before) << "the sound must wait for the next update";
}
