#include "DovrelFoundation/Settings/StaticRemoteConfigService.h"

namespace dovrel {

StaticRemoteConfigService::StaticRemoteConfigService(
    bool showRateUsAlert, std::optional<std::int64_t> appLaunchesToShowRateUsAlertFirstTime,
    std::optional<std::int64_t> appLaunchesToShowRateUsAlertSecondTime)
    : showRateUsAlert_(showRateUsAlert),
      appLaunchesToShowRateUsAlertFirstTime_(appLaunchesToShowRateUsAlertFirstTime),
      appLaunchesToShowRateUsAlertSecondTime_(appLaunchesToShowRateUsAlertSecondTime) {}

std::shared_ptr<StaticRemoteConfigService>
StaticRemoteConfigService::makeServiceWithDefaultValues() {
    return std::shared_ptr<StaticRemoteConfigService>(
        new StaticRemoteConfigService(/*showRateUsAlert=*/false,
                                      /*appLaunchesToShowRateUsAlertFirstTime=*/3,
                                      /*appLaunchesToShowRateUsAlertSecondTime=*/7));
}

}  // namespace dovrel
