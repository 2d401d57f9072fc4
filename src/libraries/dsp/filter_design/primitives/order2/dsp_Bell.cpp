#include "dsp_Bell.h"

#include "core/core_Assert.h"
#include "dsp/filter_design/dsp_FourPointSystem.h"
#include "dsp/filter_design/dsp_IIRToolsImpl.h"
#include "dsp/filter_design/dsp_MatchingFrame.h"
#include "dsp/filter_design/dsp_MatchingSolvers.h"

#include <algorithm>
#include <cmath>

namespace dsp {
namespace {

// The prototype (gN s^2 + C s + wdSq) / (s^2 + D s + wdSq); unit gain at DC by construction.
struct BellPrototype
{
    double mGN, mC, mD, mWdSq;
};

// Numerator and denominator coincide: the section passes the signal unchanged.
BellPrototype identityPrototype(double inW, double inSampleRate)
{
    const double W = warpFrequency(inW, inSampleRate);
    return {1.0, W, W, W * W};
}

// The peak's height and place with zero slope there, and the target's value
// at half the centre and at a point near the top of the band.
BellPrototype peakAndTwoPoints(const double* inTarget, double inW0, double inWH, double inPeakPower,
                               double inSampleRate, MatchPoints* outPoints)
{
    const double g = inPeakPower;
    // The shift only keeps the upper point away from the peak.
    const double wU = inWH - inW0 >= 0.0 ? inWH + 0.05 * inSampleRate : inWH - 0.05 * inSampleRate;
    const double m1 = squaredMagnitude<2>(inTarget, inW0 * 0.5);
    const double m2 = squaredMagnitude<2>(inTarget, wU);
    const double u0 = prewarpedSquare(inW0, inSampleRate);
    const double u1 = prewarpedSquare(inW0 * 0.5, inSampleRate);
    const double u2 = prewarpedSquare(wU, inSampleRate);
    double CSq = 0.0, DSq = 0.0, wdSq = 0.0, gN = 0.0;
    solveUnitDcExtremumTwoPoints(u0, g, u2, m2, u1, m1, &CSq, &DSq, &wdSq, &gN);
    Q38_ASSERT(core::kAssertionLibrary, CSq >= 0);
    Q38_ASSERT(core::kAssertionLibrary, DSq >= 0);
    *outPoints = MatchPoints{3, {inW0, inW0 * 0.5, wU, 0.0}};
    return {gN, std::sqrt(CSq), std::sqrt(DSq), wdSq};
}

// At or above the limit the peak cannot be shown; four fixed frequencies
// below the limit are matched instead.
BellPrototype fourFixedPoints(const double* inTarget, double inW0, double inSampleRate, MatchPoints* outPoints)
{
    const double wL = inSampleRate * 3.1353094682826135;
    const double frequencies[4] = {wL, 0.65 * wL, 0.15 * wL, 0.8 * wL};
    double M[4], W[4];
    for (int i = 0; i < 4; ++i) {
        M[i] = squaredMagnitude<2>(inTarget, frequencies[i]);
        W[i] = prewarpedSquare(frequencies[i], inSampleRate);
    }
    // P W^2 + Q W + R = M (W^2 + S W + R) at each point; unit DC power.
    double R = fourPointConstant(reduceFourPoints(W, M, 1.0));
    if (R == 0.0 || std::isnan(R))
        return identityPrototype(std::min(wL, inW0), inSampleRate);

    R = std::fabs(R);
    const double wdSq = std::sqrt(std::fabs(R));
    Q38_ASSERT(core::kAssertionLibrary, wdSq >= 0);

    const double M0 = M[0], Ma = M[1], Mb = M[2];
    const double W0 = W[0], Wa = W[1], Wb = W[2];
    const double D0 = (W0 - Wb) * Ma + (Wa - W0) * Mb + (Wb - Wa) * M0;
    const double Den = W0 * Wa * (M0 - Ma);
    const double gNSq =
        ((((M0 - Mb) * (1 - Ma) * W0 + (Ma - Mb) * (M0 - 1) * Wa) * Wb + (Mb - 1) * (M0 - Ma) * W0 * Wa) * R +
         (((Wb - W0) * Mb + (W0 - Wa) * Ma) * M0 + Mb * Ma * (Wa - Wb)) * Wa * W0 * Wb) /
        (Wa * W0 * Wb * D0);
    const double DSq = (((W0 - Wa) * gNSq + Wa * Ma) * Wa * W0 - (W0 - wdSq) * (W0 - wdSq) * Wa * M0 -
                        2 * Ma * W0 * Wa * wdSq + ((Ma - 1) * W0 + Wa) * R) /
                       Den;
    // sqrt(M0) stands where the exact solution has gN: a fixed choice of the design.
    const double CSq = (((gNSq - M0) * Ma * W0 + (Ma - gNSq) * M0 * Wa) * Wa * W0 +
                        2 * std::sqrt(M0) * (M0 - Ma) * W0 * Wa * wdSq +
                        ((Ma - 1) * M0 * W0 + Wa * Ma - Ma * M0 * Wa) * R) /
                       Den;

    BellPrototype prototype;
    prototype.mWdSq = wdSq;
    if (CSq >= 0 && DSq >= 0) {
        prototype.mC = std::sqrt(CSq);
        prototype.mD = std::sqrt(DSq);
    } else {
        prototype.mC = prototype.mD = std::sqrt(wdSq);
    }
    Q38_ASSERT(core::kAssertionLibrary, gNSq >= 0);
    prototype.mGN = std::sqrt(gNSq);
    *outPoints = MatchPoints{4, {frequencies[0], frequencies[1], frequencies[2], frequencies[3]}};
    return prototype;
}

} // namespace

void Bell::designAnalog(const Params& inParams, double* outCoefficients)
{
    const double gOut = decibelsToGain(inParams.mOutputGain);
    const double w0 = inParams.mFrequency * 6.283185307179586;
    const double w0sq = w0 * inParams.mFrequency * 6.283185307179586;
    const double sGa = decibelsToGain(0.5 * std::fabs(inParams.mGain));
    const double Qe = (1.0 / sGa) * inParams.mQ;
    const double sG = decibelsToGain(0.5 * inParams.mGain);
    outCoefficients[0] = gOut;
    outCoefficients[1] = (w0 * sG / Qe) * gOut;
    outCoefficients[2] = w0sq * gOut;
    outCoefficients[3] = 1.0;
    outCoefficients[4] = w0 / (sG * Qe);
    outCoefficients[5] = w0sq;
    Q38_ASSERT(core::kAssertionLibrary, dsp::checkBuffer(outCoefficients, kNumAnalogCoefficients));
}

void Bell::design(const Params& inParams, double* outCoefficients, double* outAnalogCoefficients,
                  double inSampleRate, MatchPoints* outMatchPoints)
{
    Q38_ASSERT(core::kAssertionLibrary, inSampleRate > 0);
    const double gOut = decibelsToGain(inParams.mOutputGain);
    // A NaN gain counts as flat.
    const bool isFlat = !(std::fabs(inParams.mGain) >= 1e-6);
    const double gDb = isFlat ? 1e-6 : inParams.mGain;
    const double sG = decibelsToGain(0.5 * gDb);
    const double sGa = decibelsToGain(0.5 * std::fabs(gDb));
    const double Qe = inParams.mQ / sGa;
    const double G = sG * sG;

    Params target = inParams;
    target.mOutputGain = 0.0;
    designAnalog(target, outAnalogCoefficients);

    const double w0 = inParams.mFrequency * 6.283185307179586;
    const double wH = inSampleRate * 2.49316792988886;  // 2 pi * 0.3968 * fs

    BellPrototype prototype;
    MatchPoints points{0, {0.0, 0.0, 0.0, 0.0}};
    if (isFlat) {
        prototype = identityPrototype(std::min(wH, w0), inSampleRate);
    } else if (w0 < inSampleRate * 0.0015707963267948967) {
        // Far below the band's top the target needs no warping.
        prototype.mGN = 1.0;
        prototype.mC = w0 * sG / Qe;
        prototype.mWdSq = w0 * w0;
        prototype.mD = w0 / (Qe * sG);
    } else if (w0 < inSampleRate * 3.1353094682826135) {
        prototype = peakAndTwoPoints(outAnalogCoefficients, w0, wH, G * G, inSampleRate, &points);
    } else {
        prototype = fourFixedPoints(outAnalogCoefficients, w0, inSampleRate, &points);
    }
    if (outMatchPoints != nullptr)
        *outMatchPoints = points;

    bilinearOrder2(prototype.mGN, prototype.mC, prototype.mWdSq, 1.0, prototype.mD, prototype.mWdSq,
                   2.0 * inSampleRate, outCoefficients);
    for (int i = 0; i < 3; ++i) {
        outCoefficients[i] *= gOut;
        outAnalogCoefficients[i] *= gOut;
    }

    Q38_ASSERT(core::kAssertionLibrary, dsp::checkBuffer(outCoefficients, kNumCoefficients));
    Q38_ASSERT(core::kAssertionLibrary, dsp::DigitalIIRTools<2>::isStable(outCoefficients));
    Q38_ASSERT(core::kAssertionLibrary, DigitalIIRTools<2>::isMinimumPhase(outCoefficients));
}

void Bell::design(const Params& inParams, double* outCoefficients, double inSampleRate)
{
    double analog[kNumAnalogCoefficients];
    design(inParams, outCoefficients, analog, inSampleRate);
}

} // namespace dsp
