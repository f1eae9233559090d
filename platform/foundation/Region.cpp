#include "platform/foundation/Region.h"

#include <sys/stat.h>
#include <unicode/calendar.h>
#include <unicode/locid.h>
#include <unicode/parsepos.h>
#include <unicode/smpdtfmt.h>
#include <unicode/timezone.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "platform/foundation/FatalError.h"

namespace dovrel {

namespace {

constexpr const char* kLocaltimePath = "/etc/localtime";

// ICU counts milliseconds since 1970; Date counts seconds since 2001.
double toMilliseconds(Date date) {
    return date.timeIntervalSince1970() * 1000.0;
}
Date fromMilliseconds(double milliseconds) {
    return Date::fromTimeIntervalSince1970(milliseconds / 1000.0);
}

bool isFinite(Date date) {
    return std::isfinite(date.timeIntervalSinceReferenceDate());
}

std::string toUtf8(const icu::UnicodeString& text) {
    std::string result;
    text.toUTF8String(result);
    return result;
}

std::string timeZoneIdentifier(const icu::TimeZone& zone) {
    icu::UnicodeString identifier;
    zone.getID(identifier);
    return toUtf8(identifier);
}

// ---------------------------------------------------------------------------------------------
// The process's current zone and the pinned zone and calendar.

// What the host's zone setting was last seen as: the TZ variable and the /etc/localtime entry.
// timedatectl and `ln -sf` replace the symlink (a new inode, new times, often a new length); an
// edited or copied file gets new times. lstat() looks at the entry itself, not at the zone file
// it points to, whose contents only change with a tzdata update.
struct HostZoneSetting {
    bool tzSet = false;
    std::string tz;
    bool localtimeExists = false;
    dev_t device = 0;
    ino_t inode = 0;
    off_t size = 0;
    timespec modified{};
    timespec changed{};
};

bool sameTime(const timespec& a, const timespec& b) {
    return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

struct CurrentState {
    std::mutex mutex;
    bool hostDetected = false;
    HostZoneSetting hostSetting;
    std::string hostZone;
    std::optional<std::string> zoneOverride;
    std::optional<std::string> calendarOverride;
};

CurrentState& currentState() {
    static CurrentState state;
    return state;
}

// Asks ICU for the host zone again (it reads TZ, then the /etc/localtime link) and makes it
// ICU's default unless a guard pins another zone. Called with the state's mutex held.
void redetectHostZone(CurrentState& state) {
    std::unique_ptr<icu::TimeZone> host(icu::TimeZone::detectHostTimeZone());
    state.hostZone = timeZoneIdentifier(*host);
    state.hostDetected = true;
    if (!state.zoneOverride) {
        icu::TimeZone::adoptDefault(host.release());
    }
}

// The current zone identifier. The host check costs a getenv and one lstat per call, which is
// what "a change of zone shows at the next call" needs without a watcher thread.
std::string currentTimeZoneIdentifier(CurrentState& state) {
    {
        std::lock_guard lock(state.mutex);
        if (state.zoneOverride) {
            return *state.zoneOverride;
        }
    }
    const char* tz = std::getenv("TZ");
    struct stat entry {};
    const bool localtimeExists = ::lstat(kLocaltimePath, &entry) == 0;

    std::lock_guard lock(state.mutex);
    if (state.zoneOverride) {
        return *state.zoneOverride;
    }
    HostZoneSetting& seen = state.hostSetting;
    const bool tzUnchanged =
        (tz != nullptr) == seen.tzSet && (tz == nullptr || std::strcmp(tz, seen.tz.c_str()) == 0);
    const bool localtimeUnchanged =
        localtimeExists == seen.localtimeExists &&
        (!localtimeExists ||
         (entry.st_dev == seen.device && entry.st_ino == seen.inode && entry.st_size == seen.size &&
          sameTime(entry.st_mtim, seen.modified) && sameTime(entry.st_ctim, seen.changed)));
    if (!state.hostDetected || !tzUnchanged || !localtimeUnchanged) {
        seen.tzSet = tz != nullptr;
        seen.tz = tz != nullptr ? tz : "";
        seen.localtimeExists = localtimeExists;
        seen.device = localtimeExists ? entry.st_dev : 0;
        seen.inode = localtimeExists ? entry.st_ino : 0;
        seen.size = localtimeExists ? entry.st_size : 0;
        seen.modified = localtimeExists ? entry.st_mtim : timespec{};
        seen.changed = localtimeExists ? entry.st_ctim : timespec{};
        redetectHostZone(state);
    }
    return state.hostZone;
}

// ---------------------------------------------------------------------------------------------
// ICU calendars.

icu::Locale icuLocale(const std::string& localeIdentifier, const std::string& calendarIdentifier) {
    icu::Locale locale(localeIdentifier.c_str());
    UErrorCode status = U_ZERO_ERROR;
    // An empty value removes the keyword, leaving the locale's own calendar.
    locale.setKeywordValue("calendar", calendarIdentifier.c_str(), status);
    return locale;
}

// The calendar type a locale uses: its "@calendar=" keyword, else its region's preferred one
// ("buddhist" for th_TH).
std::string calendarIdentifierForLocale(const icu::Locale& locale) {
    UErrorCode status = U_ZERO_ERROR;
    char keyword[ULOC_KEYWORDS_CAPACITY] = {};
    const int32_t length = locale.getKeywordValue("calendar", keyword, sizeof keyword, status);
    if (U_SUCCESS(status) && status != U_STRING_NOT_TERMINATED_WARNING && length > 0) {
        return std::string(keyword, static_cast<std::size_t>(length));
    }
    // The preference is fixed locale data; remembering the last answer per thread only saves
    // building a calendar to read it.
    thread_local std::string lastLocale;
    thread_local std::string lastCalendar;
    if (!lastCalendar.empty() && lastLocale == locale.getName()) {
        return lastCalendar;
    }
    status = U_ZERO_ERROR;
    std::unique_ptr<icu::Calendar> calendar(
        icu::Calendar::createInstance(icu::TimeZone::getGMT()->clone(), locale, status));
    if (U_FAILURE(status) || !calendar) {
        return "gregorian";
    }
    lastLocale = locale.getName();
    lastCalendar = calendar->getType();
    return lastCalendar;
}

std::unique_ptr<icu::Calendar> makeCalendar(const Region& region) {
    UErrorCode status = U_ZERO_ERROR;
    icu::TimeZone* zone =
        icu::TimeZone::createTimeZone(icu::UnicodeString::fromUTF8(region.timeZoneIdentifier()));
    // createInstance adopts the zone whether it succeeds or not.
    std::unique_ptr<icu::Calendar> calendar(icu::Calendar::createInstance(
        zone, icuLocale(region.localeIdentifier(), region.calendarIdentifier()), status));
    if (U_FAILURE(status) || !calendar) {
        fatalError("ICU could not create the calendar \"" + region.calendarIdentifier() +
                   "\" for locale \"" + region.localeIdentifier() + "\"");
    }
    calendar->setLenient(true);
    // A skipped midnight starts the day when the gap ends; a repeated wall time is its first
    // occurrence, so the start of a day is never an hour late.
    calendar->setSkippedWallTimeOption(UCAL_WALLTIME_NEXT_VALID);
    calendar->setRepeatedWallTimeOption(UCAL_WALLTIME_FIRST);
    return calendar;
}

// Building an ICU calendar (locale data, zone rules) costs tens of microseconds, so each thread
// keeps the few it used last, keyed by the region's three identifiers. A calendar holds no state
// of its own between operations: every operation sets its time or fields first, so the cache
// only saves construction and never changes an answer.
icu::Calendar& calendarFor(const Region& region) {
    struct Entry {
        std::string calendar;
        std::string zone;
        std::string locale;
        std::unique_ptr<icu::Calendar> instance;
    };
    constexpr std::size_t kCapacity = 8;
    thread_local std::vector<Entry> entries;

    for (std::size_t i = 0; i < entries.size(); ++i) {
        const Entry& entry = entries[i];
        if (entry.zone == region.timeZoneIdentifier() &&
            entry.calendar == region.calendarIdentifier() &&
            entry.locale == region.localeIdentifier()) {
            // Most recently used first, so the usual single region is found at once.
            std::rotate(entries.begin(), entries.begin() + static_cast<std::ptrdiff_t>(i),
                        entries.begin() + static_cast<std::ptrdiff_t>(i) + 1);
            return *entries.front().instance;
        }
    }
    if (entries.size() == kCapacity) {
        entries.pop_back();
    }
    entries.insert(entries.begin(), Entry{region.calendarIdentifier(), region.timeZoneIdentifier(),
                                          region.localeIdentifier(), makeCalendar(region)});
    return *entries.front().instance;
}

bool fitsInt32(std::int64_t value) {
    return value >= std::numeric_limits<std::int32_t>::min() &&
           value <= std::numeric_limits<std::int32_t>::max();
}

// The first instant of the local day `daysAhead` days after the one containing `milliseconds`.
// The Julian day number is the same in every calendar, and ICU days run midnight to midnight,
// so this needs no calendar fields at all.
double dayStart(icu::Calendar& calendar, double milliseconds, std::int32_t daysAhead) {
    UErrorCode status = U_ZERO_ERROR;
    calendar.setTime(milliseconds, status);
    const std::int32_t julianDay = calendar.get(UCAL_JULIAN_DAY, status);
    calendar.clear();
    calendar.set(UCAL_JULIAN_DAY, julianDay + daysAhead);
    const double start = calendar.getTime(status);
    if (U_FAILURE(status)) {
        fatalError(std::string("ICU could not find the start of a day: ") + u_errorName(status));
    }
    return start;
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Region

Region::Region(std::string calendarIdentifier, std::string timeZoneIdentifier,
               std::string localeIdentifier)
    : calendar_(std::move(calendarIdentifier)),
      timeZone_(std::move(timeZoneIdentifier)),
      locale_(std::move(localeIdentifier)) {}

Region Region::current() {
    CurrentState& state = currentState();
    std::string zone = currentTimeZoneIdentifier(state);
    std::optional<std::string> pinnedCalendar = calendarOverride();
    const icu::Locale& locale = icu::Locale::getDefault();
    std::string calendar =
        pinnedCalendar ? std::move(*pinnedCalendar) : calendarIdentifierForLocale(locale);
    return Region(std::move(calendar), std::move(zone), locale.getName());
}

std::optional<std::string> Region::timeZoneOverride() {
    CurrentState& state = currentState();
    std::lock_guard lock(state.mutex);
    return state.zoneOverride;
}

void Region::setTimeZoneOverride(const std::optional<std::string>& timeZoneIdentifier) {
    CurrentState& state = currentState();
    std::lock_guard lock(state.mutex);
    state.zoneOverride = timeZoneIdentifier;
    // ICU's default follows, so that ICU services used outside Region agree with it.
    if (timeZoneIdentifier) {
        icu::TimeZone::adoptDefault(
            icu::TimeZone::createTimeZone(icu::UnicodeString::fromUTF8(*timeZoneIdentifier)));
    } else if (state.hostDetected) {
        icu::TimeZone::adoptDefault(
            icu::TimeZone::createTimeZone(icu::UnicodeString::fromUTF8(state.hostZone)));
    } else {
        icu::TimeZone::adoptDefault(icu::TimeZone::detectHostTimeZone());
    }
}

std::optional<std::string> Region::calendarOverride() {
    CurrentState& state = currentState();
    std::lock_guard lock(state.mutex);
    return state.calendarOverride;
}

void Region::setCalendarOverride(const std::optional<std::string>& calendarIdentifier) {
    CurrentState& state = currentState();
    std::lock_guard lock(state.mutex);
    state.calendarOverride = calendarIdentifier;
}

DateComponents Region::components(Date date) const {
    if (!isFinite(date)) {
        return {};
    }
    icu::Calendar& calendar = calendarFor(*this);
    UErrorCode status = U_ZERO_ERROR;
    calendar.setTime(toMilliseconds(date), status);
    DateComponents components;
    components.era = calendar.get(UCAL_ERA, status);
    components.year = calendar.get(UCAL_YEAR, status);
    components.month = calendar.get(UCAL_MONTH, status) + 1;
    components.day = calendar.get(UCAL_DATE, status);
    components.hour = calendar.get(UCAL_HOUR_OF_DAY, status);
    components.minute = calendar.get(UCAL_MINUTE, status);
    components.second = calendar.get(UCAL_SECOND, status);
    components.weekday = calendar.get(UCAL_DAY_OF_WEEK, status);
    components.weekOfYear = calendar.get(UCAL_WEEK_OF_YEAR, status);
    components.yearForWeekOfYear = calendar.get(UCAL_YEAR_WOY, status);
    components.dayOfYear = calendar.get(UCAL_DAY_OF_YEAR, status);
    components.isLeapMonth = calendar.get(UCAL_IS_LEAP_MONTH, status) != 0;
    if (U_FAILURE(status)) {
        return {};
    }
    return components;
}

std::optional<Date> Region::date(const DateComponents& components) const {
    icu::Calendar& calendar = calendarFor(*this);
    calendar.clear();
    bool representable = true;
    const auto set = [&](UCalendarDateFields field, const std::optional<std::int64_t>& value,
                         std::int32_t shift = 0) {
        if (!value) {
            return;
        }
        if (!fitsInt32(*value) || !fitsInt32(*value + shift)) {
            representable = false;
            return;
        }
        calendar.set(field, static_cast<std::int32_t>(*value + shift));
    };
    // ICU resolves competing fields by which was set last, so the week-based fields go first
    // and year, month and day win whenever they are given.
    set(UCAL_ERA, components.era);
    set(UCAL_YEAR_WOY, components.yearForWeekOfYear);
    set(UCAL_WEEK_OF_YEAR, components.weekOfYear);
    set(UCAL_DAY_OF_WEEK, components.weekday);
    set(UCAL_YEAR, components.year);
    set(UCAL_DAY_OF_YEAR, components.dayOfYear);
    set(UCAL_MONTH, components.month, -1);
    set(UCAL_DATE, components.day);
    if (components.isLeapMonth) {
        calendar.set(UCAL_IS_LEAP_MONTH, *components.isLeapMonth ? 1 : 0);
    }
    set(UCAL_HOUR_OF_DAY, components.hour);
    set(UCAL_MINUTE, components.minute);
    set(UCAL_SECOND, components.second);
    if (!representable) {
        return std::nullopt;
    }
    UErrorCode status = U_ZERO_ERROR;
    const double milliseconds = calendar.getTime(status);
    if (U_FAILURE(status) || !std::isfinite(milliseconds)) {
        return std::nullopt;
    }
    return fromMilliseconds(milliseconds);
}

std::optional<Date> Region::dateByAdding(const DateComponents& offsets, Date date) const {
    if (!isFinite(date)) {
        return std::nullopt;
    }
    icu::Calendar& calendar = calendarFor(*this);
    UErrorCode status = U_ZERO_ERROR;
    calendar.setTime(toMilliseconds(date), status);
    bool representable = true;
    const auto add = [&](UCalendarDateFields field, const std::optional<std::int64_t>& amount) {
        if (!amount || !representable || U_FAILURE(status)) {
            return;
        }
        if (!fitsInt32(*amount)) {
            representable = false;
            return;
        }
        calendar.add(field, static_cast<std::int32_t>(*amount), status);
    };
    add(UCAL_ERA, offsets.era);
    add(UCAL_YEAR, offsets.year);
    add(UCAL_YEAR_WOY, offsets.yearForWeekOfYear);
    add(UCAL_MONTH, offsets.month);
    add(UCAL_WEEK_OF_YEAR, offsets.weekOfYear);
    add(UCAL_DATE, offsets.day);
    add(UCAL_DATE, offsets.weekday);
    add(UCAL_DATE, offsets.dayOfYear);
    add(UCAL_HOUR_OF_DAY, offsets.hour);
    add(UCAL_MINUTE, offsets.minute);
    add(UCAL_SECOND, offsets.second);
    if (!representable || U_FAILURE(status)) {
        return std::nullopt;
    }
    const double milliseconds = calendar.getTime(status);
    if (U_FAILURE(status) || !std::isfinite(milliseconds)) {
        return std::nullopt;
    }
    return fromMilliseconds(milliseconds);
}

Date Region::startOfDay(Date date) const {
    if (!isFinite(date)) {
        return date;
    }
    return fromMilliseconds(dayStart(calendarFor(*this), toMilliseconds(date), 0));
}

Date Region::endOfDay(Date date) const {
    if (!isFinite(date)) {
        return date;
    }
    return fromMilliseconds(dayStart(calendarFor(*this), toMilliseconds(date), 1) - 1.0);
}

Date Region::startOfMonth(Date date) const {
    if (!isFinite(date)) {
        return date;
    }
    icu::Calendar& calendar = calendarFor(*this);
    UErrorCode status = U_ZERO_ERROR;
    calendar.setTime(toMilliseconds(date), status);
    const std::int32_t dayOfMonth = calendar.get(UCAL_DATE, status);
    return fromMilliseconds(
        dayStart(calendar, toMilliseconds(date), static_cast<std::int32_t>(1 - dayOfMonth)));
}

namespace {

// A formatter for `pattern` with the region's calendar, zone and locale symbols, or nothing when
// ICU rejects the pattern.
std::unique_ptr<icu::SimpleDateFormat> makeFormatter(const Region& region,
                                                     const std::string& pattern) {
    UErrorCode status = U_ZERO_ERROR;
    auto formatter = std::make_unique<icu::SimpleDateFormat>(
        icu::UnicodeString::fromUTF8(pattern),
        icuLocale(region.localeIdentifier(), region.calendarIdentifier()), status);
    if (U_FAILURE(status)) {
        return nullptr;
    }
    formatter->setCalendar(calendarFor(region));  // copied: type, zone, week rules
    return formatter;
}

}  // namespace

std::string Region::format(Date date, const std::string& pattern) const {
    if (!isFinite(date)) {
        return {};
    }
    const auto formatter = makeFormatter(*this, pattern);
    if (!formatter) {
        return {};
    }
    icu::UnicodeString text;
    formatter->format(toMilliseconds(date), text);
    return toUtf8(text);
}

std::optional<Date> Region::parse(const std::string& text, const std::string& pattern) const {
    const auto formatter = makeFormatter(*this, pattern);
    if (!formatter) {
        return std::nullopt;
    }
    formatter->setLenient(false);
    const icu::UnicodeString input = icu::UnicodeString::fromUTF8(text);
    icu::ParsePosition position(0);
    const UDate milliseconds = formatter->parse(input, position);
    if (position.getErrorIndex() >= 0 || position.getIndex() != input.length()) {
        return std::nullopt;
    }
    return fromMilliseconds(milliseconds);
}

// ---------------------------------------------------------------------------------------------
// DateInRegion

DateInRegion::DateInRegion(Date date, Region region) : date_(date), region_(std::move(region)) {}

std::int64_t DateInRegion::year() const {
    return region_.components(date_).year.value_or(0);
}
std::int64_t DateInRegion::month() const {
    return region_.components(date_).month.value_or(0);
}
std::int64_t DateInRegion::day() const {
    return region_.components(date_).day.value_or(0);
}
std::int64_t DateInRegion::hour() const {
    return region_.components(date_).hour.value_or(0);
}
std::int64_t DateInRegion::minute() const {
    return region_.components(date_).minute.value_or(0);
}
std::int64_t DateInRegion::second() const {
    return region_.components(date_).second.value_or(0);
}
std::int64_t DateInRegion::weekday() const {
    return region_.components(date_).weekday.value_or(0);
}
std::int64_t DateInRegion::weekOfYear() const {
    return region_.components(date_).weekOfYear.value_or(0);
}
std::int64_t DateInRegion::dayOfYear() const {
    return region_.components(date_).dayOfYear.value_or(0);
}

DateInRegion DateInRegion::dateAtStartOfDay() const {
    return DateInRegion(region_.startOfDay(date_), region_);
}

DateInRegion DateInRegion::dateAtEndOfDay() const {
    return DateInRegion(region_.endOfDay(date_), region_);
}

DateInRegion DateInRegion::dateAtStartOfMonth() const {
    return DateInRegion(region_.startOfMonth(date_), region_);
}

std::string DateInRegion::toString(const std::string& pattern) const {
    return region_.format(date_, pattern);
}

}  // namespace dovrel
