// The audio path and the parameter changes allocate nothing. This program
// replaces the global allocation functions with counting ones, switched on per
// thread around the calls under test.

#include "EngineTestSupport.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <limits>
#include <new>

namespace {

thread_local bool tCounting = false;
std::atomic<long> gAllocations{0};

void noteAllocation()
{
    if (tCounting)
        gAllocations.fetch_add(1, std::memory_order_relaxed);
}

void* allocateOrThrow(std::size_t inSize)
{
    noteAllocation();
    if (void* block = std::malloc(inSize == 0 ? 1 : inSize))
        return block;
    throw std::bad_alloc();
}

} // namespace

void* operator new(std::size_t inSize) { return allocateOrThrow(inSize); }
void* operator new[](std::size_t inSize) { return allocateOrThrow(inSize); }
// The factory allocates with the nothrow form; it must pair with the deletes below.
void* operator new(std::size_t inSize, const std::nothrow_t&) noexcept
{
    noteAllocation();
    return std::malloc(inSize == 0 ? 1 : inSize);
}
void operator delete(void* inBlock) noexcept { std::free(inBlock); }
void operator delete[](void* inBlock) noexcept { std::free(inBlock); }
void operator delete(void* inBlock, std::size_t) noexcept { std::free(inBlock); }
void operator delete[](void* inBlock, std::size_t) noexcept { std::free(inBlock); }

// Without a sanitizer, which brings its own, malloc is counted as well.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
constexpr long kMallocCounted = 1;
extern "C" {
void* __libc_malloc(std::size_t);
void* __libc_calloc(std::size_t, std::size_t);
void* __libc_realloc(void*, std::size_t);
void __libc_free(void*);

void* malloc(std::size_t inSize) { return noteAllocation(), __libc_malloc(inSize); }
void* calloc(std::size_t inCount, std::size_t inSize) { return noteAllocation(), __libc_calloc(inCount, inSize); }
void* realloc(void* inBlock, std::size_t inSize) { return noteAllocation(), __libc_realloc(inBlock, inSize); }
void free(void* inBlock) { __libc_free(inBlock); }
}
#else
constexpr long kMallocCounted = 0;
#endif

using namespace enginetest;

TEST(Allocation, ProcessAndParameterChangesAllocateNothing)
{
    const auto countWhile = [](auto inWork) {
        const long start = gAllocations.load();
        tCounting = true;
        inWork();
        tCounting = false;
        return gAllocations.load() - start;
    };
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
