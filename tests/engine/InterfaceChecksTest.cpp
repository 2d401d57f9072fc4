// Argument checks at the engine's interface: each reports at level 3 with its
// expression and message, and the call goes on.

#include "EngineTestSupport.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <tuple>

using namespace enginetest;

namespace {

const std::string kIdExpression = "inParameterId >= 0 && inParameterId < Q38ParameterIds::kNumParameters";
const std::string kValueExpression = "inNormalizedValue >= 0 && inNormalizedValue <= 1";

std::string interfaceNotice(const std::string& inExpression, const std::string& inMessage)
{
    return "Assertion '" + inExpression + "' failed.\n" + inMessage;
}

// The reports since the last call, each as its text; the capture starts afresh.
std::vector<std::string> texts(NoticeCapture& ioCapture)
{
    std::vector<std::string> result;
    for (const core::AssertionNotice& notice : ioCapture.notices())
        result.push_back(notice.mText);
    ioCapture.clear();
    return result;
}

// Exactly one level-3 notice with this text, reported from the engine's source.
void expectOneInterfaceNotice(NoticeCapture& ioCapture, const std::string& inExpression, const std::string& inMessage)
{
    ASSERT_EQ(ioCapture.size(), 1u) << inMessage;
    const core::AssertionNotice& notice = ioCapture.notices()[0];
    EXPECT_TRUE(notice.mLevel == 3u && notice.mTitle == "Serious error") << notice.mLevel << " " << notice.mTitle;
    EXPECT_EQ(ioCapture.paths()[0], "model/q38_ModelEngine.cpp");
    EXPECT_EQ(ioCapture.heads()[0], "Assertion '" + inExpression + "' failed");
    EXPECT_EQ(texts(ioCapture), std::vector<std::string>{interfaceNotice(inExpression, inMessage)});
}

} // namespace

TEST(InterfaceChecks, IdsAreTestedUnsigned)
{
    NoticeCapture capture;
    q38::Q38PrivateEngine engine;
    engine.setSampleRate(48000);
    // Each query after a bad id; the text ones copy the empty text.
    const auto empty = [](auto inQuery) {
        std::string text(8, '#');
        inQuery(text.data());
        EXPECT_EQ(text, std::string(8, '\0'));
    };
    const std::function<void(int)> calls[] = {
        [&](int inId) { engine.setParameter(inId, 0.5f); },
        [&](int inId) { EXPECT_EQ(engine.getParameterValue(inId), 0.0f); },
        [&](int inId) { EXPECT_EQ(engine.getPhysicalValue(inId), 0.0f); },
        [&](int inId) { EXPECT_EQ(engine.getPhysicalValue(inId, 0.5f), 0.0f); },
        [&](int inId) { empty([&](char* outText) { engine.getParameterName(inId, outText, 8); }); },
        [&](int inId) { empty([&](char* outText) { engine.getParameterUnit(inId, outText, 8); }); },
        [&](int inId) { empty([&](char* outText) { engine.getValueText(inId, outText, 8); }); },
        [&](int inId) { empty([&](char* outText) { engine.getValueText(inId, 0.5f, outText, 8); }); },
    };
    for (const int id : {-1, 17, std::numeric_limits<int>::min()})
        for (const auto& call : calls) {
            call(id);
            expectOneInterfaceNotice(capture, kIdExpression, "Invalid parameter ID: " + std::to_string(id));
        }
    for (int id = 0; id < kNumParameters; ++id)
        EXPECT_EQ(engine.getParameterValue(id), q38::kParameterDefaults[id]);
    for (const int id : {-1, 2, 100}) {
        EXPECT_EQ(engine.getMeterValue(id), 0.0f);
        expectOneInterfaceNotice(capture, "inMeterId >= 0 && inMeterId < Q38MeterIds::kNumMeters",
                                 "Invalid meter ID: " + std::to_string(id));
    }

    // A bad id and a bad value report twice.
    engine.getPhysicalValue(20, 2.0f);
    EXPECT_EQ(texts(capture), (std::vector<std::string>{interfaceNotice(kIdExpression, "Invalid parameter ID: 20"),
                                                         interfaceNotice(kValueExpression, "Invalid normalized value: 2")}));
}

TEST(InterfaceChecks, BadValuesAreReportedThenIgnoredOrHeldToTheRange)
{
    NoticeCapture capture;
    q38::Q38PrivateEngine engine;
    engine.setSampleRate(48000);
    for (const float value : {0.0f, -0.0f, 1.0f})
        engine.setParameter(kCh1InputGain, value);
    EXPECT_TRUE(capture.empty());

    const auto expectValueNotice = [&](const std::string& inValue) {
        expectOneInterfaceNotice(capture, kValueExpression, "Invalid normalized value: " + inValue);
    };
    const float infinity = std::numeric_limits<float>::infinity();
    // Each from a stored 0.25: a NaN leaves it, anything else lands on the nearer end.
    const std::tuple<float, const char*, float> rows[] = {
        {1.5f, "1.5", 1.0f}, {-1e-7f, "-1e-07", 0.0f},   {1.0000001f, "1", 1.0f},     {5.0f, "5", 1.0f},
        {-5.0f, "-5", 0.0f}, {infinity, "inf", 1.0f}, {-infinity, "-inf", 0.0f}, {std::nanf(""), "nan", 0.25f}};
    for (const auto& [value, text, stored] : rows) {
        engine.setParameter(kCh1OutputTrim, 0.25f);
        engine.setParameter(kCh1OutputTrim, value);
        expectValueNotice(text);
        EXPECT_EQ(engine.getParameterValue(kCh1OutputTrim), stored) << text;
    }
    // What is stored is in range, so its queries have nothing to report.
    EXPECT_EQ(engine.getPhysicalValue(kCh1OutputTrim), -12.0f);
    EXPECT_TRUE(capture.empty());

    // A query's own value is reported and used as given.
    char text[16];
    engine.getValueText(kCh1HighPassFreq, 7.0f, text, sizeof text);
    expectValueNotice("7");
    EXPECT_STREQ(text, "80 + 300 Hz");
    engine.getValueText(kCh1HighPassFreq, -0.2f, text, sizeof text);  // still truncates to 0
    expectValueNotice("-0.2");
    EXPECT_STREQ(text, "Bypassed");
    EXPECT_EQ(engine.getPhysicalValue(kCh1EqLowToneGain, -1.0f), -30.0f);
    expectValueNotice("-1");
}

TEST(InterfaceChecks, RatesOutsideTheSupportedRangeAreReportedAndRefused)
{
    NoticeCapture capture;
    q38::Q38PrivateEngine engine;
    const std::string range = "inSampleRate >= kQ38MinSampleRate && inSampleRate <= kQ38MaxSampleRate";
    for (const int previous : {0, 8000, 384000}) {
        if (previous != 0)
            engine.setSampleRate(previous);
        EXPECT_TRUE(capture.empty());
        for (const int rate : {0, -1, std::numeric_limits<int>::min(), 7999, 384001, 16777217}) {
            engine.setSampleRate(rate);
            expectOneInterfaceNotice(capture, rate <= 0 ? "inSampleRate > 0" : range,
                                     (rate <= 0 ? "Invalid sample rate: " : "Unsupported sample rate: ") + std::to_string(rate));
            EXPECT_EQ(EngineInspector::sampleRate(engine), static_cast<float>(previous));
        }
    }
}

TEST(InterfaceChecks, ProcessReportsBadCountsAndStaysInsideItsBuffers)
{
    NoticeCapture capture;
    q38::Q38PrivateEngine engine;
    engine.setParameter(kEnableEffect, 0.0f);
    engine.setSampleRate(48000);
    const std::vector<float> left = randomSignal(40, 0.5f, 1), right = randomSignal(40, 0.5f, 2);
    const float* inputs[2] = {left.data(), right.data()};
    std::vector<float> leftOut(40, 9.0f), rightOut(40, 9.0f);
    float* outputs[2] = {leftOut.data(), rightOut.data()};
    const std::string samplesExpression = "inNumSamples > 0 && inNumSamples <= kQ38MaxBufferSize";

    // Too many: then one level-2 report per buffer; the first 32 samples are processed, the rest left alone.
    engine.process(inputs, outputs, 2, 33);
    std::vector<std::string> reports = texts(capture);
    ASSERT_EQ(reports.size(), 3u);
    EXPECT_EQ(reports[0], interfaceNotice(samplesExpression, "Number of samples is too large: 33"));
    EXPECT_TRUE(std::equal(left.begin(), left.begin() + 32, leftOut.begin()));
    EXPECT_EQ(leftOut[32], 9.0f);

    // The same wording for a count of zero or below; nothing is written.
    for (const int count : {0, -3}) {
        std::fill(leftOut.begin(), leftOut.end(), 9.0f);
        engine.process(inputs, outputs, 2, count);
        reports = texts(capture);
        ASSERT_EQ(reports.size(), count < 0 ? 3u : 1u);  // a negative count fails the buffers' checks too
        EXPECT_EQ(reports[0], interfaceNotice(samplesExpression, "Number of samples is too large: " + std::to_string(count)));
        EXPECT_EQ(leftOut, std::vector<float>(40, 9.0f));
    }
    for (const int count : {0, 3}) {
        engine.process(inputs, outputs, count, 16);
        EXPECT_EQ(texts(capture).at(0), interfaceNotice("inNumChannels > 0 && inNumChannels <= kQ38MaxNumChannels",
                                                        "Invalid number of channels: " + std::to_string(count)));
    }
}
