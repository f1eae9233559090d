#include "platform/widgets/WidgetCenter.h"

#include "platform/foundation/Logging.h"

#include <sdbus-c++/sdbus-c++.h>

#include <mutex>

namespace dovrel::widgets {

namespace {

spdlog::logger& logger() {
    static const std::shared_ptr<spdlog::logger> logger = namedLogger(kWidgetsLoggerName);
    return *logger;
}

}  // namespace

// Members are destroyed in reverse order: the object and the proxy before their connection.
struct WidgetCenter::Bus {
    std::mutex mutex;
    std::unique_ptr<sdbus::IConnection> connection;
    std::unique_ptr<sdbus::IObject> sender;
    std::unique_ptr<sdbus::IProxy> busDriver;

    void disconnect() {
        busDriver.reset();
        sender.reset();
        connection.reset();
    }

    // Connects when needed, lets `emit` send the signal, and waits for the bus to route it.
    template <typename Emit>
    void send(const std::string& description, Emit emit) {
        std::lock_guard lock(mutex);
        try {
            if (!connection) {
                connection = sdbus::createSessionBusConnection();
                sender = sdbus::createObject(*connection, kWidgetsObjectPath);
                busDriver = sdbus::createProxy(*connection, "org.freedesktop.DBus",
                                               "/org/freedesktop/DBus");
            }
            emit(*sender);
            // The bus handles one connection's messages in order, so its answer to this call
            // comes after it has passed the signal on. Without the round trip the signal could
            // still sit in this connection's queue when a short-lived program exits.
            std::string busId;
            busDriver->callMethod("GetId")
                .onInterface("org.freedesktop.DBus")
                .storeResultsTo(busId);
        } catch (const sdbus::Error& error) {
            disconnect();
            logger().warn("Widget timelines not reloaded ({}): {}", description, error.what());
        }
    }
};

WidgetCenter& WidgetCenter::shared() {
    // Never destroyed, so that requests made from other objects' static destructors still work.
    static WidgetCenter* const center = new WidgetCenter();
    return *center;
}

WidgetCenter::WidgetCenter() : bus_(std::make_unique<Bus>()) {}

WidgetCenter::~WidgetCenter() = default;

void WidgetCenter::reloadTimelines(std::string_view kind) {
    const std::string kindText(kind);
    bus_->send("kind \"" + kindText + "\"", [&](sdbus::IObject& sender) {
        sender.emitSignal(kReloadTimelinesSignal)
            .onInterface(kWidgetsInterfaceName)
            .withArguments(kindText);
    });
}

void WidgetCenter::reloadAllTimelines() {
    bus_->send("all kinds", [](sdbus::IObject& sender) {
        sender.emitSignal(kReloadAllTimelinesSignal).onInterface(kWidgetsInterfaceName);
    });
}

}  // namespace dovrel::widgets
