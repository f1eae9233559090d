#include "platform/widgets/WidgetReloadListener.h"

#include "platform/foundation/Error.h"
#include "platform/foundation/Logging.h"
#include "platform/widgets/WidgetCenter.h"

#include <sdbus-c++/sdbus-c++.h>

#include <exception>
#include <string>
#include <utility>

namespace dovrel::widgets {

namespace {

spdlog::logger& logger() {
    static const std::shared_ptr<spdlog::logger> logger = namedLogger(kWidgetsLoggerName);
    return *logger;
}

std::string matchRule() {
    return std::string("type='signal',path='") + kWidgetsObjectPath + "',interface='" +
           kWidgetsInterfaceName + "'";
}

// The request a signal carries, or nothing for a signal that is not one of ours.
std::optional<TimelineReloadRequest> requestFrom(sdbus::Message& message) {
    const std::string member = message.getMemberName();
    if (member == kReloadAllTimelinesSignal) {
        return TimelineReloadRequest{};
    }
    if (member != kReloadTimelinesSignal) {
        return std::nullopt;
    }
    std::string kind;
    try {
        message >> kind;
    } catch (const sdbus::Error&) {
        return std::nullopt;  // the first argument has another type
    }
    if (!message) {
        return std::nullopt;  // no argument at all
    }
    return TimelineReloadRequest{std::move(kind)};
}

}  // namespace

// Members are destroyed in reverse order: the match before its connection.
struct WidgetReloadListener::Connection {
    Callback callback;
    std::unique_ptr<sdbus::IConnection> bus;
    sdbus::Slot match;

    ~Connection() {
        if (bus) {
            // Joins the event-loop thread, so no callback runs after this.
            bus->leaveEventLoop();
        }
    }

    void deliver(sdbus::Message& message) {
        const auto request = requestFrom(message);
        if (!request) {
            return;
        }
        try {
            callback(*request);
        } catch (const std::exception& error) {
            logger().error("Widget reload callback failed: {}", error.what());
        } catch (...) {
            logger().error("Widget reload callback failed with an unknown exception");
        }
    }
};

WidgetReloadListener::WidgetReloadListener(Callback callback)
    : connection_(std::make_unique<Connection>()) {
    connection_->callback = std::move(callback);
    try {
        connection_->bus = sdbus::createSessionBusConnection();
        // Installed synchronously: the bus knows the rule before the constructor returns.
        connection_->match = connection_->bus->addMatch(
            matchRule(),
            [state = connection_.get()](sdbus::Message& message) { state->deliver(message); });
        connection_->bus->enterEventLoopAsync();
    } catch (const sdbus::Error& error) {
        throw Error(kErrorDomain, kNoSessionBusError,
                    {{Error::kLocalizedDescriptionKey,
                      std::string("The session bus cannot be reached: ") + error.what()}});
    }
}

WidgetReloadListener::~WidgetReloadListener() = default;

}  // namespace dovrel::widgets
