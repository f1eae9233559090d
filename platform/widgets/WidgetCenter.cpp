#include "platform/widgets/WidgetCenter.h"

#include "platform/foundation/Logging.h"
#include "platform/foundation/SessionBusSignalSender.h"

#include <sdbus-c++/sdbus-c++.h>

#include <functional>

namespace dovrel::widgets {

namespace {

spdlog::logger& logger() {
    static const std::shared_ptr<spdlog::logger> logger = namedLogger(kWidgetsLoggerName);
    return *logger;
}

}  // namespace

struct WidgetCenter::Bus {
    SessionBusSignalSender sender{kWidgetsObjectPath};

    void send(const std::string& description, const std::function<void(sdbus::IObject&)>& emit) {
        try {
            sender.send(emit);
        } catch (const sdbus::Error& error) {
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
