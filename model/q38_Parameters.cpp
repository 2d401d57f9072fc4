#include "q38_Parameters.h"

namespace q38 {

const float kParameterDefaults[kNumParameters] = {
    1.0f,  // kEnableEffect
    0.0f,  // kStereoLink
    0.0f,  // kStereoMode
    0.0f,  // kCh1PhaseReverse
    0.0f,  // kCh2PhaseReverse
    0.0f,  // kCh1InputGain
    0.0f,  // kCh2InputGain
    0.0f,  // kCh1HighPassFreq
    0.0f,  // kCh2HighPassFreq
    0.5f,  // kCh1EqHighToneGain
    0.5f,  // kCh2EqHighToneGain
    0.5f,  // kCh1EqLowToneGain
    0.5f,  // kCh2EqLowToneGain
    1.0f,  // kCh1EnableEq
    1.0f,  // kCh2EnableEq
    0.5f,  // kCh1OutputTrim
    0.5f,  // kCh2OutputTrim
};

namespace {

const char* const kParameterNames[kNumParameters] = {
    "Enable Effect",
    "Stereo Link",
    "Stereo Mode",
    "Ch.1: Phase Reverse",
    "Ch.2: Phase Reverse",
    "Ch.1: Input Gain",
    "Ch.2: Input Gain",
    "Ch.1: HighPass Freq",
    "Ch.2: HighPass Freq",
    "Ch.1: Eq High Tone Gain",
    "Ch.2: Eq High Tone Gain",
    "Ch.1: Eq Low Tone Gain",
    "Ch.2: Eq Low Tone Gain",
    "Ch.1: Enable Eq",
    "Ch.2: Enable Eq",
    "Ch.1: Output Trim",
    "Ch.2: Output Trim",
};

const char* const kOnOffTexts[2] = {"Off", "On"};
const char* const kLinkTexts[2] = {"Unlinked", "Linked"};
const char* const kStereoModeTexts[2] = {"L/R", "M/S"};
const char* const kPhaseTexts[2] = {"Normal", "Reversed"};
const char* const kHighPassTexts[4] = {"Bypassed", "80 Hz", "300 Hz", "80 + 300 Hz"};

const char* const kEmptyText = "";
const char* const kDecibelUnit = "dB";

} // namespace

const char* parameterName(int inParameterId)
{
    return kParameterNames[inParameterId];
}

const char* parameterUnit(int inParameterId)
{
    switch (inParameterId) {
    case kCh1InputGain:
    case kCh2InputGain:
    case kCh1EqHighToneGain:
    case kCh2EqHighToneGain:
    case kCh1EqLowToneGain:
    case kCh2EqLowToneGain:
    case kCh1OutputTrim:
    case kCh2OutputTrim:
        return kDecibelUnit;
    default:
        return kEmptyText;
    }
}

float physicalValue(int inParameterId, float inNormalizedValue)
{
    // One float multiply and one float add, as the host displays them.
    switch (inParameterId) {
    case kCh1InputGain:
    case kCh2InputGain:
        return inNormalizedValue * 73.0f + 3.0f;
    case kCh1EqHighToneGain:
    case kCh2EqHighToneGain:
    case kCh1EqLowToneGain:
    case kCh2EqLowToneGain:
        return inNormalizedValue * 20.0f - 10.0f;
    case kCh1OutputTrim:
    case kCh2OutputTrim:
        return inNormalizedValue * 48.0f - 24.0f;
    default:
        return 0.0f;
    }
}

const char* valueText(int inParameterId, float inNormalizedValue)
{
    switch (inParameterId) {
    case kEnableEffect:
    case kCh1EnableEq:
    case kCh2EnableEq:
        return kOnOffTexts[switchIndex(inNormalizedValue)];
    case kStereoLink:
        return kLinkTexts[switchIndex(inNormalizedValue)];
    case kStereoMode:
        return kStereoModeTexts[switchIndex(inNormalizedValue)];
    case kCh1PhaseReverse:
    case kCh2PhaseReverse:
        return kPhaseTexts[switchIndex(inNormalizedValue)];
    case kCh1HighPassFreq:
    case kCh2HighPassFreq: {
        const int index = fourWayIndex(inNormalizedValue);
        return index >= 0 ? kHighPassTexts[index] : kEmptyText;
    }
    default:
        return kEmptyText;
    }
}

} // namespace q38
