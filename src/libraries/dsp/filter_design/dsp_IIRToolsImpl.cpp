#include "dsp_IIRToolsImpl.h"

#include "core/core_Assert.h"

#include <algorithm>
#include <cmath>

namespace dsp {

double decibelsToGain(double inDecibels)
{
    static const double kFactor = std::log(10.0) / 20.0;
    return std::exp(kFactor * inDecibels);
}

bool isNegligible(double inValue)
{
    const double magnitude = std::fabs(inValue);
    const bool present = 2.0 * kMachineEpsilon * magnitude <= magnitude && magnitude >= kSmallestNormal;
    return !present;
}

bool isNearlyEqual(double inX, double inY)
{
    const double difference = std::fabs(inX - inY);
    return difference < 2.0 * kMachineEpsilon * std::fabs(inX + inY) || difference < kSmallestNormal;
}

bool checkBuffer(const double* inBuffer, int inCount)
{
    for (int i = 0; i < inCount; ++i) {
        if (std::isnan(inBuffer[i]))
            return false;
        if (std::isinf(inBuffer[i]))
            return false;
    }
    return true;
}

int quadraticRoots(double inA, double inB, double inC, Complex* outRoots)
{
    if (!isNegligible(inA)) {
        const double reciprocal = 1.0 / inA;
        const double p = reciprocal * inB;
        const double q = reciprocal * inC;
        const Complex discriminant(p * p - 4.0 * q, 0.0);
        // With p == 0 the sign is 0, which makes x^2 + q a double root at 0: kept as it is.
        const double sign = p == 0.0 ? 0.0 : std::copysign(1.0, p);
        const Complex root = std::sqrt(discriminant);
        const Complex first = -0.5 * (p + sign * root);
        outRoots[0] = first;
        if (first.real() == 0.0 && first.imag() == 0.0)
            outRoots[1] = Complex(0.0, 0.0);
        else
            outRoots[1] = q / first;
        return 2;
    }
    if (!isNegligible(inB)) {
        outRoots[0] = Complex((-1.0 / inB) * inC, 0.0);
        return 1;
    }
    return 0;
}

namespace detail {

bool conjugateOrReal(const Complex& inA, const Complex& inB)
{
    if (isNegligible(inA.imag()) && isNegligible(inB.imag()))
        return true;
    return isNearlyEqual(inA.real(), inB.real()) && isNearlyEqual(inA.imag(), -inB.imag());
}

} // namespace detail

namespace {

inline double squaredModulus(const Complex& inRoot)
{
    return inRoot.real() * inRoot.real() + inRoot.imag() * inRoot.imag();
}

bool allInside(const Complex* inRoots, int inCount, double inLimit)
{
    for (int i = 0; i < inCount; ++i)
        if (squaredModulus(inRoots[i]) > inLimit)
            return false;
    return true;
}

bool allAlmostInside(const Complex* inRoots, int inCount, double inTolerance)
{
    const double limit = 1.0 + inTolerance;
    for (int i = 0; i < inCount; ++i) {
        const double m = squaredModulus(inRoots[i]);
        if (m > limit && !isNearlyEqual(m, limit))
            return false;
    }
    return true;
}

} // namespace

void DigitalIIRTools<1>::zerosPolesGain(const double* inCoefficients, Complex* outZeros, Complex* outPoles,
                                        double* outGain)
{
    const double b0 = inCoefficients[0], b1 = inCoefficients[1];
    const double a0 = inCoefficients[2], a1 = inCoefficients[3];
    const bool zeroFound = !isNegligible(b0);
    outZeros[0] = zeroFound ? Complex(-b1 / b0, 0.0) : missingRoot();
    const bool poleFound = !isNegligible(a0);
    outPoles[0] = poleFound ? Complex(-a1 / a0, 0.0) : missingRoot();
    const double numerator = zeroFound ? b0 : b1;
    const double denominator = poleFound ? a0 : a1;
    Q38_ASSERT(core::kAssertionLibrary, denominator != 0.0);
    *outGain = numerator / denominator;
}

bool DigitalIIRTools<1>::isStable(const double* inCoefficients)
{
    Complex zeros[1], poles[1];
    double gain = 0.0;
    zerosPolesGain(inCoefficients, zeros, poles, &gain);
    return allInside(poles, 1, 1.0);
}

bool DigitalIIRTools<1>::isMinimumPhase(const double* inCoefficients)
{
    Complex zeros[1], poles[1];
    double gain = 0.0;
    zerosPolesGain(inCoefficients, zeros, poles, &gain);
    return allInside(zeros, 1, 1.0);
}

bool DigitalIIRTools<1>::isAlmostMinimumPhase(const double* inCoefficients, double inTolerance)
{
    Complex zeros[1], poles[1];
    double gain = 0.0;
    zerosPolesGain(inCoefficients, zeros, poles, &gain);
    return allAlmostInside(zeros, 1, inTolerance);
}

void DigitalIIRTools<2>::zerosPolesGain(const double* inCoefficients, Complex* outZeros, Complex* outPoles,
                                        double* outGain)
{
    const double* numerator = inCoefficients;
    const double* denominator = inCoefficients + 3;
    const int zeroCount = quadraticRoots(numerator[0], numerator[1], numerator[2], outZeros);
    for (int i = zeroCount; i < 2; ++i)
        outZeros[i] = missingRoot();
    const int poleCount = quadraticRoots(denominator[0], denominator[1], denominator[2], outPoles);
    for (int i = poleCount; i < 2; ++i)
        outPoles[i] = missingRoot();
    // The leading coefficient that counted in each polynomial.
    const double numeratorLead = numerator[2 - zeroCount];
    const double denominatorLead = denominator[2 - poleCount];
    Q38_ASSERT(core::kAssertionLibrary, denominatorLead != 0.0);
    *outGain = numeratorLead / denominatorLead;
}

bool DigitalIIRTools<2>::isStable(const double* inCoefficients)
{
    Complex zeros[2], poles[2];
    double gain = 0.0;
    zerosPolesGain(inCoefficients, zeros, poles, &gain);
    return allInside(poles, 2, 1.0);
}

bool DigitalIIRTools<2>::isAlmostStable(const double* inCoefficients, double inTolerance)
{
    Complex zeros[2], poles[2];
    double gain = 0.0;
    zerosPolesGain(inCoefficients, zeros, poles, &gain);
    return allAlmostInside(poles, 2, inTolerance);
}

bool DigitalIIRTools<2>::isMinimumPhase(const double* inCoefficients)
{
    Complex zeros[2], poles[2];
    double gain = 0.0;
    zerosPolesGain(inCoefficients, zeros, poles, &gain);
    return allInside(zeros, 2, 1.0);
}

bool DigitalIIRTools<2>::isAlmostMinimumPhase(const double* inCoefficients, double inTolerance)
{
    Complex zeros[2], poles[2];
    double gain = 0.0;
    zerosPolesGain(inCoefficients, zeros, poles, &gain);
    return allAlmostInside(zeros, 2, inTolerance);
}

void DigitalIIRTools<2>::coefficientsFromZerosPolesGain(const Complex* inZeros, const Complex* inPoles,
                                                        double inGain, double* outCoefficients)
{
    // The imaginary parts enter only through products, so the pair's sign convention matters.
    Q38_ASSERT(core::kAssertionLibrary, detail::conjugateOrReal(inZeros[0], inZeros[1]));
    Q38_ASSERT(core::kAssertionLibrary, detail::conjugateOrReal(inPoles[0], inPoles[1]));
    const Complex z0 = inZeros[0], z1 = inZeros[1];
    const Complex p0 = inPoles[0], p1 = inPoles[1];
    outCoefficients[0] = inGain;
    outCoefficients[1] = -(z0.real() + z1.real()) * inGain;
    outCoefficients[2] = (z0.real() * z1.real() - z0.imag() * z1.imag()) * inGain;
    outCoefficients[3] = 1.0;
    outCoefficients[4] = -(p0.real() + p1.real());
    outCoefficients[5] = p0.real() * p1.real() - p0.imag() * p1.imag();
}

namespace {

int analogPoles(const double* inAnalogCoefficients, Complex* outPoles)
{
    const int count = quadraticRoots(inAnalogCoefficients[3], inAnalogCoefficients[4], inAnalogCoefficients[5],
                                     outPoles);
    for (int i = count; i < 2; ++i)
        outPoles[i] = missingRoot();  // at minus infinity: on the stable side
    return count;
}

} // namespace

bool AnalogIIRTools<2>::isStable(const double* inAnalogCoefficients)
{
    return isAlmostStable(inAnalogCoefficients, 0.0);
}

bool AnalogIIRTools<2>::isAlmostStable(const double* inAnalogCoefficients, double inTolerance)
{
    Complex poles[2];
    analogPoles(inAnalogCoefficients, poles);
    for (const Complex& pole : poles)
        if (!(pole.real() <= inTolerance))
            return false;
    return true;
}

double warpFrequency(double inW, double inSampleRate)
{
    return 2.0 * inSampleRate * std::tan((0.5 / inSampleRate) * inW);
}

double squaredMagnitudeOrder1(const double* inAnalogCoefficients, double inW)
{
    const double B0 = inAnalogCoefficients[0], B1 = inAnalogCoefficients[1];
    const double A0 = inAnalogCoefficients[2], A1 = inAnalogCoefficients[3];
    const double w2 = inW * inW;
    const double value = (B0 * B0 * w2 + B1 * B1) / (A0 * A0 * w2 + A1 * A1);
    return std::max(0.0, value);
}

double squaredMagnitudeOrder2(const double* inAnalogCoefficients, double inW)
{
    const double B0 = inAnalogCoefficients[0], B1 = inAnalogCoefficients[1], B2 = inAnalogCoefficients[2];
    const double A0 = inAnalogCoefficients[3], A1 = inAnalogCoefficients[4], A2 = inAnalogCoefficients[5];
    const double u = inW * inW;
    const double numerator = B0 * B0 * (u * u) + (B1 * B1 - 2.0 * B0 * B2) * u + B2 * B2;
    const double denominator = A0 * A0 * (u * u) + (A1 * A1 - 2.0 * A0 * A2) * u + A2 * A2;
    return std::max(0.0, numerator / denominator);
}

void bilinearOrder1(double inB0, double inB1, double inA0, double inA1, double inK, double* outCoefficients)
{
    // Multiplying by the reciprocal, not dividing, is how the values arise.
    const double d = 1.0 / (inA0 * inK + inA1);
    outCoefficients[0] = (inB0 * inK + inB1) * d;
    outCoefficients[1] = (inB1 - inB0 * inK) * d;
    outCoefficients[2] = 1.0;
    outCoefficients[3] = (inA1 - inA0 * inK) * d;
}

void bilinearOrder2(double inB0, double inB1, double inB2, double inA0, double inA1, double inA2, double inK,
                    double* outCoefficients)
{
    const double K2 = inK * inK;
    const double d = 1.0 / (inA0 * K2 + inK * inA1 + inA2);
    outCoefficients[0] = (inB0 * K2 + inB1 * inK + inB2) * d;
    outCoefficients[1] = 2.0 * (inB2 - inB0 * K2) * d;
    outCoefficients[2] = (inB0 * K2 - inB1 * inK + inB2) * d;
    outCoefficients[3] = 1.0;
    outCoefficients[4] = 2.0 * (inA2 - inA0 * K2) * d;
    outCoefficients[5] = (inA0 * K2 - inK * inA1 + inA2) * d;
}

double digitalSquaredMagnitudeOrder1(const double* inCoefficients, double inFrequency, double inSampleRate)
{
    const Complex x = std::polar(1.0, -kTwoPi * inFrequency / inSampleRate);
    const Complex h = (inCoefficients[0] + inCoefficients[1] * x) / (inCoefficients[2] + inCoefficients[3] * x);
    return std::norm(h);
}

double digitalSquaredMagnitudeOrder2(const double* inCoefficients, double inFrequency, double inSampleRate)
{
    const Complex x = std::polar(1.0, -kTwoPi * inFrequency / inSampleRate);
    const Complex h = (inCoefficients[0] + x * (inCoefficients[1] + x * inCoefficients[2])) /
                      (inCoefficients[3] + x * (inCoefficients[4] + x * inCoefficients[5]));
    return std::norm(h);
}

} // namespace dsp
