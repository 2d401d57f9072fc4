#pragma once

// The one implementation of Q38Engine: parameters, the coefficient hand-over
// between the control side and the audio thread, block processing with the
// wet/dry fade, and the meters.

#include "Q38Engine.h"
#include "q38_ModelTypes.h"
#include "q38_SampleRateSetup.h"

#include <atomic>
#include <cstdint>
#include <mutex>

namespace q38 {

// Defined by tests that need to look inside the engine; never in the library.
struct EngineInspector;

class Q38PrivateEngine final : public Q38Engine
{
public:
    Q38PrivateEngine();
    ~Q38PrivateEngine() override;

    Q38PrivateEngine(const Q38PrivateEngine&) = delete;
    Q38PrivateEngine& operator=(const Q38PrivateEngine&) = delete;

    void resetParameters() override;
    void setSampleRate(int inSampleRate) override;
    void setParameter(int inParameterId, float inNormalizedValue) override;
    float getParameterValue(int inParameterId) override;
    void getParameterUnit(int inParameterId, char* outText, int inMaxLength) override;
    float getPhysicalValue(int inParameterId, float inNormalizedValue) override;
    float getPhysicalValue(int inParameterId) override;
    void getValueText(int inParameterId, float inNormalizedValue, char* outText, int inMaxLength) override;
    void getValueText(int inParameterId, char* outText, int inMaxLength) override;
    void getParameterName(int inParameterId, char* outText, int inMaxLength) override;
    void process(const float* const* inInputs, float* const* inOutputs, int inNumChannels,
                 int inNumSamples) override;
    float getMeterValue(int inMeterId) override;

    // From the next setSampleRate on, every reset seeds the hiss of channel c
    // with inSeed + c instead of reading the system clock.
    void fixHissSeed(std::uint64_t inSeed);

private:
    friend struct EngineInspector;

    static constexpr int kNumCoefficientBlocks = 3;
    static constexpr int kAudioBlock = 2;

    // Precondition: mCoefficientMutex is held. Swaps the edit and the published
    // block, copies the new published block over the new edit block, unlocks.
    void publishCoefficients();

    // The fade between the dry input and the chain's result, lowered to the
    // host's floats; runs the chain on inModelInput (the dry input, or its
    // guarded copy) into ioWet unless the effect is off and the fade has died away.
    void processWithFade(const double* const* inDry, const double* const* inModelInput, double* const* ioWet,
                         float* const* outOutputs, int inNumSamples, int inNumChannels,
                         const ModelCoefficients& inCoefficients, ModelState& ioState);

    // The audio thread's private copy of the published block.
    ModelCoefficients& audioCoefficients() { return *mCoefficientStorage[kAudioBlock]; }

    // The parameters as the update operations read them.
    void readParameters(float (&outParameters)[kNumParameters]) const;

    MonotonicClock hissClock();
    static std::uint64_t readFixedHissSeed(void* inEngine);

    ModelState* mModelState;
    ModelCoefficients* mCoefficientStorage[kNumCoefficientBlocks];  // owning; [kAudioBlock] is mAudioCoefficients
    ModelCoefficients* mPublishedCoefficients;  // guarded by mCoefficientMutex
    ModelCoefficients* mEditCoefficients;       // guarded by mCoefficientMutex
    std::mutex mCoefficientMutex;
    std::atomic<float> mParameters[kNumParameters];  // relaxed: single values, no ordering wanted
    std::atomic<float> mSampleRate;                  // relaxed; 0 until the first setSampleRate

    // Control side only, like setSampleRate itself.
    bool mHissSeedFixed;
    std::uint64_t mHissSeed;
    std::uint64_t mNextHissSeed;
};

} // namespace q38
