#pragma once

// Array primitives on doubles used by the signal path: plain loops over a
// pointer and a length, each returning a status code. Blocks need not be
// aligned beyond their element size, and nothing here allocates except
// vectorAllocate.

#include <cstddef>
#include <cstdint>

using VectorStatus = std::int32_t;

constexpr VectorStatus kVectorSuccess = 0;
constexpr VectorStatus kVectorLengthError = -6;      // length is 0 or negative
constexpr VectorStatus kVectorNullPointerError = -8; // a required pointer is null
constexpr VectorStatus kVectorThresholdError = -18;  // lower threshold above the upper one

// A block aligned to 64 bytes, or null (also for a size below 1).
void* vectorAllocate(std::ptrdiff_t inSizeInBytes);
// Releases a block of vectorAllocate; null is ignored.
void vectorFree(void* inBlock);

VectorStatus vectorCopy(const double* inSource, double* outDestination, int inLength);
VectorStatus vectorZero(double* outDestination, int inLength);
VectorStatus vectorFloatToDouble(const float* inSource, double* outDestination, int inLength);
// Limits to the largest finite float before narrowing, so nothing leaves as infinity.
VectorStatus vectorDoubleToFloat(const double* inSource, float* outDestination, int inLength);
// One sample of vectorDoubleToFloat, for loops that narrow as they go. A NaN passes.
inline float vectorNarrowSample(double inValue)
{
    constexpr double kLargestFloat = 3.4028234663852886e+38;
    double x = inValue > kLargestFloat ? kLargestFloat : inValue;
    x = x < -kLargestFloat ? -kLargestFloat : x;
    return static_cast<float>(x);
}
VectorStatus vectorScaleInPlace(double inValue, double* ioSourceDestination, int inLength);
VectorStatus vectorScale(const double* inSource, double inValue, double* outDestination, int inLength);
VectorStatus vectorAddInPlace(const double* inSource, double* ioSourceDestination, int inLength);
VectorStatus vectorSubtractInPlace(const double* inSource, double* ioSourceDestination, int inLength);
VectorStatus vectorAdd(const double* inSource1, const double* inSource2, double* outDestination, int inLength);
VectorStatus vectorAbs(const double* inSource, double* outDestination, int inLength);
VectorStatus vectorMinMax(const double* inSource, int inLength, double* outMin, double* outMax);
// x > upper gives upperValue, x < lower gives lowerValue, otherwise x. NaN gives upperValue.
VectorStatus vectorThreshold(const double* inSource, double* outDestination, int inLength, double inLowerLevel,
                             double inLowerValue, double inUpperLevel, double inUpperValue);
