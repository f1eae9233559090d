#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "apps/dovrel/Terminal.h"
#include "platform/foundation/Color.h"

namespace dovrel::cli {

// A bar of `width` columns filled in proportion to `progress` (0 to 100; values outside are
// clamped). With Unicode the filled part is made of full blocks and one partial block, in eighths
// of a column, and the rest of light shade ("░"); without Unicode the filled part is "#" (whole
// columns, rounded to the nearest) and the rest "-". With colours the filled part is drawn in
// `color`, when one is given.
std::string progressBar(std::int64_t progress, std::size_t width, const Terminal& terminal,
                        const std::optional<Color>& color = std::nullopt);

}  // namespace dovrel::cli
