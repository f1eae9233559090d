#include "DovrelFoundation/Import/ImportDays.h"

#include <charconv>

#include "DovrelFoundation/Import/ImportedHabit.h"
#include "platform/foundation/Region.h"

namespace dovrel {

namespace {

std::optional<int> number(std::string_view text) {
    int value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return value;
}

bool isLeap(int year) {
    return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

}  // namespace

std::optional<Date> localDayStart(int year, int month, int day) {
    static constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    if (year < 1900 || year > 9999 || month < 1 || month > 12 || day < 1) {
        return std::nullopt;
    }
    const int days = month == 2 && isLeap(year) ? 29 : kDays[month - 1];
    if (day > days) {
        return std::nullopt;
    }
    DateComponents components;
    components.year = year;
    components.month = month;
    components.day = day;
    // The Gregorian day, whatever calendar the user's locale prefers.
    const Region region("gregorian", Region::current().timeZoneIdentifier(),
                        Region::current().localeIdentifier());
    const auto date = region.date(components);
    if (!date) {
        return std::nullopt;
    }
    return region.startOfDay(*date);
}

std::optional<Date> localDayStart(std::string_view text) {
    if (text.size() != 10 || text[4] != '-' || text[7] != '-') {
        return std::nullopt;
    }
    const auto year = number(text.substr(0, 4));
    const auto month = number(text.substr(5, 2));
    const auto day = number(text.substr(8, 2));
    if (!year || !month || !day) {
        return std::nullopt;
    }
    return localDayStart(*year, *month, *day);
}

void checkImportedInterval(std::int64_t times, std::int64_t days, const std::string& record) {
    if (times < 1 || times > kImportMostTimes || days < 1 || days > kImportMostDays) {
        throw ImportError(record + ": the repeat interval " + std::to_string(times) + " in " +
                          std::to_string(days) + " days is outside 1 to " +
                          std::to_string(kImportMostTimes) + " times in 1 to " +
                          std::to_string(kImportMostDays) + " days");
    }
}

}  // namespace dovrel
