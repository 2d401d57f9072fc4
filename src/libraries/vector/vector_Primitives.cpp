#include "vector_Primitives.h"

#include <cmath>
#include <cstdlib>
#include <cstring>

namespace {

// Pointer checks come before the length check.
inline VectorStatus checkArguments(bool inPointersValid, int inLength)
{
    if (!inPointersValid)
        return kVectorNullPointerError;
    if (inLength <= 0)
        return kVectorLengthError;
    return kVectorSuccess;
}

} // namespace

void* vectorAllocate(std::ptrdiff_t inSizeInBytes)
{
    if (inSizeInBytes < 1)
        return nullptr;
    void* raw = std::malloc(static_cast<std::size_t>(inSizeInBytes) + 72);
    if (raw == nullptr)
        return nullptr;
    // Round up to 64 bytes, keeping at least 8 bytes below for the raw pointer.
    const std::uintptr_t aligned = (reinterpret_cast<std::uintptr_t>(raw) + 71) & ~std::uintptr_t(63);
    std::memcpy(reinterpret_cast<void*>(aligned - sizeof(void*)), &raw, sizeof(void*));
    return reinterpret_cast<void*>(aligned);
}

void vectorFree(void* inBlock)
{
    if (inBlock == nullptr)
        return;
    void* raw = nullptr;
    std::memcpy(&raw, static_cast<char*>(inBlock) - sizeof(void*), sizeof(void*));
    std::free(raw);
}

VectorStatus vectorCopy(const double* inSource, double* outDestination, int inLength)
{
    if (const VectorStatus status = checkArguments(inSource && outDestination, inLength))
        return status;
    for (int i = 0; i < inLength; ++i)
        outDestination[i] = inSource[i];
    return kVectorSuccess;
}

VectorStatus vectorZero(double* outDestination, int inLength)
{
    if (const VectorStatus status = checkArguments(outDestination != nullptr, inLength))
        return status;
    for (int i = 0; i < inLength; ++i)
        outDestination[i] = 0.0;
    return kVectorSuccess;
}

VectorStatus vectorFloatToDouble(const float* inSource, double* outDestination, int inLength)
{
    if (const VectorStatus status = checkArguments(inSource && outDestination, inLength))
        return status;
    for (int i = 0; i < inLength; ++i)
        outDestination[i] = static_cast<double>(inSource[i]);
    return kVectorSuccess;
}

VectorStatus vectorDoubleToFloat(const double* inSource, float* outDestination, int inLength)
{
    if (const VectorStatus status = checkArguments(inSource && outDestination, inLength))
        return status;
    for (int i = 0; i < inLength; ++i)
        outDestination[i] = vectorNarrowSample(inSource[i]);
    return kVectorSuccess;
}

VectorStatus vectorScaleInPlace(double inValue, double* ioSourceDestination, int inLength)
{
    if (const VectorStatus status = checkArguments(ioSourceDestination != nullptr, inLength))
        return status;
    if (inValue == 1.0)
        return kVectorSuccess;
    if (inValue == 0.0)
        return vectorZero(ioSourceDestination, inLength);  // also clears infinities and NaNs
    for (int i = 0; i < inLength; ++i)
        ioSourceDestination[i] *= inValue;
    return kVectorSuccess;
}

VectorStatus vectorScale(const double* inSource, double inValue, double* outDestination, int inLength)
{
    if (const VectorStatus status = checkArguments(inSource && outDestination, inLength))
        return status;
    if (inValue == 1.0)
        return vectorCopy(inSource, outDestination, inLength);
    if (inValue == 0.0)
        return vectorZero(outDestination, inLength);
    for (int i = 0; i < inLength; ++i)
        outDestination[i] = inSource[i] * inValue;
    return kVectorSuccess;
}

VectorStatus vectorAddInPlace(const double* inSource, double* ioSourceDestination, int inLength)
{
    if (const VectorStatus status = checkArguments(inSource && ioSourceDestination, inLength))
        return status;
    for (int i = 0; i < inLength; ++i)
        ioSourceDestination[i] += inSource[i];
    return kVectorSuccess;
}

VectorStatus vectorSubtractInPlace(const double* inSource, double* ioSourceDestination, int inLength)
{
    if (const VectorStatus status = checkArguments(inSource && ioSourceDestination, inLength))
        return status;
    for (int i = 0; i < inLength; ++i)
        ioSourceDestination[i] -= inSource[i];
    return kVectorSuccess;
}

VectorStatus vectorAdd(const double* inSource1, const double* inSource2, double* outDestination, int inLength)
{
    if (const VectorStatus status = checkArguments(inSource1 && inSource2 && outDestination, inLength))
        return status;
    for (int i = 0; i < inLength; ++i)
        outDestination[i] = inSource1[i] + inSource2[i];
    return kVectorSuccess;
}

VectorStatus vectorAbs(const double* inSource, double* outDestination, int inLength)
{
    if (const VectorStatus status = checkArguments(inSource && outDestination, inLength))
        return status;
    for (int i = 0; i < inLength; ++i)
        outDestination[i] = std::fabs(inSource[i]);
    return kVectorSuccess;
}

VectorStatus vectorMinMax(const double* inSource, int inLength, double* outMin, double* outMax)
{
    if (const VectorStatus status = checkArguments(inSource && outMin && outMax, inLength))
        return status;
    double smallest = inSource[0];
    double largest = inSource[0];
    for (int i = 1; i < inLength; ++i) {
        smallest = inSource[i] < smallest ? inSource[i] : smallest;
        largest = inSource[i] > largest ? inSource[i] : largest;
    }
    *outMin = smallest;
    *outMax = largest;
    return kVectorSuccess;
}

VectorStatus vectorThreshold(const double* inSource, double* outDestination, int inLength, double inLowerLevel,
                             double inLowerValue, double inUpperLevel, double inUpperValue)
{
    if (const VectorStatus status = checkArguments(inSource && outDestination, inLength))
        return status;
    if (inLowerLevel > inUpperLevel)
        return kVectorThresholdError;
    for (int i = 0; i < inLength; ++i) {
        const double x = inSource[i];
        if (x < inLowerLevel)
            outDestination[i] = inLowerValue;
        else if (x <= inUpperLevel)
            outDestination[i] = x;
        else
            outDestination[i] = inUpperValue;  // also NaN
    }
    return kVectorSuccess;
}
