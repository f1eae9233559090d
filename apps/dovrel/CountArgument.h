#pragma once

#include <cstdint>
#include <string_view>

namespace dovrel::cli {

// The two numbers of a repeat interval as the command line takes them (--times and --days of add
// and edit, TIMES and DAYS of interval): whole numbers from 1 up to what a person means by a
// habit. The library accepts and repairs any 64-bit numbers (a stored interval may hold them);
// the command line refuses the ones nobody means, so that a slip of the finger never becomes a
// habit of once in three billion days.
enum class IntervalCount {
    times,  // 1 to kMostTimes checkmarks per period
    days,   // 1 to kMostDays days per period (ten years)
};

inline constexpr std::int64_t kMostTimes = 1000;
inline constexpr std::int64_t kMostDays = 3650;

// The largest number `count` takes.
std::int64_t mostOf(IntervalCount count) noexcept;

// Reads `word`, given for the option or argument named `label` ("--times", "DAYS"): decimal
// digits with an optional leading minus, nothing else. Throws UsageError (CommandErrors.h) with a
// localised sentence naming `label` and the accepted range for a word that is not a whole number,
// for a number below 1, and for one above mostOf(count) (numbers beyond 64 bits included).
std::int64_t parseIntervalCount(std::string_view word, IntervalCount count, std::string_view label);

}  // namespace dovrel::cli
