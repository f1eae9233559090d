#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "platform/foundation/Color.h"
#include "platform/foundation/UserDefaults.h"

namespace dovrel {

// ---- The 24-bit number form of a colour (how habit colours are stored and archived) ----

// The opaque colour of the number 0xRRGGBB: red from bits 16 to 23, green from bits 8 to 15,
// blue from bits 0 to 7, each divided by 255; alpha 1. Bits above 23 (and the sign) are ignored.
Color colorFromHex(std::int64_t value);

// The number of a colour, the reverse of colorFromHex for every colour that it makes:
//  - a colour without components gives 0;
//  - otherwise red is component 0 and green component 1; blue is component 2 when there are
//    more than two components, else component 1 again (so a grey, white and alpha, takes green
//    and blue from its alpha: white 0.5 with alpha 1 gives 0x7FFFFF);
//  - each channel is multiplied by 255 and truncated toward zero (0.999 gives 254);
//  - the result is blue | green << 8 | red << 16, without masking or clamping, so a channel
//    outside 0...1 (an extended-range colour) spills into its neighbours' bits or makes the
//    number negative.
// A colour with exactly one component, or a channel whose product with 255 is not finite or does
// not fit a 64-bit integer, stops the process.
std::int64_t hex(const Color& color);

// ---- Named colours ----

// The app's named colours, each loaded on first use from the main bundle's colour assets
// (colors.json, see ColorAssetCatalog) and kept for the life of the process. A missing or
// unreadable asset file, or a name missing from it, stops the process. Each has a light and a
// dark appearance.
const Color& banana();
const Color& grape();
const Color& sky();
const Color& barbie();
const Color& salmon();
const Color& apricot();
const Color& pear();
const Color& aquamarine();
const Color& blueberry();
const Color& foregroundDefault();
const Color& foregroundGray();
const Color& backgroundDefault();
const Color& backgroundGray();
const Color& backgroundMenu();
const Color& shadowMenu();
const Color& textPlaceholder();
const Color& splitter();
const Color& graphAxis();

// The colours a new habit can get, in this fixed order: banana, grape, sky, barbie, salmon,
// apricot, pear, aquamarine, blueberry. The order is part of the stored state (the last random
// choice is remembered by its index), so it never changes.
const std::vector<Color>& habitPalette();

// ---- Random choice of a habit colour ----

// The colours a random choice must avoid.
class ExcludedColors {
  public:
    enum class Kind { nothing, paleColors, custom };

    // No colour is excluded.
    static ExcludedColors nothing() { return ExcludedColors(Kind::nothing, {}); }
    // aquamarine, banana and pear are excluded.
    static ExcludedColors paleColors() { return ExcludedColors(Kind::paleColors, {}); }
    // Exactly the given colours are excluded.
    static ExcludedColors custom(std::vector<Color> colors) {
        return ExcludedColors(Kind::custom, std::move(colors));
    }

    Kind kind() const noexcept { return kind_; }

    // The excluded colours: none, the three pale ones, or the custom ones.
    std::vector<Color> colors() const;

  private:
    ExcludedColors(Kind kind, std::vector<Color> custom)
        : kind_(kind), custom_(std::move(custom)) {}

    Kind kind_;
    std::vector<Color> custom_;
};

// The user-defaults key, in UserDefaults::standard(), of the palette index that randomColor
// chose last: "previousRandomColorIndex", absent until the first choice.
const DefaultsKey<std::optional<std::int64_t>>& previousRandomColorIndex();

// A random habit colour that differs from the previous random choice and from every excluded
// colour (compared by value). The receiver `colors` is not consulted: the choice is always made
// from habitPalette(). Indices are drawn uniformly from the system's random source until one is
// neither the remembered index nor the index of an excluded colour; that index is then
// remembered (previousRandomColorIndex, in the standard user defaults) and its colour returned.
// There is no limit on the draws: exclusions that, with the remembered index, cover the whole
// palette make it loop forever, so callers never exclude that much.
Color randomColor(const std::vector<Color>& colors, const ExcludedColors& excluding);

}  // namespace dovrel
