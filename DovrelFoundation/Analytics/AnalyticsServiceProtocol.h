#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "DovrelFoundation/Analytics/AnalyticsParameters.h"
#include "platform/foundation/Color.h"
#include "platform/foundation/Error.h"
#include "platform/foundation/Locale.h"

namespace dovrel {

// A destination for analytics: the console logger, or an adapter to an analytics vendor.
// Services are held behind this interface (by std::shared_ptr); the tracker knows nothing else of
// them. Calls never fail and report nothing back. A service may be called from any thread, so
// implementations must be safe to call from whichever threads the application uses.
//
// Implementations that override trackEvent(event, parameters) should also write
// `using AnalyticsServiceProtocol::trackEvent;` so that the shorthand stays visible on them.
class AnalyticsServiceProtocol {
  public:
    virtual ~AnalyticsServiceProtocol() = default;

    // One event with its parameters. Absent and empty parameters are both allowed.
    virtual void trackEvent(std::string_view event,
                            const std::optional<AnalyticsParameters>& parameters) = 0;
    // Shorthand: the event without parameters.
    void trackEvent(std::string_view event) { trackEvent(event, std::nullopt); }

    // A non-fatal error.
    virtual void trackError(const Error& error) = 0;

    // User attribute "habitsCount".
    virtual void trackNumberOfHabits(std::int64_t numberOfHabits) = 0;
    // User attribute "allowNotification".
    virtual void trackNotificationsAllowed(bool notificationsAllowed) = 0;
    // User attributes "regionCode", "languageCode" and "preferredLanguage".
    virtual void track(const Locale& userLocale,
                       const std::optional<std::string>& preferredLanguage) = 0;
    // User attribute "userInterfaceStyle".
    virtual void track(UserInterfaceStyle userInterfaceStyle) = 0;

    // The remote-configuration values in force.
    virtual void trackRemoteConfig(const std::map<std::string, std::string>& remoteConfig) = 0;
};

}  // namespace dovrel
