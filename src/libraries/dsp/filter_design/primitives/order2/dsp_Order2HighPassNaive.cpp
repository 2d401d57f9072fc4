#include "dsp_Order2HighPassNaive.h"

#include "core/core_Assert.h"
#include "dsp/filter_design/dsp_IIRToolsImpl.h"

#include <cmath>

namespace dsp {

void Order2HighPassNaive::designAnalog(const Params& inParams, double* outCoefficients)
{
    const double G = decibelsToGain(inParams.mGainDb);
    // Normalised at s^0: 1/W^2 from 1/(4 pi^2) and 1/W from 1/(2 pi).
    const double t = 1.0 / (inParams.mFrequency * inParams.mFrequency * 39.47841760435743);
    outCoefficients[0] = G * t;
    outCoefficients[1] = 0.0;
    outCoefficients[2] = 0.0;
    outCoefficients[3] = t;
    outCoefficients[4] = 0.15915494309189535 / (inParams.mFrequency * inParams.mQ);
    outCoefficients[5] = 1.0;
}

void Order2HighPassNaive::design(const Params& inParams, double* outCoefficients, double* outAnalogCoefficients,
                                 double inSampleRate)
{
    Q38_ASSERT(core::kAssertionLibrary, inSampleRate > 0);
    Q38_ASSERT(core::kAssertionLibrary, inParams.mFrequency < 0.5 * inSampleRate);

    constexpr double kPi = 3.141592653589793;
    Params warped = inParams;
    warped.mFrequency = std::tan(kPi * inParams.mFrequency / inSampleRate) * inSampleRate / kPi;
    double analog[kNumAnalogCoefficients];
    designAnalog(warped, analog);

    // Bilinear transform keeping the general denominator (its s^2 term is not 1).
    const double n2 = analog[0], n1 = analog[1], n0 = analog[2];
    const double d2 = analog[3], d1 = analog[4], d0 = analog[5];
    const double k = 2.0 * inSampleRate;
    const double kSq = k * k;
    const double norm = 1.0 / (d2 * kSq + d1 * k + d0);
    outCoefficients[0] = norm * (n2 * kSq + n1 * k + n0);
    outCoefficients[1] = 2.0 * norm * (n0 - n2 * kSq);
    outCoefficients[2] = norm * (n2 * kSq - n1 * k + n0);
    outCoefficients[3] = 1.0;
    outCoefficients[4] = 2.0 * norm * (d0 - d2 * kSq);
    outCoefficients[5] = norm * (d2 * kSq - d1 * k + d0);

    Q38_ASSERT(core::kAssertionLibrary, DigitalIIRTools<2>::isStable(outCoefficients));
    Q38_ASSERT(core::kAssertionLibrary, DigitalIIRTools<2>::isMinimumPhase(outCoefficients));

    designAnalog(inParams, outAnalogCoefficients);
}

void Order2HighPassNaive::design(const Params& inParams, double* outCoefficients, double inSampleRate)
{
    double analog[kNumAnalogCoefficients];
    design(inParams, outCoefficients, analog, inSampleRate);
}

} // namespace dsp
