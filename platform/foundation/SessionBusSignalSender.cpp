#include "platform/foundation/SessionBusSignalSender.h"

#include <sdbus-c++/sdbus-c++.h>

#include <mutex>

namespace dovrel {

// Members are destroyed in reverse order: the object and the proxy before their connection.
struct SessionBusSignalSender::Bus {
    std::string objectPath;
    std::mutex mutex;
    std::unique_ptr<sdbus::IConnection> connection;
    std::unique_ptr<sdbus::IObject> sender;
    std::unique_ptr<sdbus::IProxy> busDriver;

    void disconnect() {
        busDriver.reset();
        sender.reset();
        connection.reset();
    }
};

SessionBusSignalSender::SessionBusSignalSender(std::string objectPath)
    : bus_(std::make_unique<Bus>()) {
    bus_->objectPath = std::move(objectPath);
}

SessionBusSignalSender::~SessionBusSignalSender() = default;

void SessionBusSignalSender::send(const std::function<void(sdbus::IObject&)>& emit) {
    std::lock_guard lock(bus_->mutex);
    try {
        if (!bus_->connection) {
            bus_->connection = sdbus::createSessionBusConnection();
            bus_->sender = sdbus::createObject(*bus_->connection, bus_->objectPath);
            bus_->busDriver = sdbus::createProxy(*bus_->connection, "org.freedesktop.DBus",
                                                 "/org/freedesktop/DBus");
        }
        emit(*bus_->sender);
        // The bus handles one connection's messages in order, so its answer to this call comes
        // after it has passed the signal on. Without the round trip the signal could still sit
        // in this connection's queue when a short-lived program exits.
        std::string busId;
        bus_->busDriver->callMethod("GetId")
            .onInterface("org.freedesktop.DBus")
            .storeResultsTo(busId);
    } catch (const sdbus::Error&) {
        bus_->disconnect();
        throw;
    }
}

}  // namespace dovrel
