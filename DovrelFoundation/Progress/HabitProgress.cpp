#include "DovrelFoundation/Progress/HabitProgress.h"

#include "DovrelFoundation/Progress/HabitProgressCalculator.h"

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
    // A cached score outside 0...100 (a store row that anyone may have written) describes no
    // state at all: the score is recomputed from the history as for an earlier day.
    if ((last && on < *last) || !HabitProgressCalculator::isScore(lastPerformingDateProgress)) {
        const std::vector<Date> dates = performingDates();
        return HabitProgressCalculator::calculateProgress(dates, interval->times(),
                                                          interval->days(), on);
    }
    return HabitProgressCalculator::roundedUp(HabitProgressCalculator::continuedProgress(
        lastPerformingDateProgress, last, interval->times(), interval->days(), on));
}

}  // namespace dovrel
