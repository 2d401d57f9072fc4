// The way back from port values to normalized values, and the refusals of
// the description when a parameter fits no port kind.

#include "lv2_PortTable.h"

#include "Q38Engine.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>

namespace lv2test {
namespace {

TEST(PortTable, EngineShowsThePhysicalValueTheHostSet)
{
    const std::unique_ptr<Q38Engine> engine(createQ38Engine());
    for (const int id : {kCh1InputGain, kCh2EqHighToneGain, kCh1EqLowToneGain, kCh2OutputTrim}) {
        lv2::ParameterPort port{};
        ASSERT_EQ(lv2::describeParameter(*engine, id, port), nullptr);
        for (int k = 0; k <= 4096; ++k) {
            const float physical = engine->getPhysicalValue(id, static_cast<float>(k) / 4096.0f);
            const float normalized = lv2::portToNormalized(port, physical);
            ASSERT_EQ(engine->getPhysicalValue(id, normalized), physical) << id << " at " << physical;
        }
    }
}

// An engine whose "HighPass Freq" has three unequal ranges, whose channel 2
// version repeats a text, and whose "Stereo Mode" has no texts at all.
class OddEngine final : public Q38Engine
{
public:
    void resetParameters() override {}
    void setSampleRate(int) override {}
    void setParameter(int, float) override {}
    float getParameterValue(int) override { return 0.0f; }
    void getParameterUnit(int, char* outText, int inMaxLength) override { std::strncpy(outText, "", inMaxLength); }
    float getPhysicalValue(int, float) override { return 0.0f; }
    float getPhysicalValue(int) override { return 0.0f; }
    void getValueText(int inId, float inValue, char* outText, int inMaxLength) override
    {
        const char* text = "";
        if (inId == kCh1HighPassFreq)
            text = inValue < 0.5f ? "low" : inValue < 0.9f ? "middle" : "high";
        else if (inId == kCh2HighPassFreq)
            text = inValue < 0.3f || inValue > 0.6f ? "outer" : "inner";
        std::strncpy(outText, text, inMaxLength);
    }
    void getValueText(int, char* outText, int inMaxLength) override { std::strncpy(outText, "", inMaxLength); }
    void getParameterName(int, char* outText, int inMaxLength) override { std::strncpy(outText, "Odd", inMaxLength); }
    void process(const float* const*, float* const*, int, int) override {}
    float getMeterValue(int) override { return 0.0f; }
};

TEST(PortTable, RefusesParametersThatFitNoPortKind)
{
    OddEngine engine;
    lv2::ParameterPort port{};
    EXPECT_STREQ(lv2::describeParameter(engine, kCh1HighPassFreq, port),
                 "a switch state is not selected by the value chosen for it");
    EXPECT_STREQ(lv2::describeParameter(engine, kCh2HighPassFreq, port),
                 "a display text names two separate ranges of values");
    EXPECT_STREQ(lv2::describeParameter(engine, kStereoMode, port),
                 "a parameter without a unit has an empty display text");
}

} // namespace
} // namespace lv2test
