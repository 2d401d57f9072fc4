// What the engine does with numbers no real signal or control holds: bad
// input samples, parameter values and rates are reported where a check says
// so, and the engine goes on safely and recovers. Ordinary use keeps its
// output bit for bit.

#include "EngineTestSupport.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>

using namespace enginetest;

namespace {

using Settings = std::vector<std::pair<int, float>>;

std::uint64_t fingerprint(const std::vector<float>& inLeft, const std::vector<float>& inRight)
{
    std::uint64_t hash = 0xcbf29ce484222325ull;
    for (const std::vector<float>* channel : {&inLeft, &inRight})
        for (const float sample : *channel) {
            std::uint32_t bits;
            std::memcpy(&bits, &sample, sizeof bits);
            for (int k = 0; k < 4; ++k)
                hash = (hash ^ ((bits >> (8 * k)) & 0xFFu)) * 0x100000001b3ull;
        }
    return hash;
}

} // namespace

// Renders recorded before the guards existed: ordinary signals at valid
// settings must come out exactly as they did, whatever the guards cost.
TEST(Robustness, OrdinaryRendersAreUnchangedBitForBit)
{
    struct Render
    {
        const char* mName;
        int mSampleRate;
        int mNumChannels;
        float mLevel;
        Settings mSettings;
        std::uint64_t mFingerprint;
    };
    const Render renders[] = {
        {"defaults", 48000, 2, 0.5f, {}, 0xe3170698c1ee27a3ull},
        {"every control moved", 44100, 2, 0.3f,
         {{kStereoMode, 1}, {kCh1PhaseReverse, 1}, {kCh1InputGain, 0.6f}, {kCh2InputGain, 0.4f},
          {kCh1HighPassFreq, 1}, {kCh2HighPassFreq, 0.5f}, {kCh1EqHighToneGain, 0.8f}, {kCh2EqHighToneGain, 0.3f},
          {kCh1EqLowToneGain, 0.2f}, {kCh2EqLowToneGain, 0.9f}, {kCh1OutputTrim, 0.4f}, {kCh2OutputTrim, 0.6f}},
         0x0ce8888b89eaf372ull},
        {"loud, gain 76 dB, linked, Eq off", 96000, 2, 1.0f,
         {{kStereoLink, 1}, {kCh1InputGain, 1}, {kCh1EnableEq, 0}}, 0xe485785ae7e5457cull},
        {"mono host", 48000, 1, 0.8f, {{kCh1InputGain, 0.5f}, {kCh1EqLowToneGain, 1}}, 0x0a22cb9558ee913full},
    };
    for (const Render& render : renders) {
        SCOPED_TRACE(render.mName);
        q38::Q38PrivateEngine engine;
        engine.fixHissSeed(38);
        engine.setSampleRate(render.mSampleRate);
        for (const auto& [id, value] : render.mSettings)
            engine.setParameter(id, value);
        std::vector<float> left = randomSignal(24000, render.mLevel, 1), right = randomSignal(24000, render.mLevel, 2);
        for (std::size_t i = 0; i < left.size(); ++i)
            left[i] += static_cast<float>(0.5 * std::sin(0.05 * static_cast<double>(i)));
        // Block sizes from 1 to 32, and a fade out and in again on the way.
        std::mt19937 sizes(3);
        for (std::size_t start = 0, block = 0; start < left.size(); ++block) {
            if (block == 300 || block == 600)
                engine.setParameter(kEnableEffect, block == 600 ? 1.0f : 0.0f);
            const int n = static_cast<int>(std::min<std::size_t>(1 + sizes() % 32, left.size() - start));
            float* channels[2] = {left.data() + start, right.data() + start};
            engine.process(channels, channels, render.mNumChannels, n);
            start += static_cast<std::size_t>(n);
        }
        EXPECT_EQ(fingerprint(left, right), render.mFingerprint);
    }
}
