#pragma once

#include <cstdint>

namespace dovrel::notifications {

// What a program asks to be allowed to do, as a bit set. Raw values as on the phone, so that
// badge | sound | alert is 7 and badge | sound | alert | provisional is 71.
enum class AuthorizationOptions : std::uint64_t {
    badge = 1 << 0,
    sound = 1 << 1,
    alert = 1 << 2,
    carPlay = 1 << 3,
    criticalAlert = 1 << 4,
    providesAppNotificationSettings = 1 << 5,
    provisional = 1 << 6,
};

constexpr AuthorizationOptions operator|(AuthorizationOptions a, AuthorizationOptions b) {
    return static_cast<AuthorizationOptions>(static_cast<std::uint64_t>(a) |
                                             static_cast<std::uint64_t>(b));
}

constexpr std::uint64_t rawValue(AuthorizationOptions options) {
    return static_cast<std::uint64_t>(options);
}

// How a notification is shown while the program that scheduled it is in front, as a bit set.
// sound | alert is 6.
enum class PresentationOptions : std::uint64_t {
    none = 0,
    badge = 1 << 0,
    sound = 1 << 1,
    alert = 1 << 2,
    list = 1 << 3,
    banner = 1 << 4,
};

constexpr PresentationOptions operator|(PresentationOptions a, PresentationOptions b) {
    return static_cast<PresentationOptions>(static_cast<std::uint64_t>(a) |
                                            static_cast<std::uint64_t>(b));
}

constexpr std::uint64_t rawValue(PresentationOptions options) {
    return static_cast<std::uint64_t>(options);
}

// Whether the user lets the application group remind. Raw values as on the phone.
enum class AuthorizationStatus : std::int64_t {
    notDetermined = 0,
    denied = 1,
    authorized = 2,
    provisional = 3,
    ephemeral = 4,
};

// The notification settings of the application group.
struct NotificationSettings {
    AuthorizationStatus authorizationStatus = AuthorizationStatus::notDetermined;

    friend bool operator==(const NotificationSettings&, const NotificationSettings&) = default;
};

}  // namespace dovrel::notifications
