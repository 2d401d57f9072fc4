#include "dsp_Order2HighPass.h"

#include "dsp_Order2HighPassNaive.h"

#include "core/core_Assert.h"
#include "dsp/filter_design/dsp_IIRToolsImpl.h"
#include "dsp/filter_design/dsp_MatchingFrame.h"
#include "dsp/filter_design/dsp_MatchingSolvers.h"

#include <algorithm>
#include <cmath>

namespace dsp {
namespace {

// The Q above which the analog shape has a peak worth placing by its extremum.
constexpr double kBlendQ = 0.7171067811865476;
// The Q above which the digital match follows the target's peak.
constexpr double kPeakQ = 0.8071067811865476;

Order2HighPassNaive::Params naiveParams(const Order2HighPass::Params& inParams)
{
    return {inParams.mFrequency, inParams.mQ, inParams.mGainDb};
}

// The nearer the response is to flat, the lower the corner at which its shape stops mattering.
bool isFlatEnough(double inR, double inW)
{
    return inR < 1e-10 || (inR < 1e-6 && inW > 125663.70614359173) || (inR < 0.01 && inW > 251327.41228718346) ||
           (inR < 0.1 && inW > 376991.1184307752);
}

// cSq, dSq and w of the analog prototype with t = 1 and z = g w.
struct AnalogShape
{
    double mCSq, mDSq, mW;
};

// The plain high-pass magnitude lifted to the floor g, in amplitude.
AnalogShape solveEnvelope(double inW, double inQ, double inG)
{
    const double W = inW;
    const double g = inG;
    const double WSq = W * W;
    auto envelope = [&](double inU) {
        const double P = inU * inU / (inU * inU + (1.0 / (inQ * inQ) - 2.0) * WSq * inU + WSq * WSq);
        const double amplitude = std::sqrt(P) * (1.0 - g) + g;
        return amplitude * amplitude;
    };
    const double u1 = (2.0 * W) * (2.0 * W);
    const double u2 = WSq;
    const double u3 = ((g + 0.001) * W) * ((g + 0.001) * W);
    const double m1 = envelope(u1), m2 = envelope(u2), m3 = envelope(u3);

    AnalogShape three;
    if (inQ <= kBlendQ) {
        solveUnitTopThreePoints(g, u1, m1, u2, m2, u3, m3, &three.mCSq, &three.mDSq, &three.mW);
        return three;
    }
    const double q = 1.0 / (inQ * inQ);
    const double up = 2.0 * WSq / (2.0 - q);              // the plain high-pass's peak
    const double mp = std::pow(4.0 / (q * (4.0 - q)), 1.0 - g);  // its power, shrinking in dB as g rises
    const double uq = WSq / (2.0 - q);                     // where it crosses unity
    AnalogShape extremum;
    solveUnitTopExtremumCrossing(g, up, mp, uq, &extremum.mCSq, &extremum.mDSq, &extremum.mW);
    solveUnitTopThreePoints(g, u1, m1, u2, m2, u3, m3, &three.mCSq, &three.mDSq, &three.mW);
    const double weight = (std::min(inQ, 1.1) - 0.707) * 2.544529262086513;
    return {(1.0 - weight) * three.mCSq + weight * extremum.mCSq,
            (1.0 - weight) * three.mDSq + weight * extremum.mDSq,
            (1.0 - weight) * three.mW + weight * extremum.mW};
}

} // namespace

void Order2HighPass::designAnalog(const Params& inParams, double* outAnalogCoefficients)
{
    const double G = decibelsToGain(inParams.mGainDb);
    const double W = kTwoPi * inParams.mFrequency;
    const double g = inParams.mDcGain;
    const double r = 1.0 - g;

    AnalogShape shape;
    if (isFlatEnough(r, W)) {
        shape = {W * W, W * W, W * W};
    } else {
        try {
            shape = solveEnvelope(W, inParams.mQ, g);
        } catch (const EquationSolutionException&) {
            Order2HighPassNaive::designAnalog(naiveParams(inParams), outAnalogCoefficients);
            return;
        }
    }
    const double cSq = shape.mCSq, dSq = shape.mDSq, w = shape.mW;
    Q38_ASSERT(core::kAssertionLibrary, cSq >= 0);
    Q38_ASSERT(core::kAssertionLibrary, dSq >= 0);
    outAnalogCoefficients[0] = G;
    outAnalogCoefficients[1] = std::sqrt(cSq) * G;
    outAnalogCoefficients[2] = w * g * G;
    outAnalogCoefficients[3] = 1.0;
    outAnalogCoefficients[4] = std::sqrt(dSq);
    outAnalogCoefficients[5] = w;
    Q38_ASSERT(core::kAssertionLibrary, dsp::checkBuffer(outAnalogCoefficients, kNumAnalogCoefficients));
}

void Order2HighPass::design(const Params& inParams, double* outCoefficients, double* outAnalogCoefficients,
                            double inSampleRate, MatchPoints* outMatchPoints)
{
    if (outMatchPoints != nullptr)
        *outMatchPoints = MatchPoints{0, {0.0, 0.0, 0.0, 0.0}};
    Q38_ASSERT(core::kAssertionLibrary, inSampleRate > 0);
    // A design limit, not the Nyquist limit: corners above half the rate are allowed.
    Q38_ASSERT(core::kAssertionLibrary, inParams.mFrequency <= 2 * inSampleRate);

    const double G = decibelsToGain(inParams.mGainDb);
    const double g = inParams.mDcGain;
    const double Q = inParams.mQ;
    Params target = inParams;
    target.mGainDb = 0.0;
    designAnalog(target, outAnalogCoefficients);
    const PowerResponse Mt = powerResponseOf(outAnalogCoefficients);

    double t = 0.0, cSq = 0.0, dSq = 0.0, w = 0.0;
    if (g >= 0.98) {
        // Nearly flat: the target itself, plainly transformed.
        t = outAnalogCoefficients[0];
        cSq = outAnalogCoefficients[1] * outAnalogCoefficients[1];
        dSq = outAnalogCoefficients[4] * outAnalogCoefficients[4];
        w = outAnalogCoefficients[5];
    } else {
        double wp = 0.0;
        // Without a real extremum the output gain stands in for its frequency.
        if (!powerResponseExtremum(Mt, &wp))
            wp = G;
        const double E = 2.84 * inSampleRate;
        const double W = kTwoPi * inParams.mFrequency;
        if (wp * wp < E * E && wp * wp > 0 && Q > kPeakQ) {
            const double lo = 0.005 * wp;
            const double hi = wp > 0.2 * E ? 0.03 * wp : E;
            try {
                solveDcGainExtremumTwoPoints(prewarpedSquare(wp, inSampleRate), matchValue(Mt, wp),
                                             prewarpedSquare(lo, inSampleRate), matchValue(Mt, lo),
                                             prewarpedSquare(hi, inSampleRate), matchValue(Mt, hi), g, &cSq, &dSq,
                                             &w, &t);
                if (outMatchPoints != nullptr)
                    *outMatchPoints = MatchPoints{3, {wp, lo, hi, 0.0}};
            } catch (const EquationSolutionException&) {
                Q38_ASSERT_FALSE(core::kAssertionLibrary);
                Order2HighPassNaive::design(naiveParams(inParams), outCoefficients, outAnalogCoefficients,
                                            inSampleRate);
                return;
            }
        } else {
            double pa, pb, pc;
            if (wp * wp > 1 && Q > kPeakQ && wp < 3.1344 * inSampleRate) {
                // Keeps a peak near or above the band's top in the match.
                pa = std::min(2.9919 * inSampleRate, wp);
                pb = 2.5645 * inSampleRate;
                pc = 0.4 * pb;
            } else {
                const double w0 = std::min(W, E);
                const double s = 0.1 + 0.9 * g;
                pa = E;
                pb = w0 * std::sqrt(s);
                pc = w0 * s;
            }
            const double pd = 0.005 * pc;
            try {
                solveDcGainFourPoints(prewarpedSquare(pa, inSampleRate), matchValue(Mt, pa),
                                      prewarpedSquare(pb, inSampleRate), matchValue(Mt, pb),
                                      prewarpedSquare(pc, inSampleRate), matchValue(Mt, pc),
                                      prewarpedSquare(pd, inSampleRate), matchValue(Mt, pd), g, &cSq, &dSq, &w,
                                      &t);
                if (outMatchPoints != nullptr)
                    *outMatchPoints = MatchPoints{4, {pa, pb, pc, pd}};
            } catch (const EquationSolutionException&) {
                Order2HighPassNaive::design(naiveParams(inParams), outCoefficients, outAnalogCoefficients,
                                            inSampleRate);
                return;
            }
        }
    }

    prototypeToDigital(t, cSq, w * g, dSq, w, inSampleRate, G, outCoefficients);
    for (int i = 0; i < 3; ++i)
        outAnalogCoefficients[i] *= G;

    // The solved prototype need not be minimum phase or stable; reflecting
    // roots keeps the magnitude and makes it so.
    reflectRootsIntoUnitCircle(outCoefficients);

    Q38_ASSERT(core::kAssertionLibrary, dsp::checkBuffer(outCoefficients, kNumCoefficients));
    Q38_ASSERT(core::kAssertionLibrary, DigitalIIRTools<2>::isStable(outCoefficients));
    Q38_ASSERT(core::kAssertionLibrary, DigitalIIRTools<2>::isAlmostMinimumPhase(outCoefficients, 1.e-7));
}

void Order2HighPass::design(const Params& inParams, double* outCoefficients, double inSampleRate)
{
    double analog[kNumAnalogCoefficients];
    design(inParams, outCoefficients, analog, inSampleRate);
}

} // namespace dsp
