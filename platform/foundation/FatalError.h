#pragma once

#include <source_location>
#include <string>
#include <string_view>

namespace dovrel {

// Stops the process because of a programming error: writes
//   Fatal error: <message>: file <path>, line <n>
// to standard error, where <path> is the source file relative to the repository root without
// its extension ("platform/store/ManagedObjectContext"); a file of the DovrelFoundation library
// reports the library and its own name, whichever subsystem folder holds it
// ("DovrelFoundation/Habit" for DovrelFoundation/Model/Habit.cpp). Then aborts. Never returns.
// Use it only for broken invariants that no input can cause; bad input gets an Error instead.
[[noreturn]] void fatalError(std::string_view message,
                             std::source_location location = std::source_location::current());

// The "<path>" part of a fatal message for a source file name as the compiler reports it.
std::string fatalErrorSourcePath(std::string_view fileName);

}  // namespace dovrel
