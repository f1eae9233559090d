#pragma once

#include <functional>
#include <memory>
#include <string>

namespace sdbus {
class IObject;
}

namespace dovrel {

// Broadcasts signals on the session bus from one object path, for the announcements that every
// program of the application makes (widget reloads, the launcher badge).
//
// The connection ($DBUS_SESSION_BUS_ADDRESS, else $XDG_RUNTIME_DIR/bus) is made at the first
// send and kept. send() returns once the bus has routed the signal, so every listener that was
// listening before the call receives it even if the process exits right away. When the bus
// cannot be reached or sending fails, send() drops the connection (the next send connects
// anew) and throws the sdbus::Error.
//
// Safe to call from any thread; sends happen one at a time in the order they are made.
class SessionBusSignalSender {
  public:
    explicit SessionBusSignalSender(std::string objectPath);
    ~SessionBusSignalSender();
    SessionBusSignalSender(const SessionBusSignalSender&) = delete;
    SessionBusSignalSender& operator=(const SessionBusSignalSender&) = delete;

    // Connects when needed and lets `emit` send the signal through the object.
    void send(const std::function<void(sdbus::IObject&)>& emit);

  private:
    struct Bus;
    std::unique_ptr<Bus> bus_;
};

}  // namespace dovrel
