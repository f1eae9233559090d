#pragma once

// Header-only (the support sources are linked into every test program, and only some of them
// link DovrelFoundation).

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "DovrelFoundation/Analytics/AnalyticsServiceProtocol.h"

namespace dovrel::testing {

// An analytics service that records every call, in order, for tests to inspect.
class RecordingAnalyticsService final : public AnalyticsServiceProtocol {
  public:
    struct Event {
        std::string name;
        std::optional<AnalyticsParameters> parameters;
    };
    struct LocaleCall {
        Locale locale;
        std::optional<std::string> preferredLanguage;
    };
    // One entry per call: which operation, in the order the calls came.
    std::vector<std::string> calls;
    std::vector<Event> events;
    std::vector<Error> errors;
    std::vector<std::int64_t> numbersOfHabits;
    std::vector<bool> notificationsAllowed;
    std::vector<LocaleCall> locales;
    std::vector<UserInterfaceStyle> styles;
    std::vector<std::map<std::string, std::string>> remoteConfigs;

    using AnalyticsServiceProtocol::trackEvent;
    void trackEvent(std::string_view event,
                    const std::optional<AnalyticsParameters>& parameters) override {
        std::lock_guard lock(mutex_);
        calls.push_back("trackEvent");
        events.push_back(Event{std::string(event), parameters});
    }
    void trackError(const Error& error) override {
        std::lock_guard lock(mutex_);
        calls.push_back("trackError");
        errors.push_back(error);
    }
    void trackNumberOfHabits(std::int64_t numberOfHabits) override {
        std::lock_guard lock(mutex_);
        calls.push_back("trackNumberOfHabits");
        numbersOfHabits.push_back(numberOfHabits);
    }
    void trackNotificationsAllowed(bool allowed) override {
        std::lock_guard lock(mutex_);
        calls.push_back("trackNotificationsAllowed");
        notificationsAllowed.push_back(allowed);
    }
    void track(const Locale& userLocale,
               const std::optional<std::string>& preferredLanguage) override {
        std::lock_guard lock(mutex_);
        calls.push_back("trackUserLocale");
        locales.push_back(LocaleCall{userLocale, preferredLanguage});
    }
    void track(UserInterfaceStyle userInterfaceStyle) override {
        std::lock_guard lock(mutex_);
        calls.push_back("trackUserInterfaceStyle");
        styles.push_back(userInterfaceStyle);
    }
    void trackRemoteConfig(const std::map<std::string, std::string>& remoteConfig) override {
        std::lock_guard lock(mutex_);
        calls.push_back("trackRemoteConfig");
        remoteConfigs.push_back(remoteConfig);
    }

  private:
    std::mutex mutex_;
};

}  // namespace dovrel::testing
