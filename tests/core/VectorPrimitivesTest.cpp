#include "vector/vector_Primitives.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// Every primitive with null or live pointers and the given length; a refused call writes nothing.
void expectStatusForAll(bool inNullPointers, int inLength, VectorStatus inExpected)
{
    double block[4] = {7.0, 7.0, 7.0, 7.0}, low = 0.0, high = 0.0;
    float floats[4] = {7.0f, 7.0f, 7.0f, 7.0f};
    double* d = inNullPointers ? nullptr : block;
    float* f = inNullPointers ? nullptr : floats;
    const VectorStatus results[] = {
        vectorCopy(d, d, inLength), vectorZero(d, inLength), vectorFloatToDouble(f, d, inLength),
        vectorDoubleToFloat(d, f, inLength), vectorScaleInPlace(0.0, d, inLength), vectorScale(d, 0.0, d, inLength),
        vectorAddInPlace(d, d, inLength), vectorSubtractInPlace(d, d, inLength), vectorAdd(d, d, d, inLength),
        vectorAbs(d, d, inLength), vectorMinMax(d, inLength, d ? &low : nullptr, d ? &high : nullptr),
        vectorThreshold(d, d, inLength, 1.0, 1.0, -1.0, -1.0),  // the threshold order is checked last
    };
    for (std::size_t i = 0; i < std::size(results); ++i)
        EXPECT_EQ(results[i], inExpected) << i;
    for (int i = 0; i < 4; ++i)
        EXPECT_TRUE(block[i] == 7.0 && floats[i] == 7.0f);
}

} // namespace

TEST(VectorPrimitives, StatusCodesWithPointerCheckFirst)
{
    expectStatusForAll(true, 0, kVectorNullPointerError);
    expectStatusForAll(true, 4, kVectorNullPointerError);
    expectStatusForAll(false, 0, kVectorLengthError);
    expectStatusForAll(false, -3, kVectorLengthError);
    EXPECT_EQ(kVectorNullPointerError, -8);
    EXPECT_EQ(kVectorLengthError, -6);
    EXPECT_EQ(kVectorThresholdError, -18);

    double block[2] = {1.0, 2.0}, low = 0.0;
    EXPECT_EQ(vectorAdd(block, nullptr, block, 2), kVectorNullPointerError);  // one null is enough
    EXPECT_EQ(vectorMinMax(block, 2, &low, nullptr), kVectorNullPointerError);
    EXPECT_EQ(vectorThreshold(block, block, 2, 0.5, 0.5, 0.25, 0.25), kVectorThresholdError);
    EXPECT_TRUE(block[0] == 1.0 && block[1] == 2.0);
}

TEST(VectorPrimitives, ConversionsLimitToTheLargestFiniteFloat)
{
    const double source[5] = {1e300, -1e300, kInf, 0.1, kNaN};
    float floats[5] = {};
    ASSERT_EQ(vectorDoubleToFloat(source, floats, 5), kVectorSuccess);
    EXPECT_EQ(floats[0], FLT_MAX);
    EXPECT_EQ(floats[1], -FLT_MAX);
    EXPECT_EQ(floats[2], FLT_MAX);
    EXPECT_EQ(floats[3], 0.1f);
    EXPECT_TRUE(std::isnan(floats[4]));
    double doubles[2] = {};
    ASSERT_EQ(vectorFloatToDouble(floats + 1, doubles, 2), kVectorSuccess);
    EXPECT_TRUE(doubles[0] == -3.4028234663852886e+38 && doubles[1] == 3.4028234663852886e+38);
}

// Statuses are summed below: every error code is negative.
TEST(VectorPrimitives, ArithmeticScaleAndThreshold)
{
    // Scaling by zero clears infinities and NaNs; by exactly one copies, NaN included.
    const double source[4] = {kInf, -kInf, kNaN, 3.0};
    double scaled[4] = {5.0, 5.0, 5.0, 5.0}, inPlace[4] = {kInf, -kInf, kNaN, 3.0};
    EXPECT_EQ(vectorScale(source, 0.0, scaled, 4) + vectorScaleInPlace(0.0, inPlace, 4), kVectorSuccess);
    for (int i = 0; i < 4; ++i)
        EXPECT_TRUE(scaled[i] == 0.0 && inPlace[i] == 0.0) << i;
    EXPECT_EQ(vectorScale(source, 1.0, scaled, 4), kVectorSuccess);
    EXPECT_EQ(std::memcmp(source, scaled, sizeof source), 0);
    EXPECT_EQ(vectorScale(source + 3, -0.5, scaled, 1), kVectorSuccess);
    EXPECT_EQ(scaled[0], -1.5);

    // Blocks that start 8 bytes past a 16-byte boundary: a + b - a + b, scaled by 4, is 8 b.
    alignas(16) double storage[3][5] = {{0.0, 1.0, -2.0, 3.5, -4.0}, {0.0, 0.5, 0.5, -1.0, 8.0}, {}};
    const double *a = storage[0] + 1, *b = storage[1] + 1;
    double *out = storage[2] + 1, low = 0.0, high = 0.0;
    EXPECT_EQ(vectorAdd(a, b, out, 4) + vectorSubtractInPlace(a, out, 4) + vectorAddInPlace(b, out, 4) +
                  vectorScaleInPlace(4.0, out, 4),
              kVectorSuccess);
    EXPECT_TRUE(out[0] == 4.0 && out[3] == 64.0);
    EXPECT_EQ(vectorAbs(a, out, 4) + vectorMinMax(a, 4, &low, &high), kVectorSuccess);
    EXPECT_TRUE(out[1] == 2.0 && out[3] == 4.0 && low == -4.0 && high == 3.5);

    // Clipping with distinct replacement values; NaN goes up; an infinite lower level leaves that side open.
    const double values[5] = {-3.0, -1.0, 0.25, 2.0, kNaN};
    double clipped[5] = {};
    ASSERT_EQ(vectorThreshold(values, clipped, 5, -1.0, -1.5, 1.0, 1.5), kVectorSuccess);
    const double expected[5] = {-1.5, -1.0, 0.25, 1.5, 1.5};
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(clipped[i], expected[i]) << i;
    ASSERT_EQ(vectorThreshold(values, clipped, 5, -kInf, 0.0, 0.5, 9.0), kVectorSuccess);
    EXPECT_TRUE(clipped[0] == -3.0 && clipped[3] == 9.0 && clipped[4] == 9.0);
}

TEST(VectorPrimitives, AllocateAlignsTo64BytesAndRefusesEmptySizes)
{
    EXPECT_TRUE(vectorAllocate(0) == nullptr && vectorAllocate(-8) == nullptr);
    vectorFree(nullptr);
    void* block = vectorAllocate(100001);
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % 64, 0u);
    std::memset(block, 0xA5, 100001);  // the whole size is usable
    vectorFree(block);
}
