#pragma once

#include <string_view>

#include "platform/foundation/Color.h"

namespace dovrel {

// "unspecified" (0), "light" (1), "dark" (2), or "unknown" for any other raw value.
std::string_view description(UserInterfaceStyle style) noexcept;

}  // namespace dovrel
