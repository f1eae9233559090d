#include "apps/dovrel/TextLayout.h"

#include <unicode/uchar.h>
#include <unicode/utf8.h>

#include <cstdint>

namespace dovrel::cli {

namespace {

std::size_t codePointWidth(UChar32 c) {
    if (c < 0) {
        return 1;
    }
    const auto category = static_cast<UCharCategory>(u_charType(c));
    if (category == U_NON_SPACING_MARK || category == U_ENCLOSING_MARK ||
        category == U_FORMAT_CHAR || c == 0) {
        return 0;
    }
    const auto width = u_getIntPropertyValue(c, UCHAR_EAST_ASIAN_WIDTH);
    return width == U_EA_WIDE || width == U_EA_FULLWIDTH ? 2 : 1;
}

// Calls `visit(start, end, width)` for every character of `text`, skipping colour sequences.
template <typename Visit>
void forEachCharacter(std::string_view text, Visit visit) {
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.data());
    const auto size = static_cast<std::int32_t>(text.size());
    std::int32_t i = 0;
    while (i < size) {
        if (bytes[i] == 0x1b && i + 1 < size && bytes[i + 1] == '[') {
            std::int32_t end = i + 2;
            while (end < size && !(bytes[end] >= 0x40 && bytes[end] <= 0x7e)) {
                ++end;
            }
            const std::int32_t next = end < size ? end + 1 : end;
            visit(i, next, std::size_t{0});
            i = next;
            continue;
        }
        const std::int32_t start = i;
        UChar32 c = 0;
        U8_NEXT(bytes, i, size, c);
        if (!visit(start, i, codePointWidth(c))) {
            return;
        }
    }
}

}  // namespace

std::size_t displayWidth(std::string_view text) {
    std::size_t width = 0;
    forEachCharacter(text, [&](std::int32_t, std::int32_t, std::size_t columns) {
        width += columns;
        return true;
    });
    return width;
}

std::string padRight(std::string_view text, std::size_t width) {
    const auto used = displayWidth(text);
    std::string result(text);
    if (used < width) {
        result.append(width - used, ' ');
    }
    return result;
}

std::string padLeft(std::string_view text, std::size_t width) {
    const auto used = displayWidth(text);
    std::string result;
    if (used < width) {
        result.append(width - used, ' ');
    }
    return result += text;
}

std::string centered(std::string_view text, std::size_t width) {
    const auto used = displayWidth(text);
    std::string result;
    if (used < width) {
        result.append((width - used) / 2, ' ');
    }
    return result += text;
}

std::string truncated(std::string_view text, std::size_t width) {
    if (displayWidth(text) <= width) {
        return std::string(text);
    }
    if (width == 0) {
        return "";
    }
    std::string result;
    std::size_t used = 0;
    forEachCharacter(text, [&](std::int32_t start, std::int32_t end, std::size_t columns) {
        if (used + columns > width - 1) {
            return false;
        }
        used += columns;
        result.append(
            text.substr(static_cast<std::size_t>(start), static_cast<std::size_t>(end - start)));
        return true;
    });
    return result + "…";
}

}  // namespace dovrel::cli
