#include "platform/foundation/TimeZoneTransitions.h"

#include <gtest/gtest.h>

#include "tests/support/CivilDate.h"

namespace dovrel {
namespace {

using testing::civilDate;

constexpr std::int32_t kHour = 3'600'000;

double millisecondsOf(Date date) {
    return date.timeIntervalSince1970() * 1000.0;
}

TEST(TimeZoneTransitionsTest, NewYorkHasItsTwoChangesOf2024WithTheirOffsets) {
    const TimeZoneTransitions zone("America/New_York");
    const auto periods = zone.periods(millisecondsOf(civilDate(2024, 1, 1)),
                                      millisecondsOf(civilDate(2024, 12, 31)));
    ASSERT_TRUE(periods.has_value());
    EXPECT_EQ(periods->offsetBefore, -5 * kHour);
    ASSERT_EQ(periods->transitions.size(), 2u);
    // 2024-03-10 02:00 EST and 2024-11-03 02:00 EDT.
    EXPECT_EQ(periods->transitions[0].milliseconds, millisecondsOf(civilDate(2024, 3, 10, 7)));
    EXPECT_EQ(periods->transitions[0].offsetAfter, -4 * kHour);
    EXPECT_EQ(periods->transitions[1].milliseconds, millisecondsOf(civilDate(2024, 11, 3, 6)));
    EXPECT_EQ(periods->transitions[1].offsetAfter, -5 * kHour);
}

TEST(TimeZoneTransitionsTest, OffsetAtFollowsTheTransitionsFromTheirOwnInstantOn) {
    const TimeZoneTransitions zone("America/New_York");
    const auto periods = zone.periods(millisecondsOf(civilDate(2024, 1, 1)),
                                      millisecondsOf(civilDate(2024, 12, 31)));
    ASSERT_TRUE(periods.has_value());
    const double change = millisecondsOf(civilDate(2024, 3, 10, 7));
    EXPECT_EQ(periods->offsetAt(change - 1), -5 * kHour);
    EXPECT_EQ(periods->offsetAt(change), -4 * kHour);
    EXPECT_EQ(zone.offset(change - 1), -5 * kHour);
    EXPECT_EQ(zone.offset(change), -4 * kHour);
}

TEST(TimeZoneTransitionsTest, LordHoweShiftsByHalfAnHour) {
    const TimeZoneTransitions zone("Australia/Lord_Howe");
    const auto periods =
        zone.periods(millisecondsOf(civilDate(2024, 6, 1)), millisecondsOf(civilDate(2024, 12, 1)));
    ASSERT_TRUE(periods.has_value());
    EXPECT_EQ(periods->offsetBefore, 10 * kHour + kHour / 2);
    ASSERT_EQ(periods->transitions.size(), 1u);
    EXPECT_EQ(periods->transitions[0].offsetAfter, 11 * kHour);
}

TEST(TimeZoneTransitionsTest, ApiaJumpsAcrossTheDateLine) {
    const TimeZoneTransitions zone("Pacific/Apia");
    const auto periods = zone.periods(millisecondsOf(civilDate(2011, 12, 20)),
                                      millisecondsOf(civilDate(2012, 1, 10)));
    ASSERT_TRUE(periods.has_value());
    EXPECT_EQ(periods->offsetBefore, -10 * kHour);
    ASSERT_EQ(periods->transitions.size(), 1u);
    EXPECT_EQ(periods->transitions[0].offsetAfter, 14 * kHour);
}

TEST(TimeZoneTransitionsTest, AZoneWithoutChangesHasOneOffset) {
    const TimeZoneTransitions zone("UTC");
    const auto periods = zone.periods(0, millisecondsOf(civilDate(2100, 1, 1)));
    ASSERT_TRUE(periods.has_value());
    EXPECT_EQ(periods->offsetBefore, 0);
    EXPECT_TRUE(periods->transitions.empty());
    EXPECT_EQ(periods->offsetAt(1e12), 0);
}

TEST(TimeZoneTransitionsTest, AnUnknownZoneIsGmt) {
    const TimeZoneTransitions zone("Not/A_Zone");
    EXPECT_EQ(zone.offset(millisecondsOf(civilDate(2024, 7, 1))), 0);
}

}  // namespace
}  // namespace dovrel
