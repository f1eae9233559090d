#include <gtest/gtest.h>

#include "platform/foundation/Clock.h"
#include "platform/foundation/RegionOverrides.h"
#include "platform/notifications/NotificationTrigger.h"
#include "tests/platform/notifications/NotificationTestSupport.h"
#include "tests/support/CivilDate.h"
#include "tests/support/ScopedRegion.h"

namespace dovrel::notifications {
namespace {

using ::dovrel::testing::civilDate;
using testing::atDate;
using testing::daily;

DateComponents weekdayAt(std::int64_t weekday, std::int64_t hour, std::int64_t minute) {
    DateComponents components;
    components.weekday = weekday;
    components.hour = hour;
    components.minute = minute;
    return components;
}

DateComponents dayOfMonthAt(std::int64_t day, std::int64_t hour, std::int64_t minute) {
    DateComponents components;
    components.day = day;
    components.hour = hour;
    components.minute = minute;
    return components;
}

class CalendarNotificationTriggerTest : public ::testing::Test {
  protected:
    ::dovrel::testing::ScopedRegion region_{"Europe/Kyiv"};
};

TEST_F(CalendarNotificationTriggerTest, DailyTimeLaterTodayFiresToday) {
    EXPECT_EQ(daily(9, 0).nextTriggerDate(civilDate(2026, 3, 10, 8, 0, 0, 2.0)),
              civilDate(2026, 3, 10, 9, 0, 0, 2.0));
}

TEST_F(CalendarNotificationTriggerTest, DailyTimeIsStrictlyAfterTheGivenInstant) {
    EXPECT_EQ(daily(9, 0).nextTriggerDate(civilDate(2026, 3, 10, 9, 0, 0, 2.0)),
              civilDate(2026, 3, 11, 9, 0, 0, 2.0));
    EXPECT_EQ(daily(9, 0).nextTriggerDate(civilDate(2026, 3, 10, 9, 0, 0, 2.0) - 0.001),
              civilDate(2026, 3, 10, 9, 0, 0, 2.0));
}

TEST_F(CalendarNotificationTriggerTest, DailyTimePassedTodayFiresTomorrow) {
    EXPECT_EQ(daily(9, 0).nextTriggerDate(civilDate(2026, 3, 10, 21, 15, 0, 2.0)),
              civilDate(2026, 3, 11, 9, 0, 0, 2.0));
}

TEST_F(CalendarNotificationTriggerTest, DailyTimeAtTheEndOfTheYearFiresOnNewYearsDay) {
    EXPECT_EQ(daily(0, 5).nextTriggerDate(civilDate(2026, 12, 31, 23, 0, 0, 2.0)),
              civilDate(2027, 1, 1, 0, 5, 0, 2.0));
}

TEST_F(CalendarNotificationTriggerTest, SetSecondIsMatchedAndUnsetSecondIsZero) {
    DateComponents components = dayOfMonthAt(10, 9, 0);
    components.day.reset();
    components.second = 30;
    const CalendarNotificationTrigger withSecond(components, true);
    EXPECT_EQ(withSecond.nextTriggerDate(civilDate(2026, 3, 10, 9, 0, 0, 2.0)),
              civilDate(2026, 3, 10, 9, 0, 30, 2.0));
}

TEST_F(CalendarNotificationTriggerTest, NoComponentsFiresAtTheNextWholeMinute) {
    const CalendarNotificationTrigger everyMinute(DateComponents{}, true);
    EXPECT_EQ(everyMinute.nextTriggerDate(civilDate(2026, 3, 10, 9, 41, 12, 2.0)),
              civilDate(2026, 3, 10, 9, 42, 0, 2.0));
    EXPECT_EQ(everyMinute.nextTriggerDate(civilDate(2026, 3, 10, 23, 59, 0, 2.0)),
              civilDate(2026, 3, 11, 0, 0, 0, 2.0));
}

TEST_F(CalendarNotificationTriggerTest, WeeklyWeekdayFiresOnTheNextSuchDay) {
    // 10 March 2026 is a Tuesday; weekday 2 is Monday.
    const CalendarNotificationTrigger mondays(weekdayAt(2, 9, 0), true);
    EXPECT_EQ(mondays.nextTriggerDate(civilDate(2026, 3, 10, 8, 0, 0, 2.0)),
              civilDate(2026, 3, 16, 9, 0, 0, 2.0));
    const CalendarNotificationTrigger tuesdays(weekdayAt(3, 9, 0), true);
    EXPECT_EQ(tuesdays.nextTriggerDate(civilDate(2026, 3, 10, 8, 0, 0, 2.0)),
              civilDate(2026, 3, 10, 9, 0, 0, 2.0));
    EXPECT_EQ(tuesdays.nextTriggerDate(civilDate(2026, 3, 10, 10, 0, 0, 2.0)),
              civilDate(2026, 3, 17, 9, 0, 0, 2.0));
}

TEST_F(CalendarNotificationTriggerTest, MonthlyDaySkipsMonthsWithoutThatDay) {
    const CalendarNotificationTrigger thirtyFirst(dayOfMonthAt(31, 9, 0), true);
    EXPECT_EQ(thirtyFirst.nextTriggerDate(civilDate(2026, 4, 5, 8, 0, 0, 3.0)),
              civilDate(2026, 5, 31, 9, 0, 0, 3.0));
    const CalendarNotificationTrigger thirtieth(dayOfMonthAt(30, 9, 0), true);
    EXPECT_EQ(thirtieth.nextTriggerDate(civilDate(2026, 2, 1, 8, 0, 0, 2.0)),
              civilDate(2026, 3, 30, 9, 0, 0, 3.0));
}

TEST_F(CalendarNotificationTriggerTest, MonthlyDayLaterThisMonthFiresThisMonth) {
    const CalendarNotificationTrigger fifteenth(dayOfMonthAt(15, 20, 30), true);
    EXPECT_EQ(fifteenth.nextTriggerDate(civilDate(2026, 3, 10, 8, 0, 0, 2.0)),
              civilDate(2026, 3, 15, 20, 30, 0, 2.0));
}

TEST_F(CalendarNotificationTriggerTest, TwentyNinthOfFebruaryWaitsForALeapYear) {
    DateComponents components = dayOfMonthAt(29, 9, 0);
    components.month = 2;
    const CalendarNotificationTrigger leapDay(components, true);
    EXPECT_EQ(leapDay.nextTriggerDate(civilDate(2026, 3, 1, 0, 0, 0, 2.0)),
              civilDate(2028, 2, 29, 9, 0, 0, 2.0));
}

TEST_F(CalendarNotificationTriggerTest, WeekdayAndDayTogetherFindTheDayThatHasBoth) {
    // The Fridays the 13th of 2026 are in February, March and November.
    DateComponents components = dayOfMonthAt(13, 9, 0);
    components.weekday = 6;
    const CalendarNotificationTrigger fridayThe13th(components, true);
    EXPECT_EQ(fridayThe13th.nextTriggerDate(civilDate(2026, 3, 14, 0, 0, 0, 2.0)),
              civilDate(2026, 11, 13, 9, 0, 0, 2.0));
}

TEST_F(CalendarNotificationTriggerTest, FullDateInTheFutureFiresAtThatInstant) {
    EXPECT_EQ(atDate(2026, 3, 12, 7, 45).nextTriggerDate(civilDate(2026, 3, 10, 8, 0, 0, 2.0)),
              civilDate(2026, 3, 12, 7, 45, 0, 2.0));
}

TEST_F(CalendarNotificationTriggerTest, FullDateThatHasPassedNeverFires) {
    EXPECT_EQ(atDate(2026, 3, 10, 7, 45).nextTriggerDate(civilDate(2026, 3, 10, 8, 0, 0, 2.0)),
              std::nullopt);
    EXPECT_EQ(atDate(2026, 3, 10, 8, 0).nextTriggerDate(civilDate(2026, 3, 10, 8, 0, 0, 2.0)),
              std::nullopt);
}

TEST_F(CalendarNotificationTriggerTest, FullDateOnTheThirtiethOfFebruaryNeverFires) {
    EXPECT_EQ(atDate(2027, 2, 30, 9, 0).nextTriggerDate(civilDate(2026, 3, 10, 8, 0, 0, 2.0)),
              std::nullopt);
}

TEST_F(CalendarNotificationTriggerTest, ComponentsOutOfRangeNeverFire) {
    EXPECT_EQ(daily(24, 0).nextTriggerDate(civilDate(2026, 3, 10, 8, 0, 0, 2.0)), std::nullopt);
    EXPECT_EQ(daily(9, 60).nextTriggerDate(civilDate(2026, 3, 10, 8, 0, 0, 2.0)), std::nullopt);
    EXPECT_EQ(CalendarNotificationTrigger(weekdayAt(8, 9, 0), true)
                  .nextTriggerDate(civilDate(2026, 3, 10, 8, 0, 0, 2.0)),
              std::nullopt);
}

TEST_F(CalendarNotificationTriggerTest, ComponentsAreReadInTheZoneThatIsCurrentNow) {
    const auto trigger = daily(9, 0);
    const Date after = civilDate(2026, 3, 10, 0, 0, 0, 0.0);
    EXPECT_EQ(trigger.nextTriggerDate(after), civilDate(2026, 3, 10, 9, 0, 0, 2.0));
    {
        ScopedTimeZone travelled("America/New_York");
        EXPECT_EQ(trigger.nextTriggerDate(after), civilDate(2026, 3, 10, 9, 0, 0, -4.0));
    }
    EXPECT_EQ(trigger.nextTriggerDate(after), civilDate(2026, 3, 10, 9, 0, 0, 2.0));
}

TEST_F(CalendarNotificationTriggerTest, NamedCalendarIsUsedWhateverTheCurrentCalendar) {
    ScopedCalendar buddhist("buddhist");
    DateComponents components;
    components.year = 2026;
    components.month = 3;
    components.day = 12;
    components.hour = 9;
    components.minute = 0;
    const CalendarNotificationTrigger gregorian(components, false, "gregorian");
    EXPECT_EQ(gregorian.nextTriggerDate(civilDate(2026, 3, 10, 8, 0, 0, 2.0)),
              civilDate(2026, 3, 12, 9, 0, 0, 2.0));
    // The same components in the current (Buddhist) calendar name a year long past.
    const CalendarNotificationTrigger current(components, false);
    EXPECT_EQ(current.nextTriggerDate(civilDate(2026, 3, 10, 8, 0, 0, 2.0)), std::nullopt);
}

TEST_F(CalendarNotificationTriggerTest, NextTriggerDateWithoutAnInstantStartsFromNow) {
    ScopedClockOverride clock(civilDate(2026, 3, 10, 10, 0, 0, 2.0));
    EXPECT_EQ(daily(9, 0).nextTriggerDate(), civilDate(2026, 3, 11, 9, 0, 0, 2.0));
}

class CalendarNotificationTriggerDaylightSavingTest : public ::testing::Test {
  protected:
    // In 2026 New York moves to summer time on 8 March at 02:00 and back on 1 November at 02:00.
    ::dovrel::testing::ScopedRegion region_{"America/New_York"};
};

TEST_F(CalendarNotificationTriggerDaylightSavingTest,
       DailyTimeKeepsItsWallClockTimeAcrossTheShift) {
    const auto trigger = daily(9, 0);
    const Date saturday = trigger.nextTriggerDate(civilDate(2026, 3, 7, 8, 0, 0, -5.0)).value();
    EXPECT_EQ(saturday, civilDate(2026, 3, 7, 9, 0, 0, -5.0));
    const Date sunday = trigger.nextTriggerDate(saturday).value();
    EXPECT_EQ(sunday, civilDate(2026, 3, 8, 9, 0, 0, -4.0));
    EXPECT_EQ(sunday - saturday, 23 * 3600.0);
    const Date autumn = trigger.nextTriggerDate(civilDate(2026, 10, 31, 10, 0, 0, -4.0)).value();
    EXPECT_EQ(autumn, civilDate(2026, 11, 1, 9, 0, 0, -5.0));
}

TEST_F(CalendarNotificationTriggerDaylightSavingTest, TimeThatTheSpringShiftSkipsFiresAfterTheGap) {
    // 02:30 does not exist on 8 March; the day's reminder comes when the clock reads 03:00.
    const Date fired = daily(2, 30).nextTriggerDate(civilDate(2026, 3, 7, 12, 0, 0, -5.0)).value();
    EXPECT_EQ(fired, civilDate(2026, 3, 8, 3, 0, 0, -4.0));
    EXPECT_EQ(daily(2, 30).nextTriggerDate(fired), civilDate(2026, 3, 9, 2, 30, 0, -4.0));
}

TEST_F(CalendarNotificationTriggerDaylightSavingTest, TimeThatTheAutumnShiftRepeatsFiresOnce) {
    const auto trigger = daily(1, 30);
    const Date first = trigger.nextTriggerDate(civilDate(2026, 10, 31, 12, 0, 0, -4.0)).value();
    EXPECT_EQ(first, civilDate(2026, 11, 1, 1, 30, 0, -4.0));
    EXPECT_EQ(trigger.nextTriggerDate(first), civilDate(2026, 11, 2, 1, 30, 0, -5.0));
}

TEST_F(CalendarNotificationTriggerDaylightSavingTest, FullDateInTheSpringGapFiresAfterTheGap) {
    EXPECT_EQ(atDate(2026, 3, 8, 2, 15).nextTriggerDate(civilDate(2026, 3, 1, 0, 0, 0, -5.0)),
              civilDate(2026, 3, 8, 3, 0, 0, -4.0));
}

}  // namespace
}  // namespace dovrel::notifications
