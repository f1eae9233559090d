#include "DovrelFoundation/Appearance/NumericExtensions.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <string>

namespace dovrel {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// Both operations are constexpr.
static_assert(clamped(12, ClosedRange<int>{0, 10}) == 10);
static_assert(lerp(0.5, ClosedRange<double>{0.0, 4.0}) == 2.0);

TEST(Clamped, IntegersBelowInsideAndAboveTheRange) {
    const ClosedRange<int> range{1, 7};
    EXPECT_EQ(clamped(-3, range), 1);
    EXPECT_EQ(clamped(1, range), 1);
    EXPECT_EQ(clamped(4, range), 4);
    EXPECT_EQ(clamped(7, range), 7);
    EXPECT_EQ(clamped(8, range), 7);
    EXPECT_EQ(clamped(std::numeric_limits<std::int64_t>::min(), ClosedRange<std::int64_t>{0, 100}),
              0);
}

TEST(Clamped, DoublesBelowInsideAndAboveTheRange) {
    const ClosedRange<double> range{0.0, 100.0};
    EXPECT_EQ(clamped(-0.5, range), 0.0);
    EXPECT_EQ(clamped(42.25, range), 42.25);
    EXPECT_EQ(clamped(100.0000001, range), 100.0);
    EXPECT_EQ(clamped(std::numeric_limits<double>::infinity(), range), 100.0);
    EXPECT_EQ(clamped(-std::numeric_limits<double>::infinity(), range), 0.0);
}

TEST(Clamped, ASingleValueRangeGivesThatValue) {
    EXPECT_EQ(clamped(-10, ClosedRange<int>{5, 5}), 5);
    EXPECT_EQ(clamped(10, ClosedRange<int>{5, 5}), 5);
}

TEST(Clamped, WorksOnAnyTotallyOrderedType) {
    const ClosedRange<std::string> range{"b", "d"};
    EXPECT_EQ(clamped(std::string("a"), range), "b");
    EXPECT_EQ(clamped(std::string("c"), range), "c");
    EXPECT_EQ(clamped(std::string("z"), range), "d");
}

TEST(Lerp, ValueInsideTheUnitIntervalInterpolates) {
    const ClosedRange<double> range{10.0, 20.0};
    EXPECT_DOUBLE_EQ(lerp(0.25, range), 12.5);
    EXPECT_DOUBLE_EQ(lerp(0.5, range), 15.0);
    EXPECT_DOUBLE_EQ(lerp(1.0, range), 20.0);
}

TEST(Lerp, ValueNotGreaterThanZeroGivesTheLowerBound) {
    const ClosedRange<double> range{10.0, 20.0};
    EXPECT_EQ(lerp(0.0, range), 10.0);
    EXPECT_EQ(lerp(-0.5, range), 10.0);
    EXPECT_EQ(lerp(-std::numeric_limits<double>::infinity(), range), 10.0);
}

TEST(Lerp, ValueAboveOneGivesTheUpperBound) {
    const ClosedRange<double> range{10.0, 20.0};
    EXPECT_EQ(lerp(1.5, range), 20.0);
    EXPECT_EQ(lerp(std::numeric_limits<double>::infinity(), range), 20.0);
}

TEST(Lerp, NaNGivesTheLowerBound) {
    EXPECT_EQ(lerp(kNaN, ClosedRange<double>{10.0, 20.0}), 10.0);
    EXPECT_EQ(lerp(std::numeric_limits<float>::quiet_NaN(), ClosedRange<float>{-1.0F, 1.0F}),
              -1.0F);
}

TEST(Lerp, ReversedRangeRunsFromLowerToUpper) {
    const ClosedRange<double> range{1.0, 0.0};
    EXPECT_DOUBLE_EQ(lerp(0.25, range), 0.75);
    EXPECT_EQ(lerp(2.0, range), 0.0);
}

TEST(Lerp, WorksOnGraphicsFloats) {
    EXPECT_FLOAT_EQ(lerp(0.5F, ClosedRange<float>{0.0F, 3.0F}), 1.5F);
    EXPECT_FLOAT_EQ(lerp(-1.0F, ClosedRange<float>{0.0F, 3.0F}), 0.0F);
}

}  // namespace
}  // namespace dovrel

namespace dovrel {
namespace {

TEST(DecimalDoubleValue, IsTheDecimalsValueAsADouble) {
    EXPECT_EQ(doubleValue(Decimal(314, -2)), 3.14);
    EXPECT_EQ(doubleValue(*Decimal::fromString("-0.5")), -0.5);
}

}  // namespace
}  // namespace dovrel
