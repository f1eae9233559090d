#include "DovrelFoundation/Reminders/NextReminderCalculator.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>

#include "tests/support/CivilDate.h"
#include "tests/support/ScopedRegion.h"

namespace dovrel {
namespace {

using testing::civilDate;

// Kyiv: UTC+2 in winter, UTC+3 from the last Sunday of March to the last Sunday of October.
Date kyivWinter(int year, unsigned month, unsigned day, int hour = 0, int minute = 0) {
    return civilDate(year, month, day, hour, minute, 0, 2.0);
}
Date kyivSummer(int year, unsigned month, unsigned day, int hour = 0, int minute = 0) {
    return civilDate(year, month, day, hour, minute, 0, 3.0);
}

class NextReminderCalculatorTest : public ::testing::Test {
  protected:
    testing::ScopedRegion region{"Europe/Kyiv"};
    // A reminder time whose date part is long past: only 09:00 counts.
    const Date nineOClock = kyivWinter(2019, 12, 3, 9, 0);
};

TEST_F(NextReminderCalculatorTest, WithoutACheckmarkTheReminderIsTodayUntilItsTimeHasPassed) {
    EXPECT_EQ(NextReminderCalculator::nextReminder(kyivWinter(2024, 1, 10, 8), nineOClock, 1,
                                                   std::nullopt),
              kyivWinter(2024, 1, 10, 9));
    EXPECT_EQ(NextReminderCalculator::nextReminder(kyivWinter(2024, 1, 10, 9), nineOClock, 1,
                                                   std::nullopt),
              kyivWinter(2024, 1, 10, 9));
    EXPECT_EQ(NextReminderCalculator::nextReminder(kyivWinter(2024, 1, 10, 10), nineOClock, 1,
                                                   std::nullopt),
              kyivWinter(2024, 1, 11, 9));
}

TEST_F(NextReminderCalculatorTest, ACheckmarkPausesRemindersForTheSkipIntervalInCalendarDays) {
    // Checked at today's start with a skip of one day: tomorrow, not today.
    EXPECT_EQ(NextReminderCalculator::nextReminder(kyivWinter(2024, 1, 10, 8), nineOClock, 1,
                                                   kyivWinter(2024, 1, 10)),
              kyivWinter(2024, 1, 11, 9));
    // Skip of two days: the day after tomorrow.
    EXPECT_EQ(NextReminderCalculator::nextReminder(kyivWinter(2024, 1, 10, 8), nineOClock, 2,
                                                   kyivWinter(2024, 1, 10)),
              kyivWinter(2024, 1, 12, 9));
}

TEST_F(NextReminderCalculatorTest, TheResumeDayKeepsTheTimeOfTheCheckmark) {
    // Checked at 06:30 with a skip of one day: the next day starts at 06:30 and the reminder's
    // nine hours are added to that.
    EXPECT_EQ(NextReminderCalculator::nextReminder(kyivWinter(2024, 1, 10, 8), nineOClock, 1,
                                                   kyivWinter(2024, 1, 10, 6, 30)),
              kyivWinter(2024, 1, 11, 15, 30));
}

TEST_F(NextReminderCalculatorTest, ACheckmarkFarInThePastCountsAsNone) {
    EXPECT_EQ(NextReminderCalculator::nextReminder(kyivWinter(2024, 1, 10, 8), nineOClock, 7,
                                                   kyivWinter(2023, 6, 1)),
              kyivWinter(2024, 1, 10, 9));
}

TEST_F(NextReminderCalculatorTest, AResumeDayOfTodayWithThePassedTimeMovesOneDayOnce) {
    EXPECT_EQ(NextReminderCalculator::nextReminder(kyivWinter(2024, 1, 10, 10), nineOClock, 2,
                                                   kyivWinter(2024, 1, 8)),
              kyivWinter(2024, 1, 11, 9));
}

TEST_F(NextReminderCalculatorTest, OnlyTheTimeOfDayOfTheReminderTimeCounts) {
    // 09:00 on days long past, in winter and in summer time, and yesterday: all are 09:00 today.
    const Date reminderTimes[] = {kyivWinter(2024, 1, 9, 9), kyivSummer(2021, 7, 15, 9),
                                  kyivWinter(2003, 2, 1, 9), kyivWinter(2019, 12, 3, 9)};
    for (const Date reminderTime : reminderTimes) {
        SCOPED_TRACE(reminderTime.timeIntervalSinceReferenceDate());
        EXPECT_EQ(NextReminderCalculator::nextReminder(kyivWinter(2024, 1, 10, 8), reminderTime, 1,
                                                       std::nullopt),
                  kyivWinter(2024, 1, 10, 9));
        EXPECT_EQ(NextReminderCalculator::nextReminder(kyivWinter(2024, 1, 10, 8), reminderTime, 2,
                                                       kyivWinter(2024, 1, 10)),
                  kyivWinter(2024, 1, 12, 9));
    }
    // Minutes and seconds of the time of day count too.
    EXPECT_EQ(
        NextReminderCalculator::nextReminder(
            kyivWinter(2024, 1, 10, 8), kyivSummer(2020, 8, 1, 21, 45) + 30.0, 1, std::nullopt),
        kyivWinter(2024, 1, 10, 21, 45) + 30.0);
}

TEST_F(NextReminderCalculatorTest, SkipDaysAreCalendarDaysAcrossAClockChange) {
    // Kyiv moves to summer time on 2024-03-31: the 31st has 23 hours, yet seven days after
    // Monday the 25th's start is Monday 1 April's start.
    EXPECT_EQ(NextReminderCalculator::nextReminder(kyivSummer(2024, 3, 28, 12), nineOClock, 7,
                                                   kyivWinter(2024, 3, 25)),
              kyivSummer(2024, 4, 1, 9));
}

TEST_F(NextReminderCalculatorTest, OnTheDayTheClockChangesTheReminderIsSecondsAfterTheDayStart) {
    // Nine hours after the start of 2024-03-31 (00:00 winter time) is 10:00 summer time.
    EXPECT_EQ(NextReminderCalculator::nextReminder(kyivWinter(2024, 3, 31, 0, 30), nineOClock, 1,
                                                   std::nullopt),
              kyivSummer(2024, 3, 31, 10));
    // And on 2024-10-27 (00:00 summer time) it is 08:00 winter time.
    EXPECT_EQ(NextReminderCalculator::nextReminder(kyivSummer(2024, 10, 27, 0, 30), nineOClock, 1,
                                                   std::nullopt),
              kyivWinter(2024, 10, 27, 8));
}

TEST_F(NextReminderCalculatorTest, TheTimeOfDayIsTakenInTheCurrentZone) {
    // The same instants asked for in New York (UTC-5): 09:00 Kyiv is 02:00 there.
    testing::ScopedRegion newYork{"America/New_York"};
    EXPECT_EQ(NextReminderCalculator::nextReminder(civilDate(2024, 1, 10, 1, 0, 0, -5.0),
                                                   nineOClock, 1, std::nullopt),
              civilDate(2024, 1, 10, 2, 0, 0, -5.0));
}

TEST_F(NextReminderCalculatorTest, ASkipLongerThanTheCalendarCanAddIsClampedToTheLongestSkip) {
    const Date on = kyivWinter(2024, 1, 10, 8);
    const Date checked = kyivWinter(2024, 1, 10);
    const Date longest = NextReminderCalculator::nextReminder(
        on, nineOClock, NextReminderCalculator::kLongestSkipInterval, checked);
    // About 57,000 years of calendar days later, at the reminder's time of day after the start of
    // the resume day (the day's length may differ from 86,400 seconds by the zone's offset).
    const double days = (longest - checked) / 86'400;
    EXPECT_NEAR(days, static_cast<double>(NextReminderCalculator::kLongestSkipInterval), 1.0);
    for (const std::int64_t skip :
         {std::int64_t{3'000'000'000}, NextReminderCalculator::kLongestSkipInterval + 1,
          std::numeric_limits<std::int64_t>::max()}) {
        EXPECT_EQ(NextReminderCalculator::nextReminder(on, nineOClock, skip, checked), longest)
            << skip;
    }
}

TEST_F(NextReminderCalculatorTest, TheLongestSkipSpansTheWholeRangeOfRepresentableDates) {
    EXPECT_GE(static_cast<double>(NextReminderCalculator::kLongestSkipInterval) * 86'400,
              2 * kRepresentableDateLimit);
    // Even from the latest representable date, the calendar can add it.
    const Date far = NextReminderCalculator::nextReminder(
        kyivWinter(2024, 1, 10, 8), nineOClock, NextReminderCalculator::kLongestSkipInterval,
        Date(kRepresentableDateLimit));
    EXPECT_GT(far.timeIntervalSinceReferenceDate(), 3 * kRepresentableDateLimit);
    EXPECT_TRUE(std::isfinite(far.timeIntervalSinceReferenceDate()));
}

TEST_F(NextReminderCalculatorTest, AHugeNegativeSkipCountsAsACheckmarkLongPast) {
    const Date on = kyivWinter(2024, 1, 10, 8);
    for (const std::int64_t skip :
         {std::int64_t{-3'000'000'000}, std::numeric_limits<std::int64_t>::min()}) {
        EXPECT_EQ(
            NextReminderCalculator::nextReminder(on, nineOClock, skip, kyivWinter(2024, 1, 10)),
            kyivWinter(2024, 1, 10, 9))
            << skip;
    }
}

TEST_F(NextReminderCalculatorTest, ALastDateTheCalendarCannotPlaceCountsAsNone) {
    const Date on = kyivWinter(2024, 1, 10, 10);
    for (const double last :
         {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity(),
          -std::numeric_limits<double>::infinity()}) {
        EXPECT_EQ(NextReminderCalculator::nextReminder(on, nineOClock, 1, Date(last)),
                  kyivWinter(2024, 1, 11, 9))
            << last;
    }
}

TEST_F(NextReminderCalculatorTest, ALastDateBeyondTheCalendarsRangeStillGivesADate) {
    // ICU's calendar pins instants beyond its range to its ends.
    const Date on = kyivWinter(2024, 1, 10, 10);
    EXPECT_GT(NextReminderCalculator::nextReminder(on, nineOClock, 1, Date(1e300)), on);
    EXPECT_EQ(NextReminderCalculator::nextReminder(on, nineOClock, 1, Date(-1e300)),
              kyivWinter(2024, 1, 11, 9));
}

TEST_F(NextReminderCalculatorTest, AReminderTimeOrReferenceThatIsNotFiniteGivesADateAnyway) {
    const Date notANumber(std::numeric_limits<double>::quiet_NaN());
    EXPECT_TRUE(std::isnan(NextReminderCalculator::nextReminder(kyivWinter(2024, 1, 10, 10),
                                                                notANumber, 1, std::nullopt)
                               .timeIntervalSinceReferenceDate()));
    EXPECT_TRUE(std::isnan(
        NextReminderCalculator::nextReminder(notANumber, nineOClock, 1, kyivWinter(2024, 1, 10))
            .timeIntervalSinceReferenceDate()));
    const Date past(-std::numeric_limits<double>::infinity());
    EXPECT_FALSE(
        std::isfinite(NextReminderCalculator::nextReminder(past, nineOClock, 1, std::nullopt)
                          .timeIntervalSinceReferenceDate()));
}

}  // namespace
}  // namespace dovrel
