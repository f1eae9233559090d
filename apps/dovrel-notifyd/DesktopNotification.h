#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/notifications/NotificationCategory.h"
#include "platform/notifications/NotificationRequest.h"

namespace dovrel::notifyd {

// The arguments of one org.freedesktop.Notifications Notify call, made from a delivered
// notification. A plain value, so that what the daemon shows can be checked without a bus.
struct DesktopNotification {
    // The desktop file's name without ".desktop", for the "desktop-entry" hint.
    static constexpr const char* kDesktopEntry = "dovrel";
    // The sound-theme event played for a notification that has a sound.
    static constexpr const char* kSoundName = "message-new-instant";
    // The action key that stands for a click on the notification itself.
    static constexpr const char* kDefaultActionKey = "default";
    // Urgency "normal" as org.freedesktop.Notifications numbers it.
    static constexpr std::uint8_t kNormalUrgency = 1;

    std::string appName;
    std::string appIcon;
    std::string summary;
    std::string body;
    // Action keys each followed by its title, in one flat list, as the Notify call takes them.
    std::vector<std::string> actions;
    std::string desktopEntry;
    // Empty: silent.
    std::string soundName;
    std::uint8_t urgency = kNormalUrgency;
    // The request's identifier. Servers that stack notifications by tag (dunst's
    // "x-dunst-stack-tag") replace one still on screen with the same tag instead of adding a
    // second: a reminder shown again after a restart of the daemon appears once.
    std::string stackTag;

    friend bool operator==(const DesktopNotification&, const DesktopNotification&) = default;
};

// What to show for `notification`: app name "Dovrel", its title as summary, its subtitle and body
// as body, `icon` as icon, one action per action of its category among `categories` (identifier
// and title, in the category's order) and then "default" with `defaultTitle`, the desktop-entry
// hint, the sound name when the content has a sound, normal urgency, and the request's identifier
// as stack tag. A notification whose
// category is not registered offers only "default".
DesktopNotification desktopNotificationFor(
    const notifications::Notification& notification,
    const std::vector<notifications::NotificationCategory>& categories, const std::string& icon,
    const std::string& defaultTitle);

}  // namespace dovrel::notifyd
