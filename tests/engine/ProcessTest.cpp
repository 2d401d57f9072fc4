// Block processing: the wet/dry fade, in-place use, one-channel hosts, the
// link, resets by setSampleRate, the hiss seeds and the meters.

#include "EngineTestSupport.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using namespace enginetest;
using q38::EngineInspector;

namespace {

constexpr std::uint64_t kSeed = 0x5eed;

double fadeOf(q38::Q38PrivateEngine& inEngine)
{
    return EngineInspector::state(inEngine).mFade;
}

void processMono(Q38Engine& ioEngine, float* ioSamples, int inNumSamples)
{
    float* channels[2] = {ioSamples, nullptr};
    ioEngine.process(channels, channels, 1, inNumSamples);
}

// Moves every control away from its default, so that each group is at work.
void moveEveryControl(Q38Engine& ioEngine)
{
    ioEngine.setParameter(kStereoMode, 1.0f);
    ioEngine.setParameter(kCh2PhaseReverse, 1.0f);
    ioEngine.setParameter(kCh1InputGain, 0.6f);
    ioEngine.setParameter(kCh2InputGain, 0.3f);
    ioEngine.setParameter(kCh1HighPassFreq, 0.8f);
    ioEngine.setParameter(kCh2HighPassFreq, 0.3f);
    ioEngine.setParameter(kCh1EqHighToneGain, 0.9f);
    ioEngine.setParameter(kCh2EqHighToneGain, 0.2f);
    ioEngine.setParameter(kCh1EqLowToneGain, 0.1f);
    ioEngine.setParameter(kCh2EqLowToneGain, 0.7f);
    ioEngine.setParameter(kCh2EnableEq, 0.0f);
    ioEngine.setParameter(kCh1OutputTrim, 0.4f);
    ioEngine.setParameter(kCh2OutputTrim, 0.65f);
}

} // namespace

TEST(Fade, FirstBlockWithTheEffectOffIsTheInputBitForBit)
{
    q38::Q38PrivateEngine engine;
    engine.fixHissSeed(kSeed);
    engine.setParameter(kEnableEffect, 0.0f);
    engine.setSampleRate(48000);
    const q38::ChannelState channelBefore = EngineInspector::state(engine).mChannel[0];

    std::vector<float> left = randomSignal(32, 1.0f, 3);
    left[0] = -0.0f;
    left[1] = std::numeric_limits<float>::denorm_min();
    left[2] = std::numeric_limits<float>::max();
    left[3] = -std::numeric_limits<float>::max();
    left[4] = 1e-30f;
    std::vector<float> right = randomSignal(32, 100.0f, 4);
    const std::vector<float> leftIn = left;
    const std::vector<float> rightIn = right;

    processStereo(engine, left, right, 32);
    EXPECT_TRUE(sameBits(left, leftIn));
    EXPECT_TRUE(sameBits(right, rightIn));
    EXPECT_EQ(fadeOf(engine), 0.0);

    // The chain did not run: the hiss has not moved and the meters are at rest.
    EXPECT_EQ(EngineInspector::state(engine).mChannel[0].mHissState, channelBefore.mHissState);
    EXPECT_EQ(engine.getMeterValue(kCh1Meter), 0.0f);
}

TEST(Fade, SwitchingOffFromFullPassesTheFloorAfter9206Samples)
{
    q38::Q38PrivateEngine engine;
    engine.fixHissSeed(kSeed);
    engine.setSampleRate(48000);
    std::vector<float> signal = randomSignal(10000, 0.05f, 7);
    processMono(engine, signal.data(), 32);
    ASSERT_EQ(fadeOf(engine), 1.0);

    engine.setParameter(kEnableEffect, 0.0f);
    int samples = 0;
    double previous = 1.0;
    while (fadeOf(engine) > 0.0 && samples < 20000) {
        processMono(engine, signal.data() + (samples % 9000), 1);
        ++samples;
        ASSERT_LT(fadeOf(engine), previous);
        previous = fadeOf(engine);
        if (previous > 0.0) {
            ASSERT_GE(previous, 0.0001);
        }
    }
    EXPECT_EQ(samples, 9206);

    // From now on the chain is skipped: nothing of the model moves and the
    // input comes out unchanged.
    const std::uint64_t hiss = EngineInspector::state(engine).mChannel[0].mHissState;
    const float meter = engine.getMeterValue(kCh1Meter);
    std::vector<float> block(signal.begin(), signal.begin() + 32);
    const std::vector<float> blockIn = block;
    processMono(engine, block.data(), 32);
    EXPECT_TRUE(sameBits(block, blockIn));
    EXPECT_EQ(EngineInspector::state(engine).mChannel[0].mHissState, hiss);
    EXPECT_EQ(engine.getMeterValue(kCh1Meter), meter) << "the meter keeps its last reading";
}

TEST(Fade, TheFloorIsAppliedAtBlockEnds)
{
    q38::Q38PrivateEngine engine;
    engine.setSampleRate(48000);
    std::vector<float> block(32, 0.0f);
    processMono(engine, block.data(), 32);
    engine.setParameter(kEnableEffect, 0.0f);

    // 9206 samples fall in the 288th block of 32.
    for (int i = 0; i < 287; ++i)
        processMono(engine, block.data(), 32);
    EXPECT_GE(fadeOf(engine), 0.0001);
    processMono(engine, block.data(), 32);
    EXPECT_EQ(fadeOf(engine), 0.0);
}

TEST(Fade, OneSampleFromZeroLeavesOneThousandth)
{
    q38::Q38PrivateEngine engine;
    engine.setParameter(kEnableEffect, 0.0f);
    engine.setSampleRate(48000);
    std::vector<float> block = randomSignal(32, 0.5f, 8);
    processMono(engine, block.data(), 32);
    ASSERT_EQ(fadeOf(engine), 0.0);

    engine.setParameter(kEnableEffect, 1.0f);
    float sample = 0.25f;
    processMono(engine, &sample, 1);
    EXPECT_EQ(sample, 0.25f) << "the first sample is mixed at g = 0";
    EXPECT_EQ(fadeOf(engine), 0.001);
}

TEST(Fade, TogglingTurnsRoundWithoutAJump)
{
    q38::Q38PrivateEngine engine;
    engine.setSampleRate(48000);
    std::vector<float> block(32, 0.0f);
    processMono(engine, block.data(), 32);

    engine.setParameter(kEnableEffect, 0.0f);
    for (int i = 0; i < 4; ++i)
        processMono(engine, block.data(), 32);
    const double low = fadeOf(engine);
    EXPECT_GT(low, 0.8);
    EXPECT_LT(low, 0.9);

    engine.setParameter(kEnableEffect, 1.0f);
    processMono(engine, block.data(), 32);
    EXPECT_GT(fadeOf(engine), low);
    EXPECT_LT(fadeOf(engine), low + 32 * 0.001 * (1.0 - low));
}

TEST(Process, InPlaceEqualsSeparateBuffers)
{
    q38::Q38PrivateEngine inPlace;
    q38::Q38PrivateEngine separate;
    for (q38::Q38PrivateEngine* engine : {&inPlace, &separate}) {
        engine->fixHissSeed(kSeed);
        engine->setSampleRate(44100);
        moveEveryControl(*engine);
    }

    const std::vector<float> left = randomSignal(4000, 0.3f, 9);
    const std::vector<float> right = randomSignal(4000, 0.3f, 10);
    std::vector<float> leftA = left, rightA = right;
    std::vector<float> leftB(left.size()), rightB(right.size());

    std::mt19937 sizes(11);
    std::size_t start = 0;
    int blockIndex = 0;
    while (start < left.size()) {
        const int n = static_cast<int>(std::min<std::size_t>(1 + sizes() % 32, left.size() - start));
        if (blockIndex == 40)  // a fade in the middle
            for (q38::Q38PrivateEngine* engine : {&inPlace, &separate})
                engine->setParameter(kEnableEffect, 0.0f);
        float* a[2] = {leftA.data() + start, rightA.data() + start};
        inPlace.process(a, a, 2, n);
        const float* in[2] = {left.data() + start, right.data() + start};
        float* out[2] = {leftB.data() + start, rightB.data() + start};
        separate.process(in, out, 2, n);
        start += static_cast<std::size_t>(n);
        ++blockIndex;
    }
    EXPECT_TRUE(sameBits(leftA, leftB));
    EXPECT_TRUE(sameBits(rightA, rightB));
}

TEST(Process, AOneChannelHostLeavesTheSecondChannelAlone)
{
    q38::Q38PrivateEngine engine;
    engine.fixHissSeed(kSeed);
    engine.setSampleRate(48000);
    engine.setParameter(kCh1InputGain, 1.0f);

    q38::ChannelState secondBefore;
    std::memcpy(&secondBefore, &EngineInspector::state(engine).mChannel[1], sizeof secondBefore);

    std::vector<float> input = randomSignal(32, 0.9f, 12);
    std::vector<float> output(32);
    std::vector<float> untouched(32, 7.0f);
    const float* inputs[2] = {input.data(), nullptr};  // the second is never read
    float* outputs[2] = {output.data(), untouched.data()};
    for (int i = 0; i < 20; ++i)
        engine.process(inputs, outputs, 1, 32);

    EXPECT_EQ(untouched, std::vector<float>(32, 7.0f));
    EXPECT_EQ(engine.getMeterValue(kCh2Meter), 0.0f);
    EXPECT_EQ(std::memcmp(&secondBefore, &EngineInspector::state(engine).mChannel[1], sizeof secondBefore), 0)
        << "model channel 1 must not run";
    EXPECT_GT(engine.getMeterValue(kCh1Meter), 0.0f);
}

TEST(Process, StereoLinkStoresChannelTwoControlsButIgnoresThemForTheSound)
{
    q38::Q38PrivateEngine linked;
    q38::Q38PrivateEngine reference;
    for (q38::Q38PrivateEngine* engine : {&linked, &reference}) {
        EngineInspector::clearBlocks(*engine);
        engine->fixHissSeed(kSeed);
        engine->setSampleRate(48000);
        engine->setParameter(kCh1InputGain, 0.7f);
        engine->setParameter(kCh1EqLowToneGain, 0.2f);
        engine->setParameter(kStereoLink, 1.0f);
    }
    const int channelTwoIds[] = {kCh2PhaseReverse, kCh2InputGain,     kCh2HighPassFreq, kCh2EqHighToneGain,
                                 kCh2EqLowToneGain, kCh2EnableEq, kCh2OutputTrim};
    for (int id : channelTwoIds) {
        const float value = id == kCh2EnableEq ? 0.0f : 0.9f;
        linked.setParameter(id, value);
        EXPECT_EQ(linked.getParameterValue(id), value);
    }

    const q38::CoefficientBytes linkedBlock = EngineInspector::published(linked);
    EXPECT_EQ(linkedBlock, EngineInspector::published(reference));

    std::vector<float> leftA = randomSignal(3200, 0.2f, 13), rightA = randomSignal(3200, 0.2f, 14);
    std::vector<float> leftB = leftA, rightB = rightA;
    processStereo(linked, leftA, rightA, 32);
    processStereo(reference, leftB, rightB, 32);
    EXPECT_TRUE(sameBits(leftA, leftB));
    EXPECT_TRUE(sameBits(rightA, rightB));

    const q38::ModelCoefficients& block = *reinterpret_cast<const q38::ModelCoefficients*>(linkedBlock.data());
    EXPECT_EQ(std::memcmp(&block.mChannel[0], &block.mChannel[1], sizeof(q38::ChannelCoefficients)), 0);
}

TEST(Process, SetSampleRateAgainClearsMetersAndMemories)
{
    q38::Q38PrivateEngine engine;
    q38::Q38PrivateEngine fresh;
    for (q38::Q38PrivateEngine* e : {&engine, &fresh}) {
        e->fixHissSeed(kSeed);
        e->setSampleRate(48000);
        e->setParameter(kCh1InputGain, 1.0f);
        e->setParameter(kCh2InputGain, 1.0f);
    }
    std::vector<float> loudLeft = randomSignal(3200, 0.9f, 15), loudRight = randomSignal(3200, 0.9f, 16);
    processStereo(engine, loudLeft, loudRight, 32);
    EXPECT_GT(engine.getMeterValue(kCh1Meter), 0.0f);
    EXPECT_GT(engine.getMeterValue(kCh2Meter), 0.0f);

    engine.setSampleRate(48000);
    EXPECT_EQ(engine.getMeterValue(kCh1Meter), 0.0f);
    EXPECT_EQ(engine.getMeterValue(kCh2Meter), 0.0f);

    // Same seeds, no memory: the engine now sounds exactly like a new one.
    std::vector<float> leftA = randomSignal(3200, 0.3f, 17), rightA = randomSignal(3200, 0.3f, 18);
    std::vector<float> leftB = leftA, rightB = rightA;
    processStereo(engine, leftA, rightA, 32);
    processStereo(fresh, leftB, rightB, 32);
    EXPECT_TRUE(sameBits(leftA, leftB));
    EXPECT_TRUE(sameBits(rightA, rightB));
}

TEST(HissSeed, AFixedSeedGivesEachChannelItsOwnSeedAtEveryReset)
{
    auto engine = std::unique_ptr<Q38Engine>(createQ38Engine());
    ASSERT_NE(engine, nullptr);
    auto& inside = static_cast<q38::Q38PrivateEngine&>(*engine);
    q38FixHissSeed(engine.get(), 0x100000005ull);
    for (int rate : {48000, 48000, 96000}) {
        engine->setSampleRate(rate);
        // The model keeps the low 32 bits of each reading.
        EXPECT_EQ(EngineInspector::state(inside).mChannel[0].mHissState, 5u);
        EXPECT_EQ(EngineInspector::state(inside).mChannel[1].mHissState, 6u);
    }
    q38FixHissSeed(nullptr, 1);  // ignored
}

TEST(Meters, ReadTheActivityOfEachModelChannel)
{
    q38::Q38PrivateEngine engine;
    engine.setSampleRate(48000);
    EngineInspector::state(engine).mChannel[0].mActivity = 0.25;
    EngineInspector::state(engine).mChannel[1].mActivity = 0.75;
    EXPECT_EQ(engine.getMeterValue(kCh1Meter), 0.25f);
    EXPECT_EQ(engine.getMeterValue(kCh2Meter), 0.75f);
    EXPECT_EQ(engine.getMeterValue(kCh2Meter), 0.75f) << "reading neither clears nor decays";
}
