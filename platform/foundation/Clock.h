#pragma once

#include <optional>

#include "platform/foundation/Date.h"

namespace dovrel {

// The source of "now" for the whole process. Production code asks Clock::now(); tests pin the
// time with a ScopedClockOverride instead of sleeping or patching the system clock.
class Clock {
public:
    // The current instant: the system's real time, or the pinned time while an override lives.
    static Date now();

private:
    friend class ScopedClockOverride;
    static void setOverride(std::optional<Date> pinned);
    static std::optional<Date> currentOverride();
};

// Pins Clock::now() to a fixed instant for its lifetime, then restores what was there before.
// Overrides nest. The pinned value is process-wide (every thread sees it).
class ScopedClockOverride {
public:
    explicit ScopedClockOverride(Date pinned);
    ~ScopedClockOverride();

    // Moves the pinned instant (for tests that let time pass).
    void set(Date pinned);

    ScopedClockOverride(const ScopedClockOverride&) = delete;
    ScopedClockOverride& operator=(const ScopedClockOverride&) = delete;

private:
    std::optional<Date> previous_;
};

}  // namespace dovrel
