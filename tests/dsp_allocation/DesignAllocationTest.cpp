// Designs run on the control side under the coefficient lock and must not
// allocate. This program replaces the global allocation functions to count.

#include "dsp/filter_design/primitives/order1/dsp_Order1HighPass.h"
#include "dsp/filter_design/primitives/order1/dsp_Order1HighShelf.h"
#include "dsp/filter_design/primitives/order2/dsp_Bell.h"
#include "dsp/filter_design/primitives/order2/dsp_HighShelf2Q.h"
#include "dsp/filter_design/primitives/order2/dsp_LowShelf2.h"
#include "dsp/filter_design/primitives/order2/dsp_Order2HighPass.h"
#include "dsp/filter_design/primitives/order2/dsp_Order2LowPass.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<bool> sCounting{false};
std::atomic<int> sAllocations{0};

void* countedAllocate(std::size_t inSize)
{
    if (sCounting.load(std::memory_order_relaxed))
        sAllocations.fetch_add(1, std::memory_order_relaxed);
    if (void* memory = std::malloc(inSize == 0 ? 1 : inSize))
        return memory;
    throw std::bad_alloc();
}

template <typename Work>
int allocationsDuring(Work&& inWork)
{
    sAllocations.store(0);
    sCounting.store(true);
    inWork();
    sCounting.store(false);
    return sAllocations.load();
}

} // namespace

void* operator new(std::size_t inSize) { return countedAllocate(inSize); }
void* operator new[](std::size_t inSize) { return countedAllocate(inSize); }
void operator delete(void* inMemory) noexcept { std::free(inMemory); }
void operator delete[](void* inMemory) noexcept { std::free(inMemory); }
void operator delete(void* inMemory, std::size_t) noexcept { std::free(inMemory); }
void operator delete[](void* inMemory, std::size_t) noexcept { std::free(inMemory); }

// The designs' flat, direct, matched, peak, extrema and plain paths.
TEST(DesignAllocation, DesignsAllocateNothing)
{
    EXPECT_EQ(allocationsDuring([] { delete new int(3); }), 1);  // the counter sees allocations
    const dsp::HighShelf2Q::Params shelves[] = {{1000, 0.5, 0.5, 0, 1, 0}, {1000, 0.4, 0.4, 8, 1, -2},
                                                {3000, 2, 2, -12, 0, 0},   {500, 3, 0.4, 6, 1, 0},
                                                {40, 0.5, 0.5, 10, 1, 0},  {20000, 4, 4, 24, 0, 0}};
    const dsp::Order2LowPass::Params lowPasses[] = {
        {1000, 0.7, 0.995, 0}, {1000, 2, 0, 0}, {26000, 2, 0, 0}, {1000, 0.7, 0, 0}, {20383.099609, 1.59107, 0, 0}};
    double digital[6], analog[6];
    EXPECT_EQ(allocationsDuring([&] {
                  for (double fs : {44100.0, 192000.0}) {
                      for (double f : {5.0, 1000.0, 0.45 * fs, 0.5 * fs, 1.5 * fs}) {
                          for (double gain : {0.0, -12.0, 6.0})
                              dsp::Bell::design({f, 1.2, gain, 3.0}, digital, analog, fs);
                          for (double Q : {0.6, 0.72, 3.0})
                              for (double g : {0.0, 0.5, 0.99, 1.0})
                                  dsp::Order2HighPass::design({f, Q, g, -2.0}, digital, fs);
                      }
                      for (const auto& params : shelves) {
                          dsp::HighShelf2Q::design(params, digital, analog, fs);
                          dsp::LowShelf2::design(params, digital, fs);
                      }
                      for (const auto& params : lowPasses)
                          dsp::Order2LowPass::design(params, digital, analog, fs);
                      for (double floorGain : {0.0, 0.5, 1.0})
                          dsp::Order1HighPass::design({1000.0, floorGain, 0.0}, digital, fs);
                      for (double gain : {0.0, 0.01, 6.0})
                          dsp::Order1HighShelf::design({1000.0, gain, dsp::kUpperCorner, 0.0}, digital, fs);
                  }
              }),
              0);
}
