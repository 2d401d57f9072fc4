#pragma once

// A second-order prototype (t s^2 + c s + z) / (s^2 + d s + w) evaluated from its
// own coefficients: the independent truth that the solver tests match against.

#include <cmath>

namespace q38test {

struct SecondOrderPrototype
{
    double mT, mC, mZ, mD, mW;

    double cSq() const { return mC * mC; }
    double dSq() const { return mD * mD; }

    // |H(j sqrt(u))|^2 from the complex response, not from the solvers' expansion.
    double power(double inU) const
    {
        const double w = std::sqrt(inU);
        const double numRe = mZ - mT * inU, numIm = mC * w;
        const double denRe = mW - inU, denIm = mD * w;
        return (numRe * numRe + numIm * numIm) / (denRe * denRe + denIm * denIm);
    }

    // The frequencies u (ascending) where d|H|^2/du = 0; returns how many are positive.
    int extrema(double* outLow, double* outHigh) const
    {
        const double a = mT * mT, b = mC * mC - 2.0 * mT * mZ, c = mZ * mZ;
        const double e = mD * mD - 2.0 * mW, f = mW * mW;
        const double qa = a * e - b, qb = 2.0 * (a * f - c), qc = b * f - c * e;
        const double disc = qb * qb - 4.0 * qa * qc;
        if (disc < 0.0)
            return 0;
        const double r1 = (-qb - std::sqrt(disc)) / (2.0 * qa);
        const double r2 = (-qb + std::sqrt(disc)) / (2.0 * qa);
        const double lo = std::fmin(r1, r2), hi = std::fmax(r1, r2);
        if (lo > 0.0) {
            *outLow = lo;
            *outHigh = hi;
            return 2;
        }
        *outLow = hi;
        *outHigh = hi;
        return hi > 0.0 ? 1 : 0;
    }

    // The u other than 0 and infinity where |H|^2 = 1, for z = w: (N^2 - 1) u = e - b.
    double unitCrossing() const
    {
        const double b = mC * mC - 2.0 * mT * mZ, e = mD * mD - 2.0 * mW;
        return (e - b) / (mT * mT - 1.0);
    }
};

} // namespace q38test
