#include "apps/dovrel/YearHeatMap.h"

#include <gtest/gtest.h>

#include "apps/dovrel/MonthCalendar.h"
#include "apps/dovrel/TextLayout.h"
#include "platform/foundation/RegionOverrides.h"
#include "tests/support/ScopedEnvironment.h"

namespace dovrel::cli {
namespace {

// The count line is read in English; LANGUAGE would override the pinned locale in gettext.
class YearHeatMapTest : public ::testing::Test {
    testing::ScopedEnvironment language_{"LANGUAGE", std::nullopt};
    ScopedLocale locale_{"en_US"};
};

// Up to Tuesday, November 24, 2026, weeks from Sunday, in English.
YearHeatMap november2026() {
    YearHeatMap map;
    map.year = 2026;
    map.month = 11;
    map.day = 24;
    map.firstWeekday = 1;
    map.weekdayNames = {"Su", "Mo", "Tu", "We", "Th", "Fr", "Sa"};
    map.monthNames = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                      "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    return map;
}

TEST_F(YearHeatMapTest, DaysFromCivilCountsFrom1970) {
    EXPECT_EQ(daysFromCivil(1970, 1, 1), 0);
    EXPECT_EQ(daysFromCivil(1969, 12, 31), -1);
    EXPECT_EQ(daysFromCivil(2000, 3, 1), 11017);
    EXPECT_EQ(daysFromCivil(2026, 11, 24) - daysFromCivil(2025, 11, 24), 365);
}

TEST_F(YearHeatMapTest, FiftyThreeWeekColumnsEndWithTheWeekOfTheLastDayAndLeaveLaterDaysBlank) {
    auto map = november2026();
    const auto lines = map.lines(Terminal(false), std::nullopt);
    ASSERT_EQ(lines.size(), 9u);  // months, seven weekdays, the count
    // Sunday's and Monday's rows reach the last column; Wednesday's stops before it.
    EXPECT_EQ(displayWidth(lines[1]), 3u + 53u);
    EXPECT_EQ(lines[1].substr(0, 3), "Su ");
    EXPECT_EQ(displayWidth(lines[3]), 3u + 53u);  // Tuesday, the last day
    EXPECT_EQ(displayWidth(lines[4]), 3u + 52u);  // Wednesday the 25th is not shown
    EXPECT_EQ(lines[8], "Checked days in these 53 weeks: 0");
}

TEST_F(YearHeatMapTest, CheckedDaysAreMarkedInTheirWeekAndRowAndCounted) {
    auto map = november2026();
    map.checkedDays = {daysFromCivil(2026, 11, 24), daysFromCivil(2026, 11, 22),
                       daysFromCivil(2026, 11, 16), daysFromCivil(2025, 1, 1),
                       daysFromCivil(2026, 11, 30)};
    const auto lines = map.lines(Terminal(false), std::nullopt);
    // Sunday the 22nd: the last column of Sunday's row; Monday the 16th: the column before the
    // last of Monday's; Tuesday the 24th: the last of Tuesday's.
    EXPECT_EQ(lines[1].substr(lines[1].size() - 3), "■");
    EXPECT_EQ(lines[2].substr(lines[2].size() - 5), "■·");
    EXPECT_EQ(lines[3].substr(lines[3].size() - 3), "■");
    // A day before the first column and one after the last are not shown or counted.
    EXPECT_EQ(lines[8], "Checked days in these 53 weeks: 3");
}

TEST_F(YearHeatMapTest, MonthNamesStandOverTheWeekOfTheFirstDayWhenTheyFit) {
    const auto lines = november2026().lines(Terminal(false), std::nullopt);
    // The first column is the week of Sunday, November 23, 2025: December begins in the
    // second, January 2026 in the sixth.
    EXPECT_EQ(lines[0].substr(0, 3 + 1 + 3), "    Dec");
    EXPECT_EQ(lines[0].find("Jan"), 3u + 5u);
    EXPECT_NE(lines[0].find("Nov"), std::string::npos);
    EXPECT_EQ(lines[0].find("Nov"), 3u + 49u);  // Sunday, November 1, 2026
}

TEST_F(YearHeatMapTest, WithoutUnicodeChecksAreXAndOtherDaysDots) {
    auto map = november2026();
    map.checkedDays = {daysFromCivil(2026, 11, 24)};
    const auto lines = map.lines(Terminal(false, false), std::nullopt);
    EXPECT_EQ(lines[3].back(), 'x');
    EXPECT_EQ(lines[3][lines[3].size() - 2], '.');
}

TEST_F(YearHeatMapTest, WeeksFollowTheFirstWeekday) {
    auto map = november2026();
    map.firstWeekday = 2;  // Monday
    const auto lines = map.lines(Terminal(false), std::nullopt);
    EXPECT_EQ(lines[1].substr(0, 3), "Mo ");
    EXPECT_EQ(lines[7].substr(0, 3), "Su ");
    // Tuesday is the second day of the last week: Wednesday's row stops a column earlier.
    EXPECT_EQ(displayWidth(lines[2]), 3u + 53u);
    EXPECT_EQ(displayWidth(lines[3]), 3u + 52u);
}

}  // namespace
}  // namespace dovrel::cli
