#pragma once

// Shared by the filter design tests: a second-order design beside its analog
// target, and known prototypes whose exact power the solvers must give back.

#include "dsp/filter_design/dsp_IIRToolsImpl.h"
#include "dsp/filter_design/dsp_MatchPoints.h"
#include "support/NoticeCapture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <complex>

namespace q38test {

using dsp::kTwoPi;

// c0 + c1 x + c2 x^2 at x = e^(-jw), expanded around the nearer of x = 1 and x = -1:
// roots close to either end keep the value's relative precision.
inline std::complex<double> onUnitCircle(double c0, double c1, double c2, double inW)
{
    const double s = std::sin(0.5 * inW), c = std::cos(0.5 * inW);
    if (inW <= 0.25 * dsp::kTwoPi) {
        const std::complex<double> d(-2.0 * s * s, -std::sin(inW));  // x - 1
        return (c0 + c1 + c2) + d * ((c1 + 2.0 * c2) + c2 * d);
    }
    const std::complex<double> d(2.0 * c * c, -std::sin(inW));  // x + 1
    return (c0 - c1 + c2) + d * ((c1 - 2.0 * c2) + c2 * d);
}

// Powers of second-order arrays (a first-order array padded into one): digital at w/fs,
// analog from the factored form ((B2 - B0 u)^2 + B1^2 u) / ((A2 - A0 u)^2 + A1^2 u).
inline double digitalPower(const double* c, double inW)
{
    return std::norm(onUnitCircle(c[0], c[1], c[2], inW) / onUnitCircle(c[3], c[4], c[5], inW));
}
inline double analogPower(const double* a, double inW)
{
    const double u = inW * inW, n = a[2] - a[0] * u, d = a[5] - a[3] * u;
    return (n * n + a[1] * a[1] * u) / (d * d + a[4] * a[4] * u);
}

// A design's digital section and target; powers are read at a frequency in Hz.
struct Section
{
    double mDigital[6], mAnalog[6], mFs;
    dsp::MatchPoints mPoints;

    double digital(double inHz) const { return digitalPower(mDigital, kTwoPi * inHz / mFs); }
    double target(double inHz) const { return analogPower(mAnalog, kTwoPi * inHz); }
    bool matches(double inHz, double inTolerance) const
    {
        return std::fabs(digital(inHz) - target(inHz)) <= inTolerance * target(inHz);
    }
    // The largest deviation in dB at the design's own match frequencies below Nyquist.
    double matchDeviationDb() const
    {
        double largest = 0.0;
        for (int i = 0; i < mPoints.mCount; ++i)
            if (mPoints.mFrequencies[i] < kTwoPi * 0.5 * mFs) {
                const double hz = mPoints.mFrequencies[i] / kTwoPi;
                largest = std::max(largest, std::fabs(10.0 * std::log10(digital(hz) / target(hz))));
            }
        return largest;
    }
    // The largest deviation in dB over 96 points spread in log from inLowHz to
    // inHighHz; powers more than 120 dB below the target's largest there count
    // as that floor. outPeak, when given, receives that largest power.
    double bandDeviationDb(double inLowHz, double inHighHz, double* outPeak = nullptr) const
    {
        double digital[96], target[96], peak = 0.0, largest = 0.0;
        for (int i = 0; i < 96; ++i) {
            const double hz = inLowHz * std::pow(inHighHz / inLowHz, i / 95.0);
            digital[i] = this->digital(hz);
            target[i] = this->target(hz);
            peak = std::max(peak, target[i]);
        }
        for (int i = 0; i < 96; ++i)
            largest = std::max(largest, std::fabs(10.0 * std::log10((digital[i] + 1e-12 * peak) /
                                                                    (target[i] + 1e-12 * peak))));
        if (outPeak != nullptr)
            *outPeak = peak;
        return largest;
    }
    bool sameDigital(const Section& inOther) const { return std::equal(mDigital, mDigital + 6, inOther.mDigital); }
};

template <typename Design>
Section designed(const typename Design::Params& inParams, double inFs)
{
    Section s{};
    s.mFs = inFs;
    if constexpr (requires { Design::design(inParams, s.mDigital, s.mAnalog, inFs, &s.mPoints); })
        Design::design(inParams, s.mDigital, s.mAnalog, inFs, &s.mPoints);
    else
        Design::design(inParams, s.mDigital, s.mAnalog, inFs);
    return s;
}

// Whether a section's digital array is, to inTolerance, the plain bilinear image (k = 2 fs) of its target.
inline bool isPlainImage(const Section& s, double inTolerance)
{
    double c[6];
    const double* a = s.mAnalog;
    dsp::bilinearOrder2(a[0], a[1], a[2], a[3], a[4], a[5], 2.0 * s.mFs, c);
    for (int i = 0; i < 6; ++i)
        if (!(std::fabs(s.mDigital[i] - c[i]) <= inTolerance))
            return false;
    return true;
}

inline bool isSound(const double* inDigital, double inTolerance)
{
    return dsp::checkBuffer(inDigital, 6) && dsp::DigitalIIRTools<2>::isAlmostStable(inDigital, inTolerance) &&
           dsp::DigitalIIRTools<2>::isAlmostMinimumPhase(inDigital, inTolerance);
}

inline double dcGainDb(const double* c)
{
    return 20.0 * std::log10(std::fabs((c[0] + c[1] + c[2]) / (c[3] + c[4] + c[5])));
}

// Where the stationary point of a power read at x - h, x, x + h lies, relative to x.
template <typename Power>
double vertexOffset(const Power& inPower, double inX)
{
    const double h = 1e-4 * inX, below = inPower(inX - h), at = inPower(inX), above = inPower(inX + h);
    return 0.5 * h * (below - above) / (below - 2.0 * at + above);
}

// (t s^2 + c s + z) / (s^2 + d s + w), with c and d held as squares.
struct Prototype
{
    double mT, mCSq, mZ, mDSq, mW;

    double power(double inU) const
    {
        const long double u = inU;
        return static_cast<double>(((mT * u - mZ) * (mT * u - mZ) + mCSq * u) / ((u - mW) * (u - mW) + mDSq * u));
    }
    // Both roots u of dM/du = 0, ascending.
    void extrema(double* outLow, double* outHigh) const
    {
        const long double a = mT * mT, b = mCSq - 2.0L * mT * mZ, c = 1.0L * mZ * mZ, e = mDSq - 2.0L * mW;
        const long double f = 1.0L * mW * mW, qa = a * e - b, qb = 2.0L * (a * f - c), qc = b * f - c * e;
        const long double r = std::sqrt(qb * qb - 4.0L * qa * qc);
        const long double x = (-qb - r) / (2.0L * qa), y = (-qb + r) / (2.0L * qa);
        *outLow = static_cast<double>(std::min(x, y));
        *outHigh = static_cast<double>(std::max(x, y));
    }
};

// z = w throughout. A low-pass with a residual top, a resonant one, and a shelf with a dip and a peak.
constexpr Prototype kLowPassWithTop{0.3, 700.0 * 700.0, 4.0e6, 1500.0 * 1500.0, 4.0e6};
constexpr Prototype kResonantLowPass{0.1, 100.0 * 100.0, 4.0e6, 800.0 * 800.0, 4.0e6};
constexpr Prototype kResonantShelf{2.0, 5.0e5, 1.0e6, 500.0 * 500.0, 1.0e6};

} // namespace q38test
