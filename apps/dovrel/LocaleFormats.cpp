#include "apps/dovrel/LocaleFormats.h"

#include <unicode/calendar.h>
#include <unicode/dtfmtsym.h>
#include <unicode/dtptngen.h>
#include <unicode/locid.h>

#include <memory>

namespace dovrel::cli {

std::string localePattern(const std::string& skeleton, const std::string& localeIdentifier) {
    UErrorCode status = U_ZERO_ERROR;
    const icu::Locale locale(localeIdentifier.c_str());
    std::unique_ptr<icu::DateTimePatternGenerator> generator(
        icu::DateTimePatternGenerator::createInstance(locale, status));
    if (U_FAILURE(status) || !generator) {
        return skeleton;
    }
    const auto pattern = generator->getBestPattern(icu::UnicodeString::fromUTF8(skeleton), status);
    if (U_FAILURE(status)) {
        return skeleton;
    }
    std::string result;
    pattern.toUTF8String(result);
    return result;
}

std::string formatWithSkeleton(Date date, const std::string& skeleton, const Region& region) {
    return region.format(date, localePattern(skeleton, region.localeIdentifier()));
}

std::int64_t firstWeekday(const std::string& localeIdentifier) {
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<icu::Calendar> calendar(
        icu::Calendar::createInstance(icu::Locale(localeIdentifier.c_str()), status));
    if (U_FAILURE(status) || !calendar) {
        return 1;
    }
    return static_cast<std::int64_t>(calendar->getFirstDayOfWeek(status));
}

std::array<std::string, 7> shortWeekdayNames(const std::string& localeIdentifier) {
    std::array<std::string, 7> names{"Su", "Mo", "Tu", "We", "Th", "Fr", "Sa"};
    UErrorCode status = U_ZERO_ERROR;
    const icu::DateFormatSymbols symbols(icu::Locale(localeIdentifier.c_str()), status);
    if (U_FAILURE(status)) {
        return names;
    }
    std::int32_t count = 0;
    const icu::UnicodeString* weekdays = symbols.getWeekdays(
        count, icu::DateFormatSymbols::STANDALONE, icu::DateFormatSymbols::SHORT);
    // ICU's array is indexed by UCAL_SUNDAY (1) ... UCAL_SATURDAY (7); index 0 is unused.
    if (weekdays == nullptr || count < 8) {
        return names;
    }
    for (std::size_t day = 0; day < 7; ++day) {
        std::string name;
        weekdays[day + 1].toUTF8String(name);
        if (!name.empty()) {
            names[day] = name;
        }
    }
    return names;
}

std::array<std::string, 12> shortMonthNames(const std::string& localeIdentifier) {
    std::array<std::string, 12> names{"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                      "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    UErrorCode status = U_ZERO_ERROR;
    const icu::DateFormatSymbols symbols(icu::Locale(localeIdentifier.c_str()), status);
    if (U_FAILURE(status)) {
        return names;
    }
    std::int32_t count = 0;
    const icu::UnicodeString* months = symbols.getMonths(count, icu::DateFormatSymbols::STANDALONE,
                                                         icu::DateFormatSymbols::ABBREVIATED);
    if (months == nullptr || count < 12) {
        return names;
    }
    for (std::size_t month = 0; month < 12; ++month) {
        std::string name;
        months[month].toUTF8String(name);
        if (!name.empty()) {
            names[month] = name;
        }
    }
    return names;
}

Region displayRegion(const Region& region) {
    return Region("gregorian", region.timeZoneIdentifier(), region.localeIdentifier());
}

}  // namespace dovrel::cli
