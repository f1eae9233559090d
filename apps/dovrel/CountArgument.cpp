#include "apps/dovrel/CountArgument.h"

#include <charconv>
#include <string>
#include <system_error>

#include "apps/dovrel/CommandErrors.h"
#include "apps/dovrel/Texts.h"

namespace dovrel::cli {

std::int64_t mostOf(IntervalCount count) noexcept {
    return count == IntervalCount::times ? kMostTimes : kMostDays;
}

std::int64_t parseIntervalCount(std::string_view word, IntervalCount count,
                                std::string_view label) {
    const std::string most = std::to_string(mostOf(count));
    const auto tooMany = [&] {
        return UsageError(
            text(count == IntervalCount::times ? "Cli.Error.TooManyTimes" : "Cli.Error.TooManyDays",
                 {{"option", std::string(label)}, {"value", std::string(word)}, {"most", most}}));
    };
    std::int64_t number = 0;
    const char* const end = word.data() + word.size();
    const auto [stop, error] = std::from_chars(word.data(), end, number);
    const bool allDigits = stop == end && !word.empty();
    if (error == std::errc::result_out_of_range && allDigits) {
        // Digits beyond 64 bits: a number, only far too large (or far too small).
        if (word.front() == '-') {
            throw UsageError(text("Cli.Error.CountTooSmall",
                                  {{"option", std::string(label)}, {"value", std::string(word)}}));
        }
        throw tooMany();
    }
    if (error != std::errc() || !allDigits) {
        throw UsageError(
            text("Cli.Error.NotACount",
                 {{"option", std::string(label)}, {"value", std::string(word)}, {"most", most}}));
    }
    if (number < 1) {
        throw UsageError(text("Cli.Error.CountTooSmall",
                              {{"option", std::string(label)}, {"value", std::string(word)}}));
    }
    if (number > mostOf(count)) {
        throw tooMany();
    }
    return number;
}

}  // namespace dovrel::cli
