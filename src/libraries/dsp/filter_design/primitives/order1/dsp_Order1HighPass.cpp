#include "dsp_Order1HighPass.h"

#include "core/core_Assert.h"
#include "dsp/filter_design/dsp_EquationSolutionException.h"
#include "dsp/filter_design/dsp_IIRToolsImpl.h"

#include <algorithm>
#include <cmath>

namespace dsp {

void Order1HighPass::designAnalog(const Params& inParams, double* outCoefficients)
{
    const double g = decibelsToGain(inParams.mOutputGain);
    const double w = inParams.mFrequency * 6.283185307179586;
    outCoefficients[0] = g;
    outCoefficients[1] = inParams.mFloorGain * inParams.mFrequency * 6.283185307179586 * g;
    outCoefficients[2] = 1.0;
    outCoefficients[3] = w;
    Q38_ASSERT(core::kAssertionLibrary, dsp::checkBuffer(outCoefficients, kNumAnalogCoefficients));
}

void Order1HighPass::design(const Params& inParams, double* outCoefficients, double* outAnalogCoefficients,
                            double inSampleRate, MatchPoints* outMatchPoints)
{
    Q38_ASSERT(core::kAssertionLibrary, inSampleRate > 0.0);

    // The match works on the target without its output gain, which is applied afterwards.
    Params unitParams = inParams;
    unitParams.mOutputGain = 0.0;
    designAnalog(unitParams, outAnalogCoefficients);
    const double B0 = outAnalogCoefficients[0], B1 = outAnalogCoefficients[1];
    const double A0 = outAnalogCoefficients[2], A1 = outAnalogCoefficients[3];

    const double g = decibelsToGain(inParams.mOutputGain);
    const double K = 2.0 * inSampleRate;

    // Fallback: pole and zero at the same place, a transparent section. The
    // tangent takes Hz here on purpose; W only has to place the cancelling pair.
    const double W = K * std::tan((0.5 / inSampleRate) * std::min(0.49 * inSampleRate, inParams.mFrequency));
    double a = B0;
    double b = W;
    double c = W;
    MatchPoints points{0, {0.0, 0.0, 0.0, 0.0}};

    try {
        if (std::fabs(B1 - A1) > 1e-5 || std::fabs(B0 - A0) > 1e-5) {
            const double w2 = inSampleRate * 1.5672;
            const double w1 = std::min(inParams.mFrequency * 6.283185307179586, 0.8 * w2);
            const double M1 = squaredMagnitude<1>(outAnalogCoefficients, w1);
            const double M2 = squaredMagnitude<1>(outAnalogCoefficients, w2);
            const double dcRatio = B1 / A1;
            const double G0 = dcRatio * dcRatio;
            const double warped1 = warpFrequency(w1, inSampleRate);
            const double warped2 = warpFrequency(w2, inSampleRate);
            const double u1 = warped1 * warped1;
            const double u2 = warped2 * warped2;
            solveOrder1ThreePoint(G0, u1, M1, u2, M2, &a, &b, &c);
            points = MatchPoints{3, {0.0, w1, w2, 0.0}};
        }
    } catch (const EquationSolutionException&) {
        Q38_ASSERT_FALSE(core::kAssertionLibrary);
    }
    if (outMatchPoints != nullptr)
        *outMatchPoints = points;

    bilinearOrder1(a, b, 1.0, c, K, outCoefficients);

    outCoefficients[0] *= g;
    outCoefficients[1] *= g;
    outAnalogCoefficients[0] *= g;
    outAnalogCoefficients[1] *= g;

    Q38_ASSERT(core::kAssertionLibrary, dsp::checkBuffer(outCoefficients, kNumCoefficients));
    Q38_ASSERT(core::kAssertionLibrary, DigitalIIRTools<1>::isStable(outCoefficients));
    Q38_ASSERT(core::kAssertionLibrary, DigitalIIRTools<1>::isMinimumPhase(outCoefficients));
}

void Order1HighPass::design(const Params& inParams, double* outCoefficients, double inSampleRate)
{
    double analogCoefficients[kNumAnalogCoefficients];
    design(inParams, outCoefficients, analogCoefficients, inSampleRate);
}

void solveOrder1ThreePoint(double inG0, double inU1, double inM1, double inU2, double inM2,
                           double* outNumeratorS, double* outNumeratorConstant, double* outDenominatorConstant)
{
    const double d = inU1 - inU2;
    const double e = (inU1 * inM2 - inM1 * inU2) - d * inG0;
    if (d == 0.0 || e == 0.0)
        throw EquationSolutionException();

    const double R = (inU1 * inM1 - inU1 * inM2) * inU2 / e;  // c^2
    if (!(R >= 0.0))
        throw EquationSolutionException();

    const double P = (((inM1 - inM2) * R + inU1 * inM1) - inU2 * inM2) / d;  // a^2
    if (!(P >= 0.0) || !(R * inG0 >= 0.0))
        throw EquationSolutionException();

    // Written only now, so a failed solve leaves the caller's values alone.
    *outNumeratorS = std::sqrt(P);
    *outNumeratorConstant = std::sqrt(R * inG0);
    *outDenominatorConstant = std::sqrt(R);
}

} // namespace dsp
