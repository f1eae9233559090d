#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "platform/foundation/Clock.h"
#include "platform/notifications/NotificationTrigger.h"

namespace dovrel::notifications {
namespace {

TEST(TimeIntervalNotificationTriggerTest, NextTriggerDateIsNowPlusTheInterval) {
    ScopedClockOverride clock(Date(800000000));
    const TimeIntervalNotificationTrigger trigger(300, false);
    EXPECT_EQ(trigger.nextTriggerDate(), Date(800000300));
    clock.set(Date(800000100));
    EXPECT_EQ(trigger.nextTriggerDate(), Date(800000400));
}

TEST(TimeIntervalNotificationTriggerTest, KeepsItsIntervalAndRepeats) {
    const TimeIntervalNotificationTrigger trigger(3600, true);
    EXPECT_EQ(trigger.timeInterval(), 3600);
    EXPECT_TRUE(trigger.repeats());
    EXPECT_EQ(trigger, TimeIntervalNotificationTrigger(3600, true));
    EXPECT_NE(trigger, TimeIntervalNotificationTrigger(3600, false));
}

TEST(TimeIntervalNotificationTriggerTest, RepeatingIntervalOfSixtySecondsIsAllowed) {
    EXPECT_EQ(TimeIntervalNotificationTrigger(60, true).timeInterval(), 60);
}

TEST(TimeIntervalNotificationTriggerTest, NonRepeatingIntervalBelowSixtySecondsIsAllowed) {
    EXPECT_EQ(TimeIntervalNotificationTrigger(0.5, false).timeInterval(), 0.5);
}

using TimeIntervalNotificationTriggerDeathTest = ::testing::Test;

// The file as the compiler named it: a build through ccache with a base directory names sources
// relative to the build directory ("../platform/..."), which the fatal message keeps.
std::string fatalMessage(const std::string& message) {
    return "Fatal error: " + message +
           ": file (\\.\\./)*platform/notifications/NotificationTrigger, line [0-9]+";
}

TEST_F(TimeIntervalNotificationTriggerDeathTest, ZeroIntervalStopsTheProcess) {
    EXPECT_DEATH(TimeIntervalNotificationTrigger(0, false),
                 fatalMessage("time interval must be greater than 0"));
}

TEST_F(TimeIntervalNotificationTriggerDeathTest, NegativeIntervalStopsTheProcess) {
    EXPECT_DEATH(TimeIntervalNotificationTrigger(-300, true),
                 "Fatal error: time interval must be greater than 0");
}

TEST_F(TimeIntervalNotificationTriggerDeathTest, IntervalThatIsNotANumberStopsTheProcess) {
    EXPECT_DEATH(TimeIntervalNotificationTrigger(std::numeric_limits<double>::quiet_NaN(), false),
                 "Fatal error: time interval must be greater than 0");
}

TEST_F(TimeIntervalNotificationTriggerDeathTest,
       RepeatingIntervalBelowSixtySecondsStopsTheProcess) {
    EXPECT_DEATH(TimeIntervalNotificationTrigger(59.9, true),
                 fatalMessage("time interval must be at least 60 if repeating"));
}

}  // namespace
}  // namespace dovrel::notifications
