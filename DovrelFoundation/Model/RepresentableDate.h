#pragma once

#include "platform/foundation/Date.h"

namespace dovrel {

// The instants that habit data may hold: finite dates within kRepresentableDateLimit seconds of
// the reference date, about 28,500 years either side of 2001 (Gregorian years -26518 to 30520).
//
// Every use of a stored date is calendar arithmetic: its day, the day gap to another date, a
// number of days added to it. A date that is not a number or infinite has no day at all, and the
// arithmetic stops the process on it; ICU's calendars span about 5.8 million years either side of
// 1970 and silently pin instants beyond that span to its ends. The limit lies far inside ICU's
// span, so that a day gap between two such dates, or any day offset that the library adds to one
// (NextReminderCalculator clamps its offsets to the width of this range), stays within what the
// calendar can place. It is also exactly the span for which a backup writes its ISO 8601 date text
// (HabitBackupDates.h): every date that a decoder accepts can be backed up and read back.
//
// The decoders of stored and archived dates apply it:
//   - the five-date blob, the five-date keyed archive and the five-date record of a backup skip a
//     date outside the range as an unreadable slot, keeping the others;
//   - every other date of a backup (checkmarks, creation date, reminder time) outside the range
//     makes its habit record fail to restore, as date text that does not read does.
inline constexpr TimeInterval kRepresentableDateLimit = 9.0e11;

// True for a finite date no further than kRepresentableDateLimit from the reference date; false
// for NaN and the infinities.
constexpr bool isRepresentable(Date date) noexcept {
    const TimeInterval seconds = date.timeIntervalSinceReferenceDate();
    // Both comparisons are false for NaN.
    return seconds >= -kRepresentableDateLimit && seconds <= kRepresentableDateLimit;
}

}  // namespace dovrel
