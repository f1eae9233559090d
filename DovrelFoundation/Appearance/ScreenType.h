#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace dovrel {

// A class of phone screen, named by the devices that have it. Analytics report the raw text of
// the case. `iPhones_4_4S` exists for completeness: no screen height is classified as it.
enum class ScreenType {
    iPhones_4_4S,
    iPhones_5_5s_5c_SE,
    iPhones_6_6s_7_8,
    iPhones_6Plus_6sPlus_7Plus_8Plus,
    iPhones_X_XS_11Pro,
    iPhones_XR_11,
    iPhones_XSMax_11ProMax,
    unknown,
};

// The raw text of a case, for example "iPhone XR or iPhone 11".
std::string_view rawValue(ScreenType type) noexcept;

// The case whose raw text is exactly `raw` (case-sensitive), or nothing.
std::optional<ScreenType> screenTypeFromRawValue(std::string_view raw) noexcept;

// Classifies a screen by its native height in pixels: 1136, 1334, 1792, 1920 or 2208, 2436 and
// 2688 are known phone heights; any other height is `unknown`.
ScreenType screenType(std::int64_t nativeHeight) noexcept;

// True exactly for the 4-inch class (iPhones_5_5s_5c_SE).
bool has4InchDisplay(std::int64_t nativeHeight) noexcept;

// True exactly for the classes whose navigation bar has enlarged offsets: the Plus phones,
// iPhones_XR_11 and iPhones_XSMax_11ProMax.
bool hasEnlargedOffsetsInNavigationBar(std::int64_t nativeHeight) noexcept;

}  // namespace dovrel
