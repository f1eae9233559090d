#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "apps/dovrel/Terminal.h"
#include "platform/foundation/Color.h"

namespace dovrel::cli {

// One month of the Gregorian calendar, laid out as cal(1) does: a centred title, a line of
// weekday names, then one line per week. Every day takes three columns: its number right-aligned
// in two, then a mark column that holds "*" for a checked day ("*" only without colours: with
// colours a checked day is drawn on the habit's colour instead). The selected day is emphasised
// with colours and carries no extra mark without them. Trailing spaces are trimmed.
struct MonthCalendar {
    std::int64_t year = 2001;
    std::int64_t month = 1;                   // 1-12
    std::int64_t firstWeekday = 1;            // 1 = Sunday ... 7 = Saturday
    std::string title;                        // "March 2026"
    std::array<std::string, 7> weekdayNames;  // Sunday first; shown in two columns each
    std::set<std::int64_t> checkedDays;       // day numbers of the month
    std::optional<std::int64_t> selectedDay;

    // The lines, without line ends.
    std::vector<std::string> lines(const Terminal& terminal,
                                   const std::optional<Color>& checkColor) const;
};

// Days from 1970-01-01 of a Gregorian date (negative before it).
std::int64_t daysFromCivil(std::int64_t year, std::int64_t month, std::int64_t day);
// The weekday of a Gregorian date: 1 = Sunday ... 7 = Saturday.
std::int64_t gregorianWeekday(std::int64_t year, std::int64_t month, std::int64_t day);
// The number of days of a Gregorian month.
std::int64_t gregorianDaysInMonth(std::int64_t year, std::int64_t month);

}  // namespace dovrel::cli
