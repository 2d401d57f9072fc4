#pragma once

// Shared steps of the second-order matched designs: reading a target's power
// response, finding its extremum, prewarping match frequencies, turning a
// solved prototype (t s^2 + c s + z) / (s^2 + d s + w) into a digital section,
// and reflecting roots into the unit circle.

namespace dsp {

// Mt(u) = (nA u^2 + nB u + nC) / (dA u^2 + dB u + dC), u = w^2.
struct PowerResponse
{
    double mNA, mNB, mNC;
    double mDA, mDB, mDC;
};

// From an analog second-order array (numerator and denominator by falling power of s).
PowerResponse powerResponseOf(const double* inAnalogCoefficients);

// The raw value at u (may be negative through rounding).
double evaluatePowerResponse(const PowerResponse& inResponse, double inU);

// A match value: Mt at w^2, clamped to at least 0.
double matchValue(const PowerResponse& inResponse, double inW);

// The frequency (rad/s) where the power response has its extremum, from the
// stable quadratic formula. Returns false at a negative discriminant and
// leaves outW untouched then.
bool powerResponseExtremum(const PowerResponse& inResponse, double* outW);

// (K tan(w / K))^2 with K = 2 fs: the prewarped square that a solver takes.
double prewarpedSquare(double inW, double inSampleRate);

// Bilinear transform of the prototype with the floors on c and d, then the
// numerator scaled by the output gain. Writes six coefficients with a0 = 1.
void prototypeToDigital(double inT, double inCSq, double inZ, double inDSq, double inW, double inSampleRate,
                        double inOutputGain, double* outCoefficients);

// Reflects every pole and zero outside the unit circle to its reciprocal,
// keeping the magnitude response; rebuilds the section only if a root moved.
// Returns whether anything moved.
bool reflectRootsIntoUnitCircle(double* ioCoefficients);

} // namespace dsp
