#include "apps/dovrel/HabitSelection.h"

#include <unicode/unistr.h>

namespace dovrel::cli {

namespace {

// Full Unicode case folding of UTF-8 text, back in UTF-8.
std::string folded(std::string_view text) {
    std::string result;
    icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), static_cast<int32_t>(text.size())))
        .foldCase()
        .toUTF8String(result);
    return result;
}

HabitSelection fromPositions(std::vector<std::size_t> positions) {
    if (positions.empty()) {
        return NoHabitMatches{};
    }
    if (positions.size() == 1) {
        return positions.front();
    }
    return SeveralHabitsMatch{std::move(positions)};
}

std::optional<std::size_t> listNumber(std::string_view words, std::size_t count) {
    if (words.empty() || words.size() > 9) {
        return std::nullopt;
    }
    std::size_t number = 0;
    for (const char c : words) {
        if (c < '0' || c > '9') {
            return std::nullopt;
        }
        number = number * 10 + static_cast<std::size_t>(c - '0');
    }
    if (number < 1 || number > count) {
        return std::nullopt;
    }
    return number - 1;
}

}  // namespace

HabitSelection selectHabit(const std::vector<HabitCandidate>& candidates, std::string_view words) {
    if (words.empty()) {
        return NoHabitMatches{};
    }
    if (words.starts_with("x-dovrel://")) {
        std::vector<std::size_t> positions;
        for (std::size_t i = 0; i < candidates.size(); ++i) {
            if (candidates[i].uri == words) {
                positions.push_back(i);
            }
        }
        return fromPositions(std::move(positions));
    }
    if (const auto number = listNumber(words, candidates.size())) {
        return *number;
    }
    std::vector<std::size_t> exact;
    for (std::size_t i = 0; i < candidates.size(); ++i) {
        if (candidates[i].name && *candidates[i].name == words) {
            exact.push_back(i);
        }
    }
    if (!exact.empty()) {
        return fromPositions(std::move(exact));
    }
    const std::string wanted = folded(words);
    std::vector<std::size_t> sameFolded;
    std::vector<std::size_t> prefixed;
    for (std::size_t i = 0; i < candidates.size(); ++i) {
        if (!candidates[i].name) {
            continue;
        }
        const std::string name = folded(*candidates[i].name);
        if (name == wanted) {
            sameFolded.push_back(i);
        }
        if (name.starts_with(wanted)) {
            prefixed.push_back(i);
        }
    }
    if (!sameFolded.empty()) {
        return fromPositions(std::move(sameFolded));
    }
    return fromPositions(std::move(prefixed));
}

}  // namespace dovrel::cli
