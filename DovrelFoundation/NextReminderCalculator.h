#pragma once

#include <cstdint>
#include <optional>

#include "platform/foundation/Date.h"

namespace dovrel {

// When a habit's next reminder is due: pure date arithmetic with no state.
//
// Day boundaries are those of the current region (calendar, time zone and locale) at the moment
// of the call; adding days is calendar addition, so a day is one calendar day and not a fixed
// 86,400 seconds.
class NextReminderCalculator {
  public:
    NextReminderCalculator() = delete;

    // The first reminder at or after `on`:
    //  - the earliest day is the start of `on`'s day, or `lastPerformingDate` plus `skipInterval`
    //    calendar days when that is later (not cut down to the start of its day: the time of the
    //    checkmark stays in it);
    //  - the candidate is the earliest day plus the seconds between the start of
    //    `reminderTime`'s day and `reminderTime` (an addition of seconds: on a day whose clock
    //    changes before the reminder, the reminder lands an hour off its wall-clock time);
    //  - a candidate strictly earlier than `on` moves one calendar day later, once.
    // Only the time of day of `reminderTime` matters. Always answers a date.
    static Date nextReminder(Date on, Date reminderTime, std::int64_t skipInterval,
                             std::optional<Date> lastPerformingDate);
};

}  // namespace dovrel
