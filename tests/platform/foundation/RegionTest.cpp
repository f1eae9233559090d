#include "platform/foundation/Region.h"

#include <gtest/gtest.h>
#include <unicode/locid.h>
#include <unicode/timezone.h>
#include <unicode/unistr.h>

#include <clocale>
#include <cmath>
#include <limits>
#include <memory>
#include <string>

#include "platform/foundation/RegionOverrides.h"
#include "tests/support/CivilDate.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/ScopedRegion.h"

namespace dovrel {
namespace {

using testing::civilDate;
using testing::ScopedEnvironment;
using testing::ScopedRegion;

constexpr double kMillisecond = 0.001;

std::string icuDefaultZone() {
    std::unique_ptr<icu::TimeZone> zone(icu::TimeZone::createDefault());
    icu::UnicodeString identifier;
    zone->getID(identifier);
    std::string result;
    identifier.toUTF8String(result);
    return result;
}

std::string messagesLocale() {
    return std::setlocale(LC_MESSAGES, nullptr);
}

bool systemHasLocale(const char* name) {
    locale_t locale = ::newlocale(LC_MESSAGES_MASK, name, static_cast<locale_t>(nullptr));
    if (locale == static_cast<locale_t>(nullptr)) {
        return false;
    }
    ::freelocale(locale);
    return true;
}

// --- The current region and its guards -------------------------------------------------------

TEST(RegionCurrent, ReadsThePinnedZoneLocaleAndCalendar) {
    const ScopedRegion pinned("Europe/Kyiv", "uk_UA", "gregorian");
    const Region region = Region::current();
    EXPECT_EQ(region.timeZoneIdentifier(), "Europe/Kyiv");
    EXPECT_EQ(region.localeIdentifier(), "uk_UA");
    EXPECT_EQ(region.calendarIdentifier(), "gregorian");
}

TEST(RegionCurrent, ZoneSwitchBetweenTwoCallsIsSeenAtTheNextCall) {
    const ScopedRegion pinned("Europe/Kyiv");
    const Date instant = civilDate(2024, 6, 1, 1, 0, 0, 0.0);  // 04:00 in Kyiv, 21:00 in New York
    EXPECT_EQ(Region::current().startOfDay(instant), civilDate(2024, 6, 1, 0, 0, 0, 3.0));
    {
        const ScopedTimeZone newYork("America/New_York");
        EXPECT_EQ(Region::current().timeZoneIdentifier(), "America/New_York");
        EXPECT_EQ(Region::current().startOfDay(instant), civilDate(2024, 5, 31, 0, 0, 0, -4.0));
        {
            const ScopedTimeZone tokyo("Asia/Tokyo");
            EXPECT_EQ(Region::current().timeZoneIdentifier(), "Asia/Tokyo");
        }
        EXPECT_EQ(Region::current().timeZoneIdentifier(), "America/New_York");
    }
    EXPECT_EQ(Region::current().timeZoneIdentifier(), "Europe/Kyiv");
    EXPECT_EQ(Region::current().startOfDay(instant), civilDate(2024, 6, 1, 0, 0, 0, 3.0));
}

TEST(RegionCurrent, HostZoneFollowsTheTZVariableAtTheNextCall) {
    // No zone guard here: the host's zone is what this test is about.
    const ScopedLocale locale("en_US");
    const ScopedCalendar calendar("gregorian");
    const Date instant = civilDate(2024, 6, 1, 1, 0, 0, 0.0);
    {
        const ScopedEnvironment tz("TZ", "Asia/Tokyo");
        EXPECT_EQ(Region::current().timeZoneIdentifier(), "Asia/Tokyo");
        EXPECT_EQ(icuDefaultZone(), "Asia/Tokyo");
        EXPECT_EQ(Region::current().startOfDay(instant), civilDate(2024, 6, 1, 0, 0, 0, 9.0));
    }
    {
        const ScopedEnvironment tz("TZ", "America/New_York");
        EXPECT_EQ(Region::current().timeZoneIdentifier(), "America/New_York");
        EXPECT_EQ(icuDefaultZone(), "America/New_York");
        EXPECT_EQ(Region::current().startOfDay(instant), civilDate(2024, 5, 31, 0, 0, 0, -4.0));
    }
}

TEST(RegionCurrent, ZoneGuardWinsOverTheTZVariableAndRestoresIcuDefault) {
    const ScopedLocale locale("en_US");
    const ScopedCalendar calendar("gregorian");
    const ScopedEnvironment tz("TZ", "Asia/Tokyo");
    EXPECT_EQ(Region::current().timeZoneIdentifier(), "Asia/Tokyo");
    {
        const ScopedTimeZone pinned("Europe/Kyiv");
        EXPECT_EQ(Region::current().timeZoneIdentifier(), "Europe/Kyiv");
        EXPECT_EQ(icuDefaultZone(), "Europe/Kyiv");
    }
    EXPECT_EQ(Region::current().timeZoneIdentifier(), "Asia/Tokyo");
    EXPECT_EQ(icuDefaultZone(), "Asia/Tokyo");
}

TEST(RegionCurrent, CalendarComesFromTheLocaleKeyword) {
    const ScopedTimeZone zone("Asia/Jerusalem");
    const ScopedLocale locale("he_IL@calendar=hebrew");
    EXPECT_EQ(Region::current().calendarIdentifier(), "hebrew");
    EXPECT_EQ(Region::current().localeIdentifier(), "he_IL@calendar=hebrew");
}

TEST(RegionCurrent, CalendarFallsBackToTheLocalesDefault) {
    const ScopedTimeZone zone("Asia/Bangkok");
    {
        const ScopedLocale locale("th_TH");
        EXPECT_EQ(Region::current().calendarIdentifier(), "buddhist");
    }
    {
        const ScopedLocale locale("en_US");
        EXPECT_EQ(Region::current().calendarIdentifier(), "gregorian");
    }
}

TEST(RegionCurrent, CalendarGuardWinsOverTheLocaleAndNests) {
    const ScopedTimeZone zone("Asia/Jerusalem");
    const ScopedLocale locale("he_IL@calendar=hebrew");
    {
        const ScopedCalendar gregorian("gregorian");
        EXPECT_EQ(Region::current().calendarIdentifier(), "gregorian");
        {
            const ScopedCalendar buddhist("buddhist");
            EXPECT_EQ(Region::current().calendarIdentifier(), "buddhist");
        }
        EXPECT_EQ(Region::current().calendarIdentifier(), "gregorian");
        // The pinned calendar is the one used, whatever the locale keyword says.
        EXPECT_EQ(DateInRegion(civilDate(2024, 4, 15, 12), Region::current()).year(), 2024);
    }
    EXPECT_EQ(Region::current().calendarIdentifier(), "hebrew");
    EXPECT_EQ(DateInRegion(civilDate(2024, 4, 15, 12), Region::current()).year(), 5784);
}

TEST(ScopedLocale, SwitchesIcuDefaultAndMessagesAndRestoresBoth) {
    const std::string icuBefore = icu::Locale::getDefault().getName();
    const std::string messagesBefore = messagesLocale();
    const std::string numericBefore = std::setlocale(LC_NUMERIC, nullptr);
    {
        const ScopedLocale ukrainian("uk_UA");
        EXPECT_STREQ(icu::Locale::getDefault().getName(), "uk_UA");
        EXPECT_EQ(messagesLocale(), "uk_UA.UTF-8");
        {
            const ScopedLocale english("en_US");
            EXPECT_STREQ(icu::Locale::getDefault().getName(), "en_US");
            EXPECT_EQ(messagesLocale(), "en_US.UTF-8");
        }
        EXPECT_EQ(messagesLocale(), "uk_UA.UTF-8");
        EXPECT_EQ(std::setlocale(LC_NUMERIC, nullptr), numericBefore);
    }
    EXPECT_EQ(icu::Locale::getDefault().getName(), icuBefore);
    EXPECT_EQ(messagesLocale(), messagesBefore);
}

TEST(ScopedLocale, DropsKeywordsForTheMessagesLocaleAndFallsBackWhenItIsMissing) {
    const ScopedTimeZone zone("Asia/Bangkok");
    const ScopedLocale thai("th_TH@calendar=buddhist");
    EXPECT_STREQ(icu::Locale::getDefault().getName(), "th_TH@calendar=buddhist");
    if (systemHasLocale("th_TH.UTF-8")) {
        EXPECT_EQ(messagesLocale(), "th_TH.UTF-8");
    } else {
        EXPECT_EQ(messagesLocale(), "C.UTF-8");
    }
}

// --- Components and build-back ---------------------------------------------------------------

TEST(Region, ComponentsOfAnInstant) {
    const ScopedRegion pinned("Europe/Kyiv");
    const Region region = Region::current();
    const DateComponents components = region.components(civilDate(2024, 3, 31, 12, 34, 56, 3.0));
    EXPECT_EQ(components.era, 1);
    EXPECT_EQ(components.year, 2024);
    EXPECT_EQ(components.month, 3);
    EXPECT_EQ(components.day, 31);
    EXPECT_EQ(components.hour, 12);
    EXPECT_EQ(components.minute, 34);
    EXPECT_EQ(components.second, 56);
    EXPECT_EQ(components.weekday, 1);  // Sunday
    EXPECT_EQ(components.dayOfYear, 91);
    EXPECT_EQ(components.isLeapMonth, false);
}

TEST(Region, WeekOfYearFollowsTheLocalesWeekRules) {
    // Sunday 1 January 2023: week 1 where weeks start on Sunday and one day makes a week (en_US),
    // the last week of 2022 where they start on Monday and need four days (de_DE).
    const Date newYear = civilDate(2023, 1, 1, 12, 0, 0, 1.0);
    const Region american("gregorian", "Europe/Berlin", "en_US");
    const Region german("gregorian", "Europe/Berlin", "de_DE");
    EXPECT_EQ(american.components(newYear).weekOfYear, 1);
    EXPECT_EQ(american.components(newYear).yearForWeekOfYear, 2023);
    EXPECT_EQ(german.components(newYear).weekOfYear, 52);
    EXPECT_EQ(german.components(newYear).yearForWeekOfYear, 2022);

    const ScopedRegion pinned("Europe/Berlin", "de_DE");
    EXPECT_EQ(DateInRegion(newYear, Region::current()).weekOfYear(), 52);
}

TEST(Region, DateBuildsTheFirstInstantOfTheGivenFields) {
    const Region kyiv("gregorian", "Europe/Kyiv", "en_US");
    DateComponents day;
    day.year = 2024;
    day.month = 7;
    day.day = 15;
    EXPECT_EQ(kyiv.date(day), civilDate(2024, 7, 15, 0, 0, 0, 3.0));
    day.hour = 9;
    day.minute = 30;
    EXPECT_EQ(kyiv.date(day), civilDate(2024, 7, 15, 9, 30, 0, 3.0));

    DateComponents month;
    month.year = 2024;
    month.month = 2;
    EXPECT_EQ(kyiv.date(month), civilDate(2024, 2, 1, 0, 0, 0, 2.0));
}

TEST(Region, DateIsLenientAboutDaysBeyondTheMonth) {
    const Region kyiv("gregorian", "Europe/Kyiv", "en_US");
    DateComponents components;
    components.year = 2023;
    components.month = 2;
    components.day = 30;
    EXPECT_EQ(kyiv.date(components), civilDate(2023, 3, 2, 0, 0, 0, 2.0));
}

TEST(Region, DateAnswersNothingForFieldsBeyond32Bits) {
    const Region kyiv("gregorian", "Europe/Kyiv", "en_US");
    DateComponents components;
    components.year = std::int64_t{1} << 40;
    components.month = 1;
    components.day = 1;
    EXPECT_EQ(kyiv.date(components), std::nullopt);
}

TEST(Region, DateByAddingCarriesIntoMonthsAndYears) {
    const Region kyiv("gregorian", "Europe/Kyiv", "en_US");
    DateComponents days;
    days.day = 1;
    EXPECT_EQ(kyiv.dateByAdding(days, civilDate(2024, 12, 31, 10, 0, 0, 2.0)),
              civilDate(2025, 1, 1, 10, 0, 0, 2.0));
    DateComponents months;
    months.month = 1;
    // The day is pinned to the shorter month's last day.
    EXPECT_EQ(kyiv.dateByAdding(months, civilDate(2024, 1, 31, 0, 0, 0, 2.0)),
              civilDate(2024, 2, 29, 0, 0, 0, 2.0));
    months.month = -14;
    EXPECT_EQ(kyiv.dateByAdding(months, civilDate(2024, 3, 1, 0, 0, 0, 2.0)),
              civilDate(2023, 1, 1, 0, 0, 0, 2.0));
}

TEST(Region, DateByAddingDaysKeepsTheWallClockAcrossDst) {
    const Region kyiv("gregorian", "Europe/Kyiv", "en_US");
    DateComponents days;
    days.day = 1;
    EXPECT_EQ(kyiv.dateByAdding(days, civilDate(2024, 3, 30, 12, 0, 0, 2.0)),
              civilDate(2024, 3, 31, 12, 0, 0, 3.0));
}

TEST(Region, DateByAddingAnswersNothingBeyond32BitsOrForNonFiniteDates) {
    const Region kyiv("gregorian", "Europe/Kyiv", "en_US");
    DateComponents days;
    days.day = std::numeric_limits<std::int64_t>::max();
    EXPECT_EQ(kyiv.dateByAdding(days, civilDate(2024, 1, 1)), std::nullopt);
    days.day = 1;
    EXPECT_EQ(kyiv.dateByAdding(days, Date(std::numeric_limits<double>::quiet_NaN())),
              std::nullopt);
}

// --- Day and month boundaries ----------------------------------------------------------------

TEST(Region, StartAndEndOfAnOrdinaryDay) {
    const Region kyiv("gregorian", "Europe/Kyiv", "en_US");
    const Date noon = civilDate(2024, 7, 15, 12, 0, 0, 3.0);
    EXPECT_EQ(kyiv.startOfDay(noon), civilDate(2024, 7, 15, 0, 0, 0, 3.0));
    EXPECT_NEAR(
        kyiv.endOfDay(noon).timeIntervalSinceReferenceDate(),
        (civilDate(2024, 7, 16, 0, 0, 0, 3.0) - kMillisecond).timeIntervalSinceReferenceDate(),
        1e-6);
    EXPECT_EQ(kyiv.startOfDay(kyiv.startOfDay(noon)), kyiv.startOfDay(noon));
}

TEST(Region, EndOfDayIsTheLastMillisecondBeforeTheNextDayStarts) {
    const Region kyiv("gregorian", "Europe/Kyiv", "en_US");
    const Date noon = civilDate(2024, 7, 15, 12, 0, 0, 3.0);
    const Date end = kyiv.endOfDay(noon);
    EXPECT_EQ(kyiv.startOfDay(end), kyiv.startOfDay(noon));
    EXPECT_EQ(kyiv.startOfDay(end + kMillisecond), civilDate(2024, 7, 16, 0, 0, 0, 3.0));
}

TEST(Region, SpringForwardDayIsTwentyThreeHoursInNewYork) {
    const Region newYork("gregorian", "America/New_York", "en_US");
    const Date noon = civilDate(2024, 3, 10, 12, 0, 0, -4.0);
    const Date start = newYork.startOfDay(noon);
    EXPECT_EQ(start, civilDate(2024, 3, 10, 0, 0, 0, -5.0));
    EXPECT_NEAR(newYork.endOfDay(noon) - start, 23 * 3600.0 - kMillisecond, 1e-6);
}

TEST(Region, FallBackDayIsTwentyFiveHoursInKyiv) {
    const Region kyiv("gregorian", "Europe/Kyiv", "en_US");
    const Date noon = civilDate(2024, 10, 27, 12, 0, 0, 2.0);
    const Date start = kyiv.startOfDay(noon);
    EXPECT_EQ(start, civilDate(2024, 10, 27, 0, 0, 0, 3.0));
    EXPECT_NEAR(kyiv.endOfDay(noon) - start, 25 * 3600.0 - kMillisecond, 1e-6);
}

TEST(Region, DayWhoseMidnightDoesNotExistStartsAtOneInSaoPaulo) {
    const Region saoPaulo("gregorian", "America/Sao_Paulo", "pt_BR");
    const Date afternoon = civilDate(2018, 11, 4, 15, 0, 0, -2.0);
    EXPECT_EQ(saoPaulo.startOfDay(afternoon), civilDate(2018, 11, 4, 1, 0, 0, -2.0));
    EXPECT_EQ(saoPaulo.components(saoPaulo.startOfDay(afternoon)).hour, 1);
    // The day before ends where this one begins.
    const Date dayBefore = civilDate(2018, 11, 3, 12, 0, 0, -3.0);
    EXPECT_NEAR(
        saoPaulo.endOfDay(dayBefore).timeIntervalSinceReferenceDate(),
        (civilDate(2018, 11, 4, 1, 0, 0, -2.0) - kMillisecond).timeIntervalSinceReferenceDate(),
        1e-6);
    // Building the day back from its fields lands on the same first instant.
    DateComponents day;
    day.year = 2018;
    day.month = 11;
    day.day = 4;
    EXPECT_EQ(saoPaulo.date(day), civilDate(2018, 11, 4, 1, 0, 0, -2.0));
}

TEST(Region, RepeatedMidnightStartsTheDayAtItsFirstOccurrenceInHavana) {
    // On 5 November 2023 Cuba turned 01:00 daylight time back to 00:00 standard time, so the
    // wall-clock midnight happened twice; the day began at the first one.
    const Region havana("gregorian", "America/Havana", "es_CU");
    const Date noon = civilDate(2023, 11, 5, 12, 0, 0, -5.0);
    EXPECT_EQ(havana.startOfDay(noon), civilDate(2023, 11, 5, 0, 0, 0, -4.0));
    DateComponents day;
    day.year = 2023;
    day.month = 11;
    day.day = 5;
    EXPECT_EQ(havana.date(day), civilDate(2023, 11, 5, 0, 0, 0, -4.0));
}

TEST(Region, HalfHourShiftOnLordHowe) {
    const Region lordHowe("gregorian", "Australia/Lord_Howe", "en_AU");
    // 6 October 2024: 02:00 +10:30 became 02:30 +11:00, a day of 23.5 hours.
    const Date spring = civilDate(2024, 10, 6, 12, 0, 0, 11.0);
    EXPECT_EQ(lordHowe.startOfDay(spring), civilDate(2024, 10, 6, 0, 0, 0, 10.5));
    EXPECT_NEAR(lordHowe.endOfDay(spring) - lordHowe.startOfDay(spring), 23.5 * 3600 - kMillisecond,
                1e-6);
    // 7 April 2024: 02:00 +11:00 became 01:30 +10:30, a day of 24.5 hours.
    const Date autumn = civilDate(2024, 4, 7, 12, 0, 0, 10.5);
    EXPECT_EQ(lordHowe.startOfDay(autumn), civilDate(2024, 4, 7, 0, 0, 0, 11.0));
    EXPECT_NEAR(lordHowe.endOfDay(autumn) - lordHowe.startOfDay(autumn), 24.5 * 3600 - kMillisecond,
                1e-6);
}

TEST(Region, StartOfMonth) {
    const Region kyiv("gregorian", "Europe/Kyiv", "en_US");
    EXPECT_EQ(kyiv.startOfMonth(civilDate(2024, 4, 15, 12, 0, 0, 3.0)),
              civilDate(2024, 4, 1, 0, 0, 0, 3.0));
    // The first instant of April in Kyiv is still 31 March in UTC.
    EXPECT_EQ(kyiv.startOfMonth(civilDate(2024, 4, 1, 0, 0, 0, 3.0)),
              civilDate(2024, 3, 31, 21, 0, 0, 0.0));
    const Region hebrew("hebrew", "Asia/Jerusalem", "he_IL");
    // 15 April 2024 is 7 Nisan 5784; 1 Nisan was 9 April.
    EXPECT_EQ(hebrew.startOfMonth(civilDate(2024, 4, 15, 12, 0, 0, 3.0)),
              civilDate(2024, 4, 9, 0, 0, 0, 3.0));
}

TEST(Region, NonFiniteDatesHaveNoFieldsAndNoBoundaries) {
    const Region kyiv("gregorian", "Europe/Kyiv", "en_US");
    const Date nan(std::numeric_limits<double>::quiet_NaN());
    const Date infinity(std::numeric_limits<double>::infinity());
    EXPECT_EQ(kyiv.components(nan), DateComponents{});
    EXPECT_TRUE(std::isnan(kyiv.startOfDay(nan).timeIntervalSinceReferenceDate()));
    EXPECT_EQ(kyiv.endOfDay(infinity), infinity);
    EXPECT_EQ(kyiv.startOfMonth(infinity), infinity);
    EXPECT_EQ(kyiv.format(nan, "yyyy"), "");
    EXPECT_EQ(DateInRegion(nan, kyiv).year(), 0);
}

TEST(Region, HugeFiniteDatesStayInsideTheCalendarsRange) {
    const Region kyiv("gregorian", "Europe/Kyiv", "en_US");
    const Date huge(1e300);
    EXPECT_TRUE(std::isfinite(kyiv.startOfDay(huge).timeIntervalSinceReferenceDate()));
    EXPECT_LE(kyiv.startOfDay(huge), kyiv.endOfDay(huge));
}

// --- Formatting and parsing -------------------------------------------------------------------

TEST(Region, FormatsAndParsesWithA24HourPattern) {
    const ScopedRegion pinned("Europe/Kyiv");
    const Region region = Region::current();
    const Date afternoon = civilDate(2024, 3, 31, 15, 4, 5, 3.0);
    EXPECT_EQ(region.format(afternoon, "yyyy-MM-dd HH:mm:ss"), "2024-03-31 15:04:05");
    EXPECT_EQ(region.parse("2024-03-31 15:04:05", "yyyy-MM-dd HH:mm:ss"), afternoon);
    EXPECT_EQ(region.parse("2024-01-02 00:00:00", "yyyy-MM-dd HH:mm:ss"),
              civilDate(2024, 1, 2, 0, 0, 0, 2.0));
}

TEST(Region, FormatsAndParsesWithA12HourPatternWithoutMarker) {
    const ScopedRegion pinned("Europe/Kyiv");
    const Region region = Region::current();
    // Without an AM/PM field the afternoon hour is written on the 12-hour clock...
    EXPECT_EQ(region.format(civilDate(2024, 4, 15, 15, 4, 5, 3.0), "yyyy-MM-dd hh:mm:ss"),
              "2024-04-15 03:04:05");
    EXPECT_EQ(region.format(civilDate(2024, 4, 15, 0, 30, 0, 3.0), "yyyy-MM-dd hh:mm:ss"),
              "2024-04-15 12:30:00");
    // ...and read back as a morning hour (12 is the hour after midnight).
    EXPECT_EQ(region.parse("2024-04-15 03:04:05", "yyyy-MM-dd hh:mm:ss"),
              civilDate(2024, 4, 15, 3, 4, 5, 3.0));
    EXPECT_EQ(region.parse("2024-04-15 12:30:00", "yyyy-MM-dd hh:mm:ss"),
              civilDate(2024, 4, 15, 0, 30, 0, 3.0));
    EXPECT_EQ(region.parse("2024-04-15 13:00:00", "yyyy-MM-dd hh:mm:ss"), std::nullopt);
}

TEST(Region, ParseAnswersNothingForTextThatDoesNotMatch) {
    const ScopedRegion pinned("Europe/Kyiv");
    const Region region = Region::current();
    EXPECT_EQ(region.parse("", "yyyy-MM-dd HH:mm:ss"), std::nullopt);
    EXPECT_EQ(region.parse("yesterday", "yyyy-MM-dd HH:mm:ss"), std::nullopt);
    EXPECT_EQ(region.parse("2024-03-31", "yyyy-MM-dd HH:mm:ss"), std::nullopt);
    EXPECT_EQ(region.parse("2024-03-31 15:04:05 and more", "yyyy-MM-dd HH:mm:ss"), std::nullopt);
    EXPECT_EQ(region.parse("2024-02-30 10:00:00", "yyyy-MM-dd HH:mm:ss"), std::nullopt);
}

TEST(Region, ParseAnswersNothingForAWallClockTimeTheZoneSkips) {
    const ScopedRegion pinned("America/New_York");
    EXPECT_EQ(Region::current().parse("2024-03-10 02:30:00", "yyyy-MM-dd HH:mm:ss"), std::nullopt);
    EXPECT_EQ(Region::current().parse("2024-03-10 03:30:00", "yyyy-MM-dd HH:mm:ss"),
              civilDate(2024, 3, 10, 3, 30, 0, -4.0));
}

TEST(Region, FormatsInTheRegionsCalendar) {
    const ScopedRegion pinned("Asia/Bangkok", "th_TH@calendar=buddhist", "buddhist");
    const DateInRegion date(civilDate(2024, 5, 6, 7, 8, 9, 7.0), Region::current());
    EXPECT_EQ(date.toString("yyyy-MM-dd HH:mm:ss"), "2567-05-06 07:08:09");
    EXPECT_EQ(date.year(), 2567);
    EXPECT_EQ(Region::current().parse("2567-05-06 07:08:09", "yyyy-MM-dd HH:mm:ss"), date.date());
}

// --- DateInRegion -----------------------------------------------------------------------------

TEST(DateInRegion, ReadsFieldsWithoutMovingTheInstant) {
    const ScopedRegion pinned("Europe/Kyiv");
    const Date instant = civilDate(2024, 2, 29, 23, 59, 58, 2.0);
    const DateInRegion date(instant, Region::current());
    EXPECT_EQ(date.year(), 2024);
    EXPECT_EQ(date.month(), 2);
    EXPECT_EQ(date.day(), 29);
    EXPECT_EQ(date.hour(), 23);
    EXPECT_EQ(date.minute(), 59);
    EXPECT_EQ(date.second(), 58);
    EXPECT_EQ(date.weekday(), 5);  // Thursday
    EXPECT_EQ(date.weekOfYear(), 9);
    EXPECT_EQ(date.dayOfYear(), 60);
    EXPECT_EQ(date.date(), instant);
    EXPECT_EQ(date.region(), Region::current());
}

TEST(DateInRegion, BoundariesStayInTheRegion) {
    const ScopedRegion pinned("Europe/Kyiv");
    const DateInRegion date(civilDate(2024, 2, 29, 13, 0, 0, 2.0), Region::current());
    EXPECT_EQ(date.dateAtStartOfDay().date(), civilDate(2024, 2, 29, 0, 0, 0, 2.0));
    EXPECT_EQ(date.dateAtEndOfDay().toString("yyyy-MM-dd HH:mm:ss.SSS"), "2024-02-29 23:59:59.999");
    EXPECT_EQ(date.dateAtStartOfMonth().date(), civilDate(2024, 2, 1, 0, 0, 0, 2.0));
    EXPECT_EQ(date.dateAtStartOfMonth().region(), date.region());
}

}  // namespace
}  // namespace dovrel
