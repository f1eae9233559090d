#include "DovrelFoundation/Model/Habit.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <vector>

#include "DovrelFoundation/Appearance/ColorExtensions.h"
#include "DovrelFoundation/Model/Performing.h"
#include "DovrelFoundation/Persistence/ContextExtensions.h"
#include "DovrelFoundation/Progress/HabitProgressCalculator.h"
#include "platform/foundation/Clock.h"
#include "platform/store/Predicate.h"
#include "tests/DovrelFoundation/HabitStore.h"
#include "tests/support/CivilDate.h"
#include "tests/support/ScopedRegion.h"

namespace dovrel {
namespace {

using testing::civilDate;
using ::testing::ElementsAre;
using testing::HabitStore;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

// New York in winter is UTC-5; every date of these tests is outside summer time.
Date newYork(int year, unsigned month, unsigned day, int hour = 12, int minute = 0) {
    return civilDate(year, month, day, hour, minute, 0, -5.0);
}

class HabitTest : public ::testing::Test {
  protected:
    std::shared_ptr<Habit> makeHabit(std::optional<RepeatInterval> interval = RepeatInterval()) {
        auto habit = insertObject<Habit>(store.context());
        habit->setName("Read");
        habit->setCreationDate(newYork(2024, 1, 1));
        habit->setRepeatInterval(interval);
        return habit;
    }

    // Adds a checkmark the way a restored backup does: directly, without refreshing the caches.
    std::shared_ptr<Performing> addCheckmark(Habit& habit, std::optional<Date> date) {
        auto performing = insertObject<Performing>(store.context());
        performing->setDate(date);
        habit.addPerformingObject(performing);
        return performing;
    }

    std::int64_t storedCheckmarks() { return store.context().count(Performing::fetchRequest()); }

    testing::ScopedRegion region{"America/New_York"};
    HabitStore store;
};

TEST_F(HabitTest, AHabitWithNoCheckmarksHasNoDatesNoLastDateAndNoPerformingsOnAnyDay) {
    auto habit = makeHabit();
    store.context().save();
    store.reopen();
    auto fetched = store.context().fetch(Habit::fetchRequest());
    ASSERT_EQ(fetched.size(), 1u);
    habit = fetched.front();

    EXPECT_THAT(habit->performingDates(), IsEmpty());
    EXPECT_THAT(habit->performingsSortedByDate(), IsEmpty());
    EXPECT_FALSE(habit->lastPerformingDate().has_value());
    for (int day = 1; day <= 31; ++day) {
        const Date date = newYork(2024, 1, static_cast<unsigned>(day));
        EXPECT_FALSE(habit->hasPerformings(date));
        EXPECT_EQ(habit->numberOfPerformings(date), 0);
        EXPECT_THAT(habit->performings(date), IsEmpty());
    }
}

TEST_F(HabitTest, EveryPropertySurvivesASaveAndAReopen) {
    auto habit = makeHabit(RepeatInterval(3, 7));
    habit->setColor(Color::rgb(1.0, 0.5, 0.0));
    habit->setQuestion("Did you read twenty pages?");
    habit->setRemind(true);
    habit->setRemindTime(newYork(2024, 1, 1, 20, 30));
    habit->toggleCheckmark(newYork(2024, 1, 2, 7, 15));
    habit->toggleCheckmark(newYork(2024, 1, 3, 22, 45));
    const auto cache = habit->lastFivePerformingDates();
    const double cachedProgress = habit->lastPerformingDateProgress();
    store.context().save();
    store.reopen();

    auto habits = store.context().fetch(Habit::fetchRequest());
    ASSERT_EQ(habits.size(), 1u);
    const auto& reopened = *habits.front();
    EXPECT_EQ(reopened.name(), "Read");
    EXPECT_EQ(reopened.creationDate(), newYork(2024, 1, 1));
    EXPECT_EQ(reopened.question(), "Did you read twenty pages?");
    EXPECT_TRUE(reopened.remind());
    EXPECT_EQ(reopened.remindTime(), newYork(2024, 1, 1, 20, 30));
    EXPECT_EQ(reopened.repeatInterval(), RepeatInterval(3, 7));
    ASSERT_TRUE(reopened.color().has_value());
    EXPECT_EQ(hex(*reopened.color()), 0xFF7F00);
    EXPECT_EQ(reopened.lastFivePerformingDates(), cache);
    EXPECT_DOUBLE_EQ(reopened.lastPerformingDateProgress(), cachedProgress);
    EXPECT_THAT(
        reopened.performingDates(),
        ::testing::UnorderedElementsAre(newYork(2024, 1, 2, 7, 15), newYork(2024, 1, 3, 22, 45)));
    for (const auto& performing : reopened.performing()) {
        EXPECT_EQ(performing->habit().get(), &reopened);
    }
}

TEST_F(HabitTest, ANewHabitHasNoCachesAndDoesNotRemind) {
    auto habit = insertObject<Habit>(store.context());
    EXPECT_FALSE(habit->color().has_value());
    EXPECT_FALSE(habit->repeatInterval().has_value());
    EXPECT_FALSE(habit->lastFivePerformingDates().has_value());
    EXPECT_EQ(habit->lastPerformingDateProgress(), 0.0);
    EXPECT_FALSE(habit->remind());
    EXPECT_THAT(habit->performing(), IsEmpty());
}

TEST_F(HabitTest, TogglingCreatesACheckmarkDatedExactlyAtTheGivenInstant) {
    auto habit = makeHabit();
    const Date instant = newYork(2024, 1, 10, 17, 42) + 0.25;
    habit->toggleCheckmark(instant);
    ASSERT_EQ(habit->performing().size(), 1u);
    EXPECT_EQ(habit->performing().front()->date(), instant);
    EXPECT_EQ(habit->performing().front()->habit(), habit);
}

TEST_F(HabitTest, TogglingTwiceOnTheSameDayLeavesNoCheckmarkAndTheCachesAsBefore) {
    auto habit = makeHabit();
    habit->toggleCheckmark(newYork(2024, 1, 1));
    habit->toggleCheckmark(newYork(2024, 1, 2));
    habit->toggleCheckmark(newYork(2024, 1, 4));
    store.context().save();
    const auto cacheBefore = habit->lastFivePerformingDates();
    const double progressBefore = habit->lastPerformingDateProgress();

    habit->toggleCheckmark(newYork(2024, 1, 6, 8, 0));
    EXPECT_TRUE(habit->hasPerformings(newYork(2024, 1, 6)));
    EXPECT_NE(habit->lastFivePerformingDates(), cacheBefore);
    habit->toggleCheckmark(newYork(2024, 1, 6, 21, 0));

    EXPECT_FALSE(habit->hasPerformings(newYork(2024, 1, 6)));
    EXPECT_EQ(habit->performing().size(), 3u);
    EXPECT_EQ(habit->lastFivePerformingDates(), cacheBefore);
    EXPECT_EQ(habit->lastPerformingDateProgress(), progressBefore);
}

TEST_F(HabitTest, TogglingAt2359AndAgainAt0001OfTheNextDayCreatesTwoCheckmarksOnTwoDays) {
    auto habit = makeHabit();
    habit->toggleCheckmark(newYork(2024, 1, 15, 23, 59));
    habit->toggleCheckmark(newYork(2024, 1, 16, 0, 1));
    store.context().save();

    EXPECT_THAT(
        habit->performingDates(),
        ::testing::UnorderedElementsAre(newYork(2024, 1, 15, 23, 59), newYork(2024, 1, 16, 0, 1)));
    EXPECT_EQ(habit->numberOfPerformings(newYork(2024, 1, 15)), 1);
    EXPECT_EQ(habit->numberOfPerformings(newYork(2024, 1, 16)), 1);
    // Two consecutive days: two full gains, no decay between them.
    EXPECT_DOUBLE_EQ(
        habit->lastPerformingDateProgress(),
        HabitProgressCalculator::gainedProgress(HabitProgressCalculator::gainedProgress(0.0)));
}

TEST_F(HabitTest, ABackupWithTwoCheckmarksOnOneDayCountsTwoAndOneToggleRemovesBoth) {
    auto habit = makeHabit();
    addCheckmark(*habit, newYork(2024, 1, 20, 9, 0));
    addCheckmark(*habit, newYork(2024, 1, 20, 18, 0));
    addCheckmark(*habit, newYork(2024, 1, 21, 9, 0));
    store.context().save();
    store.reopen();
    habit = store.context().fetch(Habit::fetchRequest()).front();

    EXPECT_EQ(habit->numberOfPerformings(newYork(2024, 1, 20, 1, 0)), 2);
    EXPECT_EQ(habit->performings(newYork(2024, 1, 20)).size(), 2u);
    habit->toggleCheckmark(newYork(2024, 1, 20, 12, 0));
    EXPECT_EQ(habit->numberOfPerformings(newYork(2024, 1, 20)), 0);
    EXPECT_THAT(habit->performingDates(), ElementsAre(newYork(2024, 1, 21, 9, 0)));
    store.context().save();
    EXPECT_EQ(storedCheckmarks(), 1);
}

TEST_F(HabitTest, AfterAnyToggleOnAHabitWithSevenCheckmarksTheCacheHoldsTheFiveLatestOldestFirst) {
    auto habit = makeHabit();
    // Seven checkmarks toggled in no particular order.
    for (unsigned day : {5u, 1u, 7u, 3u, 2u, 6u, 4u}) {
        habit->toggleCheckmark(newYork(2024, 2, day, 8, 0));
        std::vector<Date> dates = habit->performingDates();
        std::sort(dates.begin(), dates.end());
        const std::size_t kept = std::min<std::size_t>(dates.size(), 5);
        const std::vector<Date> expected(dates.end() - static_cast<std::ptrdiff_t>(kept),
                                         dates.end());
        ASSERT_TRUE(habit->lastFivePerformingDates().has_value());
        EXPECT_EQ(habit->lastFivePerformingDates()->dates(), expected) << "after day " << day;
        EXPECT_EQ(habit->lastPerformingDate(), expected.back());
    }
    EXPECT_THAT(
        habit->lastFivePerformingDates()->dates(),
        ElementsAre(newYork(2024, 2, 3, 8, 0), newYork(2024, 2, 4, 8, 0), newYork(2024, 2, 5, 8, 0),
                    newYork(2024, 2, 6, 8, 0), newYork(2024, 2, 7, 8, 0)));

    // Removing the latest moves the window back by one.
    habit->toggleCheckmark(newYork(2024, 2, 7, 20, 0));
    EXPECT_THAT(
        habit->lastFivePerformingDates()->dates(),
        ElementsAre(newYork(2024, 2, 2, 8, 0), newYork(2024, 2, 3, 8, 0), newYork(2024, 2, 4, 8, 0),
                    newYork(2024, 2, 5, 8, 0), newYork(2024, 2, 6, 8, 0)));
    EXPECT_EQ(habit->lastPerformingDate(), newYork(2024, 2, 6, 8, 0));
    EXPECT_DOUBLE_EQ(habit->lastPerformingDateProgress(),
                     HabitProgressCalculator::calculateProgress(habit->performingDates(), 1, 1));
}

TEST_F(HabitTest, WithoutARepeatIntervalTogglingChangesCheckmarksButLeavesBothCaches) {
    auto habit = makeHabit(std::nullopt);
    const LastFivePerformingDates oldCache({newYork(2023, 12, 1)});
    habit->setLastFivePerformingDates(oldCache);
    habit->setLastPerformingDateProgress(42.5);

    habit->toggleCheckmark(newYork(2024, 1, 3));
    habit->toggleCheckmark(newYork(2024, 1, 4));
    EXPECT_EQ(habit->performingDates().size(), 2u);
    EXPECT_EQ(habit->lastFivePerformingDates(), oldCache);
    EXPECT_EQ(habit->lastPerformingDateProgress(), 42.5);

    habit->toggleCheckmark(newYork(2024, 1, 3));
    EXPECT_THAT(habit->performingDates(), ElementsAre(newYork(2024, 1, 4)));
    EXPECT_EQ(habit->lastFivePerformingDates(), oldCache);
    EXPECT_EQ(habit->lastPerformingDateProgress(), 42.5);
}

TEST_F(HabitTest, WithoutARepeatIntervalAFreshHabitKeepsAbsentCaches) {
    auto habit = makeHabit(std::nullopt);
    habit->toggleCheckmark(newYork(2024, 1, 3));
    EXPECT_FALSE(habit->lastFivePerformingDates().has_value());
    EXPECT_EQ(habit->lastPerformingDateProgress(), 0.0);
}

TEST_F(HabitTest, ResetProgressLeavesAnEmptyFiveDateCacheAndZeroProgress) {
    auto habit = makeHabit();
    for (unsigned day = 1; day <= 9; ++day) {
        habit->toggleCheckmark(newYork(2024, 3, day, 9, 0));
    }
    addCheckmark(*habit, std::nullopt);
    store.context().save();
    ASSERT_GT(habit->lastPerformingDateProgress(), 0.0);

    habit->resetProgress();
    EXPECT_THAT(habit->performing(), IsEmpty());
    ASSERT_TRUE(habit->lastFivePerformingDates().has_value());
    EXPECT_THAT(habit->lastFivePerformingDates()->dates(), IsEmpty());
    EXPECT_EQ(habit->lastPerformingDateProgress(), 0.0);
    EXPECT_FALSE(habit->lastPerformingDate().has_value());

    store.context().save();
    EXPECT_EQ(storedCheckmarks(), 0);
    store.reopen();
    auto reopened = store.context().fetch(Habit::fetchRequest()).front();
    ASSERT_TRUE(reopened->lastFivePerformingDates().has_value());
    EXPECT_THAT(reopened->lastFivePerformingDates()->dates(), IsEmpty());
}

TEST_F(HabitTest, ResetProgressWithoutARepeatIntervalRemovesCheckmarksButKeepsTheCaches) {
    auto habit = makeHabit(std::nullopt);
    habit->setLastPerformingDateProgress(12.0);
    addCheckmark(*habit, newYork(2024, 1, 2));
    habit->resetProgress();
    EXPECT_THAT(habit->performing(), IsEmpty());
    EXPECT_FALSE(habit->lastFivePerformingDates().has_value());
    EXPECT_EQ(habit->lastPerformingDateProgress(), 12.0);
}

TEST_F(HabitTest, DetachedCheckmarksAreDeletedWithTheNextSave) {
    auto habit = makeHabit();
    habit->toggleCheckmark(newYork(2024, 1, 2));
    habit->toggleCheckmark(newYork(2024, 1, 3));
    store.context().save();
    ASSERT_EQ(storedCheckmarks(), 2);

    auto detached = habit->performings(newYork(2024, 1, 2));
    ASSERT_EQ(detached.size(), 1u);
    habit->toggleCheckmark(newYork(2024, 1, 2));
    EXPECT_EQ(detached.front()->habit(), nullptr);
    EXPECT_TRUE(detached.front()->isDeleted());
    store.context().save();
    EXPECT_EQ(storedCheckmarks(), 1);
}

TEST_F(HabitTest, RollingBackAToggleBringsTheCheckmarkBackToItsHabit) {
    auto habit = makeHabit();
    habit->toggleCheckmark(newYork(2024, 1, 2));
    store.context().save();
    habit->toggleCheckmark(newYork(2024, 1, 2));
    store.context().rollback();
    EXPECT_TRUE(habit->hasPerformings(newYork(2024, 1, 2)));
    store.context().save();
    EXPECT_EQ(storedCheckmarks(), 1);
}

TEST_F(HabitTest, DeletingAHabitDeletesItsCheckmarks) {
    auto habit = makeHabit();
    habit->toggleCheckmark(newYork(2024, 1, 2));
    habit->toggleCheckmark(newYork(2024, 1, 3));
    store.context().save();
    store.context().deleteObject(habit);
    store.context().save();
    EXPECT_EQ(storedCheckmarks(), 0);
}

TEST_F(HabitTest, CheckmarksWithoutADateAreNeitherCountedNorListed) {
    auto habit = makeHabit();
    addCheckmark(*habit, newYork(2024, 1, 3, 10, 0));
    addCheckmark(*habit, std::nullopt);
    addCheckmark(*habit, newYork(2024, 1, 1, 10, 0));
    addCheckmark(*habit, newYork(2024, 1, 2, 10, 0));
    store.context().save();
    store.reopen();
    habit = store.context().fetch(Habit::fetchRequest()).front();

    EXPECT_EQ(habit->performing().size(), 4u);
    EXPECT_EQ(habit->performingDates().size(), 3u);
    std::vector<Date> sorted;
    for (const auto& performing : habit->performingsSortedByDate()) {
        sorted.push_back(*performing->date());
    }
    EXPECT_THAT(sorted, ElementsAre(newYork(2024, 1, 1, 10, 0), newYork(2024, 1, 2, 10, 0),
                                    newYork(2024, 1, 3, 10, 0)));

    // Toggling refreshes the caches from the dated checkmarks only.
    habit->toggleCheckmark(newYork(2024, 1, 4, 10, 0));
    EXPECT_EQ(habit->lastFivePerformingDates()->dates().size(), 4u);
    EXPECT_EQ(habit->performing().size(), 5u);
}

TEST_F(HabitTest, LastPerformingDateIsTheLastDateOfTheCacheNotOfTheCheckmarks) {
    auto habit = makeHabit();
    addCheckmark(*habit, newYork(2024, 1, 9));
    EXPECT_FALSE(habit->lastPerformingDate().has_value());
    habit->setLastFivePerformingDates(LastFivePerformingDates({newYork(2024, 1, 2)}));
    EXPECT_EQ(habit->lastPerformingDate(), newYork(2024, 1, 2));
    habit->setLastFivePerformingDates(LastFivePerformingDates(std::vector<Date>{}));
    EXPECT_FALSE(habit->lastPerformingDate().has_value());
}

TEST_F(HabitTest, TogglingAHabitWithoutAContextStopsTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            auto habit = makeHabit();
            store.context().reset();
            habit->toggleCheckmark(newYork(2024, 1, 2));
        },
        "Fatal error: There is no managed object context to toggle a checkmark of a Habit\\.: "
        "file DovrelFoundation/Habit, line");
}

TEST_F(HabitTest, TogglingAsksTheHabitWidgetToReloadAndResettingDoesNot) {
    auto habit = makeHabit();
    {
        testing::CapturedWidgetLog log;
        habit->toggleCheckmark(newYork(2024, 1, 2));
        const auto lines = log.lines();
        ASSERT_EQ(lines.size(), 1u);
        EXPECT_THAT(lines[0], HasSubstr("(kind \"HabitWidget\")"));
    }
    {
        testing::CapturedWidgetLog log;
        habit->toggleCheckmark(newYork(2024, 1, 2));
        EXPECT_EQ(log.lines().size(), 1u);
    }
    {
        testing::CapturedWidgetLog log;
        habit->resetProgress();
        EXPECT_THAT(log.lines(), IsEmpty());
    }
}

// ---- Progress on a day ----

TEST_F(HabitTest, OneCheckmarkTodayGivesFiveTodayAndTomorrowAndThreeTheDayAfter) {
    auto habit = makeHabit();
    habit->toggleCheckmark(newYork(2024, 1, 10, 9, 0));
    EXPECT_EQ(habit->progress(newYork(2024, 1, 10, 23, 0)), 5);
    EXPECT_EQ(habit->progress(newYork(2024, 1, 11, 12, 0)), 5);
    EXPECT_EQ(habit->progress(newYork(2024, 1, 12, 12, 0)), 3);
}

TEST_F(HabitTest, WorkedExampleOfDaysOneTwoAndFourShowsTenOnDaySix) {
    auto habit = makeHabit();
    habit->toggleCheckmark(newYork(2024, 1, 1));
    habit->toggleCheckmark(newYork(2024, 1, 2));
    habit->toggleCheckmark(newYork(2024, 1, 4));
    EXPECT_NEAR(habit->lastPerformingDateProgress(), 11.56, 0.005);
    EXPECT_EQ(habit->progress(newYork(2024, 1, 6)), 10);
}

TEST_F(HabitTest, AHabitWithoutARepeatIntervalHasProgressZeroEvenWithCheckmarks) {
    auto habit = makeHabit(std::nullopt);
    habit->toggleCheckmark(newYork(2024, 1, 1));
    habit->setLastPerformingDateProgress(60.0);
    habit->setLastFivePerformingDates(LastFivePerformingDates({newYork(2024, 1, 1)}));
    EXPECT_EQ(habit->progress(newYork(2024, 1, 1, 20, 0)), 0);
    EXPECT_EQ(habit->progress(newYork(2023, 12, 31)), 0);
}

TEST_F(HabitTest, ProgressEarlierOnTheSameDayAsTheLatestCheckmarkRecomputesWithoutIt) {
    auto habit = makeHabit();
    habit->toggleCheckmark(newYork(2024, 1, 1, 18, 0));
    habit->toggleCheckmark(newYork(2024, 1, 2, 18, 0));
    // At 09:00 of the 2nd only the first checkmark counts: 4.76 shown as 5.
    EXPECT_EQ(habit->progress(newYork(2024, 1, 2, 9, 0)), 5);
    // From 18:00 on, both: 9.30 shown as 10.
    EXPECT_EQ(habit->progress(newYork(2024, 1, 2, 18, 0)), 10);
}

TEST_F(HabitTest, ProgressOnADayBeforeTheFirstCheckmarkIsZero) {
    auto habit = makeHabit();
    habit->toggleCheckmark(newYork(2024, 1, 5));
    EXPECT_EQ(habit->progress(newYork(2024, 1, 4)), 0);
}

TEST_F(HabitTest, CurrentProgressIsTheProgressOfNow) {
    auto habit = makeHabit();
    habit->toggleCheckmark(newYork(2024, 1, 1));
    habit->toggleCheckmark(newYork(2024, 1, 2));
    ScopedClockOverride clock(newYork(2024, 1, 9, 15, 0));
    EXPECT_EQ(habit->currentProgress(), habit->progress(newYork(2024, 1, 9, 15, 0)));
    EXPECT_LT(habit->currentProgress(), 10);
}

TEST_F(HabitTest, ProgressTodayOnASavedHabitWithManyCheckmarksReadsNoCheckmarkRow) {
    auto habit = makeHabit();
    for (int day = 0; day < 400; ++day) {
        addCheckmark(*habit, newYork(2023, 1, 1, 9, 0) + day * 86400.0);
    }
    habit->toggleCheckmark(newYork(2024, 2, 6, 9, 0));
    store.context().save();
    const auto expectedToday = habit->progress(newYork(2024, 2, 10));
    const auto expectedAtLatest = habit->progress(newYork(2024, 2, 6, 9, 0));
    store.reopen();

    auto fetched = store.context().fetch(Habit::fetchRequest(std::nullopt, false, std::nullopt));
    ASSERT_EQ(fetched.size(), 1u);
    const auto rowsBefore = store.store()->rowsRead();
    EXPECT_EQ(fetched.front()->progress(newYork(2024, 2, 10)), expectedToday);
    EXPECT_EQ(fetched.front()->progress(newYork(2024, 2, 6, 9, 0)), expectedAtLatest);
    EXPECT_EQ(store.store()->rowsRead(), rowsBefore);
    EXPECT_TRUE(fetched.front()->hasFaultForRelationship("performing"));

    // A day before the latest checkmark needs the history, and reads it.
    EXPECT_GT(fetched.front()->progress(newYork(2024, 1, 1)), 0);
    EXPECT_GT(store.store()->rowsRead(), rowsBefore + 400);
}

TEST_F(HabitTest, DayQueriesOfAHabitReadFromTheStoreReadOnlyTheirDayUntilAToggleLoadsAll) {
    auto habit = makeHabit();
    for (int day = 0; day < 300; ++day) {
        addCheckmark(*habit, newYork(2023, 1, 1, 9, 0) + day * 86400.0);
    }
    store.context().save();
    store.reopen();
    habit = store.context().fetch(Habit::fetchRequest(std::nullopt, false, std::nullopt)).front();
    // Before the checkmarks are in memory, a day query counts that day's checkmarks on the
    // store's index: one row (the count) each, never the habit's 300 checkmarks.
    const auto beforeQueries = store.store()->rowsRead();
    EXPECT_TRUE(habit->hasPerformings(newYork(2023, 1, 5)));
    EXPECT_EQ(habit->numberOfPerformings(newYork(2023, 1, 6)), 1);
    EXPECT_FALSE(habit->hasPerformings(newYork(2024, 1, 6)));
    EXPECT_EQ(store.store()->rowsRead(), beforeQueries + 3);
    EXPECT_TRUE(habit->hasFaultForRelationship("performing"));
    EXPECT_EQ(habit->performings(newYork(2023, 1, 7)).size(), 1u);
    EXPECT_EQ(store.store()->rowsRead(), beforeQueries + 4);

    // A toggle needs every checkmark for the caches: they are read once, in one fetch, and stay
    // with the habit, so that later queries and toggles read nothing.
    habit->toggleCheckmark(newYork(2023, 1, 1, 20, 0));
    const auto afterToggle = store.store()->rowsRead();
    EXPECT_LE(afterToggle, beforeQueries + 4 + 2 * 300);
    for (int day = 1; day <= 28; ++day) {
        EXPECT_TRUE(habit->hasPerformings(newYork(2023, 2, static_cast<unsigned>(day))));
    }
    habit->toggleCheckmark(newYork(2023, 1, 2, 20, 0));
    habit->toggleCheckmark(newYork(2023, 1, 2, 20, 0));
    EXPECT_EQ(store.store()->rowsRead(), afterToggle);
    EXPECT_EQ(habit->performingDates().size(), 299u);
    for (const auto& performing : habit->performing()) {
        EXPECT_FALSE(performing->isFault());
    }
    store.context().save();
    EXPECT_EQ(storedCheckmarks(), 299);
}

TEST_F(HabitTest, DayQueriesBeforeTheCheckmarksAreLoadedSeeUnsavedChanges) {
    auto habit = makeHabit();
    addCheckmark(*habit, newYork(2023, 1, 5));
    addCheckmark(*habit, newYork(2023, 1, 6));
    store.context().save();
    store.reopen();
    habit = store.context().fetch(Habit::fetchRequest(std::nullopt, false, std::nullopt)).front();
    // A checkmark added and one removed, not saved yet, without reading the habit's list.
    addCheckmark(*habit, newYork(2023, 1, 7));
    auto sixth = store.context().fetch(Performing::fetchRequest(
        store::Key("date") == store::Value(newYork(2023, 1, 6)), false, std::nullopt));
    ASSERT_EQ(sixth.size(), 1u);
    habit->removePerforming(sixth);
    EXPECT_TRUE(habit->hasPerformings(newYork(2023, 1, 5)));
    EXPECT_FALSE(habit->hasPerformings(newYork(2023, 1, 6)));
    EXPECT_TRUE(habit->hasPerformings(newYork(2023, 1, 7)));
    EXPECT_EQ(habit->performings(newYork(2023, 1, 7)).size(), 1u);
}

TEST_F(HabitTest, ACheckmarkThatAnotherProcessRemovedAfterTheListWasReadIsLeftOut) {
    auto habit = makeHabit();
    for (unsigned day = 1; day <= 3; ++day) {
        addCheckmark(*habit, newYork(2024, 2, day));
    }
    store.context().save();
    store.reopen();
    auto reread = store.context().fetch(Habit::sortedFetchRequest());
    ASSERT_EQ(reread.size(), 1u);
    // The habit's list of checkmarks is read (their values are not, yet)...
    const auto members = reread.front()->objects("performing");
    ASSERT_EQ(members.size(), 3u);
    // ...and another process removes the first checkmark before they are.
    sqlite3* raw = nullptr;
    ASSERT_EQ(sqlite3_open(store.url().c_str(), &raw), SQLITE_OK);
    std::unique_ptr<sqlite3, decltype(&sqlite3_close_v2)> other(raw, &sqlite3_close_v2);
    ASSERT_EQ(
        sqlite3_exec(raw, "DELETE FROM Performing WHERE Z_PK = (SELECT min(Z_PK) FROM Performing)",
                     nullptr, nullptr, nullptr),
        SQLITE_OK);

    std::vector<Date> dates = reread.front()->performingDates();
    std::sort(dates.begin(), dates.end());
    EXPECT_THAT(dates, ElementsAre(newYork(2024, 2, 2), newYork(2024, 2, 3)));
    EXPECT_FALSE(reread.front()->hasPerformings(newYork(2024, 2, 1)));
    reread.front()->toggleCheckmark(newYork(2024, 2, 4));
    store.context().save();
    EXPECT_EQ(reread.front()->lastFivePerformingDates()->dates().size(), 3u);
}

}  // namespace
}  // namespace dovrel
