#include "DovrelFoundation/Progress/ProgressExplanation.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include "DovrelFoundation/Progress/DateExtensions.h"
#include "DovrelFoundation/Progress/HabitProgressCalculator.h"
#include "tests/support/CivilDate.h"
#include "tests/support/ScopedRegion.h"

namespace dovrel {
namespace {

using testing::civilDate;
using testing::ScopedRegion;

// A noon in New York in January 2024 (no DST change nearby): day n of the month.
Date januaryNoon(unsigned day) {
    return civilDate(2024, 1, day, 12, 0, 0, -5.0);
}
Date januaryDay(unsigned day) {
    return civilDate(2024, 1, day, 0, 0, 0, -5.0);
}

double twoDecimals(double value) {
    return std::round(value * 100) / 100;
}

TEST(ProgressExplanation, TheWorkedExampleTakesItsSixStepsAndShows10) {
    ScopedRegion region("America/New_York");
    const std::vector<Date> dates{januaryNoon(1), januaryNoon(2), januaryNoon(4)};
    const auto explanation =
        ProgressExplanation::explain(dates, RepeatInterval(1, 1), januaryNoon(6));
    using Kind = ProgressStep::Kind;
    const auto& steps = explanation.steps();
    ASSERT_EQ(steps.size(), 5u);
    EXPECT_EQ(steps[0].kind, Kind::checkmark);
    EXPECT_EQ(steps[0].day, januaryDay(1));
    EXPECT_EQ(twoDecimals(steps[0].after), 4.76);
    EXPECT_EQ(steps[1].kind, Kind::checkmark);
    EXPECT_EQ(twoDecimals(steps[1].after), 9.30);
    EXPECT_EQ(steps[2].kind, Kind::missedDay);
    EXPECT_EQ(steps[2].day, januaryDay(3));
    EXPECT_EQ(twoDecimals(steps[2].after), 7.14);
    EXPECT_EQ(twoDecimals(steps[2].change()), -2.16);
    EXPECT_EQ(steps[3].kind, Kind::checkmark);
    EXPECT_EQ(steps[3].day, januaryDay(4));
    EXPECT_EQ(twoDecimals(steps[3].after), 11.56);
    EXPECT_EQ(steps[4].kind, Kind::missedDay);
    EXPECT_EQ(steps[4].day, januaryDay(5));
    EXPECT_EQ(twoDecimals(steps[4].after), 9.45);
    EXPECT_EQ(explanation.progress(), 10);
    EXPECT_EQ(explanation.missedDays(), 2);
    EXPECT_EQ(explanation.unroundedProgress(), steps.back().after);
    // Each step starts where the one before it ended.
    for (std::size_t index = 1; index < steps.size(); ++index) {
        EXPECT_EQ(steps[index].before, steps[index - 1].after);
    }
}

TEST(ProgressExplanation, AlwaysEndsOnTheCalculatorsScoreForRandomHistoriesAndIntervals) {
    ScopedRegion region("Europe/Kyiv");
    std::mt19937 random(11);
    std::uniform_int_distribution<int> dayOffset(0, 400);
    std::uniform_int_distribution<int> count(0, 60);
    std::uniform_int_distribution<std::int64_t> times(1, 4);
    std::uniform_int_distribution<std::int64_t> perDays(1, 10);
    const Date start = civilDate(2024, 1, 1, 9);
    for (int trial = 0; trial < 300; ++trial) {
        std::vector<Date> dates;
        const int checkmarks = count(random);
        for (int index = 0; index < checkmarks; ++index) {
            dates.push_back(start + dayOffset(random) * 86400.0 + (index % 7) * 3000.0);
        }
        const std::int64_t t = times(random);
        const RepeatInterval interval(t, t * perDays(random));
        const Date on = start + dayOffset(random) * 86400.0 + 40000.0;
        const auto explanation = ProgressExplanation::explain(dates, interval, on);
        ASSERT_EQ(explanation.progress(), HabitProgressCalculator::calculateProgress(
                                              dates, interval.times(), interval.days(), on))
            << "trial " << trial;
        std::size_t checkmarksSeen = 0;
        for (const auto& step : explanation.steps()) {
            checkmarksSeen += step.kind == ProgressStep::Kind::checkmark ? 1 : 0;
            if (step.kind == ProgressStep::Kind::checkmark) {
                EXPECT_GT(step.change(), 0);
            } else {
                EXPECT_LT(step.change(), 0);
            }
        }
        const auto kept =
            std::count_if(dates.begin(), dates.end(), [on](Date date) { return date <= on; });
        EXPECT_EQ(checkmarksSeen, static_cast<std::size_t>(kept));
    }
}

TEST(ProgressExplanation, WithoutAnIntervalTheScoreIs0AndNoMilestoneIsReached) {
    ScopedRegion region("America/New_York");
    const std::vector<Date> dates{januaryNoon(1)};
    const auto explanation = ProgressExplanation::explain(dates, std::nullopt, januaryNoon(3));
    EXPECT_TRUE(explanation.steps().empty());
    EXPECT_EQ(explanation.progress(), 0);
    EXPECT_FALSE(explanation.milestone(50).has_value());
}

TEST(ProgressExplanation, AMilestoneIsTheFewestCheckmarksAtTheHabitsRhythmThatShowTheScore) {
    ScopedRegion region("America/New_York");
    for (const auto& interval :
         {RepeatInterval(1, 1), RepeatInterval(3, 7), RepeatInterval(1, 7)}) {
        const std::vector<Date> dates{januaryNoon(1), januaryNoon(2), januaryNoon(4)};
        const Date on = januaryNoon(6);
        const auto explanation = ProgressExplanation::explain(dates, interval, on);
        const std::int64_t rhythm = std::max<std::int64_t>(interval.days() / interval.times(), 1);
        for (const std::int64_t score : {50, 80, 100}) {
            const auto milestone = explanation.milestone(score);
            ASSERT_TRUE(milestone.has_value()) << score;
            EXPECT_EQ(milestone->score, score);
            ASSERT_GT(milestone->checkmarks, 0);
            // The same checkmarks, added to the history, give the score on that day, and one
            // fewer does not.
            std::vector<Date> further = dates;
            for (std::int64_t index = 0; index < milestone->checkmarks; ++index) {
                further.push_back(dateInDays(januaryDay(6), index * rhythm));
            }
            EXPECT_EQ(further.back(), milestone->day);
            EXPECT_GE(HabitProgressCalculator::calculateProgress(further, interval.times(),
                                                                 interval.days(), milestone->day),
                      score);
            further.pop_back();
            if (!further.empty() && further.back() >= januaryDay(6)) {
                EXPECT_LT(HabitProgressCalculator::calculateProgress(
                              further, interval.times(), interval.days(), further.back()),
                          score);
            }
        }
        // A score shown already needs nothing more.
        const auto reached = explanation.milestone(explanation.progress());
        ASSERT_TRUE(reached.has_value());
        EXPECT_EQ(reached->checkmarks, 0);
        EXPECT_EQ(reached->day, januaryDay(6));
    }
}

TEST(ProgressExplanation, AMilestoneStartsTheDayAfterWhenTheExplainedDayHasItsCheckmark) {
    ScopedRegion region("America/New_York");
    const std::vector<Date> dates{januaryNoon(6)};
    const auto explanation =
        ProgressExplanation::explain(dates, RepeatInterval(1, 1), januaryNoon(6));
    // 4.76 today, 9.30 with a checkmark on day 7 (shown as 10), 13.62 on day 8 (shown as 14).
    const auto ten = explanation.milestone(10);
    ASSERT_TRUE(ten.has_value());
    EXPECT_EQ(ten->checkmarks, 1);
    EXPECT_EQ(ten->day, januaryDay(7));
    const auto fourteen = explanation.milestone(14);
    ASSERT_TRUE(fourteen.has_value());
    EXPECT_EQ(fourteen->checkmarks, 2);
    EXPECT_EQ(fourteen->day, januaryDay(8));
}

TEST(ProgressExplanation, DaysOfALongGapAfterTheScoreReaches0AreLeftOut) {
    ScopedRegion region("America/New_York");
    const std::vector<Date> dates{januaryNoon(1)};
    // A 2/1 interval divides by 0: the first missed day takes the score to 0, and the others
    // cost nothing more.
    const auto explanation =
        ProgressExplanation::explain(dates, RepeatInterval(2, 1), januaryNoon(20));
    ASSERT_EQ(explanation.steps().size(), 2u);
    EXPECT_EQ(explanation.steps()[1].after, 0);
    EXPECT_EQ(explanation.steps()[1].day, januaryDay(2));
    EXPECT_EQ(explanation.missedDays(), 18);
    EXPECT_EQ(explanation.progress(), 0);
}

TEST(ProgressExplanation, ARhythmOfBillionsOfDaysReachesNothingAndStopsNothing) {
    ScopedRegion region("America/New_York");
    const std::vector<Date> dates{januaryNoon(1), januaryNoon(2)};
    const auto explanation =
        ProgressExplanation::explain(dates, RepeatInterval(1, 3'000'000'000), januaryNoon(20));
    EXPECT_FALSE(explanation.milestone(50).has_value());
    EXPECT_EQ(explanation.milestone(1)->checkmarks, 0);
}

}  // namespace
}  // namespace dovrel
