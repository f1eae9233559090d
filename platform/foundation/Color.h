#pragma once

#include <optional>
#include <vector>

namespace dovrel {

// The desktop's interface style: which appearance a view asks for.
enum class UserInterfaceStyle : long { unspecified = 0, light = 1, dark = 2 };

// A colour as its component array in a colour space: red, green, blue and alpha (four
// components) for RGB colours, white and alpha (two) for greys. Components are not clamped:
// extended-range values below 0 or above 1 are kept. A named (asset) colour also carries its
// dark-appearance components; `components()` are the light ones unless resolved otherwise.
// Equality compares the components (and the dark variant), never identity.
class Color {
public:
    Color() = default;  // no components at all
    explicit Color(std::vector<double> components,
                   std::optional<std::vector<double>> darkComponents = std::nullopt);

    static Color rgb(double red, double green, double blue, double alpha = 1.0);
    static Color white(double white, double alpha = 1.0);

    const std::vector<double>& components() const noexcept { return components_; }
    const std::optional<std::vector<double>>& darkComponents() const noexcept {
        return darkComponents_;
    }
    // The plain colour that this one shows in `style` (the dark components for dark, when there
    // are any; the light ones otherwise).
    Color resolved(UserInterfaceStyle style) const;

    friend bool operator==(const Color&, const Color&) = default;

private:
    std::vector<double> components_;
    std::optional<std::vector<double>> darkComponents_;
};

}  // namespace dovrel
