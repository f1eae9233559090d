#include "apps/dovrel/MonthCalendar.h"

#include "apps/dovrel/TextLayout.h"

namespace dovrel::cli {

namespace {

constexpr std::size_t kCellWidth = 3;
constexpr std::size_t kWeekWidth = 7 * kCellWidth - 1;

void trimRight(std::string& line) {
    while (!line.empty() && line.back() == ' ') {
        line.pop_back();
    }
}

}  // namespace

std::int64_t daysFromCivil(std::int64_t year, std::int64_t month, std::int64_t day) {
    // The civil-calendar algorithm: years from March, in eras of 400 years.
    const std::int64_t y = month <= 2 ? year - 1 : year;
    const std::int64_t era = (y >= 0 ? y : y - 399) / 400;
    const std::int64_t yearOfEra = y - era * 400;
    const std::int64_t dayOfYear = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
    const std::int64_t dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
    return era * 146097 + dayOfEra - 719468;
}

std::int64_t gregorianWeekday(std::int64_t year, std::int64_t month, std::int64_t day) {
    // 1970-01-01 was a Thursday.
    const std::int64_t fromThursday = ((daysFromCivil(year, month, day) % 7) + 7) % 7;
    return (fromThursday + 4) % 7 + 1;
}

std::int64_t gregorianDaysInMonth(std::int64_t year, std::int64_t month) {
    static constexpr std::int64_t kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
    return month == 2 && leap ? 29 : kDays[month - 1];
}

std::vector<std::string> MonthCalendar::lines(const Terminal& terminal,
                                              const std::optional<Color>& checkColor) const {
    std::vector<std::string> result;
    result.push_back(centered(title, kWeekWidth));

    std::string header;
    for (std::int64_t i = 0; i < 7; ++i) {
        const auto weekday = static_cast<std::size_t>((firstWeekday - 1 + i) % 7);
        header += padLeft(truncated(weekdayNames[weekday], 2), 2);
        if (i < 6) {
            header += ' ';
        }
    }
    result.push_back(header);

    const bool markWithColor = terminal.colorsEnabled() && checkColor.has_value();
    const std::int64_t leading = (gregorianWeekday(year, month, 1) - firstWeekday + 7) % 7;
    const std::int64_t days = gregorianDaysInMonth(year, month);
    std::string line(static_cast<std::size_t>(leading) * kCellWidth, ' ');
    std::int64_t column = leading;
    for (std::int64_t day = 1; day <= days; ++day) {
        std::string number = padLeft(std::to_string(day), 2);
        const bool checked = checkedDays.contains(day);
        if (selectedDay == day) {
            number = terminal.emphasized(number);
        }
        if (checked && markWithColor) {
            number = terminal.highlighted(number, *checkColor);
        }
        line += number;
        line += checked && !markWithColor ? '*' : ' ';
        if (++column == 7) {
            trimRight(line);
            result.push_back(line);
            line.clear();
            column = 0;
        }
    }
    trimRight(line);
    if (!line.empty()) {
        result.push_back(line);
    }
    return result;
}

}  // namespace dovrel::cli
