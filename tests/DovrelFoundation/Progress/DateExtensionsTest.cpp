#include "DovrelFoundation/Progress/DateExtensions.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

#include "platform/foundation/Clock.h"
#include "platform/foundation/RegionOverrides.h"
#include "tests/support/CivilDate.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/ScopedRegion.h"

namespace dovrel {
namespace {

using testing::civilDate;
using testing::ScopedEnvironment;
using testing::ScopedRegion;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

// Kyiv: UTC+2 in winter, UTC+3 in summer.
class DateExtensionsInKyiv : public ::testing::Test {
  protected:
    ScopedRegion region_{"Europe/Kyiv"};
};

// --- Edge cases of the day operations ---------------------------------------------------------

TEST_F(DateExtensionsInKyiv, OnlyDayOfMidnightIsTheSameInstant) {
    const Date midnight = civilDate(2024, 7, 15, 0, 0, 0, 3.0);
    EXPECT_EQ(onlyDay(midnight), midnight);
}

TEST_F(DateExtensionsInKyiv, OnlyDayOfTheDaysLastSecondIsMidnightOfTheSameDay) {
    EXPECT_EQ(onlyDay(civilDate(2024, 7, 15, 23, 59, 59, 3.0)),
              civilDate(2024, 7, 15, 0, 0, 0, 3.0));
    EXPECT_EQ(onlyDay(civilDate(2024, 1, 15, 23, 59, 59, 2.0)),
              civilDate(2024, 1, 15, 0, 0, 0, 2.0));
}

TEST_F(DateExtensionsInKyiv,
       DateInDaysOneFromAnyInstantOfAMonthsLastDayIsTheNextMonthsFirstAtMidnight) {
    struct LastDay {
        int year;
        unsigned month;
        unsigned day;
        double offset;
        int nextYear;
        unsigned nextMonth;
        double nextOffset;
    };
    const LastDay lastDays[] = {
        {2024, 1, 31, 2.0, 2024, 2, 2.0},   {2024, 2, 29, 2.0, 2024, 3, 2.0},
        {2023, 2, 28, 2.0, 2023, 3, 2.0},   {2024, 4, 30, 3.0, 2024, 5, 3.0},
        {2024, 10, 31, 2.0, 2024, 11, 2.0}, {2024, 12, 31, 2.0, 2025, 1, 2.0},
        {2024, 3, 31, 3.0, 2024, 4, 3.0},  // the spring-forward day itself
    };
    for (const LastDay& last : lastDays) {
        const Date firstOfNext =
            civilDate(last.nextYear, last.nextMonth, 1, 0, 0, 0, last.nextOffset);
        for (const int hour : {12, 23}) {
            const Date instant =
                civilDate(last.year, last.month, last.day, hour, 0, 0, last.offset);
            EXPECT_EQ(dateInDays(instant, 1), firstOfNext) << last.year << "-" << last.month;
        }
        const Date lastSecond = civilDate(last.year, last.month, last.day, 23, 59, 59, last.offset);
        EXPECT_EQ(dateInDays(lastSecond, 1), firstOfNext) << last.year << "-" << last.month;
        EXPECT_EQ(dateInDays(onlyDay(lastSecond), 1), firstOfNext)
            << last.year << "-" << last.month;
    }
}

TEST_F(DateExtensionsInKyiv, DateInDaysMinusOneFromTheFirstOfMarchIsFebruarysLastDay) {
    EXPECT_EQ(dateInDays(civilDate(2023, 3, 1, 10, 0, 0, 2.0), -1),
              civilDate(2023, 2, 28, 0, 0, 0, 2.0));
    EXPECT_EQ(dateInDays(civilDate(2024, 3, 1, 10, 0, 0, 2.0), -1),
              civilDate(2024, 2, 29, 0, 0, 0, 2.0));
}

TEST_F(DateExtensionsInKyiv, DateInDaysZeroIsTheDaysStartAndLargeOffsetsCarryIntoYears) {
    EXPECT_EQ(dateInDays(civilDate(2024, 7, 15, 18, 0, 0, 3.0), 0),
              civilDate(2024, 7, 15, 0, 0, 0, 3.0));
    EXPECT_EQ(dateInDays(civilDate(2024, 1, 1, 9, 0, 0, 2.0), 366),
              civilDate(2025, 1, 1, 0, 0, 0, 2.0));
    EXPECT_EQ(dateInDays(civilDate(2024, 1, 1, 9, 0, 0, 2.0), -365),
              civilDate(2023, 1, 1, 0, 0, 0, 2.0));
}

TEST_F(DateExtensionsInKyiv, DateInMonthsOneFrom31January1500Is1February0000) {
    EXPECT_EQ(dateInMonths(civilDate(2024, 1, 31, 15, 0, 0, 2.0), 1),
              civilDate(2024, 2, 1, 0, 0, 0, 2.0));
}

TEST_F(DateExtensionsInKyiv, DateInMonthsCarriesIntoYearsBothWays) {
    EXPECT_EQ(dateInMonths(civilDate(2024, 11, 20, 15, 0, 0, 2.0), 3),
              civilDate(2025, 2, 1, 0, 0, 0, 2.0));
    EXPECT_EQ(dateInMonths(civilDate(2024, 2, 20, 15, 0, 0, 2.0), -14),
              civilDate(2022, 12, 1, 0, 0, 0, 2.0));
    EXPECT_EQ(dateInMonths(civilDate(2024, 2, 20, 15, 0, 0, 2.0), 0),
              civilDate(2024, 2, 1, 0, 0, 0, 2.0));
}

TEST_F(DateExtensionsInKyiv, OnlyMonthIsDayOneAtMidnight) {
    EXPECT_EQ(onlyMonth(civilDate(2024, 4, 30, 23, 59, 59, 3.0)),
              civilDate(2024, 4, 1, 0, 0, 0, 3.0));
    // April starts in summer time, March in winter time.
    EXPECT_EQ(onlyMonth(civilDate(2024, 3, 31, 23, 0, 0, 3.0)),
              civilDate(2024, 3, 1, 0, 0, 0, 2.0));
}

TEST_F(DateExtensionsInKyiv, DaysSinceAcrossASpringForwardNightIsOneNotZero) {
    // 31 March 2024 has 23 hours in Kyiv.
    const Date before = civilDate(2024, 3, 31, 12, 0, 0, 3.0);
    const Date after = civilDate(2024, 4, 1, 12, 0, 0, 3.0);
    EXPECT_EQ(daysSince(after, before), 1);
    EXPECT_EQ(daysSince(before, after), -1);
}

TEST_F(DateExtensionsInKyiv, DaysSinceOfADateAgainstItselfIsZero) {
    const Date date = civilDate(2024, 7, 15, 13, 14, 15, 3.0);
    EXPECT_EQ(daysSince(date, date), 0);
}

TEST_F(DateExtensionsInKyiv, DaysSinceOfYesterday2359MeasuredFromToday0001IsOne) {
    const Date yesterday = civilDate(2024, 7, 14, 23, 59, 0, 3.0);
    const Date today = civilDate(2024, 7, 15, 0, 1, 0, 3.0);
    EXPECT_EQ(daysSince(today, yesterday), 1);
    EXPECT_EQ(daysSince(yesterday, today), -1);
}

TEST_F(DateExtensionsInKyiv, DaysSinceCountsCalendarDaysAcrossLongSpans) {
    EXPECT_EQ(daysSince(civilDate(2025, 1, 1, 1, 0, 0, 2.0), civilDate(2024, 1, 1, 23, 0, 0, 2.0)),
              366);
    EXPECT_EQ(daysSince(civilDate(2014, 1, 1, 12, 0, 0, 2.0), civilDate(2024, 1, 1, 12, 0, 0, 2.0)),
              -3652);
}

TEST_F(DateExtensionsInKyiv, IsSameDayIsTrueForMidnightAndTheLastSecondAndFalseForTheNextMidnight) {
    const Date day = civilDate(2024, 7, 15, 12, 0, 0, 3.0);
    EXPECT_TRUE(isSameDay(civilDate(2024, 7, 15, 0, 0, 0, 3.0), day));
    EXPECT_TRUE(isSameDay(civilDate(2024, 7, 15, 23, 59, 59, 3.0), day));
    EXPECT_FALSE(isSameDay(civilDate(2024, 7, 16, 0, 0, 0, 3.0), day));
    EXPECT_FALSE(isSameDay(civilDate(2024, 7, 14, 23, 59, 59, 3.0), day));
}

TEST_F(DateExtensionsInKyiv, DayBoundsAreTheDayOfTheClockChangeFromStartToEnd) {
    // 2024-03-31 has 23 hours in Kyiv: 00:00 winter time to 23:59:59.999 summer time.
    const DayBounds day(civilDate(2024, 3, 31, 12, 0, 0, 3.0));
    EXPECT_EQ(day.start, civilDate(2024, 3, 31, 0, 0, 0, 2.0));
    EXPECT_NEAR(day.end.timeIntervalSinceReferenceDate(),
                (civilDate(2024, 4, 1, 0, 0, 0, 3.0) - 0.001).timeIntervalSinceReferenceDate(),
                1e-6);
}

TEST_F(DateExtensionsInKyiv, DayBoundsContainExactlyTheDatesOfTheSameDay) {
    // Every quarter hour over the autumn change, against each day around it.
    for (const Date day :
         {civilDate(2024, 10, 26, 12, 0, 0, 3.0), civilDate(2024, 10, 27, 12, 0, 0, 2.0),
          civilDate(2024, 10, 28, 12, 0, 0, 2.0)}) {
        const DayBounds bounds(day);
        for (int quarter = 0; quarter < 4 * 24 * 4; ++quarter) {
            const Date date = civilDate(2024, 10, 25, 0, 0, 0, 3.0) + quarter * 900.0;
            EXPECT_EQ(bounds.contains(date), isSameDay(date, day));
        }
        EXPECT_TRUE(bounds.contains(bounds.start));
        EXPECT_TRUE(bounds.contains(bounds.end));
        EXPECT_FALSE(bounds.contains(bounds.end + 0.001));
        EXPECT_FALSE(bounds.contains(bounds.start - 0.001));
    }
}

TEST_F(DateExtensionsInKyiv, IsSameDayUsesTheArgumentsDay) {
    const Date morning = civilDate(2024, 7, 15, 8, 0, 0, 3.0);
    const Date evening = civilDate(2024, 7, 15, 22, 0, 0, 3.0);
    EXPECT_TRUE(isSameDay(morning, evening));
    EXPECT_TRUE(isSameDay(evening, morning));
    EXPECT_FALSE(isSameDay(morning, civilDate(2024, 7, 16, 8, 0, 0, 3.0)));
}

TEST_F(DateExtensionsInKyiv, IsBetweenGivesTheSameAnswerWithItsBoundsSwapped) {
    const Date a = civilDate(2024, 7, 1);
    const Date b = civilDate(2024, 7, 31);
    for (const Date date :
         {civilDate(2024, 6, 30), a, civilDate(2024, 7, 15), b, civilDate(2024, 8, 1)}) {
        EXPECT_EQ(isBetween(date, a, b), isBetween(date, b, a));
    }
    EXPECT_TRUE(isBetween(civilDate(2024, 7, 15), b, a));
    EXPECT_FALSE(isBetween(civilDate(2024, 8, 1), b, a));
}

TEST_F(DateExtensionsInKyiv, IsBetweenCountsADateEqualToEitherBound) {
    const Date a = civilDate(2024, 7, 1);
    const Date b = civilDate(2024, 7, 31);
    EXPECT_TRUE(isBetween(a, a, b));
    EXPECT_TRUE(isBetween(b, a, b));
    EXPECT_TRUE(isBetween(a, a, a));
    EXPECT_FALSE(isBetween(civilDate(2024, 6, 30), a, b));
    EXPECT_FALSE(isBetween(civilDate(2024, 8, 1), a, b));
}

TEST_F(DateExtensionsInKyiv, MinutesSinceOfNinetySecondsIsTwo) {
    const Date start = civilDate(2024, 7, 15, 12, 0, 0, 3.0);
    EXPECT_EQ(minutesSince(start + 90, start), 2);
    EXPECT_EQ(minutesSince(start, start + 90), -2);  // halves round away from zero
}

TEST_F(DateExtensionsInKyiv, MinutesSinceOfEightyNineSecondsIsOne) {
    const Date start = civilDate(2024, 7, 15, 12, 0, 0, 3.0);
    EXPECT_EQ(minutesSince(start + 89, start), 1);
    EXPECT_EQ(minutesSince(start, start + 89), -1);
    EXPECT_EQ(minutesSince(start + 29, start), 0);
}

TEST_F(DateExtensionsInKyiv, InCurrentRegionPlacesTheDateInTheCurrentRegion) {
    const Date date = civilDate(2024, 7, 15, 12, 0, 0, 3.0);
    const DateInRegion inRegion = inCurrentRegion(date);
    EXPECT_EQ(inRegion.date(), date);
    EXPECT_EQ(inRegion.region(), Region("gregorian", "Europe/Kyiv", "en_US"));
    EXPECT_EQ(inRegion.hour(), 12);
}

// --- A time of day today ------------------------------------------------------------------------

TEST_F(DateExtensionsInKyiv, TodayAtIsThatTimeOfTheCurrentDayInTheCurrentZone) {
    const ScopedClockOverride now(civilDate(2024, 7, 15, 23, 30, 0, 3.0));
    EXPECT_EQ(todayAt(9, 5), civilDate(2024, 7, 15, 9, 5, 0, 3.0));
    EXPECT_EQ(todayAt(0, 0), civilDate(2024, 7, 15, 0, 0, 0, 3.0));
    EXPECT_EQ(todayAt(23, 59), civilDate(2024, 7, 15, 23, 59, 0, 3.0));
}

TEST_F(DateExtensionsInKyiv, TodayAtATimeTheClockSkipsIsTheFirstInstantAfterTheGap) {
    // 31 March 2024: Kyiv's clocks go from 03:00 to 04:00 (UTC+2 to UTC+3).
    const ScopedClockOverride now(civilDate(2024, 3, 31, 12, 0, 0, 3.0));
    EXPECT_EQ(todayAt(3, 30), civilDate(2024, 3, 31, 4, 0, 0, 3.0));
    EXPECT_EQ(todayAt(4, 30), civilDate(2024, 3, 31, 4, 30, 0, 3.0));
}

// --- The current month ----------------------------------------------------------------------

TEST_F(DateExtensionsInKyiv, IsInCurrentMonthComparesMonthStartsWithThePinnedClock) {
    const ScopedClockOverride now(civilDate(2024, 3, 15, 12, 0, 0, 2.0));
    EXPECT_TRUE(isInCurrentMonth(civilDate(2024, 3, 1, 0, 0, 0, 2.0)));
    EXPECT_TRUE(isInCurrentMonth(civilDate(2024, 3, 31, 23, 59, 59, 3.0)));
    EXPECT_FALSE(isInCurrentMonth(civilDate(2024, 2, 29, 23, 59, 59, 2.0)));
    EXPECT_FALSE(isInCurrentMonth(civilDate(2024, 4, 1, 0, 0, 0, 3.0)));
    EXPECT_FALSE(isInCurrentMonth(civilDate(2023, 3, 15, 12, 0, 0, 2.0)));
}

TEST_F(DateExtensionsInKyiv, IsInCurrentMonthFollowsTheZone) {
    const ScopedClockOverride now(civilDate(2024, 3, 15, 12, 0, 0, 0.0));
    // 1 March 01:00 in Kyiv is 23:00 UTC on 29 February: March in Kyiv, February in London.
    const Date kyivEarlyMarch = civilDate(2024, 3, 1, 1, 0, 0, 2.0);
    EXPECT_TRUE(isInCurrentMonth(kyivEarlyMarch));
    const ScopedTimeZone london("Europe/London");
    EXPECT_FALSE(isInCurrentMonth(kyivEarlyMarch));
}

// --- Calendar days in real zones ----------------------------------------------------------------

TEST(DateExtensionsNewYork, SpringForwardDayOf23Hours) {
    const ScopedRegion region("America/New_York");
    // 10 March 2024: 02:00 EST became 03:00 EDT.
    const Date dayStart = civilDate(2024, 3, 10, 0, 0, 0, -5.0);
    const Date nextDayStart = civilDate(2024, 3, 11, 0, 0, 0, -4.0);
    const Date afternoon = civilDate(2024, 3, 10, 15, 0, 0, -4.0);
    EXPECT_EQ(onlyDay(afternoon), dayStart);
    EXPECT_EQ(onlyDay(civilDate(2024, 3, 10, 3, 0, 0, -4.0)), dayStart);
    EXPECT_EQ(dateInDays(afternoon, 1), nextDayStart);
    EXPECT_EQ(dateInDays(civilDate(2024, 3, 11, 15, 0, 0, -4.0), -1), dayStart);
    EXPECT_EQ(
        daysSince(civilDate(2024, 3, 11, 0, 30, 0, -4.0), civilDate(2024, 3, 10, 23, 30, 0, -4.0)),
        1);
    EXPECT_EQ(daysSince(nextDayStart, dayStart), 1);
    EXPECT_TRUE(isSameDay(nextDayStart - 1, afternoon));
    EXPECT_FALSE(isSameDay(nextDayStart, afternoon));
    EXPECT_TRUE(isSameDay(dayStart, afternoon));
}

TEST(DateExtensionsNewYork, FallBackDayOf25Hours) {
    const ScopedRegion region("America/New_York");
    // 3 November 2024: 02:00 EDT became 01:00 EST.
    const Date dayStart = civilDate(2024, 11, 3, 0, 0, 0, -4.0);
    const Date nextDayStart = civilDate(2024, 11, 4, 0, 0, 0, -5.0);
    const Date lateEvening = civilDate(2024, 11, 3, 23, 30, 0, -5.0);
    EXPECT_EQ(onlyDay(lateEvening), dayStart);
    EXPECT_EQ(onlyDay(civilDate(2024, 11, 3, 1, 30, 0, -5.0)), dayStart);  // the second 01:30
    EXPECT_EQ(dateInDays(lateEvening, 1), nextDayStart);
    EXPECT_EQ(dateInDays(nextDayStart, -1), dayStart);
    EXPECT_EQ(daysSince(nextDayStart, dayStart), 1);
    EXPECT_EQ(
        daysSince(civilDate(2024, 11, 5, 12, 0, 0, -5.0), civilDate(2024, 11, 2, 12, 0, 0, -4.0)),
        3);
    EXPECT_TRUE(isSameDay(lateEvening, dayStart));
    EXPECT_FALSE(isSameDay(nextDayStart, lateEvening));
}

TEST(DateExtensionsKyiv, SpringForwardDayOf23Hours) {
    const ScopedRegion region("Europe/Kyiv", "uk_UA");
    // 31 March 2024: 03:00 EET became 04:00 EEST.
    const Date dayStart = civilDate(2024, 3, 31, 0, 0, 0, 2.0);
    const Date nextDayStart = civilDate(2024, 4, 1, 0, 0, 0, 3.0);
    const Date evening = civilDate(2024, 3, 31, 20, 0, 0, 3.0);
    EXPECT_EQ(onlyDay(evening), dayStart);
    EXPECT_EQ(dateInDays(evening, 1), nextDayStart);
    EXPECT_EQ(dateInDays(nextDayStart, -1), dayStart);
    EXPECT_EQ(daysSince(nextDayStart, dayStart), 1);
    EXPECT_TRUE(isSameDay(civilDate(2024, 3, 31, 23, 59, 59, 3.0), dayStart));
    EXPECT_FALSE(isSameDay(nextDayStart, evening));
}

TEST(DateExtensionsKyiv, FallBackDayOf25Hours) {
    const ScopedRegion region("Europe/Kyiv", "uk_UA");
    // 27 October 2024: 04:00 EEST became 03:00 EET.
    const Date dayStart = civilDate(2024, 10, 27, 0, 0, 0, 3.0);
    const Date nextDayStart = civilDate(2024, 10, 28, 0, 0, 0, 2.0);
    const Date evening = civilDate(2024, 10, 27, 23, 30, 0, 2.0);
    EXPECT_EQ(onlyDay(evening), dayStart);
    EXPECT_EQ(dateInDays(civilDate(2024, 10, 26, 12, 0, 0, 3.0), 1), dayStart);
    EXPECT_EQ(dateInDays(evening, 1), nextDayStart);
    EXPECT_EQ(daysSince(nextDayStart, dayStart), 1);
    EXPECT_EQ(daysSince(evening, civilDate(2024, 10, 26, 23, 30, 0, 3.0)), 1);
    EXPECT_TRUE(isSameDay(evening, dayStart));
    EXPECT_FALSE(isSameDay(nextDayStart, evening));
}

TEST(DateExtensionsSaoPaulo, DayThatStartsAt0100) {
    const ScopedRegion region("America/Sao_Paulo", "pt_BR");
    // 4 November 2018: midnight -03 became 01:00 -02, so the day began at 01:00.
    const Date dayStart = civilDate(2018, 11, 4, 1, 0, 0, -2.0);
    const Date afternoon = civilDate(2018, 11, 4, 15, 0, 0, -2.0);
    EXPECT_EQ(onlyDay(afternoon), dayStart);
    EXPECT_EQ(onlyDay(dayStart), dayStart);
    EXPECT_EQ(dateInDays(civilDate(2018, 11, 3, 12, 0, 0, -3.0), 1), dayStart);
    EXPECT_EQ(dateInDays(civilDate(2018, 11, 5, 12, 0, 0, -2.0), -1), dayStart);
    EXPECT_EQ(dateInDays(afternoon, 1), civilDate(2018, 11, 5, 0, 0, 0, -2.0));
    EXPECT_EQ(onlyMonth(afternoon), civilDate(2018, 11, 1, 0, 0, 0, -3.0));
    EXPECT_EQ(daysSince(afternoon, civilDate(2018, 11, 3, 12, 0, 0, -3.0)), 1);
    EXPECT_TRUE(isSameDay(dayStart, afternoon));
    EXPECT_FALSE(isSameDay(dayStart - 1, afternoon));  // 23:59:59 on 3 November
}

TEST(DateExtensionsLordHowe, HalfHourShifts) {
    const ScopedRegion region("Australia/Lord_Howe", "en_AU");
    // 6 October 2024: 02:00 +10:30 became 02:30 +11:00 (23.5 hours).
    const Date springStart = civilDate(2024, 10, 6, 0, 0, 0, 10.5);
    const Date springNext = civilDate(2024, 10, 7, 0, 0, 0, 11.0);
    EXPECT_EQ(onlyDay(civilDate(2024, 10, 6, 18, 0, 0, 11.0)), springStart);
    EXPECT_EQ(dateInDays(springStart, 1), springNext);
    EXPECT_EQ(daysSince(springNext, springStart), 1);
    EXPECT_TRUE(isSameDay(springNext - 1, springStart));
    EXPECT_FALSE(isSameDay(springNext, springStart));
    // 7 April 2024: 02:00 +11:00 became 01:30 +10:30 (24.5 hours).
    const Date autumnStart = civilDate(2024, 4, 7, 0, 0, 0, 11.0);
    const Date autumnNext = civilDate(2024, 4, 8, 0, 0, 0, 10.5);
    EXPECT_EQ(onlyDay(civilDate(2024, 4, 7, 23, 59, 59, 10.5)), autumnStart);
    EXPECT_EQ(dateInDays(autumnStart, 1), autumnNext);
    EXPECT_EQ(daysSince(autumnNext, autumnStart), 1);
    EXPECT_TRUE(isSameDay(autumnNext - 1, autumnStart));
}

// --- Non-Gregorian current calendars ----------------------------------------------------------

TEST(DateExtensionsBuddhist, DaysAndMonthsInTheThaiBuddhistCalendar) {
    const ScopedRegion region("Asia/Bangkok", "th_TH@calendar=buddhist", "buddhist");
    const Date date = civilDate(2024, 2, 29, 18, 30, 0, 7.0);
    EXPECT_EQ(inCurrentRegion(date).year(), 2567);
    EXPECT_EQ(onlyDay(date), civilDate(2024, 2, 29, 0, 0, 0, 7.0));
    EXPECT_EQ(onlyMonth(date), civilDate(2024, 2, 1, 0, 0, 0, 7.0));
    EXPECT_EQ(dateInMonths(date, 1), civilDate(2024, 3, 1, 0, 0, 0, 7.0));
    EXPECT_EQ(dateInMonths(civilDate(2024, 1, 15, 12, 0, 0, 7.0), -2),
              civilDate(2023, 11, 1, 0, 0, 0, 7.0));
    EXPECT_EQ(dateInDays(date, 1), civilDate(2024, 3, 1, 0, 0, 0, 7.0));
}

TEST(DateExtensionsHebrew, DaysAndMonthsInTheHebrewCalendar) {
    const ScopedRegion region("Asia/Jerusalem", "he_IL@calendar=hebrew", "hebrew");
    // 15 April 2024 is 7 Nisan 5784. Israel kept summer time (+3) from 29 March to 27 October.
    const Date date = civilDate(2024, 4, 15, 18, 0, 0, 3.0);
    EXPECT_EQ(inCurrentRegion(date).year(), 5784);
    EXPECT_EQ(onlyDay(date), civilDate(2024, 4, 15, 0, 0, 0, 3.0));
    EXPECT_EQ(onlyMonth(date), civilDate(2024, 4, 9, 0, 0, 0, 3.0));          // 1 Nisan
    EXPECT_EQ(dateInMonths(date, 1), civilDate(2024, 5, 9, 0, 0, 0, 3.0));    // 1 Iyar
    EXPECT_EQ(dateInMonths(date, -1), civilDate(2024, 3, 11, 0, 0, 0, 2.0));  // 1 Adar II
    EXPECT_EQ(dateInMonths(date, -2), civilDate(2024, 2, 10, 0, 0, 0, 2.0));  // 1 Adar I
    EXPECT_EQ(dateInMonths(civilDate(2024, 9, 10, 12, 0, 0, 3.0), 1),         // Elul to
              civilDate(2024, 10, 3, 0, 0, 0, 3.0));                          // 1 Tishrei 5785
    EXPECT_EQ(inCurrentRegion(civilDate(2024, 10, 3, 12, 0, 0, 3.0)).year(), 5785);
}

TEST(DateExtensionsHebrew, IsInCurrentMonthUsesTheHebrewMonth) {
    const ScopedClockOverride now(civilDate(2024, 4, 15, 12, 0, 0, 3.0));  // 7 Nisan 5784
    const Date lastOfAdarII = civilDate(2024, 4, 8, 12, 0, 0, 3.0);
    {
        const ScopedRegion region("Asia/Jerusalem", "he_IL@calendar=hebrew", "hebrew");
        EXPECT_FALSE(isInCurrentMonth(lastOfAdarII));
        EXPECT_TRUE(isInCurrentMonth(civilDate(2024, 4, 9, 0, 0, 0, 3.0)));
    }
    {
        const ScopedRegion region("Asia/Jerusalem", "he_IL", "gregorian");
        EXPECT_TRUE(isInCurrentMonth(lastOfAdarII));
    }
}

// --- Nothing is cached between calls --------------------------------------------------------

TEST(DateExtensionsCurrentRegion, ZoneSwitchBetweenTwoCallsIsSeenAtTheNextCall) {
    const ScopedRegion region("Europe/Kyiv");
    const Date instant = civilDate(2024, 6, 1, 1, 0, 0, 0.0);  // 04:00 in Kyiv, 21:00 in New York
    const Date later = civilDate(2024, 6, 1, 12, 0, 0, 0.0);
    EXPECT_EQ(onlyDay(instant), civilDate(2024, 6, 1, 0, 0, 0, 3.0));
    EXPECT_EQ(daysSince(later, instant), 0);
    {
        const ScopedTimeZone newYork("America/New_York");
        EXPECT_EQ(onlyDay(instant), civilDate(2024, 5, 31, 0, 0, 0, -4.0));
        EXPECT_EQ(daysSince(later, instant), 1);
        EXPECT_FALSE(isSameDay(later, instant));
    }
    EXPECT_EQ(onlyDay(instant), civilDate(2024, 6, 1, 0, 0, 0, 3.0));
    EXPECT_TRUE(isSameDay(later, instant));
}

TEST(DateExtensionsCurrentRegion, HostZoneChangeThroughTZIsSeenAtTheNextCall) {
    const ScopedLocale locale("en_US");
    const ScopedCalendar calendar("gregorian");
    const Date instant = civilDate(2024, 6, 1, 1, 0, 0, 0.0);
    ScopedEnvironment kyiv("TZ", "Europe/Kyiv");
    EXPECT_EQ(onlyDay(instant), civilDate(2024, 6, 1, 0, 0, 0, 3.0));
    ScopedEnvironment newYork("TZ", "America/New_York");
    EXPECT_EQ(onlyDay(instant), civilDate(2024, 5, 31, 0, 0, 0, -4.0));
}

TEST(DateExtensionsCurrentRegion, CalendarSwitchBetweenTwoCallsIsSeenAtTheNextCall) {
    const ScopedRegion region("Asia/Jerusalem", "he_IL", "gregorian");
    const Date date = civilDate(2024, 4, 15, 18, 0, 0, 3.0);
    EXPECT_EQ(onlyMonth(date), civilDate(2024, 4, 1, 0, 0, 0, 3.0));
    const ScopedCalendar hebrew("hebrew");
    EXPECT_EQ(onlyMonth(date), civilDate(2024, 4, 9, 0, 0, 0, 3.0));
}

// --- Programming errors ---------------------------------------------------------------------

using DateExtensionsDeathTest = DateExtensionsInKyiv;

TEST_F(DateExtensionsDeathTest, OnlyDayOfANonFiniteDateStops) {
    EXPECT_DEATH(onlyDay(Date(kNaN)),
                 "Fatal error: The current calendar could not build a date from the day's "
                 "components: file DovrelFoundation/DateExtensions, line [0-9]+");
}

TEST_F(DateExtensionsDeathTest, OnlyMonthOfANonFiniteDateStops) {
    EXPECT_DEATH(onlyMonth(Date(kInfinity)),
                 "Fatal error: The current calendar could not build a date from the month's "
                 "components");
}

TEST_F(DateExtensionsDeathTest, DateInDaysBeyondTheCalendarsRangeStops) {
    EXPECT_DEATH(dateInDays(civilDate(2024, 1, 1), std::numeric_limits<std::int64_t>::max()),
                 "Fatal error: The current calendar could not add date components");
}

TEST_F(DateExtensionsDeathTest, DateInMonthsBeyondTheCalendarsRangeStops) {
    EXPECT_DEATH(dateInMonths(civilDate(2024, 1, 1), std::numeric_limits<std::int64_t>::min()),
                 "Fatal error: The current calendar could not add date components");
}

TEST_F(DateExtensionsDeathTest, DaysSinceWithANonFiniteQuotientStops) {
    EXPECT_DEATH(daysSince(Date(kInfinity), civilDate(2024, 1, 1)),
                 "Fatal error: Day count is not finite or does not fit a 64-bit integer");
    EXPECT_DEATH(daysSince(civilDate(2024, 1, 1), Date(kNaN)),
                 "Fatal error: Day count is not finite or does not fit a 64-bit integer");
}

TEST_F(DateExtensionsDeathTest, MinutesSinceWithANonFiniteQuotientStops) {
    EXPECT_DEATH(minutesSince(Date(kInfinity), Date(0)),
                 "Fatal error: Minute count is not finite or does not fit a 64-bit integer");
    EXPECT_DEATH(minutesSince(Date(kNaN), Date(0)),
                 "Fatal error: Minute count is not finite or does not fit a 64-bit integer");
}

TEST_F(DateExtensionsDeathTest, MinutesSinceBeyond64BitsStops) {
    EXPECT_DEATH(minutesSince(Date(1e300), Date(-1e300)),
                 "Fatal error: Minute count is not finite or does not fit a 64-bit integer");
    // 2^63 minutes is just out of range, the largest double below it is not.
    EXPECT_DEATH(minutesSince(Date(60.0 * 9223372036854775808.0), Date(0)),
                 "Fatal error: Minute count is not finite or does not fit a 64-bit integer");
}

TEST_F(DateExtensionsInKyiv, MinutesSinceAtTheEdgeOf64BitsStillCounts) {
    EXPECT_EQ(minutesSince(Date(-60.0 * 9223372036854775808.0), Date(0)),
              std::numeric_limits<std::int64_t>::min());
}

}  // namespace
}  // namespace dovrel
