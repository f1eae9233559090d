#include "DovrelFoundation/Version.h"

namespace dovrel {

std::string_view libraryVersion() noexcept { return "0.1.0"; }

}  // namespace dovrel
