#pragma once

#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "DovrelFoundation/Progress/HabitStatistics.h"
#include "apps/dovrel/HabitReport.h"
#include "apps/dovrel/Terminal.h"
#include "platform/foundation/Region.h"

namespace dovrel::cli {

// What `dovrel stats` shows. Statistics are absent for a habit without a repeat interval (it has
// neither streaks nor an expected number of checkmarks). Texts follow the locale of `region`;
// the JSON has local days ("YYYY-MM-DD") and shares from 0 to 1.
struct HabitStatisticsReport {
    HabitReport report;
    std::optional<HabitStatistics> statistics;
};

// One line per habit after a header: list number, name, interval, the current and the best
// streak in days, and this week's and this month's completion.
std::vector<std::string> statisticsListLines(const std::vector<HabitStatisticsReport>& habits,
                                             const Terminal& terminal, const Region& region);

// One habit: its current and best streak with their days, the number of checked days, then the
// completion of each week and each month, oldest first.
std::vector<std::string> statisticsDetailLines(const HabitStatisticsReport& habit,
                                               const Terminal& terminal, const Region& region);

nlohmann::ordered_json statisticsJson(const HabitStatisticsReport& habit, const Region& region);

}  // namespace dovrel::cli
