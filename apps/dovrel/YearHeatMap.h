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

// A year of checkmarks as a grid, like a contribution graph: one column per week (kWeeks of
// them, the last one holding the last day), one row per weekday starting on `firstWeekday`, a
// line of month names above (each over the week of the month's first day, when it fits after
// the one before), and a line that counts the checked days shown. A checked day is "■" (in the
// habit's colour when colours are on), a day without a checkmark "·", a day after the last one
// blank; without Unicode "x" and ".". Days are those of the Gregorian calendar; trailing spaces
// are trimmed.
struct YearHeatMap {
    static constexpr std::int64_t kWeeks = 53;

    std::int64_t year = 2001;  // the last day shown
    std::int64_t month = 1;
    std::int64_t day = 1;
    std::int64_t firstWeekday = 1;            // 1 = Sunday ... 7 = Saturday
    std::array<std::string, 7> weekdayNames;  // Sunday first; two columns each
    std::array<std::string, 12> monthNames;   // January first, short forms
    std::set<std::int64_t> checkedDays;       // as daysFromCivil answers them

    std::vector<std::string> lines(const Terminal& terminal,
                                   const std::optional<Color>& checkColor) const;
};

}  // namespace dovrel::cli
