#pragma once

#include <cstdint>

#include "platform/foundation/Date.h"
#include "platform/foundation/Region.h"

namespace dovrel {

// Calendar-day arithmetic on instants, always in the user's current calendar and time zone at
// the moment of the call (nothing is cached: a change of zone or calendar shows at the next
// call). The receiver of each operation is its first argument.
//
// Two ways of finding day boundaries coexist and both are kept, because callers depend on each:
//  - the plain way (onlyDay, onlyMonth, dateInDays, dateInMonths): read year, month and day of
//    the instant from the current calendar and build a date back from those fields alone;
//  - the region way (isSameDay, daysSince, isInCurrentMonth): place the instant in the current
//    region and ask it for the start or end of the day or the start of the month.
// A calendar that cannot build or add a date stops the process (it never happens with the
// system calendars).

// `date` in the current region (current calendar, time zone and locale).
DateInRegion inCurrentRegion(Date date);

// The first instant of `date`'s day (plain way).
Date onlyDay(Date date);
// The same in `region` rather than the current one (for callers that hold a region already).
Date onlyDay(const Region& region, Date date);

// Today at `hour`:`minute`:00 in the current region, as a reminder time is kept (only its time
// of day counts). On a day whose clock skips that time, the first instant after the gap.
Date todayAt(int hour, int minute);

// The first instant of `date`'s month: day 1, 00:00 (plain way).
Date onlyMonth(Date date);

// onlyDay of (onlyDay(date) + n calendar days); n may be negative or 0.
Date dateInDays(Date date, std::int64_t n);

// onlyMonth of (onlyMonth(date) + n calendar months).
Date dateInMonths(Date date, std::int64_t n);

// True when start-of-day(other) <= date <= end-of-day(other), both inclusive (region way).
bool isSameDay(Date date, Date other);

// The bounds that isSameDay(date, day) compares `date` with, found once: for testing many dates
// against one day (a habit's checkmarks against a day) without a calendar query per date.
// contains(date) answers exactly isSameDay(date, day) for the region current at construction.
struct DayBounds {
    explicit DayBounds(Date day);
    bool contains(Date date) const noexcept { return start <= date && date <= end; }

    Date start;  // the first instant of the day
    Date end;    // the latest instant of the day (a millisecond before the next day starts)
};

// (start-of-day(date) - start-of-day(other)) / 86400, rounded half away from zero: positive when
// `date` is later. The 23- and 25-hour days around a DST change count as one day. Stops the
// process if the quotient is not finite or does not fit 64 bits.
std::int64_t daysSince(Date date, Date other);

// (date - other) / 60 in seconds, rounded half away from zero. Stops the process if the quotient
// is not finite or does not fit 64 bits.
std::int64_t minutesSince(Date date, Date other);

// True when `date`'s month (region way) is the month of Clock::now().
bool isInCurrentMonth(Date date);

// True when `date` lies between a and b inclusive, whichever of the two is earlier.
bool isBetween(Date date, Date a, Date b);

}  // namespace dovrel
