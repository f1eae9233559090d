// Black-box tests of `dovrel stats`: streaks and completion, for every habit and for one.

#include "tests/apps/dovrel/HabitCommands.h"

namespace dovrel {
namespace {

using testing::HabitCommands;

class StatsCommand : public HabitCommands {
  protected:
    // "Read", 3 times a week since November 1, 2026, checked on ten days of November.
    void addRead() {
        succeed({"add", "Read", "--times", "3", "--days", "7"}, "2026-11-01 08:00:00");
        for (const char* day :
             {"2026-11-02", "2026-11-03", "2026-11-05", "2026-11-09", "2026-11-10", "2026-11-12",
              "2026-11-16", "2026-11-18", "2026-11-19", "2026-11-23"}) {
            succeed({"check", "Read", "--at", day}, "2026-11-24 09:00:00");
        }
    }
};

TEST_F(StatsCommand, EveryHabitGetsItsStreaksAndThisWeeksAndMonthsCompletion) {
    addRead();
    succeed({"add", "Water"}, "2026-11-20 08:00:00");
    const std::string output = succeed({"stats"}, "2026-11-24 09:00:00");
    EXPECT_EQ(output,
              "#  Habit    Interval          Streak  Best  Week  Month\n"
              "1  “Read”   3 times per week       7    15   78%    97%\n"
              "2  “Water”  every day              –     –    0%     0%\n"
              "Streaks in days; a streak holds while every window of the interval's days has its "
              "checkmarks.\n");
}

TEST_F(StatsCommand, OneHabitShowsItsStreaksWithTheirDaysAndEachPeriod) {
    addRead();
    const std::string output = succeed({"stats", "Read"}, "2026-11-24 09:00:00");
    EXPECT_EQ(output,
              "Streaks and completion of “Read” on Tue, Nov 24, 2026\n"
              "Interval        3 times per week\n"
              "Checked days    10\n"
              "Current streak  7 days, Nov 18, 2026 to Nov 24, 2026 (3 checked)\n"
              "Best streak     15 days, Nov 2, 2026 to Nov 16, 2026 (7 checked)\n"
              "Streaks         2\n"
              "\n"
              "Weeks (checked days of those asked for):\n"
              "  Nov 1, 2026   3 of 3.0  100%\n"
              "  Nov 8, 2026   3 of 3.0  100%\n"
              "  Nov 15, 2026  3 of 3.0  100%\n"
              "  Nov 22, 2026  1 of 1.3   78%\n"
              "\n"
              "Months (checked days of those asked for):\n"
              "  November 2026  10 of 10.3  97%\n");
}

TEST_F(StatsCommand, JsonGivesStreaksAndRatesWithLocalDays) {
    addRead();
    const auto stats = json({"stats", "Read"}, "2026-11-24 09:00:00");
    EXPECT_EQ(stats["checkedDays"], 10);
    EXPECT_EQ(stats["currentStreak"]["start"], "2026-11-18");
    EXPECT_EQ(stats["currentStreak"]["days"], 7);
    EXPECT_EQ(stats["bestStreak"]["end"], "2026-11-16");
    ASSERT_EQ(stats["streaks"].size(), 2u);
    ASSERT_EQ(stats["weeks"].size(), 4u);
    EXPECT_EQ(stats["weeks"][3]["start"], "2026-11-22");
    EXPECT_EQ(stats["weeks"][3]["days"], 3);
    EXPECT_NEAR(stats["weeks"][3]["rate"].get<double>(), 7.0 / 9.0, 1e-12);
    const auto all = json({"stats"}, "2026-11-24 09:00:00");
    ASSERT_TRUE(all.is_array());
    EXPECT_EQ(all.size(), 1u);
    EXPECT_EQ(all[0]["uri"], stats["uri"]);
}

TEST_F(StatsCommand, AnAskedDayLeavesOutLaterCheckmarks) {
    addRead();
    const auto stats = json({"stats", "Read", "--at", "2026-11-10"}, "2026-11-24 09:00:00");
    EXPECT_EQ(stats["checkedDays"], 5);
    EXPECT_EQ(stats["currentStreak"]["start"], "2026-11-02");
    EXPECT_EQ(stats["currentStreak"]["end"], "2026-11-10");
}

TEST_F(StatsCommand, NoHabitsSaysSo) {
    const auto result = run({"stats"});
    EXPECT_EQ(result.exitStatus, 0) << result.standardError;
    EXPECT_EQ(result.standardOutput.rfind("No habits yet.", 0), 0u) << result.standardOutput;
}

TEST_F(StatsCommand, ShowYearEndsWithAYearOfWeeksInsteadOfTheMonth) {
    addRead();
    const std::string output = succeed({"show", "Read", "--year"}, "2026-11-24 09:00:00");
    EXPECT_EQ(output.find("November 2026"), std::string::npos) << output;
    EXPECT_NE(output.find("  Checked days in these 53 weeks: 10\n"), std::string::npos) << output;
    // Monday's row ends with the checked Mondays of November (2, 9, 16, 23).
    EXPECT_NE(output.find("■■■■\n"), std::string::npos) << output;
    const std::string month = succeed({"show", "Read"}, "2026-11-24 09:00:00");
    EXPECT_NE(month.find("November 2026"), std::string::npos);
}

}  // namespace
}  // namespace dovrel
