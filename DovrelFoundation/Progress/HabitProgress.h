#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "DovrelFoundation/Model/LastFivePerformingDates.h"
#include "DovrelFoundation/Model/RepeatInterval.h"
#include "platform/foundation/Date.h"

namespace dovrel {

// A habit's progress on the day of `on`, a whole number from 0 to 100, from the habit's repeat
// interval, its two caches (the five latest checkmark dates and the unrounded score right after
// the latest checkmark) and, only when needed, all of its checkmark dates:
//
//   - no repeat interval: 0;
//   - `on` earlier than the cache's last date (instants compared): the cache describes a later
//     state, so the score is recomputed from `performingDates()` as
//     HabitProgressCalculator::calculateProgress(dates, times, days, on), already rounded up;
//   - a cached score that is not a score (outside 0...100, or not a number: only a store row
//     written by someone else holds one) is not trusted either: recomputed the same way;
//   - otherwise (no cache, an empty cache, or `on` not earlier than its last date): the cached
//     score continued from the last date to `on`'s day, rounded up; with no last date, the
//     ceiling of the cached score.
//
// `performingDates` is called at most once, and only when recomputing: asking for today or a
// later day with sound caches reads the two cached values and no checkmark at all.
std::int64_t habitProgress(const std::optional<RepeatInterval>& interval,
                           const std::optional<LastFivePerformingDates>& lastFivePerformingDates,
                           double lastPerformingDateProgress, Date on,
                           const std::function<std::vector<Date>()>& performingDates);

}  // namespace dovrel
