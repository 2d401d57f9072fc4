#include "dsp_Order1LowPassNaive.h"

#include "core/core_Assert.h"
#include "dsp/filter_design/dsp_IIRToolsImpl.h"

#include <cmath>

namespace dsp {

void Order1LowPassNaive::designAnalog(const Params& inParams, double* outCoefficients)
{
    const double g = decibelsToGain(inParams.mGain);
    const double w = inParams.mFrequency * 6.283185307179586;
    outCoefficients[0] = 0.0;
    outCoefficients[1] = g * inParams.mFrequency * 6.283185307179586;
    outCoefficients[2] = 1.0;
    outCoefficients[3] = w;
}

void Order1LowPassNaive::design(const Params& inParams, double* outCoefficients, double inSampleRate)
{
    Q38_ASSERT(core::kAssertionLibrary, inSampleRate > 0.0);
    Q38_ASSERT(core::kAssertionLibrary, inParams.mFrequency < 0.5 * inSampleRate);

    // Prewarp the corner so that the bilinear transform puts -3 dB exactly at mFrequency.
    const double T = 1.0 / inSampleRate;
    const double prewarped = std::tan(3.141592653589793 * T * inParams.mFrequency) * (0.3183098861837907 / T);

    Params prewarpedParams = inParams;
    prewarpedParams.mFrequency = prewarped;
    double analog[kNumAnalogCoefficients];
    designAnalog(prewarpedParams, analog);

    bilinearOrder1(analog[0], analog[1], analog[2], analog[3], 2.0 * inSampleRate, outCoefficients);

    Q38_ASSERT(core::kAssertionLibrary, DigitalIIRTools<1>::isStable(outCoefficients));
    Q38_ASSERT(core::kAssertionLibrary, DigitalIIRTools<1>::isMinimumPhase(outCoefficients));
}

} // namespace dsp
