#include "platform/foundation/Clock.h"

#include <chrono>
#include <mutex>

namespace dovrel {

namespace {

std::mutex& overrideMutex() {
    static std::mutex mutex;
    return mutex;
}

std::optional<Date>& overrideSlot() {
    static std::optional<Date> pinned;
    return pinned;
}

}  // namespace

Date Date::now() { return Clock::now(); }

Date Clock::now() {
    if (auto pinned = currentOverride()) {
        return *pinned;
    }
    const auto sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
    const double seconds = std::chrono::duration<double>(sinceEpoch).count();
    return Date::fromTimeIntervalSince1970(seconds);
}

void Clock::setOverride(std::optional<Date> pinned) {
    std::lock_guard lock(overrideMutex());
    overrideSlot() = pinned;
}

std::optional<Date> Clock::currentOverride() {
    std::lock_guard lock(overrideMutex());
    return overrideSlot();
}

ScopedClockOverride::ScopedClockOverride(Date pinned) : previous_(Clock::currentOverride()) {
    Clock::setOverride(pinned);
}

ScopedClockOverride::~ScopedClockOverride() { Clock::setOverride(previous_); }

void ScopedClockOverride::set(Date pinned) { Clock::setOverride(pinned); }

}  // namespace dovrel
