#pragma once

#include <cstddef>
#include <filesystem>

#include "platform/store/ManagedObjectContext.h"

namespace dovrel {

// What an export wrote.
struct CsvExportOutcome {
    std::size_t habits = 0;
    std::size_t checkmarks = 0;
};

// Writes every habit of the store of `context` (its thread's context) to `folder` as two CSV
// files that spreadsheets read (RFC 4180 quoting, UTF-8, CRLF line ends, a header line each):
//   habits.csv      uri, name, question, color (#RRGGBB), times, days, remind, remindTime (HH:MM),
//                   creationDate, checkmarks (their number); oldest habit first;
//   checkmarks.csv  habit (its name), uri, date (ISO 8601 with the zone's offset), day (the
//                   local day, YYYY-MM-DD); habit by habit, earliest first.
// Dates are those of the current region's zone. Each file is replaced whole (a new private file
// renamed over it); the folder is made (0700) when missing. Throws std::system_error when a file
// cannot be written, and the store's Error when it cannot be read.
CsvExportOutcome exportHabitsAsCsv(store::ManagedObjectContext& context,
                                   const std::filesystem::path& folder);

}  // namespace dovrel
