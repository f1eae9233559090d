#include "DovrelFoundation/Progress/HabitProgressCalculator.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <span>
#include <vector>

#include "DovrelFoundation/Progress/CalendarDayIndex.h"
#include "DovrelFoundation/Progress/ProgressPass.h"
#include "platform/foundation/FatalError.h"

namespace dovrel {

using namespace progress_pass;

namespace {

// A stored score as a score: within 0...100, NaN as 0.
double scoreWithinBounds(double progress) {
    if (std::isnan(progress)) {
        return 0;
    }
    return std::clamp(progress, 0.0, kFullScore);
}

}  // namespace

double HabitProgressCalculator::gainedProgress(double progress) {
    return gained(progress);
}

double HabitProgressCalculator::decayedProgress(double progress, std::int64_t missedDays,
                                                double divisor) {
    NoProgressSteps steps;
    return decayed(progress, missedDays, divisor, steps);
}

double HabitProgressCalculator::intervalDivisor(std::int64_t repeatingTimes, std::int64_t perDays) {
    return progress_pass::intervalDivisor(repeatingTimes, perDays);
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
    NoProgressSteps steps;
    return overSorted(sorted, repeatingTimes, perDays, index, steps);
}

std::int64_t HabitProgressCalculator::calculateProgress(std::span<const Date> performingDates,
                                                        std::int64_t repeatingTimes,
                                                        std::int64_t perDays, Date onDate) {
    CalendarDayIndex index = CalendarDayIndex::current();
    const std::vector<Date> kept = sortedUpTo(performingDates, onDate, index);
    NoProgressSteps steps;
    const double progress = overSorted(kept, repeatingTimes, perDays, index, steps);
    const std::optional<Date> last = kept.empty() ? std::nullopt : std::optional<Date>(kept.back());
    return roundedUp(continued(progress, last, repeatingTimes, perDays, onDate, index, steps));
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
    NoProgressSteps steps;
    return continued(score, lastPerformanceDate, repeatingTimes, perDays, onDate, index, steps);
}

}  // namespace dovrel
