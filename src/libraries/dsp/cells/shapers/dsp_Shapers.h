#pragma once

// Memoryless curves of the tube model: hard clip limits, the soft-knee shaper
// and the rational tanh shaper, with their design functions. The per-sample
// evaluations are inline: they sit inside the model's sample loops.

#include <cmath>

namespace dsp {

// Linear sample limits; an absent side is infinite.
struct ClipLimits
{
    double mUpper;
    double mLower;
};

// Identity below the knee, a line of slope mSlope above it, and a parabola
// between them meeting both with equal value and slope.
struct SoftKneeShaper
{
    double mPreGain;
    double mPostGain;
    double mSlope;
    double mOffset;
    double mKneeLow;
    double mKneeHigh;
    double mKneeA;
    double mKneeB;
    double mKneeC;
};

// (o / curvature) * P(curvature * g * x) with P(y) = y (27 + y^2) / (27 + 9 y^2),
// clamped at its ceiling where P reaches 1.
struct RationalTanhShaper
{
    double mCubic;
    double mLinear;
    double mDenominator;
    double mLimit;
};

// mUpper = 10^(upperDb/20) or +inf; mLower = -10^(lowerDb/20) or -inf.
void designClipLimits(ClipLimits& outLimits, double inLowerDb, double inUpperDb, bool inHasLower, bool inHasUpper);
// The vector threshold with each limit as both level and value.
void clip(const double* inSamples, double* outSamples, int inNumSamples, const ClipLimits& inLimits);

// One sample of clip: the same comparisons as the vector threshold, so a NaN becomes mUpper.
inline double clipSample(double inValue, const ClipLimits& inLimits)
{
    if (inValue < inLimits.mLower)
        return inLimits.mLower;
    if (inValue <= inLimits.mUpper)
        return inValue;
    return inLimits.mUpper;
}

void designSoftKneeShaper(SoftKneeShaper& outShaper, double inThresholdDb, double inSlope, double inKnee,
                          double inPreGainDb, double inPostGainDb);

// The full form, with the pre and post gains.
inline double evaluateSoftKneeShaper(const SoftKneeShaper& inShaper, double inValue)
{
    const double sign = inValue != 0.0 ? std::copysign(1.0, inValue) : 0.0;
    const double a = sign * inValue * inShaper.mPreGain;
    if (a <= inShaper.mKneeLow)
        return inShaper.mPreGain * inShaper.mPostGain * inValue;
    if (a <= inShaper.mKneeHigh)
        return ((a * inShaper.mKneeA + inShaper.mKneeB) * a + inShaper.mKneeC) * sign * inShaper.mPostGain;
    return (a * inShaper.mSlope + inShaper.mOffset) * sign * inShaper.mPostGain;
}

// The form that ignores both gains (they are 0 dB wherever it is used).
inline double evaluateSoftKneeShaperUnity(const SoftKneeShaper& inShaper, double inValue)
{
    const double sign = inValue != 0.0 ? std::copysign(1.0, inValue) : 0.0;
    const double a = sign * inValue;
    if (a <= inShaper.mKneeLow)
        return inValue;
    if (a <= inShaper.mKneeHigh)
        return ((a * inShaper.mKneeA + inShaper.mKneeB) * a + inShaper.mKneeC) * sign;
    return (a * inShaper.mSlope + inShaper.mOffset) * sign;
}

void designRationalTanhShaper(RationalTanhShaper& outShaper, double inCurvature, double inInputGainDb,
                              double inOutputGainDb);

inline double evaluateRationalTanhShaper(const RationalTanhShaper& inShaper, double inValue)
{
    const double x = inValue;
    double y = (x * x * x * inShaper.mCubic + x * inShaper.mLinear) / (x * x + inShaper.mDenominator);
    if (y < -inShaper.mLimit)
        y = -inShaper.mLimit;
    if (y > inShaper.mLimit)
        y = inShaper.mLimit;
    return y;
}

void processRationalTanhShaper(const double* inSamples, double* outSamples, int inNumSamples,
                               const RationalTanhShaper& inShaper);

// 1 - exp((1 / fs) * (-1000 / timeMs)): a one-pole smoothing coefficient.
double onePoleCoefficient(double inTimeMs, double inSampleRate);

} // namespace dsp
