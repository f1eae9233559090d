#pragma once

#include <compare>

namespace dovrel {

// A span of time in seconds.
using TimeInterval = double;

// An instant in time, independent of any calendar or time zone: seconds since the reference
// date 2001-01-01 00:00:00 UTC. This is the epoch of every stored date (the five-date blob, the
// store's date columns), so a Date travels to and from storage without conversion.
class Date {
public:
    // Seconds between 1970-01-01 00:00:00 UTC and the reference date.
    static constexpr TimeInterval kTimeIntervalBetween1970AndReferenceDate = 978307200.0;

    // The reference date itself.
    constexpr Date() noexcept = default;
    constexpr explicit Date(TimeInterval secondsSinceReferenceDate) noexcept
        : seconds_(secondsSinceReferenceDate) {}

    static constexpr Date fromTimeIntervalSince1970(TimeInterval secondsSince1970) noexcept {
        return Date(secondsSince1970 - kTimeIntervalBetween1970AndReferenceDate);
    }

    // The current instant, as Clock::now() reports it (tests may pin it).
    static Date now();

    constexpr TimeInterval timeIntervalSinceReferenceDate() const noexcept { return seconds_; }
    constexpr TimeInterval timeIntervalSince1970() const noexcept {
        return seconds_ + kTimeIntervalBetween1970AndReferenceDate;
    }
    // This date minus `other`, in seconds: positive when this date is later.
    constexpr TimeInterval timeIntervalSince(Date other) const noexcept {
        return seconds_ - other.seconds_;
    }
    constexpr Date addingTimeInterval(TimeInterval interval) const noexcept {
        return Date(seconds_ + interval);
    }

    friend constexpr Date operator+(Date date, TimeInterval interval) noexcept {
        return date.addingTimeInterval(interval);
    }
    friend constexpr Date operator-(Date date, TimeInterval interval) noexcept {
        return date.addingTimeInterval(-interval);
    }
    friend constexpr TimeInterval operator-(Date later, Date earlier) noexcept {
        return later.timeIntervalSince(earlier);
    }
    friend constexpr bool operator==(Date, Date) noexcept = default;
    friend constexpr auto operator<=>(Date, Date) noexcept = default;

private:
    TimeInterval seconds_ = 0;
};

}  // namespace dovrel
