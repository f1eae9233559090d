#pragma once

#include <cstdio>
#include <string>
#include <string_view>

#include "platform/foundation/Color.h"

namespace dovrel::cli {

// How the program may decorate what it prints, following terminal conventions: colours only when
// the stream is a terminal, and never when NO_COLOR is set (to any value, even empty); block and
// check-mark characters only when the character set of the locale is UTF-8, plain ASCII
// otherwise.
class Terminal {
  public:
    // Decides for `stream` from the environment, isatty() and the current LC_CTYPE.
    static Terminal forStream(std::FILE* stream);
    explicit Terminal(bool colorsEnabled, bool unicode = true)
        : colorsEnabled_(colorsEnabled), unicode_(unicode) {}

    bool colorsEnabled() const noexcept { return colorsEnabled_; }
    bool unicode() const noexcept { return unicode_; }

    // A two-cell block in the colour when colours are enabled; otherwise "".
    std::string swatch(const Color& color) const;

    // `text` in the colour (foreground) when colours are enabled; otherwise `text`.
    std::string colored(std::string_view text, const Color& color) const;
    // `text` on the colour (background), in black or white, whichever reads better on it, when
    // colours are enabled; otherwise `text`.
    std::string highlighted(std::string_view text, const Color& color) const;
    // `text` in bold and underlined when colours are enabled; otherwise `text`.
    std::string emphasized(std::string_view text) const;
    // `text` dimmed when colours are enabled; otherwise `text`.
    std::string dimmed(std::string_view text) const;

    // The mark of a checked day ("✓", or "x" without Unicode) and of an unchecked one ("·" or
    // "-").
    std::string_view checkedMark() const noexcept { return unicode_ ? "✓" : "x"; }
    std::string_view uncheckedMark() const noexcept { return unicode_ ? "·" : "-"; }

    // "#RRGGBB" for a colour's 24-bit value.
    static std::string hexText(const Color& color);

  private:
    bool colorsEnabled_;
    bool unicode_;
};

}  // namespace dovrel::cli
