#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "DovrelFoundation/Model/RepeatInterval.h"
#include "platform/foundation/Color.h"
#include "platform/foundation/Date.h"

namespace dovrel {

// A habit read from another tracker's files, before it is added to a store. Every value has
// been checked by the reader: a name that is not empty, an interval within the limits the
// application allows (1 to 1000 times in 1 to 3650 days), checkmark dates that a calendar can
// place, so that nothing an import accepts can stop the program later.
struct ImportedHabit {
    std::string name;
    std::optional<std::string> question;
    std::optional<Color> color;  // absent: the importer picks a palette colour
    RepeatInterval interval;
    // Hour and minute of a daily reminder.
    std::optional<std::pair<int, int>> reminder;
    // One date per checked day: the start of that day in the current zone.
    std::vector<Date> checkmarks;
    // Where it came from, for messages: "Habits.csv, line 3" or "Habits, id 7".
    std::string record;
};

// What a reader made of a file: the habits, and what people should know about how they were
// read (a numerical habit imported as yes/no, say).
struct ImportedHabits {
    std::string format;  // "Loop Habit Tracker CSV", "Loop Habit Tracker backup", "habitctl"
    std::vector<ImportedHabit> habits;
    std::vector<std::string> notes;
};

// A file or record that cannot be imported. what() names the record and says why
// ("Checkmarks.csv of “Read”, line 12: the date “2024-13-01” is not a day").
class ImportError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// Limits that every reader checks an interval against.
inline constexpr std::int64_t kImportMostTimes = 1000;
inline constexpr std::int64_t kImportMostDays = 3650;

}  // namespace dovrel
