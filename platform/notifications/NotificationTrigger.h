#pragma once

#include <optional>
#include <string>
#include <variant>

#include "platform/foundation/Date.h"
#include "platform/foundation/Region.h"

namespace dovrel::notifications {

// Fires when the wall clock matches the given date components in a calendar: every component
// that is set must match (year, month, day, hour, minute, second, weekday; an unset component
// matches anything, an unset second matches second 0). The components are read in the calendar
// named here, or in the current calendar when none is named, and always in the time zone that
// is current when the trigger date is computed: a reminder at 09:00 stays at 09:00 wall-clock
// time after the machine moves to another zone.
//
// A non-repeating trigger fires once, at the first matching instant after the request was added;
// a repeating one fires at every matching instant.
class CalendarNotificationTrigger {
  public:
    CalendarNotificationTrigger(DateComponents dateComponents, bool repeats,
                                std::optional<std::string> calendarIdentifier = std::nullopt);

    const DateComponents& dateComponents() const noexcept { return dateComponents_; }
    bool repeats() const noexcept { return repeats_; }
    const std::optional<std::string>& calendarIdentifier() const noexcept {
        return calendarIdentifier_;
    }

    // The first instant strictly after `after` that matches the components, computed in the
    // current time zone; nothing when no instant can match (for example a full date that has
    // passed, or 30 February).
    std::optional<Date> nextTriggerDate(Date after) const;
    // The same, after now.
    std::optional<Date> nextTriggerDate() const;

    friend bool operator==(const CalendarNotificationTrigger&,
                           const CalendarNotificationTrigger&) = default;

  private:
    DateComponents dateComponents_;
    bool repeats_;
    std::optional<std::string> calendarIdentifier_;
};

// Fires `timeInterval` seconds after the request was added. The fire date is fixed when the
// request is added to the center and kept with it, so it survives restarts of every process.
// A non-positive interval stops the process with the fatal error
// "time interval must be greater than 0"; a repeating trigger of less than 60 seconds with
// "time interval must be at least 60 if repeating".
class TimeIntervalNotificationTrigger {
  public:
    TimeIntervalNotificationTrigger(TimeInterval timeInterval, bool repeats);

    TimeInterval timeInterval() const noexcept { return timeInterval_; }
    bool repeats() const noexcept { return repeats_; }

    // now() plus the interval: the fire date the trigger would get if added now. The center
    // keeps the date computed when the request was added (see PendingNotificationRequest).
    std::optional<Date> nextTriggerDate() const;

    friend bool operator==(const TimeIntervalNotificationTrigger&,
                           const TimeIntervalNotificationTrigger&) = default;

  private:
    TimeInterval timeInterval_;
    bool repeats_;
};

// The trigger of a request: one of the kinds above. A request without a trigger is due as soon
// as it is added.
using NotificationTrigger =
    std::variant<CalendarNotificationTrigger, TimeIntervalNotificationTrigger>;

}  // namespace dovrel::notifications
