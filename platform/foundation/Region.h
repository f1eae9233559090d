#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/foundation/Date.h"

namespace dovrel {

// Calendar fields of an instant in a region, or the offsets of a calendar addition.
// An absent field is "not set" (for a build-back: not given; for an addition: no offset).
struct DateComponents {
    std::optional<std::int64_t> era;
    std::optional<std::int64_t> year;   // year within the era
    std::optional<std::int64_t> month;  // 1-based
    std::optional<std::int64_t> day;    // day of month, 1-based
    std::optional<std::int64_t> hour;
    std::optional<std::int64_t> minute;
    std::optional<std::int64_t> second;
    std::optional<std::int64_t> weekday;  // 1 = Sunday ... 7 = Saturday
    std::optional<std::int64_t> weekOfYear;
    std::optional<std::int64_t> yearForWeekOfYear;
    std::optional<std::int64_t> dayOfYear;  // 1 = the first day of the year
    // Lunisolar calendars (chinese, dangi) repeat a month number in leap years; true for the
    // repeated one. Always false in calendars without leap months. Ignored by dateByAdding.
    std::optional<bool> isLeapMonth;

    // The era, year, month, day and leap-month flag alone: the day these fields name, to build
    // back as the day's start or with a time of day set.
    DateComponents dayFields() const {
        DateComponents day;
        day.era = era;
        day.year = year;
        day.month = month;
        day.day = this->day;
        day.isLeapMonth = isLeapMonth;
        return day;
    }

    friend bool operator==(const DateComponents&, const DateComponents&) = default;
};

// A region: a calendar (ICU calendar type such as "gregorian", "buddhist", "hebrew"), a time zone
// (IANA identifier) and a locale (ICU/POSIX identifier such as "en_US" or "uk_UA"), with the
// calendar operations that need all three. Values are cheap to copy; operations are const and
// safe to call from any thread.
//
// Days run from local midnight to local midnight in every calendar. Wall-clock times that a
// time-zone change skips resolve to the first valid instant after the gap (a day whose midnight
// does not exist starts when the gap ends); wall-clock times that occur twice resolve to their
// first occurrence. Date arithmetic is lenient: a build-back of 30 February is 1 or 2 March.
//
// An unknown time-zone identifier behaves as GMT ("Etc/Unknown"); an unknown calendar type falls
// back to the locale's own calendar. A non-finite date has no fields: components() answers an
// empty value, the boundaries answer the date unchanged and dateByAdding answers nothing.
class Region {
  public:
    Region(std::string calendarIdentifier, std::string timeZoneIdentifier,
           std::string localeIdentifier);

    // The process's current region, read afresh at every call (nothing cached): the current time
    // zone (ICU's default, re-detected when TZ or /etc/localtime changed since the last call),
    // the current locale (ICU's default) and the current calendar (the locale's "@calendar="
    // keyword, else the locale's default calendar). RegionOverrides.h pins each for tests; the
    // zone must be switched through those guards or the environment, not through ICU directly.
    static Region current();

    const std::string& calendarIdentifier() const noexcept { return calendar_; }
    const std::string& timeZoneIdentifier() const noexcept { return timeZone_; }
    const std::string& localeIdentifier() const noexcept { return locale_; }

    // Every field of DateComponents for `date` in this region. Week fields follow the locale's
    // week rules (first weekday, minimal days in the first week).
    DateComponents components(Date date) const;

    // The first instant matching the given fields (missing smaller fields take their minimum:
    // day 1, 00:00:00; a missing era is the calendar's current one). Absent when the calendar
    // cannot build a date from them (a field beyond 32 bits, a date beyond the calendar's range).
    std::optional<Date> date(const DateComponents& components) const;

    // `date` plus the set fields of `offsets`, carried as an ordinary calendar addition (months
    // into years, days into months), larger units first; weekday offsets count days. Absent when
    // the calendar cannot add them (an offset beyond 32 bits, a non-finite date).
    std::optional<Date> dateByAdding(const DateComponents& offsets, Date date) const;

    // Boundaries of the day and of the month that contain `date`. startOfDay is the first
    // instant of the day (01:00 on a day whose midnight does not exist); endOfDay is the latest
    // instant that still belongs to the day, one millisecond before the next day's start.
    Date startOfDay(Date date) const;
    Date endOfDay(Date date) const;
    Date startOfMonth(Date date) const;

    // UTS #35 pattern formatting and parsing in this region ("yyyy-MM-dd HH:mm:ss"), with the
    // region's calendar, zone and locale. Parsing is strict: parse answers nothing for text that
    // does not match the whole pattern, names a field out of range (hour 13 under "hh") or a
    // wall-clock time that the zone skips.
    std::string format(Date date, const std::string& pattern) const;
    std::optional<Date> parse(const std::string& text, const std::string& pattern) const;

    friend bool operator==(const Region&, const Region&) = default;

  private:
    friend class ScopedTimeZone;
    friend class ScopedCalendar;

    // The pinned zone and calendar that current() answers while a guard lives.
    static std::optional<std::string> timeZoneOverride();
    static void setTimeZoneOverride(const std::optional<std::string>& timeZoneIdentifier);
    static std::optional<std::string> calendarOverride();
    static void setCalendarOverride(const std::optional<std::string>& calendarIdentifier);

    std::string calendar_;
    std::string timeZone_;
    std::string locale_;
};

// An instant placed in a region: the date-region library's value. Reading fields does not move
// the instant. The fields of a non-finite date read 0.
class DateInRegion {
  public:
    DateInRegion(Date date, Region region);

    Date date() const noexcept { return date_; }
    const Region& region() const noexcept { return region_; }

    std::int64_t year() const;
    std::int64_t month() const;
    std::int64_t day() const;
    std::int64_t hour() const;
    std::int64_t minute() const;
    std::int64_t second() const;
    std::int64_t weekday() const;
    std::int64_t weekOfYear() const;  // by the locale's week rules (first weekday, minimal days)
    std::int64_t dayOfYear() const;

    DateInRegion dateAtStartOfDay() const;
    DateInRegion dateAtEndOfDay() const;
    DateInRegion dateAtStartOfMonth() const;

    std::string toString(const std::string& pattern) const;

  private:
    Date date_;
    Region region_;
};

}  // namespace dovrel
