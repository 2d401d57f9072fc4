// A host as the outside world sees the engine: it loads the shared library,
// finds the factory by name and speaks only through Q38Engine*.

#include "Q38Engine.h"
#include "Q38EngineHooks.h"

#include <gtest/gtest.h>

#include <dlfcn.h>

#include <cmath>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace {

using Factory = Q38Engine* (*)();
using SeedHook = void (*)(Q38Engine*, unsigned long long);

class LoadedLibrary : public ::testing::Test
{
protected:
    void SetUp() override
    {
        mHandle = dlopen(Q38_LIBRARY_PATH, RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(mHandle, nullptr) << dlerror();
        mFactory = reinterpret_cast<Factory>(dlsym(mHandle, "createQ38Engine"));
        mSeedHook = reinterpret_cast<SeedHook>(dlsym(mHandle, "q38FixHissSeed"));
        ASSERT_NE(mFactory, nullptr);
        ASSERT_NE(mSeedHook, nullptr);
    }
    void TearDown() override
    {
        if (mHandle != nullptr)
            dlclose(mHandle);
    }

    void* mHandle = nullptr;
    Factory mFactory = nullptr;
    SeedHook mSeedHook = nullptr;
};

} // namespace

TEST_F(LoadedLibrary, ExportsOnlyTheFactoryAndTheHook)
{
    // Internal functions of the engine are not reachable by name.
    for (const char* name : {"_ZN3q3812processModelEPKPKdPKPdiiRKNS_17ModelCoefficientsERNS_10ModelStateE",
                             "_ZN4core15reportAssertionEjPKcS1_iRKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE",
                             "vectorAllocate", "_Z14vectorAllocatel"})
        EXPECT_EQ(dlsym(mHandle, name), nullptr) << name;
}

TEST_F(LoadedLibrary, AHostCanCallEveryOperation)
{
    Q38Engine* engine = mFactory();
    ASSERT_NE(engine, nullptr);
    mSeedHook(engine, 99);

    engine->setParameter(kEnableEffect, 0.0f);
    engine->setSampleRate(48000);

    char text[32];
    engine->getParameterName(kCh1HighPassFreq, text, sizeof text);
    EXPECT_STREQ(text, "Ch.1: HighPass Freq");
    engine->getParameterUnit(kCh2OutputTrim, text, sizeof text);
    EXPECT_STREQ(text, "dB");
    engine->getValueText(kCh1HighPassFreq, 0.5f, text, sizeof text);
    EXPECT_STREQ(text, "300 Hz");
    engine->getValueText(kEnableEffect, text, sizeof text);
    EXPECT_STREQ(text, "Off");
    EXPECT_EQ(engine->getPhysicalValue(kCh1InputGain, 1.0f), 76.0f);
    engine->setParameter(kCh1EqLowToneGain, 1.0f);
    EXPECT_EQ(engine->getParameterValue(kCh1EqLowToneGain), 1.0f);
    EXPECT_EQ(engine->getPhysicalValue(kCh1EqLowToneGain), 10.0f);

    // With the effect off from the start, the first block is the input.
    std::vector<float> left(32), right(32);
    for (int i = 0; i < 32; ++i) {
        left[static_cast<std::size_t>(i)] = 0.01f * static_cast<float>(i) - 0.1f;
        right[static_cast<std::size_t>(i)] = -0.02f * static_cast<float>(i);
    }
    const std::vector<float> leftIn = left, rightIn = right;
    float* channels[2] = {left.data(), right.data()};
    engine->process(channels, channels, 2, 32);
    EXPECT_EQ(left, leftIn);
    EXPECT_EQ(right, rightIn);
    EXPECT_EQ(engine->getMeterValue(kCh1Meter), 0.0f);
    EXPECT_EQ(engine->getMeterValue(kCh2Meter), 0.0f);

    engine->resetParameters();
    EXPECT_EQ(engine->getParameterValue(kCh1EqLowToneGain), 0.5f);
    EXPECT_EQ(engine->getParameterValue(kEnableEffect), 1.0f);

    // The effect on: the engine keeps processing through the model.
    engine->setParameter(kEnableEffect, 1.0f);
    for (int block = 0; block < 100; ++block)
        engine->process(channels, channels, 2, 32);
    for (float sample : left)
        EXPECT_TRUE(std::isfinite(sample));

    delete engine;
}

TEST_F(LoadedLibrary, EnginesAreIndependent)
{
    std::unique_ptr<Q38Engine> first(mFactory());
    std::unique_ptr<Q38Engine> second(mFactory());
    first->setSampleRate(44100);
    second->setSampleRate(44100);
    first->setParameter(kCh1InputGain, 0.75f);
    EXPECT_EQ(first->getParameterValue(kCh1InputGain), 0.75f);
    EXPECT_EQ(second->getParameterValue(kCh1InputGain), 0.0f);
}
