#include "DovrelFoundation/Analytics/AnalyticsParameters.h"

#include <gtest/gtest.h>

#include <limits>

namespace dovrel {
namespace {

TEST(AnalyticsParameterValue, ConstructionPicksTheAlternativeByType) {
    EXPECT_TRUE(std::holds_alternative<std::int64_t>(AnalyticsParameterValue(5)));
    EXPECT_TRUE(std::holds_alternative<std::int64_t>(AnalyticsParameterValue(std::int64_t{5})));
    EXPECT_TRUE(std::holds_alternative<double>(AnalyticsParameterValue(5.0)));
    EXPECT_TRUE(std::holds_alternative<bool>(AnalyticsParameterValue(true)));
    EXPECT_TRUE(std::holds_alternative<std::string>(AnalyticsParameterValue("text")));
    EXPECT_TRUE(std::holds_alternative<AnalyticsParameterArray>(
        AnalyticsParameterValue(AnalyticsParameterArray{1, "two"})));
}

TEST(AnalyticsParameterValue, Description) {
    EXPECT_EQ(AnalyticsParameterValue("Read \"War\" \\ Peace").description(),
              "\"Read \\\"War\\\" \\\\ Peace\"");
    EXPECT_EQ(AnalyticsParameterValue(-42).description(), "-42");
    EXPECT_EQ(AnalyticsParameterValue(1.0).description(), "1.0");
    EXPECT_EQ(AnalyticsParameterValue(0.25).description(), "0.25");
    EXPECT_EQ(AnalyticsParameterValue(0.1).description(), "0.1");
    EXPECT_EQ(AnalyticsParameterValue(1e-05).description(), "1e-05");
    EXPECT_EQ(AnalyticsParameterValue(std::numeric_limits<double>::infinity()).description(),
              "inf");
    EXPECT_EQ(AnalyticsParameterValue(false).description(), "false");
    EXPECT_EQ(AnalyticsParameterValue(AnalyticsParameterArray{"2", "3"}).description(),
              "[\"2\", \"3\"]");
    EXPECT_EQ(AnalyticsParameterValue(AnalyticsParameterArray{}).description(), "[]");
}

TEST(AnalyticsParameters, DescriptionIsInKeyOrderAndEmptyIsColonInBrackets) {
    EXPECT_EQ(description(AnalyticsParameters{}), "[:]");
    EXPECT_EQ(description(AnalyticsParameters{{"b", 2}, {"a", "x"}}), "[\"a\": \"x\", \"b\": 2]");
}

}  // namespace
}  // namespace dovrel
