#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace dovrel::widgets {

// One reload asked of the widget process.
struct TimelineReloadRequest {
    // The widget kind whose timelines to reload; nothing means every kind.
    std::optional<std::string> kind;

    friend bool operator==(const TimelineReloadRequest&, const TimelineReloadRequest&) = default;
};

// Receives the reload signals that WidgetCenter sends (from this process or any other on the
// same session bus) and hands each to a callback.
//
// The listener has its own connection to the session bus and its own thread, which runs the
// callback once per signal, in the order the bus delivered them. Listening starts before the
// constructor returns: a signal sent after that is received. A ReloadTimelines signal whose
// first argument is not a text is ignored. The callback must not throw; an exception it throws is
// logged to kWidgetsLoggerName and dropped. The destructor stops the thread and waits for a
// running callback to finish; the callback must therefore not destroy its own listener.
class WidgetReloadListener {
  public:
    using Callback = std::function<void(const TimelineReloadRequest&)>;

    // The dovrel::Error domain of the constructor's failure.
    static constexpr const char* kErrorDomain = "WidgetReloadListenerErrorDomain";
    // Error code: the session bus cannot be reached (the user info's localized description
    // says why).
    static constexpr int kNoSessionBusError = 1;

    // Starts listening. Throws dovrel::Error (kErrorDomain, kNoSessionBusError) when the
    // session bus cannot be reached.
    explicit WidgetReloadListener(Callback callback);
    ~WidgetReloadListener();

    WidgetReloadListener(const WidgetReloadListener&) = delete;
    WidgetReloadListener& operator=(const WidgetReloadListener&) = delete;

  private:
    struct Connection;
    std::unique_ptr<Connection> connection_;
};

}  // namespace dovrel::widgets
