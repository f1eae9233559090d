#include "apps/dovrel/When.h"

#include <cstdint>

namespace dovrel::cli {

namespace {

// The number made of `count` ASCII digits at `text[at]`, or nothing.
std::optional<std::int64_t> digits(std::string_view text, std::size_t at, std::size_t count) {
    if (at + count > text.size()) {
        return std::nullopt;
    }
    std::int64_t value = 0;
    for (std::size_t i = at; i < at + count; ++i) {
        if (text[i] < '0' || text[i] > '9') {
            return std::nullopt;
        }
        value = value * 10 + (text[i] - '0');
    }
    return value;
}

bool isLeapYear(std::int64_t year) {
    return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

std::int64_t daysInMonth(std::int64_t year, std::int64_t month) {
    static constexpr std::int64_t kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return month == 2 && isLeapYear(year) ? 29 : kDays[month - 1];
}

}  // namespace

std::optional<Date> parseWhen(std::string_view text, const Region& region) {
    // YYYY-MM-DD: 10 characters; with THH:MM 16; with :SS 19.
    if (text.size() != 10 && text.size() != 16 && text.size() != 19) {
        return std::nullopt;
    }
    const auto year = digits(text, 0, 4);
    const auto month = digits(text, 5, 2);
    const auto day = digits(text, 8, 2);
    if (!year || !month || !day || text[4] != '-' || text[7] != '-') {
        return std::nullopt;
    }
    if (*year < 1 || *month < 1 || *month > 12 || *day < 1 || *day > daysInMonth(*year, *month)) {
        return std::nullopt;
    }
    std::int64_t hour = 0, minute = 0, second = 0;
    if (text.size() > 10) {
        const auto h = digits(text, 11, 2);
        const auto m = digits(text, 14, 2);
        if (text[10] != 'T' || text[13] != ':' || !h || !m || *h > 23 || *m > 59) {
            return std::nullopt;
        }
        hour = *h;
        minute = *m;
        if (text.size() == 19) {
            const auto s = digits(text, 17, 2);
            if (text[16] != ':' || !s || *s > 59) {
                return std::nullopt;
            }
            second = *s;
        }
    }
    const Region gregorian("gregorian", region.timeZoneIdentifier(), "en_US_POSIX");
    DateComponents components;
    components.year = *year;
    components.month = *month;
    components.day = *day;
    if (text.size() == 10) {
        // The day's first instant, also on a day whose midnight the zone skips: midday exists
        // on every day, and its day start is the day's first instant.
        components.hour = 12;
        const auto midday = gregorian.date(components);
        return midday ? std::optional<Date>(gregorian.startOfDay(*midday)) : std::nullopt;
    }
    components.hour = hour;
    components.minute = minute;
    components.second = second;
    return gregorian.date(components);
}

}  // namespace dovrel::cli
