#pragma once

namespace dsp {

// Where a matched design made its digital filter equal to the analog target:
// the match frequencies in rad/s, extrema first. A count of 0 means that no
// match was made (plain transform of the target, or a flat section).
struct MatchPoints
{
    int mCount;
    double mFrequencies[4];
};

} // namespace dsp
