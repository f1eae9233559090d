#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/foundation/Date.h"

namespace dovrel {

// The date strategy of the habit backup archive.
//
// Writing: ISO 8601 text in UTC with milliseconds, "2024-03-05T12:15:00.000Z". The instant is
// rounded to the nearest millisecond, so every date that is a whole number of milliseconds
// after the reference date reads back as exactly the same Date. Years outside 0000...9999 use
// the expanded form with a sign and at least five digits ("+10000-01-01T00:00:00.000Z").
//
// Reading is more lenient: "YYYY-MM-DDTHH:MM:SS", optionally with a fraction of one to nine
// digits, then "Z" or an offset "+HH:MM", "-HH:MM", "+HHMM" or "-HHMM". Every field must be in
// range (a real calendar day, hours 0...23, minutes and seconds 0...59, offsets below 24 hours).
// Archives written by other programs may hold numbers instead; those are read by the archive
// itself as seconds since the reference date.
//
// Failures: iso8601Text throws std::domain_error for a date that is not representable
// (RepresentableDate.h: not finite, or more than about 28,500 years from 2001);
// dateFromISO8601Text answers nothing for text it does not accept (also for years beyond
// -32767...32767).
std::string iso8601Text(Date date);
std::optional<Date> dateFromISO8601Text(std::string_view text);

}  // namespace dovrel
