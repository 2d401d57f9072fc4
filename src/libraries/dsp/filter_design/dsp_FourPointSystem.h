#pragma once

// The linear system behind a four-point match of a second-order power
// response with a known DC power p:
//
//     M(u) = (a u^2 + b u + p f) / (u^2 + e u + f)
//
// Each point (u, m) gives a u^2 + b u - m u e + (p - m) f = m u^2. Dividing
// by u and subtracting the last point's row removes b, which leaves three
// rows in (a, e, f); Cramer's rule on those is written out below.

namespace dsp {

struct FourPointSystem
{
    // Row i: mA[i] a + mE[i] e + mF[i] f = mRight[i].
    double mA[3], mE[3], mF[3], mRight[3];
    double mDeterminant;
};

inline FourPointSystem reduceFourPoints(const double* inU, const double* inM, double inDcPower)
{
    FourPointSystem s;
    const double u4 = inU[3], m4 = inM[3];
    const double f4 = (inDcPower - m4) / u4;
    const double r4 = m4 * u4;
    for (int i = 0; i < 3; ++i) {
        s.mA[i] = inU[i] - u4;
        s.mE[i] = m4 - inM[i];
        s.mF[i] = (inDcPower - inM[i]) / inU[i] - f4;
        s.mRight[i] = inM[i] * inU[i] - r4;
    }
    s.mDeterminant = s.mA[0] * (s.mE[1] * s.mF[2] - s.mE[2] * s.mF[1]) -
                     s.mE[0] * (s.mA[1] * s.mF[2] - s.mA[2] * s.mF[1]) +
                     s.mF[0] * (s.mA[1] * s.mE[2] - s.mA[2] * s.mE[1]);
    return s;
}

// f, the square of the denominator's constant term.
inline double fourPointConstant(const FourPointSystem& s)
{
    const double numerator = s.mA[0] * (s.mE[1] * s.mRight[2] - s.mE[2] * s.mRight[1]) -
                             s.mE[0] * (s.mA[1] * s.mRight[2] - s.mA[2] * s.mRight[1]) +
                             s.mRight[0] * (s.mA[1] * s.mE[2] - s.mA[2] * s.mE[1]);
    return numerator / s.mDeterminant;
}

// a, the numerator's leading term, from the first two rows once f is fixed.
inline double fourPointLeading(const FourPointSystem& s, double inF)
{
    const double right0 = s.mRight[0] - s.mF[0] * inF;
    const double right1 = s.mRight[1] - s.mF[1] * inF;
    return (right0 * s.mE[1] - right1 * s.mE[0]) / (s.mA[0] * s.mE[1] - s.mA[1] * s.mE[0]);
}

} // namespace dsp
