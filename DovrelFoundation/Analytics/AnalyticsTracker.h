#pragma once

#include <memory>
#include <vector>

#include "DovrelFoundation/Analytics/AnalyticsTrackerProtocol.h"

namespace dovrel {

// Fans every analytics call out to an ordered list of services, fixed at construction (to change
// the list, build a new tracker). Every call reaches every service, synchronously on the calling
// thread and in list order, whatever the earlier ones did; the tracker adds no locking and holds
// no mutable state.
//
// Events gain the parameter "timestamp": the current time (Clock::now()) as a 64-bit count of
// milliseconds since 1970-01-01 00:00 UTC, truncated toward zero, replacing any "timestamp" the
// caller gave. The parameters are copied once per event, not once per service. A time that does
// not fit 64 bits stops the process. Every other call is passed on unchanged.
class AnalyticsTracker final : public AnalyticsTrackerProtocol {
  public:
    // Null entries are left out, so that a service that may not exist (the console service of a
    // release build) can be listed as it is.
    explicit AnalyticsTracker(
        std::vector<std::shared_ptr<AnalyticsServiceProtocol>> analyticsServices);

    const std::vector<std::shared_ptr<AnalyticsServiceProtocol>>& analyticsServices()
        const noexcept {
        return analyticsServices_;
    }

    using AnalyticsTrackerProtocol::trackEvent;
    void trackEvent(std::string_view event,
                    const std::optional<AnalyticsParameters>& parameters) override;
    void trackError(const Error& error) override;
    void trackNumberOfHabits(std::int64_t numberOfHabits) override;
    void trackNotificationsAllowed(bool notificationsAllowed) override;
    void track(const Locale& userLocale,
               const std::optional<std::string>& preferredLanguage) override;
    void track(UserInterfaceStyle userInterfaceStyle) override;
    void trackRemoteConfig(const std::map<std::string, std::string>& remoteConfig) override;
    void trackCustomError(std::string_view errorText) override;

  private:
    const std::vector<std::shared_ptr<AnalyticsServiceProtocol>> analyticsServices_;
};

}  // namespace dovrel
