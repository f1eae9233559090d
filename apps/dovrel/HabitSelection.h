#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace dovrel::cli {

// What the program knows of a habit when it picks one by the user's words: its name (absent for
// a habit without one) and the text of its object URI. Candidates are given in list order, so
// candidate i is list number i + 1.
struct HabitCandidate {
    std::optional<std::string> name;
    std::string uri;
};

// No habit answers to the words.
struct NoHabitMatches {};
// Several habits answer to the words; their positions in the candidate list, ascending.
struct SeveralHabitsMatch {
    std::vector<std::size_t> positions;
};

using HabitSelection = std::variant<std::size_t, NoHabitMatches, SeveralHabitsMatch>;

// Picks the habit that `words` (a HABIT argument) names, and answers its position in
// `candidates`, or why there is none. The rules, first match wins:
//   1. an object URI ("x-dovrel://..."): the habit with exactly that URI;
//   2. a whole number from 1 to the number of habits, in plain ASCII digits: that list number;
//   3. the exact name: the habits named exactly so (several of the same name are ambiguous);
//   4. the same name apart from letter case (Unicode case folding);
//   5. the beginning of a name, apart from letter case: it must fit exactly one habit.
// Empty words match nothing.
HabitSelection selectHabit(const std::vector<HabitCandidate>& candidates, std::string_view words);

}  // namespace dovrel::cli
