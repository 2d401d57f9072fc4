#include "dsp_Shapers.h"

namespace dsp {

// Placeholders until the shapers land.
void designClipLimits(ClipLimits& outLimits, double, double, bool, bool)
{
    outLimits.mUpper = 1.0e300;
    outLimits.mLower = -1.0e300;
}

void clip(const double* inSamples, double* outSamples, int inNumSamples, const ClipLimits&)
{
    for (int i = 0; i < inNumSamples; ++i)
        outSamples[i] = inSamples[i];
}

void designSoftKneeShaper(SoftKneeShaper& outShaper, double, double, double, double, double)
{
    outShaper = SoftKneeShaper{1.0, 1.0, 1.0, 0.0, 1.0e300, 1.0e300, 0.0, 1.0, 0.0};
}

double evaluateSoftKneeShaper(const SoftKneeShaper&, double inValue)
{
    return inValue;
}

double evaluateSoftKneeShaperUnity(const SoftKneeShaper&, double inValue)
{
    return inValue;
}

void designRationalTanhShaper(RationalTanhShaper& outShaper, double, double, double)
{
    outShaper = RationalTanhShaper{0.0, 1.0, 1.0, 1.0e300};
}

void processRationalTanhShaper(const double* inSamples, double* outSamples, int inNumSamples,
                               const RationalTanhShaper&)
{
    for (int i = 0; i < inNumSamples; ++i)
        outSamples[i] = inSamples[i];
}

double onePoleCoefficient(double, double)
{
    return 1.0;
}

} // namespace dsp
