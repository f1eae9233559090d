#include "DovrelFoundation/Progress/ProgressExplanation.h"

#include <algorithm>

#include "DovrelFoundation/Model/Habit.h"
#include "DovrelFoundation/Progress/CalendarDayIndex.h"
#include "DovrelFoundation/Progress/DateExtensions.h"
#include "DovrelFoundation/Progress/HabitProgressCalculator.h"
#include "DovrelFoundation/Progress/ProgressPass.h"

namespace dovrel {

namespace {

constexpr std::int64_t kLongestRhythm = 10'000;
// Milestones further ahead than this many days (about 270 years) are out of reach: no calendar
// worth showing places them.
constexpr std::int64_t kFarthestDay = 100'000;

// Writes down the steps of a pass, and counts every missed day. A missed day that changed
// nothing ends its run (no later day of it would change anything): neither it nor the rest of
// the run is a step.
class StepRecorder {
  public:
    StepRecorder(CalendarDayIndex& index, std::vector<ProgressStep>& steps,
                 std::int64_t& missedDays)
        : index_(index), steps_(steps), missedDays_(missedDays) {}

    void checkmark(Date date, double before, double after) {
        steps_.push_back({ProgressStep::Kind::checkmark, index_.dayStart(date), before, after});
    }
    void missedDays(Date previous, std::int64_t count, double) {
        runFrom_ = index_.dayStart(previous);
        runDay_ = 0;
        missedDays_ += count;
    }
    void missedDay(double before, double after) {
        ++runDay_;
        if (after == before) {
            return;
        }
        steps_.push_back(
            {ProgressStep::Kind::missedDay, dateInDays(runFrom_, runDay_), before, after});
    }

  private:
    CalendarDayIndex& index_;
    std::vector<ProgressStep>& steps_;
    std::int64_t& missedDays_;
    Date runFrom_;
    std::int64_t runDay_ = 0;
};

}  // namespace

ProgressExplanation ProgressExplanation::explain(std::span<const Date> performingDates,
                                                 const std::optional<RepeatInterval>& interval,
                                                 Date on) {
    ProgressExplanation explanation;
    explanation.on_ = on;
    explanation.interval_ = interval;
    if (!interval) {
        return explanation;
    }
    CalendarDayIndex index = CalendarDayIndex::current();
    const std::vector<Date> kept = progress_pass::sortedUpTo(performingDates, on, index);
    StepRecorder recorder(index, explanation.steps_, explanation.missedDays_);
    const double atLast =
        progress_pass::overSorted(kept, interval->times(), interval->days(), index, recorder);
    explanation.progressAtLastCheckmark_ = atLast;
    if (!kept.empty()) {
        explanation.lastCheckmark_ = kept.back();
    }
    explanation.unroundedProgress_ =
        progress_pass::continued(atLast, explanation.lastCheckmark_, interval->times(),
                                 interval->days(), on, index, recorder);
    explanation.progress_ = HabitProgressCalculator::roundedUp(explanation.unroundedProgress_);
    return explanation;
}

ProgressExplanation ProgressExplanation::explain(const Habit& habit, Date on) {
    const auto interval = habit.repeatInterval();
    if (!interval) {
        return explain(std::span<const Date>(), std::nullopt, on);
    }
    return explain(habit.performingDates(), interval, on);
}

std::optional<ProgressMilestone> ProgressExplanation::milestone(std::int64_t score) const {
    if (!interval_) {
        return std::nullopt;
    }
    CalendarDayIndex index = CalendarDayIndex::current();
    const Date today = index.dayStart(on_);
    if (progress_ >= score) {
        return ProgressMilestone{score, 0, today};
    }
    const std::int64_t times = interval_->times();
    const std::int64_t days = interval_->days();
    const std::int64_t rhythm = times > 0 ? std::max<std::int64_t>(days / times, 1) : 1;
    double progress = progressAtLastCheckmark_;
    std::optional<Date> last = lastCheckmark_;
    if (rhythm > kFarthestDay) {
        return std::nullopt;
    }
    std::int64_t ahead = last && index.dayStart(*last) == today ? rhythm : 0;
    Date next = dateInDays(today, ahead);
    progress_pass::NoProgressSteps none;
    for (std::int64_t checkmarks = 1; checkmarks <= kLongestRhythm; ++checkmarks) {
        if (last) {
            const std::int64_t gap = std::max<std::int64_t>(index.dayGap(next, *last), 0);
            progress = progress_pass::afterGap(progress, *last, gap, times, days, none);
        }
        progress = progress_pass::gained(progress);
        if (HabitProgressCalculator::roundedUp(progress) >= score) {
            return ProgressMilestone{score, checkmarks, next};
        }
        ahead += rhythm;
        if (ahead > kFarthestDay) {
            return std::nullopt;
        }
        last = next;
        next = dateInDays(next, rhythm);
    }
    return std::nullopt;
}

}  // namespace dovrel
