#include "apps/dovrel/ProgressBar.h"

#include <algorithm>

namespace dovrel::cli {

std::string progressBar(std::int64_t progress, std::size_t width, const Terminal& terminal,
                        const std::optional<Color>& color) {
    const auto clamped = static_cast<std::size_t>(std::clamp<std::int64_t>(progress, 0, 100));
    std::string filled;
    std::string rest;
    if (terminal.unicode()) {
        // Eighths of a column, rounded to the nearest.
        static constexpr const char* kPartial[] = {"", "▏", "▎", "▍", "▌", "▋", "▊", "▉"};
        const std::size_t eighths = (clamped * width * 8 + 50) / 100;
        const std::size_t full = eighths / 8;
        const std::size_t partial = eighths % 8;
        for (std::size_t i = 0; i < full; ++i) {
            filled += "█";
        }
        filled += kPartial[partial];
        const std::size_t used = full + (partial > 0 ? 1 : 0);
        for (std::size_t i = used; i < width; ++i) {
            rest += "░";
        }
    } else {
        const std::size_t full = (clamped * width + 50) / 100;
        filled.assign(full, '#');
        rest.assign(width - full, '-');
    }
    if (color && !filled.empty()) {
        filled = terminal.colored(filled, *color);
    }
    return filled + (rest.empty() ? rest : terminal.dimmed(rest));
}

}  // namespace dovrel::cli
