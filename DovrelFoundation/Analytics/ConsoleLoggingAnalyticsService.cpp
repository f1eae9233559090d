#include "DovrelFoundation/Analytics/ConsoleLoggingAnalyticsService.h"

#include <spdlog/spdlog.h>

#include "DovrelFoundation/Appearance/UserInterfaceStyleDescription.h"
#include "platform/foundation/Logging.h"

namespace dovrel {

namespace {

spdlog::logger& logger() {
    // The registry keeps the logger for the whole process; keep a reference to skip its lookup.
    static const std::shared_ptr<spdlog::logger> logger =
        namedLogger(ConsoleLoggingAnalyticsService::kLoggerName);
    return *logger;
}

// The rendering of an optional text: Optional("text") or nil.
std::string describeOptional(const std::optional<std::string>& text) {
    if (!text) {
        return "nil";
    }
    return "Optional(" + AnalyticsParameterValue(*text).description() + ")";
}

}  // namespace

std::shared_ptr<ConsoleLoggingAnalyticsService> ConsoleLoggingAnalyticsService::make(
    bool isDebugBuild) {
    if (!isDebugBuild) {
        return nullptr;
    }
    addLogDestination(kLoggerName, makeConsoleLogDestination());
    return std::shared_ptr<ConsoleLoggingAnalyticsService>(new ConsoleLoggingAnalyticsService());
}

void ConsoleLoggingAnalyticsService::trackEvent(
    std::string_view event, const std::optional<AnalyticsParameters>& parameters) {
    if (parameters) {
        logger().debug("{}: {}", event, description(*parameters));
    } else {
        logger().debug("{}", event);
    }
}

void ConsoleLoggingAnalyticsService::trackError(const Error& error) {
    logger().error("{}", error.localizedDescription());
}

void ConsoleLoggingAnalyticsService::trackNumberOfHabits(std::int64_t numberOfHabits) {
    logger().debug("Number of habits: {}", numberOfHabits);
}

void ConsoleLoggingAnalyticsService::trackNotificationsAllowed(bool notificationsAllowed) {
    logger().debug("Notifications allowed: {}", notificationsAllowed ? "true" : "false");
}

void ConsoleLoggingAnalyticsService::track(const Locale& userLocale,
                                           const std::optional<std::string>& preferredLanguage) {
    logger().debug("User locale: {}", userLocale.description());
    logger().debug("Preferred language: {}", describeOptional(preferredLanguage));
}

void ConsoleLoggingAnalyticsService::track(UserInterfaceStyle userInterfaceStyle) {
    logger().debug("User interface style: {}", description(userInterfaceStyle));
}

void ConsoleLoggingAnalyticsService::trackRemoteConfig(
    const std::map<std::string, std::string>& remoteConfig) {
    AnalyticsParameters values;
    for (const auto& [key, value] : remoteConfig) {
        values.emplace(key, value);
    }
    trackEvent("Remote config", values);
}

}  // namespace dovrel
