#pragma once

#include <memory>

#include "DovrelFoundation/Analytics/AnalyticsServiceProtocol.h"

namespace dovrel {

// Writes every analytics call to the console, for developers running a debug build. It logs
// through the process-wide logger named "analytics" (see platform/foundation/Logging.h): debug
// level for events and attributes, error level for errors. It holds no state and never fails.
//
// Lines, by operation:
//   trackEvent           "<event>: <parameters' description>", or "<event>" without parameters
//   trackError           the error's localized description (error level)
//   trackNumberOfHabits  "Number of habits: 12"
//   trackNotificationsAllowed  "Notifications allowed: true" / "... false"
//   track(locale, lang)  "User locale: <locale description>", then
//                        "Preferred language: Optional(\"uk\")" or "Preferred language: nil"
//   track(style)         "User interface style: dark" (unspecified, light, dark or unknown)
//   trackRemoteConfig    "Remote config: <the values' description, as text parameters>"
class ConsoleLoggingAnalyticsService final : public AnalyticsServiceProtocol {
  public:
    static constexpr const char* kLoggerName = "analytics";

    // Nothing when `isDebugBuild` is false, so that a release build simply leaves the service out
    // (programs pass whether they were built for debugging, e.g. from DOVREL_DEBUG). Otherwise a
    // new service, after adding one new console destination to the "analytics" logger: each
    // construction adds a destination of its own, which stays for the life of the process.
    static std::shared_ptr<ConsoleLoggingAnalyticsService> make(bool isDebugBuild);

    using AnalyticsServiceProtocol::trackEvent;
    void trackEvent(std::string_view event,
                    const std::optional<AnalyticsParameters>& parameters) override;
    void trackError(const Error& error) override;
    void trackNumberOfHabits(std::int64_t numberOfHabits) override;
    void trackNotificationsAllowed(bool notificationsAllowed) override;
    void track(const Locale& userLocale,
               const std::optional<std::string>& preferredLanguage) override;
    void track(UserInterfaceStyle userInterfaceStyle) override;
    void trackRemoteConfig(const std::map<std::string, std::string>& remoteConfig) override;

  private:
    ConsoleLoggingAnalyticsService() = default;
};

}  // namespace dovrel
