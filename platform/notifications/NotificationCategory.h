#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace dovrel::notifications {

// Options of an action, as a bit set. Raw values as on the phone.
enum class NotificationActionOptions : std::uint64_t {
    none = 0,
    authenticationRequired = 1,
    destructive = 2,
    foreground = 4,
};

// A button offered with a notification of a category.
struct NotificationAction {
    std::string identifier;
    std::string title;
    NotificationActionOptions options = NotificationActionOptions::none;

    friend bool operator==(const NotificationAction&, const NotificationAction&) = default;
};

// Options of a category, as a bit set. Raw values as on the phone.
enum class NotificationCategoryOptions : std::uint64_t {
    none = 0,
    customDismissAction = 1,
    allowInCarPlay = 2,
};

// The actions offered with every notification whose content names this category.
struct NotificationCategory {
    std::string identifier;
    std::vector<NotificationAction> actions;
    std::vector<std::string> intentIdentifiers;
    NotificationCategoryOptions options = NotificationCategoryOptions::none;

    friend bool operator==(const NotificationCategory&, const NotificationCategory&) = default;
};

}  // namespace dovrel::notifications
