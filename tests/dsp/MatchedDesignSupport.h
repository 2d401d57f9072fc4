#pragma once

// Test support for the matched second-order designs: a capturing notice handler
// and the distance in dB between a digital section and its analog target.

#include "core/core_Assert.h"
#include "dsp/filter_design/dsp_IIRToolsImpl.h"
#include "dsp/filter_design/dsp_MatchPoints.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

namespace q38test {

// Collects the reports of failed checks while alive; restores the previous handler.
class NoticeCapture
{
public:
    NoticeCapture()
        : mPrevious(core::setNoticeHandler([this](const core::AssertionNotice& inNotice) {
              mReports.push_back(inNotice.mReport);
          }))
    {
    }
    ~NoticeCapture() { core::setNoticeHandler(mPrevious); }
    NoticeCapture(const NoticeCapture&) = delete;
    NoticeCapture& operator=(const NoticeCapture&) = delete;

    const std::vector<std::string>& reports() const { return mReports; }

private:
    std::vector<std::string> mReports;
    core::NoticeHandler mPrevious;
};

inline double powerDb(double inPower)
{
    return 10.0 * std::log10(inPower);
}

// |digital - analog| in dB at a frequency in Hz.
inline double deviationDb(const double* inCoefficients, const double* inAnalog, double inFrequency,
                          double inSampleRate)
{
    const double digital = dsp::digitalSquaredMagnitudeOrder2(inCoefficients, inFrequency, inSampleRate);
    const double analog = dsp::squaredMagnitudeOrder2(inAnalog, dsp::kTwoPi * inFrequency);
    return std::fabs(powerDb(digital) - powerDb(analog));
}

// Largest deviation on a logarithmic grid from 20 Hz to min(20 kHz, 0.45 fs).
inline double largestDeviationDb(const double* inCoefficients, const double* inAnalog, double inSampleRate)
{
    const double top = std::min(20000.0, 0.45 * inSampleRate);
    constexpr int kSteps = 48;
    double largest = 0.0;
    for (int i = 0; i <= kSteps; ++i) {
        const double frequency = 20.0 * std::pow(top / 20.0, static_cast<double>(i) / kSteps);
        largest = std::max(largest, deviationDb(inCoefficients, inAnalog, frequency, inSampleRate));
    }
    return largest;
}

// Largest deviation at the design's own match frequencies below Nyquist.
inline double matchDeviationDb(const double* inCoefficients, const double* inAnalog, double inSampleRate,
                               const dsp::MatchPoints& inPoints)
{
    double largest = 0.0;
    for (int i = 0; i < inPoints.mCount; ++i) {
        const double frequency = inPoints.mFrequencies[i] / dsp::kTwoPi;
        if (frequency < 0.5 * inSampleRate)
            largest = std::max(largest, deviationDb(inCoefficients, inAnalog, frequency, inSampleRate));
    }
    return largest;
}

inline bool isSoundSection(const double* inCoefficients, double inTolerance)
{
    return dsp::checkBuffer(inCoefficients, 6) &&
           dsp::DigitalIIRTools<2>::isAlmostStable(inCoefficients, inTolerance) &&
           dsp::DigitalIIRTools<2>::isAlmostMinimumPhase(inCoefficients, inTolerance);
}

} // namespace q38test
