#include "apps/dovrel/Terminal.h"

#include <unistd.h>

#include <cstdlib>

#include "DovrelFoundation/ColorExtensions.h"

namespace dovrel::cli {

Terminal Terminal::forStream(std::FILE* stream) {
    const bool noColor = std::getenv("NO_COLOR") != nullptr;
    return Terminal(!noColor && ::isatty(::fileno(stream)) == 1);
}

std::string Terminal::swatch(const Color& color) const {
    if (!colorsEnabled_) {
        return "";
    }
    const auto value = hex(color);
    const auto channel = [value](int shift) { return std::to_string((value >> shift) & 0xFF); };
    return "\x1b[48;2;" + channel(16) + ";" + channel(8) + ";" + channel(0) + "m  \x1b[0m";
}

std::string Terminal::hexText(const Color& color) {
    static constexpr char kDigits[] = "0123456789ABCDEF";
    const auto value = hex(color) & 0xFFFFFF;
    std::string text = "#";
    for (int shift = 20; shift >= 0; shift -= 4) {
        text += kDigits[(value >> shift) & 0xF];
    }
    return text;
}

}  // namespace dovrel::cli
