#pragma once

#include <memory>
#include <string>
#include <string_view>

namespace dovrel::widgets {

// The names of the reload signals on the session bus. Every program of the application may
// send them; every widget process listens for them (see WidgetReloadListener).
//   object path  /org/dovrel/Widgets
//   interface    org.dovrel.Widgets
//   signals      ReloadTimelines(s kind)   the timelines of the widgets of one kind
//                ReloadAllTimelines()      the timelines of every widget
// The signals are broadcast (no destination), sent from whatever connection the sender has.
inline constexpr const char* kWidgetsObjectPath = "/org/dovrel/Widgets";
inline constexpr const char* kWidgetsInterfaceName = "org.dovrel.Widgets";
inline constexpr const char* kReloadTimelinesSignal = "ReloadTimelines";
inline constexpr const char* kReloadAllTimelinesSignal = "ReloadAllTimelines";

// The name of the logger (platform/foundation/Logging.h) that the widget pieces write to. It
// has no destination until the program adds one.
inline constexpr const char* kWidgetsLoggerName = "widgets";

// Asks the widget processes to reload their timelines, by signals on the session bus.
//
// The process's one center connects to the session bus ($DBUS_SESSION_BUS_ADDRESS, else
// $XDG_RUNTIME_DIR/bus) at its first request and keeps the connection. When the bus cannot be
// reached, or sending fails, the request logs one warning line to kWidgetsLoggerName and
// returns: nothing is thrown, nothing is queued, and the next request tries to connect anew.
// A kind that is not UTF-8 text cannot be sent on the bus and is logged the same way.
// When a request returns after sending, the bus has routed the signal: every listener that
// was listening before the call receives it, even if this process exits right away.
//
// Safe to call from any thread; requests are sent one at a time in the order they are made.
class WidgetCenter {
  public:
    // The process-wide center, created on first use and never destroyed before exit.
    static WidgetCenter& shared();

    // Asks the widgets of `kind` (for example "HabitWidget") to reload their timelines.
    void reloadTimelines(std::string_view kind);

    // Asks every widget to reload its timelines.
    void reloadAllTimelines();

    WidgetCenter(const WidgetCenter&) = delete;
    WidgetCenter& operator=(const WidgetCenter&) = delete;

  private:
    WidgetCenter();
    ~WidgetCenter();

    struct Bus;
    std::unique_ptr<Bus> bus_;
};

}  // namespace dovrel::widgets
