#pragma once

#include <cstdint>
#include <vector>

namespace dovrel {

// A binary blob: the bytes of a stored value, an archive or a file, in order.
using Data = std::vector<std::uint8_t>;

}  // namespace dovrel
