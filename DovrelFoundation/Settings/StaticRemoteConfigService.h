#pragma once

#include <memory>

#include "DovrelFoundation/Settings/RemoteConfigServiceProtocol.h"

namespace dovrel {

// Remote configuration with fixed values, used when no remote values are available: the rate-us
// prompt is off, while its launch thresholds (3 and 7) are preset for a backend that switches it
// on. Immutable.
class StaticRemoteConfigService final : public RemoteConfigServiceProtocol {
  public:
    // The only way to make one: false, 3 and 7.
    static std::shared_ptr<StaticRemoteConfigService> makeServiceWithDefaultValues();

    bool showRateUsAlert() const override { return showRateUsAlert_; }
    std::optional<std::int64_t> appLaunchesToShowRateUsAlertFirstTime() const override {
        return appLaunchesToShowRateUsAlertFirstTime_;
    }
    std::optional<std::int64_t> appLaunchesToShowRateUsAlertSecondTime() const override {
        return appLaunchesToShowRateUsAlertSecondTime_;
    }

  private:
    StaticRemoteConfigService(bool showRateUsAlert,
                              std::optional<std::int64_t> appLaunchesToShowRateUsAlertFirstTime,
                              std::optional<std::int64_t> appLaunchesToShowRateUsAlertSecondTime);

    const bool showRateUsAlert_;
    const std::optional<std::int64_t> appLaunchesToShowRateUsAlertFirstTime_;
    const std::optional<std::int64_t> appLaunchesToShowRateUsAlertSecondTime_;
};

}  // namespace dovrel
