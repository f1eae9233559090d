#include "DovrelFoundation/Progress/AscendingDayGaps.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "DovrelFoundation/Progress/CalendarDayIndex.h"
#include "DovrelFoundation/Progress/DateExtensions.h"
#include "platform/foundation/Clock.h"
#include "platform/foundation/TimeZoneTransitions.h"
#include "tests/support/CivilDate.h"
#include "tests/support/ScopedRegion.h"

namespace dovrel {
namespace {

using testing::civilDate;
using testing::ScopedRegion;

constexpr double kDay = 86400.0;
// Seconds since the reference date of 1900-01-01, 1990-01-01, 2012-01-01, 2022-01-01,
// 2030-01-01 and 2200-01-01 UTC.
constexpr double k1900 = -3187296000.0;
constexpr double k1990 = -347155200.0;
constexpr double k2012 = 347068800.0;
constexpr double k2022 = 662688000.0;
constexpr double k2030 = 915148800.0;
constexpr double k2200 = 6279811200.0;

double secondsOf(Date date) {
    return date.timeIntervalSinceReferenceDate();
}

// Instants of many kinds between `from` and `to`, sorted: spread at random, one a day at a random
// time, several on one day, exact local midnights of consecutive days, and instants at and around
// every offset change of the current zone and the local midnights next to it (whole and
// fractional milliseconds, within and beyond a millisecond), with duplicates.
std::vector<Date> mixedInstants(const std::string& zone, double from, double to,
                                std::uint64_t seed) {
    std::mt19937_64 random(seed);
    std::uniform_real_distribution<double> anywhere(from, to);
    std::uniform_real_distribution<double> timeOfDay(0, kDay);
    std::vector<Date> result;
    for (int i = 0; i < 400; ++i) {
        result.emplace_back(anywhere(random));
    }
    const double dailyFrom = anywhere(random);
    for (int day = 0; day < 400; ++day) {
        result.emplace_back(dailyFrom + day * kDay + timeOfDay(random));
    }
    const double denseFrom = anywhere(random);
    for (int i = 0; i < 100; ++i) {
        result.emplace_back(denseFrom + timeOfDay(random) * 3);
    }
    Date midnight = onlyDay(Date(anywhere(random)));
    for (int day = 0; day < 60; ++day) {
        result.push_back(midnight);
        midnight = dateInDays(midnight, 1);
    }

    const TimeZoneTransitions transitions(zone);
    const auto periods =
        transitions.periods((from + Date::kTimeIntervalBetween1970AndReferenceDate) * 1000,
                            (to + Date::kTimeIntervalBetween1970AndReferenceDate) * 1000);
    EXPECT_TRUE(periods.has_value()) << zone;
    if (periods) {
        const double nudges[] = {-5 * kDay, -4 * kDay - 1, -4 * kDay, -2 * kDay,   -kDay, -3600,
                                 -1,        -1e-3,         0,         1e-3,        1,     3600,
                                 kDay,      2 * kDay,      4 * kDay,  4 * kDay + 1};
        const double aroundMidnight[] = {0,       -1e-6,  1e-6,  -5e-4, 5e-4,    -1e-3,  1e-3,
                                         -1.5e-3, 1.5e-3, -2e-3, 2e-3,  -2.5e-3, 2.5e-3, 0.25};
        for (const auto& transition : periods->transitions) {
            const Date at = Date::fromTimeIntervalSince1970(transition.milliseconds / 1000.0);
            for (const double nudge : nudges) {
                result.push_back(at + nudge);
            }
            for (int days = -5; days <= 5; ++days) {
                const Date dayStart = onlyDay(at + days * kDay);
                for (const double nudge : aroundMidnight) {
                    result.push_back(dayStart + nudge);
                }
            }
        }
    }
    std::sort(result.begin(), result.end());
    return result;
}

// Walks `instants` (sorted) and expects every gap to equal the one between the onlyDay() starts.
// Returns how many instants went through the index.
std::size_t expectPlainGaps(const std::vector<Date>& instants) {
    if (instants.empty()) {
        return 0;
    }
    CalendarDayIndex index = CalendarDayIndex::current();
    AscendingDayGaps gaps(index, instants.front());
    Date previousStart = onlyDay(instants.front());
    for (std::size_t i = 1; i < instants.size(); ++i) {
        const Date start = onlyDay(instants[i]);
        const auto expected =
            static_cast<std::int64_t>(std::round(start.timeIntervalSince(previousStart) / kDay));
        EXPECT_EQ(gaps.next(instants[i]), expected)
            << "from " << secondsOf(instants[i - 1]) << " to " << secondsOf(instants[i]);
        previousStart = start;
    }
    return gaps.lookups();
}

class AscendingDayGapsTest : public ::testing::Test {
  protected:
    ScopedClockOverride clock_{civilDate(2024, 6, 1, 12, 0, 0)};
};

TEST_F(AscendingDayGapsTest, GapsEqualThoseOfThePlainDayStartsInZonesWithDaylightSavingChanges) {
    const std::string zones[] = {
        "America/New_York",
        "Europe/Kyiv",
        "America/Sao_Paulo",
        "Australia/Lord_Howe",
        "Pacific/Apia",
        "Africa/Casablanca",
        "Europe/Dublin",
        "Antarctica/Troll",
        "Pacific/Chatham",
        "Asia/Kolkata",
        "UTC",
    };
    std::uint64_t seed = 1;
    for (const std::string& zone : zones) {
        SCOPED_TRACE(zone);
        const ScopedRegion region(zone);
        expectPlainGaps(mixedInstants(zone, k1990, k2030, seed++));
    }
}

TEST_F(AscendingDayGapsTest, GapsEqualThoseOfThePlainDayStartsUnderNonGregorianCalendars) {
    const std::string calendars[] = {"hebrew",   "chinese",  "persian",
                                     "japanese", "buddhist", "islamic-umalqura"};
    const std::string zones[] = {"America/Sao_Paulo", "Australia/Lord_Howe"};
    std::uint64_t seed = 100;
    for (const std::string& zone : zones) {
        for (const std::string& calendar : calendars) {
            SCOPED_TRACE(zone + " " + calendar);
            const ScopedRegion region(zone, "en_US", calendar);
            expectPlainGaps(mixedInstants(zone, k2012, k2022, seed++));
        }
    }
}

TEST_F(AscendingDayGapsTest, InstantsOutsideTheTablesYearsAndAcrossTheirEndsAreLookedUp) {
    const ScopedRegion region("Europe/Kyiv");
    std::vector<Date> instants;
    for (const double edge : {k1900, k2200}) {
        for (int hour = -24 * 70; hour <= 24 * 70; hour += 5) {
            instants.push_back(Date(edge + hour * 3600.0 + 0.125));
        }
    }
    instants.push_back(Date(k1900 - 4e9));
    instants.push_back(Date(k2200 + 4e9));
    std::sort(instants.begin(), instants.end());
    expectPlainGaps(instants);
}

TEST_F(AscendingDayGapsTest, ALongGregorianHistoryIsCountedFromItsStretchesAlmostEverywhere) {
    const ScopedRegion region("America/New_York");
    // Ten years, one checkmark a day at a random time and on every fourth day a second one: only
    // the instants near the twenty clock changes and at the 64-day block ends are looked up.
    std::mt19937_64 random(5);
    std::uniform_real_distribution<double> timeOfDay(0, kDay);
    std::vector<Date> instants;
    for (int day = 0; day < 3650; ++day) {
        instants.emplace_back(k1990 + day * kDay + timeOfDay(random));
        if (day % 4 == 0) {
            instants.emplace_back(k1990 + day * kDay + timeOfDay(random));
        }
    }
    std::sort(instants.begin(), instants.end());
    const std::size_t lookups = expectPlainGaps(instants);
    EXPECT_GT(lookups, 0u);
    EXPECT_LT(lookups, instants.size() / 10);
}

TEST_F(AscendingDayGapsTest, SameDayInstantsOfOtherCalendarsNeedNoLookup) {
    const ScopedRegion region("Europe/Kyiv", "en_US", "hebrew");
    // Two weeks in July, every hour: a lookup per day at most (and a few at a block end).
    std::vector<Date> instants;
    const Date first = civilDate(2021, 7, 1, 0, 30, 0, 3.0);
    for (int hour = 0; hour < 24 * 14; ++hour) {
        instants.push_back(first + hour * 3600.0);
    }
    const std::size_t lookups = expectPlainGaps(instants);
    EXPECT_LE(lookups, 14u + 2u);
}

TEST_F(AscendingDayGapsTest, ExactMidnightsOfConsecutiveDaysCountOneDayEach) {
    const ScopedRegion region("America/Sao_Paulo");
    // Midnights (and the 01:00 start of 4 November 2018, whose midnight did not exist) through a
    // clock change: each gap is one day.
    std::vector<Date> instants;
    Date day = onlyDay(civilDate(2018, 10, 1, 12, 0, 0, -3.0));
    for (int i = 0; i < 70; ++i) {
        instants.push_back(day);
        day = dateInDays(day, 1);
    }
    CalendarDayIndex index = CalendarDayIndex::current();
    AscendingDayGaps gaps(index, instants.front());
    for (std::size_t i = 1; i < instants.size(); ++i) {
        EXPECT_EQ(gaps.next(instants[i]), 1) << secondsOf(instants[i]);
    }
    EXPECT_LT(gaps.lookups(), instants.size() / 2);
}

TEST_F(AscendingDayGapsTest, ANonFiniteInstantStopsTheProcessAsDayStartDoes) {
    const ScopedRegion region("Europe/Kyiv");
    EXPECT_DEATH(
        {
            CalendarDayIndex index = CalendarDayIndex::current();
            AscendingDayGaps gaps(index, civilDate(2024, 5, 1, 12));
            gaps.next(civilDate(2024, 5, 2, 12));
            gaps.next(Date(std::numeric_limits<double>::infinity()));
        },
        "Fatal error: The current calendar could not build a date from the day's components");
    EXPECT_DEATH(
        {
            CalendarDayIndex index = CalendarDayIndex::current();
            AscendingDayGaps gaps(index, Date(std::nan("")));
        },
        "Fatal error: The current calendar could not build a date from the day's components");
}

}  // namespace
}  // namespace dovrel
