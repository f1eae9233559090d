#include "DovrelFoundation/Progress/DateExtensions.h"

#include <cmath>

#include "platform/foundation/Clock.h"
#include "platform/foundation/FatalError.h"

namespace dovrel {

namespace {

constexpr double kSecondsPerDay = 86400;
constexpr double kSecondsPerMinute = 60;

// The day's first instant the plain way: the calendar's own era, year, month and day of `date`,
// built back into a date by the same calendar. The era takes part because in calendars with
// several eras (japanese) a year number alone names a year of the current era.
Date buildDay(const Region& region, Date date) {
    const DateComponents day = region.components(date).dayFields();
    std::optional<Date> built;
    if (day.year && day.month && day.day) {
        built = region.date(day);
    }
    if (!built) {
        fatalError("The current calendar could not build a date from the day's components");
    }
    return *built;
}

// The month's first instant the plain way: era, year and month only (day 1, 00:00).
Date buildMonth(const Region& region, Date date) {
    const DateComponents all = region.components(date);
    DateComponents month;
    month.era = all.era;
    month.year = all.year;
    month.month = all.month;
    month.isLeapMonth = all.isLeapMonth;
    std::optional<Date> built;
    if (month.year && month.month) {
        built = region.date(month);
    }
    if (!built) {
        fatalError("The current calendar could not build a date from the month's components");
    }
    return *built;
}

Date adding(const Region& region, const DateComponents& offsets, Date date) {
    const std::optional<Date> sum = region.dateByAdding(offsets, date);
    if (!sum) {
        fatalError("The current calendar could not add date components");
    }
    return *sum;
}

// A quotient rounded half away from zero (std::round) as a signed 64-bit count. 2^63 is exact
// as a double, and every double below it in magnitude converts without overflow.
std::int64_t roundedCount(double quotient, const char* what) {
    const double rounded = std::round(quotient);
    constexpr double kLimit = 9223372036854775808.0;  // 2^63
    if (!std::isfinite(rounded) || rounded < -kLimit || rounded >= kLimit) {
        fatalError(std::string(what) + " is not finite or does not fit a 64-bit integer");
    }
    return static_cast<std::int64_t>(rounded);
}

}  // namespace

DateInRegion inCurrentRegion(Date date) {
    return DateInRegion(date, Region::current());
}

Date onlyDay(Date date) {
    return buildDay(Region::current(), date);
}

Date onlyDay(const Region& region, Date date) {
    return buildDay(region, date);
}

Date todayAt(int hour, int minute) {
    const Region region = Region::current();
    DateComponents components = region.components(onlyDay(Clock::now())).dayFields();
    components.hour = hour;
    components.minute = minute;
    components.second = 0;
    const auto date = region.date(components);
    return date ? *date : onlyDay(Clock::now()) + hour * 3600.0 + minute * 60.0;
}

Date onlyMonth(Date date) {
    return buildMonth(Region::current(), date);
}

Date dateInDays(Date date, std::int64_t n) {
    // One reading of the current region for the whole operation, so its three steps agree.
    const Region region = Region::current();
    DateComponents offsets;
    offsets.day = n;
    return buildDay(region, adding(region, offsets, buildDay(region, date)));
}

Date dateInMonths(Date date, std::int64_t n) {
    const Region region = Region::current();
    DateComponents offsets;
    offsets.month = n;
    return buildMonth(region, adding(region, offsets, buildMonth(region, date)));
}

bool isSameDay(Date date, Date other) {
    return DayBounds(other).contains(date);
}

DayBounds::DayBounds(Date day) {
    const DateInRegion inRegion = inCurrentRegion(day);
    start = inRegion.dateAtStartOfDay().date();
    end = inRegion.dateAtEndOfDay().date();
}

std::int64_t daysSince(Date date, Date other) {
    const Region region = Region::current();
    const Date start = region.startOfDay(date);
    const Date otherStart = region.startOfDay(other);
    return roundedCount(start.timeIntervalSince(otherStart) / kSecondsPerDay, "Day count");
}

std::int64_t minutesSince(Date date, Date other) {
    return roundedCount(date.timeIntervalSince(other) / kSecondsPerMinute, "Minute count");
}

bool isInCurrentMonth(Date date) {
    const Region region = Region::current();
    return region.startOfMonth(date).timeIntervalSince1970() ==
           region.startOfMonth(Clock::now()).timeIntervalSince1970();
}

namespace {

// -1 when a is earlier, +1 when later, 0 otherwise.
int compare(Date a, Date b) {
    if (a < b) {
        return -1;
    }
    if (a > b) {
        return 1;
    }
    return 0;
}

}  // namespace

bool isBetween(Date date, Date a, Date b) {
    return compare(a, date) * compare(date, b) >= 0;
}

}  // namespace dovrel
