#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <variant>

#include "platform/foundation/Date.h"

namespace dovrel::notifications {

// One value of a notification's user info. Each kind keeps its kind through the center's file:
// a date read back in another process is a Date again, a text is a text, an integer an integer.
using UserInfoValue = std::variant<std::string, Date, std::int64_t, double, bool>;

// The user info of a notification, by key.
using NotificationUserInfo = std::map<std::string, UserInfoValue>;

// The sound played when a notification is shown. The desktop has one sound for notifications
// (the sound theme's "message-new-instant"); `name` is kept for a future choice of sounds.
struct NotificationSound {
    std::string name;

    // The desktop's default notification sound.
    static NotificationSound defaultSound() { return NotificationSound{"default"}; }

    friend bool operator==(const NotificationSound&, const NotificationSound&) = default;
};

// What a notification shows and carries. A plain value: build it, then hand it to a
// NotificationRequest. An absent badge leaves the launcher badge as it is; an absent sound shows
// the notification silently.
struct NotificationContent {
    std::string title;
    std::string subtitle;
    std::string body;
    std::optional<NotificationSound> sound;
    std::optional<std::int64_t> badge;
    NotificationUserInfo userInfo;
    // The identifier of the NotificationCategory whose actions the notification offers; empty
    // for none.
    std::string categoryIdentifier;

    friend bool operator==(const NotificationContent&, const NotificationContent&) = default;
};

}  // namespace dovrel::notifications
