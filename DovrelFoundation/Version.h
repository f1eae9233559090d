#pragma once

#include <string_view>

namespace dovrel {

// The library's version, "MAJOR.MINOR.PATCH", as the programs that load it report it.
std::string_view libraryVersion() noexcept;

}  // namespace dovrel
