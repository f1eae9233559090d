#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>

namespace dovrel {

// The localised text whose key is `key` (the key itself when there is no translation).
std::string localized(std::string_view key);

// A counted phrase: looks up `key` + ".One" (count 1), ".Few" (2, 3, 4) or ".Many" (every other
// count: 0, negatives, 5 and up) and fills the localised format with `count` as its one
// integer argument (printf-style "%d" / "%ld" / "%lld" / "%@" placeholders).
std::string localized(std::string_view key, std::int64_t count);

// The localised text for `key` with named values filled in: every "{name}" in it is replaced by
// the value given for that name, so that translators may move the values around. A placeholder
// without a value, and any other brace, is kept as written.
std::string localizedText(std::string_view key,
                          std::initializer_list<std::pair<std::string_view, std::string>> values);

// The same filling, for a format that is not looked up.
std::string fillPlaceholders(
    std::string_view format,
    std::initializer_list<std::pair<std::string_view, std::string>> values);

// The plural suffix that localized(key, count) appends: ".One", ".Few" or ".Many".
std::string_view pluralSuffix(std::int64_t count);

// The first character (a whole user-perceived character: a grapheme cluster, so a letter keeps
// its combining accents) in title case, as the root locale capitalises it; the rest unchanged,
// byte for byte. The empty string stays empty.
std::string capitalizingFirstLetter(std::string_view text);

// A range of UTF-16 code units, as text widgets measure text. `location` is kNotFound when the
// range was not found.
struct NSRange {
    static constexpr std::int64_t kNotFound = INT64_MAX;
    std::int64_t location = kNotFound;
    std::int64_t length = 0;
    friend bool operator==(const NSRange&, const NSRange&) = default;
};

// The range of the whole text within itself: {0, UTF-16 length}; {kNotFound, 0} for "".
NSRange nsRange(std::string_view text);

// The range of the first occurrence of `needle` in `text` (an exact, code-unit-by-code-unit
// match), or {kNotFound, 0}; an empty `needle` is never found.
NSRange nsRange(std::string_view text, std::string_view needle);

}  // namespace dovrel
