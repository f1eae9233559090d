#include "DovrelFoundation/HabitProgress.h"

#include "DovrelFoundation/HabitProgressCalculator.h"

namespace dovrel {

std::int64_t habitProgress(const std::optional<RepeatInterval>& interval,
                           const std::optional<LastFivePerformingDates>& lastFivePerformingDates,
                           double lastPerformingDateProgress, Date on,
                           const std::function<std::vector<Date>()>& performingDates) {
    if (!interval) {
        return 0;
    }
    std::optional<Date> last;
    if (lastFivePerformingDates && !lastFivePerformingDates->dates().empty()) {
        last = lastFivePerformingDates->dates().back();
    }
    if (last && on < *last) {
        const std::vector<Date> dates = performingDates();
        return HabitProgressCalculator::calculateProgress(dates, interval->times(),
                                                          interval->days(), on);
    }
    return HabitProgressCalculator::roundedUp(HabitProgressCalculator::continuedProgress(
        lastPerformingDateProgress, last, interval->times(), interval->days(), on));
}

}  // namespace dovrel
