#include "platform/widgets/WidgetCenter.h"

#include "platform/foundation/Error.h"
#include "platform/foundation/Logging.h"
#include "platform/widgets/WidgetReloadListener.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace dovrel::widgets {
namespace {

using ::testing::HasSubstr;
using testing::ScopedEnvironment;
using testing::TemporaryDirectory;

// Lines written to the widgets logger, as "<level> <message>".
class WidgetLog : public testing::CapturedLog {
  public:
    WidgetLog() : testing::CapturedLog(kWidgetsLoggerName, "%l %v") {}
};

// No session bus: neither the address variable nor a socket in the runtime directory.
class WidgetCenterWithoutBusTest : public ::testing::Test {
  protected:
    TemporaryDirectory runtime_;
    ScopedEnvironment address_{"DBUS_SESSION_BUS_ADDRESS", std::nullopt};
    ScopedEnvironment runtimeDirectory_{"XDG_RUNTIME_DIR", runtime_.path().string()};
};

TEST_F(WidgetCenterWithoutBusTest, ReloadTimelinesWithoutASessionBusLogsOneLineAndReturns) {
    WidgetLog log;
    WidgetCenter::shared().reloadTimelines("HabitWidget");
    const auto lines = log.lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_THAT(lines[0],
                HasSubstr("warning Widget timelines not reloaded (kind \"HabitWidget\")"));
}

TEST_F(WidgetCenterWithoutBusTest, ReloadAllTimelinesWithoutASessionBusLogsOneLineAndReturns) {
    WidgetLog log;
    WidgetCenter::shared().reloadAllTimelines();
    const auto lines = log.lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_THAT(lines[0], HasSubstr("warning Widget timelines not reloaded (all kinds)"));
}

TEST_F(WidgetCenterWithoutBusTest, EveryRequestWithoutASessionBusLogsAgain) {
    WidgetLog log;
    WidgetCenter::shared().reloadTimelines("HabitWidget");
    WidgetCenter::shared().reloadTimelines("Other");
    const auto lines = log.lines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_THAT(lines[1], HasSubstr("(kind \"Other\")"));
}

TEST_F(WidgetCenterWithoutBusTest, AnUnreachableBusAddressLogsAndReturns) {
    ScopedEnvironment address("DBUS_SESSION_BUS_ADDRESS",
                              "unix:path=" + (runtime_.path() / "no-such-socket").string());
    WidgetLog log;
    WidgetCenter::shared().reloadTimelines("HabitWidget");
    EXPECT_EQ(log.lines().size(), 1u);
}

TEST_F(WidgetCenterWithoutBusTest, ListenerWithoutASessionBusThrowsNoSessionBusError) {
    try {
        WidgetReloadListener listener([](const TimelineReloadRequest&) {});
        FAIL() << "the listener started without a session bus";
    } catch (const Error& error) {
        EXPECT_EQ(error.domain(), WidgetReloadListener::kErrorDomain);
        EXPECT_EQ(error.code(), WidgetReloadListener::kNoSessionBusError);
        EXPECT_THAT(error.localizedDescription(), HasSubstr("The session bus cannot be reached"));
    }
}

}  // namespace
}  // namespace dovrel::widgets
