#include "apps/dovrel/YearHeatMap.h"

#include "apps/dovrel/MonthCalendar.h"
#include "apps/dovrel/TextLayout.h"
#include "apps/dovrel/Texts.h"

namespace dovrel::cli {

namespace {

struct CivilDay {
    std::int64_t year;
    std::int64_t month;
    std::int64_t day;
};

// The inverse of daysFromCivil, by the same civil-calendar algorithm.
CivilDay civilFromDays(std::int64_t days) {
    days += 719468;
    const std::int64_t era = (days >= 0 ? days : days - 146096) / 146097;
    const std::int64_t dayOfEra = days - era * 146097;
    const std::int64_t yearOfEra =
        (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    const std::int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const std::int64_t shiftedMonth = (5 * dayOfYear + 2) / 153;
    const std::int64_t day = dayOfYear - (153 * shiftedMonth + 2) / 5 + 1;
    const std::int64_t month = shiftedMonth < 10 ? shiftedMonth + 3 : shiftedMonth - 9;
    return {yearOfEra + era * 400 + (month <= 2 ? 1 : 0), month, day};
}

constexpr std::size_t kLabelWidth = 3;  // a two-column weekday name and a space

void trimRight(std::string& line) {
    while (!line.empty() && line.back() == ' ') {
        line.pop_back();
    }
}

}  // namespace

std::vector<std::string> YearHeatMap::lines(const Terminal& terminal,
                                            const std::optional<Color>& checkColor) const {
    const std::int64_t last = daysFromCivil(year, month, day);
    const std::int64_t intoWeek = (gregorianWeekday(year, month, day) - firstWeekday + 7) % 7;
    // The first day of the first column.
    const std::int64_t first = last - intoWeek - 7 * (kWeeks - 1);

    // Month names over the week of each month's first day.
    std::string header(kLabelWidth, ' ');
    std::size_t used = kLabelWidth;
    for (std::int64_t week = 0; week < kWeeks; ++week) {
        for (std::int64_t weekday = 0; weekday < 7; ++weekday) {
            const CivilDay date = civilFromDays(first + week * 7 + weekday);
            if (date.day != 1 || first + week * 7 + weekday > last) {
                continue;
            }
            const std::size_t column = kLabelWidth + static_cast<std::size_t>(week);
            const std::string& name = monthNames[static_cast<std::size_t>(date.month - 1)];
            if (column >= used) {
                header += std::string(column - displayWidth(header), ' ') + name;
                used = displayWidth(header) + 1;
            }
        }
    }
    std::vector<std::string> result;
    trimRight(header);
    result.push_back(header);

    const bool withColor = terminal.colorsEnabled() && checkColor.has_value();
    const std::string checked = terminal.unicode() ? "■" : "x";
    const std::string unchecked = terminal.unicode() ? "·" : ".";
    std::int64_t shownChecked = 0;
    for (std::int64_t row = 0; row < 7; ++row) {
        const auto weekday = static_cast<std::size_t>((firstWeekday - 1 + row) % 7);
        std::string line = padRight(truncated(weekdayNames[weekday], 2), 2) + " ";
        for (std::int64_t week = 0; week < kWeeks; ++week) {
            const std::int64_t date = first + week * 7 + row;
            if (date > last) {
                line += ' ';
            } else if (checkedDays.contains(date)) {
                line += withColor ? terminal.colored(checked, *checkColor) : checked;
                ++shownChecked;
            } else {
                line += terminal.dimmed(unchecked);
            }
        }
        trimRight(line);
        result.push_back(line);
    }
    result.push_back(text("Cli.Show.YearCount", {{"count", std::to_string(shownChecked)},
                                                 {"weeks", std::to_string(kWeeks)}}));
    return result;
}

}  // namespace dovrel::cli
