#include "DovrelFoundation/Progress/HabitStatistics.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <set>
#include <vector>

#include "DovrelFoundation/Progress/DateExtensions.h"

#include "tests/support/CivilDate.h"
#include "tests/support/ScopedRegion.h"

namespace dovrel {
namespace {

using testing::civilDate;
using testing::ScopedRegion;

constexpr std::int64_t kMonday = 2;

class HabitStatisticsTest : public ::testing::Test {
  protected:
    // January 2024 in New York (the 1st is a Monday): noon of day n, and its start.
    static Date noon(unsigned day, unsigned month = 1) {
        return civilDate(2024, month, day, 12, 0, 0, -5.0);
    }
    static Date dayStart(unsigned day, unsigned month = 1) {
        return civilDate(2024, month, day, 0, 0, 0, -5.0);
    }
    static std::vector<Date> noons(std::initializer_list<unsigned> days) {
        std::vector<Date> dates;
        for (const unsigned day : days) {
            dates.push_back(noon(day));
        }
        return dates;
    }

    ScopedRegion region_{"America/New_York", "en_US"};
};

TEST_F(HabitStatisticsTest, ADailyHabitsStreaksAreRunsOfCheckedDays) {
    const auto dates = noons({1, 2, 3, 4, 5, 7, 8});
    const auto statistics =
        HabitStatistics::compute(dates, RepeatInterval(1, 1), noon(8), kMonday, std::nullopt);
    ASSERT_EQ(statistics.streaks().size(), 2u);
    EXPECT_EQ(statistics.streaks()[0], (Streak{dayStart(1), dayStart(5), 5, 5}));
    EXPECT_EQ(statistics.streaks()[1], (Streak{dayStart(7), dayStart(8), 2, 2}));
    EXPECT_EQ(statistics.bestStreak(), statistics.streaks()[0]);
    EXPECT_EQ(statistics.currentStreak(), statistics.streaks()[1]);
    EXPECT_EQ(statistics.checkedDays(), 7);
}

TEST_F(HabitStatisticsTest, TodayWithoutACheckmarkYetKeepsYesterdaysStreakCurrent) {
    const auto dates = noons({1, 2, 3, 4, 5});
    EXPECT_EQ(HabitStatistics::compute(dates, RepeatInterval(1, 1), noon(6), kMonday, std::nullopt)
                  .currentStreak(),
              (Streak{dayStart(1), dayStart(5), 5, 5}));
    const auto dayAfter =
        HabitStatistics::compute(dates, RepeatInterval(1, 1), noon(7), kMonday, std::nullopt);
    EXPECT_FALSE(dayAfter.currentStreak().has_value());
    EXPECT_EQ(dayAfter.bestStreak()->days, 5);
}

TEST_F(HabitStatisticsTest, AThreeInSevenStreakHoldsWhileEveryWindowOfSevenDaysHasThree) {
    // Days 1, 2 and 3: on track from day 3 (its window holds three) to day 7; day 8's window,
    // days 2 to 8, holds two.
    auto dates = noons({1, 2, 3});
    auto statistics =
        HabitStatistics::compute(dates, RepeatInterval(3, 7), noon(20), kMonday, std::nullopt);
    ASSERT_EQ(statistics.streaks().size(), 1u);
    EXPECT_EQ(statistics.streaks()[0], (Streak{dayStart(1), dayStart(7), 7, 3}));
    EXPECT_FALSE(statistics.currentStreak().has_value());
    // A checkmark on day 8 carries it one more day; on day 6 it holds today.
    dates.push_back(noon(8));
    statistics =
        HabitStatistics::compute(dates, RepeatInterval(3, 7), noon(20), kMonday, std::nullopt);
    ASSERT_EQ(statistics.streaks().size(), 1u);
    EXPECT_EQ(statistics.streaks()[0], (Streak{dayStart(1), dayStart(8), 8, 4}));
    statistics =
        HabitStatistics::compute(dates, RepeatInterval(3, 7), noon(6), kMonday, std::nullopt);
    EXPECT_EQ(statistics.currentStreak(), (Streak{dayStart(1), dayStart(6), 6, 3}));
}

TEST_F(HabitStatisticsTest, EqualStreaksMakeTheLatestTheBest) {
    const auto dates = noons({1, 2, 4, 5});
    const auto statistics =
        HabitStatistics::compute(dates, RepeatInterval(1, 1), noon(20), kMonday, std::nullopt);
    ASSERT_EQ(statistics.streaks().size(), 2u);
    EXPECT_EQ(statistics.bestStreak()->start, dayStart(4));
}

TEST_F(HabitStatisticsTest, LaterCheckmarksAndSecondOnesOfADayDoNotCount) {
    std::vector<Date> dates = noons({1, 2, 10});
    dates.push_back(noon(2) + 3600);
    const auto statistics =
        HabitStatistics::compute(dates, RepeatInterval(1, 1), noon(3), kMonday, std::nullopt);
    EXPECT_EQ(statistics.checkedDays(), 2);
    EXPECT_EQ(statistics.currentStreak(), (Streak{dayStart(1), dayStart(2), 2, 2}));
}

TEST_F(HabitStatisticsTest, WeeklyRatesCompareCheckedDaysWithWhatTheIntervalAsks) {
    // A 3-in-7 habit: week of Jan 1 with three checkmarks, week of Jan 8 with one, and the week
    // of Jan 15 asked about on Wednesday the 17th with one (3 days of 7: 9/7 expected).
    const auto dates = noons({1, 3, 5, 9, 16});
    const auto statistics = HabitStatistics::compute(dates, RepeatInterval(3, 7), noon(17), kMonday,
                                                     std::nullopt, 3, 1);
    ASSERT_EQ(statistics.weeks().size(), 3u);
    EXPECT_EQ(statistics.weeks()[0].start, dayStart(1));
    EXPECT_EQ(statistics.weeks()[0].checkedDays, 3);
    EXPECT_DOUBLE_EQ(statistics.weeks()[0].rate, 1.0);
    EXPECT_EQ(statistics.weeks()[1].start, dayStart(8));
    EXPECT_DOUBLE_EQ(statistics.weeks()[1].rate, 1.0 / 3.0);
    EXPECT_EQ(statistics.weeks()[2].periodDays, 3);
    EXPECT_DOUBLE_EQ(statistics.weeks()[2].expectedDays, 9.0 / 7.0);
    EXPECT_DOUBLE_EQ(statistics.weeks()[2].rate, 7.0 / 9.0);
    // Weeks that start on Sunday move the boundaries.
    const auto sundays =
        HabitStatistics::compute(dates, RepeatInterval(3, 7), noon(17), 1, std::nullopt, 1, 1);
    EXPECT_EQ(sundays.weeks()[0].start, dayStart(14));
    EXPECT_EQ(sundays.weeks()[0].periodDays, 4);
}

TEST_F(HabitStatisticsTest, MonthlyRatesCountTheMonthsDays) {
    std::vector<Date> dates;
    for (unsigned day = 1; day <= 31; ++day) {
        dates.push_back(noon(day));
    }
    for (unsigned day = 1; day <= 10; ++day) {
        dates.push_back(civilDate(2024, 2, day, 12, 0, 0, -5.0));
    }
    const auto statistics = HabitStatistics::compute(dates, RepeatInterval(1, 1),
                                                     civilDate(2024, 2, 20, 12, 0, 0, -5.0),
                                                     kMonday, std::nullopt, 1, 2);
    ASSERT_EQ(statistics.months().size(), 2u);
    EXPECT_EQ(statistics.months()[0].start, dayStart(1));
    EXPECT_EQ(statistics.months()[0].periodDays, 31);
    EXPECT_DOUBLE_EQ(statistics.months()[0].rate, 1.0);
    EXPECT_EQ(statistics.months()[1].periodDays, 20);
    EXPECT_EQ(statistics.months()[1].checkedDays, 10);
    EXPECT_DOUBLE_EQ(statistics.months()[1].rate, 0.5);
}

TEST_F(HabitStatisticsTest, NoCheckmarksMeansNoStreakAndZeroRatesSinceTheHabitBegan) {
    const auto statistics = HabitStatistics::compute({}, RepeatInterval(1, 1), noon(10), kMonday,
                                                     civilDate(2023, 12, 20, 12, 0, 0, -5.0));
    EXPECT_TRUE(statistics.streaks().empty());
    EXPECT_FALSE(statistics.bestStreak().has_value());
    // Weeks from Monday Dec 18 (counted from the 20th) to the week of Jan 8; December and
    // January.
    ASSERT_EQ(statistics.weeks().size(), 4u);
    EXPECT_EQ(statistics.weeks()[0].start, civilDate(2023, 12, 20, 0, 0, 0, -5.0));
    EXPECT_EQ(statistics.weeks()[0].periodDays, 5);
    EXPECT_EQ(statistics.months().size(), 2u);
    EXPECT_EQ(statistics.months()[0].periodDays, 12);
    EXPECT_DOUBLE_EQ(statistics.weeks().back().rate, 0.0);
    // Nothing to count from: no rates.
    EXPECT_TRUE(HabitStatistics::compute({}, RepeatInterval(1, 1), noon(10), kMonday, std::nullopt)
                    .weeks()
                    .empty());
}

TEST_F(HabitStatisticsTest, AStreakThatBreaksForADayDoesNotShareDaysWithTheNext) {
    // 3 in 7: on track from day 3; day 17's window (11 to 17) holds only 12 and 16, so the
    // streak breaks; day 18's holds 12, 16 and 18 again, but the new streak starts after the
    // old one's last day, on 18.
    const auto dates = noons({2, 3, 5, 9, 10, 12, 16, 18, 19, 23});
    const auto statistics =
        HabitStatistics::compute(dates, RepeatInterval(3, 7), noon(24), kMonday, std::nullopt);
    ASSERT_EQ(statistics.streaks().size(), 2u);
    EXPECT_EQ(statistics.streaks()[0], (Streak{dayStart(2), dayStart(16), 15, 7}));
    EXPECT_EQ(statistics.streaks()[1], (Streak{dayStart(18), dayStart(24), 7, 3}));
}

TEST_F(HabitStatisticsTest, FarAwayAndNonFiniteCheckmarksAreLeftOut) {
    std::vector<Date> dates = noons({1, 2});
    dates.push_back(Date(-1.0e15));
    dates.push_back(Date(std::numeric_limits<double>::quiet_NaN()));
    const auto statistics =
        HabitStatistics::compute(dates, RepeatInterval(1, 1), noon(2), kMonday, std::nullopt);
    EXPECT_EQ(statistics.checkedDays(), 2);
    EXPECT_EQ(statistics.currentStreak()->days, 2);
}

TEST_F(HabitStatisticsTest, StreaksMatchADayByDayWalkOverRandomHistories) {
    std::mt19937 random(3);
    std::uniform_int_distribution<int> day(0, 120);
    std::uniform_int_distribution<int> count(0, 50);
    std::uniform_int_distribution<std::int64_t> times(1, 4);
    std::uniform_int_distribution<std::int64_t> perDays(1, 10);
    const Date first = dayStart(1);
    for (int trial = 0; trial < 200; ++trial) {
        std::set<int> checked;
        const int checkmarks = count(random);
        for (int index = 0; index < checkmarks; ++index) {
            checked.insert(day(random));
        }
        // The interval as the model keeps it (4 in 4 days is every day).
        const std::int64_t drawn = times(random);
        const RepeatInterval interval(drawn, std::max<std::int64_t>(drawn, perDays(random)));
        const std::int64_t t = interval.times();
        const std::int64_t d = interval.days();
        const int today = day(random);
        std::vector<Date> dates;
        for (const int value : checked) {
            dates.push_back(dateInDays(first, value) + 3600.0 * (value % 20));
        }
        const auto statistics = HabitStatistics::compute(
            dates, interval, dateInDays(first, today) + 80000.0, 2, std::nullopt);
        // The plain way: every day from the first one, its window counted one by one.
        std::vector<Streak> expected;
        bool inRun = false;
        for (int current = 0; current <= today; ++current) {
            std::int64_t inWindow = 0;
            int earliest = -1;
            const int previousEnd =
                expected.empty() || inRun
                    ? -1
                    : static_cast<int>(std::lround((expected.back().end - first) / 86400.0));
            for (int back = 0; back < d; ++back) {
                if (current - back >= 0 && checked.count(current - back) != 0) {
                    ++inWindow;
                    if (current - back > previousEnd) {
                        earliest = current - back;
                    }
                }
            }
            const bool onTrack = inWindow >= t;
            if (onTrack && !inRun) {
                expected.push_back(Streak{dateInDays(first, earliest), Date(), 0, 0});
            }
            if (onTrack) {
                auto& streak = expected.back();
                streak.end = dateInDays(first, current);
                const int start = static_cast<int>(std::lround((streak.start - first) / 86400.0));
                streak.days = current - start + 1;
                streak.checkmarks = static_cast<std::int64_t>(
                    std::count_if(checked.begin(), checked.end(),
                                  [&](int value) { return value >= start && value <= current; }));
            }
            inRun = onTrack;
        }
        ASSERT_EQ(statistics.streaks(), expected)
            << "trial " << trial << " times " << t << " days " << d << " today " << today
            << " checkmarks " << checked.size();
    }
}

}  // namespace
}  // namespace dovrel
