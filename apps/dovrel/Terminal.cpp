#include "apps/dovrel/Terminal.h"

#include <langinfo.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "DovrelFoundation/Appearance/ColorExtensions.h"

namespace dovrel::cli {

namespace {

std::string channels(const Color& color) {
    const auto value = hex(color);
    const auto channel = [value](int shift) { return std::to_string((value >> shift) & 0xFF); };
    return channel(16) + ";" + channel(8) + ";" + channel(0);
}

}  // namespace

Terminal Terminal::forStream(std::FILE* stream) {
    const bool noColor = std::getenv("NO_COLOR") != nullptr;
    const char* codeset = ::nl_langinfo(CODESET);
    const bool unicode = codeset != nullptr && std::strcmp(codeset, "UTF-8") == 0;
    return Terminal(!noColor && ::isatty(::fileno(stream)) == 1, unicode);
}

std::string Terminal::swatch(const Color& color) const {
    if (!colorsEnabled_) {
        return "";
    }
    return "\x1b[48;2;" + channels(color) + "m  \x1b[0m";
}

std::string Terminal::colored(std::string_view text, const Color& color) const {
    if (!colorsEnabled_) {
        return std::string(text);
    }
    return "\x1b[38;2;" + channels(color) + "m" + std::string(text) + "\x1b[0m";
}

std::string Terminal::highlighted(std::string_view text, const Color& color) const {
    if (!colorsEnabled_) {
        return std::string(text);
    }
    const auto value = hex(color);
    // Relative luminance with the sRGB weights, on the 0-255 channel values.
    const double luminance = 0.2126 * static_cast<double>((value >> 16) & 0xFF) +
                             0.7152 * static_cast<double>((value >> 8) & 0xFF) +
                             0.0722 * static_cast<double>(value & 0xFF);
    const char* foreground = luminance > 140 ? "30" : "97";
    return "\x1b[" + std::string(foreground) + ";48;2;" + channels(color) + "m" +
           std::string(text) + "\x1b[0m";
}

std::string Terminal::emphasized(std::string_view text) const {
    if (!colorsEnabled_) {
        return std::string(text);
    }
    return "\x1b[1;4m" + std::string(text) + "\x1b[0m";
}

std::string Terminal::dimmed(std::string_view text) const {
    if (!colorsEnabled_) {
        return std::string(text);
    }
    return "\x1b[2m" + std::string(text) + "\x1b[0m";
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
