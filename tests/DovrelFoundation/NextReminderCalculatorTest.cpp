#include "DovrelFoundation/NextReminderCalculator.h"

#include <gtest/gtest.h>

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

}  // namespace
}  // namespace dovrel
