// Designs run on the control thread under the coefficient lock and must not
// allocate: this program counts every global operator new.

#include "dsp/filter_design/primitives/order2/dsp_HighShelf2Q.h"
#include "dsp/filter_design/primitives/order2/dsp_LowShelf2.h"
#include "dsp/filter_design/primitives/order2/dsp_Order2LowPass.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <memory>
#include <new>

namespace {

std::atomic<long> gAllocations{0};

[[gnu::noinline]] void* countedBlock(std::size_t inSize)
{
    gAllocations.fetch_add(1, std::memory_order_relaxed);
    if (void* block = std::malloc(inSize == 0 ? 1 : inSize))
        return block;
    throw std::bad_alloc();
}

// Out of line, so that the compiler does not pair free with new.
[[gnu::noinline]] void releaseBlock(void* inBlock)
{
    std::free(inBlock);
}

} // namespace

void* operator new(std::size_t inSize) { return countedBlock(inSize); }
void* operator new[](std::size_t inSize) { return countedBlock(inSize); }
void operator delete(void* inBlock) noexcept { releaseBlock(inBlock); }
void operator delete(void* inBlock, std::size_t) noexcept { releaseBlock(inBlock); }
void operator delete[](void* inBlock) noexcept { releaseBlock(inBlock); }
void operator delete[](void* inBlock, std::size_t) noexcept { releaseBlock(inBlock); }

TEST(DesignAllocation, CounterSeesAllocations)
{
    const long before = gAllocations.load();
    auto block = std::make_unique<double[]>(16);
    EXPECT_EQ(gAllocations.load() - before, 1);
}

TEST(DesignAllocation, SecondOrderShelvesAndLowPassAllocateNothing)
{
    // Flat, two points, two extrema, one extremum, plain transform; the low-pass's
    // flat, peak, high four-point and table paths.
    const dsp::HighShelf2Q::Params shelves[] = {{1000, 0.5, 0.5, 0, 1, 0},  {1000, 0.4, 0.4, 8, 1, -2},
                                                {3000, 2, 2, -12, 0, 0},    {500, 3, 0.4, 6, 1, 0},
                                                {40, 0.5, 0.5, 10, 1, 0},   {20000, 4, 4, 24, 0, 0}};
    const dsp::Order2LowPass::Params lowPasses[] = {
        {1000, 0.7, 0.995, 0}, {1000, 2, 0, 0}, {26000, 2, 0, 0}, {1000, 0.7, 0, 0}, {20383.099609, 1.59107, 0, 0}};
    double digital[6], analog[6];
    const long before = gAllocations.load();
    for (const double fs : {44100.0, 192000.0}) {
        for (const auto& params : shelves) {
            dsp::HighShelf2Q::design(params, digital, analog, fs);
            dsp::LowShelf2::design(params, digital, fs);
        }
        for (const auto& params : lowPasses)
            dsp::Order2LowPass::design(params, digital, analog, fs);
    }
    EXPECT_EQ(gAllocations.load() - before, 0);
}
