#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace dovrel::cli {

// How the program's messages name a habit: its name in the locale's quotation marks ("“Read”",
// "«Читати»"), or "#<list number>" for a habit without a name.
std::string habitTitle(const std::optional<std::string>& name, std::size_t listNumber);

}  // namespace dovrel::cli
