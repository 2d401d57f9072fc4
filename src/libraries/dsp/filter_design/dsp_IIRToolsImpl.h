#pragma once

// Common ground of every filter design: coefficient conventions, dB and
// frequency conversions, roots, the stability and minimum-phase checks and the
// bilinear transforms.
//
// Digital arrays hold b0, b1 [, b2], a0, a1 [, a2] in rising powers of z^-1
// with a0 written as exactly 1.0. Analog arrays hold B0, B1 [, B2], A0, A1 [, A2]
// in falling powers of s. Frequencies are in Hz in parameter records and in
// rad/s inside the designs (w = 2 pi f); K stands for 2 * sample rate.

#include <complex>

namespace dsp {

using Complex = std::complex<double>;

constexpr double kTwoPi = 6.283185307179586;
constexpr double kMachineEpsilon = 2.220446049250313e-16;
constexpr double kSmallestNormal = 2.2250738585072014e-308;

// 10^(dB/20), through exp with ln(10)/20 computed once in double.
double decibelsToGain(double inDecibels);

// True for zero, subnormals and NaN; infinity counts as present.
bool isNegligible(double inValue);
bool isNearlyEqual(double inX, double inY);

// True when none of the values is NaN or infinite. Used inside assertions only.
bool checkBuffer(const double* inBuffer, int inCount);

// Roots of a x^2 + b x + c, larger magnitude first; returns how many were found
// (the degree drops when the leading coefficients are negligible).
int quadraticRoots(double inA, double inB, double inC, Complex* outRoots);

// A root that is absent because the polynomial's degree dropped.
inline Complex missingRoot() { return Complex(-__builtin_inf(), 0.0); }

namespace detail {
bool conjugateOrReal(const Complex& inA, const Complex& inB);
} // namespace detail

template <int Order>
struct DigitalIIRTools;

template <>
struct DigitalIIRTools<1>
{
    static constexpr int kNumCoefficients = 4;
    static void zerosPolesGain(const double* inCoefficients, Complex* outZeros, Complex* outPoles, double* outGain);
    static bool isStable(const double* inCoefficients);
    static bool isMinimumPhase(const double* inCoefficients);
    static bool isAlmostMinimumPhase(const double* inCoefficients, double inTolerance);
};

template <>
struct DigitalIIRTools<2>
{
    static constexpr int kNumCoefficients = 6;
    static void zerosPolesGain(const double* inCoefficients, Complex* outZeros, Complex* outPoles, double* outGain);
    static bool isStable(const double* inCoefficients);
    // Squared pole magnitudes up to 1 + tolerance (or nearly equal to it) pass.
    static bool isAlmostStable(const double* inCoefficients, double inTolerance);
    static bool isMinimumPhase(const double* inCoefficients);
    static bool isAlmostMinimumPhase(const double* inCoefficients, double inTolerance);
    static void coefficientsFromZerosPolesGain(const Complex* inZeros, const Complex* inPoles, double inGain,
                                               double* outCoefficients);
};

template <int Order>
struct AnalogIIRTools;

template <>
struct AnalogIIRTools<2>
{
    // Every pole of A0 s^2 + A1 s + A2 in the closed left half-plane.
    static bool isStable(const double* inAnalogCoefficients);
    // Real parts up to inTolerance pass.
    static bool isAlmostStable(const double* inAnalogCoefficients, double inTolerance);
};

// Prewarp: K * tan((0.5 / fs) * w), w and the result in rad/s.
double warpFrequency(double inW, double inSampleRate);

// |H(jw)|^2 of an analog section, floored at 0.
double squaredMagnitudeOrder1(const double* inAnalogCoefficients, double inW);
double squaredMagnitudeOrder2(const double* inAnalogCoefficients, double inW);

template <int Order>
double squaredMagnitude(const double* inAnalogCoefficients, double inW)
{
    static_assert(Order == 1 || Order == 2);
    if constexpr (Order == 1)
        return squaredMagnitudeOrder1(inAnalogCoefficients, inW);
    else
        return squaredMagnitudeOrder2(inAnalogCoefficients, inW);
}

// (B0 s + B1) / (A0 s + A1) to b0, b1, a0 = 1, a1.
void bilinearOrder1(double inB0, double inB1, double inA0, double inA1, double inK, double* outCoefficients);
// (B0 s^2 + B1 s + B2) / (A0 s^2 + A1 s + A2) to six digital coefficients; the
// designs always pass A0 = 1.
void bilinearOrder2(double inB0, double inB1, double inB2, double inA0, double inA1, double inA2, double inK,
                    double* outCoefficients);

// |H(e^jw)|^2 of a digital section at a frequency in Hz; for tests and tools.
double digitalSquaredMagnitudeOrder1(const double* inCoefficients, double inFrequency, double inSampleRate);
double digitalSquaredMagnitudeOrder2(const double* inCoefficients, double inFrequency, double inSampleRate);

} // namespace dsp
