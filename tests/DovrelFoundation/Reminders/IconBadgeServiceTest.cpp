#include "DovrelFoundation/Reminders/IconBadgeService.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <memory>

#include "platform/notifications/LauncherBadge.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TemporaryDirectory.h"

namespace dovrel {
namespace {

using testing::ScopedEnvironment;
using testing::TemporaryDirectory;

class IconBadgeServiceTest : public ::testing::Test {
  protected:
    TemporaryDirectory folder;
    TemporaryDirectory runtime;
    ScopedEnvironment dataHome{"XDG_DATA_HOME", folder.path().string()};
    ScopedEnvironment bus{"DBUS_SESSION_BUS_ADDRESS", std::nullopt};
    ScopedEnvironment runtimeDirectory{"XDG_RUNTIME_DIR", runtime.path().string()};
};

TEST_F(IconBadgeServiceTest, BadgeNumberIsReadableAndWritableThroughTheProtocol) {
    std::unique_ptr<IconBadgeServiceProtocol> badge = std::make_unique<IconBadgeService>(
        notifications::LauncherBadge::atPath(folder.path() / "Badge.sqlite"));
    EXPECT_EQ(badge->badgeNumber(), 0);
    badge->setBadgeNumber(3);
    EXPECT_EQ(badge->badgeNumber(), 3);
    badge->setBadgeNumber(std::numeric_limits<std::int64_t>::min());
    EXPECT_EQ(badge->badgeNumber(), std::numeric_limits<std::int64_t>::min());
}

TEST_F(IconBadgeServiceTest, ServicesOfOneApplicationGroupShareTheNumber) {
    IconBadgeService first("group.test.dovrel.Badge");
    IconBadgeService second("group.test.dovrel.Badge");
    IconBadgeService otherGroup("group.test.dovrel.Other");
    first.setBadgeNumber(7);
    EXPECT_EQ(second.badgeNumber(), 7);
    EXPECT_EQ(otherGroup.badgeNumber(), 0);
}

}  // namespace
}  // namespace dovrel
