#pragma once

#include <chrono>

#include "platform/foundation/Date.h"

namespace dovrel::testing {

// The instant of a proleptic Gregorian wall-clock time at a fixed UTC offset, computed with the
// standard library's civil calendar (not ICU), so that tests of the calendar code have
// independent expectations: civilDate(2024, 3, 31, 0, 0, 0, 2.0) is 2024-03-30 22:00:00 UTC.
inline Date civilDate(int year, unsigned month, unsigned day, int hour = 0, int minute = 0,
                      int second = 0, double utcOffsetHours = 0.0) {
    using namespace std::chrono;
    const sys_days days{std::chrono::year{year} / std::chrono::month{month} /
                        std::chrono::day{day}};
    const double unixSeconds = static_cast<double>(days.time_since_epoch().count()) * 86400.0 +
                               hour * 3600.0 + minute * 60.0 + second - utcOffsetHours * 3600.0;
    return Date::fromTimeIntervalSince1970(unixSeconds);
}

}  // namespace dovrel::testing
