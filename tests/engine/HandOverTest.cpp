// The hand-over of coefficient blocks: what setParameter publishes, and the
// shallow resetParameters.

#include "EngineTestSupport.h"

#include <gtest/gtest.h>

using namespace enginetest;
using q38::CoefficientBytes;
using q38::EngineInspector;

namespace {

// What a complete redesign from the stored parameters would publish, starting
// from a copy of the block so that bytes outside the fields compare equal.
CoefficientBytes fullUpdateOf(q38::Q38PrivateEngine& inEngine, const CoefficientBytes& inBlock)
{
    alignas(q38::ModelCoefficients) unsigned char storage[sizeof(q38::ModelCoefficients)];
    std::memcpy(storage, inBlock.data(), sizeof storage);
    auto& block = *reinterpret_cast<q38::ModelCoefficients*>(storage);
    float parameters[kNumParameters];
    EngineInspector::readParameters(inEngine, parameters);
    q38::updateAll(parameters, EngineInspector::sampleRate(inEngine), block);
    return EngineInspector::bytesOf(block);
}

} // namespace

// Each id redesigns its group and every group that depends on it, so after
// any sequence of changes the published block is what a full update gives.
TEST(HandOver, EveryChangeLeavesNoStaleGroup)
{
    q38::Q38PrivateEngine engine;
    engine.setSampleRate(48000);
    std::mt19937 generator(21);
    std::uniform_int_distribution<int> ids(0, kNumParameters - 1);
    std::uniform_real_distribution<float> values(0.0f, 1.0f);

    for (int step = 0; step < 400; ++step) {
        const int id = ids(generator);
        // Switch positions often, so that the fall-throughs are crossed.
        const float value = step % 3 == 0 ? static_cast<float>(generator() % 5) * 0.25f : values(generator);
        engine.setParameter(id, value);

        const CoefficientBytes published = EngineInspector::published(engine);
        ASSERT_EQ(published, fullUpdateOf(engine, published)) << "after id " << id << " = " << value;
        ASSERT_EQ(EngineInspector::edit(engine), published) << "edit and published must be equal when unlocked";
    }
}

TEST(HandOver, AfterResetParametersOnlyTheChangedGroupFollowsTheDefaults)
{
    q38::Q38PrivateEngine engine;
    engine.setSampleRate(48000);
    engine.setParameter(kCh1InputGain, 1.0f);
    engine.setParameter(kCh1OutputTrim, 0.1f);
    engine.setParameter(kCh1EqHighToneGain, 0.9f);
    const CoefficientBytes before = EngineInspector::published(engine);

    engine.resetParameters();
    EXPECT_EQ(EngineInspector::published(engine), before);

    engine.setParameter(kEnableEffect, 1.0f);
    const CoefficientBytes after = EngineInspector::published(engine);
    const auto& oldBlock = *reinterpret_cast<const q38::ModelCoefficients*>(before.data());
    const auto& newBlock = *reinterpret_cast<const q38::ModelCoefficients*>(after.data());
    // Input gain, trims and tone keep the coefficients of the old values.
    EXPECT_EQ(std::memcmp(&oldBlock.mOutputMatrix, &newBlock.mOutputMatrix, sizeof oldBlock.mOutputMatrix), 0);
    EXPECT_EQ(std::memcmp(&oldBlock.mChannel, &newBlock.mChannel, sizeof oldBlock.mChannel), 0);

    // The next setSampleRate recomputes everything from the defaults.
    engine.setSampleRate(48000);
    const CoefficientBytes recomputed = EngineInspector::published(engine);
    EXPECT_EQ(recomputed, fullUpdateOf(engine, recomputed));
}

TEST(HandOver, TheAudioThreadTakesThePublishedBlockAtEveryProcess)
{
    q38::Q38PrivateEngine engine;
    engine.setSampleRate(48000);
    std::vector<float> left(8, 0.0f), right(8, 0.0f);
    processStereo(engine, left, right, 8);
    EXPECT_EQ(EngineInspector::bytesOf(EngineInspector::audio(engine)), EngineInspector::published(engine));

    engine.setParameter(kEnableEffect, 0.0f);
    EXPECT_NE(EngineInspector::bytesOf(EngineInspector::audio(engine)), EngineInspector::published(engine))
        << "a change reaches the audio copy only with the next block";
    processStereo(engine, left, right, 8);
    EXPECT_EQ(EngineInspector::bytesOf(EngineInspector::audio(engine)), EngineInspector::published(engine));
    EXPECT_EQ(EngineInspector::audio(engine).mEffectEnabled, 0);
    EXPECT_EQ(EngineInspector::audio(engine).mWetTarget, 0.0);
}
