// A control thread changes parameters as fast as it can while the audio
// thread processes. Every block the audio thread works with must be one that
// a completed setParameter published: never a mixture of two.
//
// The test links q38_static, the engine's own objects built with this build's
// flags. Under the tsan preset that library is instrumented like the test
// (EngineConcurrency.LibraryIsInstrumented checks every object of it), so
// ThreadSanitizer watches the engine's accesses on both threads, not only the
// test's.

#include "EngineTestSupport.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <limits>
#include <thread>
#include <unordered_set>

using namespace enginetest;

TEST(Concurrency, TheAudioThreadOnlyEverSeesPublishedBlocks)
{
    q38::Q38PrivateEngine engine;
    engine.setSampleRate(48000);
    const auto hash = [](const q38::CoefficientBytes& inBlock) { return fnv1a(inBlock.data(), inBlock.size()); };
    std::unordered_set<std::uint64_t> published{hash(EngineInspector::published(engine))};
    std::atomic<bool> audioDone{false};
    long changes = 0;
    std::thread control([&] {
        std::mt19937 generator(31);
        char text[32];
        for (; !audioDone.load(std::memory_order_acquire); ++changes) {
            const int id = static_cast<int>(generator() % kNumParameters);
            // Now and then a value the engine holds to its range or ignores.
            const float values[] = {std::nanf(""), -5.0f, 5.0f};
            engine.setParameter(id, changes % 50 == 0 ? values[changes / 50 % 3]
                                                      : static_cast<float>(generator() % 1001) / 1000.0f);
            // Only this thread publishes, so the block now published is the one this call finished.
            published.insert(hash(EngineInspector::published(engine)));
            // The unlocked queries run alongside the audio thread too.
            engine.getValueText(id, text, sizeof text);
            engine.getPhysicalValue(id);
            engine.getMeterValue(changes % 2 == 0 ? kCh1Meter : kCh2Meter);
        }
    });

    std::vector<std::uint64_t> used;
    std::vector<float> left = randomSignal(32, 0.3f, 41), right = randomSignal(32, 0.3f, 42), out(64);
    left[5] = std::numeric_limits<float>::infinity();  // guarded on the audio thread
    const float* inputs[2] = {left.data(), right.data()};
    float* outputs[2] = {out.data(), out.data() + 32};
    for (int block = 0; block < 100000; ++block) {
        engine.process(inputs, outputs, 2, 32);
        if (const std::uint64_t current = hash(EngineInspector::audio(engine)); used.empty() || current != used.back())
            used.push_back(current);
    }
    audioDone.store(true, std::memory_order_release);
    control.join();

    EXPECT_GT(used.size(), 1u) << "the audio thread never saw a change";
    const auto torn = std::count_if(used.begin(), used.end(), [&](std::uint64_t b) { return published.count(b) == 0; });
    EXPECT_EQ(torn, 0) << "of " << used.size() << " distinct blocks in use, " << changes << " changes";
}
