#include "dsp_Shapers.h"

#include "core/core_Assert.h"
#include "dsp/filter_design/dsp_IIRToolsImpl.h"
#include "vector/vector_Primitives.h"

#include <algorithm>
#include <limits>

namespace dsp {

void designClipLimits(ClipLimits& outLimits, double inLowerDb, double inUpperDb, bool inHasLower, bool inHasUpper)
{
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    outLimits.mUpper = inHasUpper ? decibelsToGain(inUpperDb) : kInfinity;
    outLimits.mLower = inHasLower ? -decibelsToGain(inLowerDb) : -kInfinity;
}

void clip(const double* inSamples, double* outSamples, int inNumSamples, const ClipLimits& inLimits)
{
    vectorThreshold(inSamples, outSamples, inNumSamples, inLimits.mLower, inLimits.mLower, inLimits.mUpper,
                    inLimits.mUpper);
}

void designSoftKneeShaper(SoftKneeShaper& outShaper, double inThresholdDb, double inSlope, double inKnee,
                          double inPreGainDb, double inPostGainDb)
{
    const double threshold = decibelsToGain(inThresholdDb);
    outShaper.mPreGain = decibelsToGain(inPreGainDb);
    outShaper.mPostGain = decibelsToGain(inPostGainDb);
    // The upper line passes through (threshold, threshold).
    outShaper.mOffset = (1.0 - inSlope) * threshold;
    outShaper.mKneeLow = std::max(threshold - threshold * inKnee, 0.0);
    // Symmetrical around the threshold, also when the low end is held at 0.
    outShaper.mKneeHigh = std::min(2.0 * threshold - outShaper.mKneeLow, threshold + threshold * inKnee);
    Q38_ASSERT(core::kAssertionLibrary, outShaper.mKneeHigh - outShaper.mKneeLow > 0.0);
    outShaper.mKneeA = (0.5 / (outShaper.mKneeHigh - outShaper.mKneeLow)) * (inSlope - 1.0);
    outShaper.mKneeB = 1.0 - 2.0 * outShaper.mKneeA * outShaper.mKneeLow;
    outShaper.mKneeC = ((1.0 - outShaper.mKneeB) - outShaper.mKneeLow * outShaper.mKneeA) * outShaper.mKneeLow;
    outShaper.mSlope = inSlope;
}

void designRationalTanhShaper(RationalTanhShaper& outShaper, double inCurvature, double inInputGainDb,
                              double inOutputGainDb)
{
    const double inputGain = decibelsToGain(inInputGainDb);
    const double outputGain = decibelsToGain(inOutputGainDb);
    if (inCurvature == 0.0) {
        outShaper.mCubic = outputGain * inputGain;
        outShaper.mDenominator = 0.0;
        outShaper.mLinear = 0.0;
        outShaper.mLimit = std::numeric_limits<double>::infinity();
        return;
    }
    const double u = inputGain * inCurvature;
    outShaper.mCubic = (outputGain / inCurvature) * u * (1.0 / 9.0);
    outShaper.mDenominator = 3.0 / (u * u);
    outShaper.mLinear = outShaper.mCubic * 9.0 * outShaper.mDenominator;
    // P has its horizontal tangent at 3, where it is exactly 1: the clamp joins without a corner.
    outShaper.mLimit = outShaper.mCubic * 3.0 * std::sqrt(outShaper.mDenominator * 3.0);
}

void processRationalTanhShaper(const double* inSamples, double* outSamples, int inNumSamples,
                               const RationalTanhShaper& inShaper)
{
    for (int i = 0; i < inNumSamples; ++i)
        outSamples[i] = evaluateRationalTanhShaper(inShaper, inSamples[i]);
}

double onePoleCoefficient(double inTimeMs, double inSampleRate)
{
    return 1.0 - std::exp((1.0 / inSampleRate) * (-1000.0 / inTimeMs));
}

} // namespace dsp
