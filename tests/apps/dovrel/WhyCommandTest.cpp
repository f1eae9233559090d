// Black-box tests of `dovrel why`: the steps of a habit's score, as text and JSON.

#include "tests/apps/dovrel/HabitCommands.h"

namespace dovrel {
namespace {

using testing::HabitCommands;

class WhyCommand : public HabitCommands {
  protected:
    // "Water", every day, checked on March 1, 2 and 4 of 2026.
    void addWorkedExample() {
        succeed({"add", "Water"}, "2026-02-20 09:00:00");
        for (const char* day : {"2026-03-01", "2026-03-02", "2026-03-04"}) {
            succeed({"check", "Water", "--at", day}, "2026-03-10 09:00:00");
        }
    }
};

TEST_F(WhyCommand, TheWorkedExampleShowsEachStepAndTheScore10) {
    addWorkedExample();
    const std::string output = succeed({"why", "Water", "--at", "2026-03-06"});
    EXPECT_EQ(output,
              "Why “Water” shows 10 on Fri, Mar 6, 2026\n"
              "Interval     every day\n"
              "Checkmarks   3\n"
              "Missed days  2\n"
              "Exact score  9.45\n"
              "\n"
              "Steps (the last 5 of 5):\n"
              "  Sun, Mar 1  checkmark    0.00 →  4.76  +4.76\n"
              "  Mon, Mar 2  checkmark    4.76 →  9.30  +4.54\n"
              "  Tue, Mar 3  missed day   9.30 →  7.14  -2.16\n"
              "  Wed, Mar 4  checkmark    7.14 → 11.56  +4.42\n"
              "  Thu, Mar 5  missed day  11.56 →  9.45  -2.11\n"
              "\n"
              "Biggest gains   Mar 1 +4.76, Mar 2 +4.54, Mar 4 +4.42\n"
              "Biggest losses  Mar 3 -2.16, Mar 5 -2.11\n"
              "\n"
              "12 more checkmarks at this rhythm reach 50 on Tue, Mar 17, 2026\n"
              "30 more checkmarks at this rhythm reach 80 on Sat, Apr 4, 2026\n"
              "89 more checkmarks at this rhythm reach 100 on Tue, Jun 2, 2026\n");
}

TEST_F(WhyCommand, JsonGivesTheStepsUnroundedWithLocalDaysAndTheMilestones) {
    addWorkedExample();
    const auto why = json({"why", "Water", "--at", "2026-03-06"});
    EXPECT_EQ(why["progress"], 10);
    EXPECT_EQ(why["on"], "2026-03-06T00:00:00+02:00");
    EXPECT_EQ(why["checkmarks"], 3);
    EXPECT_EQ(why["missedDays"], 2);
    EXPECT_EQ(why["stepCount"], 5);
    ASSERT_EQ(why["steps"].size(), 5u);
    EXPECT_EQ(why["steps"][2]["day"], "2026-03-03");
    EXPECT_EQ(why["steps"][2]["kind"], "missedDay");
    EXPECT_NEAR(why["steps"][2]["after"].get<double>(), 7.1375, 1e-4);
    EXPECT_NEAR(why["unroundedProgress"].get<double>(), 9.4538, 1e-4);
    EXPECT_EQ(why["biggestLosses"][0]["day"], "2026-03-03");
    ASSERT_EQ(why["milestones"].size(), 3u);
    EXPECT_EQ(why["milestones"][0]["score"], 50);
    EXPECT_EQ(why["milestones"][0]["checkmarks"], 12);
    EXPECT_EQ(why["milestones"][0]["day"], "2026-03-17");
}

TEST_F(WhyCommand, OnlyTheLast30StepsAreListedOfALongHistory) {
    succeed({"add", "Read"}, "2026-01-01 09:00:00");
    for (int day = 1; day <= 28; day += 1) {
        const std::string date =
            "2026-02-" + std::string(day < 10 ? "0" : "") + std::to_string(day);
        if (day % 3 != 0) {
            succeed({"check", "Read", "--at", date});
        }
    }
    const auto why = json({"why", "Read", "--at", "2026-03-01"});
    EXPECT_EQ(why["checkmarks"], 19);
    EXPECT_EQ(why["missedDays"], 9);
    EXPECT_EQ(why["stepCount"], 28);
    EXPECT_EQ(why["steps"].size(), 28u);
    const auto later = json({"why", "Read", "--at", "2026-03-09"});
    EXPECT_EQ(later["stepCount"], 36);
    ASSERT_EQ(later["steps"].size(), 30u);
    EXPECT_EQ(later["steps"][29]["day"], "2026-03-08");
    const std::string text = succeed({"why", "Read", "--at", "2026-03-09"});
    EXPECT_NE(text.find("Steps (the last 30 of 36):"), std::string::npos) << text;
}

TEST_F(WhyCommand, AHabitWithoutCheckmarksStartsAt0AndNeeds14ForHalf) {
    succeed({"add", "Walk"}, "2026-01-01 09:00:00");
    const auto none = succeed({"why", "Walk"});
    EXPECT_NE(none.find("No checkmark counts yet: the score starts at 0."), std::string::npos)
        << none;
    // 100 * (1 - (20/21)^14) = 49.6, shown as 50.
    EXPECT_NE(none.find("14 more checkmarks at this rhythm reach 50 on Mon, Mar 23, 2026"),
              std::string::npos)
        << none;
}

TEST_F(WhyCommand, AScoreReachedAlreadyIsSaidSo) {
    succeed({"add", "Walk"}, "2026-01-01 09:00:00");
    for (int day = 1; day <= 20; ++day) {
        succeed({"check", "Walk", "--at",
                 "2026-02-" + std::string(day < 10 ? "0" : "") + std::to_string(day)});
    }
    const auto output = succeed({"why", "Walk", "--at", "2026-02-20T20:00"});
    EXPECT_NE(output.find("50 is reached already"), std::string::npos) << output;
    EXPECT_NE(output.find("more checkmarks at this rhythm reach 80 on"), std::string::npos)
        << output;
}

TEST_F(WhyCommand, AnUnknownHabitIsAnErrorThatNamesTheWords) {
    const auto result = run({"why", "Nothing"});
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_NE(result.standardError.find("Nothing"), std::string::npos) << result.standardError;
}

TEST_F(WhyCommand, UkrainianUsesItsOwnWordsAndDecimalComma) {
    addWorkedExample();
    const auto result =
        run({"why", "Water", "--at", "2026-03-06"}, "2026-03-10 09:00:00", "uk_UA.UTF-8");
    EXPECT_EQ(result.exitStatus, 0) << result.standardError;
    EXPECT_NE(result.standardOutput.find("Точна оцінка   9,45"), std::string::npos)
        << result.standardOutput;
    EXPECT_NE(result.standardOutput.find("пропуск"), std::string::npos);
}

}  // namespace
}  // namespace dovrel
