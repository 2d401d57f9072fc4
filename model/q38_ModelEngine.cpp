#include "q38_ModelEngine.h"

#include "Q38EngineHooks.h"
#include "q38_ChannelChain.h"
#include "q38_ControlMapping.h"
#include "q38_Parameters.h"
#include "q38_Sections.h"

#include "core/core_Assert.h"
#include "dsp/containers/dsp_ChannelsBuffer.h"
#include "vector/vector_Primitives.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <new>

namespace q38 {

namespace {

constexpr unsigned kInterfaceLevel = core::kAssertionInterface;

// The fade moves by this fraction of the remaining distance per sample, at
// every sample rate, and is cut to 0 below the floor at block ends.
constexpr double kFadeStep = 0.001;
constexpr double kFadeFloor = 0.0001;

// strncpy semantics: at most inMaxLength bytes, zero-filled, unterminated when
// the text is that long or longer.
void copyText(const char* inText, char* outText, int inMaxLength)
{
    if (outText == nullptr || inMaxLength <= 0)
        return;
    std::strncpy(outText, inText, static_cast<std::size_t>(inMaxLength));
}

bool isSupportedSampleRate(int inSampleRate)
{
    return inSampleRate >= kQ38MinSampleRate && inSampleRate <= kQ38MaxSampleRate;
}

// Whether every sample is finite and within the limit. The magnitude of a
// float orders like the integer of its bits, with the infinities and NaNs
// above every finite value: integer tests, which the compiler may run on
// many samples at once.
bool isAudio(const float* const* inChannels, int inNumChannels, int inNumSamples)
{
    constexpr std::int32_t kLimitBits = std::bit_cast<std::int32_t>(kQ38InputSampleLimit);
    std::int32_t beyond = 0;
    for (int c = 0; c < inNumChannels; ++c)
        for (int i = 0; i < inNumSamples; ++i)
            beyond |= (std::bit_cast<std::int32_t>(inChannels[c][i]) & 0x7FFFFFFF) > kLimitBits;
    return beyond == 0;
}

// Samples that are no audio become silence for the model. The dry signal
// keeps the finite ones, so that a bypass stays bit-exact, and loses the rest.
void guardInput(double* const* ioDry, double* const* outModelInput, int inNumChannels, int inNumSamples)
{
    for (int c = 0; c < inNumChannels; ++c) {
        for (int i = 0; i < inNumSamples; ++i) {
            const double x = std::isfinite(ioDry[c][i]) ? ioDry[c][i] : 0.0;
            ioDry[c][i] = x;
            outModelInput[c][i] = std::fabs(x) <= kQ38InputSampleLimit ? x : 0.0;
        }
    }
}

template <typename Block>
Block* allocateBlock()
{
    // Not cleared: the first setSampleRate gives every field its value.
    return static_cast<Block*>(vectorAllocate(static_cast<std::ptrdiff_t>(sizeof(Block))));
}

} // namespace

// Ids are tested unsigned so that a negative one fails; the value test is
// written so that NaN fails as well.
#define Q38_CHECK_PARAMETER_ID(id)                                                                   \
    Q38_ASSERT_MSG(kInterfaceLevel, isValidParameterId(id),                                          \
                   "inParameterId >= 0 && inParameterId < Q38ParameterIds::kNumParameters",          \
                   "Invalid parameter ID: " << (id))
#define Q38_CHECK_NORMALIZED_VALUE(value)                                                            \
    Q38_ASSERT_MSG(kInterfaceLevel, (value) >= 0.0f && (value) <= 1.0f,                              \
                   "inNormalizedValue >= 0 && inNormalizedValue <= 1",                               \
                   "Invalid normalized value: " << (value))

Q38PrivateEngine::Q38PrivateEngine()
    : mModelState(allocateBlock<ModelState>()),
      mCoefficientStorage{allocateBlock<ModelCoefficients>(), allocateBlock<ModelCoefficients>(),
                          allocateBlock<ModelCoefficients>()},
      mPublishedCoefficients(mCoefficientStorage[0]),
      mEditCoefficients(mCoefficientStorage[1]),
      mSampleRate(0.0f),
      mHissSeedFixed(false),
      mHissSeed(0),
      mNextHissSeed(0)
{
    for (int id = 0; id < kNumParameters; ++id)
        mParameters[id].store(kParameterDefaults[id], std::memory_order_relaxed);
}

Q38PrivateEngine::~Q38PrivateEngine()
{
    // Waits for a setParameter or a block copy under way; the host has
    // stopped calling process before.
    std::lock_guard<std::mutex> lock(mCoefficientMutex);
    vectorFree(mModelState);
    for (ModelCoefficients* block : mCoefficientStorage)
        vectorFree(block);
}

void Q38PrivateEngine::resetParameters()
{
    // Deliberately shallow: the sound changes with the next update of a group.
    for (int id = 0; id < kNumParameters; ++id)
        mParameters[id].store(kParameterDefaults[id], std::memory_order_relaxed);
}

void Q38PrivateEngine::setSampleRate(int inSampleRate)
{
    Q38_ASSERT_MSG(kInterfaceLevel, inSampleRate > 0, "inSampleRate > 0", "Invalid sample rate: " << inSampleRate);
    if (inSampleRate > 0)
        Q38_ASSERT_MSG(kInterfaceLevel, isSupportedSampleRate(inSampleRate),
                       "inSampleRate >= kQ38MinSampleRate && inSampleRate <= kQ38MaxSampleRate",
                       "Unsupported sample rate: " << inSampleRate);
    // A refused rate changes nothing: the engine goes on at the rate it has,
    // or passes audio through until it gets its first.
    if (!isSupportedSampleRate(inSampleRate))
        return;

    // The rate reaches the model through single precision.
    const float sampleRate = static_cast<float>(inSampleRate);
    mSampleRate.store(sampleRate, std::memory_order_relaxed);

    resetModel(*mModelState, hissClock());
    prepareModel(*mModelState, static_cast<double>(sampleRate));

    mCoefficientMutex.lock();
    float parameters[kNumParameters];
    readParameters(parameters);
    updateAll(parameters, static_cast<double>(sampleRate), *mEditCoefficients);
    publishCoefficients();
}

void Q38PrivateEngine::setParameter(int inParameterId, float inNormalizedValue)
{
    Q38_CHECK_PARAMETER_ID(inParameterId);
    Q38_CHECK_NORMALIZED_VALUE(inNormalizedValue);

    // After the report a NaN changes nothing, and a value beyond 0..1 counts
    // as the nearer end.
    if (std::isnan(inNormalizedValue))
        return;
    const float value = std::clamp(inNormalizedValue, 0.0f, 1.0f);
    // An unknown id has no slot to store into; it still publishes below.
    if (isValidParameterId(inParameterId))
        mParameters[inParameterId].store(value, std::memory_order_relaxed);

    mCoefficientMutex.lock();
    // Read under the lock, so that a first setSampleRate either sees the value
    // stored above or has published before this reads its rate.
    const double sampleRate = static_cast<double>(mSampleRate.load(std::memory_order_relaxed));
    if (sampleRate == 0.0) {
        // Nothing to design for yet: the first rate computes every group.
        mCoefficientMutex.unlock();
        return;
    }
    ModelCoefficients& edit = *mEditCoefficients;
    float parameters[kNumParameters];
    readParameters(parameters);

    // Only the group that the parameter touches is redesigned. "Enable Eq"
    // decides whether the high-pass is in, and both decide whether the
    // channel counts as filtered for the input gain: hence the chain.
    switch (inParameterId) {
    case kEnableEffect:
        updateEnable(parameters, sampleRate, edit);
        break;
    case kStereoLink:
        updateAll(parameters, sampleRate, edit);
        break;
    case kStereoMode:
    case kCh1PhaseReverse:
    case kCh2PhaseReverse:
    case kCh1OutputTrim:
    case kCh2OutputTrim:
        updateInputOutput(parameters, sampleRate, edit);
        break;
    case kCh1EqHighToneGain:
    case kCh2EqHighToneGain:
    case kCh1EqLowToneGain:
    case kCh2EqLowToneGain:
        updateToneEq(parameters, sampleRate, edit);
        break;
    case kCh1EnableEq:
    case kCh2EnableEq:
        updateEqEnable(parameters, sampleRate, edit);
        [[fallthrough]];
    case kCh1HighPassFreq:
    case kCh2HighPassFreq:
        updateHighPass(parameters, sampleRate, edit);
        [[fallthrough]];
    case kCh1InputGain:
    case kCh2InputGain:
        updateInputGain(parameters, sampleRate, edit);
        break;
    default:
        break;
    }

    publishCoefficients();
}

void Q38PrivateEngine::publishCoefficients()
{
    std::swap(mPublishedCoefficients, mEditCoefficients);
    // Bytewise, so that the next update starts from the complete newest block.
    std::memcpy(mEditCoefficients, mPublishedCoefficients, sizeof(ModelCoefficients));
    mCoefficientMutex.unlock();
}

float Q38PrivateEngine::getParameterValue(int inParameterId)
{
    Q38_CHECK_PARAMETER_ID(inParameterId);
    if (!isValidParameterId(inParameterId))
        return 0.0f;
    return mParameters[inParameterId].load(std::memory_order_relaxed);
}

void Q38PrivateEngine::getParameterUnit(int inParameterId, char* outText, int inMaxLength)
{
    Q38_CHECK_PARAMETER_ID(inParameterId);
    copyText(parameterUnit(inParameterId), outText, inMaxLength);
}

float Q38PrivateEngine::getPhysicalValue(int inParameterId, float inNormalizedValue)
{
    Q38_CHECK_PARAMETER_ID(inParameterId);
    Q38_CHECK_NORMALIZED_VALUE(inNormalizedValue);
    return physicalValue(inParameterId, inNormalizedValue);
}

float Q38PrivateEngine::getPhysicalValue(int inParameterId)
{
    Q38_CHECK_PARAMETER_ID(inParameterId);
    if (!isValidParameterId(inParameterId))
        return 0.0f;
    return getPhysicalValue(inParameterId, mParameters[inParameterId].load(std::memory_order_relaxed));
}

void Q38PrivateEngine::getValueText(int inParameterId, float inNormalizedValue, char* outText, int inMaxLength)
{
    Q38_CHECK_PARAMETER_ID(inParameterId);
    Q38_CHECK_NORMALIZED_VALUE(inNormalizedValue);
    copyText(valueText(inParameterId, inNormalizedValue), outText, inMaxLength);
}

void Q38PrivateEngine::getValueText(int inParameterId, char* outText, int inMaxLength)
{
    Q38_CHECK_PARAMETER_ID(inParameterId);
    if (!isValidParameterId(inParameterId)) {
        copyText("", outText, inMaxLength);
        return;
    }
    getValueText(inParameterId, mParameters[inParameterId].load(std::memory_order_relaxed), outText, inMaxLength);
}

void Q38PrivateEngine::getParameterName(int inParameterId, char* outText, int inMaxLength)
{
    Q38_CHECK_PARAMETER_ID(inParameterId);
    copyText(isValidParameterId(inParameterId) ? parameterName(inParameterId) : "", outText, inMaxLength);
}

void Q38PrivateEngine::process(const float* const* inInputs, float* const* inOutputs, int inNumChannels,
                               int inNumSamples)
{
    Q38_ASSERT_MSG(kInterfaceLevel, inNumSamples > 0 && inNumSamples <= kQ38MaxBufferSize,
                   "inNumSamples > 0 && inNumSamples <= kQ38MaxBufferSize",
                   "Number of samples is too large: " << inNumSamples);
    Q38_ASSERT_MSG(kInterfaceLevel, inNumChannels > 0 && inNumChannels <= kQ38MaxNumChannels,
                   "inNumChannels > 0 && inNumChannels <= kQ38MaxNumChannels",
                   "Invalid number of channels: " << inNumChannels);

    dsp::ChannelsBuffer dry(inNumChannels, inNumSamples);
    dsp::ChannelsBuffer wet(inNumChannels, inNumSamples);

    // After a failed check, work within the buffers' capacity only; an empty
    // block has nothing to do.
    const int numChannels = std::min(inNumChannels, kQ38MaxNumChannels);
    const int numSamples = std::min(inNumSamples, kQ38MaxBufferSize);
    if (numChannels < 1 || numSamples < 1)
        return;

    // The whole input is read before any output is written, so the host may
    // process in place.
    for (int c = 0; c < numChannels; ++c)
        vectorFloatToDouble(inInputs[c], dry.channel(c), numSamples);

    const double* const* modelInput = dry.channelPointers();
    double guarded[kQ38MaxNumChannels][kQ38MaxBufferSize];
    double* const guardedChannels[kQ38MaxNumChannels] = {guarded[0], guarded[1]};
    if (!isAudio(inInputs, numChannels, numSamples)) [[unlikely]] {
        guardInput(dry.channelPointers(), guardedChannels, numChannels, numSamples);
        modelInput = guardedChannels;
    }

    if (mSampleRate.load(std::memory_order_relaxed) == 0.0f) {
        // No rate, no model: the input passes.
        for (int c = 0; c < numChannels; ++c)
            vectorDoubleToFloat(dry.channel(c), inOutputs[c], numSamples);
        return;
    }

    {
        std::lock_guard<std::mutex> lock(mCoefficientMutex);
        std::memcpy(&audioCoefficients(), mPublishedCoefficients, sizeof(ModelCoefficients));
    }

    processWithFade(dry.channelPointers(), modelInput, wet.channelPointers(), inOutputs, numSamples, numChannels,
                    audioCoefficients(), *mModelState);
}

void Q38PrivateEngine::processWithFade(const double* const* inDry, const double* const* inModelInput,
                                       double* const* ioWet, float* const* outOutputs, int inNumSamples,
                                       int inNumChannels, const ModelCoefficients& inCoefficients,
                                       ModelState& ioState)
{
    double g;
    if (ioState.mFadePending) {
        // The first block after a reset starts at its target.
        g = inCoefficients.mWetTarget;
        ioState.mFade = g;
    } else {
        g = ioState.mFade;
    }

    if (inCoefficients.mEffectEnabled || g > 0.0) {
        processModel(inModelInput, ioWet, inNumSamples, inNumChannels, inCoefficients, ioState);
        g = ioState.mFade;
    } else {
        // The chain is skipped and the mix below runs at g = 0. A wet signal
        // of -0.0 makes g * wet exactly -0.0, and x + -0.0 is x for every x,
        // so the dry signal comes out bit for bit.
        for (int c = 0; c < inNumChannels; ++c)
            std::fill(ioWet[c], ioWet[c] + inNumSamples, -0.0);
    }

    // Each sample is mixed, then narrowed to float as vectorDoubleToFloat does.
    const double target = inCoefficients.mWetTarget;
    if (glideMoves<1>(g, target, kFadeStep)) {
        for (int i = 0; i < inNumSamples; ++i) {
            for (int c = 0; c < inNumChannels; ++c)
                outOutputs[c][i] = vectorNarrowSample((1.0 - g) * inDry[c][i] + g * ioWet[c][i]);
            g = g + (target - g) * kFadeStep;
        }
    } else {
        // A fade whose step no longer changes it stays where it is: every
        // sample mixes at the same g, without the step's chain from sample to
        // sample, one channel after the other.
        for (int c = 0; c < inNumChannels; ++c)
            for (int i = 0; i < inNumSamples; ++i)
                outOutputs[c][i] = vectorNarrowSample((1.0 - g) * inDry[c][i] + g * ioWet[c][i]);
    }

    ioState.mFadePending = 0;
    ioState.mFade = g >= kFadeFloor ? g : 0.0;
}

float Q38PrivateEngine::getMeterValue(int inMeterId)
{
    const bool valid = static_cast<unsigned>(inMeterId) < static_cast<unsigned>(kNumMeters);
    Q38_ASSERT_MSG(kInterfaceLevel, valid, "inMeterId >= 0 && inMeterId < Q38MeterIds::kNumMeters",
                   "Invalid meter ID: " << inMeterId);
    // Before the first rate the model holds nothing to read.
    if (!valid || mSampleRate.load(std::memory_order_relaxed) == 0.0f)
        return 0.0f;
    // Written once per block by the audio thread; the last finished block is all we want.
    std::atomic_ref<double> activity(mModelState->mChannel[inMeterId].mActivity);
    return static_cast<float>(activity.load(std::memory_order_relaxed));
}

void Q38PrivateEngine::fixHissSeed(std::uint64_t inSeed)
{
    mHissSeedFixed = true;
    mHissSeed = inSeed;
}

void Q38PrivateEngine::readParameters(float (&outParameters)[kNumParameters]) const
{
    for (int id = 0; id < kNumParameters; ++id)
        outParameters[id] = mParameters[id].load(std::memory_order_relaxed);
}

MonotonicClock Q38PrivateEngine::hissClock()
{
    if (!mHissSeedFixed)
        return systemMonotonicClock();
    // Each reset reads seed, seed + 1, ...: channel c gets seed + c every time.
    mNextHissSeed = mHissSeed;
    return MonotonicClock{&Q38PrivateEngine::readFixedHissSeed, this};
}

std::uint64_t Q38PrivateEngine::readFixedHissSeed(void* inEngine)
{
    Q38PrivateEngine& engine = *static_cast<Q38PrivateEngine*>(inEngine);
    return engine.mNextHissSeed++;
}

#undef Q38_CHECK_PARAMETER_ID
#undef Q38_CHECK_NORMALIZED_VALUE

} // namespace q38

extern "C" Q38_API Q38Engine* createQ38Engine()
{
    return new (std::nothrow) q38::Q38PrivateEngine();
}

extern "C" Q38_API void q38FixHissSeed(Q38Engine* inEngine, unsigned long long inSeed)
{
    if (inEngine == nullptr)
        return;
    static_cast<q38::Q38PrivateEngine*>(inEngine)->fixHissSeed(inSeed);
}
