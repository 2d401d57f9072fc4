#include "dsp_MatchingFrame.h"

#include "dsp_IIRToolsImpl.h"

#include <algorithm>
#include <cmath>

namespace dsp {

PowerResponse powerResponseOf(const double* inAnalogCoefficients)
{
    const double n2 = inAnalogCoefficients[0], n1 = inAnalogCoefficients[1], n0 = inAnalogCoefficients[2];
    const double d2 = inAnalogCoefficients[3], d1 = inAnalogCoefficients[4], d0 = inAnalogCoefficients[5];
    PowerResponse response;
    response.mNA = n2 * n2;
    response.mNB = n1 * n1 - 2.0 * n2 * n0;
    response.mNC = n0 * n0;
    response.mDA = d2 * d2;
    response.mDB = d1 * d1 - 2.0 * d2 * d0;
    response.mDC = d0 * d0;
    return response;
}

double evaluatePowerResponse(const PowerResponse& inResponse, double inU)
{
    const double uSq = inU * inU;
    const double numerator = inResponse.mNA * uSq + inResponse.mNB * inU + inResponse.mNC;
    const double denominator = inResponse.mDA * uSq + inResponse.mDB * inU + inResponse.mDC;
    return numerator / denominator;
}

double matchValue(const PowerResponse& inResponse, double inW)
{
    return std::max(0.0, evaluatePowerResponse(inResponse, inW * inW));
}

bool powerResponseExtremum(const PowerResponse& inResponse, double* outW)
{
    const PowerResponse& r = inResponse;
    const double A = r.mNA * r.mDB - r.mDA * r.mNB;
    const double B = 2.0 * (r.mDC * r.mNA - r.mDA * r.mNC);
    const double C = r.mDC * r.mNB - r.mNC * r.mDB;
    const double discriminant = B * B - 4.0 * A * C;
    if (!(discriminant >= 0.0))
        return false;
    const double sign = B > 0.0 ? 1.0 : (B < 0.0 ? -1.0 : 0.0);
    const double q = -B / 2.0 - sign * std::sqrt(discriminant) / 2.0;
    const double first = std::sqrt(std::max(0.0, q / A));
    const double second = std::sqrt(std::max(0.0, C / q));
    *outW = std::max(first, second);
    return true;
}

double prewarpedSquare(double inW, double inSampleRate)
{
    const double warped = warpFrequency(inW, inSampleRate);
    return warped * warped;
}

void prototypeToDigital(double inT, double inCSq, double inZ, double inDSq, double inW, double inSampleRate,
                        double inOutputGain, double* outCoefficients)
{
    // The floors keep zeros and poles off the unit circle. The floor comes first
    // so that a NaN root (from a negative square) gives the floor too.
    const double c = std::max(1.e-8, std::sqrt(inCSq));
    const double d = std::max(1.e-8, std::sqrt(inDSq));
    const double k = 2.0 * inSampleRate;
    const double k2 = k * k;
    const double norm = 1.0 / (k2 + k * d + inW);
    outCoefficients[0] = norm * (inT * k2 + k * c + inZ);
    outCoefficients[1] = 2.0 * norm * (inZ - inT * k2);
    outCoefficients[2] = norm * (inT * k2 - k * c + inZ);
    outCoefficients[3] = 1.0;
    outCoefficients[4] = 2.0 * norm * (inW - k2);
    outCoefficients[5] = norm * (k2 - k * d + inW);
    outCoefficients[0] *= inOutputGain;
    outCoefficients[1] *= inOutputGain;
    outCoefficients[2] *= inOutputGain;
}

bool reflectRootsIntoUnitCircle(double* ioCoefficients)
{
    Complex zeros[2], poles[2];
    double gain = 0.0;
    DigitalIIRTools<2>::zerosPolesGain(ioCoefficients, zeros, poles, &gain);
    bool moved = false;
    auto reflect = [&moved](Complex& ioRoot) -> double {
        const double squared = ioRoot.real() * ioRoot.real() + ioRoot.imag() * ioRoot.imag();
        // A missing root (degree dropped) is not a root to move.
        if (!(squared > 1.0) || std::isinf(squared))
            return 1.0;
        ioRoot = Complex(ioRoot.real() / squared, -ioRoot.imag() / squared);
        moved = true;
        return std::sqrt(squared);
    };
    for (Complex& pole : poles)
        gain /= reflect(pole);
    for (Complex& zero : zeros)
        gain *= reflect(zero);
    if (moved)
        DigitalIIRTools<2>::coefficientsFromZerosPolesGain(zeros, poles, gain, ioCoefficients);
    return moved;
}

} // namespace dsp
