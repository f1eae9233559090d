#include "DovrelFoundation/Model/Habit.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

#include "DovrelFoundation/Model/LastFivePerformingDates.h"
#include "DovrelFoundation/Persistence/ContextExtensions.h"
#include "DovrelFoundation/Reminders/NextReminderCalculator.h"
#include "platform/foundation/Clock.h"
#include "platform/foundation/Color.h"
#include "tests/DovrelFoundation/HabitStore.h"
#include "tests/support/CivilDate.h"
#include "tests/support/ScopedRegion.h"

namespace dovrel {
namespace {

using testing::civilDate;

// New York in winter is UTC-5; every date of these tests is outside summer time.
Date newYork(int year, unsigned month, unsigned day, int hour = 0, int minute = 0) {
    return civilDate(year, month, day, hour, minute, 0, -5.0);
}

// Monday 8 January 2024 and the days around it.
class HabitNextReminderTest : public ::testing::Test {
  protected:
    std::shared_ptr<Habit> makeHabit(RepeatInterval interval,
                                     std::vector<Date> checkmarkDates = {}) {
        auto habit = insertObject<Habit>(store.context());
        habit->setName("Stretch");
        habit->setCreationDate(newYork(2023, 12, 1));
        habit->setRemind(true);
        // Only the time of day counts; the day is long past.
        habit->setRemindTime(newYork(2022, 2, 14, 9, 0));
        habit->setRepeatInterval(interval);
        if (!checkmarkDates.empty()) {
            habit->setLastFivePerformingDates(LastFivePerformingDates(std::move(checkmarkDates)));
        }
        return habit;
    }

    std::optional<Date> nextReminderAt(const Habit& habit, Date now) {
        ScopedClockOverride clock(now);
        return habit.nextReminder();
    }

    testing::ScopedRegion region{"America/New_York"};
    testing::HabitStore store;
};

TEST_F(HabitNextReminderTest, ANeverCheckedHabitIsRemindedTodayUntilTheTimeHasPassed) {
    auto habit = makeHabit(RepeatInterval(1, 1));
    EXPECT_EQ(nextReminderAt(*habit, newYork(2024, 1, 8, 8)), newYork(2024, 1, 8, 9));
    EXPECT_EQ(nextReminderAt(*habit, newYork(2024, 1, 8, 9)), newYork(2024, 1, 8, 9));
    EXPECT_EQ(nextReminderAt(*habit, newYork(2024, 1, 8, 10)), newYork(2024, 1, 9, 9));
}

TEST_F(HabitNextReminderTest, AnEveryDayHabitCheckedTodayIsRemindedTomorrow) {
    auto habit = makeHabit(RepeatInterval(1, 1), {newYork(2024, 1, 8)});
    EXPECT_EQ(nextReminderAt(*habit, newYork(2024, 1, 8, 8)), newYork(2024, 1, 9, 9));
}

TEST_F(HabitNextReminderTest, AWeeklyHabitCheckedOnMondayIsRemindedTheNextMonday) {
    auto habit = makeHabit(RepeatInterval(1, 7), {newYork(2024, 1, 8)});
    EXPECT_EQ(nextReminderAt(*habit, newYork(2024, 1, 11, 12)), newYork(2024, 1, 15, 9));
}

TEST_F(HabitNextReminderTest, AThreeTimesAWeekHabitCheckedTodayIsRemindedTheDayAfterTomorrow) {
    auto habit = makeHabit(RepeatInterval(3, 7), {newYork(2024, 1, 8)});
    EXPECT_EQ(nextReminderAt(*habit, newYork(2024, 1, 8, 7)), newYork(2024, 1, 10, 9));
}

TEST_F(HabitNextReminderTest, TheSkipIsDaysOverTimesAndAtLeastOneDay) {
    // 5 times in 7 days pauses one day, 1 time in 2 days two.
    auto often = makeHabit(RepeatInterval(5, 7), {newYork(2024, 1, 8)});
    EXPECT_EQ(nextReminderAt(*often, newYork(2024, 1, 8, 7)), newYork(2024, 1, 9, 9));
    auto everyOther = makeHabit(RepeatInterval(1, 2), {newYork(2024, 1, 8)});
    EXPECT_EQ(nextReminderAt(*everyOther, newYork(2024, 1, 8, 7)), newYork(2024, 1, 10, 9));
}

TEST_F(HabitNextReminderTest, TheLatestOfTheFiveDatesIsTheOneThatCounts) {
    auto habit = makeHabit(RepeatInterval(1, 7),
                           {newYork(2023, 12, 18), newYork(2024, 1, 1), newYork(2024, 1, 8)});
    EXPECT_EQ(nextReminderAt(*habit, newYork(2024, 1, 9, 12)), newYork(2024, 1, 15, 9));
}

TEST_F(HabitNextReminderTest, ACheckmarkFarInThePastRemindsAsIfNeverChecked) {
    auto habit = makeHabit(RepeatInterval(1, 7), {newYork(2023, 10, 2)});
    EXPECT_EQ(nextReminderAt(*habit, newYork(2024, 1, 8, 8)), newYork(2024, 1, 8, 9));
}

TEST_F(HabitNextReminderTest, AResumeDayOfTodayAfterTheReminderTimeMovesToTomorrow) {
    auto habit = makeHabit(RepeatInterval(1, 2), {newYork(2024, 1, 6)});
    EXPECT_EQ(nextReminderAt(*habit, newYork(2024, 1, 8, 10)), newYork(2024, 1, 9, 9));
}

TEST_F(HabitNextReminderTest, OnTheDaySummerTimeBeginsTheReminderIsAnHourLateOnTheClock) {
    // 2024-03-10 starts at 00:00 EST; nine hours later it is 10:00 EDT (14:00 UTC).
    auto habit = makeHabit(RepeatInterval(1, 1));
    EXPECT_EQ(nextReminderAt(*habit, newYork(2024, 3, 10, 0, 30)), civilDate(2024, 3, 10, 14));
}

TEST_F(HabitNextReminderTest, OnTheDaySummerTimeEndsTheReminderIsAnHourEarlyOnTheClock) {
    // 2024-11-03 starts at 00:00 EDT; nine hours later it is 08:00 EST (13:00 UTC).
    auto habit = makeHabit(RepeatInterval(1, 1));
    EXPECT_EQ(nextReminderAt(*habit, civilDate(2024, 11, 3, 0, 30, 0, -4.0)),
              civilDate(2024, 11, 3, 13));
}

TEST_F(HabitNextReminderTest, OnlyTheTimeOfDayOfTheRemindTimeCounts) {
    auto habit = makeHabit(RepeatInterval(1, 1));
    // 09:00 in summer time years ago, and 09:00 yesterday.
    for (const Date remindTime :
         {civilDate(2019, 7, 4, 9, 0, 0, -4.0), newYork(2024, 1, 7, 9), newYork(2001, 1, 1, 9)}) {
        habit->setRemindTime(remindTime);
        EXPECT_EQ(nextReminderAt(*habit, newYork(2024, 1, 8, 8)), newYork(2024, 1, 8, 9));
        EXPECT_EQ(nextReminderAt(*habit, newYork(2024, 1, 8, 10)), newYork(2024, 1, 9, 9));
    }
}

TEST_F(HabitNextReminderTest, WithoutRemindOrRemindTimeOrIntervalThereIsNoReminderWhateverElse) {
    // Every other field is set, checkmarks and their cache included.
    auto full = [this] {
        auto habit = makeHabit(RepeatInterval(3, 7));
        habit->toggleCheckmark(newYork(2024, 1, 5, 7));
        habit->toggleCheckmark(newYork(2024, 1, 6, 7));
        habit->setColor(Color::rgb(0.2, 0.4, 0.6));
        habit->setQuestion("Did you stretch?");
        return habit;
    };
    const Date instants[] = {newYork(2024, 1, 8, 8), newYork(2024, 1, 8, 9),
                             newYork(2024, 1, 20, 23, 59), newYork(2019, 5, 1)};

    auto off = full();
    ASSERT_TRUE(off->lastFivePerformingDates().has_value());
    off->setRemind(false);
    auto noTime = full();
    noTime->setRemindTime(std::nullopt);
    auto noInterval = full();
    noInterval->setRepeatInterval(std::nullopt);
    for (const Date now : instants) {
        EXPECT_FALSE(nextReminderAt(*off, now));
        EXPECT_FALSE(nextReminderAt(*noTime, now));
        EXPECT_FALSE(nextReminderAt(*noInterval, now));
    }
    // The same habit with all three has a reminder.
    EXPECT_TRUE(nextReminderAt(*full(), newYork(2024, 1, 8, 8)));
}

TEST_F(HabitNextReminderTest, WithoutReminderTimeOrIntervalThereIsNoReminder) {
    auto off = makeHabit(RepeatInterval(1, 1));
    off->setRemind(false);
    EXPECT_FALSE(nextReminderAt(*off, newYork(2024, 1, 8, 8)));

    auto noTime = makeHabit(RepeatInterval(1, 1));
    noTime->setRemindTime(std::nullopt);
    EXPECT_FALSE(nextReminderAt(*noTime, newYork(2024, 1, 8, 8)));

    auto noInterval = makeHabit(RepeatInterval(1, 1));
    noInterval->setRepeatInterval(std::nullopt);
    EXPECT_FALSE(nextReminderAt(*noInterval, newYork(2024, 1, 8, 8)));
}

TEST_F(HabitNextReminderTest, AnIntervalOfBillionsOfDaysPausesForTheLongestSkip) {
    const Date checked = newYork(2024, 1, 8);
    const Date longest =
        NextReminderCalculator::nextReminder(newYork(2024, 1, 8, 8), newYork(2022, 2, 14, 9, 0),
                                             NextReminderCalculator::kLongestSkipInterval, checked);
    for (const std::int64_t days :
         {std::int64_t{3'000'000'000}, std::numeric_limits<std::int64_t>::max()}) {
        auto habit = makeHabit(RepeatInterval(1, days), {checked});
        EXPECT_EQ(nextReminderAt(*habit, newYork(2024, 1, 8, 8)), longest) << days;
    }
    // Many times in billions of days is still a long pause; billions of times a day none.
    auto often = makeHabit(RepeatInterval(3, 9'000'000'000), {checked});
    EXPECT_EQ(nextReminderAt(*often, newYork(2024, 1, 8, 8)), longest);
    auto constantly = makeHabit(RepeatInterval(3'000'000'000, 1), {checked});
    EXPECT_EQ(nextReminderAt(*constantly, newYork(2024, 1, 8, 8)), newYork(2024, 1, 9, 9));
}

TEST_F(HabitNextReminderTest, AnIntervalThatCannotBeDividedStopsTheProcess) {
    auto habit = makeHabit(RepeatInterval(1, 1));
    RepeatInterval zeroTimes;
    zeroTimes.setTimes(0);
    habit->setRepeatInterval(zeroTimes);
    EXPECT_DEATH(habit->nextReminder(), "Division by zero");

    RepeatInterval overflowing;
    overflowing.setTimes(-1);
    overflowing.setDays(std::numeric_limits<std::int64_t>::min());
    habit->setRepeatInterval(overflowing);
    EXPECT_DEATH(habit->nextReminder(), "Division results in an overflow");
}

}  // namespace
}  // namespace dovrel
