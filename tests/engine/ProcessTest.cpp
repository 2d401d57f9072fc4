// Block processing: the wet/dry fade, in-place use, one-channel hosts, the
// link, resets by setSampleRate and the hiss seeds.

#include "EngineTestSupport.h"

#include <gtest/gtest.h>

#include <limits>

using namespace enginetest;

namespace {

double fadeOf(q38::Q38PrivateEngine& inEngine) { return EngineInspector::state(inEngine).mFade; }

void processMono(Q38Engine& ioEngine, float* ioSamples, int inNumSamples)
{
    ioEngine.process(&ioSamples, &ioSamples, 1, inNumSamples);
}

// Whether two engines turn one stereo signal into the same bits.
bool soundAlike(Q38Engine& ioFirst, Q38Engine& ioSecond, std::uint32_t inSeed)
{
    std::vector<float> leftA = randomSignal(3200, 0.3f, inSeed), rightA = randomSignal(3200, 0.3f, inSeed + 1);
    std::vector<float> leftB = leftA, rightB = rightA;
    processStereo(ioFirst, leftA, rightA);
    processStereo(ioSecond, leftB, rightB);
    return sameBits(leftA, leftB) && sameBits(rightA, rightB);
}

void setUp(q38::Q38PrivateEngine& ioEngine, std::uint64_t inSeed, int inRate, const std::vector<std::pair<int, float>>& inSettings)
{
    ioEngine.fixHissSeed(inSeed);
    ioEngine.setSampleRate(inRate);
    for (const auto& [id, value] : inSettings)
        ioEngine.setParameter(id, value);
}

} // namespace

TEST(Fade, OffFromTheStartTheInputPassesBitForBitThenOneSampleOnLeavesOneThousandth)
{
    q38::Q38PrivateEngine engine;
    engine.fixHissSeed(1);
    engine.setParameter(kEnableEffect, 0.0f);
    engine.setSampleRate(48000);
    std::vector<float> left = randomSignal(32, 1.0f, 3), right = randomSignal(32, 100.0f, 4);
    const float extremes[] = {-0.0f, std::numeric_limits<float>::denorm_min(), std::numeric_limits<float>::max(),
                              -std::numeric_limits<float>::max(), 1e-30f};
    std::copy(std::begin(extremes), std::end(extremes), left.begin());
    const std::vector<float> leftIn = left, rightIn = right;
    processStereo(engine, left, right);
    EXPECT_TRUE(sameBits(left, leftIn) && sameBits(right, rightIn));
    EXPECT_EQ(fadeOf(engine), 0.0);
    EXPECT_EQ(EngineInspector::state(engine).mChannel[0].mHissState, 1u) << "the chain ran";

    engine.setParameter(kEnableEffect, 1.0f);
    float sample = 0.25f;
    processMono(engine, &sample, 1);
    EXPECT_EQ(sample, 0.25f) << "the first sample is mixed at 0";
    EXPECT_EQ(fadeOf(engine), 0.001);
    // Turned round on the way up, without a jump.
    std::vector<float> block = randomSignal(32, 0.5f, 8);
    for (int i = 0; i < 4; ++i)
        processMono(engine, block.data(), 32);
    const double high = fadeOf(engine);
    engine.setParameter(kEnableEffect, 0.0f);
    processMono(engine, block.data(), 32);
    EXPECT_LT(fadeOf(engine), high);
    EXPECT_GT(fadeOf(engine), high * (1.0 - 32 * 0.001));
}

TEST(Fade, SwitchedOffFromFullItPassesTheFloorAfter9206SamplesThenSkipsTheChain)
{
    q38::Q38PrivateEngine engine;
    setUp(engine, 5, 48000, {{kCh1InputGain, 1.0f}});
    std::vector<float> signal = randomSignal(9000, 0.5f, 7);
    processMono(engine, signal.data(), 32);
    ASSERT_EQ(fadeOf(engine), 1.0);

    engine.setParameter(kEnableEffect, 0.0f);
    int samples = 0;
    for (double previous = 1.0; fadeOf(engine) > 0.0 && samples < 20000; previous = fadeOf(engine)) {
        processMono(engine, signal.data() + samples++ % 9000, 1);
        ASSERT_LT(fadeOf(engine), previous);
    }
    EXPECT_EQ(samples, 9206);

    // Nothing of the model moves any more and the input comes out unchanged.
    const q38::ChannelState before = EngineInspector::state(engine).mChannel[0];
    const float meter = engine.getMeterValue(kCh1Meter);
    std::vector<float> block(signal.begin(), signal.begin() + 32);
    processMono(engine, block.data(), 32);
    EXPECT_TRUE(sameBits(block, std::vector<float>(signal.begin(), signal.begin() + 32)));
    EXPECT_EQ(std::memcmp(&before, &EngineInspector::state(engine).mChannel[0], sizeof before), 0);
    EXPECT_EQ(engine.getMeterValue(kCh1Meter), meter);
    EXPECT_GT(meter, 0.0f);
}

TEST(Process, InPlaceEqualsSeparateBuffers)
{
    q38::Q38PrivateEngine inPlace, separate;
    for (q38::Q38PrivateEngine* engine : {&inPlace, &separate}) {
        setUp(*engine, 2, 44100, {});
        // Every control away from its default, so that each group is at work.
        for (int id = 1; id < kNumParameters; ++id)
            engine->setParameter(id, static_cast<float>(id % 7) / 6.0f);
    }
    const std::vector<float> left = randomSignal(4000, 0.3f, 9), right = randomSignal(4000, 0.3f, 10);
    std::vector<float> leftA = left, rightA = right, leftB(left.size()), rightB(right.size());
    std::mt19937 sizes(11);
    for (std::size_t start = 0, block = 0; start < left.size(); ++block) {
        const int n = static_cast<int>(std::min<std::size_t>(1 + sizes() % 32, left.size() - start));
        if (block == 40)  // a fade in the middle
            for (q38::Q38PrivateEngine* engine : {&inPlace, &separate})
                engine->setParameter(kEnableEffect, 0.0f);
        float* a[2] = {leftA.data() + start, rightA.data() + start};
        const float* in[2] = {left.data() + start, right.data() + start};
        float* out[2] = {leftB.data() + start, rightB.data() + start};
        inPlace.process(a, a, 2, n);
        separate.process(in, out, 2, n);
        start += static_cast<std::size_t>(n);
    }
    EXPECT_TRUE(sameBits(leftA, leftB) && sameBits(rightA, rightB));
    EXPECT_FALSE(sameBits(leftA, left));
}

TEST(Process, AOneChannelHostLeavesTheSecondChannelAndMeterAlone)
{
    q38::Q38PrivateEngine engine;
    setUp(engine, 5, 48000, {{kCh1InputGain, 1.0f}});
    const q38::ChannelState second = EngineInspector::state(engine).mChannel[1];
    const std::vector<float> input = randomSignal(32, 0.9f, 12);
    std::vector<float> output(32), untouched(32, 7.0f);
    const float* inputs[2] = {input.data(), nullptr};  // the second is never read
    float* outputs[2] = {output.data(), untouched.data()};
    for (int i = 0; i < 20; ++i)
        engine.process(inputs, outputs, 1, 32);
    EXPECT_EQ(untouched, std::vector<float>(32, 7.0f));
    EXPECT_EQ(std::memcmp(&second, &EngineInspector::state(engine).mChannel[1], sizeof second), 0);
    EXPECT_EQ(engine.getMeterValue(kCh2Meter), 0.0f);
    EXPECT_GT(engine.getMeterValue(kCh1Meter), 0.0f);
}

TEST(Process, StereoLinkStoresChannelTwoControlsButIgnoresThemForTheSound)
{
    q38::Q38PrivateEngine linked, reference;
    for (q38::Q38PrivateEngine* engine : {&linked, &reference}) {
        EngineInspector::clearBlocks(*engine);
        setUp(*engine, 3, 48000, {{kCh1InputGain, 0.7f}, {kCh1EqLowToneGain, 0.2f}, {kStereoLink, 1.0f}});
    }
    for (const int id : {kCh2PhaseReverse, kCh2InputGain, kCh2HighPassFreq, kCh2EqHighToneGain, kCh2EqLowToneGain,
                         kCh2EnableEq, kCh2OutputTrim}) {
        const float value = id == kCh2EnableEq ? 0.0f : 0.9f;
        linked.setParameter(id, value);
        EXPECT_EQ(linked.getParameterValue(id), value);
    }
    EXPECT_EQ(EngineInspector::published(linked), EngineInspector::published(reference));
    EXPECT_TRUE(soundAlike(linked, reference, 13));
}

TEST(Process, SetSampleRateAgainClearsMetersAndMemories)
{
    q38::Q38PrivateEngine engine, fresh;
    for (q38::Q38PrivateEngine* e : {&engine, &fresh})
        setUp(*e, 4, 48000, {{kCh1InputGain, 1.0f}, {kCh2InputGain, 1.0f}});
    std::vector<float> loudLeft = randomSignal(3200, 0.9f, 15), loudRight = randomSignal(3200, 0.9f, 16);
    processStereo(engine, loudLeft, loudRight);
    EXPECT_TRUE(engine.getMeterValue(kCh1Meter) > 0.0f && engine.getMeterValue(kCh2Meter) > 0.0f);
    engine.setSampleRate(48000);
    EXPECT_TRUE(engine.getMeterValue(kCh1Meter) == 0.0f && engine.getMeterValue(kCh2Meter) == 0.0f);
    // Same seeds, no memory: the engine now sounds exactly like a new one.
    EXPECT_TRUE(soundAlike(engine, fresh, 17));
}
