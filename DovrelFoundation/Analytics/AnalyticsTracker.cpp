#include "DovrelFoundation/Analytics/AnalyticsTracker.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "platform/foundation/Clock.h"
#include "platform/foundation/FatalError.h"

namespace dovrel {

namespace {

std::vector<std::shared_ptr<AnalyticsServiceProtocol>> withoutNulls(
    std::vector<std::shared_ptr<AnalyticsServiceProtocol>> services) {
    std::erase(services, nullptr);
    return services;
}

std::int64_t currentMillisecondsSince1970() {
    const double milliseconds = std::trunc(Clock::now().timeIntervalSince1970() * 1000.0);
    // 2^63 is exactly representable as a double; every double below it fits an int64.
    constexpr double kLimit = 9223372036854775808.0;
    if (!std::isfinite(milliseconds) || milliseconds < -kLimit || milliseconds >= kLimit) {
        fatalError("The current time in milliseconds since 1970 does not fit a 64-bit integer");
    }
    return static_cast<std::int64_t>(milliseconds);
}

}  // namespace

AnalyticsTracker::AnalyticsTracker(
    std::vector<std::shared_ptr<AnalyticsServiceProtocol>> analyticsServices)
    : analyticsServices_(withoutNulls(std::move(analyticsServices))) {}

void AnalyticsTracker::trackEvent(std::string_view event,
                                  const std::optional<AnalyticsParameters>& parameters) {
    std::optional<AnalyticsParameters> completed(std::in_place);
    if (parameters) {
        *completed = *parameters;
    }
    completed->insert_or_assign("timestamp", currentMillisecondsSince1970());
    for (const auto& service : analyticsServices_) {
        service->trackEvent(event, completed);
    }
}

void AnalyticsTracker::trackError(const Error& error) {
    for (const auto& service : analyticsServices_) {
        service->trackError(error);
    }
}

void AnalyticsTracker::trackNumberOfHabits(std::int64_t numberOfHabits) {
    for (const auto& service : analyticsServices_) {
        service->trackNumberOfHabits(numberOfHabits);
    }
}

void AnalyticsTracker::trackNotificationsAllowed(bool notificationsAllowed) {
    for (const auto& service : analyticsServices_) {
        service->trackNotificationsAllowed(notificationsAllowed);
    }
}

void AnalyticsTracker::track(const Locale& userLocale,
                             const std::optional<std::string>& preferredLanguage) {
    for (const auto& service : analyticsServices_) {
        service->track(userLocale, preferredLanguage);
    }
}

void AnalyticsTracker::track(UserInterfaceStyle userInterfaceStyle) {
    for (const auto& service : analyticsServices_) {
        service->track(userInterfaceStyle);
    }
}

void AnalyticsTracker::trackRemoteConfig(const std::map<std::string, std::string>& remoteConfig) {
    for (const auto& service : analyticsServices_) {
        service->trackRemoteConfig(remoteConfig);
    }
}

void AnalyticsTracker::trackCustomError(std::string_view errorText) {
    trackError(Error("ErrorForTrack", 0, {{"errorText", std::string(errorText)}}));
}

}  // namespace dovrel
