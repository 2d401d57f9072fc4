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

// Every primitive with the given pointers (null or a live block) and length.
void expectStatusForAll(bool inNullPointers, int inLength, VectorStatus inExpected)
{
    double block[4] = {7.0, 7.0, 7.0, 7.0};
    float floats[4] = {7.0f, 7.0f, 7.0f, 7.0f};
    double* d = inNullPointers ? nullptr : block;
    float* f = inNullPointers ? nullptr : floats;
    double low = 0.0, high = 0.0;
    EXPECT_EQ(vectorCopy(d, d, inLength), inExpected);
    EXPECT_EQ(vectorZero(d, inLength), inExpected);
    EXPECT_EQ(vectorFloatToDouble(f, d, inLength), inExpected);
    EXPECT_EQ(vectorDoubleToFloat(d, f, inLength), inExpected);
    EXPECT_EQ(vectorScaleInPlace(0.0, d, inLength), inExpected);
    EXPECT_EQ(vectorScale(d, 0.0, d, inLength), inExpected);
    EXPECT_EQ(vectorAddInPlace(d, d, inLength), inExpected);
    EXPECT_EQ(vectorSubtractInPlace(d, d, inLength), inExpected);
    EXPECT_EQ(vectorAdd(d, d, d, inLength), inExpected);
    EXPECT_EQ(vectorAbs(d, d, inLength), inExpected);
    EXPECT_EQ(vectorMinMax(d, inLength, inNullPointers ? nullptr : &low, inNullPointers ? nullptr : &high),
              inExpected);
    // The threshold order is checked last.
    EXPECT_EQ(vectorThreshold(d, d, inLength, 1.0, 1.0, -1.0, -1.0), inExpected);
    // A refused call leaves its destination alone.
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(block[i], 7.0);
        EXPECT_EQ(floats[i], 7.0f);
    }
}

} // namespace

TEST(VectorPrimitives, StatusCodesWithPointerCheckFirst)
{
    expectStatusForAll(true, 0, kVectorNullPointerError);
    expectStatusForAll(true, 4, kVectorNullPointerError);
    expectStatusForAll(false, 0, kVectorLengthError);
    expectStatusForAll(false, -3, kVectorLengthError);

    // One null among several pointers is enough.
    double block[2] = {1.0, 2.0};
    double low = 0.0;
    EXPECT_EQ(vectorAdd(block, nullptr, block, 2), kVectorNullPointerError);
    EXPECT_EQ(vectorMinMax(block, 2, &low, nullptr), kVectorNullPointerError);

    EXPECT_EQ(vectorThreshold(block, block, 2, 1.0, 1.0, -1.0, -1.0), kVectorThresholdError);
    EXPECT_EQ(block[0], 1.0);
    EXPECT_EQ(block[1], 2.0);
}

TEST(VectorPrimitives, DoubleToFloatLimitsToTheLargestFiniteFloat)
{
    const double source[5] = {1e300, -1e300, kInf, 0.1, kNaN};
    float destination[5] = {};
    ASSERT_EQ(vectorDoubleToFloat(source, destination, 5), kVectorSuccess);
    EXPECT_EQ(destination[0], FLT_MAX);
    EXPECT_EQ(destination[1], -FLT_MAX);
    EXPECT_EQ(destination[2], FLT_MAX);
    EXPECT_EQ(destination[3], 0.1f);
    EXPECT_TRUE(std::isnan(destination[4]));

    const float floats[2] = {0.1f, -FLT_MAX};
    double doubles[2] = {};
    ASSERT_EQ(vectorFloatToDouble(floats, doubles, 2), kVectorSuccess);
    EXPECT_EQ(doubles[0], static_cast<double>(0.1f));
    EXPECT_EQ(doubles[1], -3.4028234663852886e+38);
}

TEST(VectorPrimitives, ScaleByZeroClearsInfinitiesAndByOneCopies)
{
    const double source[4] = {kInf, -kInf, kNaN, 3.0};
    double scaled[4] = {5.0, 5.0, 5.0, 5.0};
    ASSERT_EQ(vectorScale(source, 0.0, scaled, 4), kVectorSuccess);
    for (double value : scaled)
        EXPECT_EQ(value, 0.0);

    double inPlace[4] = {kInf, -kInf, kNaN, 3.0};
    ASSERT_EQ(vectorScaleInPlace(0.0, inPlace, 4), kVectorSuccess);
    for (double value : inPlace)
        EXPECT_EQ(value, 0.0);

    // A factor of exactly 1 passes the values through, NaN included.
    ASSERT_EQ(vectorScale(source, 1.0, scaled, 4), kVectorSuccess);
    EXPECT_EQ(std::memcmp(source, scaled, sizeof source), 0);

    ASSERT_EQ(vectorScale(source + 3, -0.5, scaled, 1), kVectorSuccess);
    EXPECT_EQ(scaled[0], -1.5);
    double one[1] = {3.0};
    ASSERT_EQ(vectorScaleInPlace(4.0, one, 1), kVectorSuccess);
    EXPECT_EQ(one[0], 12.0);
}

TEST(VectorPrimitives, ElementwiseArithmeticOnUnalignedBlocks)
{
    // Blocks that start 8 bytes past a 16-byte boundary.
    alignas(16) double storage[3][5] = {{0.0, 1.0, -2.0, 3.5, -4.0}, {0.0, 0.5, 0.5, -1.0, 8.0}, {}};
    const double* a = storage[0] + 1;
    const double* b = storage[1] + 1;
    double* out = storage[2] + 1;
    ASSERT_EQ(vectorAdd(a, b, out, 4), kVectorSuccess);
    ASSERT_EQ(vectorSubtractInPlace(a, out, 4), kVectorSuccess);  // back to b
    ASSERT_EQ(vectorAddInPlace(b, out, 4), kVectorSuccess);       // 2 b
    EXPECT_EQ(out[3], 16.0);
    ASSERT_EQ(vectorAbs(a, out, 4), kVectorSuccess);
    EXPECT_EQ(out[1], 2.0);
    EXPECT_EQ(out[3], 4.0);

    double low = 0.0, high = 0.0;
    ASSERT_EQ(vectorMinMax(a, 4, &low, &high), kVectorSuccess);
    EXPECT_EQ(low, -4.0);
    EXPECT_EQ(high, 3.5);
}

TEST(VectorPrimitives, ThresholdClipsAndSendsNaNUp)
{
    const double source[5] = {-3.0, -1.0, 0.25, 2.0, kNaN};
    double clipped[5] = {};
    ASSERT_EQ(vectorThreshold(source, clipped, 5, -1.0, -1.0, 1.0, 1.0), kVectorSuccess);
    const double expected[5] = {-1.0, -1.0, 0.25, 1.0, 1.0};
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(clipped[i], expected[i]) << i;

    // Distinct replacement values, and an infinite lower level that leaves that side open.
    ASSERT_EQ(vectorThreshold(source, clipped, 5, -kInf, 0.0, 0.5, 9.0), kVectorSuccess);
    const double open[5] = {-3.0, -1.0, 0.25, 9.0, 9.0};
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(clipped[i], open[i]) << i;
}

TEST(VectorPrimitives, AllocateAlignsTo64BytesAndRefusesEmptySizes)
{
    EXPECT_EQ(vectorAllocate(0), nullptr);
    EXPECT_EQ(vectorAllocate(-8), nullptr);
    vectorFree(nullptr);

    for (std::ptrdiff_t size : {1, 7, 64, 100, 4096, 100001}) {
        void* block = vectorAllocate(size);
        ASSERT_NE(block, nullptr) << size;
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % 64, 0u) << size;
        std::memset(block, 0xA5, static_cast<std::size_t>(size));  // the whole size is usable
        vectorFree(block);
    }
}
