#pragma once

#include <string_view>

namespace dovrel {

// User-defaults keys that the application reads and writes itself, outside the settings
// service. Never instantiated.
struct UserDefaultsKeys {
    UserDefaultsKeys() = delete;

    // Whether the application's own onboarding screens were seen. This is not the key of
    // ApplicationSettingsService::didUserSeeOnboarding ("didUserSeeOnboarding"): the two are
    // separate values and are kept apart.
    static constexpr std::string_view didSeeOnboardingKey = "didSeeOnboarding";
};

}  // namespace dovrel
