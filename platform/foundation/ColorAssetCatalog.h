#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/foundation/Color.h"

namespace dovrel {

// The named colours of a bundle, read from its colour asset file (colors.json in the resource
// directory). The file is one JSON object that maps each colour name to its appearances:
//
//   { "banana": { "light": "#F6C945", "dark": "#E2B43A" }, ... }
//
// Each appearance is "#RRGGBB" (opaque) or "#RRGGBBAA", hexadecimal digits in either case.
// "light" is required; "dark" is optional (without it the colour looks the same in both
// styles). A colour's components are its light red, green, blue and alpha, each byte / 255;
// its dark components are the dark appearance's.
class ColorAssetCatalog {
  public:
    // The domain of the errors thrown by load() and parse(); codes below.
    static constexpr const char* kErrorDomain = "ColorAssetCatalog";
    static constexpr std::int64_t kUnreadableFile = 1;
    static constexpr std::int64_t kMalformedFile = 2;

    // Reads and checks the whole file at once. Throws Error with kUnreadableFile when the file
    // cannot be read, kMalformedFile when it is not a valid asset file; the user info's
    // Error::kLocalizedDescriptionKey says which file and what is wrong.
    static ColorAssetCatalog load(const std::filesystem::path& file);

    // The same, for the text of an asset file (errors are always kMalformedFile).
    static ColorAssetCatalog parse(std::string_view json);

    // The colour named exactly `name` (case-sensitive), or nothing.
    std::optional<Color> color(std::string_view name) const;

    // The number of named colours.
    std::size_t size() const noexcept { return colors_.size(); }

    // The RGBA components of "#RRGGBB" or "#RRGGBBAA", or nothing for any other text.
    static std::optional<std::vector<double>> componentsFromHexString(std::string_view text);

  private:
    std::map<std::string, Color, std::less<>> colors_;
};

}  // namespace dovrel
