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

// Which day a list is for: today, or a day that was asked for (list --at).
enum class ListDay { today, asked };

// The habit list: a header line, then one line per habit with its list number, colour swatch
// (with colours only), name, interval, progress bar and number, the mark of the report's day
// (checked or not) and the days of its last five checkmarks. The mark's column is headed "Today"
// for today, and by the reports' day (in the locale's short month-and-day form) for an asked
// day; all reports must be for the same day. No habits: a friendly line that says how to add one.
std::vector<std::string> habitListLines(const std::vector<HabitReport>& reports,
                                        const Terminal& terminal, const Region& region,
                                        ListDay day = ListDay::today);

// One habit in detail: name and question, interval, colour, reminder, creation date, number of
// checkmarks, then the report's day with the progress and whether it is checked, then the month
// of that day as a calendar with the checked days marked. The report must carry its checkmarks.
// What the details end with: the month of the report's day, or the year up to it as a grid of
// weeks (YearHeatMap).
enum class DetailCalendar { month, year };
std::vector<std::string> habitDetailLines(const HabitReport& report, const Terminal& terminal,
                                          const Region& region,
                                          DetailCalendar calendar = DetailCalendar::month);

// "“Read”", the habit's name in the locale's quotation marks; "#<list number>" for a habit
// without a name.
std::string quotedHabitName(const HabitReport& report);

}  // namespace dovrel::cli
