#pragma once

// Memoryless curves of the tube model: hard clip limits, the soft-knee shaper
// and the rational tanh shaper, with their design functions.

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
void clip(const double* inSamples, double* outSamples, int inNumSamples, const ClipLimits& inLimits);

void designSoftKneeShaper(SoftKneeShaper& outShaper, double inThresholdDb, double inSlope, double inKnee,
                          double inPreGainDb, double inPostGainDb);
// The full form, with the pre and post gains.
double evaluateSoftKneeShaper(const SoftKneeShaper& inShaper, double inValue);
// The form that ignores both gains (they are 0 dB wherever it is used).
double evaluateSoftKneeShaperUnity(const SoftKneeShaper& inShaper, double inValue);

void designRationalTanhShaper(RationalTanhShaper& outShaper, double inCurvature, double inInputGainDb,
                              double inOutputGainDb);
void processRationalTanhShaper(const double* inSamples, double* outSamples, int inNumSamples,
                               const RationalTanhShaper& inShaper);

// 1 - exp((1 / fs) * (-1000 / timeMs)): a one-pole smoothing coefficient.
double onePoleCoefficient(double inTimeMs, double inSampleRate);

} // namespace dsp
