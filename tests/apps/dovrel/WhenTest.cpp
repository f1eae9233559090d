#include "apps/dovrel/When.h"

#include <gtest/gtest.h>

#include "tests/support/CivilDate.h"

namespace dovrel::cli {
namespace {

using testing::civilDate;

const Region kKyiv("gregorian", "Europe/Kyiv", "uk_UA");

TEST(When, ADayAloneIsTheStartOfThatDay) {
    EXPECT_EQ(parseWhen("2026-03-10", kKyiv), civilDate(2026, 3, 10, 0, 0, 0, 2.0));
}

TEST(When, ADayWithHoursAndMinutesHasZeroSeconds) {
    EXPECT_EQ(parseWhen("2026-03-10T09:30", kKyiv), civilDate(2026, 3, 10, 9, 30, 0, 2.0));
}

TEST(When, ADayWithSecondsIsThatSecond) {
    EXPECT_EQ(parseWhen("2026-07-01T23:59:59", kKyiv), civilDate(2026, 7, 1, 23, 59, 59, 3.0));
}

TEST(When, IsGregorianEvenWhenTheRegionUsesAnotherCalendar) {
    const Region buddhist("buddhist", "UTC", "th_TH@calendar=buddhist");
    EXPECT_EQ(parseWhen("2026-03-10", buddhist), civilDate(2026, 3, 10));
}

TEST(When, ADayWhoseMidnightIsSkippedStartsWhenTheGapEnds) {
    // Sao Paulo moved its clocks from 00:00 to 01:00 on 2018-11-04.
    const Region saoPaulo("gregorian", "America/Sao_Paulo", "pt_BR");
    EXPECT_EQ(parseWhen("2018-11-04", saoPaulo), civilDate(2018, 11, 4, 1, 0, 0, -2.0));
}

TEST(When, AcceptsTheLeapDayOnlyInLeapYears) {
    EXPECT_TRUE(parseWhen("2024-02-29", kKyiv).has_value());
    EXPECT_FALSE(parseWhen("2026-02-29", kKyiv).has_value());
    EXPECT_FALSE(parseWhen("1900-02-29", kKyiv).has_value());
    EXPECT_TRUE(parseWhen("2000-02-29", kKyiv).has_value());
}

TEST(When, RejectsFieldsOutOfRange) {
    for (const char* text : {"2026-13-01", "2026-00-10", "2026-04-31", "2026-03-00",
                             "2026-03-10T24:00", "2026-03-10T12:60", "2026-03-10T12:00:60"}) {
        EXPECT_FALSE(parseWhen(text, kKyiv).has_value()) << text;
    }
}

TEST(When, RejectsOtherForms) {
    for (const char* text : {"", "today", "2026-3-10", "26-03-10", "2026/03/10", "2026-03-10 09:00",
                             "2026-03-10T9:00", "2026-03-10T09:00:0", "2026-03-10T09:00Z",
                             "2026-03-10T09:00:00+02:00", "+026-03-10", "2026-03-1x"}) {
        EXPECT_FALSE(parseWhen(text, kKyiv).has_value()) << text;
    }
}

}  // namespace
}  // namespace dovrel::cli
