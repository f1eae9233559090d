#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace dovrel::cli {

// How many terminal columns UTF-8 text takes: combining marks, format characters and ANSI
// colour sequences ("\x1b[...m") take none, East Asian wide and full-width characters two, every
// other character one. Ill-formed bytes count one column each.
std::size_t displayWidth(std::string_view text);

// `text` followed by spaces up to `width` columns (unchanged when it is already as wide).
std::string padRight(std::string_view text, std::size_t width);
// Spaces up to `width` columns followed by `text`.
std::string padLeft(std::string_view text, std::size_t width);
// `text` in the middle of `width` columns (the odd space goes to the right); no trailing spaces.
std::string centered(std::string_view text, std::size_t width);

// `text` cut to at most `width` columns, whole characters only, with "…" as its last column
// when something was cut.
std::string truncated(std::string_view text, std::size_t width);

}  // namespace dovrel::cli
