#pragma once

#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "DovrelFoundation/Progress/ProgressExplanation.h"
#include "apps/dovrel/HabitReport.h"
#include "apps/dovrel/Terminal.h"
#include "platform/foundation/Region.h"

namespace dovrel::cli {

// What `dovrel why` shows of an explanation: the habit and day with the shown score, its
// interval and counts of checkmarks and missed days, the last kShownSteps steps (oldest first)
// with their day, the score before and after and the change, the kBiggestSteps biggest gains and
// losses of the whole history, and for each of kMilestoneScores the further checkmarks at the
// habit's rhythm that reach it ("N more checkmarks at this rhythm reach 50 on DATE"). The report
// gives the habit's name, list number, URI and interval name; the explanation is for its day.
inline constexpr std::size_t kShownSteps = 30;
inline constexpr std::size_t kBiggestSteps = 3;
inline constexpr std::int64_t kMilestoneScores[] = {50, 80, 100};

// Lines for people, in the conventions of the locale of `region` (numbers with two decimals).
std::vector<std::string> progressWhyLines(const HabitReport& report,
                                          const ProgressExplanation& explanation,
                                          const Terminal& terminal, const Region& region);

// The same facts for scripts: days as "YYYY-MM-DD" local days, the instant in ISO 8601, scores
// unrounded.
nlohmann::ordered_json progressWhyJson(const HabitReport& report,
                                       const ProgressExplanation& explanation,
                                       const Region& region);

}  // namespace dovrel::cli
