#pragma once

#include <optional>
#include <string_view>

#include "platform/foundation/Date.h"
#include "platform/foundation/Region.h"

namespace dovrel::cli {

// Reads a WHEN argument, a local date and time in one of the forms
//   YYYY-MM-DD              the start of that day (the first instant that exists on it)
//   YYYY-MM-DDTHH:MM        that minute, seconds 0
//   YYYY-MM-DDTHH:MM:SS     that second
// in the Gregorian calendar and the time zone of `region` (only the zone of `region` is used).
// Years have four digits, the other fields two. Answers nothing for any other text and for
// fields out of range (month 13, 30 February, hour 24, minute 60, second 60). A wall-clock time
// that the zone skips (a daylight-saving gap) is the first instant after the gap.
std::optional<Date> parseWhen(std::string_view text, const Region& region);

// The usage text that names the accepted forms, for help and error messages.
inline constexpr const char* kWhenForms = "YYYY-MM-DD or YYYY-MM-DDTHH:MM[:SS]";

}  // namespace dovrel::cli
