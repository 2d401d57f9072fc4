#pragma once

// The host's view of the Q38 engine: a two-channel vacuum-tube microphone
// preamplifier model (input gain, switchable high-pass, high and low tone
// controls, output trim).
//
// A host obtains an engine from createQ38Engine, calls setSampleRate before
// anything else, exchanges parameters as normalized floats in 0..1, hands over
// float audio in blocks of at most kQ38MaxBufferSize samples on one or two
// channels, and deletes the engine through this interface when done.
//
// Threads: process runs on one audio thread; setParameter and the queries may
// run concurrently from a control thread; setSampleRate must not overlap
// process.
//
// Bad arguments are reported on standard error (and in the file that the
// environment variable Q38_ASSERT_LOG names) and then made safe: a NaN
// parameter value changes nothing, a value outside 0..1 counts as the nearer
// end, a rate outside kQ38MinSampleRate..kQ38MaxSampleRate is refused and the
// engine keeps the rate it had. Input samples that are not finite, or beyond
// +-kQ38InputSampleLimit, are silence for the model.

#if defined(_WIN32)
#define Q38_API __declspec(dllexport)
#else
#define Q38_API __attribute__((visibility("default")))
#endif

constexpr int kQ38MaxBufferSize = 32;
constexpr int kQ38MaxNumChannels = 2;
// The sample rates the model is designed and tested for, in Hz.
constexpr int kQ38MinSampleRate = 8000;
constexpr int kQ38MaxSampleRate = 384000;
// +60 dBFS: no real signal comes near it; a sample beyond it is corrupt data.
constexpr float kQ38InputSampleLimit = 1000.0f;

enum Q38ParameterIds : int
{
    kEnableEffect = 0,
    kStereoLink,
    kStereoMode,
    kCh1PhaseReverse,
    kCh2PhaseReverse,
    kCh1InputGain,
    kCh2InputGain,
    kCh1HighPassFreq,
    kCh2HighPassFreq,
    kCh1EqHighToneGain,
    kCh2EqHighToneGain,
    kCh1EqLowToneGain,
    kCh2EqLowToneGain,
    kCh1EnableEq,
    kCh2EnableEq,
    kCh1OutputTrim,
    kCh2OutputTrim,
    kNumParameters
};

enum Q38MeterIds : int
{
    kCh1Meter = 0,
    kCh2Meter,
    kNumMeters
};

// The order of these operations is the binary interface towards the host.
class Q38Engine
{
public:
    // Defined here, so that a host may wrap or mock the interface.
    virtual ~Q38Engine() {}
    // Writes the default of every parameter; computes nothing.
    virtual void resetParameters() = 0;
    // Resets all audio state and redesigns every filter for the rate. Until
    // the first supported rate, process passes its input through and the
    // meters read 0.
    virtual void setSampleRate(int inSampleRate) = 0;
    virtual void setParameter(int inParameterId, float inNormalizedValue) = 0;
    virtual float getParameterValue(int inParameterId) = 0;
    // Text queries copy like strncpy: at most inMaxLength bytes, zero-filled,
    // unterminated when the text is that long or longer.
    virtual void getParameterUnit(int inParameterId, char* outText, int inMaxLength) = 0;
    virtual float getPhysicalValue(int inParameterId, float inNormalizedValue) = 0;
    virtual float getPhysicalValue(int inParameterId) = 0;
    virtual void getValueText(int inParameterId, float inNormalizedValue, char* outText, int inMaxLength) = 0;
    virtual void getValueText(int inParameterId, char* outText, int inMaxLength) = 0;
    virtual void getParameterName(int inParameterId, char* outText, int inMaxLength) = 0;
    // One block of 1..kQ38MaxBufferSize samples on 1 or 2 channels; inputs and
    // outputs may be the same arrays.
    virtual void process(const float* const* inInputs, float* const* inOutputs, int inNumChannels,
                         int inNumSamples) = 0;
    // 0..1 reading of the block peak at each channel's amplifier output.
    virtual float getMeterValue(int inMeterId) = 0;
};

extern "C" Q38_API Q38Engine* createQ38Engine();
