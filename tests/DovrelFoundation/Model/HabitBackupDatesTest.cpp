#include "DovrelFoundation/Model/HabitBackupDates.h"

#include "tests/support/CivilDate.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <stdexcept>
#include <string>

namespace dovrel {
namespace {

using testing::civilDate;

TEST(HabitBackupDates, DatesAreWrittenInUTCWithMilliseconds) {
    EXPECT_EQ(iso8601Text(civilDate(2024, 3, 5, 12, 15, 0)), "2024-03-05T12:15:00.000Z");
    EXPECT_EQ(iso8601Text(civilDate(2024, 3, 5, 14, 15, 0, 2.0)), "2024-03-05T12:15:00.000Z");
    EXPECT_EQ(iso8601Text(Date(0.0)), "2001-01-01T00:00:00.000Z");
    EXPECT_EQ(iso8601Text(Date(0.123)), "2001-01-01T00:00:00.123Z");
    EXPECT_EQ(iso8601Text(Date(59.9996)), "2001-01-01T00:01:00.000Z");
    EXPECT_EQ(iso8601Text(civilDate(2024, 2, 29, 23, 59, 59) + 0.999), "2024-02-29T23:59:59.999Z");
}

TEST(HabitBackupDates, DatesBefore1970AndBeforeTheReferenceDateCountDownCorrectly) {
    EXPECT_EQ(iso8601Text(Date(-0.001)), "2000-12-31T23:59:59.999Z");
    EXPECT_EQ(iso8601Text(civilDate(1969, 12, 31, 23, 59, 59) + 0.5), "1969-12-31T23:59:59.500Z");
    EXPECT_EQ(iso8601Text(civilDate(1, 1, 1)), "0001-01-01T00:00:00.000Z");
}

TEST(HabitBackupDates, YearsBeyondFourDigitsUseTheExpandedForm) {
    EXPECT_EQ(iso8601Text(civilDate(10000, 1, 1)), "+10000-01-01T00:00:00.000Z");
    EXPECT_EQ(iso8601Text(civilDate(-1, 6, 1)), "-00001-06-01T00:00:00.000Z");
    EXPECT_EQ(dateFromISO8601Text("+10000-01-01T00:00:00.000Z"), civilDate(10000, 1, 1));
    EXPECT_EQ(dateFromISO8601Text("-00001-06-01T00:00:00.000Z"), civilDate(-1, 6, 1));
}

TEST(HabitBackupDates, DatesThatJSONCannotHoldAreRefused) {
    EXPECT_THROW(iso8601Text(Date(std::numeric_limits<double>::quiet_NaN())), std::domain_error);
    EXPECT_THROW(iso8601Text(Date(std::numeric_limits<double>::infinity())), std::domain_error);
    EXPECT_THROW(iso8601Text(Date(1e18)), std::domain_error);
}

TEST(HabitBackupDates, WholeMillisecondDatesRoundTripExactly) {
    for (const double seconds : {0.0, 0.001, 731333700.123, 731333700.999, -31536000.007,
                                 123456789.456, 1e10 + 0.25, -978307200.0}) {
        const Date date(seconds);
        EXPECT_EQ(dateFromISO8601Text(iso8601Text(date)), date) << iso8601Text(date);
    }
    // Every millisecond of one second, far from the reference date.
    const Date base = civilDate(2031, 7, 14, 6, 30, 0);
    for (int millisecond = 0; millisecond < 1000; ++millisecond) {
        const Date date(base.timeIntervalSinceReferenceDate() + millisecond / 1000.0);
        ASSERT_EQ(dateFromISO8601Text(iso8601Text(date)), date) << iso8601Text(date);
    }
}

TEST(HabitBackupDates, OffsetsAndFractionsOfOtherWritersAreRead) {
    const Date expected = civilDate(2024, 3, 5, 12, 15, 0);
    EXPECT_EQ(dateFromISO8601Text("2024-03-05T12:15:00Z"), expected);
    EXPECT_EQ(dateFromISO8601Text("2024-03-05T14:15:00+02:00"), expected);
    EXPECT_EQ(dateFromISO8601Text("2024-03-05T14:15:00+0200"), expected);
    EXPECT_EQ(dateFromISO8601Text("2024-03-05T07:45:00-04:30"), expected);
    EXPECT_EQ(dateFromISO8601Text("2024-03-05T12:15:00.5Z"), expected + 0.5);
    EXPECT_EQ(dateFromISO8601Text("2024-03-05T12:15:00.250000000Z"), expected + 0.25);
}

TEST(HabitBackupDates, TextThatIsNotAnAcceptedDateReadsAsNothing) {
    for (const char* text :
         {"", "2024-03-05", "2024-03-05 12:15:00Z", "2024-03-05T12:15:00", "2024-3-05T12:15:00Z",
          "2024-02-30T12:15:00Z", "2023-02-29T00:00:00Z", "2024-13-01T00:00:00Z",
          "2024-03-05T24:00:00Z", "2024-03-05T12:60:00Z", "2024-03-05T12:15:60Z",
          "2024-03-05T12:15:00.Z", "2024-03-05T12:15:00.1234567890Z", "2024-03-05T12:15:00+24:00",
          "2024-03-05T12:15:00z", "2024-03-05T12:15:00Zjunk", " 2024-03-05T12:15:00Z",
          "+2024-03-05T12:15:00Z", "yesterday"}) {
        EXPECT_EQ(dateFromISO8601Text(text), std::nullopt) << text;
    }
}

}  // namespace
}  // namespace dovrel
