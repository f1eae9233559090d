#include "apps/dovrel/ReminderCommands.h"

#include <algorithm>
#include <atomic>
#include <iostream>
#include <memory>
#include <variant>

#include "DovrelFoundation/Model/Habit.h"
#include "DovrelFoundation/Reminders/HabitReminderIdentifiers.h"
#include "DovrelFoundation/Reminders/HabitRemindersScheduler.h"
#include "DovrelFoundation/Reminders/IconBadgeServiceProtocol.h"
#include "DovrelFoundation/Reminders/UserNotificationService.h"
#include "apps/dovrel/CommandErrors.h"
#include "apps/dovrel/ReminderJson.h"
#include "apps/dovrel/Texts.h"
#include "platform/foundation/Clock.h"
#include "platform/foundation/Region.h"
#include "platform/store/PersistentStoreCoordinator.h"
#include "platform/widgets/WidgetCenter.h"

namespace dovrel::cli {

namespace {

using notifications::Notification;
using notifications::NotificationRequest;
using notifications::NotificationResponse;

// The name of the habit whose URI the request's user info holds, read from the store; nothing
// when there is no such habit (deleted, or of another store).
std::optional<std::string> habitNameOf(const Application& application,
                                       const NotificationRequest& request) {
    const auto found = request.content.userInfo.find(kHabitURIRepresentationKey);
    if (found == request.content.userInfo.end()) {
        return std::nullopt;
    }
    const auto* uri = std::get_if<std::string>(&found->second);
    if (uri == nullptr) {
        return std::nullopt;
    }
    auto& context = application.context();
    const auto objectID = context.persistentStoreCoordinator()->managedObjectID(*uri);
    if (!objectID) {
        return std::nullopt;
    }
    try {
        const auto habit = std::dynamic_pointer_cast<Habit>(context.existingObject(*objectID));
        return habit ? habit->name() : std::nullopt;
    } catch (const Error&) {
        return std::nullopt;
    }
}

std::vector<ReminderReport> pendingReports(const Application& application) {
    auto pending = application.notificationCenter().pendingRequests();
    // Earliest first; requests without a date (none is due) last, each kind in added order.
    std::stable_sort(pending.begin(), pending.end(), [](const auto& a, const auto& b) {
        if (!a.triggerDate || !b.triggerDate) {
            return a.triggerDate.has_value() && !b.triggerDate.has_value();
        }
        return *a.triggerDate < *b.triggerDate;
    });
    std::vector<ReminderReport> reports;
    reports.reserve(pending.size());
    for (auto& entry : pending) {
        auto name = habitNameOf(application, entry.request);
        reports.push_back({std::move(entry.request), entry.triggerDate, std::move(name)});
    }
    return reports;
}

std::vector<ReminderReport> deliveredReports(const Application& application,
                                             const std::vector<Notification>& notifications) {
    std::vector<ReminderReport> reports;
    reports.reserve(notifications.size());
    for (const auto& notification : notifications) {
        reports.push_back({notification.request, notification.date,
                           habitNameOf(application, notification.request)});
    }
    return reports;
}

void printReports(const std::vector<ReminderReport>& reports, bool json,
                  const std::string& emptyKey) {
    if (json) {
        std::cout << reminderListJson(reports, Region::current()).dump(2, ' ', false) << '\n';
        return;
    }
    for (const auto& line : reminderListLines(reports, Region::current(), text(emptyKey))) {
        std::cout << line << '\n';
    }
}

// The notification a reminder's identifier names: a delivered one, or a pending one delivered
// now (an answer to a reminder before its time, as scripts may give).
std::optional<Notification> findReminder(const Application& application,
                                         const std::string& identifier) {
    auto& center = application.notificationCenter();
    for (auto& notification : center.deliveredNotifications()) {
        if (notification.request.identifier == identifier) {
            return std::move(notification);
        }
    }
    for (auto& pending : center.pendingRequests()) {
        if (pending.request.identifier == identifier) {
            return Notification{Clock::now(), std::move(pending.request)};
        }
    }
    return std::nullopt;
}

}  // namespace

std::optional<std::string> reminderActionForAnswer(const std::string& answer) {
    using Case = HabitReminderAction::Case;
    if (answer == "complete") {
        return std::string(HabitReminderAction(Case::complete).rawValue());
    }
    if (answer == "postpone-5m") {
        return std::string(HabitReminderAction(Case::postponeFor5Minutes).rawValue());
    }
    if (answer == "postpone-1h") {
        return std::string(HabitReminderAction(Case::postponeFor1Hour).rawValue());
    }
    if (answer == "postpone-4h") {
        return std::string(HabitReminderAction(Case::postponeFor4Hours).rawValue());
    }
    if (answer == "dismiss") {
        return std::string(NotificationResponse::kDismissActionIdentifier);
    }
    return std::nullopt;
}

void listReminders(const Application& application, bool json) {
    const auto reports = pendingReports(application);
    printReports(reports, json, "Cli.Reminders.None");
    if (!json && !application.notificationCenter().remindersEnabled()) {
        std::cout << text("Cli.Reminders.Off") << '\n';
    }
}

void deliverReminders(const Application& application, bool json) {
    auto& center = application.notificationCenter();
    const auto delivered = center.deliverDueRequests(Clock::now());
    if (!delivered.empty()) {
        // The badge of the latest reminder delivered is the launcher's, as the desktop shows it.
        std::optional<std::int64_t> badge;
        for (const auto& notification : delivered) {
            if (notification.request.content.badge) {
                badge = notification.request.content.badge;
            }
        }
        if (badge) {
            if (const auto& service = application.remindersScheduler().iconBadgeService()) {
                service->setBadgeNumber(*badge);
            }
        }
    }
    printReports(deliveredReports(application, delivered), json, "Cli.Reminders.NoneDue");
}

void listDeliveredReminders(const Application& application, bool json) {
    printReports(
        deliveredReports(application, application.notificationCenter().deliveredNotifications()),
        json, "Cli.Reminders.NoneDelivered");
}

void answerReminder(const Application& application, const std::string& identifier,
                    const std::string& answer) {
    const auto action = reminderActionForAnswer(answer);
    if (!action) {
        throw UsageError(text("Cli.Error.BadAnswer", {{"answer", answer}}));
    }
    const auto notification = findReminder(application, identifier);
    if (!notification) {
        throw CommandError(text("Cli.Error.NoReminder", {{"identifier", identifier}}));
    }
    const std::string habit = habitNameOf(application, notification->request)
                                  .value_or(notification->request.content.title);
    // The service is the center's delegate: the answer goes the way a click on the button goes.
    application.notificationService();
    auto finished = std::make_shared<std::atomic<bool>>(false);
    application.notificationCenter().respond(NotificationResponse{*notification, *action},
                                             [finished] { *finished = true; });
    application.waitUntil([&] { return finished->load(); });
    if (*action == HabitReminderAction(HabitReminderAction::Case::complete).rawValue()) {
        // The checkmark changed the store: the widgets show it. The service has rescheduled the
        // reminders already, and the number of habits is the same.
        widgets::WidgetCenter::shared().reloadTimelines(Habit::kWidgetKind);
    }
    std::cout << text("Cli.Reminders.Answered", {{"habit", habit}, {"answer", answer}}) << '\n';
}

void switchReminders(const Application& application, bool on) {
    application.notificationCenter().setRemindersEnabled(on);
    application.rescheduleReminders();
    std::cout << text(on ? "Cli.Reminders.SwitchedOn" : "Cli.Reminders.SwitchedOff") << '\n';
}

std::vector<std::string> habitReminderLines(const Application& application,
                                            const std::string& habitURI) {
    auto reports = pendingReports(application);
    std::erase_if(reports, [&](const ReminderReport& report) {
        const auto found = report.request.content.userInfo.find(kHabitURIRepresentationKey);
        if (found == report.request.content.userInfo.end()) {
            return true;
        }
        const auto* uri = std::get_if<std::string>(&found->second);
        return uri == nullptr || *uri != habitURI;
    });
    std::vector<std::string> lines{text("Cli.Show.Reminders")};
    for (auto& line : reminderListLines(reports, Region::current(), text("Cli.Reminders.None"))) {
        lines.push_back("  " + line);
    }
    return lines;
}

}  // namespace dovrel::cli
