#include "platform/notifications/LauncherBadge.h"

#include <sdbus-c++/sdbus-c++.h>

#include <atomic>
#include <map>
#include <mutex>
#include <optional>
#include <utility>
#include <variant>

#include "platform/foundation/UserDefaults.h"
#include "platform/notifications/NotificationsLog.h"

namespace dovrel::notifications {

namespace {

// Whether this process has already said that the badge could not be announced.
std::atomic<bool> warnedOfNoBus{false};

}  // namespace

// Members are destroyed in reverse order: the object and the proxy before their connection.
struct LauncherBadge::Implementation {
    explicit Implementation(UserDefaults suite) : defaults(std::move(suite)) {}

    UserDefaults defaults;
    std::mutex busMutex;
    std::unique_ptr<sdbus::IConnection> connection;
    std::unique_ptr<sdbus::IObject> sender;
    std::unique_ptr<sdbus::IProxy> busDriver;

    void disconnect() {
        busDriver.reset();
        sender.reset();
        connection.reset();
    }

    // Connects when needed, sends the launcher-entry signal and waits until the bus has routed
    // it. Without a bus, warns once per process.
    void announce(std::int64_t number) {
        std::lock_guard lock(busMutex);
        try {
            if (!connection) {
                connection = sdbus::createSessionBusConnection();
                sender = sdbus::createObject(*connection, kLauncherEntryObjectPath);
                busDriver = sdbus::createProxy(*connection, "org.freedesktop.DBus",
                                               "/org/freedesktop/DBus");
            }
            const std::map<std::string, sdbus::Variant> properties{
                {"count", sdbus::Variant(number)},
                {"count-visible", sdbus::Variant(number != 0)},
            };
            sender->emitSignal("Update")
                .onInterface(kLauncherEntryInterface)
                .withArguments(std::string(kApplicationURI), properties);
            // The bus handles one connection's messages in order, so its answer to this call
            // comes after it has passed the signal on; a short-lived program may exit then.
            std::string busId;
            busDriver->callMethod("GetId")
                .onInterface("org.freedesktop.DBus")
                .storeResultsTo(busId);
        } catch (const sdbus::Error& error) {
            disconnect();
            if (!warnedOfNoBus.exchange(true)) {
                notificationsLogger().warn(
                    "The launcher badge {} is kept but not shown: the session bus cannot be "
                    "reached ({})",
                    number, error.what());
            }
        }
    }
};

LauncherBadge::LauncherBadge(std::string_view groupIdentifier)
    : implementation_(std::make_unique<Implementation>(UserDefaults(groupIdentifier))) {}

LauncherBadge LauncherBadge::atPath(const std::filesystem::path& defaultsFile) {
    return LauncherBadge(std::make_unique<Implementation>(UserDefaults::atPath(defaultsFile)));
}

LauncherBadge::LauncherBadge(std::unique_ptr<Implementation> implementation)
    : implementation_(std::move(implementation)) {}

LauncherBadge::~LauncherBadge() = default;
LauncherBadge::LauncherBadge(LauncherBadge&&) noexcept = default;
LauncherBadge& LauncherBadge::operator=(LauncherBadge&&) noexcept = default;

std::int64_t LauncherBadge::badgeNumber() const {
    const auto stored = implementation_->defaults.object(kBadgeNumberKey);
    if (stored && std::holds_alternative<std::int64_t>(*stored)) {
        return std::get<std::int64_t>(*stored);
    }
    return 0;
}

void LauncherBadge::setBadgeNumber(std::int64_t number) {
    implementation_->defaults.set(kBadgeNumberKey, UserDefaults::Value(number));
    implementation_->announce(number);
}

}  // namespace dovrel::notifications
