#pragma once

// Support for the matched-design tests: the distance in dB between a digital
// section and its analog target, and the closing checks.

#include "dsp/filter_design/dsp_IIRToolsImpl.h"
#include "dsp/filter_design/dsp_MatchPoints.h"

#include <algorithm>
#include <cmath>

namespace q38test {

inline double deviationDb(const double* inDigital, const double* inAnalog, double inFrequency, double inFs)
{
    return std::fabs(10.0 * std::log10(dsp::digitalSquaredMagnitudeOrder2(inDigital, inFrequency, inFs) /
                                       dsp::squaredMagnitudeOrder2(inAnalog, dsp::kTwoPi * inFrequency)));
}

// Largest deviation from 20 Hz to min(20 kHz, 0.45 fs).
inline double largestDeviationDb(const double* inDigital, const double* inAnalog, double inFs)
{
    const double top = std::min(20000.0, 0.45 * inFs);
    double largest = 0.0;
    for (int i = 0; i <= 48; ++i)
        largest = std::max(largest, deviationDb(inDigital, inAnalog, 20.0 * std::pow(top / 20.0, i / 48.0), inFs));
    return largest;
}

// Largest deviation at the design's own match frequencies below Nyquist.
inline double matchDeviationDb(const double* inDigital, const double* inAnalog, double inFs,
                               const dsp::MatchPoints& inPoints)
{
    double largest = 0.0;
    for (int i = 0; i < inPoints.mCount; ++i)
        if (inPoints.mFrequencies[i] < dsp::kTwoPi * 0.5 * inFs)
            largest = std::max(largest, deviationDb(inDigital, inAnalog, inPoints.mFrequencies[i] / dsp::kTwoPi, inFs));
    return largest;
}

inline bool isSoundSection(const double* inDigital, double inTolerance)
{
    return dsp::checkBuffer(inDigital, 6) && dsp::DigitalIIRTools<2>::isAlmostStable(inDigital, inTolerance) &&
           dsp::DigitalIIRTools<2>::isAlmostMinimumPhase(inDigital, inTolerance);
}

inline double dcGainDb(const double* c)
{
    return 20.0 * std::log10(std::fabs((c[0] + c[1] + c[2]) / (c[3] + c[4] + c[5])));
}

} // namespace q38test
