// The audio path and the parameter changes allocate nothing, counted by the
// program's own allocation functions.

#include "EngineTestSupport.h"
#include "support/CountingAllocator.h"

#include <gtest/gtest.h>

#include <limits>

using namespace allocationtest;
using namespace enginetest;

TEST(Allocation, ProcessAndParameterChangesAllocateNothing)
{
    EXPECT_GE(countWhile([] { delete new int(3); }), 1);  // the counter sees what it counts
    EXPECT_EQ(countWhile([] { std::free(std::malloc(16)); }), kMallocCounted);

    q38::Q38PrivateEngine engine;
    engine.setSampleRate(48000);
    std::vector<float> left = randomSignal(32, 0.5f, 51), right = randomSignal(32, 0.5f, 52);
    float* channels[2] = {left.data(), right.data()};
    char text[32];
    q38::ChannelState& second = EngineInspector::state(engine).mChannel[1];
    EXPECT_EQ(countWhile([&] {
                  for (int block = 0; block < 2000; ++block) {
                      // Now and then a bad sample, and once a channel to revive.
                      left[block % 32] = block % 5 == 0 ? std::numeric_limits<float>::quiet_NaN() : 0.25f;
                      if (block == 1000)
                          second.mOutputCore.mState = std::numeric_limits<double>::infinity();
                      engine.process(channels, channels, block % 7 == 0 ? 1 : 2, 1 + block % 32);
                      // Every group redesigned, the effect faded out into bypass and back in.
                      const int id = block % kNumParameters;
                      engine.setParameter(id, id == kEnableEffect ? static_cast<float>(block < 500 || block > 1500) : 0.8f);
                      engine.getValueText(id, text, sizeof text);
                      engine.getParameterName(id, text, sizeof text);
                      engine.getPhysicalValue(id);
                      engine.getMeterValue(kCh2Meter);
                  }
              }),
              0);
}

TEST(Allocation, EveryControlValueAtEveryRateRedesignsWithoutAllocating)
{
    q38::Q38PrivateEngine engine;
    for (const int rate : {8000, 11025, 22050, 44100, 48000, 88200, 96000, 176400, 192000, 384000}) {
        engine.setSampleRate(rate);
        for (int id = 0; id < kNumParameters; ++id) {
            SCOPED_TRACE(testing::Message() << rate << " Hz, parameter " << id);
            EXPECT_EQ(countWhile([&] {
                          for (int step = 0; step <= 100; ++step)
                              engine.setParameter(id, static_cast<float>(step) / 100.0f);
                      }),
                      0);
            engine.resetParameters();
        }
    }
}
