#include "platform/foundation/Decimal.h"

#include <gtest/gtest.h>

#include <cmath>

namespace dovrel {
namespace {

TEST(Decimal, MantissaAndExponentGiveTheValue) {
    EXPECT_EQ(Decimal(125, -2).description(), "1.25");
    EXPECT_EQ(Decimal(-3, 2).description(), "-300");
    EXPECT_EQ(Decimal(7, -4).description(), "0.0007");
    EXPECT_EQ(Decimal().description(), "0");
}

TEST(Decimal, TrailingZerosDoNotMakeADifferentValue) {
    EXPECT_EQ(Decimal(150, -2), Decimal(15, -1));
    EXPECT_EQ(Decimal(1500, 0).digits(), "15");
    EXPECT_EQ(Decimal(1500, 0).exponent(), 2);
}

TEST(Decimal, TheSmallestInt64MantissaKeepsItsSign) {
    const Decimal decimal(INT64_MIN, 0);
    EXPECT_TRUE(decimal.isNegative());
    EXPECT_EQ(decimal.description(), "-9223372036854775808");
}

TEST(Decimal, ParsesPlainAndScientificTexts) {
    EXPECT_EQ(Decimal::fromString("-12.5"), Decimal(-125, -1));
    EXPECT_EQ(Decimal::fromString(".25"), Decimal(25, -2));
    EXPECT_EQ(Decimal::fromString("4.0E+2"), Decimal(4, 2));
    EXPECT_EQ(Decimal::fromString("1e-3"), Decimal(1, -3));
    EXPECT_EQ(Decimal::fromString("000.000"), Decimal());
}

TEST(Decimal, RefusesTextThatIsNotANumberOrDoesNotFit) {
    EXPECT_FALSE(Decimal::fromString(""));
    EXPECT_FALSE(Decimal::fromString("."));
    EXPECT_FALSE(Decimal::fromString("1.2.3"));
    EXPECT_FALSE(Decimal::fromString("12abc"));
    EXPECT_FALSE(Decimal::fromString("1e"));
    EXPECT_FALSE(Decimal::fromString("1e200"));
    EXPECT_FALSE(Decimal::fromString(std::string(39, '7')));
    EXPECT_TRUE(Decimal::fromString(std::string(38, '7')));
}

TEST(Decimal, AnExponentOutOfRangeIsNotANumber) {
    EXPECT_TRUE(Decimal(1, 200).isNaN());
    EXPECT_EQ(Decimal::notANumber().description(), "NaN");
}

TEST(Decimal, DoubleValueIsTheNearestDouble) {
    EXPECT_EQ(Decimal(1, -1).doubleValue(), 0.1);
    EXPECT_EQ(Decimal(-125, -2).doubleValue(), -1.25);
    EXPECT_EQ(Decimal::fromString("123456789012345678901234567890")->doubleValue(),
              123456789012345678901234567890.0);
    EXPECT_EQ(Decimal(5, -128).doubleValue(), 5e-128);
    EXPECT_TRUE(std::isnan(Decimal::notANumber().doubleValue()));
    EXPECT_EQ(Decimal().doubleValue(), 0.0);
}

}  // namespace
}  // namespace dovrel
