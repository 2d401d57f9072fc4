#pragma once

// A look inside the engine for the tests, and a few signal helpers.

#include "Q38Engine.h"
#include "Q38EngineHooks.h"
#include "model/q38_ControlMapping.h"
#include "model/q38_ModelEngine.h"
#include "model/q38_Parameters.h"
#include "support/NoticeCapture.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <mutex>
#include <random>
#include <string>
#include <vector>

namespace q38 {

using CoefficientBytes = std::array<unsigned char, sizeof(ModelCoefficients)>;

// The engine's friend in the tests: reads what the host cannot see.
struct EngineInspector
{
    static ModelState& state(Q38PrivateEngine& inEngine) { return *inEngine.mModelState; }
    static float sampleRate(Q38PrivateEngine& inEngine) { return inEngine.mSampleRate.load(); }
    static CoefficientBytes bytesOf(const ModelCoefficients& inBlock)
    {
        CoefficientBytes bytes;
        std::memcpy(bytes.data(), &inBlock, sizeof inBlock);
        return bytes;
    }
    // The audio thread's copy, as the last process took it.
    static CoefficientBytes audio(Q38PrivateEngine& inEngine) { return bytesOf(inEngine.audioCoefficients()); }
    static CoefficientBytes published(Q38PrivateEngine& inEngine)
    {
        std::lock_guard<std::mutex> lock(inEngine.mCoefficientMutex);
        return bytesOf(*inEngine.mPublishedCoefficients);
    }
    static CoefficientBytes edit(Q38PrivateEngine& inEngine)
    {
        std::lock_guard<std::mutex> lock(inEngine.mCoefficientMutex);
        return bytesOf(*inEngine.mEditCoefficients);
    }
    // What a full redesign from the stored parameters gives, starting from
    // inBlock so that the bytes between the fields compare equal.
    static CoefficientBytes fullUpdate(Q38PrivateEngine& inEngine, const CoefficientBytes& inBlock)
    {
        alignas(ModelCoefficients) CoefficientBytes block = inBlock;
        float parameters[kNumParameters];
        inEngine.readParameters(parameters);
        updateAll(parameters, inEngine.mSampleRate.load(), *reinterpret_cast<ModelCoefficients*>(block.data()));
        return block;
    }
    // The blocks come uncleared from the allocator; cleared, two engines'
    // blocks compare whole.
    static void clearBlocks(Q38PrivateEngine& inEngine)
    {
        for (ModelCoefficients* block : inEngine.mCoefficientStorage)
            std::memset(static_cast<void*>(block), 0, sizeof *block);
    }
};

} // namespace q38

namespace enginetest {

using q38::EngineInspector;
using q38test::NoticeCapture;

inline std::vector<float> randomSignal(std::size_t inLength, float inLevel, std::uint32_t inSeed)
{
    std::mt19937 generator(inSeed);
    std::uniform_real_distribution<float> distribution(-inLevel, inLevel);
    std::vector<float> samples(inLength);
    for (float& sample : samples)
        sample = distribution(generator);
    return samples;
}

inline bool sameBits(const std::vector<float>& inA, const std::vector<float>& inB)
{
    return inA.size() == inB.size() && std::memcmp(inA.data(), inB.data(), inA.size() * sizeof(float)) == 0;
}

inline std::uint64_t fnv1a(const void* inData, std::size_t inSize, std::uint64_t inHash = 0xcbf29ce484222325ull)
{
    for (std::size_t i = 0; i < inSize; ++i)
        inHash = (inHash ^ static_cast<const unsigned char*>(inData)[i]) * 0x100000001b3ull;
    return inHash;
}

// Over the bytes of every sample, left channel first.
inline std::uint64_t fingerprint(const std::vector<float>& inLeft, const std::vector<float>& inRight)
{
    return fnv1a(inRight.data(), inRight.size() * sizeof(float), fnv1a(inLeft.data(), inLeft.size() * sizeof(float)));
}

// A whole stereo signal through process in place, in blocks of inBlockSize.
inline void processStereo(Q38Engine& ioEngine, std::vector<float>& ioLeft, std::vector<float>& ioRight,
                          int inBlockSize = 32)
{
    for (std::size_t start = 0; start < ioLeft.size(); start += static_cast<std::size_t>(inBlockSize)) {
        const int n = static_cast<int>(std::min<std::size_t>(inBlockSize, ioLeft.size() - start));
        float* channels[2] = {ioLeft.data() + start, ioRight.data() + start};
        ioEngine.process(channels, channels, 2, n);
    }
}

} // namespace enginetest
