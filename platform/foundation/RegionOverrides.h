#pragma once

#include <optional>
#include <string>

namespace dovrel {

// RAII guards that switch the process's current time zone, locale or calendar for their lifetime
// (tests pin all three; a program never needs them). Each restores what was current before, and
// guards nest. They act on the same state that Region::current() reads, so every date operation
// sees the switch at its next call.

class ScopedTimeZone {
public:
    explicit ScopedTimeZone(const std::string& timeZoneIdentifier);  // "Europe/Kyiv"
    ~ScopedTimeZone();
    ScopedTimeZone(const ScopedTimeZone&) = delete;
    ScopedTimeZone& operator=(const ScopedTimeZone&) = delete;

private:
    std::optional<std::string> previous_;
};

class ScopedLocale {
public:
    explicit ScopedLocale(const std::string& localeIdentifier);  // "en_US", "th_TH@calendar=buddhist"
    ~ScopedLocale();
    ScopedLocale(const ScopedLocale&) = delete;
    ScopedLocale& operator=(const ScopedLocale&) = delete;

private:
    std::optional<std::string> previous_;
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
