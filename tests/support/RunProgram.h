#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace dovrel::testing {

// What a finished child process left behind.
struct ProgramResult {
    int exitStatus = -1;  // the exit code, or 128 + signal number when a signal ended it
    std::string standardOutput;
    std::string standardError;
};

// Runs `arguments[0]` with the given arguments, waits for it and captures both output streams.
// `environment` entries are set (a value of std::nullopt unsets the variable) on top of this
// process's environment. Standard input is /dev/null. Safe to call from several threads at once.
ProgramResult runProgram(const std::vector<std::string>& arguments,
                         const std::map<std::string, std::optional<std::string>>& environment = {});

// The full path of the program `name` found on PATH (runProgram does not search it), or `name`
// itself when no directory of PATH has it.
std::string programOnPath(const std::string& name);

}  // namespace dovrel::testing
