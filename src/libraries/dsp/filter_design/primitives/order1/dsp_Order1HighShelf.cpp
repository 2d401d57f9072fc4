#include "dsp_Order1HighShelf.h"

#include "core/core_Assert.h"
#include "dsp/filter_design/dsp_EquationSolutionException.h"
#include "dsp/filter_design/dsp_IIRToolsImpl.h"

#include <algorithm>
#include <cmath>

namespace dsp {
namespace {

// Magnitude (not squared) of the target at w.
double magnitudeAt(const double* inAnalogCoefficients, double inW)
{
    return std::sqrt(squaredMagnitude<1>(inAnalogCoefficients, inW));
}

double warpedSquare(double inW, double inSampleRate)
{
    const double warped = warpFrequency(inW, inSampleRate);
    return warped * warped;
}

} // namespace

double Order1HighShelf::computeMatchFrequency(const Params& inParams)
{
    const double s = decibelsToGain(0.5 * inParams.mGain);
    const double G = s * s;
    switch (inParams.mFrequencyMode) {
        case kMidpoint:
            return inParams.mFrequency * s;
        case kUpperCorner:
            return G > 1.0 ? inParams.mFrequency : inParams.mFrequency * G;
        case kLowerCorner:
            break;
        default:
            Q38_ASSERT_FALSE(core::kAssertionLibrary);
            break;
    }
    return G > 1.0 ? inParams.mFrequency * G : inParams.mFrequency;
}

void Order1HighShelf::designAnalog(const Params& inParams, double* outCoefficients)
{
    const double fc = computeMatchFrequency(inParams);
    const double gs = decibelsToGain(inParams.mGain);
    const double go = decibelsToGain(inParams.mOutputGain);
    const double wc = fc * 6.283185307179586;
    outCoefficients[0] = go * gs;
    outCoefficients[1] = wc * go;
    outCoefficients[2] = 1.0;
    outCoefficients[3] = wc;
    Q38_ASSERT(core::kAssertionLibrary, dsp::checkBuffer(outCoefficients, kNumAnalogCoefficients));
}

void Order1HighShelf::design(const Params& inParams, double* outCoefficients, double* outAnalogCoefficients,
                             double inSampleRate, MatchPoints* outMatchPoints)
{
    Q38_ASSERT(core::kAssertionLibrary, inSampleRate > 0.0);

    // The match works on the target without its output gain, which is applied afterwards.
    Params unitParams = inParams;
    unitParams.mOutputGain = 0.0;
    designAnalog(unitParams, outAnalogCoefficients);

    const double K = 2.0 * inSampleRate;
    const double go = decibelsToGain(inParams.mOutputGain);
    const double wc = computeMatchFrequency(inParams) * 6.283185307179586;

    // Fallback: the plain, unwarped bilinear image of the target.
    double a = outAnalogCoefficients[0];
    double b = outAnalogCoefficients[1];
    double c = outAnalogCoefficients[3];
    MatchPoints points{0, {0.0, 0.0, 0.0, 0.0}};

    try {
        if (!(std::fabs(inParams.mGain) < 1e-9)) {
            double w2 = inSampleRate * 1.7278759594743864;
            double w1 = std::min(0.8 * w2, wc);
            double m2 = magnitudeAt(outAnalogCoefficients, w2);
            double m1 = magnitudeAt(outAnalogCoefficients, w1);

            // A nearly flat stretch between the standard points gives an
            // ill-conditioned solve: move the points down towards the shelf.
            const double slope = std::fabs(20.0 * std::log10(m2 / m1));
            if (!(slope >= 0.1)) {
                const double t = std::max((slope - 0.05) * 20.0, 0.0);
                const double up = std::min(inSampleRate * 1.0471975511965976 + wc * 0.3333333333333333,
                                           inSampleRate * 2.670353755551324);
                w2 = (1.0 - t) * up + t * w2;
                w1 = std::min(0.6 * w2, wc);
                m2 = magnitudeAt(outAnalogCoefficients, w2);
                m1 = magnitudeAt(outAnalogCoefficients, w1);
            }

            const double u2 = warpedSquare(w2, inSampleRate);
            const double u1 = warpedSquare(w1, inSampleRate);
            solveOrder1TwoPoint(u2, m2 * m2, u1, m1 * m1, &a, &b, &c);
            points = MatchPoints{3, {0.0, w1, w2, 0.0}};
        }
    } catch (const EquationSolutionException&) {
        Q38_ASSERT_FALSE(core::kAssertionLibrary);
    }
    if (outMatchPoints != nullptr)
        *outMatchPoints = points;

    bilinearOrder1(a, b, 1.0, c, K, outCoefficients);

    outCoefficients[0] *= go;
    outCoefficients[1] *= go;
    outAnalogCoefficients[0] *= go;
    outAnalogCoefficients[1] *= go;

    Q38_ASSERT(core::kAssertionLibrary, dsp::checkBuffer(outCoefficients, kNumCoefficients));
    Q38_ASSERT(core::kAssertionLibrary, DigitalIIRTools<1>::isStable(outCoefficients));
    Q38_ASSERT(core::kAssertionLibrary, DigitalIIRTools<1>::isMinimumPhase(outCoefficients));
}

void Order1HighShelf::design(const Params& inParams, double* outCoefficients, double inSampleRate)
{
    double analogCoefficients[kNumAnalogCoefficients];
    design(inParams, outCoefficients, analogCoefficients, inSampleRate);
}

void solveOrder1TwoPoint(double inU2, double inG2, double inU1, double inG1, double* outNumeratorS,
                         double* outNumeratorConstant, double* outDenominatorConstant)
{
    const double d = inU2 - inU1;
    const double e = (inU2 * inG1 - inG2 * inU1) - d;
    if (d == 0.0 || e == 0.0)
        throw EquationSolutionException();

    const double R = (inG2 - inG1) * inU2 * inU1 / e;                      // c^2
    const double P = (((inG2 - inG1) * R + inU2 * inG2) - inU1 * inG1) / d;  // a^2
    double Q = (R + inU2) * inG2 - P * inU2;                                // b^2
    if (Q <= 0.0)
        Q = 0.0;  // rounding below zero; the DC gain is 1 by construction

    if (!(R >= 0.0 && P >= 0.0 && Q >= 0.0))
        throw EquationSolutionException();

    // Written only now, so a failed solve leaves the caller's values alone.
    *outDenominatorConstant = std::sqrt(R);
    *outNumeratorS = std::sqrt(P);
    *outNumeratorConstant = std::sqrt(Q);
}

} // namespace dsp
