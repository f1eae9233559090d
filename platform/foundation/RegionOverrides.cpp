#include "platform/foundation/RegionOverrides.h"

#include <clocale>

#include <unicode/locid.h>

#include "platform/foundation/Region.h"

namespace dovrel {

namespace {

void setIcuDefaultLocale(const std::string& localeIdentifier) {
    UErrorCode status = U_ZERO_ERROR;
    icu::Locale::setDefault(icu::Locale(localeIdentifier.c_str()), status);
}

// The C library's name for an ICU locale: "th_TH@calendar=buddhist" -> "th_TH.UTF-8".
std::string messagesLocaleName(const std::string& localeIdentifier) {
    const icu::Locale locale(localeIdentifier.c_str());
    std::string name = locale.getLanguage();
    if (*locale.getCountry() != '\0') {
        name += '_';
        name += locale.getCountry();
    }
    return name + ".UTF-8";
}

std::string currentMessagesLocale() {
    const char* name = std::setlocale(LC_MESSAGES, nullptr);
    return name != nullptr ? name : "C";
}

void setMessagesLocale(const std::string& localeIdentifier) {
    const std::string name = messagesLocaleName(localeIdentifier);
    if (std::setlocale(LC_MESSAGES, name.c_str()) == nullptr &&
        std::setlocale(LC_MESSAGES, "C.UTF-8") == nullptr) {
        std::setlocale(LC_MESSAGES, "C");
    }
}

}  // namespace

ScopedTimeZone::ScopedTimeZone(const std::string& timeZoneIdentifier)
    : previous_(Region::timeZoneOverride()) {
    Region::setTimeZoneOverride(timeZoneIdentifier);
}

ScopedTimeZone::~ScopedTimeZone() {
    Region::setTimeZoneOverride(previous_);
}

ScopedLocale::ScopedLocale(const std::string& localeIdentifier)
    // ICU's default is read before LC_MESSAGES changes: ICU derives its first default from it.
    : previous_(icu::Locale::getDefault().getName()), previousMessages_(currentMessagesLocale()) {
    setIcuDefaultLocale(localeIdentifier);
    setMessagesLocale(localeIdentifier);
}

ScopedLocale::~ScopedLocale() {
    std::setlocale(LC_MESSAGES, previousMessages_.c_str());
    setIcuDefaultLocale(*previous_);
}

ScopedCalendar::ScopedCalendar(const std::string& calendarIdentifier)
    : previous_(Region::calendarOverride()) {
    Region::setCalendarOverride(calendarIdentifier);
}

ScopedCalendar::~ScopedCalendar() {
    Region::setCalendarOverride(previous_);
}

}  // namespace dovrel
