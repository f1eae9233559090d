#include "DovrelFoundation/Progress/HabitProgressCalculator.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <fstream>
#include <limits>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "DovrelFoundation/Model/LastFivePerformingDates.h"
#include "DovrelFoundation/Model/RepeatInterval.h"
#include "DovrelFoundation/Progress/DateExtensions.h"
#include "DovrelFoundation/Progress/HabitProgress.h"
#include "platform/foundation/Clock.h"
#include "platform/foundation/RegionOverrides.h"
#include "tests/support/CivilDate.h"
#include "tests/support/ScopedRegion.h"

namespace dovrel {
namespace {

using testing::civilDate;
using testing::ScopedRegion;

constexpr double kDay = 86400.0;
constexpr std::int64_t kInt64Min = std::numeric_limits<std::int64_t>::min();

// A noon in New York in January 2024 (no DST change nearby): day n of the month.
Date januaryNoon(unsigned day, int hour = 12, int minute = 0) {
    return civilDate(2024, 1, day, hour, minute, 0, -5.0);
}

// A history source that counts how often it is read.
struct CountingHistory {
    std::vector<Date> dates;
    int reads = 0;

    std::function<std::vector<Date>()> source() {
        return [this] {
            ++reads;
            return dates;
        };
    }
};

// The whole algorithm the plain way, straight from the description and onlyDay(), as a reference
// for the fast implementation.
double referenceDivisor(std::int64_t times, std::int64_t days) {
    return static_cast<double>(days / times);
}

double referenceAfterGap(double p, std::int64_t gap, std::int64_t times, std::int64_t days) {
    for (std::int64_t i = 0; i + 1 < gap; ++i) {
        const double step = (100 - p) / 21;
        const double loss = step >= 0.1 ? step * 0.5 : 0.05;
        p = p - loss / referenceDivisor(times, days);
        if (p <= 0) {
            p = 0;
        }
        if (p > 100) {
            p = 100;
        }
    }
    return p;
}

std::int64_t referenceGap(Date later, Date earlier) {
    return static_cast<std::int64_t>(
        std::round((onlyDay(later).timeIntervalSinceReferenceDate() -
                    onlyDay(earlier).timeIntervalSinceReferenceDate()) /
                   kDay));
}

double referenceWholeHistory(std::vector<Date> dates, std::int64_t times, std::int64_t days) {
    std::sort(dates.begin(), dates.end());
    double p = 0;
    for (std::size_t i = 0; i < dates.size(); ++i) {
        if (i > 0) {
            p = referenceAfterGap(p, referenceGap(dates[i], dates[i - 1]), times, days);
        }
        p = std::min(100.0, p + std::max((100 - p) / 21, 0.1));
    }
    return p;
}

class HabitProgressCalculatorTest : public ::testing::Test {
  protected:
    ScopedRegion region_{"America/New_York"};
    ScopedClockOverride clock_{januaryNoon(20)};
};

// --- Building blocks ----------------------------------------------------------------------------

TEST_F(HabitProgressCalculatorTest, IntervalDivisorIsTheTruncatedIntegerQuotient) {
    EXPECT_EQ(HabitProgressCalculator::intervalDivisor(1, 1), 1.0);
    EXPECT_EQ(HabitProgressCalculator::intervalDivisor(3, 7), 2.0);
    EXPECT_EQ(HabitProgressCalculator::intervalDivisor(1, 7), 7.0);
    EXPECT_EQ(HabitProgressCalculator::intervalDivisor(2, 3), 1.0);
    EXPECT_EQ(HabitProgressCalculator::intervalDivisor(2, 1), 0.0);
    EXPECT_EQ(HabitProgressCalculator::intervalDivisor(2, -7), -3.0);
}

TEST_F(HabitProgressCalculatorTest, IntervalDivisorWithZeroRepeatingTimesStopsTheProcess) {
    EXPECT_DEATH(HabitProgressCalculator::intervalDivisor(0, 7),
                 "Fatal error: Division by zero: the interval divisor's repeatingTimes is 0");
}

TEST_F(HabitProgressCalculatorTest, IntervalDivisorOfTheOverflowingPairStopsTheProcess) {
    EXPECT_DEATH(HabitProgressCalculator::intervalDivisor(-1, kInt64Min),
                 "Fatal error: Division results in an overflow: the interval divisor's perDays is "
                 "the most negative integer and repeatingTimes is -1");
    EXPECT_EQ(HabitProgressCalculator::intervalDivisor(1, kInt64Min), -9223372036854775808.0);
}

TEST_F(HabitProgressCalculatorTest, TheDivisorIsComputedOnlyWhenAGapOfTwoDaysOccurs) {
    const std::vector<Date> everyDay = {januaryNoon(1), januaryNoon(2), januaryNoon(2, 18),
                                        januaryNoon(3)};
    // No gap of two days: a bad interval is never divided by.
    EXPECT_GT(HabitProgressCalculator::calculateProgress(everyDay, 0, 1), 0.0);
    EXPECT_GT(HabitProgressCalculator::calculateProgress(everyDay, -1, kInt64Min), 0.0);
    EXPECT_EQ(HabitProgressCalculator::calculateProgress(4.0, januaryNoon(3), 0, 1, januaryNoon(4)),
              4);
    const std::vector<Date> withGap = {januaryNoon(1), januaryNoon(3)};
    EXPECT_DEATH(HabitProgressCalculator::calculateProgress(withGap, 0, 1),
                 "Fatal error: Division by zero");
    EXPECT_DEATH(HabitProgressCalculator::calculateProgress(withGap, -1, kInt64Min),
                 "Fatal error: Division results in an overflow");
    EXPECT_DEATH(
        HabitProgressCalculator::calculateProgress(4.0, januaryNoon(3), 0, 1, januaryNoon(5)),
        "Fatal error: Division by zero");
}

TEST_F(HabitProgressCalculatorTest, GainIsAShareOfTheDistanceLeftButAtLeastOneTenth) {
    EXPECT_DOUBLE_EQ(HabitProgressCalculator::gainedProgress(0), 100.0 / 21);
    EXPECT_DOUBLE_EQ(HabitProgressCalculator::gainedProgress(50), 50 + 50.0 / 21);
    EXPECT_DOUBLE_EQ(HabitProgressCalculator::gainedProgress(98), 98.1);
    EXPECT_EQ(HabitProgressCalculator::gainedProgress(99.95), 100.0);
    // A score that stays at or below 0 after the gain is 0.
    EXPECT_EQ(HabitProgressCalculator::gainedProgress(-50), 0.0);
}

TEST_F(HabitProgressCalculatorTest, DecayCostsHalfAStepOrAFixedAmountNearTheTop) {
    // Step 90.70 / 21 = 4.32 >= 0.1: half of it.
    const double p = 9.297052154195011;
    EXPECT_DOUBLE_EQ(HabitProgressCalculator::decayedProgress(p, 1, 1), p - (100 - p) / 21 / 2);
    // Within 2.1 of 100 the step is below 0.1: a fixed 0.05.
    EXPECT_DOUBLE_EQ(HabitProgressCalculator::decayedProgress(99, 1, 1), 98.95);
    EXPECT_DOUBLE_EQ(HabitProgressCalculator::decayedProgress(99, 1, 7), 99 - 0.05 / 7);
    // Divisor 0: one missed day costs everything.
    EXPECT_EQ(HabitProgressCalculator::decayedProgress(99, 1, 0), 0.0);
    EXPECT_EQ(HabitProgressCalculator::decayedProgress(1, 1, 1), 0.0);
    // No missed day, no change.
    EXPECT_EQ(HabitProgressCalculator::decayedProgress(42, 0, 1), 42.0);
    EXPECT_EQ(HabitProgressCalculator::decayedProgress(42, -3, 1), 42.0);
}

TEST_F(HabitProgressCalculatorTest, DecayOverManyDaysEqualsTheDayByDayResult) {
    double p = 80;
    for (int day = 0; day < 30; ++day) {
        p = HabitProgressCalculator::decayedProgress(p, 1, 2);
    }
    EXPECT_EQ(HabitProgressCalculator::decayedProgress(80, 30, 2), p);
    // A gap of a million years ends at 0 without walking every day.
    EXPECT_EQ(HabitProgressCalculator::decayedProgress(80, 365'250'000, 1), 0.0);
    // A loss too small to move the score leaves it where it is.
    EXPECT_EQ(HabitProgressCalculator::decayedProgress(50, 365'250'000, 1e300), 50.0);
}

TEST_F(HabitProgressCalculatorTest, DecayWithAnyDivisorIsTheDivisionDayByDayBitForBit) {
    // Powers of two are taken by their reciprocal, other divisors by division: the results must
    // be those of the division either way, from every kind of score.
    const double divisors[] = {
        1, 2,     4,    1024,     4611686018427387904.0, 0.5, -2, -1, 0x1p1023, 3, 7, 30,
        0, 1e300, -3.5, 0x1p-1022};
    std::mt19937_64 random(21);
    std::uniform_real_distribution<double> score(0, 100);
    std::vector<double> scores = {0, 0.05, 1, 50, 97.9, 97.91, 97.9099999, 99.95, 100};
    for (int i = 0; i < 2000; ++i) {
        scores.push_back(score(random));
    }
    for (const double divisor : divisors) {
        for (const double start : scores) {
            for (const std::int64_t days : {1, 2, 5}) {
                double expected = start;
                for (std::int64_t day = 0; day < days; ++day) {
                    const double step = (100 - expected) / 21;
                    const double loss = step >= 0.1 ? step * 0.5 : 0.05;
                    expected = expected - loss / divisor;
                    if (expected <= 0) {
                        expected = 0;
                    }
                    if (expected > 100) {
                        expected = 100;
                    }
                }
                EXPECT_EQ(HabitProgressCalculator::decayedProgress(start, days, divisor), expected)
                    << "from " << start << " by " << divisor << " for " << days << " days";
            }
        }
    }
}

// --- The worked example -------------------------------------------------------------------------

TEST_F(HabitProgressCalculatorTest, WorkedExampleDaysOneTwoAndFourAskedOnDaySix) {
    double p = HabitProgressCalculator::gainedProgress(0);
    EXPECT_NEAR(p, 4.76, 0.005);
    p = HabitProgressCalculator::gainedProgress(p);
    EXPECT_NEAR(p, 9.30, 0.005);
    p = HabitProgressCalculator::decayedProgress(p, 1, 1);
    EXPECT_NEAR(p, 7.14, 0.005);
    p = HabitProgressCalculator::gainedProgress(p);
    EXPECT_NEAR(p, 11.56, 0.005);
    const double whole = p;
    p = HabitProgressCalculator::decayedProgress(p, 1, 1);
    EXPECT_NEAR(p, 9.45, 0.005);

    const std::vector<Date> dates = {januaryNoon(4, 9), januaryNoon(1, 9), januaryNoon(2, 9)};
    EXPECT_EQ(HabitProgressCalculator::calculateProgress(dates, 1, 1), whole);
    EXPECT_EQ(HabitProgressCalculator::calculateProgress(dates, 1, 1, januaryNoon(6)), 10);
    EXPECT_EQ(
        HabitProgressCalculator::continuedProgress(whole, januaryNoon(4, 9), 1, 1, januaryNoon(6)),
        p);
    EXPECT_EQ(
        HabitProgressCalculator::calculateProgress(whole, januaryNoon(4, 9), 1, 1, januaryNoon(6)),
        10);
}

// --- Edge cases ---------------------------------------------------------------------------------

TEST_F(HabitProgressCalculatorTest, NoCheckmarksGiveZeroOnEveryDayForAnyInterval) {
    const RepeatInterval intervals[] = {{1, 1}, {3, 7}, {1, 7}, {2, 1}};
    for (const RepeatInterval& interval : intervals) {
        EXPECT_EQ(HabitProgressCalculator::calculateProgress({}, interval.times(), interval.days()),
                  0.0);
        for (unsigned day = 1; day <= 31; day += 5) {
            EXPECT_EQ(HabitProgressCalculator::calculateProgress({}, interval.times(),
                                                                 interval.days(), januaryNoon(day)),
                      0);
            CountingHistory history;
            EXPECT_EQ(habitProgress(interval, LastFivePerformingDates(std::vector<Date>{}), 0,
                                    januaryNoon(day), history.source()),
                      0);
            EXPECT_EQ(habitProgress(interval, std::nullopt, 0, januaryNoon(day), history.source()),
                      0);
            EXPECT_EQ(history.reads, 0);
        }
    }
}

TEST_F(HabitProgressCalculatorTest,
       OneCheckmarkTodayShowsFiveTodayFiveTomorrowAndThreeTheDayAfter) {
    const Date today = januaryNoon(10, 8);
    const double cached =
        HabitProgressCalculator::calculateProgress(std::vector<Date>{today}, 1, 1);
    EXPECT_DOUBLE_EQ(cached, 100.0 / 21);
    const LastFivePerformingDates cache({today});
    CountingHistory history{{today}};
    const RepeatInterval daily(1, 1);
    EXPECT_EQ(habitProgress(daily, cache, cached, januaryNoon(10, 20), history.source()), 5);
    EXPECT_EQ(habitProgress(daily, cache, cached, januaryNoon(11, 7), history.source()), 5);
    EXPECT_EQ(habitProgress(daily, cache, cached, januaryNoon(12), history.source()), 3);
    EXPECT_NEAR(HabitProgressCalculator::continuedProgress(cached, today, 1, 1, januaryNoon(12)),
                4.76 - 2.27, 0.005);
    EXPECT_EQ(history.reads, 0);
}

TEST_F(HabitProgressCalculatorTest, Interval1Per7OneMissedDayLosesASeventhOfTheDailyLoss) {
    const std::vector<Date> dates = {januaryNoon(1), januaryNoon(2)};
    const double start = HabitProgressCalculator::calculateProgress(dates, 1, 1);
    ASSERT_EQ(HabitProgressCalculator::calculateProgress(dates, 1, 7), start);
    const double dailyLoss = start - HabitProgressCalculator::continuedProgress(
                                         start, januaryNoon(2), 1, 1, januaryNoon(4));
    const double weeklyLoss = start - HabitProgressCalculator::continuedProgress(
                                          start, januaryNoon(2), 1, 7, januaryNoon(4));
    EXPECT_GT(dailyLoss, 0);
    EXPECT_DOUBLE_EQ(weeklyLoss, dailyLoss / 7);
}

TEST_F(HabitProgressCalculatorTest, Interval3Per7DividesByTwoNotSevenThirds) {
    const std::vector<Date> dates = {januaryNoon(1), januaryNoon(2)};
    const double start = HabitProgressCalculator::calculateProgress(dates, 3, 7);
    const double loss = (100 - start) / 21 * 0.5;
    EXPECT_DOUBLE_EQ(
        HabitProgressCalculator::continuedProgress(start, januaryNoon(2), 3, 7, januaryNoon(4)),
        start - loss / 2);
    // The whole-history form divides the same way.
    const std::vector<Date> withGap = {januaryNoon(1), januaryNoon(2), januaryNoon(4)};
    EXPECT_DOUBLE_EQ(HabitProgressCalculator::calculateProgress(withGap, 3, 7),
                     HabitProgressCalculator::gainedProgress(start - loss / 2));
}

TEST_F(HabitProgressCalculatorTest, Interval2Per1GapOfTwoDaysOrMoreDropsTheScoreToZero) {
    const std::vector<Date> dates = {januaryNoon(1), januaryNoon(2)};
    const double start = HabitProgressCalculator::calculateProgress(dates, 2, 1);
    EXPECT_GT(start, 9);
    EXPECT_EQ(
        HabitProgressCalculator::continuedProgress(start, januaryNoon(2), 2, 1, januaryNoon(3)),
        start);
    EXPECT_EQ(
        HabitProgressCalculator::continuedProgress(start, januaryNoon(2), 2, 1, januaryNoon(4)),
        0.0);
    EXPECT_EQ(
        HabitProgressCalculator::calculateProgress(start, januaryNoon(2), 2, 1, januaryNoon(20)),
        0);
    const std::vector<Date> withGap = {januaryNoon(1), januaryNoon(2), januaryNoon(5)};
    EXPECT_DOUBLE_EQ(HabitProgressCalculator::calculateProgress(withGap, 2, 1), 100.0 / 21);
}

TEST_F(HabitProgressCalculatorTest, TwoCheckmarksOnTheSameDayGainTwice) {
    const std::vector<Date> sameDay = {januaryNoon(5, 9), januaryNoon(5, 21)};
    EXPECT_DOUBLE_EQ(HabitProgressCalculator::calculateProgress(sameDay, 1, 1),
                     HabitProgressCalculator::gainedProgress(100.0 / 21));
    const std::vector<Date> sameInstant = {januaryNoon(5, 9), januaryNoon(5, 9)};
    EXPECT_EQ(HabitProgressCalculator::calculateProgress(sameInstant, 1, 1),
              HabitProgressCalculator::calculateProgress(sameDay, 1, 1));
    EXPECT_EQ(HabitProgressCalculator::calculateProgress(sameDay, 1, 1, januaryNoon(5, 22)), 10);
    EXPECT_EQ(HabitProgressCalculator::calculateProgress(sameDay, 1, 1, januaryNoon(5, 10)), 5);
}

TEST_F(HabitProgressCalculatorTest, ProgressOnADayBeforeTheFirstCheckmarkIsZero) {
    const std::vector<Date> dates = {januaryNoon(10), januaryNoon(11), januaryNoon(14)};
    EXPECT_EQ(HabitProgressCalculator::calculateProgress(dates, 1, 1, januaryNoon(9)), 0);
    EXPECT_EQ(HabitProgressCalculator::calculateProgress(dates, 1, 1, januaryNoon(1)), 0);
    CountingHistory history{dates};
    const LastFivePerformingDates cache(dates);
    const double cached = HabitProgressCalculator::calculateProgress(dates, 1, 1);
    EXPECT_EQ(habitProgress(RepeatInterval(1, 1), cache, cached, januaryNoon(9), history.source()),
              0);
    EXPECT_EQ(history.reads, 1);
}

TEST_F(HabitProgressCalculatorTest, AScoreNearHundredGainsOneTenthAndNeverExceedsHundred) {
    EXPECT_DOUBLE_EQ(HabitProgressCalculator::gainedProgress(97.95), 98.05);
    EXPECT_DOUBLE_EQ(HabitProgressCalculator::gainedProgress(99.5), 99.6);
    EXPECT_EQ(HabitProgressCalculator::gainedProgress(99.95), 100.0);
    EXPECT_EQ(HabitProgressCalculator::gainedProgress(100), 100.0);
    // A year of daily checkmarks, several a day: the score reaches 100 and stays there.
    std::vector<Date> dates;
    for (int day = 0; day < 365; ++day) {
        for (int hour : {8, 12, 20}) {
            dates.push_back(civilDate(2023, 1, 1, hour, 0, 0, -5.0) + day * kDay);
        }
    }
    const double p = HabitProgressCalculator::calculateProgress(dates, 1, 1);
    EXPECT_EQ(p, 100.0);
    EXPECT_EQ(HabitProgressCalculator::calculateProgress(dates, 1, 1, civilDate(2024, 1, 1, 12)),
              100);
}

TEST_F(HabitProgressCalculatorTest,
       ProgressOnAnEarlierInstantOfTheLatestCheckmarksDayRecomputesWithoutThatCheckmark) {
    const std::vector<Date> dates = {januaryNoon(1), januaryNoon(2), januaryNoon(3, 18)};
    const double cached = HabitProgressCalculator::calculateProgress(dates, 1, 1);
    const LastFivePerformingDates cache(dates);
    CountingHistory history{dates};
    // 09:00 of the day of the 18:00 checkmark: that checkmark does not count yet.
    EXPECT_EQ(
        habitProgress(RepeatInterval(1, 1), cache, cached, januaryNoon(3, 9), history.source()),
        10);
    EXPECT_EQ(history.reads, 1);
    // From 18:00 on it does.
    EXPECT_EQ(
        habitProgress(RepeatInterval(1, 1), cache, cached, januaryNoon(3, 18), history.source()),
        14);
    EXPECT_EQ(history.reads, 1);
}

TEST_F(HabitProgressCalculatorTest, AHabitWithoutARepeatIntervalHasProgressZero) {
    const std::vector<Date> dates = {januaryNoon(1), januaryNoon(2), januaryNoon(3)};
    CountingHistory history{dates};
    EXPECT_EQ(habitProgress(std::nullopt, LastFivePerformingDates(dates), 14.5, januaryNoon(3),
                            history.source()),
              0);
    EXPECT_EQ(habitProgress(std::nullopt, LastFivePerformingDates(dates), 14.5, januaryNoon(1),
                            history.source()),
              0);
    EXPECT_EQ(history.reads, 0);
}

// --- The cache and the history ------------------------------------------------------------------

TEST_F(HabitProgressCalculatorTest, TodayAndLaterDaysReadOnlyTheCachesNeverTheHistory) {
    const std::vector<Date> dates = {januaryNoon(1), januaryNoon(2), januaryNoon(4)};
    const double cached = HabitProgressCalculator::calculateProgress(dates, 1, 1);
    const LastFivePerformingDates cache(dates);
    CountingHistory history{dates};
    const RepeatInterval daily(1, 1);
    for (const Date on : {januaryNoon(4), januaryNoon(4, 23), januaryNoon(6), januaryNoon(30),
                          civilDate(2030, 1, 1)}) {
        EXPECT_EQ(habitProgress(daily, cache, cached, on, history.source()),
                  HabitProgressCalculator::calculateProgress(dates, 1, 1, on));
    }
    EXPECT_EQ(history.reads, 0);
    // Earlier than the last cached date: the history is read, once per request.
    EXPECT_EQ(habitProgress(daily, cache, cached, januaryNoon(2), history.source()), 10);
    EXPECT_EQ(history.reads, 1);
}

TEST_F(HabitProgressCalculatorTest, ACachedScoreOutsideZeroToHundredIsRecomputedFromTheHistory) {
    const std::vector<Date> dates = {januaryNoon(1), januaryNoon(2), januaryNoon(4)};
    const LastFivePerformingDates cache(dates);
    const RepeatInterval daily(1, 1);
    for (const double stored :
         {1e300, -1e300, 100.5, -0.5, std::nan(""), std::numeric_limits<double>::infinity(),
          -std::numeric_limits<double>::infinity()}) {
        CountingHistory history{dates};
        for (const Date on : {januaryNoon(4), januaryNoon(6), januaryNoon(30)}) {
            EXPECT_EQ(habitProgress(daily, cache, stored, on, history.source()),
                      HabitProgressCalculator::calculateProgress(dates, 1, 1, on))
                << stored;
        }
        // Without a five-date cache too.
        EXPECT_EQ(habitProgress(daily, std::nullopt, stored, januaryNoon(6), history.source()), 10)
            << stored;
        EXPECT_EQ(history.reads, 4) << stored;
    }
}

TEST_F(HabitProgressCalculatorTest, AnEmptyCacheContinuesTheCachedScoreUnchanged) {
    CountingHistory history{{januaryNoon(1)}};
    EXPECT_EQ(habitProgress(RepeatInterval(1, 1), LastFivePerformingDates(std::vector<Date>{}),
                            41.2, januaryNoon(30), history.source()),
              42);
    EXPECT_EQ(
        habitProgress(RepeatInterval(1, 1), std::nullopt, 41.2, januaryNoon(30), history.source()),
        42);
    EXPECT_EQ(HabitProgressCalculator::calculateProgress(41.2, std::nullopt, 1, 1, januaryNoon(1)),
              42);
    EXPECT_EQ(history.reads, 0);
}

TEST_F(HabitProgressCalculatorTest, ContinuationToAnEarlierDayCountsTheGapAsZero) {
    EXPECT_EQ(HabitProgressCalculator::continuedProgress(50, januaryNoon(10), 1, 1, januaryNoon(1)),
              50.0);
}

TEST_F(HabitProgressCalculatorTest, ANonFiniteScoreCannotBeShown) {
    EXPECT_DEATH(HabitProgressCalculator::roundedUp(std::nan("")),
                 "Fatal error: The progress is not finite or does not fit a 64-bit integer");
    EXPECT_DEATH(HabitProgressCalculator::roundedUp(1e300),
                 "Fatal error: The progress is not finite or does not fit a 64-bit integer");
}

TEST_F(HabitProgressCalculatorTest, AContinuedScoreOutsideZeroToHundredStartsFromTheNearestBound) {
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    for (const double stored : {1e300, 100.5, kInfinity}) {
        EXPECT_EQ(
            HabitProgressCalculator::continuedProgress(stored, std::nullopt, 1, 1, januaryNoon(1)),
            100.0)
            << stored;
        EXPECT_EQ(HabitProgressCalculator::calculateProgress(stored, januaryNoon(1), 1, 1,
                                                             januaryNoon(1)),
                  100)
            << stored;
        // Two days later one missed day has cost the decay of a score of 100.
        EXPECT_EQ(HabitProgressCalculator::continuedProgress(stored, januaryNoon(1), 1, 1,
                                                             januaryNoon(3)),
                  HabitProgressCalculator::decayedProgress(100, 1, 1))
            << stored;
    }
    for (const double stored : {-1e300, -0.5, -kInfinity}) {
        EXPECT_EQ(HabitProgressCalculator::continuedProgress(stored, januaryNoon(1), 1, 1,
                                                             januaryNoon(1)),
                  0.0)
            << stored;
        EXPECT_EQ(
            HabitProgressCalculator::calculateProgress(stored, std::nullopt, 1, 1, januaryNoon(5)),
            0)
            << stored;
    }
}

TEST_F(HabitProgressCalculatorTest, AContinuedScoreThatIsNotANumberStartsFromZero) {
    EXPECT_EQ(HabitProgressCalculator::continuedProgress(std::nan(""), std::nullopt, 1, 1,
                                                         januaryNoon(1)),
              0.0);
    EXPECT_EQ(HabitProgressCalculator::calculateProgress(std::nan(""), januaryNoon(1), 1, 1,
                                                         januaryNoon(9)),
              0);
}

TEST_F(HabitProgressCalculatorTest, AScoreIsANumberFromZeroToHundred) {
    EXPECT_TRUE(HabitProgressCalculator::isScore(0));
    EXPECT_TRUE(HabitProgressCalculator::isScore(100.0 / 21));
    EXPECT_TRUE(HabitProgressCalculator::isScore(100));
    EXPECT_FALSE(HabitProgressCalculator::isScore(-0.001));
    EXPECT_FALSE(HabitProgressCalculator::isScore(100.001));
    EXPECT_FALSE(HabitProgressCalculator::isScore(std::nan("")));
    EXPECT_FALSE(HabitProgressCalculator::isScore(std::numeric_limits<double>::infinity()));
}

TEST_F(HabitProgressCalculatorTest, ANonFiniteCheckmarkDateStopsTheProcessOnceADayGapIsNeeded) {
    const Date notANumber(std::nan(""));
    EXPECT_DOUBLE_EQ(
        HabitProgressCalculator::calculateProgress(std::vector<Date>{notANumber}, 1, 1),
        100.0 / 21);
    EXPECT_DEATH(HabitProgressCalculator::calculateProgress(
                     std::vector<Date>{januaryNoon(1), notANumber}, 1, 1),
                 "Fatal error: The current calendar could not build a date from the day's "
                 "components");
}

// --- The current zone ---------------------------------------------------------------------------

TEST_F(HabitProgressCalculatorTest, AZoneSwitchBetweenTwoCallsIsSeenAtTheNextCall) {
    // 2024-05-01 03:00 UTC and 2024-05-02 14:00 UTC: two days apart in New York (30 April 23:00,
    // 2 May 10:00), consecutive days in Tokyo (1 May 12:00, 2 May 23:00).
    const std::vector<Date> dates = {civilDate(2024, 5, 1, 3), civilDate(2024, 5, 2, 14)};
    const double consecutive = HabitProgressCalculator::gainedProgress(100.0 / 21);
    const double missedOne = HabitProgressCalculator::gainedProgress(
        HabitProgressCalculator::decayedProgress(100.0 / 21, 1, 1));
    EXPECT_EQ(HabitProgressCalculator::calculateProgress(dates, 1, 1), missedOne);
    {
        const ScopedTimeZone tokyo("Asia/Tokyo");
        EXPECT_EQ(HabitProgressCalculator::calculateProgress(dates, 1, 1), consecutive);
    }
    EXPECT_EQ(HabitProgressCalculator::calculateProgress(dates, 1, 1), missedOne);
}

// --- Against the plain path ---------------------------------------------------------------------

TEST_F(HabitProgressCalculatorTest, RandomHistoriesScoreAsTheOnlyDayBasedAlgorithm) {
    struct Setting {
        const char* zone;
        const char* calendar;
    };
    const Setting settings[] = {
        {"America/New_York", "gregorian"},  {"Europe/Kyiv", "gregorian"},
        {"America/Sao_Paulo", "gregorian"}, {"Australia/Lord_Howe", "gregorian"},
        {"America/Sao_Paulo", "hebrew"},    {"Asia/Shanghai", "chinese"}};
    const std::pair<std::int64_t, std::int64_t> intervals[] = {{1, 1}, {3, 7}, {1, 7}, {2, 1}};
    std::mt19937_64 random(2024);
    // 2015-01-01 to 2025-01-01 in seconds since the reference date.
    std::uniform_real_distribution<double> seconds(441763200.0, 757382400.0);
    std::uniform_int_distribution<int> count(0, 300);
    for (const Setting& setting : settings) {
        const ScopedRegion region(setting.zone, "en_US", setting.calendar);
        for (const auto& [times, days] : intervals) {
            SCOPED_TRACE(std::string(setting.zone) + " " + setting.calendar + " " +
                         std::to_string(times) + "/" + std::to_string(days));
            std::vector<Date> dates;
            const int n = count(random);
            for (int i = 0; i < n; ++i) {
                dates.emplace_back(seconds(random));
            }
            EXPECT_EQ(HabitProgressCalculator::calculateProgress(dates, times, days),
                      referenceWholeHistory(dates, times, days));
        }
    }
}

// Histories of several shapes around `from` (seconds since the reference date), in random order:
// one checkmark a day with days skipped now and then, sparse checkmarks, several a day, a minute
// before and after the local midnights around the zone's clock changes, and exact midnights.
std::vector<std::vector<Date>> historiesOfManyShapes(double from, std::mt19937_64& random) {
    std::uniform_real_distribution<double> timeOfDay(0, kDay);
    std::uniform_int_distribution<int> skip(0, 9);
    std::vector<std::vector<Date>> histories(5);
    double day = from;
    for (int i = 0; i < 500; ++i) {
        histories[0].emplace_back(day + timeOfDay(random));
        day += kDay * (skip(random) < 7 ? 1 : 1 + skip(random) % 4);
    }
    day = from;
    for (int i = 0; i < 150; ++i) {
        histories[1].emplace_back(day + timeOfDay(random));
        day += kDay * (1 + skip(random));
    }
    for (int i = 0; i < 400; ++i) {
        histories[2].emplace_back(from + timeOfDay(random) * 40);
    }
    for (int i = 0; i < 400; ++i) {
        const Date midnight = onlyDay(Date(from + i * kDay + kDay / 2));
        histories[3].push_back(midnight - 60);
        histories[3].push_back(midnight + 60);
        histories[4].push_back(midnight);
        if (skip(random) == 0) {
            histories[4].push_back(midnight + 0.0005);
        }
    }
    for (std::vector<Date>& history : histories) {
        std::shuffle(history.begin(), history.end(), random);
    }
    return histories;
}

// The day gaps between consecutive dates of `sorted`, straight from onlyDay().
std::vector<std::int64_t> referenceGaps(const std::vector<Date>& sorted) {
    std::vector<std::int64_t> gaps;
    for (std::size_t i = 1; i < sorted.size(); ++i) {
        gaps.push_back(referenceGap(sorted[i], sorted[i - 1]));
    }
    return gaps;
}

// The whole-history score from the gaps of a sorted history of gaps.size() + 1 dates.
double referenceScore(const std::vector<std::int64_t>& gaps, std::int64_t times,
                      std::int64_t days) {
    const auto gain = [](double p) { return std::min(100.0, p + std::max((100 - p) / 21, 0.1)); };
    double p = gain(0);
    for (const std::int64_t gap : gaps) {
        p = gain(referenceAfterGap(p, gap, times, days));
    }
    return p;
}

TEST_F(HabitProgressCalculatorTest, LongHistoriesScoreBitForBitAsTheFormulaComputedDayByDay) {
    struct Setting {
        const char* zone;
        const char* calendar;
    };
    // Zones with clock changes (at 02:00, at midnight, by half an hour) and calendars whose days
    // are not Gregorian ones.
    const Setting settings[] = {
        {"America/New_York", "gregorian"},  {"Europe/Kyiv", "gregorian"},
        {"America/Sao_Paulo", "gregorian"}, {"Australia/Lord_Howe", "gregorian"},
        {"America/Sao_Paulo", "hebrew"},    {"Asia/Shanghai", "chinese"},
        {"Australia/Lord_Howe", "persian"}};
    const std::pair<std::int64_t, std::int64_t> intervals[] = {
        {1, 1}, {3, 7}, {1, 7}, {2, 1}, {2, 3}};
    std::mt19937_64 random(2025);
    // From 2016-01-01 and 2017-09-01: both reach over several clock changes of every zone.
    const double starts[] = {473385600.0, 526003200.0};
    for (const Setting& setting : settings) {
        const ScopedRegion region(setting.zone, "en_US", setting.calendar);
        for (const double start : starts) {
            const std::vector<std::vector<Date>> histories = historiesOfManyShapes(start, random);
            for (std::size_t shape = 0; shape < histories.size(); ++shape) {
                const std::vector<Date>& dates = histories[shape];
                std::vector<Date> sorted = dates;
                std::sort(sorted.begin(), sorted.end());
                const std::vector<std::int64_t> gaps = referenceGaps(sorted);
                for (const auto& [times, days] : intervals) {
                    SCOPED_TRACE(std::string(setting.zone) + " " + setting.calendar + " shape " +
                                 std::to_string(shape) + " " + std::to_string(times) + "/" +
                                 std::to_string(days));
                    // Equal doubles: the same operations in the same order.
                    EXPECT_EQ(HabitProgressCalculator::calculateProgress(dates, times, days),
                              referenceScore(gaps, times, days));
                    // On an instant inside the history: only the dates up to it count, then the
                    // decay to its day.
                    const std::size_t kept = sorted.size() / 3;
                    const Date on = sorted[kept] + kDay * 2.5;
                    const auto keptEnd = std::upper_bound(sorted.begin(), sorted.end(), on);
                    const std::vector<std::int64_t> keptGaps(
                        gaps.begin(), gaps.begin() + (keptEnd - sorted.begin() - 1));
                    const double continued = referenceAfterGap(
                        referenceScore(keptGaps, times, days),
                        std::max<std::int64_t>(referenceGap(on, *(keptEnd - 1)), 0), times, days);
                    EXPECT_EQ(HabitProgressCalculator::calculateProgress(dates, times, days, on),
                              static_cast<std::int64_t>(std::ceil(continued)));
                }
            }
        }
    }
}

// --- Expected values from an independent script -------------------------------------------------

TEST_F(HabitProgressCalculatorTest, HistoriesScoreAsTheIndependentScriptComputed) {
    // tests/data/progress/generate.py computes these with Python's zoneinfo.
    std::ifstream file(std::string(DOVREL_TEST_DATA_DIR) + "/progress/expected.json");
    ASSERT_TRUE(file.is_open());
    const nlohmann::json expected = nlohmann::json::parse(file);
    ASSERT_GE(expected.at("cases").size(), 18u);
    std::size_t askedInstants = 0;
    for (const nlohmann::json& testCase : expected.at("cases")) {
        askedInstants += testCase.at("asked").size();
    }
    // Every day of every history is asked for, not only a few chosen instants.
    ASSERT_GE(askedInstants, 2000u);
    for (const nlohmann::json& testCase : expected.at("cases")) {
        SCOPED_TRACE(testCase.at("name").get<std::string>());
        const ScopedRegion region(testCase.at("zone").get<std::string>());
        const auto times = testCase.at("times").get<std::int64_t>();
        const auto days = testCase.at("days").get<std::int64_t>();
        std::vector<Date> dates;
        for (const nlohmann::json& seconds : testCase.at("dates")) {
            dates.emplace_back(seconds.get<double>());
        }
        const double whole = HabitProgressCalculator::calculateProgress(dates, times, days);
        EXPECT_DOUBLE_EQ(whole, testCase.at("wholeHistory").get<double>());
        std::optional<Date> last;
        if (!dates.empty()) {
            last = *std::max_element(dates.begin(), dates.end());
        }
        // The asked instants leave no calendar day of the history out.
        if (!dates.empty()) {
            std::set<double> askedDays;
            for (const nlohmann::json& asked : testCase.at("asked")) {
                askedDays.insert(
                    onlyDay(Date(asked.at("on").get<double>())).timeIntervalSinceReferenceDate());
            }
            const auto [first, latest] = std::minmax_element(dates.begin(), dates.end());
            for (Date day = onlyDay(*first); day <= *latest; day = onlyDay(dateInDays(day, 1))) {
                EXPECT_TRUE(askedDays.contains(day.timeIntervalSinceReferenceDate()))
                    << "no asked instant on the day starting at "
                    << day.timeIntervalSinceReferenceDate();
            }
        }
        for (const nlohmann::json& asked : testCase.at("asked")) {
            const Date on(asked.at("on").get<double>());
            SCOPED_TRACE(on.timeIntervalSinceReferenceDate());
            EXPECT_EQ(HabitProgressCalculator::calculateProgress(dates, times, days, on),
                      asked.at("onDate").get<std::int64_t>());
            EXPECT_DOUBLE_EQ(
                HabitProgressCalculator::continuedProgress(whole, last, times, days, on),
                asked.at("continued").get<double>());
            EXPECT_EQ(HabitProgressCalculator::calculateProgress(whole, last, times, days, on),
                      asked.at("continuedRoundedUp").get<std::int64_t>());
            // The habit's own progress takes whichever of the two applies.
            const std::int64_t expectedHabit =
                last && on < *last ? asked.at("onDate").get<std::int64_t>()
                                   : asked.at("continuedRoundedUp").get<std::int64_t>();
            CountingHistory history{dates};
            EXPECT_EQ(habitProgress(RepeatInterval(times, days), LastFivePerformingDates(dates),
                                    whole, on, history.source()),
                      expectedHabit);
        }
    }
}

}  // namespace
}  // namespace dovrel
