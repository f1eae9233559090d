#include "platform/notifications/LauncherBadge.h"

#include <sdbus-c++/sdbus-c++.h>

#include <atomic>
#include <map>
#include <mutex>
#include <optional>
#include <utility>
#include <variant>

#include "platform/foundation/SessionBusSignalSender.h"
#include "platform/foundation/UserDefaults.h"
#include "platform/notifications/NotificationsLog.h"

namespace dovrel::notifications {

namespace {

// Whether this process has already said that the badge could not be announced.
std::atomic<bool> warnedOfNoBus{false};

}  // namespace

struct LauncherBadge::Implementation {
    explicit Implementation(UserDefaults suite) : defaults(std::move(suite)) {}

    UserDefaults defaults;
    SessionBusSignalSender sender{kLauncherEntryObjectPath};

    // Sends the launcher-entry signal and waits until the bus has routed it. Without a bus,
    // warns once per process.
    void announce(std::int64_t number) {
        try {
            sender.send([&](sdbus::IObject& object) {
                const std::map<std::string, sdbus::Variant> properties{
                    {"count", sdbus::Variant(number)},
                    {"count-visible", sdbus::Variant(number != 0)},
                };
                object.emitSignal("Update")
                    .onInterface(kLauncherEntryInterface)
                    .withArguments(std::string(kApplicationURI), properties);
            });
        } catch (const sdbus::Error& error) {
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
