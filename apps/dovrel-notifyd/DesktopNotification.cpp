#include "apps/dovrel-notifyd/DesktopNotification.h"

#include <algorithm>

namespace dovrel::notifyd {

DesktopNotification desktopNotificationFor(
    const notifications::Notification& notification,
    const std::vector<notifications::NotificationCategory>& categories, const std::string& icon,
    const std::string& defaultTitle) {
    const auto& content = notification.request.content;
    DesktopNotification shown;
    shown.appName = "Dovrel";
    shown.appIcon = icon;
    shown.summary = content.title;
    if (!content.subtitle.empty()) {
        shown.body =
            content.body.empty() ? content.subtitle : content.subtitle + "\n" + content.body;
    } else {
        shown.body = content.body;
    }
    if (!content.categoryIdentifier.empty()) {
        const auto category =
            std::find_if(categories.begin(), categories.end(), [&](const auto& candidate) {
                return candidate.identifier == content.categoryIdentifier;
            });
        if (category != categories.end()) {
            for (const auto& action : category->actions) {
                shown.actions.push_back(action.identifier);
                shown.actions.push_back(action.title);
            }
        }
    }
    shown.actions.push_back(DesktopNotification::kDefaultActionKey);
    shown.actions.push_back(defaultTitle);
    shown.desktopEntry = DesktopNotification::kDesktopEntry;
    if (content.sound) {
        shown.soundName = DesktopNotification::kSoundName;
    }
    shown.urgency = DesktopNotification::kNormalUrgency;
    shown.stackTag = notification.request.identifier;
    return shown;
}

}  // namespace dovrel::notifyd
