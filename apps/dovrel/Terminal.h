#pragma once

#include <cstdio>
#include <string>

#include "platform/foundation/Color.h"

namespace dovrel::cli {

// How the program may decorate what it prints, following terminal conventions: colours only when
// the stream is a terminal, and never when NO_COLOR is set (to any value, even empty).
class Terminal {
  public:
    // Decides for `stream` from the environment and isatty().
    static Terminal forStream(std::FILE* stream);
    explicit Terminal(bool colorsEnabled) : colorsEnabled_(colorsEnabled) {}

    bool colorsEnabled() const noexcept { return colorsEnabled_; }

    // A two-cell block in the colour when colours are enabled; otherwise "".
    std::string swatch(const Color& color) const;

    // "#RRGGBB" for a colour's 24-bit value.
    static std::string hexText(const Color& color);

  private:
    bool colorsEnabled_;
};

}  // namespace dovrel::cli
