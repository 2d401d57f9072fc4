#pragma once

// The LV2 view of the engine's parameters: one control port per parameter,
// described in the units a host shows best (physical values for the
// continuous parameters, toggles and enumerations for the switches), and the
// exact way back from a port value to the engine's normalized value.
//
// Both the Turtle generator and the plugin build this table from the
// engine's own queries, so the description a host reads and the conversion
// the plugin applies cannot drift apart from the engine.

#include "Q38Engine.h"

namespace lv2 {

inline constexpr const char* kStereoPluginUri = "urn:q38:preamp:stereo";
inline constexpr const char* kMonoPluginUri = "urn:q38:preamp:mono";

// Port layout, the same in both plugins: one control input per parameter at
// the parameter's id, the meters after them, then the audio inputs and the
// audio outputs.
inline constexpr int kFirstMeterPort = kNumParameters;
inline constexpr int kFirstAudioPort = kFirstMeterPort + static_cast<int>(kNumMeters);

// Port symbols are what hosts store in sessions and presets: never rename.
inline constexpr const char* kParameterSymbols[kNumParameters] = {
    "enable",          "stereo_link",     "stereo_mode",   "ch1_phase_reverse", "ch2_phase_reverse",
    "ch1_input_gain",  "ch2_input_gain",  "ch1_highpass",  "ch2_highpass",      "ch1_high_tone",
    "ch2_high_tone",   "ch1_low_tone",    "ch2_low_tone",  "ch1_enable_eq",     "ch2_enable_eq",
    "ch1_output_trim", "ch2_output_trim",
};
inline constexpr const char* kMeterSymbols[kNumMeters] = {"ch1_meter", "ch2_meter"};
inline constexpr const char* kMeterNames[kNumMeters] = {"Ch.1: Meter", "Ch.2: Meter"};

// The oversampling control and the latency output come after the audio
// ports, so that every port older than them keeps its index. Both are
// optional: unconnected, the plugin runs at 1x and reports nothing.
inline constexpr int oversamplingPort(int inNumChannels)
{
    return kFirstAudioPort + 2 * inNumChannels;
}
inline constexpr int latencyPort(int inNumChannels)
{
    return oversamplingPort(inNumChannels) + 1;
}
inline constexpr const char* kOversamplingSymbol = "oversampling";
inline constexpr const char* kOversamplingName = "Oversampling";
inline constexpr const char* kLatencySymbol = "latency";
inline constexpr const char* kLatencyName = "Latency";

// The factor for the oversampling port's value: the largest of 1, 2, 4, 8
// not above it, 1 for NaN. Real-time safe.
int oversamplingFactor(float inPortValue);

enum class PortKind
{
    kContinuous,   // physical value with a unit, an affine map of the normalized value
    kToggle,       // two display texts; port values 0 and 1
    kEnumeration,  // more than two display texts; port value is the state index
};

inline constexpr int kMaxNumStates = 8;
inline constexpr int kMaxTextLength = 64;

struct ParameterPort
{
    PortKind mKind;
    char mName[kMaxTextLength];
    char mUnit[kMaxTextLength];
    float mDefaultNormalized;
    // In port units: physical values, or state indices for the switches.
    float mMinimum;
    float mMaximum;
    float mDefault;
    // Continuous: physical = normalized * mScale + mOffset.
    float mOffset;
    float mScale;
    // Switches: the normalized value that selects each state, and its text.
    int mNumStates;
    float mStateValues[kMaxNumStates];
    char mStateTexts[kMaxNumStates][kMaxTextLength];
};

// Fills outPort from the engine's queries on a freshly created engine (the
// stored values are taken as the defaults). Returns nullptr on success, or
// the reason why the parameter fits none of the port kinds.
const char* describeParameter(Q38Engine& inEngine, int inParameterId, ParameterPort& outPort);

// The normalized value for a port value, as the engine maps it; any port
// value, NaN included, gives a value in 0..1. Real-time safe.
float portToNormalized(const ParameterPort& inPort, float inPortValue);

} // namespace lv2
