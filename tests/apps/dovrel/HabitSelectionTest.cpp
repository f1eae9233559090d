#include "apps/dovrel/HabitSelection.h"

#include <gtest/gtest.h>

namespace dovrel::cli {
namespace {

std::vector<HabitCandidate> candidates() {
    return {
        {"Read", "x-dovrel://A/Habit/p1"},         {"Run", "x-dovrel://A/Habit/p2"},
        {"Читати вірші", "x-dovrel://A/Habit/p3"}, {std::nullopt, "x-dovrel://A/Habit/p4"},
        {"Reading club", "x-dovrel://A/Habit/p5"},
    };
}

TEST(HabitSelection, AListNumberPicksThatHabit) {
    EXPECT_EQ(std::get<std::size_t>(selectHabit(candidates(), "1")), 0u);
    EXPECT_EQ(std::get<std::size_t>(selectHabit(candidates(), "4")), 3u);
}

TEST(HabitSelection, ANumberBeyondTheListIsReadAsAName) {
    EXPECT_TRUE(std::holds_alternative<NoHabitMatches>(selectHabit(candidates(), "6")));
    EXPECT_TRUE(std::holds_alternative<NoHabitMatches>(selectHabit(candidates(), "0")));
    auto numbered = candidates();
    numbered.push_back({"2024", "x-dovrel://A/Habit/p6"});
    EXPECT_EQ(std::get<std::size_t>(selectHabit(numbered, "2024")), 5u);
}

TEST(HabitSelection, AnExactNameWinsOverALongerNameWithThatBeginning) {
    EXPECT_EQ(std::get<std::size_t>(selectHabit(candidates(), "Read")), 0u);
}

TEST(HabitSelection, AUniquePrefixPicksThatHabit) {
    EXPECT_EQ(std::get<std::size_t>(selectHabit(candidates(), "Ru")), 1u);
    EXPECT_EQ(std::get<std::size_t>(selectHabit(candidates(), "Reading")), 4u);
}

TEST(HabitSelection, NamesAndPrefixesIgnoreLetterCaseInAnyScript) {
    EXPECT_EQ(std::get<std::size_t>(selectHabit(candidates(), "run")), 1u);
    EXPECT_EQ(std::get<std::size_t>(selectHabit(candidates(), "читати")), 2u);
}

TEST(HabitSelection, APrefixOfSeveralNamesIsAmbiguous) {
    const auto selection = selectHabit(candidates(), "R");
    ASSERT_TRUE(std::holds_alternative<SeveralHabitsMatch>(selection));
    EXPECT_EQ(std::get<SeveralHabitsMatch>(selection).positions,
              (std::vector<std::size_t>{0, 1, 4}));
}

TEST(HabitSelection, TwoHabitsOfTheSameNameAreAmbiguous) {
    auto twins = candidates();
    twins.push_back({"Run", "x-dovrel://A/Habit/p7"});
    const auto selection = selectHabit(twins, "Run");
    ASSERT_TRUE(std::holds_alternative<SeveralHabitsMatch>(selection));
    EXPECT_EQ(std::get<SeveralHabitsMatch>(selection).positions, (std::vector<std::size_t>{1, 5}));
}

TEST(HabitSelection, AnObjectURIPicksThatHabitOnly) {
    EXPECT_EQ(std::get<std::size_t>(selectHabit(candidates(), "x-dovrel://A/Habit/p4")), 3u);
    EXPECT_TRUE(
        std::holds_alternative<NoHabitMatches>(selectHabit(candidates(), "x-dovrel://A/Habit/p9")));
    EXPECT_TRUE(
        std::holds_alternative<NoHabitMatches>(selectHabit(candidates(), "x-dovrel://A/Habit/p")));
}

TEST(HabitSelection, WordsThatFitNoHabitMatchNothing) {
    EXPECT_TRUE(std::holds_alternative<NoHabitMatches>(selectHabit(candidates(), "Swim")));
    EXPECT_TRUE(std::holds_alternative<NoHabitMatches>(selectHabit(candidates(), "")));
    EXPECT_TRUE(std::holds_alternative<NoHabitMatches>(selectHabit({}, "1")));
}

}  // namespace
}  // namespace dovrel::cli
