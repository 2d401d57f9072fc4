#include "dsp_HighShelf2Q.h"

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
// A Q from here up gives the target a clear dip and peak to build on.
constexpr double kResonantQ = 0.7571067811865476;

// The shelf's height in dB as designed: limited to 24 dB, and nothing below 1e-05 dB.
double designedHeightDb(double inShelfGainDb)
{
    const double height = std::min(std::fabs(inShelfGainDb), 24.0);
    return height < 1e-05 ? 0.0 : height;
}

// Corner of the plain shelf: a cut mirrors the boost around W.
double shelfCorner(double inW, double inGain)
{
    return inGain >= 1.0 ? inW : std::sqrt(inGain) * inW;
}

// Power response of the plain shelf (g s^2 + sqrt(g) (Wc/Q) s + Wc^2) / (s^2 + (Wc/Q) s + Wc^2).
double shelfPower(double inW, double inQ, double inGain, double inU)
{
    const double wc = shelfCorner(inW, inGain);
    const double wc2 = wc * wc;
    const double wc4 = wc2 * wc2;
    const double q2 = inQ * inQ;
    return ((inGain * inGain * (inU * inU) + wc4) * q2 + (1.0 - 2.0 * q2) * wc2 * inU * inGain) /
           ((wc4 + inU * inU) * q2 + (1.0 - 2.0 * q2) * wc2 * inU);
}

// The plain shelf's two extrema as multiples of W^2 / sqrt(Gs); none for a Q
// up to 1/sqrt(2) or a gain that is not positive.
bool shelfExtremumRatios(double inQ, double inGain, double* outLow, double* outHigh)
{
    Q38_ASSERT(core::kAssertionLibrary, inQ > kHalfRootTwo);
    Q38_ASSERT(core::kAssertionLibrary, inGain > 0.0);
    if (!(inQ > kHalfRootTwo) || !(inGain > 0.0))
        return false;
    const double q2 = inQ * inQ;
    const double gm1 = inGain - 1.0;
    const double R = std::sqrt(q2 * q2 * (gm1 * gm1) + 4.0 * inGain * q2 - inGain);
    const double denominator = std::sqrt(inGain) * (2.0 * q2 - 1.0);
    *outLow = ((inGain + 1.0) * q2 - R) / denominator;
    *outHigh = ((inGain + 1.0) * q2 + R) / denominator;
    return true;
}

// One of the two ratios; a Q that gives none ends the solve.
double shelfRatio(double inQ, double inGain, bool inHigh)
{
    double low = 0.0, high = 0.0;
    if (!shelfExtremumRatios(inQ, inGain, &low, &high))
        throw EquationSolutionException();
    return inHigh ? high : low;
}

struct ShelfMatch
{
    const PowerResponse& mResponse;
    double mSampleRate;
    UnitDcPrototype* mPrototype;
    MatchPoints* mPoints;

    double value(double inW) const { return matchValue(mResponse, inW); }
    double warped(double inW) const { return prewarpedSquare(inW, mSampleRate); }

    void fourPoints(double inP1, double inP2, double inP3, double inP4) const
    {
        matchUnitDcFourPoints(mResponse, mSampleRate, inP1, inP2, inP3, inP4, mPrototype);
        *mPoints = MatchPoints{4, {inP1, inP2, inP3, inP4}};
    }

    void extremumTwoPoints(double inWp, double inMp, double inP2, double inP3) const
    {
        UnitDcPrototype& p = *mPrototype;
        solveUnitDcExtremumTwoPoints(warped(inWp), inMp, warped(inP2), value(inP2), warped(inP3), value(inP3),
                                     &p.mCSq, &p.mDSq, &p.mW, &p.mT);
        *mPoints = MatchPoints{3, {inWp, inP2, inP3, 0.0}};
    }

    void twoExtrema(double inWA, double inMA, double inWB, double inMB) const
    {
        UnitDcPrototype& p = *mPrototype;
        solveUnitDcTwoExtrema(warped(inWA), inMA, warped(inWB), inMB, &p.mCSq, &p.mDSq, &p.mW, &p.mT);
        *mPoints = MatchPoints{2, {inWA, inWB, 0.0, 0.0}};
    }
};

} // namespace

void HighShelf2Q::designAnalog(const Params& inParams, double* outAnalogCoefficients, double* outExtremumA,
                               double* outExtremumB)
{
    const double G = decibelsToGain(inParams.mGainDb);
    const double W = kTwoPi * inParams.mFrequency;
    const double qLow = inParams.mQLow;
    const double qHigh = inParams.mQHigh;

    const double height = designedHeightDb(inParams.mShelfGainDb);
    const double sign = inParams.mShelfGainDb > 0.0 ? 1.0 : (inParams.mShelfGainDb < 0.0 ? -1.0 : 0.0);
    const double g = decibelsToGain(sign * height);
    const double Gs = std::max(1.0, decibelsToGain(height));
    const double U0 = W * W / std::sqrt(Gs);
    const double Wc = shelfCorner(W, g);
    const double w0 = Wc * Wc;
    const bool boost = g >= 1.0;

    *outExtremumA = 0.0;
    *outExtremumB = 0.0;
    bool flat = Gs <= 1.0000000001;
    double cSq = 0.0, dSq = 0.0, w = 0.0;
    if (!flat) {
        try {
            const bool lowResonant = qLow >= kResonantQ;
            const bool highResonant = qHigh >= kResonantQ;
            if (lowResonant && highResonant) {
                // Two prototypes' extrema cannot both be kept; the sharper one anchors.
                const double uA = shelfRatio(qLow, g, false) * U0;
                const double uB = shelfRatio(qHigh, g, true) * U0;
                const double mA = shelfPower(W, qLow, g, uA);
                const double mB = shelfPower(W, qHigh, g, uB);
                double other = 0.0;
                if (qHigh <= qLow) {
                    solveFixedTopTwoExtremaValues(uA, mA, mB, g, &cSq, &dSq, &w, &other);
                    *outExtremumA = uA;
                    *outExtremumB = other;
                } else {
                    solveFixedTopTwoExtremaValues(uB, mB, mA, g, &cSq, &dSq, &w, &other);
                    *outExtremumA = other;
                    *outExtremumB = uB;
                }
            } else if (!lowResonant && !highResonant) {
                const double h = std::max(g * g, 0.1);
                const double wa = W / (h * h);
                const double wb = W * (h * h);
                // For a boost the low side lies below W, for a cut above.
                const double ma = shelfPower(W, boost ? qLow : qHigh, g, wa * wa);
                const double mb = shelfPower(W, boost ? qHigh : qLow, g, wb * wb);
                solveFixedTopKnownCornerTwoPoints(wa * wa, ma, wb * wb, mb, g, w0, &cSq, &dSq);
                w = w0;
            } else {
                double ue = 0.0, up = 0.0, me = 0.0, mp = 0.0;
                if (lowResonant) {
                    ue = shelfRatio(qLow, g, false) * U0;
                    const double ratio = (Gs * Gs * Gs * Gs) / (Gs - 1.0);
                    up = std::min(ratio * ratio, 2000.0) * ue;
                    me = shelfPower(W, qLow, g, ue);
                    mp = shelfPower(W, qHigh, g, up);
                    // Nothing beyond the shelf's top.
                    const double top = g * g;
                    if (boost ? me > top : me < top)
                        me = top;
                    if (boost ? mp > top : mp < top)
                        mp = top;
                } else {
                    ue = shelfRatio(qHigh, g, true) * U0;
                    const double ratio = (Gs - 1.0) / (Gs * Gs * Gs * Gs);
                    up = std::max(ratio * ratio, 0.0005) * ue;
                    me = shelfPower(W, qHigh, g, ue);
                    mp = shelfPower(W, qLow, g, up);
                    // Nothing beyond the shelf's foot.
                    if (boost ? me < 1.0 : me > 1.0)
                        me = 1.0;
                    if (boost ? mp < 1.0 : mp > 1.0)
                        mp = 1.0;
                }
                solveFixedTopExtremumPoint(ue, me, up, mp, g, &cSq, &dSq, &w);
                *outExtremumA = ue;
            }
        } catch (const EquationSolutionException&) {
            Q38_ASSERT_FALSE(core::kAssertionLibrary);
            flat = true;
            *outExtremumA = 0.0;
            *outExtremumB = 0.0;
        }
    }

    double* out = outAnalogCoefficients;
    if (flat) {
        out[0] = G;
        out[1] = Wc * G;
        out[2] = w0 * G;
        out[3] = 1.0;
        out[4] = Wc;
        out[5] = w0;
    } else {
        out[0] = g * G;
        out[1] = std::sqrt(std::fabs(cSq)) * G;
        out[2] = w * G;
        out[3] = 1.0;
        out[4] = std::sqrt(std::fabs(dSq));
        out[5] = w;
    }
    Q38_ASSERT(core::kAssertionLibrary, dsp::checkBuffer(outAnalogCoefficients, kNumAnalogCoefficients));
    Q38_ASSERT(core::kAssertionLibrary, AnalogIIRTools<2>::isStable(outAnalogCoefficients));
}

void HighShelf2Q::designMatched(const Params& inParams, double* outCoefficients, double* outAnalogCoefficients,
                                double inSampleRate, MatchPoints* outMatchPoints)
{
    Params unity = inParams;
    unity.mGainDb = 0.0;
    double uA = 0.0, uB = 0.0;
    designAnalog(unity, outAnalogCoefficients, &uA, &uB);
    const double G = decibelsToGain(inParams.mGainDb);
    const PowerResponse response = powerResponseOf(outAnalogCoefficients);

    const double fs = inSampleRate;
    const double Gs = std::max(1.0, decibelsToGain(designedHeightDb(inParams.mShelfGainDb)));
    const double sG = std::sqrt(Gs);
    const double W = kTwoPi * inParams.mFrequency;

    UnitDcPrototype prototype{0.0, 0.0, 0.0, 0.0};
    MatchPoints points{0, {0.0, 0.0, 0.0, 0.0}};
    bool matched = false;
    if (!(W / sG <= 0.006911503837897545 * fs || Gs <= 1.0001)) {
        const ShelfMatch match{response, fs, &prototype, &points};
        try {
            // Extrema the target hardly has (within 1e-05 of unity) are no anchors.
            double mA = 1.0, mB = 1.0;
            if (uA > 0.0)
                mA = std::max(0.0, evaluatePowerResponse(response, uA));
            if (uB > 0.0)
                mB = std::max(0.0, evaluatePowerResponse(response, uB));
            const bool negligibleA = std::fabs(mA - 1.0) < 1e-05;
            const bool negligibleB = std::fabs(mB - 1.0) < 1e-05;
            const bool lowOver = inParams.mQLow > kHalfRootTwo;
            const bool highOver = inParams.mQHigh > kHalfRootTwo;

            bool general = false;
            if (lowOver && highOver) {
                if (negligibleA && negligibleB) {
                    general = true;
                } else if (negligibleA) {
                    uA = uB;
                    mA = mB;
                }
            } else if (lowOver || highOver) {
                general = negligibleA;
            }

            const double T1 = 2.8494245368059423 * fs;
            const double T2 = 2.991424524748201 * fs;
            // Four points below T1 spread over the shelf's transition.
            auto fourPointsBelowT1 = [&]() {
                const double p1 = std::min(sG * W, T1);
                match.fourPoints(p1, p1 / sG, p1 / Gs, p1 / (sG * std::sqrt(sG)));
            };

            if (general || uA <= 0.0) {
                general = true;
            } else if (uB <= 0.0) {
                if (uA >= T1 * T1) {
                    general = true;
                } else {
                    const double wA = std::sqrt(uA);
                    const double a = wA / (Gs + 1.0);
                    if (wA < T2)
                        match.extremumTwoPoints(wA, mA, a, std::sqrt(a * wA));
                    else
                        fourPointsBelowT1();
                }
            } else {
                const double wA = std::sqrt(uA);
                const double wB = std::sqrt(uB);
                if (wB < T2) {
                    match.twoExtrema(wA, mA, wB, mB);
                } else if (wA < T2) {
                    // The upper extremum is out of reach: keep the lower one and two points up to the top.
                    const double top = wA >= 0.9 * T1 ? 0.8 * T1 : T1;
                    match.extremumTwoPoints(wA, mA, std::min(std::sqrt(wA * top), wA * sG), top);
                } else {
                    fourPointsBelowT1();
                }
            }

            if (general) {
                const double p1 = std::min(sG * W, T2);
                match.fourPoints(p1, p1 / Gs, p1 / (Gs * Gs), p1 / (Gs * sG));
            }
            matched = true;
        } catch (const EquationSolutionException&) {
            // No report: the plain transform below is the designed answer for this case.
            matched = false;
            points.mCount = 0;
        }
    }

    finishUnitDcDesign(matched, prototype, fs, G, outAnalogCoefficients, outCoefficients);
    if (outMatchPoints != nullptr)
        *outMatchPoints = points;
}

void HighShelf2Q::design(const Params& inParams, double* outCoefficients, double* outAnalogCoefficients,
                         double inSampleRate, MatchPoints* outMatchPoints)
{
    Q38_ASSERT(core::kAssertionLibrary, inSampleRate > 0.0);
    // Mode 0 names the shelf's lower corner and mode 1 its middle; the design
    // works on the upper corner.
    Params normalised = inParams;
    const double k = decibelsToGain(0.5 * std::max(std::fabs(inParams.mShelfGainDb), 0.0001));
    switch (inParams.mFrequencyMode) {
    case 0:
        normalised.mFrequency = inParams.mFrequency * k;
        break;
    case 1:
        normalised.mFrequency = inParams.mFrequency * std::sqrt(k);
        break;
    default:
        Q38_ASSERT_FALSE(core::kAssertionLibrary);
        break;
    }
    designMatched(normalised, outCoefficients, outAnalogCoefficients, inSampleRate, outMatchPoints);
    // The solved prototype may put a root outside; its mirror image keeps the magnitude.
    reflectRootsIntoUnitCircle(outCoefficients);
    Q38_ASSERT(core::kAssertionLibrary, dsp::checkBuffer(outCoefficients, kNumCoefficients));
    Q38_ASSERT(core::kAssertionLibrary, DigitalIIRTools<2>::isAlmostStable(outCoefficients, 1.e-8));
    Q38_ASSERT(core::kAssertionLibrary, DigitalIIRTools<2>::isAlmostMinimumPhase(outCoefficients, 1.e-8));
}

void HighShelf2Q::design(const Params& inParams, double* outCoefficients, double inSampleRate)
{
    double analog[kNumAnalogCoefficients];
    design(inParams, outCoefficients, analog, inSampleRate);
}

} // namespace dsp
