// A host as the outside world sees the engine: it loads the shared library,
// finds the factory by name and reaches each of the thirteen operations by its
// slot in the virtual table, the binary interface, which pins their order.

#include "Q38Engine.h"

#include <gtest/gtest.h>

#include <dlfcn.h>

#include <string>
#include <vector>

#if defined(__GXX_ABI_VERSION) && (defined(__x86_64__) || defined(__aarch64__))

namespace {

// The Itanium C++ ABI: the object starts with a pointer to the first virtual
// slot, the virtual destructor fills slots 0 and 1 (complete, then deleting),
// and a slot is called like a function whose first argument is the object.
template <typename Result, typename... Arguments>
Result call(Q38Engine* inEngine, int inSlot, Arguments... inArguments)
{
    void** table = *reinterpret_cast<void***>(inEngine);
    return reinterpret_cast<Result (*)(Q38Engine*, Arguments...)>(table[inSlot])(inEngine, inArguments...);
}

// Slots 6, 10 and 11 share a signature: the unit, the stored value's text, the name.
std::string text(Q38Engine* inEngine, int inSlot, int inId)
{
    char text[32];
    call<void>(inEngine, inSlot, inId, text, 32);
    return text;
}

} // namespace

TEST(LoadedLibrary, AHostReachesEveryOperationByItsSlot)
{
    void* library = dlopen(Q38_LIBRARY_PATH, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(library, nullptr) << dlerror();
    const auto factory = reinterpret_cast<Q38Engine* (*)()>(dlsym(library, "createQ38Engine"));
    const auto seedHook = reinterpret_cast<void (*)(Q38Engine*, unsigned long long)>(dlsym(library, "q38FixHissSeed"));
    ASSERT_TRUE(factory != nullptr && seedHook != nullptr);
    Q38Engine* engine = factory();
    ASSERT_NE(engine, nullptr);
    seedHook(engine, 99);

    const int effect = kEnableEffect, gain = kCh1InputGain;
    call<void>(engine, 4, effect, 0.0f);  // setParameter
    call<void>(engine, 3, 48000);         // setSampleRate
    EXPECT_EQ(text(engine, 6, gain), "dB");
    EXPECT_EQ(text(engine, 10, effect), "Off");
    EXPECT_EQ(text(engine, 11, gain), "Ch.1: Input Gain");
    char valueText[32];
    call<void>(engine, 9, static_cast<int>(kCh1HighPassFreq), 0.5f, valueText, 32);
    EXPECT_STREQ(valueText, "300 Hz");
    EXPECT_EQ(call<float>(engine, 7, gain, 1.0f), 76.0f);

    // With the effect off from the start, the first block is the input.
    std::vector<float> left(32), right(32);
    for (int i = 0; i < 32; ++i) {
        left[i] = 0.01f * static_cast<float>(i) - 0.1f;
        right[i] = -0.02f * static_cast<float>(i);
    }
    const std::vector<float> leftIn = left, rightIn = right;
    float* channels[2] = {left.data(), right.data()};
    call<void>(engine, 12, static_cast<const float* const*>(channels), static_cast<float* const*>(channels), 2, 32);
    EXPECT_TRUE(left == leftIn && right == rightIn);

    call<void>(engine, 2);  // resetParameters
    EXPECT_EQ(call<float>(engine, 5, effect), 1.0f);
    call<void>(engine, 4, effect, 1.0f);
    call<void>(engine, 4, gain, 0.6f);
    EXPECT_EQ(call<float>(engine, 5, gain), 0.6f);
    EXPECT_EQ(call<float>(engine, 8, gain), 0.6f * 73.0f + 3.0f);
    const float* inputs[2] = {leftIn.data(), rightIn.data()};
    for (int block = 0; block < 100; ++block)
        call<void>(engine, 12, static_cast<const float* const*>(inputs), static_cast<float* const*>(channels), 2, 32);
    const float meter = call<float>(engine, 13, static_cast<int>(kCh1Meter));
    EXPECT_TRUE(meter > 0.0f && meter < 1.0f) << meter;
    call<void>(engine, 1);  // the deleting destructor
    dlclose(library);
}

#endif
