#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "DovrelFoundation/Progress/AscendingDayGaps.h"
#include "DovrelFoundation/Progress/CalendarDayIndex.h"
#include "platform/foundation/Date.h"

// The progress formula's passes, shared by HabitProgressCalculator (which only wants the score)
// and ProgressExplanation (which wants every step): both run this code, so an explanation can
// never disagree with the score it explains.
//
// Every pass takes an observer with three members, called as the pass goes:
//   checkmark(Date date, double before, double after)   one checkmark's gain;
//   missedDays(Date previous, std::int64_t count, double divisor)
//                                                       a run of `count` missed days after the day
//                                                       of the checkmark `previous` begins;
//   missedDay(double before, double after)              the next missed day of that run: the
//                                                       first is the day after `previous`'s.
// A run may end early, once a day changes nothing: no later day of it would.
// NoProgressSteps does nothing and compiles away. Internal to the library.

namespace dovrel::progress_pass {

inline constexpr double kFullScore = 100;
inline constexpr double kStepDivisor = 21;
inline constexpr double kMinimumGain = 0.1;
inline constexpr double kDecayThreshold = 0.1;
inline constexpr double kDecayFactor = 0.5;
inline constexpr double kFixedDecay = 0.05;
inline constexpr std::int64_t kFreeGap = 1;

// From this score up, a step (100 - p) / 21 is below 0.1 (100 - p is exact for p up to 200, and
// negative above): a checkmark gains the minimum and a missed day costs the fixed decay, the same
// results without the division by 21. A score that has reached 100 stays near it through regular
// checkmarks, and this keeps the division off the chain of dependent operations that a long
// history's pass is.
inline constexpr double kSmallStepFrom = 97.91;
static_assert((kFullScore - kSmallStepFrom) / kStepDivisor < kMinimumGain);
static_assert((kFullScore - kSmallStepFrom) / kStepDivisor < kDecayThreshold);

struct NoProgressSteps {
    void checkmark(Date, double, double) {}
    void missedDays(Date, std::int64_t, double) {}
    void missedDay(double, double) {}
};

inline double gained(double progress) {
    double result = 0;
    if (progress >= kSmallStepFrom) {
        result = progress + kMinimumGain;
    } else {
        result = progress + std::max((kFullScore - progress) / kStepDivisor, kMinimumGain);
    }
    if (result <= 0) {
        result = 0;
    } else if (result > kFullScore) {
        result = kFullScore;
    }
    return result;
}

// One missed day. `fixedLoss` is kFixedDecay / divisor, what the fixed decay costs: the same
// division for every day of a gap, done once. `perDivisor(loss)` is loss / divisor.
template <typename PerDivisor>
double missedDay(double progress, double fixedLoss, PerDivisor perDivisor) {
    double result = 0;
    if (progress >= kSmallStepFrom) {
        result = progress - fixedLoss;
    } else {
        const double step = (kFullScore - progress) / kStepDivisor;
        const double loss = step >= kDecayThreshold ? step * kDecayFactor : kFixedDecay;
        result = progress - perDivisor(loss);
    }
    if (result <= 0) {
        result = 0;
    }
    if (result > kFullScore) {
        result = kFullScore;
    }
    return result;
}

template <typename PerDivisor, typename Steps>
double decayedBy(double progress, std::int64_t count, double fixedLoss, PerDivisor perDivisor,
                 Steps& steps) {
    for (std::int64_t day = 0; day < count; ++day) {
        const double next = missedDay(progress, fixedLoss, perDivisor);
        steps.missedDay(progress, next);
        // Each missed day depends on the score alone: once a day changes nothing (0, or a loss
        // too small to move the score), no later day will, so a long gap ends here.
        if (next == progress || std::isnan(next)) {
            return next;
        }
        progress = next;
    }
    return progress;
}

// Whether `value` is a power of two (positive or negative) whose reciprocal is a double too: then
// x / value and x * (1 / value) are the same correctly rounded x * 2^-k, for every x.
bool isPowerOfTwo(double value);

// perDays / repeatingTimes truncated toward zero; stops the process where that cannot be done.
double intervalDivisor(std::int64_t repeatingTimes, std::int64_t perDays);

// Sorts `dates` ascending. A NaN date cannot be ordered; with a second date its day gap would be
// asked for, and the calendar has no day for it, which stops the process: it does so here, the
// same way, before the sort could misbehave.
void sortDates(std::vector<Date>& dates, CalendarDayIndex& index);

// The dates not later than `onDate` (instants compared), sorted as sortDates sorts them.
std::vector<Date> sortedUpTo(std::span<const Date> dates, Date onDate, CalendarDayIndex& index);

// `missedDays` missed days' decay applied to `progress`, one after another, with `divisor`.
template <typename Steps>
double decayed(double progress, std::int64_t missedDays, double divisor, Steps& steps) {
    const double fixedLoss = kFixedDecay / divisor;
    // A daily habit's divisor is 1, a 3/7 habit's 2: dividing by them is multiplying by the
    // reciprocal, which takes a division off every missed day's chain of dependent operations.
    if (isPowerOfTwo(divisor)) {
        const double reciprocal = 1 / divisor;
        return decayedBy(
            progress, missedDays, fixedLoss,
            [reciprocal](double loss) { return loss * reciprocal; }, steps);
    }
    return decayedBy(
        progress, missedDays, fixedLoss, [divisor](double loss) { return loss / divisor; }, steps);
}

// The score after a gap of `gap` days from `previous`'s day (0 or 1 cost nothing).
template <typename Steps>
double afterGap(double progress, Date previous, std::int64_t gap, std::int64_t repeatingTimes,
                std::int64_t perDays, Steps& steps) {
    if (gap <= kFreeGap) {
        return progress;
    }
    const double divisor = intervalDivisor(repeatingTimes, perDays);
    steps.missedDays(previous, gap - kFreeGap, divisor);
    return decayed(progress, gap - kFreeGap, divisor, steps);
}

// The whole-history pass over dates already sorted ascending. Days are asked for only where a
// gap is measured, so a single date needs none. The divisor is computed at the first gap of two
// days or more, and only then.
template <typename Steps>
double overSorted(std::span<const Date> sorted, std::int64_t repeatingTimes, std::int64_t perDays,
                  CalendarDayIndex& index, Steps& steps) {
    if (sorted.empty()) {
        return 0;
    }
    double progress = gained(0);
    steps.checkmark(sorted.front(), 0, progress);
    if (sorted.size() == 1) {
        return progress;
    }
    AscendingDayGaps gaps(index, sorted.front());
    std::optional<double> divisor;
    Date previous = sorted.front();
    for (const Date date : sorted.subspan(1)) {
        const std::int64_t gap = gaps.next(date);
        if (gap > kFreeGap) {
            if (!divisor) {
                divisor = intervalDivisor(repeatingTimes, perDays);
            }
            steps.missedDays(previous, gap - kFreeGap, *divisor);
            progress = decayed(progress, gap - kFreeGap, *divisor, steps);
        }
        const double before = progress;
        progress = gained(progress);
        steps.checkmark(date, before, progress);
        previous = date;
    }
    return progress;
}

// A score continued from the last checkmark's day to `onDate`'s day (a gap below 0 counts as 0).
template <typename Steps>
double continued(double progress, std::optional<Date> lastDate, std::int64_t repeatingTimes,
                 std::int64_t perDays, Date onDate, CalendarDayIndex& index, Steps& steps) {
    if (!lastDate) {
        return progress;
    }
    const std::int64_t gap = std::max<std::int64_t>(index.dayGap(onDate, *lastDate), 0);
    return afterGap(progress, *lastDate, gap, repeatingTimes, perDays, steps);
}

}  // namespace dovrel::progress_pass
