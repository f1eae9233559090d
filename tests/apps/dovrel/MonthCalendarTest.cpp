#include "apps/dovrel/MonthCalendar.h"

#include <gtest/gtest.h>

namespace dovrel::cli {
namespace {

MonthCalendar march2026(std::int64_t firstWeekday) {
    MonthCalendar calendar;
    calendar.year = 2026;
    calendar.month = 3;
    calendar.firstWeekday = firstWeekday;
    calendar.title = "March 2026";
    calendar.weekdayNames = {"Su", "Mo", "Tu", "We", "Th", "Fr", "Sa"};
    return calendar;
}

TEST(MonthCalendar, KnowsTheWeekdaysOfGregorianDates) {
    EXPECT_EQ(gregorianWeekday(2026, 3, 1), 1);   // a Sunday
    EXPECT_EQ(gregorianWeekday(2024, 2, 29), 5);  // a Thursday
    EXPECT_EQ(gregorianWeekday(2000, 1, 1), 7);   // a Saturday
    EXPECT_EQ(gregorianWeekday(1970, 1, 1), 5);   // a Thursday
}

TEST(MonthCalendar, KnowsTheLengthsOfGregorianMonths) {
    EXPECT_EQ(gregorianDaysInMonth(2026, 2), 28);
    EXPECT_EQ(gregorianDaysInMonth(2024, 2), 29);
    EXPECT_EQ(gregorianDaysInMonth(1900, 2), 28);
    EXPECT_EQ(gregorianDaysInMonth(2026, 4), 30);
    EXPECT_EQ(gregorianDaysInMonth(2026, 12), 31);
}

TEST(MonthCalendar, LooksLikeCalWithWeeksStartingOnSunday) {
    const auto lines = march2026(1).lines(Terminal(false), std::nullopt);
    const std::vector<std::string> expected = {
        "     March 2026",
        "Su Mo Tu We Th Fr Sa",
        " 1  2  3  4  5  6  7",
        " 8  9 10 11 12 13 14",
        "15 16 17 18 19 20 21",
        "22 23 24 25 26 27 28",
        "29 30 31",
    };
    EXPECT_EQ(lines, expected);
}

TEST(MonthCalendar, StartsItsWeeksOnTheLocalesFirstWeekday) {
    auto calendar = march2026(2);
    calendar.weekdayNames = {"нд", "пн", "вт", "ср", "чт", "пт", "сб"};
    calendar.title = "березень 2026 р.";
    const auto lines = calendar.lines(Terminal(false), std::nullopt);
    ASSERT_EQ(lines.size(), 8u);
    EXPECT_EQ(lines[0], "  березень 2026 р.");
    EXPECT_EQ(lines[1], "пн вт ср чт пт сб нд");
    EXPECT_EQ(lines[2], "                   1");
    EXPECT_EQ(lines[3], " 2  3  4  5  6  7  8");
    EXPECT_EQ(lines[7], "30 31");
}

TEST(MonthCalendar, MarksCheckedDaysWithAStarWithoutColours) {
    auto calendar = march2026(1);
    calendar.checkedDays = {1, 2, 4, 31};
    calendar.selectedDay = 6;
    const auto lines = calendar.lines(Terminal(false), std::nullopt);
    EXPECT_EQ(lines[2], " 1* 2* 3  4* 5  6  7");
    EXPECT_EQ(lines[6], "29 30 31*");
}

TEST(MonthCalendar, DrawsCheckedDaysOnTheHabitColourAndEmphasisesTheSelectedDay) {
    auto calendar = march2026(1);
    calendar.checkedDays = {2};
    calendar.selectedDay = 3;
    const auto lines = calendar.lines(Terminal(true), Color::rgb(1.0, 0.0, 0.0));
    EXPECT_EQ(lines[2], " 1 \x1b[97;48;2;255;0;0m 2\x1b[0m \x1b[1;4m 3\x1b[0m  4  5  6  7");
    EXPECT_EQ(lines[2].find('*'), std::string::npos);
}

}  // namespace
}  // namespace dovrel::cli
