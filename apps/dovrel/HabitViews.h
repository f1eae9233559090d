#pragma once

#include <string>
#include <vector>

#include "apps/dovrel/HabitReport.h"
#include "apps/dovrel/Terminal.h"
#include "platform/foundation/Region.h"

namespace dovrel::cli {

// The texts people read, made from habit reports. Labels come from the string tables, dates in
// the conventions of the locale of `region` (its zone and locale; always the Gregorian
// calendar). Lines carry no line ends.

// The habit list: a header line, then one line per habit with its list number, colour swatch
// (with colours only), name, interval, progress bar and number, the mark of the report's day
// (checked or not) and the days of its last five checkmarks. No habits: a friendly line that
// says how to add one.
std::vector<std::string> habitListLines(const std::vector<HabitReport>& reports,
                                        const Terminal& terminal, const Region& region);

// One habit in detail: name and question, interval, colour, reminder, creation date, number of
// checkmarks, then the report's day with the progress and whether it is checked, then the month
// of that day as a calendar with the checked days marked. The report must carry its checkmarks.
std::vector<std::string> habitDetailLines(const HabitReport& report, const Terminal& terminal,
                                          const Region& region);

// "“Read”", the habit's name in the locale's quotation marks; "#<list number>" for a habit
// without a name.
std::string quotedHabitName(const HabitReport& report);

}  // namespace dovrel::cli
