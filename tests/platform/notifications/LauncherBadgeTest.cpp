#include "platform/notifications/LauncherBadge.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>

#include "platform/foundation/UserDefaults.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TemporaryDirectory.h"

namespace dovrel::notifications {
namespace {

using ::dovrel::testing::CapturedLog;
using ::dovrel::testing::ScopedEnvironment;
using ::dovrel::testing::TemporaryDirectory;
using ::testing::HasSubstr;

// No session bus: neither the address variable nor a socket in the runtime directory.
class LauncherBadgeWithoutBusTest : public ::testing::Test {
  protected:
    std::filesystem::path defaultsFile() const { return directory_.path() / "UserDefaults.sqlite"; }

    TemporaryDirectory directory_;
    ScopedEnvironment address_{"DBUS_SESSION_BUS_ADDRESS", std::nullopt};
    ScopedEnvironment runtimeDirectory_{"XDG_RUNTIME_DIR", directory_.path().string()};
};

TEST_F(LauncherBadgeWithoutBusTest, BadgeNumberIsZeroUntilSet) {
    EXPECT_EQ(LauncherBadge::atPath(defaultsFile()).badgeNumber(), 0);
}

TEST_F(LauncherBadgeWithoutBusTest, NumberIsKeptWithoutASessionBus) {
    auto badge = LauncherBadge::atPath(defaultsFile());
    badge.setBadgeNumber(3);
    EXPECT_EQ(badge.badgeNumber(), 3);
    EXPECT_EQ(LauncherBadge::atPath(defaultsFile()).badgeNumber(), 3);
    badge.setBadgeNumber(0);
    EXPECT_EQ(LauncherBadge::atPath(defaultsFile()).badgeNumber(), 0);
}

TEST_F(LauncherBadgeWithoutBusTest, NumberIsKeptUnderItsKeyInTheGroupDefaults) {
    ScopedEnvironment dataHome("XDG_DATA_HOME", directory_.path().string());
    LauncherBadge("group.app.dovrel.Dovrel").setBadgeNumber(-2);
    const auto stored =
        UserDefaults("group.app.dovrel.Dovrel").object(LauncherBadge::kBadgeNumberKey);
    ASSERT_TRUE(stored.has_value());
    ASSERT_TRUE(std::holds_alternative<std::int64_t>(*stored));
    EXPECT_EQ(std::get<std::int64_t>(*stored), -2);
    EXPECT_EQ(LauncherBadge("group.app.dovrel.Dovrel").badgeNumber(), -2);
}

TEST_F(LauncherBadgeWithoutBusTest, MovedBadgeKeepsItsFile) {
    auto badge = LauncherBadge::atPath(defaultsFile());
    LauncherBadge moved = std::move(badge);
    moved.setBadgeNumber(5);
    EXPECT_EQ(LauncherBadge::atPath(defaultsFile()).badgeNumber(), 5);
}

TEST_F(LauncherBadgeWithoutBusTest, NoSessionBusIsWarnedOfOncePerProcess) {
    // A process of its own, started afresh rather than forked from this one, so that no earlier
    // test of this process has warned already.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            CapturedLog log(LauncherBadge::kNotificationsLoggerName, "%l %v");
            auto badge = LauncherBadge::atPath(defaultsFile());
            badge.setBadgeNumber(1);
            LauncherBadge::atPath(defaultsFile()).setBadgeNumber(2);
            const auto lines = log.lines();
            const bool one = lines.size() == 1 && lines[0].starts_with("warning ") &&
                             lines[0].find("session bus") != std::string::npos;
            std::exit(one ? 0 : 1);
        },
        ::testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace dovrel::notifications
