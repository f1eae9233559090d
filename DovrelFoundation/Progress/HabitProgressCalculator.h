#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "platform/foundation/Date.h"

namespace dovrel {

// The progress score of a habit: a running value from 0 to 100 that every checkmark raises by a
// share of the distance left to 100 and that every fully missed day lowers by a smaller share,
// slowed down for habits meant to be done less often than daily.
//
// Stateless; every operation is a pure function of its arguments and of the current calendar
// and time zone, which define calendar days (days are those of onlyDay(), DateExtensions.h).
//
// Building blocks, with p the score:
//   gain (one checkmark):   p += max((100 - p) / 21, 0.1), then clamped to [0, 100];
//   decay (one missed day): step = (100 - p) / 21; loss = step * 0.5 if step >= 0.1, else 0.05;
//                           p -= loss / divisor, then clamped to [0, 100];
//   interval divisor:       perDays / repeatingTimes in integer division truncating toward
//                           zero (1/1 -> 1, 3/7 -> 2, 1/7 -> 7, 2/1 -> 0), as a double. A
//                           divisor of 0 makes one missed day drop the score to 0.
//   day gap:                (onlyDay(later) - onlyDay(earlier)) in seconds / 86400, rounded
//                           half away from zero; a gap of g >= 2 days costs g - 1 missed days,
//                           a gap of 0 or 1 costs nothing.
// The divisor is computed only when a gap of at least two days occurs, so a habit checked every
// day never divides. A repeatingTimes of 0, or perDays the most negative integer with
// repeatingTimes -1, stops the process when the divisor is computed; so does a day gap that is
// not finite or does not fit 64 bits.
struct HabitProgressCalculator {
    // The score right after the latest checkmark, over the whole history, unrounded: the dates
    // are taken earliest first (any order and duplicates accepted), starting from 0, each one
    // decaying the score for the days missed since the previous one and then gaining. 0 for no
    // dates. This is the value a habit caches as its last performing date's progress.
    static double calculateProgress(std::span<const Date> performingDates,
                                    std::int64_t repeatingTimes, std::int64_t perDays);

    // The score on the instant `onDate`, rounded up: the history restricted to the dates not
    // later than `onDate` (instants, not days: a checkmark at 18:00 does not count for 09:00 of
    // the same day), continued from its last date to `onDate`'s day.
    static std::int64_t calculateProgress(std::span<const Date> performingDates,
                                          std::int64_t repeatingTimes, std::int64_t perDays,
                                          Date onDate);

    // A known score continued from the day of the last checkmark to `onDate`'s day, rounded up:
    // continuedProgress below, then its ceiling.
    static std::int64_t calculateProgress(double lastPerformanceDateProgress,
                                          std::optional<Date> lastPerformanceDate,
                                          std::int64_t repeatingTimes, std::int64_t perDays,
                                          Date onDate);

    // The continuation without rounding: `lastPerformanceDateProgress` unchanged when there is
    // no last date; otherwise decayed for every missed day between the last date's day and
    // `onDate`'s day (a gap below 0 counts as 0, a gap of g >= 2 costs g - 1 missed days).
    // A known score comes from storage, where anything may have written any number: one outside
    // 0...100 is taken as the nearest bound, and one that is not a number as 0, so that the
    // result is always a score.
    static double continuedProgress(double lastPerformanceDateProgress,
                                    std::optional<Date> lastPerformanceDate,
                                    std::int64_t repeatingTimes, std::int64_t perDays, Date onDate);

    // True for a number that can be a score: 0 to 100, both included (false for NaN).
    static constexpr bool isScore(double progress) noexcept {
        return progress >= 0 && progress <= 100;
    }

    // One checkmark's gain applied to `progress`.
    static double gainedProgress(double progress);

    // `missedDays` missed days' decay applied to `progress`, one after another, with `divisor`.
    // missedDays <= 0 leaves the score unchanged.
    static double decayedProgress(double progress, std::int64_t missedDays, double divisor);

    // perDays / repeatingTimes truncated toward zero, as a double. Stops the process for a
    // repeatingTimes of 0 and for the pair (most negative integer, -1), whose quotient overflows.
    static double intervalDivisor(std::int64_t repeatingTimes, std::int64_t perDays);

    // The ceiling of `progress` as a whole number: how a score is shown. Stops the process if
    // the ceiling is not finite or does not fit 64 bits.
    static std::int64_t roundedUp(double progress);
};

}  // namespace dovrel
