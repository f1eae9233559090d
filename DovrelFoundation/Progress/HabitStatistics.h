#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "DovrelFoundation/Model/RepeatInterval.h"
#include "platform/foundation/Date.h"

namespace dovrel {

// A streak in the habit's own terms. For an interval of `times` in `days`, the window of a day
// is that day and the days - 1 days before it; the day is on track when its window holds
// checkmarks on at least `times` different days. A streak is a run of consecutive days on track:
// it begins on the earliest checkmark day of its first day's window and lasts until its last day
// on track, which may come after its last checkmark (a 3-in-7 habit checked on three days stays
// on track until the first window that no longer holds three). Every day 1/1 is the plain
// streak of consecutive checked days.
struct Streak {
    Date start;                   // the start of its first day
    Date end;                     // the start of its last day on track
    std::int64_t days = 0;        // from start to end, both included
    std::int64_t checkmarks = 0;  // days with a checkmark within it
    friend bool operator==(const Streak&, const Streak&) = default;
};

// How well a calendar week or month went: the days with a checkmark against the days the
// interval asks for in it (times * days in the period / days of the interval, counting only the
// days up to the day asked about in the current period), as a rate capped at 1.
struct CompletionRate {
    Date start;                    // the start of the period's first day counted
    std::int64_t periodDays = 0;   // days counted (fewer in the current and the first period)
    std::int64_t checkedDays = 0;  // of them, days with a checkmark
    double expectedDays = 0;
    double rate = 0;  // checkedDays / expectedDays, at most 1; 0 when nothing was expected
    friend bool operator==(const CompletionRate&, const CompletionRate&) = default;
};

// Streaks and completion rates of a habit's checkmarks on a day, in the current calendar and
// zone. A value; computing it reads nothing but its arguments. Several checkmarks on one day
// count as one day. Checkmarks after the day asked about are left out.
class HabitStatistics {
  public:
    // Up to `weeks` calendar weeks (starting on `firstWeekday`, 1 = Sunday ... 7 = Saturday) and
    // `months` calendar months, the last of each the one holding `on`, oldest first. Rates count
    // from the day of `since` (the habit's creation, say) or of the first checkmark, whichever
    // is earlier: periods before it are left out, and the one holding it counts from it. An
    // interval whose times or days is below 1 has no streaks (nothing can be on track) and
    // expects nothing.
    static HabitStatistics compute(std::span<const Date> performingDates,
                                   const RepeatInterval& interval, Date on,
                                   std::int64_t firstWeekday, std::optional<Date> since,
                                   std::size_t weeks = 8, std::size_t months = 12);

    // The streak that holds on `on`'s day, or, while that day has not put it on track yet, the
    // one that held on the day before: today is not over.
    const std::optional<Streak>& currentStreak() const noexcept { return current_; }
    // The longest streak (the latest of equally long ones).
    const std::optional<Streak>& bestStreak() const noexcept { return best_; }
    // Every streak, oldest first.
    const std::vector<Streak>& streaks() const noexcept { return streaks_; }
    const std::vector<CompletionRate>& weeks() const noexcept { return weeks_; }
    const std::vector<CompletionRate>& months() const noexcept { return months_; }
    // Days with a checkmark, up to `on`'s day.
    std::int64_t checkedDays() const noexcept { return checkedDays_; }

  private:
    std::optional<Streak> current_;
    std::optional<Streak> best_;
    std::vector<Streak> streaks_;
    std::vector<CompletionRate> weeks_;
    std::vector<CompletionRate> months_;
    std::int64_t checkedDays_ = 0;
};

}  // namespace dovrel
