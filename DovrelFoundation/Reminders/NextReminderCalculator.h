#pragma once

#include <cstdint>
#include <optional>

#include "DovrelFoundation/Model/RepresentableDate.h"
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

    // The longest skip, in days, that the calculator adds: the width of the whole range of
    // representable dates (RepresentableDate.h), about 57,000 years. A longer skip (a repeat
    // interval of one time in billions of days, which a blob or a backup may hold) cannot end at
    // any date habit data may hold either, and is clamped to this one, so that the calendar
    // can always add it: from any representable date it stays far inside the calendar's range.
    static constexpr std::int64_t kLongestSkipInterval =
        static_cast<std::int64_t>(2 * kRepresentableDateLimit / 86'400) + 1;

    // The first reminder at or after `on`:
    //  - the earliest day is the start of `on`'s day, or `lastPerformingDate` plus `skipInterval`
    //    calendar days when that is later (not cut down to the start of its day: the time of the
    //    checkmark stays in it);
    //  - the candidate is the earliest day plus the seconds between the start of
    //    `reminderTime`'s day and `reminderTime` (an addition of seconds: on a day whose clock
    //    changes before the reminder, the reminder lands an hour off its wall-clock time);
    //  - a candidate strictly earlier than `on` moves one calendar day later, once.
    // Only the time of day of `reminderTime` matters. Always answers a date, and never stops the
    // process: `skipInterval` is clamped to +-kLongestSkipInterval days; a `lastPerformingDate`
    // that the calendar cannot place (not finite) counts as none; a candidate that it cannot
    // place (from a non-finite `on` or `reminderTime`) is answered as it is.
    static Date nextReminder(Date on, Date reminderTime, std::int64_t skipInterval,
                             std::optional<Date> lastPerformingDate);
};

}  // namespace dovrel
