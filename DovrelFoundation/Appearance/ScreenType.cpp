#include "DovrelFoundation/Appearance/ScreenType.h"

#include <array>
#include <utility>

namespace dovrel {

namespace {

constexpr std::array<std::pair<ScreenType, std::string_view>, 8> kRawValues{{
    {ScreenType::iPhones_4_4S, "iPhone 4 or iPhone 4S"},
    {ScreenType::iPhones_5_5s_5c_SE, "iPhone 5, iPhone 5s, iPhone 5c or iPhone SE"},
    {ScreenType::iPhones_6_6s_7_8, "iPhone 6, iPhone 6S, iPhone 7 or iPhone 8"},
    {ScreenType::iPhones_6Plus_6sPlus_7Plus_8Plus,
     "iPhone 6 Plus, iPhone 6S Plus, iPhone 7 Plus or iPhone 8 Plus"},
    {ScreenType::iPhones_X_XS_11Pro, "iPhone X, iPhone XS or iPhone 11 Pro"},
    {ScreenType::iPhones_XR_11, "iPhone XR or iPhone 11"},
    {ScreenType::iPhones_XSMax_11ProMax, "iPhone XS Max or iPhone 11 Pro Max"},
    {ScreenType::unknown, "unknown"},
}};

}  // namespace

std::string_view rawValue(ScreenType type) noexcept {
    for (const auto& [candidate, raw] : kRawValues) {
        if (candidate == type) {
            return raw;
        }
    }
    return "unknown";
}

std::optional<ScreenType> screenTypeFromRawValue(std::string_view raw) noexcept {
    for (const auto& [type, candidate] : kRawValues) {
        if (candidate == raw) {
            return type;
        }
    }
    return std::nullopt;
}

ScreenType screenType(std::int64_t nativeHeight) noexcept {
    switch (nativeHeight) {
        case 1136:
            return ScreenType::iPhones_5_5s_5c_SE;
        case 1334:
            return ScreenType::iPhones_6_6s_7_8;
        case 1792:
            return ScreenType::iPhones_XR_11;
        case 1920:
        case 2208:
            return ScreenType::iPhones_6Plus_6sPlus_7Plus_8Plus;
        case 2436:
            return ScreenType::iPhones_X_XS_11Pro;
        case 2688:
            return ScreenType::iPhones_XSMax_11ProMax;
        default:
            return ScreenType::unknown;
    }
}

bool has4InchDisplay(std::int64_t nativeHeight) noexcept {
    return screenType(nativeHeight) == ScreenType::iPhones_5_5s_5c_SE;
}

bool hasEnlargedOffsetsInNavigationBar(std::int64_t nativeHeight) noexcept {
    switch (screenType(nativeHeight)) {
        case ScreenType::iPhones_6Plus_6sPlus_7Plus_8Plus:
        case ScreenType::iPhones_XR_11:
        case ScreenType::iPhones_XSMax_11ProMax:
            return true;
        default:
            return false;
    }
}

}  // namespace dovrel
