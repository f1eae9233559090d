#include "DovrelFoundation/Appearance/ColorExtensions.h"

#include <algorithm>
#include <cmath>
#include <random>
#include <string>
#include <string_view>

#include "platform/foundation/Bundle.h"
#include "platform/foundation/ColorAssetCatalog.h"
#include "platform/foundation/Error.h"
#include "platform/foundation/FatalError.h"

namespace dovrel {

namespace {

constexpr std::string_view kColorAssetFile = "colors.json";

// One channel of hex(): the component times 255, truncated toward zero.
std::int64_t channel(double component) {
    const double scaled = component * 255.0;
    // 2^63 is exactly representable; the range is [-2^63, 2^63).
    if (!std::isfinite(scaled) || scaled < -9223372036854775808.0 ||
        scaled >= 9223372036854775808.0) {
        fatalError("Colour component " + std::to_string(component) +
                   " has no integer channel value");
    }
    return static_cast<std::int64_t>(scaled);
}

const ColorAssetCatalog& mainColorAssets() {
    static const ColorAssetCatalog* const catalog = [] {
        const auto& bundle = Bundle::main();
        const auto file = bundle.pathForResource(kColorAssetFile);
        if (!file) {
            fatalError("Missing colour asset file " + std::string(kColorAssetFile) + " in " +
                       bundle.resourcePath().string());
        }
        try {
            return new ColorAssetCatalog(ColorAssetCatalog::load(*file));
        } catch (const Error& error) {
            fatalError("Unreadable colour assets: " + error.localizedDescription());
        }
    }();
    return *catalog;
}

Color namedColor(std::string_view name) {
    auto color = mainColorAssets().color(name);
    if (!color) {
        fatalError("Missing colour asset \"" + std::string(name) + "\"");
    }
    return std::move(*color);
}

}  // namespace

Color colorFromHex(std::int64_t value) {
    const auto red = static_cast<double>((value >> 16) & 0xFF);
    const auto green = static_cast<double>((value >> 8) & 0xFF);
    const auto blue = static_cast<double>(value & 0xFF);
    return Color::rgb(red / 255.0, green / 255.0, blue / 255.0, 1.0);
}

std::int64_t hex(const Color& color) {
    const auto& components = color.components();
    if (components.empty()) {
        return 0;
    }
    if (components.size() < 2) {
        fatalError("A colour with fewer than two components has no hex value");
    }
    const std::int64_t red = channel(components[0]);
    const std::int64_t green = channel(components[1]);
    const std::int64_t blue = channel(components.size() > 2 ? components[2] : components[1]);
    // Unsigned shifts: a negative or oversized channel spills over its neighbours' bits (and the
    // sign) exactly as the same operations on two's-complement integers would, without the
    // undefined behaviour of shifting signed values past their range.
    const auto bits = static_cast<std::uint64_t>(blue) | (static_cast<std::uint64_t>(green) << 8) |
                      (static_cast<std::uint64_t>(red) << 16);
    return static_cast<std::int64_t>(bits);
}

#define DOVREL_NAMED_COLOR(name)                      \
    const Color& name() {                             \
        static const Color color = namedColor(#name); \
        return color;                                 \
    }

DOVREL_NAMED_COLOR(banana)
DOVREL_NAMED_COLOR(grape)
DOVREL_NAMED_COLOR(sky)
DOVREL_NAMED_COLOR(barbie)
DOVREL_NAMED_COLOR(salmon)
DOVREL_NAMED_COLOR(apricot)
DOVREL_NAMED_COLOR(pear)
DOVREL_NAMED_COLOR(aquamarine)
DOVREL_NAMED_COLOR(blueberry)
DOVREL_NAMED_COLOR(foregroundDefault)
DOVREL_NAMED_COLOR(foregroundGray)
DOVREL_NAMED_COLOR(backgroundDefault)
DOVREL_NAMED_COLOR(backgroundGray)
DOVREL_NAMED_COLOR(backgroundMenu)
DOVREL_NAMED_COLOR(shadowMenu)
DOVREL_NAMED_COLOR(textPlaceholder)
DOVREL_NAMED_COLOR(splitter)
DOVREL_NAMED_COLOR(graphAxis)

#undef DOVREL_NAMED_COLOR

const std::vector<Color>& habitPalette() {
    static const std::vector<Color> palette = {
        banana(), grape(), sky(), barbie(), salmon(), apricot(), pear(), aquamarine(), blueberry(),
    };
    return palette;
}

std::vector<Color> ExcludedColors::colors() const {
    switch (kind_) {
        case Kind::nothing:
            return {};
        case Kind::paleColors:
            return {aquamarine(), banana(), pear()};
        case Kind::custom:
            return custom_;
    }
    return {};
}

const DefaultsKey<std::optional<std::int64_t>>& previousRandomColorIndex() {
    static const DefaultsKey<std::optional<std::int64_t>> key("previousRandomColorIndex");
    return key;
}

Color randomColor(const std::vector<Color>& /*colors*/, const ExcludedColors& excluding) {
    const auto& palette = habitPalette();
    auto& defaults = UserDefaults::standard();
    const std::optional<std::int64_t> previous = defaults.get(previousRandomColorIndex());
    const std::vector<Color> excluded = excluding.colors();

    thread_local std::random_device source;
    std::uniform_int_distribution<std::int64_t> draw(0,
                                                     static_cast<std::int64_t>(palette.size()) - 1);
    std::int64_t index = 0;
    do {
        index = draw(source);
    } while ((previous && index == *previous) ||
             std::find(excluded.begin(), excluded.end(),
                       palette[static_cast<std::size_t>(index)]) != excluded.end());

    defaults.set(previousRandomColorIndex(), std::optional<std::int64_t>(index));
    return palette[static_cast<std::size_t>(index)];
}

}  // namespace dovrel
