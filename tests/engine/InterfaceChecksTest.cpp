// Argument checks at the engine's interface: each reports at level 3 with its
// expression and message, and the call goes on.

#include "EngineTestSupport.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using namespace enginetest;

namespace {

constexpr const char* kEngineSource = "in file 'model/q38_ModelEngine.cpp' line ";

// Exactly one level-3 notice with this text, reported from the engine's source.
void expectOneInterfaceNotice(NoticeCapture& ioCapture, const std::string& inExpression,
                              const std::string& inMessage)
{
    const std::vector<core::AssertionNotice> notices = takeNotices(ioCapture);
    ASSERT_EQ(notices.size(), 1u) << inMessage;
    EXPECT_EQ(notices[0].mLevel, 3u);
    EXPECT_EQ(notices[0].mTitle, "Serious error");
    EXPECT_EQ(notices[0].mText, interfaceNotice(inExpression, inMessage));
    EXPECT_NE(notices[0].mReport.find(kEngineSource), std::string::npos) << notices[0].mReport;
    EXPECT_EQ(notices[0].mReport.rfind("Assertion '" + inExpression + "' failed in file", 0), 0u);
}

} // namespace

TEST(InterfaceChecks, ParameterIdsAreTestedUnsigned)
{
    NoticeCapture capture;
    q38::Q38PrivateEngine engine;
    engine.setSampleRate(48000);
    char text[8];

    for (int id : {-1, 17, std::numeric_limits<int>::min()}) {
        const std::string message = "Invalid parameter ID: " + std::to_string(id);
        engine.setParameter(id, 0.5f);
        expectOneInterfaceNotice(capture, kIdExpression, message);

        EXPECT_EQ(engine.getParameterValue(id), 0.0f);
        expectOneInterfaceNotice(capture, kIdExpression, message);

        std::memset(text, '#', sizeof text);
        engine.getParameterName(id, text, sizeof text);
        expectOneInterfaceNotice(capture, kIdExpression, message);
        EXPECT_EQ(std::string(text, sizeof text), std::string(8, '\0'));

        std::memset(text, '#', sizeof text);
        engine.getParameterUnit(id, text, sizeof text);
        expectOneInterfaceNotice(capture, kIdExpression, message);
        EXPECT_EQ(std::string(text, sizeof text), std::string(8, '\0'));

        std::memset(text, '#', sizeof text);
        engine.getValueText(id, text, sizeof text);
        expectOneInterfaceNotice(capture, kIdExpression, message);
        EXPECT_EQ(std::string(text, sizeof text), std::string(8, '\0'));

        std::memset(text, '#', sizeof text);
        engine.getValueText(id, 0.5f, text, sizeof text);
        expectOneInterfaceNotice(capture, kIdExpression, message);
        EXPECT_EQ(std::string(text, sizeof text), std::string(8, '\0'));

        EXPECT_EQ(engine.getPhysicalValue(id), 0.0f);
        expectOneInterfaceNotice(capture, kIdExpression, message);
        EXPECT_EQ(engine.getPhysicalValue(id, 0.5f), 0.0f);
        expectOneInterfaceNotice(capture, kIdExpression, message);
    }

    // The stored values were not touched by the bad ids.
    for (int id = 0; id < kNumParameters; ++id)
        EXPECT_EQ(engine.getParameterValue(id), q38::kParameterDefaults[id]);
    EXPECT_TRUE(takeNotices(capture).empty());
}

TEST(InterfaceChecks, ValuesOutsideTheRangeAreReportedStoredAndUsed)
{
    NoticeCapture capture;
    q38::Q38PrivateEngine engine;
    engine.setSampleRate(48000);

    // The limits themselves pass, also a negative zero.
    for (float value : {0.0f, -0.0f, 1.0f}) {
        engine.setParameter(kCh1InputGain, value);
        EXPECT_TRUE(takeNotices(capture).empty()) << value;
    }

    engine.setParameter(kCh1InputGain, 1.5f);
    expectOneInterfaceNotice(capture, kValueExpression, "Invalid normalized value: 1.5");
    EXPECT_EQ(engine.getParameterValue(kCh1InputGain), 1.5f);

    // The stored query runs the explicit one, whose check sees the bad value
    // again; the mapping extrapolates.
    EXPECT_EQ(engine.getPhysicalValue(kCh1InputGain), 1.5f * 73.0f + 3.0f);
    expectOneInterfaceNotice(capture, kValueExpression, "Invalid normalized value: 1.5");

    engine.setParameter(kCh1OutputTrim, std::nanf(""));
    expectOneInterfaceNotice(capture, kValueExpression, "Invalid normalized value: nan");
    EXPECT_TRUE(std::isnan(engine.getParameterValue(kCh1OutputTrim)));

    engine.setParameter(kCh2OutputTrim, -1e-7f);
    expectOneInterfaceNotice(capture, kValueExpression, "Invalid normalized value: -1e-07");

    engine.setParameter(kEnableEffect, 1.0000001f);
    expectOneInterfaceNotice(capture, kValueExpression, "Invalid normalized value: 1");

    char text[16];
    engine.getValueText(kCh1HighPassFreq, 7.0f, text, sizeof text);
    expectOneInterfaceNotice(capture, kValueExpression, "Invalid normalized value: 7");
    EXPECT_STREQ(text, "80 + 300 Hz");

    // Between -0.25 and 0 the position still truncates to 0.
    engine.getValueText(kCh1HighPassFreq, -0.2f, text, sizeof text);
    expectOneInterfaceNotice(capture, kValueExpression, "Invalid normalized value: -0.2");
    EXPECT_STREQ(text, "Bypassed");

    EXPECT_EQ(engine.getPhysicalValue(kCh1EqLowToneGain, -1.0f), -30.0f);
    expectOneInterfaceNotice(capture, kValueExpression, "Invalid normalized value: -1");
}

TEST(InterfaceChecks, BadIdAndBadValueReportTwice)
{
    NoticeCapture capture;
    q38::Q38PrivateEngine engine;
    engine.getPhysicalValue(20, 2.0f);
    const std::vector<core::AssertionNotice> notices = takeNotices(capture);
    ASSERT_EQ(notices.size(), 2u);
    EXPECT_EQ(notices[0].mText, interfaceNotice(kIdExpression, "Invalid parameter ID: 20"));
    EXPECT_EQ(notices[1].mText, interfaceNotice(kValueExpression, "Invalid normalized value: 2"));
}

TEST(InterfaceChecks, SampleRateMustBePositive)
{
    NoticeCapture capture;
    q38::Q38PrivateEngine engine;
    engine.setSampleRate(0);
    const std::vector<core::AssertionNotice> notices = takeNotices(capture);
    // The model's designs may report at their own level on a rate of 0.
    ASSERT_FALSE(notices.empty());
    EXPECT_EQ(notices[0].mLevel, 3u);
    EXPECT_EQ(notices[0].mText, interfaceNotice("inSampleRate > 0", "Invalid sample rate: 0"));
    EXPECT_EQ(q38::EngineInspector::sampleRate(engine), 0.0f) << "the rate is stored all the same";

    // A rate above 2^24 travels through single precision.
    engine.setSampleRate(16777217);
    EXPECT_EQ(q38::EngineInspector::sampleRate(engine), 16777216.0f);
    engine.setSampleRate(192000);
    EXPECT_EQ(q38::EngineInspector::sampleRate(engine), 192000.0f);
    takeNotices(capture);
}

TEST(InterfaceChecks, ProcessReportsBadCountsAndStaysInsideItsBuffers)
{
    NoticeCapture capture;
    q38::Q38PrivateEngine engine;
    engine.setParameter(kEnableEffect, 0.0f);
    engine.setSampleRate(48000);
    ASSERT_TRUE(takeNotices(capture).empty());

    std::vector<float> left = randomSignal(40, 0.5f, 1);
    std::vector<float> right = randomSignal(40, 0.5f, 2);
    const std::vector<float> leftIn = left;
    float* channels[2] = {left.data(), right.data()};

    // Too many samples: the level-3 report, then one level-2 report per
    // buffer; the first 32 samples are processed, the rest left alone.
    std::vector<float> leftOut(40, 9.0f);
    std::vector<float> rightOut(40, 9.0f);
    float* outputs[2] = {leftOut.data(), rightOut.data()};
    engine.process(channels, outputs, 2, 33);
    std::vector<core::AssertionNotice> notices = takeNotices(capture);
    ASSERT_EQ(notices.size(), 3u);
    EXPECT_EQ(notices[0].mText, interfaceNotice("inNumSamples > 0 && inNumSamples <= kQ38MaxBufferSize",
                                                "Number of samples is too large: 33"));
    EXPECT_EQ(notices[1].mLevel, 2u);
    EXPECT_EQ(notices[2].mLevel, 2u);
    EXPECT_TRUE(std::equal(leftIn.begin(), leftIn.begin() + 32, leftOut.begin()));
    EXPECT_EQ(leftOut[32], 9.0f);

    // The same wording for a count of zero or below; nothing is written.
    for (int count : {0, -3}) {
        std::fill(leftOut.begin(), leftOut.end(), 9.0f);
        engine.process(channels, outputs, 2, count);
        notices = takeNotices(capture);
        // A negative count also fails the buffers' own checks.
        ASSERT_EQ(notices.size(), count < 0 ? 3u : 1u);
        EXPECT_EQ(notices[0].mText,
                  interfaceNotice("inNumSamples > 0 && inNumSamples <= kQ38MaxBufferSize",
                                  "Number of samples is too large: " + std::to_string(count)));
        EXPECT_EQ(leftOut, std::vector<float>(40, 9.0f));
    }

    for (int count : {0, 3}) {
        engine.process(channels, outputs, count, 16);
        notices = takeNotices(capture);
        ASSERT_FALSE(notices.empty());
        EXPECT_EQ(notices[0].mText, interfaceNotice("inNumChannels > 0 && inNumChannels <= kQ38MaxNumChannels",
                                                    "Invalid number of channels: " + std::to_string(count)));
    }
}

TEST(InterfaceChecks, MeterIdsAreTestedUnsigned)
{
    NoticeCapture capture;
    q38::Q38PrivateEngine engine;
    engine.setSampleRate(48000);
    for (int id : {-1, 2, 100}) {
        EXPECT_EQ(engine.getMeterValue(id), 0.0f);
        expectOneInterfaceNotice(capture, "inMeterId >= 0 && inMeterId < Q38MeterIds::kNumMeters",
                                 "Invalid meter ID: " + std::to_string(id));
    }
    EXPECT_EQ(engine.getMeterValue(kCh1Meter), 0.0f);
    EXPECT_EQ(engine.getMeterValue(kCh2Meter), 0.0f);
    EXPECT_TRUE(takeNotices(capture).empty());
}
