#pragma once

// The parameter table the host sees: defaults, names, units, physical values
// and display texts. All lookups are constant data; nothing here changes at
// run time.

#include "Q38Engine.h"

namespace q38 {

// What construction and resetParameters write, indexed by Q38ParameterIds.
extern const float kParameterDefaults[kNumParameters];

// Ids are compared as unsigned so that a negative id is out of range too.
constexpr bool isValidParameterId(int inParameterId)
{
    return static_cast<unsigned>(inParameterId) < static_cast<unsigned>(kNumParameters);
}

// 1 strictly above 0.5, else 0 (NaN counts as off).
constexpr int switchIndex(float inNormalizedValue)
{
    return inNormalizedValue > 0.5f ? 1 : 0;
}

// The high-pass position: v * 4 in float, truncated towards zero, held at 3.
// A value below -0.25 (or NaN) gives -1, which names no position.
constexpr int fourWayIndex(float inNormalizedValue)
{
    const float scaled = inNormalizedValue * 4.0f;
    if (scaled >= 3.0f)
        return 3;
    if (scaled > -1.0f)
        return static_cast<int>(scaled);
    return -1;
}

// For a valid id.
const char* parameterName(int inParameterId);

// For any id; the empty text where there is no unit.
const char* parameterUnit(int inParameterId);

// Single-precision mapping of a normalized value; 0 for parameters without a
// physical value and for unknown ids. Out-of-range values extrapolate.
float physicalValue(int inParameterId, float inNormalizedValue);

// The switch texts; the empty text for continuous parameters, unknown ids and
// values that name no position.
const char* valueText(int inParameterId, float inNormalizedValue);

} // namespace q38
