#include "apps/dovrel/IsoDateText.h"

#include <unicode/gregocal.h>
#include <unicode/locid.h>
#include <unicode/smpdtfmt.h>
#include <unicode/timezone.h>

#include <cmath>
#include <cstdint>
#include <cstdio>

namespace dovrel::cli {

namespace {

constexpr double kMillisecondsPerSecond = 1000;
constexpr std::int64_t kSecondsPerDay = 86400;

// The proleptic Gregorian date of a day counted from 1970-01-01 (Howard Hinnant's algorithm).
struct CivilDay {
    std::int64_t year;
    unsigned month;
    unsigned day;
};

CivilDay civilFromDays(std::int64_t days) {
    days += 719468;
    const std::int64_t era = (days >= 0 ? days : days - 146096) / 146097;
    const auto dayOfEra = static_cast<unsigned>(days - era * 146097);
    const unsigned yearOfEra =
        (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    const unsigned dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const unsigned monthIndex = (5 * dayOfYear + 2) / 153;
    const unsigned day = dayOfYear - (153 * monthIndex + 2) / 5 + 1;
    const unsigned month = monthIndex < 10 ? monthIndex + 3 : monthIndex - 9;
    const std::int64_t year = static_cast<std::int64_t>(yearOfEra) + era * 400 + (month <= 2);
    return {year, month, day};
}

}  // namespace

struct IsoDateText::Zone {
    std::unique_ptr<icu::TimeZone> timeZone;
    std::unique_ptr<icu::SimpleDateFormat> format;
};

IsoDateText::IsoDateText(const std::string& timeZoneIdentifier) : zone_(std::make_unique<Zone>()) {
    UErrorCode status = U_ZERO_ERROR;
    const icu::Locale posix("en_US_POSIX");
    zone_->timeZone.reset(
        icu::TimeZone::createTimeZone(icu::UnicodeString::fromUTF8(timeZoneIdentifier)));
    zone_->format = std::make_unique<icu::SimpleDateFormat>(
        icu::UnicodeString("yyyy-MM-dd'T'HH:mm:ssxxx"), posix, status);
    zone_->format->adoptCalendar(
        new icu::GregorianCalendar(zone_->timeZone->clone(), posix, status));
    if (U_FAILURE(status)) {
        zone_->format.reset();
    }
}

IsoDateText::~IsoDateText() = default;

std::string IsoDateText::formattedByICU(Date date) const {
    if (!zone_->format) {
        return "";
    }
    icu::UnicodeString text;
    zone_->format->format(date.timeIntervalSince1970() * kMillisecondsPerSecond, text);
    std::string result;
    text.toUTF8String(result);
    return result;
}

std::string IsoDateText::operator()(Date date) const {
    const double milliseconds = date.timeIntervalSince1970() * kMillisecondsPerSecond;
    if (!std::isfinite(milliseconds)) {
        return formattedByICU(date);
    }
    UErrorCode status = U_ZERO_ERROR;
    std::int32_t rawOffset = 0;
    std::int32_t dstOffset = 0;
    zone_->timeZone->getOffset(milliseconds, false, rawOffset, dstOffset, status);
    const std::int32_t offset = rawOffset + dstOffset;  // milliseconds
    if (U_FAILURE(status) || offset % 60000 != 0) {
        return formattedByICU(date);
    }
    // ICU takes the calendar fields of the whole millisecond at or before the instant.
    const auto localSeconds = static_cast<std::int64_t>(
        std::floor((std::floor(milliseconds) + offset) / kMillisecondsPerSecond));
    std::int64_t days = localSeconds / kSecondsPerDay;
    std::int64_t secondOfDay = localSeconds % kSecondsPerDay;
    if (secondOfDay < 0) {
        secondOfDay += kSecondsPerDay;
        --days;
    }
    const CivilDay civil = civilFromDays(days);
    if (civil.year < 1600 || civil.year > 9999) {
        return formattedByICU(date);
    }
    const std::int32_t offsetMinutes = offset / 60000;
    const std::int32_t absoluteMinutes = offsetMinutes < 0 ? -offsetMinutes : offsetMinutes;
    char text[96];
    std::snprintf(text, sizeof text, "%04lld-%02u-%02uT%02lld:%02lld:%02lld%c%02d:%02d",
                  static_cast<long long>(civil.year), civil.month, civil.day,
                  static_cast<long long>(secondOfDay / 3600),
                  static_cast<long long>(secondOfDay / 60 % 60),
                  static_cast<long long>(secondOfDay % 60), offsetMinutes < 0 ? '-' : '+',
                  absoluteMinutes / 60, absoluteMinutes % 60);
    return text;
}

}  // namespace dovrel::cli
