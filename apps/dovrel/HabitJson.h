#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "apps/dovrel/HabitReport.h"
#include "platform/foundation/Region.h"

namespace dovrel::cli {

// The JSON that `list --json` and `show --json` print, an interface that scripts rely on. One
// habit is an object with exactly these keys, in this order:
//   "uri"                      text
//   "name", "question"         text or null
//   "color"                    "#RRGGBB" or null
//   "times", "days"            integers of the repeat interval, or null
//   "interval"                 the interval's localised name, or null
//   "remind"                   boolean
//   "remindTime"               "HH:MM" local time, or null
//   "progress"                 the whole number shown for the day (0-100)
//   "checked"                  whether the day has a checkmark
//   "lastFivePerformingDates"  array of dates, ascending
//   "checkmarks"               array of every checkmark date, ascending (only when the report
//                              carries them: show)
// Dates are ISO 8601 local times with the zone's offset in `region`, to the second
// ("2026-03-10T09:00:00+02:00").
nlohmann::ordered_json habitJson(const HabitReport& report, const Region& region);

// An array of habitJson objects, in the given order.
nlohmann::ordered_json habitListJson(const std::vector<HabitReport>& reports, const Region& region);

// `date` as an ISO 8601 local time with offset in the zone of `region`.
std::string isoDateTime(Date date, const Region& region);

// The local time of day of `date` in the zone of `region`, "HH:MM".
std::string timeOfDayText(Date date, const Region& region);

}  // namespace dovrel::cli
