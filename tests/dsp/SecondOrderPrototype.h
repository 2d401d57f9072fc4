#pragma once

// A prototype (t s^2 + c s + z) / (s^2 + d s + w), evaluated from its complex
// response: the independent truth the solver tests match against.

#include <cmath>

namespace q38test {

struct SecondOrderPrototype
{
    double mT, mC, mZ, mD, mW;

    double power(double inU) const
    {
        const double w = std::sqrt(inU);
        const double nRe = mZ - mT * inU, nIm = mC * w, dRe = mW - inU, dIm = mD * w;
        return (nRe * nRe + nIm * nIm) / (dRe * dRe + dIm * dIm);
    }

    // Both roots u (ascending) of d|H|^2/du = 0.
    void extrema(double* outLow, double* outHigh) const
    {
        const double a = mT * mT, b = mC * mC - 2.0 * mT * mZ, c = mZ * mZ, e = mD * mD - 2.0 * mW, f = mW * mW;
        const double qa = a * e - b, qb = 2.0 * (a * f - c), qc = b * f - c * e;
        const double r = std::sqrt(qb * qb - 4.0 * qa * qc);
        const double first = (-qb - r) / (2.0 * qa), second = (-qb + r) / (2.0 * qa);
        *outLow = std::fmin(first, second);
        *outHigh = std::fmax(first, second);
    }
};

// z = w throughout. A low-pass with a residual top and a shelf with a dip and a peak.
constexpr SecondOrderPrototype kLowPassWithTop{0.3, 700.0, 4.0e6, 1500.0, 4.0e6};
constexpr SecondOrderPrototype kResonantLowPass{0.1, 100.0, 4.0e6, 800.0, 4.0e6};
constexpr SecondOrderPrototype kResonantShelf{2.0, 707.1067811865476, 1.0e6, 500.0, 1.0e6};

} // namespace q38test
