#include "platform/foundation/Color.h"

#include <utility>

namespace dovrel {

Color::Color(std::vector<double> components, std::optional<std::vector<double>> darkComponents)
    : components_(std::move(components)), darkComponents_(std::move(darkComponents)) {}

Color Color::rgb(double red, double green, double blue, double alpha) {
    return Color({red, green, blue, alpha});
}

Color Color::white(double white, double alpha) { return Color({white, alpha}); }

Color Color::resolved(UserInterfaceStyle style) const {
    if (style == UserInterfaceStyle::dark && darkComponents_) {
        return Color(*darkComponents_);
    }
    return Color(components_);
}

}  // namespace dovrel
