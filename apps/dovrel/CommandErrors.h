#pragma once

#include <stdexcept>
#include <string>

namespace dovrel::cli {

// A command that could not do what was asked (a habit that is not there, a store that cannot be
// used, a file that cannot be read). The message is localised and says what and why; the
// program prints it on standard error and exits with status 1.
class CommandError : public std::runtime_error {
  public:
    explicit CommandError(const std::string& message) : std::runtime_error(message) {}
};

// Words on the command line that the program cannot read (a date in another form, an unknown
// colour). The message is localised; the program prints it on standard error with a pointer to
// --help and exits with status 2.
class UsageError : public std::runtime_error {
  public:
    explicit UsageError(const std::string& message) : std::runtime_error(message) {}
};

}  // namespace dovrel::cli
