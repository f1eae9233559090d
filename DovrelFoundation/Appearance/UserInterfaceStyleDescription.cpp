#include "DovrelFoundation/Appearance/UserInterfaceStyleDescription.h"

namespace dovrel {

std::string_view description(UserInterfaceStyle style) noexcept {
    switch (style) {
        case UserInterfaceStyle::unspecified:
            return "unspecified";
        case UserInterfaceStyle::light:
            return "light";
        case UserInterfaceStyle::dark:
            return "dark";
    }
    return "unknown";
}

}  // namespace dovrel
