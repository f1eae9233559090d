#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "apps/dovrel-notifyd/DesktopNotification.h"

namespace sdbus {
class IConnection;
class Message;
}  // namespace sdbus

namespace dovrel::notifyd {

// The desktop's notification server (org.freedesktop.Notifications on the session bus) as the
// daemon sees it: whether one is there, showing and closing notifications, and its signals.
//
// Works on a connection that the caller owns and drives: the handlers run inside the caller's
// processing of the connection (sdbus::IConnection::processPendingRequest), on its thread, and
// every call here is a blocking call on that connection. Not thread-safe. The connection must
// outlive the object.
//
// Presence: a server is there when the name has an owner, or when the bus can start one
// (an activatable name). Presence changes come from NameOwnerChanged. Signals are accepted only
// from the name's current owner. A server that the bus can start but that fails to start (dunst
// without a display, for one) is no server: start() says so before anything is handed to it.
class NotificationServer {
  public:
    static constexpr const char* kBusName = "org.freedesktop.Notifications";
    static constexpr const char* kObjectPath = "/org/freedesktop/Notifications";
    static constexpr const char* kInterface = "org.freedesktop.Notifications";
    // The reasons a NotificationClosed signal gives (org.freedesktop.Notifications).
    static constexpr std::uint32_t kClosedExpired = 1;
    static constexpr std::uint32_t kClosedDismissed = 2;
    static constexpr std::uint32_t kClosedByCall = 3;

    struct Handlers {
        // ActionInvoked(id, action key).
        std::function<void(std::uint32_t, const std::string&)> actionInvoked;
        // NotificationClosed(id, reason).
        std::function<void(std::uint32_t, std::uint32_t)> closed;
        // A server appeared (true) or went away (false).
        std::function<void(bool)> presenceChanged;
    };

    // Subscribes to the signals (before returning) and learns whether a server is there. Throws
    // sdbus::Error when the bus refuses the subscriptions.
    NotificationServer(sdbus::IConnection& connection, Handlers handlers);
    ~NotificationServer();
    NotificationServer(const NotificationServer&) = delete;
    NotificationServer& operator=(const NotificationServer&) = delete;

    bool present() const noexcept { return !owner_.empty() || activatable_; }
    // Whether a server owns the name now.
    bool running() const noexcept { return !owner_.empty(); }

    // Makes sure that a server runs: true when one owns the name, or when the bus started one
    // (StartServiceByName, waiting for it); false when none is there or it failed to start (the
    // reason is logged). Blocks for at most the bus's activation time.
    bool start();

    // Shows the notification; the server's id for it, or nothing when there is no server or it
    // refused (the reason is logged to the "notifyd" logger). The stack tag goes with it as the
    // "x-dunst-stack-tag" hint when the server lists that capability (asked once per server).
    std::optional<std::uint32_t> show(const DesktopNotification& notification);
    // Asks the server to close a notification; failures are logged and otherwise ignored.
    void close(std::uint32_t id);

  private:
    void ownerChanged(sdbus::Message& message);
    bool supports(const std::string& capability);
    void notificationSignal(sdbus::Message& message);

    sdbus::IConnection& connection_;
    Handlers handlers_;
    std::string owner_;
    bool activatable_ = false;
    // The current server's capabilities, once asked; forgotten when the owner changes.
    std::optional<std::vector<std::string>> capabilities_;
    struct Subscriptions;
    std::unique_ptr<Subscriptions> subscriptions_;
};

}  // namespace dovrel::notifyd
