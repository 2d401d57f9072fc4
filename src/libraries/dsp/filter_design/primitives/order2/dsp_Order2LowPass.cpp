#include "dsp_Order2LowPass.h"

#include "core/core_Assert.h"
#include "dsp/filter_design/dsp_IIRToolsImpl.h"
#include "dsp/filter_design/dsp_MatchingFrame.h"
#include "dsp/filter_design/dsp_MatchingSolvers.h"
#include "dsp/filter_design/dsp_UnitDcMatch.h"

#include <algorithm>
#include <cmath>

namespace dsp {

namespace {

constexpr double kHalfRootTwo = 0.7071067811865476;
// Above this Q the target has a peak worth matching.
constexpr double kPeakQ = 0.7081067811865476;
// Highest digital match frequency as a multiple of fs (0.408 fs in Hz).
constexpr double kTopMatch = 2.563539605329271;

} // namespace

bool lowPassPeakRatio(double inQ, double* outRatio)
{
    Q38_ASSERT(core::kAssertionLibrary, inQ > kHalfRootTwo);
    if (!(inQ > kHalfRootTwo))
        return false;
    *outRatio = 1.0 - 0.5 / (inQ * inQ);
    return true;
}

bool lowPassCrossingRatio(double inQ, double* outRatio)
{
    Q38_ASSERT(core::kAssertionLibrary, inQ > kHalfRootTwo);
    if (!(inQ > kHalfRootTwo))
        return false;
    const double x = 1.0 / (inQ * inQ) - 2.0;
    *outRatio = -0.5 * (x - std::fabs(2.0 - 1.0 / (inQ * inQ)));
    return true;
}

void Order2LowPass::designAnalog(const Params& inParams, double* outAnalogCoefficients)
{
    const double G = decibelsToGain(inParams.mGainDb);
    const double W = kTwoPi * inParams.mFrequency;
    const double Q = inParams.mQ;
    double g = inParams.mTopGain;
    if (std::fabs(g - 1.0) < 1e-10)
        g = 1.0;

    // The plain low-pass's magnitude, lifted in amplitude to the floor g.
    const double W2 = W * W;
    const double W4 = W2 * W2;
    const double shape = 1.0 / (Q * Q) - 2.0;
    auto envelope = [&](double inU) {
        const double plain = W4 / (inU * inU + shape * W2 * inU + W4);
        const double amplitude = std::sqrt(plain) * (1.0 - g) + g;
        return amplitude * amplitude;
    };

    double* out = outAnalogCoefficients;
    double cSq = W2, dSq = W2, w = W2;
    if (g != 1.0) {
        try {
            const double ua = (W / (g + 0.01)) * (W / (g + 0.01));
            const double ub = W2;
            const double uc = W2 / 4.0;
            double threeCSq = 0.0, threeDSq = 0.0, threeW = 0.0;
            double peakRatio = 0.0, crossingRatio = 0.0;
            const bool peaked = Q > kPeakQ && lowPassPeakRatio(Q, &peakRatio) &&
                                lowPassCrossingRatio(Q, &crossingRatio) && peakRatio * W2 > 0.0 &&
                                W > 62.83185307179586;
            if (peaked) {
                const double up = peakRatio * W2;
                const double uq = crossingRatio * W2;
                // The peak shrinks in dB as the floor rises.
                const double peakAmplitude = std::sqrt(W4 / (up * up + shape * W2 * up + W4));
                const double mpAmplitude = decibelsToGain(20.0 * std::log10(peakAmplitude) * (1.0 - g));
                const double mp = mpAmplitude * mpAmplitude;
                double peakCSq = 0.0, peakDSq = 0.0, peakW = 0.0;
                solveFixedTopExtremumCrossing(up, mp, uq, g, &peakCSq, &peakDSq, &peakW);
                if (peakDSq < 0.0)
                    peakDSq = 0.0;
                solveFixedTopThreePoints(ua, envelope(ua), ub, envelope(ub), uc, envelope(uc), g, &threeCSq,
                                         &threeDSq, &threeW);
                const double weight = (std::min(Q, 1.1) - 0.707) * 2.544529262086513;
                cSq = (1.0 - weight) * threeCSq + weight * peakCSq;
                dSq = (1.0 - weight) * threeDSq + weight * peakDSq;
                w = (1.0 - weight) * threeW + weight * peakW;
            } else {
                solveFixedTopThreePoints(ua, envelope(ua), ub, envelope(ub), uc, envelope(uc), g, &threeCSq,
                                         &threeDSq, &threeW);
                cSq = threeCSq;
                dSq = threeDSq < 0.0 ? 0.0 : threeDSq;
                w = threeW;
            }
        } catch (const EquationSolutionException&) {
            // The plain low-pass, normalised at s^0.
            const double T = 1.0 / (kTwoPi * inParams.mFrequency);
            out[0] = 0.0;
            out[1] = 0.0;
            out[2] = G;
            out[3] = T * T;
            out[4] = T / Q;
            out[5] = 1.0;
            return;
        }
    }

    out[0] = g * G;
    out[1] = std::sqrt(cSq) * G;
    out[2] = w * G;
    out[3] = 1.0;
    out[4] = std::sqrt(dSq);
    out[5] = w;
    Q38_ASSERT(core::kAssertionLibrary, AnalogIIRTools<2>::isStable(outAnalogCoefficients));
    Q38_ASSERT(core::kAssertionLibrary, dsp::checkBuffer(outAnalogCoefficients, kNumAnalogCoefficients));
}

void Order2LowPass::design(const Params& inParams, double* outCoefficients, double* outAnalogCoefficients,
                           double inSampleRate, MatchPoints* outMatchPoints)
{
    Q38_ASSERT(core::kAssertionLibrary, inSampleRate > 0.0);
    const double fs = inSampleRate;
    const double k = 2.0 * fs;
    const double G = decibelsToGain(inParams.mGainDb);
    Params unity = inParams;
    unity.mGainDb = 0.0;
    designAnalog(unity, outAnalogCoefficients);
    const PowerResponse response = powerResponseOf(outAnalogCoefficients);

    // Where the target comes back to its DC level after a peak; the other root is u = 0.
    bool crossingFound = false;
    double crossing = 0.0;
    {
        const double A = response.mNA - response.mDA;
        const double B = response.mNB - response.mDB;
        const double C = response.mNC - response.mDC;
        const double discriminant = B * B - 4.0 * A * C;
        if (discriminant >= 0.0) {
            const double sign = B > 0.0 ? 1.0 : (B < 0.0 ? -1.0 : 0.0);
            const double q = -B / 2.0 - sign * std::sqrt(discriminant) / 2.0;
            const double root = q / A;
            if (root >= 0.0 && std::isfinite(root)) {
                crossing = std::sqrt(root);
                crossingFound = true;
            }
        }
    }

    const double f0 = std::max(0.00022 * fs, inParams.mFrequency);
    const double topMatch = kTopMatch * fs;
    UnitDcPrototype prototype{0.0, 0.0, 0.0, 0.0};
    MatchPoints points{0, {0.0, 0.0, 0.0, 0.0}};
    bool solved = false;
    if (inParams.mTopGain > 0.99) {
        // Nearly flat: a flat section with its poles at the prewarped corner.
        const double w0 = std::min(topMatch, kTwoPi * f0);
        const double v = k * std::tan(w0 / k);
        prototype = UnitDcPrototype{v, v, v * v, 1.0};
        solved = true;
    } else {
        try {
            if (crossingFound && inParams.mQ > kPeakQ) {
                double peak = 0.0;
                if (!powerResponseExtremum(response, &peak))
                    Q38_ASSERT_FALSE(core::kAssertionLibrary);
                if (peak > 3.078760800517997 * fs) {
                    const double pa = 3.132167875629024 * fs;
                    matchUnitDcFourPoints(response, fs, pa, topMatch, topMatch / 2.0, topMatch / 4.0, &prototype);
                    points = MatchPoints{4, {pa, topMatch, topMatch / 2.0, topMatch / 4.0}};
                } else {
                    const double second = std::min(0.9 * topMatch, crossing);
                    // The digital top gain is kept at least at the target's power at Nyquist.
                    const double floor = matchValue(response, 0.5 * kTwoPi * fs);
                    UnitDcPrototype& p = prototype;
                    solveUnitDcExtremumTwoPointsFloored(
                        prewarpedSquare(peak, fs), matchValue(response, peak), prewarpedSquare(second, fs),
                        matchValue(response, second), prewarpedSquare(topMatch, fs), matchValue(response, topMatch),
                        floor, &p.mCSq, &p.mDSq, &p.mW, &p.mT);
                    // A raised top (t is then exactly the root of the floor) gives up the middle point.
                    if (p.mT != std::sqrt(floor))
                        points = MatchPoints{3, {peak, topMatch, second, 0.0}};
                    else
                        points = MatchPoints{2, {peak, topMatch, 0.0, 0.0}};
                }
            } else {
                // Four points from the top down; another spacing when a solve fails or loses its top.
                static constexpr double kFractions[5] = {0.4535, 0.4792, 0.4851, 0.4985, 0.4375};
                int failures = 0;
                for (const double fraction : kFractions) {
                    const double x = fraction * fs;
                    const double p1 = kTwoPi * x;
                    const double p2 = std::min(x * 3.7699111843077517, kTwoPi * f0);
                    UnitDcPrototype attempt{0.0, 0.0, 0.0, 0.0};
                    try {
                        matchUnitDcFourPoints(response, fs, p1, p2, p2 / 2.0, p2 / 4.0, &attempt);
                    } catch (const EquationSolutionException&) {
                        if (++failures >= 4)
                            throw;
                        continue;
                    }
                    prototype = attempt;
                    points = MatchPoints{4, {p1, p2, p2 / 2.0, p2 / 4.0}};
                    if (!(std::fabs(attempt.mT) < kSmallestNormal))
                        break;
                }
            }
            solved = true;
        } catch (const EquationSolutionException&) {
            solved = false;
            points.mCount = 0;
        }
    }

    finishUnitDcDesign(solved, prototype, fs, G, outAnalogCoefficients, outCoefficients);
    if (outMatchPoints != nullptr)
        *outMatchPoints = points;

    Q38_ASSERT(core::kAssertionLibrary, dsp::checkBuffer(outCoefficients, kNumCoefficients));
    Q38_ASSERT(core::kAssertionLibrary, dsp::DigitalIIRTools<2>::isStable(outCoefficients));
    Q38_ASSERT(core::kAssertionLibrary, DigitalIIRTools<2>::isMinimumPhase(outCoefficients));
}

void Order2LowPass::design(const Params& inParams, double* outCoefficients, double inSampleRate)
{
    double analog[kNumAnalogCoefficients];
    design(inParams, outCoefficients, analog, inSampleRate);
}

} // namespace dsp
