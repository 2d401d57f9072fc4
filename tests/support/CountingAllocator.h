#pragma once

// Counting replacements of the global allocation functions, switched on per
// thread around the calls under test. Include this in one source file of a
// test program: it defines the replacements for the whole program.

#include <atomic>
#include <cstdlib>
#include <new>

namespace allocationtest {

inline thread_local bool tCounting = false;
inline std::atomic<long> gAllocations{0};
inline std::atomic<long> gNothrowNews{0}; // the form the engine's factory and the plugins use

inline void noteAllocation()
{
    if (tCounting)
        gAllocations.fetch_add(1, std::memory_order_relaxed);
}

inline void* allocateOrThrow(std::size_t inSize)
{
    noteAllocation();
    if (void* block = std::malloc(inSize == 0 ? 1 : inSize))
        return block;
    throw std::bad_alloc();
}

// The allocations that inWork makes on this thread.
template <typename Work> long countWhile(Work&& inWork)
{
    const long start = gAllocations.load();
    tCounting = true;
    inWork();
    tCounting = false;
    return gAllocations.load() - start;
}

} // namespace allocationtest

void* operator new(std::size_t inSize) { return allocationtest::allocateOrThrow(inSize); }
void* operator new[](std::size_t inSize) { return allocationtest::allocateOrThrow(inSize); }
void* operator new(std::size_t inSize, const std::nothrow_t&) noexcept
{
    allocationtest::noteAllocation();
    if (allocationtest::tCounting)
        allocationtest::gNothrowNews.fetch_add(1, std::memory_order_relaxed);
    return std::malloc(inSize == 0 ? 1 : inSize);
}
void operator delete(void* inBlock) noexcept { std::free(inBlock); }
void operator delete[](void* inBlock) noexcept { std::free(inBlock); }
void operator delete(void* inBlock, std::size_t) noexcept { std::free(inBlock); }
void operator delete[](void* inBlock, std::size_t) noexcept { std::free(inBlock); }

// Without a sanitizer, which brings its own, malloc is counted as well.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
namespace allocationtest {
inline constexpr long kMallocCounted = 1;
}
extern "C" {
void* __libc_malloc(std::size_t);
void* __libc_calloc(std::size_t, std::size_t);
void* __libc_realloc(void*, std::size_t);
void __libc_free(void*);

void* malloc(std::size_t inSize) { return allocationtest::noteAllocation(), __libc_malloc(inSize); }
void* calloc(std::size_t inCount, std::size_t inSize)
{
    return allocationtest::noteAllocation(), __libc_calloc(inCount, inSize);
}
void* realloc(void* inBlock, std::size_t inSize) { return allocationtest::noteAllocation(), __libc_realloc(inBlock, inSize); }
void free(void* inBlock) { __libc_free(inBlock); }
}
#else
namespace allocationtest {
inline constexpr long kMallocCounted = 0;
}
#endif
