#pragma once

#include <optional>
#include <string>
#include <vector>

#include "apps/dovrel/CommandErrors.h"

namespace CLI {
class App;
class ParseError;
}  // namespace CLI

namespace dovrel::cli {

// Usage errors of the command line in the program's own words: CLI11 finds them, and its texts
// (English only, and some of them hundreds of digits long) never reach the user. The sentences
// come from the string tables and name the words concerned and the command they were given to
// ("dovrel check", or "dovrel" before any command).
//
// The parser must be set up so that CLI11 reports only the errors below: option values are read
// as text and converted by the program (CountArgument.h, When.h, ColorArgument.h), no CLI11
// validators, and the top-level application allows extras (every subcommand falls through to
// it), so that unknown words are left over instead of failing the parse.

// The usage error for what CLI11 threw while parsing `arguments` (argv without the program name)
// with `app`, for an error that is not a request for help or for the version:
//   - a required argument that is missing ("“dovrel check” needs HABIT.");
//   - an option that is the last word but needs a value ("“--at” needs a value: WHEN.");
//   - an option given more than once;
//   - a flag given a value that is not a truth value ("--json=maybe");
//   - anything else: a general sentence that the command line cannot be read.
UsageError usageErrorFor(const CLI::ParseError& error, const CLI::App& app,
                         const std::vector<std::string>& arguments);

// The usage error for the words that a successful parse left over, the first of them: an unknown
// option ("-x", "--frob"), an unknown command (a word before any command), or an argument too
// many for the command. Nothing when every word was used.
std::optional<UsageError> leftoverWordsError(const CLI::App& app);

}  // namespace dovrel::cli
