#pragma once

#include <optional>
#include <string>

namespace dovrel {

// RAII guards that switch the process's current time zone, locale or calendar for their lifetime
// (tests pin all three; a program never needs them). Each restores what was current before, and
// guards nest. They act on the same state that Region::current() reads, so every date operation
// sees the switch at its next call. The switch is process-wide: every thread sees it, so tests
// that pin must not run date code on other threads meanwhile.

// Pins the current time zone ("Europe/Kyiv"); the host's zone (TZ, /etc/localtime) is not
// consulted while a guard lives. ICU's default zone follows the guard.
class ScopedTimeZone {
  public:
    explicit ScopedTimeZone(const std::string& timeZoneIdentifier);  // "Europe/Kyiv"
    ~ScopedTimeZone();
    ScopedTimeZone(const ScopedTimeZone&) = delete;
    ScopedTimeZone& operator=(const ScopedTimeZone&) = delete;

  private:
    std::optional<std::string> previous_;
};

// Pins the current locale: ICU's default locale becomes `localeIdentifier`, and the C library's
// LC_MESSAGES category becomes "<language>_<COUNTRY>.UTF-8" (keywords dropped), so that gettext
// translations follow the same locale. When the system lacks that C locale, LC_MESSAGES becomes
// "C.UTF-8" (texts stay untranslated rather than keep the previous language). Other C locale
// categories (LC_NUMERIC, LC_CTYPE...) are left alone.
class ScopedLocale {
  public:
    explicit ScopedLocale(
        const std::string& localeIdentifier);  // "en_US", "th_TH@calendar=buddhist"
    ~ScopedLocale();
    ScopedLocale(const ScopedLocale&) = delete;
    ScopedLocale& operator=(const ScopedLocale&) = delete;

  private:
    std::optional<std::string> previous_;  // ICU's default locale before the guard
    std::string previousMessages_;         // LC_MESSAGES before the guard
};

// Pins the current calendar ("gregorian", "buddhist", "hebrew") whatever the locale says.
class ScopedCalendar {
  public:
    explicit ScopedCalendar(const std::string& calendarIdentifier);
    ~ScopedCalendar();
    ScopedCalendar(const ScopedCalendar&) = delete;
    ScopedCalendar& operator=(const ScopedCalendar&) = delete;

  private:
    std::optional<std::string> previous_;
};

}  // namespace dovrel
