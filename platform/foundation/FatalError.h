#pragma once

#include <source_location>
#include <string_view>

namespace dovrel {

// Stops the process because of a programming error: writes
//   Fatal error: <message>: file <path>, line <n>
// to standard error, where <path> is the source file relative to the repository root without
// its extension (for example "DovrelFoundation/Habit"), then aborts. Never returns.
// Use it only for broken invariants that no input can cause; bad input gets an Error instead.
[[noreturn]] void fatalError(std::string_view message,
                             std::source_location location = std::source_location::current());

// The "<path>" part of a fatal message for a source file name as the compiler reports it.
std::string_view fatalErrorSourcePath(std::string_view fileName);

}  // namespace dovrel
