#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "DovrelFoundation/Model/RepeatInterval.h"
#include "platform/foundation/Date.h"

namespace dovrel {

class Habit;

// One step the progress formula took: a checkmark's gain or a missed day's loss.
struct ProgressStep {
    enum class Kind { checkmark, missedDay };
    Kind kind = Kind::checkmark;
    // The start of the step's day: the checkmark's day, or the day that was missed.
    Date day;
    // The unrounded score before and after the step.
    double before = 0;
    double after = 0;

    double change() const { return after - before; }
    friend bool operator==(const ProgressStep&, const ProgressStep&) = default;
};

// What reaching a shown score takes from the explained day on: `checkmarks` further checkmarks,
// one every max(days / times, 1) days of the habit's interval starting on the explained day (or
// the next such day when that day has a checkmark already), the last of them on `day` (the start
// of its day). 0 checkmarks and the explained day when the score is reached already.
struct ProgressMilestone {
    std::int64_t score = 0;
    std::int64_t checkmarks = 0;
    Date day;
    friend bool operator==(const ProgressMilestone&, const ProgressMilestone&) = default;
};

// Why a habit's score is what it is on a given instant: every step the progress formula took
// over the checkmarks not later than that instant, and the missed days from the last of them to
// the instant's day. The steps are made by the very pass that computes the score
// (HabitProgressCalculator::calculateProgress(dates, times, days, on)), so progress() is that
// score, bit for bit. Days are those of the current calendar and zone when explain() runs.
//
// A value; explain() has the calculator's fatal errors (an interval that cannot divide, a
// checkmark date that is not a number), and no other failure.
class ProgressExplanation {
  public:
    // Without an interval the score is 0 and there are no steps, as Habit::progress says.
    static ProgressExplanation explain(std::span<const Date> performingDates,
                                       const std::optional<RepeatInterval>& interval, Date on);
    // The habit's checkmarks and interval (the checkmarks are read).
    static ProgressExplanation explain(const Habit& habit, Date on);

    // The steps in the order taken. A missed day that changed nothing (the score was 0, or its
    // loss too small to move it) is not a step, nor is any later day of the same run.
    const std::vector<ProgressStep>& steps() const noexcept { return steps_; }
    // Every missed day the formula counted, those that changed nothing included.
    std::int64_t missedDays() const noexcept { return missedDays_; }
    // The unrounded score on the explained instant, and the score as shown (rounded up).
    double unroundedProgress() const noexcept { return unroundedProgress_; }
    std::int64_t progress() const noexcept { return progress_; }
    Date on() const noexcept { return on_; }

    // The further checkmarks that raise the shown score to `score` (0...100), or nothing when
    // the habit has no interval or the rhythm never gets there (within 10,000 checkmarks and
    // 100,000 days).
    std::optional<ProgressMilestone> milestone(std::int64_t score) const;

  private:
    ProgressExplanation() = default;

    std::vector<ProgressStep> steps_;
    std::int64_t missedDays_ = 0;
    double unroundedProgress_ = 0;
    std::int64_t progress_ = 0;
    Date on_;
    std::optional<RepeatInterval> interval_;
    // The score right after the last checkmark kept, and that checkmark.
    double progressAtLastCheckmark_ = 0;
    std::optional<Date> lastCheckmark_;
};

}  // namespace dovrel
