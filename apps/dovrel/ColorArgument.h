#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/foundation/Color.h"

namespace dovrel::cli {

// The habit palette in its stored order, with the asset names that people know it by
// ("banana", "grape", ... "blueberry").
std::vector<std::pair<std::string, Color>> namedPalette();

// The colour that a --color argument names: "#RRGGBB" (six hexadecimal digits, either case; the
// "#" may be left out) or the name of a palette colour, either case. Nothing for any other text.
// A palette name, and a number that is a palette colour's, give the palette colour itself (with
// its dark appearance), as the stored colour would read back.
std::optional<Color> parseColorArgument(std::string_view text);

// The palette name of a colour, when it is one of the palette's; nothing otherwise.
std::optional<std::string> paletteName(const Color& color);

// Hours and minutes of a --remind argument, "HH:MM" (two digits each, 00:00 to 23:59).
struct TimeOfDay {
    int hour = 0;
    int minute = 0;
};
std::optional<TimeOfDay> parseTimeOfDay(std::string_view text);

}  // namespace dovrel::cli
