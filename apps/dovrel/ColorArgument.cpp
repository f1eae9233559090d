#include "apps/dovrel/ColorArgument.h"

#include <cstdint>

#include "DovrelFoundation/Appearance/ColorExtensions.h"

namespace dovrel::cli {

namespace {

std::string lowercased(std::string_view text) {
    std::string result(text);
    for (char& c : result) {
        if (c >= 'A' && c <= 'Z') {
            c = static_cast<char>(c - 'A' + 'a');
        }
    }
    return result;
}

std::optional<int> hexDigit(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'a' && c <= 'f') {
        return c - 'a' + 10;
    }
    if (c >= 'A' && c <= 'F') {
        return c - 'A' + 10;
    }
    return std::nullopt;
}

}  // namespace

std::vector<std::pair<std::string, Color>> namedPalette() {
    static const char* const kNames[] = {"banana",  "grape", "sky",        "barbie",   "salmon",
                                         "apricot", "pear",  "aquamarine", "blueberry"};
    const auto& palette = habitPalette();
    std::vector<std::pair<std::string, Color>> named;
    for (std::size_t index = 0; index < palette.size() && index < std::size(kNames); ++index) {
        named.emplace_back(kNames[index], palette[index]);
    }
    return named;
}

std::optional<Color> parseColorArgument(std::string_view text) {
    const std::string lower = lowercased(text);
    for (const auto& [name, color] : namedPalette()) {
        if (name == lower) {
            return color;
        }
    }
    std::string_view digits = text;
    if (digits.starts_with('#')) {
        digits.remove_prefix(1);
    }
    if (digits.size() != 6) {
        return std::nullopt;
    }
    std::int64_t value = 0;
    for (const char c : digits) {
        const auto digit = hexDigit(c);
        if (!digit) {
            return std::nullopt;
        }
        value = value * 16 + *digit;
    }
    for (const auto& color : habitPalette()) {
        if (hex(color) == value) {
            return color;
        }
    }
    return colorFromHex(value);
}

std::optional<std::string> paletteName(const Color& color) {
    for (const auto& [name, candidate] : namedPalette()) {
        if (candidate == color || hex(candidate) == hex(color)) {
            return name;
        }
    }
    return std::nullopt;
}

std::optional<TimeOfDay> parseTimeOfDay(std::string_view text) {
    if (text.size() != 5 || text[2] != ':') {
        return std::nullopt;
    }
    for (const std::size_t i : {0u, 1u, 3u, 4u}) {
        if (text[i] < '0' || text[i] > '9') {
            return std::nullopt;
        }
    }
    const int hour = (text[0] - '0') * 10 + (text[1] - '0');
    const int minute = (text[3] - '0') * 10 + (text[4] - '0');
    if (hour > 23 || minute > 59) {
        return std::nullopt;
    }
    return TimeOfDay{hour, minute};
}

}  // namespace dovrel::cli
