#include "lv2_PortTable.h"

#include "host_OversampledEngine.h"

#include <cmath>
#include <cstring>
#include <initializer_list>

namespace lv2 {

namespace {

// The switches are found by scanning the display texts on a grid fine enough
// for any sensible number of states; k / kScanSteps is exact in float.
constexpr int kScanSteps = 1024;

void readText(char (&outText)[kMaxTextLength], const char (&inSource)[kMaxTextLength])
{
    std::memcpy(outText, inSource, kMaxTextLength);
    outText[kMaxTextLength - 1] = '\0';
}

void valueText(Q38Engine& inEngine, int inParameterId, float inNormalizedValue, char (&outText)[kMaxTextLength])
{
    // The engine copies like strncpy: the last byte stays our terminator.
    std::memset(outText, 0, sizeof(outText));
    inEngine.getValueText(inParameterId, inNormalizedValue, outText, kMaxTextLength - 1);
}

const char* describeSwitch(Q38Engine& inEngine, int inParameterId, ParameterPort& ioPort)
{
    ioPort.mNumStates = 0;
    char text[kMaxTextLength];
    for (int k = 0; k <= kScanSteps; ++k) {
        valueText(inEngine, inParameterId, static_cast<float>(k) / kScanSteps, text);
        const int last = ioPort.mNumStates - 1;
        if (last >= 0 && std::strcmp(text, ioPort.mStateTexts[last]) == 0)
            continue;
        if (text[0] == '\0')
            return "a parameter without a unit has an empty display text";
        for (int s = 0; s < ioPort.mNumStates; ++s)
            if (std::strcmp(text, ioPort.mStateTexts[s]) == 0)
                return "a display text names two separate ranges of values";
        if (ioPort.mNumStates == kMaxNumStates)
            return "too many display texts for a switch";
        readText(ioPort.mStateTexts[ioPort.mNumStates], text);
        ++ioPort.mNumStates;
    }
    if (ioPort.mNumStates < 2)
        return "a parameter without a unit has a single display text";

    // A toggle is off at 0 and on at 1. The states of a longer switch are
    // equal slices of 0..1 and each is selected by its slice's lower end,
    // which the engine's truncation maps exactly; the texts confirm it.
    const int numStates = ioPort.mNumStates;
    ioPort.mKind = numStates == 2 ? PortKind::kToggle : PortKind::kEnumeration;
    for (int s = 0; s < numStates; ++s) {
        ioPort.mStateValues[s] = ioPort.mKind == PortKind::kToggle ? static_cast<float>(s)
                                                                  : static_cast<float>(s) / static_cast<float>(numStates);
        valueText(inEngine, inParameterId, ioPort.mStateValues[s], text);
        if (std::strcmp(text, ioPort.mStateTexts[s]) != 0)
            return "a switch state is not selected by the value chosen for it";
    }

    valueText(inEngine, inParameterId, ioPort.mDefaultNormalized, text);
    int defaultState = -1;
    for (int s = 0; s < numStates; ++s)
        if (std::strcmp(text, ioPort.mStateTexts[s]) == 0)
            defaultState = s;
    if (defaultState < 0 || ioPort.mStateValues[defaultState] != ioPort.mDefaultNormalized)
        return "the default of a switch is not the value chosen for its state";

    ioPort.mMinimum = 0.0f;
    ioPort.mMaximum = static_cast<float>(numStates - 1);
    ioPort.mDefault = static_cast<float>(defaultState);
    ioPort.mOffset = 0.0f;
    ioPort.mScale = 0.0f;
    return nullptr;
}

// The engine's own arithmetic: one float multiply, one float add.
float physicalValue(const ParameterPort& inPort, float inNormalizedValue)
{
    const float scaled = inNormalizedValue * inPort.mScale;
    return scaled + inPort.mOffset;
}

} // namespace

const char* describeParameter(Q38Engine& inEngine, int inParameterId, ParameterPort& outPort)
{
    outPort = ParameterPort{};
    char text[kMaxTextLength] = {};
    inEngine.getParameterName(inParameterId, text, kMaxTextLength - 1);
    readText(outPort.mName, text);
    if (outPort.mName[0] == '\0')
        return "the parameter has no name";
    std::memset(text, 0, sizeof(text));
    inEngine.getParameterUnit(inParameterId, text, kMaxTextLength - 1);
    readText(outPort.mUnit, text);
    outPort.mDefaultNormalized = inEngine.getParameterValue(inParameterId);

    if (outPort.mUnit[0] == '\0')
        return describeSwitch(inEngine, inParameterId, outPort);

    // The engine's map is one float multiply and one float add, so its two
    // ends give the map exactly.
    const float atZero = inEngine.getPhysicalValue(inParameterId, 0.0f);
    const float atOne = inEngine.getPhysicalValue(inParameterId, 1.0f);
    if (!(atOne != atZero) || !std::isfinite(atOne - atZero))
        return "a parameter with a unit has no range of physical values";
    outPort.mKind = PortKind::kContinuous;
    outPort.mOffset = atZero;
    outPort.mScale = atOne - atZero;
    outPort.mMinimum = atZero < atOne ? atZero : atOne;
    outPort.mMaximum = atZero < atOne ? atOne : atZero;
    outPort.mDefault = inEngine.getPhysicalValue(inParameterId, outPort.mDefaultNormalized);
    return nullptr;
}

float portToNormalized(const ParameterPort& inPort, float inPortValue)
{
    switch (inPort.mKind) {
    case PortKind::kContinuous: {
        const double normalized =
            (static_cast<double>(inPortValue) - static_cast<double>(inPort.mOffset)) / static_cast<double>(inPort.mScale);
        if (!(normalized > 0.0))  // NaN too
            return 0.0f;
        if (!(normalized < 1.0))
            return 1.0f;
        // Of the float and its neighbours, take the one the engine maps
        // nearest to the port value, so that the engine shows what the host set.
        const float candidate = static_cast<float>(normalized);
        float best = candidate;
        float bestError = std::fabs(physicalValue(inPort, candidate) - inPortValue);
        for (const float neighbour : {std::nextafter(candidate, 0.0f), std::nextafter(candidate, 1.0f)}) {
            const float error = std::fabs(physicalValue(inPort, neighbour) - inPortValue);
            if (error < bestError) {
                best = neighbour;
                bestError = error;
            }
        }
        return best;
    }
    case PortKind::kToggle:
        // LV2 toggles are on above zero.
        return inPort.mStateValues[inPortValue > 0.0f ? 1 : 0];
    case PortKind::kEnumeration: {
        const float last = static_cast<float>(inPort.mNumStates - 1);
        if (!(inPortValue > 0.0f))
            return inPort.mStateValues[0];
        if (inPortValue >= last)
            return inPort.mStateValues[inPort.mNumStates - 1];
        return inPort.mStateValues[static_cast<int>(std::lround(inPortValue))];
    }
    }
    return 0.0f;
}

int oversamplingFactor(float inPortValue)
{
    int factor = 1;
    for (const int candidate : host::kOversamplingFactors)
        if (inPortValue >= static_cast<float>(candidate))
            factor = candidate;
    return factor;
}

} // namespace lv2
