#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/foundation/Date.h"

namespace dovrel {

// The start of the local day written "YYYY-MM-DD" (four-digit year from 1900 to 9999, a month
// and a day that exist), in the current region; nothing for any other text.
std::optional<Date> localDayStart(std::string_view text);

// The start of the local day of a Gregorian date; nothing when it does not exist.
std::optional<Date> localDayStart(int year, int month, int day);

// The interval `times` in `days` checked against the limits, or an ImportError naming `record`.
void checkImportedInterval(std::int64_t times, std::int64_t days, const std::string& record);

}  // namespace dovrel
