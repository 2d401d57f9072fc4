#pragma once

// Shared helpers of the engine tests: a look inside the engine, a capturing
// notice handler and a few signal helpers.

#include "Q38Engine.h"
#include "Q38EngineHooks.h"
#include "core/core_Assert.h"
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
#include <utility>
#include <vector>

namespace q38 {

using CoefficientBytes = std::array<unsigned char, sizeof(ModelCoefficients)>;

// The engine's friend in the tests: reads what the host cannot see.
struct EngineInspector
{
    static ModelState& state(Q38PrivateEngine& inEngine) { return *inEngine.mModelState; }

    // The audio thread's copy, as the last process took it.
    static const ModelCoefficients& audio(Q38PrivateEngine& inEngine) { return inEngine.audioCoefficients(); }

    static CoefficientBytes bytesOf(const ModelCoefficients& inBlock)
    {
        CoefficientBytes bytes;
        std::memcpy(bytes.data(), &inBlock, sizeof inBlock);
        return bytes;
    }

    // The published block, taken under the engine's lock.
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

    // The blocks come uncleared from the allocator; zeroing them gives two
    // engines equal bytes between the fields, so that blocks compare whole.
    static void clearBlocks(Q38PrivateEngine& inEngine)
    {
        for (ModelCoefficients* block : inEngine.mCoefficientStorage)
            std::memset(static_cast<void*>(block), 0, sizeof *block);
    }

    static float sampleRate(Q38PrivateEngine& inEngine) { return inEngine.mSampleRate.load(); }

    static void readParameters(Q38PrivateEngine& inEngine, float (&outParameters)[kNumParameters])
    {
        inEngine.readParameters(outParameters);
    }
};

} // namespace q38

namespace enginetest {

using q38test::NoticeCapture;

// The notices so far; the capture starts afresh.
inline std::vector<core::AssertionNotice> takeNotices(NoticeCapture& ioCapture)
{
    std::vector<core::AssertionNotice> notices = ioCapture.notices();
    ioCapture.clear();
    return notices;
}

// The notice text of an interface check.
inline std::string interfaceNotice(const std::string& inExpression, const std::string& inMessage)
{
    return "Assertion '" + inExpression + "' failed.\n" + inMessage;
}

inline const std::string kIdExpression = "inParameterId >= 0 && inParameterId < Q38ParameterIds::kNumParameters";
inline const std::string kValueExpression = "inNormalizedValue >= 0 && inNormalizedValue <= 1";

// A stereo block of host floats with pointer arrays ready for process.
struct HostBlock
{
    std::vector<float> mLeft;
    std::vector<float> mRight;
    const float* mInputs[2];
    float* mOutputs[2];

    explicit HostBlock(int inNumSamples) : mLeft(inNumSamples), mRight(inNumSamples)
    {
        mInputs[0] = mLeft.data();
        mInputs[1] = mRight.data();
        mOutputs[0] = mLeft.data();
        mOutputs[1] = mRight.data();
    }
};

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

// Runs a whole stereo signal through process in blocks of inBlockSize; in place.
inline void processStereo(Q38Engine& ioEngine, std::vector<float>& ioLeft, std::vector<float>& ioRight,
                          int inBlockSize)
{
    for (std::size_t start = 0; start < ioLeft.size(); start += static_cast<std::size_t>(inBlockSize)) {
        const int n = static_cast<int>(std::min<std::size_t>(static_cast<std::size_t>(inBlockSize), ioLeft.size() - start));
        float* channels[2] = {ioLeft.data() + start, ioRight.data() + start};
        ioEngine.process(channels, channels, 2, n);
    }
}

} // namespace enginetest
