#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/foundation/Color.h"
#include "platform/foundation/Date.h"

namespace dovrel::cli {

// What the program shows of one habit on one day: the habit's stored values and what the
// library computed for that day, collected once so that the text and JSON renderings read the
// same facts. Absent values are absent in the habit too.
struct HabitReport {
    std::size_t listNumber = 0;  // 1-based position in the list, oldest first
    std::string uri;             // the object URI ("x-dovrel://<store>/Habit/p<key>")
    std::optional<std::string> name;
    std::optional<std::string> question;
    std::optional<Color> color;
    std::optional<std::int64_t> times;  // of the repeat interval
    std::optional<std::int64_t> days;
    std::optional<std::string> interval;  // the interval's localised name
    bool remind = false;
    std::optional<Date> remindTime;
    std::optional<Date> creationDate;
    Date day;                                   // the instant the report is for
    std::int64_t progress = 0;                  // on `day`, as shown (0-100)
    bool checked = false;                       // `day` has a checkmark
    std::vector<Date> lastFivePerformingDates;  // ascending
    // Every checkmark date, ascending; only filled when the report asks for it (show).
    std::optional<std::vector<Date>> checkmarks;
    // When the next reminder is due, counted from now; only filled for details, and only when
    // the habit has a reminder.
    std::optional<Date> nextReminder;
};

}  // namespace dovrel::cli
