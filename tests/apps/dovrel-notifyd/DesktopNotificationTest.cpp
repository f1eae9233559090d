#include "apps/dovrel-notifyd/DesktopNotification.h"

#include <gtest/gtest.h>

namespace dovrel::notifyd {
namespace {

using notifications::Notification;
using notifications::NotificationAction;
using notifications::NotificationCategory;
using notifications::NotificationSound;

Notification notificationOf(const std::string& category, bool sound) {
    notifications::NotificationContent content;
    content.title = std::string("Water");
    content.body = std::string("A glass?");
    content.categoryIdentifier = category;
    if (sound) {
        content.sound = NotificationSound::defaultSound();
    }
    return Notification{Date(0), notifications::NotificationRequest{"Reminder", content, {}}};
}

const std::vector<NotificationCategory> kCategories{
    {"Other", {{"Other.A", "A"}}, {}},
    {"Reminder", {{"Reminder.Done", "Done"}, {"Reminder.Later", "Later"}}, {}},
};

TEST(DesktopNotification, OffersTheCategoryActionsInOrderThenTheDefaultAction) {
    const auto shown =
        desktopNotificationFor(notificationOf("Reminder", true), kCategories, "dovrel", "Open");
    EXPECT_EQ(shown.appName, "Dovrel");
    EXPECT_EQ(shown.appIcon, "dovrel");
    EXPECT_EQ(shown.summary, "Water");
    EXPECT_EQ(shown.body, "A glass?");
    EXPECT_EQ(shown.actions, (std::vector<std::string>{"Reminder.Done", "Done", "Reminder.Later",
                                                       "Later", "default", "Open"}));
    EXPECT_EQ(shown.desktopEntry, "dovrel");
    EXPECT_EQ(shown.soundName, "message-new-instant");
    EXPECT_EQ(shown.urgency, 1);
}

TEST(DesktopNotification, TheStackTagIsTheRequestsIdentifier) {
    auto notification = notificationOf("Reminder", false);
    notification.request.identifier = "HabitReminder-1";
    EXPECT_EQ(desktopNotificationFor(notification, kCategories, "i", "Open").stackTag,
              "HabitReminder-1");
}

TEST(DesktopNotification, AnUnregisteredCategoryOffersOnlyTheDefaultAction) {
    const auto shown =
        desktopNotificationFor(notificationOf("Unknown", true), kCategories, "i", "Open");
    EXPECT_EQ(shown.actions, (std::vector<std::string>{"default", "Open"}));
}

TEST(DesktopNotification, ASilentNotificationHasNoSoundName) {
    const auto shown =
        desktopNotificationFor(notificationOf("Reminder", false), kCategories, "i", "Open");
    EXPECT_EQ(shown.soundName, "");
}

TEST(DesktopNotification, TheSubtitleLeadsTheBody) {
    auto notification = notificationOf("Reminder", false);
    notification.request.content.subtitle = "Morning";
    EXPECT_EQ(desktopNotificationFor(notification, kCategories, "i", "Open").body,
              "Morning\nA glass?");
    notification.request.content.body.clear();
    EXPECT_EQ(desktopNotificationFor(notification, kCategories, "i", "Open").body, "Morning");
}

}  // namespace
}  // namespace dovrel::notifyd
