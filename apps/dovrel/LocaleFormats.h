#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "platform/foundation/Date.h"
#include "platform/foundation/Region.h"

namespace dovrel::cli {

// Calendar texts in the conventions of a locale (an ICU locale identifier such as "en_US" or
// "uk_UA"), for what the program shows to people. Scripts get ISO 8601 texts instead (see
// HabitJson.h).

// The locale's date pattern for a UTS #35 skeleton ("MMMd" gives "MMM d" in English and "d MMM"
// in Ukrainian); the skeleton itself when ICU has no pattern for it.
std::string localePattern(const std::string& skeleton, const std::string& localeIdentifier);

// `date` formatted in `region` with the region locale's pattern for `skeleton`.
std::string formatWithSkeleton(Date date, const std::string& skeleton, const Region& region);

// The first day of the week in the locale: 1 = Sunday ... 7 = Saturday.
std::int64_t firstWeekday(const std::string& localeIdentifier);

// The shortest standalone weekday names of the locale ("Su", "Mo"... in English), Sunday first.
std::array<std::string, 7> shortWeekdayNames(const std::string& localeIdentifier);

// The short standalone month names of the locale ("Jan", "Feb"... in English), January first.
std::array<std::string, 12> shortMonthNames(const std::string& localeIdentifier);

// The region that people's texts are shown in: Gregorian, with the zone and locale of `region`.
Region displayRegion(const Region& region);

}  // namespace dovrel::cli
