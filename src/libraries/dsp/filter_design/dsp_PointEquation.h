#pragma once

// The point equation of a second-order prototype, M(u) = m:
//     m ((u - w)^2 + dSq u) = (t u - z)^2 + cSq u,
// solved for one of cSq and dSq once the other and t, z, w are known.

namespace dsp {

inline double pointEquationCSq(double inU, double inM, double inT, double inZ, double inW, double inDSq)
{
    const double uw = inU - inW;
    const double tz = inT * inU - inZ;
    return (inM * (uw * uw + inDSq * inU) - tz * tz) / inU;
}

inline double pointEquationDSq(double inU, double inM, double inT, double inZ, double inW, double inCSq)
{
    const double uw = inU - inW;
    const double tz = inT * inU - inZ;
    return ((inCSq * inU + tz * tz) / inM - uw * uw) / inU;
}

} // namespace dsp
