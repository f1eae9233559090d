#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "DovrelFoundation/Model/Habit.h"
#include "apps/dovrel/HabitReport.h"

namespace dovrel::cli {

// What to collect besides the habit's own values.
enum class ReportDetail {
    list,     // the list: no checkmark history is read unless the library needs it
    details,  // show: every checkmark date as well
};

// The report of `habit` (list number `listNumber`) for the instant `day`: its stored values, the
// library's progress on that day (Habit::progress) and whether the day has a checkmark
// (Habit::hasPerformings), the five-date cache, and for details every checkmark date, ascending.
HabitReport makeHabitReport(const Habit& habit, std::size_t listNumber, Date day,
                            ReportDetail detail);

// The reports of a whole list, in its order (list numbers 1, 2, ...), for the same day.
std::vector<HabitReport> makeHabitReports(const std::vector<std::shared_ptr<Habit>>& habits,
                                          Date day, ReportDetail detail);

}  // namespace dovrel::cli
