#include "DovrelFoundation/Progress/HabitProgressCalculator.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <span>
#include <vector>

#include "DovrelFoundation/Progress/AscendingDayGaps.h"
#include "DovrelFoundation/Progress/CalendarDayIndex.h"
#include "platform/foundation/FatalError.h"

namespace dovrel {

namespace {

constexpr double kFullScore = 100;
constexpr double kStepDivisor = 21;
constexpr double kMinimumGain = 0.1;
constexpr double kDecayThreshold = 0.1;
constexpr double kDecayFactor = 0.5;
constexpr double kFixedDecay = 0.05;
constexpr std::int64_t kFreeGap = 1;

// From this score up, a step (100 - p) / 21 is below 0.1 (100 - p is exact for p up to 200, and
// negative above): a checkmark gains the minimum and a missed day costs the fixed decay, the same
// results without the division by 21. A score that has reached 100 stays near it through regular
// checkmarks, and this keeps the division off the chain of dependent operations that a long
// history's pass is.
constexpr double kSmallStepFrom = 97.91;
static_assert((kFullScore - kSmallStepFrom) / kStepDivisor < kMinimumGain);
static_assert((kFullScore - kSmallStepFrom) / kStepDivisor < kDecayThreshold);

double gained(double progress) {
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

template <typename PerDivisor>
double decayedBy(double progress, std::int64_t count, double fixedLoss, PerDivisor perDivisor) {
    for (std::int64_t day = 0; day < count; ++day) {
        const double next = missedDay(progress, fixedLoss, perDivisor);
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
bool isPowerOfTwo(double value) {
    constexpr std::uint64_t kMantissa = (std::uint64_t{1} << 52) - 1;
    constexpr std::uint64_t kExponent = std::uint64_t{0x7ff} << 52;
    const auto bits = std::bit_cast<std::uint64_t>(value);
    const std::uint64_t exponent = bits & kExponent;
    return (bits & kMantissa) == 0 && exponent != 0 && exponent != kExponent;
}

// The score after a gap of `gap` days (0 or 1 cost nothing).
double afterGap(double progress, std::int64_t gap, std::int64_t repeatingTimes,
                std::int64_t perDays) {
    if (gap <= kFreeGap) {
        return progress;
    }
    return HabitProgressCalculator::decayedProgress(
        progress, gap - kFreeGap,
        HabitProgressCalculator::intervalDivisor(repeatingTimes, perDays));
}

// The whole-history pass over dates already sorted ascending. Days are asked for only where a
// gap is measured, so a single date needs none. The divisor is computed at the first gap of two
// days or more, and only then.
double progressOverSorted(std::span<const Date> sorted, std::int64_t repeatingTimes,
                          std::int64_t perDays, CalendarDayIndex& index) {
    if (sorted.empty()) {
        return 0;
    }
    double progress = gained(0);
    if (sorted.size() == 1) {
        return progress;
    }
    AscendingDayGaps gaps(index, sorted.front());
    std::optional<double> divisor;
    for (const Date date : sorted.subspan(1)) {
        const std::int64_t gap = gaps.next(date);
        if (gap > kFreeGap) {
            if (!divisor) {
                divisor = HabitProgressCalculator::intervalDivisor(repeatingTimes, perDays);
            }
            progress = HabitProgressCalculator::decayedProgress(progress, gap - kFreeGap, *divisor);
        }
        progress = gained(progress);
    }
    return progress;
}

// Sorts `dates` ascending. A NaN date cannot be ordered; with a second date its day gap would be
// asked for, and the calendar has no day for it, which stops the process: it does so here, the
// same way, before the sort could misbehave.
void sortDates(std::vector<Date>& dates, CalendarDayIndex& index) {
    if (dates.size() >= 2) {
        for (const Date date : dates) {
            if (std::isnan(date.timeIntervalSinceReferenceDate())) {
                index.dayStart(date);
                fatalError("A checkmark date is not a number");
            }
        }
    }
    std::sort(dates.begin(), dates.end());
}

// A stored score as a score: within 0...100, NaN as 0.
double scoreWithinBounds(double progress) {
    if (std::isnan(progress)) {
        return 0;
    }
    return std::clamp(progress, 0.0, kFullScore);
}

double continued(double progress, std::optional<Date> lastDate, std::int64_t repeatingTimes,
                 std::int64_t perDays, Date onDate, CalendarDayIndex& index) {
    if (!lastDate) {
        return progress;
    }
    const std::int64_t gap = std::max<std::int64_t>(index.dayGap(onDate, *lastDate), 0);
    return afterGap(progress, gap, repeatingTimes, perDays);
}

}  // namespace

double HabitProgressCalculator::gainedProgress(double progress) {
    return gained(progress);
}

double HabitProgressCalculator::decayedProgress(double progress, std::int64_t missedDays,
                                                double divisor) {
    const double fixedLoss = kFixedDecay / divisor;
    // A daily habit's divisor is 1, a 3/7 habit's 2: dividing by them is multiplying by the
    // reciprocal, which takes a division off every missed day's chain of dependent operations.
    if (isPowerOfTwo(divisor)) {
        const double reciprocal = 1 / divisor;
        return decayedBy(progress, missedDays, fixedLoss,
                         [reciprocal](double loss) { return loss * reciprocal; });
    }
    return decayedBy(progress, missedDays, fixedLoss,
                     [divisor](double loss) { return loss / divisor; });
}

double HabitProgressCalculator::intervalDivisor(std::int64_t repeatingTimes, std::int64_t perDays) {
    if (repeatingTimes == 0) {
        fatalError("Division by zero: the interval divisor's repeatingTimes is 0");
    }
    if (repeatingTimes == -1 && perDays == std::numeric_limits<std::int64_t>::min()) {
        fatalError(
            "Division results in an overflow: the interval divisor's perDays is the most "
            "negative integer and repeatingTimes is -1");
    }
    return static_cast<double>(perDays / repeatingTimes);
}

std::int64_t HabitProgressCalculator::roundedUp(double progress) {
    const double ceiling = std::ceil(progress);
    constexpr double kLimit = 9223372036854775808.0;  // 2^63, exact as a double
    if (!std::isfinite(ceiling) || ceiling < -kLimit || ceiling >= kLimit) {
        fatalError("The progress is not finite or does not fit a 64-bit integer");
    }
    return static_cast<std::int64_t>(ceiling);
}

double HabitProgressCalculator::calculateProgress(std::span<const Date> performingDates,
                                                  std::int64_t repeatingTimes,
                                                  std::int64_t perDays) {
    if (performingDates.empty()) {
        return 0;
    }
    CalendarDayIndex index = CalendarDayIndex::current();
    std::vector<Date> sorted(performingDates.begin(), performingDates.end());
    sortDates(sorted, index);
    return progressOverSorted(sorted, repeatingTimes, perDays, index);
}

std::int64_t HabitProgressCalculator::calculateProgress(std::span<const Date> performingDates,
                                                        std::int64_t repeatingTimes,
                                                        std::int64_t perDays, Date onDate) {
    CalendarDayIndex index = CalendarDayIndex::current();
    std::vector<Date> kept;
    kept.reserve(performingDates.size());
    std::copy_if(performingDates.begin(), performingDates.end(), std::back_inserter(kept),
                 [onDate](Date date) { return date <= onDate; });
    sortDates(kept, index);
    const double progress = progressOverSorted(kept, repeatingTimes, perDays, index);
    const std::optional<Date> last = kept.empty() ? std::nullopt : std::optional<Date>(kept.back());
    return roundedUp(continued(progress, last, repeatingTimes, perDays, onDate, index));
}

std::int64_t HabitProgressCalculator::calculateProgress(double lastPerformanceDateProgress,
                                                        std::optional<Date> lastPerformanceDate,
                                                        std::int64_t repeatingTimes,
                                                        std::int64_t perDays, Date onDate) {
    return roundedUp(continuedProgress(lastPerformanceDateProgress, lastPerformanceDate,
                                       repeatingTimes, perDays, onDate));
}

double HabitProgressCalculator::continuedProgress(double lastPerformanceDateProgress,
                                                  std::optional<Date> lastPerformanceDate,
                                                  std::int64_t repeatingTimes, std::int64_t perDays,
                                                  Date onDate) {
    const double score = scoreWithinBounds(lastPerformanceDateProgress);
    if (!lastPerformanceDate) {
        return score;
    }
    CalendarDayIndex index = CalendarDayIndex::current();
    return continued(score, lastPerformanceDate, repeatingTimes, perDays, onDate, index);
}

}  // namespace dovrel
