#pragma once

#include <cstdint>
#include <optional>

#include "platform/foundation/Color.h"
#include "platform/foundation/Date.h"

namespace dovrel {

// The application's settings and launch bookkeeping, as the rest of the library and the
// application know them (the reminder scheduler and the tracker depend on this, not on
// ApplicationSettingsService).
//
// Readers of stored values are not const: an implementation may fill a cache on the first read,
// and reading the install date records it the first time. Implementations are meant for the
// main thread.
class ApplicationSettingsServiceProtocol {
  public:
    virtual ~ApplicationSettingsServiceProtocol() = default;

    // Launch bookkeeping; called once at every launch of the application (not of the widget).
    virtual void handleAppLaunch() = 0;

    // True when the last handleAppLaunch() found no first launch date recorded before it.
    // Meaningful only after handleAppLaunch().
    virtual bool isFirstAppLaunch() const = 0;

    // When the application was first installed. The first read on a fresh install finds
    // nothing and records the current moment; later reads return the recorded moment.
    virtual std::optional<Date> firstAppInstallDate() = 0;

    // Launch dates and counts kept by handleAppLaunch().
    virtual std::optional<Date> firstAppLaunchDate() = 0;
    virtual std::optional<Date> previousAppLaunchDate() = 0;
    virtual std::optional<Date> currentAppLaunchDate() = 0;
    virtual std::optional<Date> lastNewDayAppLaunchDate() = 0;
    virtual std::int64_t numberOfAppLaunches() = 0;
    virtual std::int64_t numberOfNewDayAppLaunches() = 0;

    // How often the rate-us prompt was shown (the application counts it up).
    virtual std::int64_t numberOfRateUsHits() = 0;
    virtual void setNumberOfRateUsHits(std::int64_t value) = 0;

    // The user's answer to the rate-us prompt.
    virtual bool didUserLikeApp() = 0;
    virtual void setDidUserLikeApp(bool value) = 0;

    // The number of habits, for the widget; nothing when not known.
    virtual std::optional<std::int64_t> numberOfHabits() = 0;
    virtual void setNumberOfHabits(std::optional<std::int64_t> value) = 0;

    // The appearance the user chose; nothing follows the system's.
    virtual std::optional<UserInterfaceStyle> selectedUserInterfaceStyle() = 0;
    virtual void setSelectedUserInterfaceStyle(std::optional<UserInterfaceStyle> value) = 0;

    // Whether the user has seen the onboarding.
    virtual bool didUserSeeOnboarding() = 0;
    virtual void setDidUserSeeOnboarding(bool value) = 0;

    // A switch that forces the rate-us prompt (for trying the prompt out); not stored.
    virtual bool alwaysShowRateUsAlert() const = 0;
    virtual void setAlwaysShowRateUsAlert(bool value) = 0;

    // The rate-us parameters of the remote configuration, asked anew at every read.
    virtual bool showRateUsAlert() const = 0;
    virtual std::optional<std::int64_t> appLaunchesToShowRateUsAlertFirstTime() const = 0;
    virtual std::optional<std::int64_t> appLaunchesToShowRateUsAlertSecondTime() const = 0;
};

}  // namespace dovrel
