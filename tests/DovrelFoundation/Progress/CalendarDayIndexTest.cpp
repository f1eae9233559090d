#include "DovrelFoundation/Progress/CalendarDayIndex.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "DovrelFoundation/Progress/DateExtensions.h"
#include "platform/foundation/Clock.h"
#include "platform/foundation/RegionOverrides.h"
#include "platform/foundation/TimeZoneTransitions.h"
#include "tests/support/CivilDate.h"
#include "tests/support/ScopedRegion.h"

namespace dovrel {
namespace {

using testing::civilDate;
using testing::ScopedRegion;

// Seconds since the reference date of 1900-01-01, 2012-01-01, 2022-01-01 and 2200-01-01 UTC.
constexpr double k1900 = -3187296000.0;
constexpr double k2012 = 347068800.0;
constexpr double k2022 = 662688000.0;
constexpr double k2200 = 6279811200.0;
constexpr double kDay = 86400.0;

// The day gap computed the plain way, straight from onlyDay().
std::int64_t plainGap(Date later, Date earlier) {
    return static_cast<std::int64_t>(
        std::round(onlyDay(later).timeIntervalSince(onlyDay(earlier)) / kDay));
}

double secondsOf(Date date) {
    return date.timeIntervalSinceReferenceDate();
}

std::vector<Date> randomInstants(double from, double to, std::size_t count, std::uint64_t seed) {
    std::mt19937_64 random(seed);
    std::uniform_real_distribution<double> seconds(from, to);
    std::vector<Date> result;
    for (std::size_t i = 0; i < count; ++i) {
        const double at = seconds(random);
        result.emplace_back(at);
        result.emplace_back(std::floor(at));  // a whole second too
    }
    return result;
}

// Instants at, just around and a few hours and days around every offset change of the current
// zone between `from` and `to`, and around the local midnights near each change.
std::vector<Date> boundaryInstants(const std::string& zone, double from, double to) {
    const TimeZoneTransitions transitions(zone);
    const double fromMilliseconds = (from + Date::kTimeIntervalBetween1970AndReferenceDate) * 1000;
    const double toMilliseconds = (to + Date::kTimeIntervalBetween1970AndReferenceDate) * 1000;
    const auto periods = transitions.periods(fromMilliseconds, toMilliseconds);
    EXPECT_TRUE(periods.has_value()) << zone;
    std::vector<Date> result;
    if (!periods) {
        return result;
    }
    const double nudges[] = {-90000, -86400, -43200, -7200, -3601, -3600, -1800, -1,
                             -0.5,   -1e-3,  -1e-6,  0,     1e-6,  1e-3,  0.5,   1,
                             1800,   3600,   3601,   7200,  43200, 86400, 90000};
    const double aroundMidnight[] = {0, -1e-6, -1e-3, -1, 1e-6, 1e-3, 1};
    for (const auto& transition : periods->transitions) {
        const Date at = Date::fromTimeIntervalSince1970(transition.milliseconds / 1000.0);
        for (const double nudge : nudges) {
            result.push_back(at + nudge);
        }
        for (int days = -2; days <= 2; ++days) {
            const Date midnight = onlyDay(at + days * kDay);
            for (const double nudge : aroundMidnight) {
                result.push_back(midnight + nudge);
            }
        }
    }
    return result;
}

// Every instant's day start equals onlyDay() bit for bit, and the gap between each instant and
// the next equals the plain gap. Returns how many lookups the table could not answer.
std::size_t expectSameAsPlainPath(const std::vector<Date>& instants) {
    CalendarDayIndex index = CalendarDayIndex::current();
    for (std::size_t i = 0; i < instants.size(); ++i) {
        const Date instant = instants[i];
        EXPECT_EQ(secondsOf(index.dayStart(instant)), secondsOf(onlyDay(instant)))
            << "instant " << secondsOf(instant);
        if (i > 0) {
            EXPECT_EQ(index.dayGap(instant, instants[i - 1]), plainGap(instant, instants[i - 1]))
                << "instants " << secondsOf(instant) << " and " << secondsOf(instants[i - 1]);
        }
    }
    return index.plainLookups();
}

class CalendarDayIndexTest : public ::testing::Test {
  protected:
    ScopedClockOverride clock_{civilDate(2024, 6, 1, 12, 0, 0)};
};

// --- Equal to the plain path --------------------------------------------------------------------

TEST_F(CalendarDayIndexTest, DayStartsAndGapsEqualThePlainPathInZonesWithDaylightSavingChanges) {
    const std::string zones[] = {
        "America/New_York",    "Europe/Kyiv",       "America/Sao_Paulo",
        "Australia/Lord_Howe", "Pacific/Apia",      "America/Havana",
        "America/Santiago",    "Africa/Casablanca", "Europe/Dublin",
        "Asia/Tehran",         "Antarctica/Troll",  "Pacific/Kiritimati",
        "Pacific/Chatham",     "Asia/Kolkata",      "UTC",
        "America/Asuncion",
    };
    std::uint64_t seed = 1;
    for (const std::string& zone : zones) {
        SCOPED_TRACE(zone);
        const ScopedRegion region(zone);
        std::vector<Date> instants = randomInstants(k1900, k2200, 2000, seed++);
        const std::size_t randomCount = instants.size();
        const std::size_t randomPlain = expectSameAsPlainPath(instants);
        // The table answers almost every random instant itself.
        EXPECT_LT(randomPlain, randomCount / 50);

        expectSameAsPlainPath(boundaryInstants(zone, k1900, k2200));
    }
}

TEST_F(CalendarDayIndexTest, DayStartsAndGapsEqualThePlainPathUnderNonGregorianCalendars) {
    const std::string calendars[] = {
        "hebrew", "chinese",  "dangi",  "islamic-umalqura", "islamic-civil", "islamic", "persian",
        "coptic", "ethiopic", "indian", "japanese",         "buddhist",      "roc",     "iso8601",
    };
    const std::string zones[] = {"America/Sao_Paulo", "Australia/Lord_Howe"};
    std::uint64_t seed = 100;
    for (const std::string& zone : zones) {
        for (const std::string& calendar : calendars) {
            // Every calendar in Sao Paulo; a few of them in Lord Howe, to keep the test short.
            if (zone == "Australia/Lord_Howe" && calendar != "hebrew" && calendar != "chinese" &&
                calendar != "persian" && calendar != "islamic-umalqura") {
                continue;
            }
            SCOPED_TRACE(zone + " " + calendar);
            const ScopedRegion region(zone, "en_US", calendar);
            const std::vector<Date> instants = randomInstants(k2012, k2022, 500, seed++);
            const std::size_t plain = expectSameAsPlainPath(instants);
            EXPECT_LT(plain, instants.size() / 50);
            expectSameAsPlainPath(boundaryInstants(zone, k2012, k2022));
        }
    }
}

TEST_F(CalendarDayIndexTest, ACalendarTakenFromTheLocaleIsFollowedToo) {
    // Zone and locale pinned, and with them the calendar: the Thai locale's own, Buddhist.
    const ScopedTimeZone zone("Asia/Bangkok");
    const ScopedLocale locale("th_TH");
    ASSERT_EQ(CalendarDayIndex::current().region().calendarIdentifier(), "buddhist");
    expectSameAsPlainPath(randomInstants(k2012, k2022, 500, 7));
}

TEST_F(CalendarDayIndexTest, InstantsOutsideTheTablesYearsAreAskedOfTheCalendar) {
    const ScopedRegion region("Europe/Kyiv");
    const std::vector<Date> instants = {
        Date(k1900 - 1e9), Date(k1900 - 1),      Date(k1900 - 0.25), Date(k2200),
        Date(k2200 + 1e6), Date(k2200 + 3.3e10), Date(-6e10),        Date(k1900 + 1e-3),
    };
    const std::size_t plain = expectSameAsPlainPath(instants);
    EXPECT_GE(plain, 6u);
}

// --- Uniform stretches --------------------------------------------------------------------------

TEST_F(CalendarDayIndexTest, UniformStretchesHaveOneOffsetAndDaysStartingAtLocalMidnight) {
    const std::string zones[] = {"America/New_York", "Europe/Kyiv", "America/Sao_Paulo",
                                 "Australia/Lord_Howe", "Pacific/Apia"};
    constexpr double kMillisecondsPerDay = 86'400'000.0;
    std::uint64_t seed = 300;
    for (const std::string& zone : zones) {
        SCOPED_TRACE(zone);
        const ScopedRegion region(zone);
        CalendarDayIndex index = CalendarDayIndex::current();
        const TimeZoneTransitions transitions(zone);
        // The day start of an instant of the stretch at `milliseconds`, by local midnight.
        const auto midnightStart = [](double milliseconds, double offset) {
            const double day = std::floor((milliseconds + offset) / kMillisecondsPerDay);
            return secondsOf(
                Date::fromTimeIntervalSince1970((day * kMillisecondsPerDay - offset) / 1000.0));
        };
        std::size_t inStretches = 0;
        const std::vector<Date> instants = randomInstants(k2012, k2022, 1000, seed++);
        for (const Date instant : instants) {
            const double milliseconds = instant.timeIntervalSince1970() * 1000.0;
            const auto stretch = index.uniformStretch(milliseconds);
            if (!stretch) {
                continue;
            }
            ++inStretches;
            ASSERT_LE(stretch->fromMilliseconds, milliseconds);
            ASSERT_GT(stretch->toMilliseconds, milliseconds);
            EXPECT_TRUE(stretch->midnightStarts);
            // One offset over the stretch and a second either side (its end is not part of it).
            const auto periods = transitions.periods(stretch->fromMilliseconds - 1000,
                                                     stretch->toMilliseconds + 1000 - 1);
            ASSERT_TRUE(periods.has_value());
            EXPECT_TRUE(periods->transitions.empty()) << secondsOf(instant);
            EXPECT_EQ(periods->offsetBefore, static_cast<std::int32_t>(stretch->offset));
            // The days of the instant and of the stretch's first and last millisecond start at
            // their local midnight.
            for (const double at : {milliseconds, stretch->fromMilliseconds,
                                    std::ceil(stretch->toMilliseconds) - 1}) {
                EXPECT_EQ(secondsOf(onlyDay(Date::fromTimeIntervalSince1970(at / 1000.0))),
                          midnightStart(at, stretch->offset))
                    << secondsOf(instant) << " " << at;
            }
        }
        // Most instants lie in one: only those within a day or two of a change do not.
        EXPECT_GT(inStretches, instants.size() * 9 / 10);
    }
}

TEST_F(CalendarDayIndexTest, UniformStretchesOfOtherCalendarsDoNotStartDaysAtMidnight) {
    const ScopedRegion region("Europe/Kyiv", "en_US", "hebrew");
    CalendarDayIndex index = CalendarDayIndex::current();
    const double milliseconds = civilDate(2021, 7, 1, 12, 0, 0, 3.0).timeIntervalSince1970() * 1000;
    const auto stretch = index.uniformStretch(milliseconds);
    ASSERT_TRUE(stretch.has_value());
    EXPECT_FALSE(stretch->midnightStarts);
    EXPECT_EQ(stretch->offset, 3 * 3600 * 1000.0);
}

TEST_F(CalendarDayIndexTest, NoUniformStretchNearAnOffsetChangeOrOutsideTheTablesYears) {
    const ScopedRegion region("America/New_York");
    CalendarDayIndex index = CalendarDayIndex::current();
    // 2024-03-10 07:00 UTC: clocks went from 02:00 to 03:00. The last midnight more than a day and
    // a half before it is 8 March's, whose day ends 26 hours before it; the first one more than a
    // day and a half after it is 12 March's, 45 hours after it.
    const double change = civilDate(2024, 3, 10, 7).timeIntervalSince1970() * 1000;
    constexpr double kHour = 3600.0 * 1000;
    for (const double hours : {-26.0, -24.0, -1.0, 0.0, 1.0, 24.0, 44.9}) {
        EXPECT_FALSE(index.uniformStretch(change + hours * kHour).has_value()) << hours;
    }
    const auto before = index.uniformStretch(change - 26.1 * kHour);
    ASSERT_TRUE(before.has_value());
    EXPECT_EQ(before->toMilliseconds, change - 26 * kHour);
    const auto after = index.uniformStretch(change + 45 * kHour);
    ASSERT_TRUE(after.has_value());
    EXPECT_EQ(after->fromMilliseconds, change + 45 * kHour);
    // The table's whole blocks reach a few weeks beyond 1900 and 2200, not two months.
    const double before1900 =
        (k1900 - 60 * kDay + Date::kTimeIntervalBetween1970AndReferenceDate) * 1000;
    const double after2200 =
        (k2200 + 60 * kDay + Date::kTimeIntervalBetween1970AndReferenceDate) * 1000;
    EXPECT_FALSE(index.uniformStretch(before1900).has_value());
    EXPECT_FALSE(index.uniformStretch(after2200).has_value());
    EXPECT_FALSE(index.uniformStretch(std::nan("")).has_value());
}

// --- Known days ---------------------------------------------------------------------------------

TEST_F(CalendarDayIndexTest, SaoPauloDayThatStartsAtOneInTheMorningHasGapsOfOne) {
    const ScopedRegion region("America/Sao_Paulo");
    CalendarDayIndex index = CalendarDayIndex::current();
    // 2018-11-04: clocks went from 00:00 -03:00 to 01:00 -02:00, so the day starts at 01:00.
    const Date noon = civilDate(2018, 11, 4, 12, 0, 0, -2.0);
    EXPECT_EQ(index.dayStart(noon), civilDate(2018, 11, 4, 1, 0, 0, -2.0));
    const Date dayBefore = civilDate(2018, 11, 3, 23, 59, 59, -3.0);
    const Date dayAfter = civilDate(2018, 11, 5, 0, 0, 1, -2.0);
    EXPECT_EQ(index.dayGap(noon, dayBefore), 1);
    EXPECT_EQ(index.dayGap(dayAfter, noon), 1);
    EXPECT_EQ(index.dayGap(dayAfter, dayBefore), 2);
}

TEST_F(CalendarDayIndexTest, LordHoweHalfHourShiftKeepsDaysWhole) {
    const ScopedRegion region("Australia/Lord_Howe");
    CalendarDayIndex index = CalendarDayIndex::current();
    // 2024-10-06 02:00 +10:30 became 02:30 +11:00.
    const Date before = civilDate(2024, 10, 5, 23, 0, 0, 10.5);
    const Date after = civilDate(2024, 10, 6, 23, 0, 0, 11.0);
    EXPECT_EQ(index.dayStart(after), civilDate(2024, 10, 6, 0, 0, 0, 10.5));
    EXPECT_EQ(index.dayGap(after, before), 1);
}

TEST_F(CalendarDayIndexTest, ApiasSkippedDayCountsAsItDoesThePlainWay) {
    const ScopedRegion region("Pacific/Apia");
    CalendarDayIndex index = CalendarDayIndex::current();
    // 2011-12-29 23:59:59 -10:00 was followed by 2011-12-31 00:00:00 +14:00: 30 December never
    // happened, and the two day starts are 24 hours apart.
    const Date lastBefore = civilDate(2011, 12, 29, 12, 0, 0, -10.0);
    const Date firstAfter = civilDate(2011, 12, 31, 12, 0, 0, 14.0);
    EXPECT_EQ(index.dayGap(firstAfter, lastBefore), plainGap(firstAfter, lastBefore));
    EXPECT_EQ(index.dayGap(firstAfter, lastBefore), 1);
}

TEST_F(CalendarDayIndexTest, NewYorkSpringForwardAndFallBackDaysCountAsOneDay) {
    const ScopedRegion region("America/New_York");
    CalendarDayIndex index = CalendarDayIndex::current();
    EXPECT_EQ(
        index.dayGap(civilDate(2024, 3, 10, 23, 0, 0, -4.0), civilDate(2024, 3, 9, 23, 0, 0, -5.0)),
        1);
    EXPECT_EQ(index.dayGap(civilDate(2024, 3, 11, 0, 30, 0, -4.0),
                           civilDate(2024, 3, 9, 23, 30, 0, -5.0)),
              2);
    EXPECT_EQ(index.dayGap(civilDate(2024, 11, 3, 23, 59, 0, -5.0),
                           civilDate(2024, 11, 3, 0, 1, 0, -4.0)),
              0);
    EXPECT_EQ(index.dayStart(civilDate(2024, 11, 3, 23, 59, 0, -5.0)),
              civilDate(2024, 11, 3, 0, 0, 0, -4.0));
}

// --- The current region -------------------------------------------------------------------------

TEST_F(CalendarDayIndexTest, AZoneSwitchBetweenTwoCallsIsSeenAtTheNextCall) {
    const ScopedRegion region("America/New_York");
    // 2024-05-01 02:00 UTC: 30 April in New York, 1 May in Tokyo.
    const Date instant = civilDate(2024, 5, 1, 2, 0, 0);
    EXPECT_EQ(CalendarDayIndex::current().dayStart(instant), civilDate(2024, 4, 30, 0, 0, 0, -4.0));
    {
        const ScopedTimeZone tokyo("Asia/Tokyo");
        CalendarDayIndex index = CalendarDayIndex::current();
        EXPECT_EQ(index.region().timeZoneIdentifier(), "Asia/Tokyo");
        EXPECT_EQ(index.dayStart(instant), civilDate(2024, 5, 1, 0, 0, 0, 9.0));
        EXPECT_EQ(index.dayStart(instant), onlyDay(instant));
    }
    EXPECT_EQ(CalendarDayIndex::current().dayStart(instant), civilDate(2024, 4, 30, 0, 0, 0, -4.0));
}

TEST_F(CalendarDayIndexTest, ACalendarSwitchBetweenTwoCallsIsSeenAtTheNextCall) {
    const ScopedRegion region("Europe/Kyiv", "en_US", "gregorian");
    const Date instant = civilDate(2024, 5, 1, 12, 0, 0, 3.0);
    EXPECT_EQ(CalendarDayIndex::current().region().calendarIdentifier(), "gregorian");
    const ScopedCalendar hebrew("hebrew");
    CalendarDayIndex index = CalendarDayIndex::current();
    EXPECT_EQ(index.region().calendarIdentifier(), "hebrew");
    EXPECT_EQ(index.dayStart(instant), onlyDay(instant));
}

TEST_F(CalendarDayIndexTest, AnIndexKeepsTheRegionItWasMadeFor) {
    const ScopedRegion region("America/New_York");
    CalendarDayIndex index = CalendarDayIndex::current();
    const ScopedTimeZone tokyo("Asia/Tokyo");
    EXPECT_EQ(index.dayStart(civilDate(2024, 5, 1, 2, 0, 0)),
              civilDate(2024, 4, 30, 0, 0, 0, -4.0));
}

// --- Failures -----------------------------------------------------------------------------------

TEST_F(CalendarDayIndexTest, DayGapThatIsNotFiniteOrTooLargeStopsTheProcess) {
    const ScopedRegion region("Europe/Kyiv");
    EXPECT_DEATH(CalendarDayIndex::daysBetweenDayStarts(
                     Date(std::numeric_limits<double>::infinity()), Date(0)),
                 "Fatal error: The day gap is not finite or does not fit a 64-bit integer");
    EXPECT_DEATH(CalendarDayIndex::daysBetweenDayStarts(Date(1e300), Date(-1e300)),
                 "Fatal error: The day gap is not finite or does not fit a 64-bit integer");
    EXPECT_DEATH(CalendarDayIndex::daysBetweenDayStarts(
                     Date(std::numeric_limits<double>::quiet_NaN()), Date(0)),
                 "Fatal error: The day gap is not finite or does not fit a 64-bit integer");
}

TEST_F(CalendarDayIndexTest, DaysBetweenDayStartsRoundsHalvesAwayFromZero) {
    const ScopedRegion region("Europe/Kyiv");
    EXPECT_EQ(CalendarDayIndex::daysBetweenDayStarts(Date(1.5 * kDay), Date(0)), 2);
    EXPECT_EQ(CalendarDayIndex::daysBetweenDayStarts(Date(0), Date(1.5 * kDay)), -2);
    EXPECT_EQ(CalendarDayIndex::daysBetweenDayStarts(Date(23 * 3600), Date(0)), 1);
    EXPECT_EQ(CalendarDayIndex::daysBetweenDayStarts(Date(0.49 * kDay), Date(0)), 0);
}

TEST_F(CalendarDayIndexTest, ANonFiniteDateStopsTheProcessAsOnlyDayDoes) {
    const ScopedRegion region("Europe/Kyiv");
    EXPECT_DEATH(CalendarDayIndex::current().dayStart(Date(std::nan(""))),
                 "Fatal error: The current calendar could not build a date from the day's "
                 "components");
}

}  // namespace
}  // namespace dovrel
