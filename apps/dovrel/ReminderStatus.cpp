#include "apps/dovrel/ReminderStatus.h"

#include <sdbus-c++/sdbus-c++.h>

#include <chrono>
#include <iostream>
#include <string>
#include <tuple>
#include <vector>

#include "apps/dovrel/CommandErrors.h"
#include "apps/dovrel/LocaleFormats.h"
#include "apps/dovrel/Texts.h"
#include "platform/foundation/Region.h"

namespace dovrel::cli {

namespace {

// The daemon's well-known name (apps/dovrel-notifyd/Daemon.h owns it).
constexpr const char* kDaemonBusName = "org.dovrel.Notifyd";
constexpr const char* kNotificationsName = "org.freedesktop.Notifications";
constexpr auto kCallTimeout = std::chrono::seconds(5);

std::optional<std::string> ownerOf(sdbus::IProxy& busDriver, const std::string& name) {
    try {
        std::string owner;
        busDriver.callMethod("GetNameOwner")
            .onInterface("org.freedesktop.DBus")
            .withTimeout(kCallTimeout)
            .withArguments(name)
            .storeResultsTo(owner);
        return owner;
    } catch (const sdbus::Error&) {
        return std::nullopt;
    }
}

void printBusStatus() {
    std::unique_ptr<sdbus::IConnection> bus;
    try {
        bus = sdbus::createSessionBusConnection();
    } catch (const sdbus::Error&) {
        std::cout << text("Cli.Reminders.Status.NoSessionBus") << '\n';
        return;
    }
    auto busDriver = sdbus::createProxy(*bus, "org.freedesktop.DBus", "/org/freedesktop/DBus");
    if (const auto owner = ownerOf(*busDriver, kDaemonBusName)) {
        std::cout << text("Cli.Reminders.Status.Running", {{"owner", *owner}}) << '\n';
    } else {
        std::cout << text("Cli.Reminders.Status.NotRunning") << '\n';
    }
    // Only a running server is asked: a call would start an activatable one.
    if (!ownerOf(*busDriver, kNotificationsName)) {
        std::cout << text("Cli.Reminders.Status.NoServer") << '\n';
        return;
    }
    auto server = sdbus::createProxy(*bus, kNotificationsName, "/org/freedesktop/Notifications");
    try {
        std::string name, vendor, version, specification;
        server->callMethod("GetServerInformation")
            .onInterface(kNotificationsName)
            .withTimeout(kCallTimeout)
            .storeResultsTo(name, vendor, version, specification);
        std::cout << text("Cli.Reminders.Status.Server", {{"name", name},
                                                          {"vendor", vendor},
                                                          {"version", version},
                                                          {"spec", specification}})
                  << '\n';
        std::vector<std::string> capabilities;
        server->callMethod("GetCapabilities")
            .onInterface(kNotificationsName)
            .withTimeout(kCallTimeout)
            .storeResultsTo(capabilities);
        std::string joined;
        for (const auto& capability : capabilities) {
            joined += (joined.empty() ? "" : ", ") + capability;
        }
        std::cout << text("Cli.Reminders.Status.Capabilities", {{"capabilities", joined}}) << '\n';
    } catch (const sdbus::Error&) {
        std::cout << text("Cli.Reminders.Status.NoServer") << '\n';
    }
}

}  // namespace

void reminderStatus(const Application& application) {
    printBusStatus();
    std::optional<Date> next;
    try {
        next = application.notificationCenter().nextTriggerDate();
    } catch (const Error& error) {
        throw CommandError(
            text("Cli.Error.Reminders.Unavailable", {{"detail", error.localizedDescription()}}));
    }
    if (next) {
        std::cout << text("Cli.Reminders.Status.Next",
                          {{"date", formatWithSkeleton(*next, "yMMMEdjmm",
                                                       displayRegion(Region::current()))}})
                  << '\n';
    } else {
        std::cout << text("Cli.Reminders.Status.NoNext") << '\n';
    }
}

}  // namespace dovrel::cli
