#include "apps/dovrel-notifyd/NotificationServer.h"

#include <sdbus-c++/sdbus-c++.h>

#include <algorithm>
#include <chrono>
#include <map>
#include <vector>

#include "platform/foundation/Logging.h"

namespace dovrel::notifyd {

namespace {

constexpr const char* kBusDriverName = "org.freedesktop.DBus";
constexpr const char* kBusDriverPath = "/org/freedesktop/DBus";
constexpr auto kCallTimeout = std::chrono::seconds(10);
// The hint, named as the capability, that makes a notification replace the one with its tag.
constexpr const char* kStackTagCapability = "x-dunst-stack-tag";
// The bus daemon gives up on an activation after 25 s by default.
constexpr auto kStartTimeout = std::chrono::seconds(30);

spdlog::logger& logger() {
    static const std::shared_ptr<spdlog::logger> logger = namedLogger("notifyd");
    return *logger;
}

}  // namespace

// Members are destroyed in reverse order: the matches and proxies before nothing else needs
// them; the connection itself belongs to the caller.
struct NotificationServer::Subscriptions {
    std::unique_ptr<sdbus::IProxy> busDriver;
    std::unique_ptr<sdbus::IProxy> server;
    sdbus::Slot ownerMatch;
    sdbus::Slot signalMatch;
};

NotificationServer::NotificationServer(sdbus::IConnection& connection, Handlers handlers)
    : connection_(connection),
      handlers_(std::move(handlers)),
      subscriptions_(std::make_unique<Subscriptions>()) {
    subscriptions_->busDriver = sdbus::createProxy(connection_, kBusDriverName, kBusDriverPath);
    subscriptions_->server = sdbus::createProxy(connection_, kBusName, kObjectPath);
    // Subscribed before asking for the owner, so that no change falls between the two.
    subscriptions_->ownerMatch = connection_.addMatch(
        std::string("type='signal',sender='org.freedesktop.DBus',interface='org.freedesktop.DBus',"
                    "member='NameOwnerChanged',arg0='") +
            kBusName + "'",
        [this](sdbus::Message& message) { ownerChanged(message); });
    subscriptions_->signalMatch = connection_.addMatch(
        std::string("type='signal',interface='") + kInterface + "',path='" + kObjectPath + "'",
        [this](sdbus::Message& message) { notificationSignal(message); });
    try {
        subscriptions_->busDriver->callMethod("GetNameOwner")
            .onInterface(kBusDriverName)
            .withArguments(std::string(kBusName))
            .storeResultsTo(owner_);
    } catch (const sdbus::Error&) {
        owner_.clear();  // org.freedesktop.DBus.Error.NameHasNoOwner
    }
    std::vector<std::string> activatable;
    subscriptions_->busDriver->callMethod("ListActivatableNames")
        .onInterface(kBusDriverName)
        .storeResultsTo(activatable);
    activatable_ = std::find(activatable.begin(), activatable.end(), kBusName) != activatable.end();
}

NotificationServer::~NotificationServer() = default;

void NotificationServer::ownerChanged(sdbus::Message& message) {
    std::string name;
    std::string oldOwner;
    std::string newOwner;
    message >> name >> oldOwner >> newOwner;
    if (name != kBusName) {
        return;
    }
    const bool wasPresent = present();
    owner_ = newOwner;
    capabilities_.reset();
    if (handlers_.presenceChanged && (present() != wasPresent || !newOwner.empty())) {
        handlers_.presenceChanged(!newOwner.empty() || activatable_);
    }
}

void NotificationServer::notificationSignal(sdbus::Message& message) {
    if (owner_.empty() || message.getSender() != owner_) {
        return;
    }
    const std::string member = message.getMemberName();
    try {
        if (member == "ActionInvoked" && handlers_.actionInvoked) {
            std::uint32_t id = 0;
            std::string key;
            message >> id >> key;
            handlers_.actionInvoked(id, key);
        } else if (member == "NotificationClosed" && handlers_.closed) {
            std::uint32_t id = 0;
            std::uint32_t reason = 0;
            message >> id >> reason;
            handlers_.closed(id, reason);
        }
    } catch (const sdbus::Error& error) {
        logger().warn("Ignoring a malformed {} signal: {}", member, error.what());
    }
}

bool NotificationServer::supports(const std::string& capability) {
    if (!capabilities_) {
        std::vector<std::string> capabilities;
        try {
            subscriptions_->server->callMethod("GetCapabilities")
                .onInterface(kInterface)
                .withTimeout(kCallTimeout)
                .storeResultsTo(capabilities);
        } catch (const sdbus::Error& error) {
            logger().info("The notification server's capabilities are unknown: {}", error.what());
        }
        capabilities_ = std::move(capabilities);
    }
    return std::find(capabilities_->begin(), capabilities_->end(), capability) !=
           capabilities_->end();
}

bool NotificationServer::start() {
    if (running()) {
        return true;
    }
    if (!activatable_) {
        return false;
    }
    try {
        std::uint32_t result = 0;
        subscriptions_->busDriver->callMethod("StartServiceByName")
            .onInterface(kBusDriverName)
            .withTimeout(kStartTimeout)
            .withArguments(std::string(kBusName), std::uint32_t{0})
            .storeResultsTo(result);
        return true;
    } catch (const sdbus::Error& error) {
        logger().warn("The notification server could not be started: {}", error.what());
        return false;
    }
}

std::optional<std::uint32_t> NotificationServer::show(const DesktopNotification& notification) {
    if (!present()) {
        return std::nullopt;
    }
    std::map<std::string, sdbus::Variant> hints;
    hints["desktop-entry"] = sdbus::Variant(notification.desktopEntry);
    if (!notification.soundName.empty()) {
        hints["sound-name"] = sdbus::Variant(notification.soundName);
    }
    hints["urgency"] = sdbus::Variant(notification.urgency);
    if (!notification.stackTag.empty() && supports(kStackTagCapability)) {
        hints[kStackTagCapability] = sdbus::Variant(notification.stackTag);
    }
    try {
        std::uint32_t id = 0;
        subscriptions_->server->callMethod("Notify")
            .onInterface(kInterface)
            .withTimeout(kCallTimeout)
            .withArguments(notification.appName, std::uint32_t{0}, notification.appIcon,
                           notification.summary, notification.body, notification.actions, hints,
                           std::int32_t{-1})
            .storeResultsTo(id);
        return id;
    } catch (const sdbus::Error& error) {
        logger().warn("The notification server did not show \"{}\": {}", notification.summary,
                      error.what());
        return std::nullopt;
    }
}

void NotificationServer::close(std::uint32_t id) {
    try {
        subscriptions_->server->callMethod("CloseNotification")
            .onInterface(kInterface)
            .withTimeout(kCallTimeout)
            .withArguments(id);
    } catch (const sdbus::Error& error) {
        logger().info("Closing notification {} failed: {}", id, error.what());
    }
}

}  // namespace dovrel::notifyd
