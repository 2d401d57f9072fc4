// A control thread changes parameters as fast as it can while the audio
// thread processes. Every block the audio thread works with must be one that
// a completed setParameter published: never a mixture of two.

#include "EngineTestSupport.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <unordered_set>

using namespace enginetest;
using q38::CoefficientBytes;
using q38::EngineInspector;

namespace {

std::uint64_t fingerprint(const CoefficientBytes& inBytes)
{
    // FNV-1a over every byte of the block.
    std::uint64_t hash = 0xcbf29ce484222325ull;
    for (unsigned char byte : inBytes) {
        hash ^= byte;
        hash *= 0x100000001b3ull;
    }
    return hash;
}

} // namespace

TEST(Concurrency, TheAudioThreadOnlyEverSeesPublishedBlocks)
{
    constexpr int kBlocks = 100000;

    q38::Q38PrivateEngine engine;
    engine.fixHissSeed(7);
    engine.setSampleRate(48000);

    std::unordered_set<std::uint64_t> published{fingerprint(EngineInspector::published(engine))};
    std::atomic<bool> audioDone{false};
    long changes = 0;

    std::thread control([&] {
        std::mt19937 generator(31);
        std::uniform_int_distribution<int> ids(0, kNumParameters - 1);
        std::uniform_real_distribution<float> values(0.0f, 1.0f);
        char text[32];
        while (!audioDone.load(std::memory_order_acquire)) {
            const int id = ids(generator);
            engine.setParameter(id, values(generator));
            // Only this thread publishes, so the block now published is the
            // one this call finished.
            published.insert(fingerprint(EngineInspector::published(engine)));
            ++changes;
            // The unlocked queries run alongside the audio thread too.
            engine.getValueText(id, text, sizeof text);
            engine.getPhysicalValue(id);
            engine.getMeterValue(changes % 2 == 0 ? kCh1Meter : kCh2Meter);
        }
    });

    std::vector<std::uint64_t> used;
    std::thread audio([&] {
        const std::vector<float> left = randomSignal(32, 0.3f, 41), right = randomSignal(32, 0.3f, 42);
        std::vector<float> leftOut(32), rightOut(32);
        const float* inputs[2] = {left.data(), right.data()};
        float* outputs[2] = {leftOut.data(), rightOut.data()};
        std::uint64_t last = 0;
        for (int block = 0; block < kBlocks; ++block) {
            engine.process(inputs, outputs, 2, 32);
            const std::uint64_t current = fingerprint(EngineInspector::bytesOf(EngineInspector::audio(engine)));
            if (block == 0 || current != last)
                used.push_back(current);
            last = current;
        }
        audioDone.store(true, std::memory_order_release);
    });

    audio.join();
    control.join();

    ASSERT_GT(changes, 0);
    EXPECT_GT(used.size(), 1u) << "the audio thread never saw a change";
    std::size_t torn = 0;
    for (std::uint64_t block : used)
        torn += published.count(block) == 0 ? 1 : 0;
    EXPECT_EQ(torn, 0u) << "of " << used.size() << " distinct blocks in use, " << changes << " changes";
}
