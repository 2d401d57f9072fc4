// What the engine does with numbers no real signal or control holds: bad
// input samples, parameter values and rates are reported where a check says
// so, and the engine goes on safely and recovers.

#include "EngineTestSupport.h"
#include "support/RecoveryCheck.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <numbers>

using namespace enginetest;

namespace {

using Settings = std::vector<std::pair<int, float>>;
constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

struct Stereo { std::vector<float> mLeft, mRight; };

// A 440 Hz sine of amplitude 0.5, a quarter turn apart on the two channels.
Stereo sine(std::size_t inLength)
{
    Stereo signal{std::vector<float>(inLength), std::vector<float>(inLength)};
    for (std::size_t i = 0; i < inLength; ++i) {
        const double phase = 2.0 * std::numbers::pi * 440.0 * static_cast<double>(i) / 48000.0;
        signal.mLeft[i] = static_cast<float>(0.5 * std::sin(phase));
        signal.mRight[i] = static_cast<float>(0.5 * std::cos(phase));
    }
    return signal;
}

bool sameBits(const Stereo& inA, const Stereo& inB)
{
    return enginetest::sameBits(inA.mLeft, inB.mLeft) && enginetest::sameBits(inA.mRight, inB.mRight);
}

using BetweenBlocks = std::function<void(q38::Q38PrivateEngine&, std::size_t inFrame)>;

// At 48 kHz in blocks of 32, with inSettings from the start and inBetween
// called ahead of every block.
Stereo render(Stereo inSignal, const Settings& inSettings, const BetweenBlocks& inBetween = {})
{
    q38::Q38PrivateEngine engine;
    engine.fixHissSeed(7);
    engine.setSampleRate(48000);
    for (const auto& [id, value] : inSettings)
        engine.setParameter(id, value);
    for (std::size_t start = 0; start < inSignal.mLeft.size(); start += 32) {
        if (inBetween)
            inBetween(engine, start);
        float* channels[2] = {inSignal.mLeft.data() + start, inSignal.mRight.data() + start};
        engine.process(channels, channels, 2, 32);
    }
    return inSignal;
}

} // namespace

TEST(Robustness, OneBadSampleIsHeardAsLittleAsASilentOne)
{
    const Settings settings[] = {{}, {{kCh1InputGain, 1}, {kCh2InputGain, 1}}, {{kStereoLink, 1}, {kCh1InputGain, 0.5f}}};
    const std::size_t bad = 4800 + 7;
    for (const Settings& setting : settings) {
        const Stereo clean = render(sine(24000), setting);
        for (const float value : {kNan, kInfinity, -kInfinity, 1e30f}) {
            SCOPED_TRACE(::testing::Message() << value << " with " << setting.size() << " settings");
            Stereo input = sine(24000);
            input.mLeft[bad] = value;
            const Stereo output = render(input, setting);
            EXPECT_TRUE(q38test::recoversLikeTheCleanRender(output.mLeft, clean.mLeft, bad, 48000));
            EXPECT_TRUE(q38test::recoversLikeTheCleanRender(output.mRight, clean.mRight, bad, 48000));
        }
    }
}

// The model hears silence for a sample that is not finite or beyond the
// limit; the dry signal keeps the finite ones, so a bypass stays bit-exact.
TEST(Robustness, SamplesThatAreNoAudioAreSilenceForTheModel)
{
    const float limit = kQ38InputSampleLimit;
    const float bad[] = {kNan, kInfinity, -kInfinity, 1e30f, -std::numeric_limits<float>::max(), limit * 1.0001f};
    Stereo input = sine(3200), silenced = input;
    for (std::size_t k = 0; k < std::size(bad); ++k) {
        input.mLeft[100 + 300 * k] = input.mRight[1000 + 17 * k] = bad[k];
        silenced.mLeft[100 + 300 * k] = silenced.mRight[1000 + 17 * k] = 0.0f;
    }
    input.mLeft[2900] = silenced.mLeft[2900] = -limit;  // the limit itself is audio
    const Settings loud = {{kCh1InputGain, 1}, {kCh2InputGain, 0.7f}};
    EXPECT_TRUE(sameBits(render(input, loud), render(silenced, loud)));

    const Stereo bypassed = render(input, {{kEnableEffect, 0}});
    for (const auto& [out, in] : {std::pair{&bypassed.mLeft, &input.mLeft}, std::pair{&bypassed.mRight, &input.mRight}})
        for (std::size_t i = 0; i < in->size(); ++i)
            ASSERT_TRUE(std::isfinite((*in)[i]) ? enginetest::sameBits({(*out)[i]}, {(*in)[i]}) : (*out)[i] == 0.0f) << i;
}

// A bad value counts as the nearer end of the range and a NaN as nothing, so
// the engine sounds exactly like one that was given those, before and after
// the value is set back.
TEST(Robustness, BadParameterValuesSoundLikeTheRangeEnds)
{
    NoticeCapture quiet;
    const Stereo input = sine(9600);
    for (int id = 0; id < kNumParameters; ++id) {
        const float before = id == kCh1InputGain ? 0.6f : q38::kParameterDefaults[id];
        const auto setBack = [&](q38::Q38PrivateEngine& ioEngine, std::size_t inFrame) {
            if (inFrame == 4800)
                ioEngine.setParameter(id, before);
        };
        for (const auto& [value, end] : {std::pair{kNan, before}, {kInfinity, 1.0f}, {-kInfinity, 0.0f}, {5.0f, 1.0f},
                                          {-5.0f, 0.0f}}) {
            SCOPED_TRACE(::testing::Message() << "id " << id << " at " << value);
            const Stereo output = render(input, {{kCh1InputGain, 0.6f}, {id, value}}, setBack);
            EXPECT_TRUE(std::all_of(output.mLeft.begin(), output.mLeft.end(), [](float x) { return std::isfinite(x); }));
            EXPECT_TRUE(sameBits(output, render(input, {{kCh1InputGain, 0.6f}, {id, end}}, setBack)));
        }
    }
}

// A refused rate leaves the engine exactly as it was; a new engine passes its
// input through until it has a rate.
TEST(Robustness, RefusedRatesChangeNothing)
{
    NoticeCapture quiet;
    const auto refuse = [](q38::Q38PrivateEngine& ioEngine, std::size_t inFrame) {
        if (inFrame == 4800)
            for (const int rate : {0, -1, 7999, 384001})
                ioEngine.setSampleRate(rate);
    };
    EXPECT_TRUE(sameBits(render(sine(9600), {{kCh1InputGain, 0.8f}}, refuse), render(sine(9600), {{kCh1InputGain, 0.8f}})));

    q38::Q38PrivateEngine engine;
    for (const int rate : {0, -1, 4000}) {
        engine.setSampleRate(rate);
        Stereo input = sine(64), output = input;
        input.mLeft[3] = kNan;
        output.mLeft[3] = 0.0f;
        processStereo(engine, input.mLeft, input.mRight);
        EXPECT_TRUE(sameBits(input, output));
        EXPECT_EQ(engine.getMeterValue(kCh1Meter), 0.0f);
    }
}

// Should a value that a channel carries ever be infinite or NaN, that block
// of the channel is silence and the channel starts afresh from the next.
TEST(Robustness, AChannelHoldingANonFiniteValueStartsAfresh)
{
    const std::function<void(q38::ChannelState&)> poisons[] = {
        [](q38::ChannelState& s) { s.mDcBlock.mMemory = kNan; },  // ahead of the clippers, never heard
        [](q38::ChannelState& s) { s.mLowShelf.mCoefficients[4] = kInfinity; },
        [](q38::ChannelState& s) { s.mOutputCore.mState = -kInfinity; },
        [](q38::ChannelState& s) { s.mInputRamp.mCurrent = kNan; },
    };
    const std::size_t at = 4800;
    const Stereo clean = render(sine(24000), {});
    for (const auto& poison : poisons) {
        const Stereo output = render(sine(24000), {}, [&](q38::Q38PrivateEngine& ioEngine, std::size_t inFrame) {
            if (inFrame == at)
                poison(EngineInspector::state(ioEngine).mChannel[0]);
        });
        EXPECT_EQ(std::vector<float>(output.mLeft.begin() + at, output.mLeft.begin() + at + 32), std::vector<float>(32, 0.0f));
        EXPECT_TRUE(q38test::recoversLikeTheCleanRender(output.mLeft, clean.mLeft, at, 48000));
        EXPECT_TRUE(enginetest::sameBits(output.mRight, clean.mRight));
    }
}
