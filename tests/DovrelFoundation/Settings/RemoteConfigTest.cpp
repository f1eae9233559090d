#include <gtest/gtest.h>

#include "DovrelFoundation/Settings/StaticRemoteConfigService.h"

namespace dovrel {
namespace {

TEST(StaticRemoteConfigService, DefaultValuesAreFalseThreeAndSeven) {
    auto service = StaticRemoteConfigService::makeServiceWithDefaultValues();
    ASSERT_NE(service, nullptr);
    EXPECT_FALSE(service->showRateUsAlert());
    EXPECT_EQ(service->appLaunchesToShowRateUsAlertFirstTime(), std::optional<std::int64_t>(3));
    EXPECT_EQ(service->appLaunchesToShowRateUsAlertSecondTime(), std::optional<std::int64_t>(7));
}

TEST(StaticRemoteConfigService, EachCallMakesANewService) {
    EXPECT_NE(StaticRemoteConfigService::makeServiceWithDefaultValues(),
              StaticRemoteConfigService::makeServiceWithDefaultValues());
}

// Another implementation, as a remote backend with nothing configured would be.
class BackendWithoutThresholds final : public RemoteConfigServiceProtocol {
  public:
    bool showRateUsAlert() const override { return true; }
    std::optional<std::int64_t> appLaunchesToShowRateUsAlertFirstTime() const override {
        return std::nullopt;
    }
    std::optional<std::int64_t> appLaunchesToShowRateUsAlertSecondTime() const override {
        return std::nullopt;
    }
};

TEST(RemoteConfigServiceProtocol, AThresholdMayBeAbsentInAnotherImplementation) {
    std::shared_ptr<RemoteConfigServiceProtocol> service =
        std::make_shared<BackendWithoutThresholds>();
    EXPECT_TRUE(service->showRateUsAlert());
    EXPECT_EQ(service->appLaunchesToShowRateUsAlertFirstTime(), std::nullopt);
    EXPECT_EQ(service->appLaunchesToShowRateUsAlertSecondTime(), std::nullopt);
}

}  // namespace
}  // namespace dovrel
