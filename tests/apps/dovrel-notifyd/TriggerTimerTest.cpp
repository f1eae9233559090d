#include "apps/dovrel-notifyd/TriggerTimer.h"

#include <gtest/gtest.h>
#include <poll.h>

#include "platform/foundation/Clock.h"
#include "tests/support/ClockSet.h"

namespace dovrel::notifyd {
namespace {

bool readable(const TriggerTimer& timer, int milliseconds) {
    pollfd descriptor{timer.descriptor(), POLLIN, 0};
    return ::poll(&descriptor, 1, milliseconds) == 1;
}

TEST(TriggerTimer, ADateInThePastFiresAtOnce) {
    TriggerTimer timer;
    timer.arm(Clock::now().addingTimeInterval(-60));
    EXPECT_TRUE(timer.armed());
    ASSERT_TRUE(readable(timer, 5000));
    EXPECT_EQ(timer.read(), TriggerTimer::Event::fired);
    EXPECT_FALSE(timer.armed());
}

TEST(TriggerTimer, FiresNotBeforeItsDate) {
    TriggerTimer timer;
    const Date date = Clock::now().addingTimeInterval(0.2);
    timer.arm(date);
    ASSERT_TRUE(readable(timer, 5000));
    EXPECT_GE(Clock::now().timeIntervalSince(date), 0.0);
    EXPECT_EQ(timer.read(), TriggerTimer::Event::fired);
}

TEST(TriggerTimer, ADisarmedTimerStaysQuiet) {
    TriggerTimer timer;
    timer.arm(Clock::now().addingTimeInterval(0.05));
    timer.disarm();
    EXPECT_FALSE(timer.armed());
    EXPECT_FALSE(readable(timer, 200));
    EXPECT_EQ(timer.read(), TriggerTimer::Event::none);
}

// The clock is set for real (one nanosecond forward and back, see announceClockSet), which needs
// CAP_SYS_TIME: skipped without it.
TEST(TriggerTimer, SettingTheClockWhileArmedIsReportedAsAClockChangeAndDisarms) {
    TriggerTimer timer;
    timer.arm(Clock::now().addingTimeInterval(3600));
    ASSERT_FALSE(readable(timer, 50));
    std::string why;
    if (!testing::announceClockSet(why)) {
        GTEST_SKIP() << "cannot set the realtime clock here (" << why << "); needs CAP_SYS_TIME";
    }
    ASSERT_TRUE(readable(timer, 5000));
    EXPECT_EQ(timer.read(), TriggerTimer::Event::clockChanged);
    EXPECT_FALSE(timer.armed());
    // Armed again, it fires at its date as before.
    timer.arm(Clock::now().addingTimeInterval(0.05));
    ASSERT_TRUE(readable(timer, 5000));
    EXPECT_EQ(timer.read(), TriggerTimer::Event::fired);
}

TEST(TriggerTimer, SettingTheClockWhileDisarmedReportsNothing) {
    TriggerTimer timer;
    timer.arm(Clock::now().addingTimeInterval(3600));
    timer.disarm();
    std::string why;
    if (!testing::announceClockSet(why)) {
        GTEST_SKIP() << "cannot set the realtime clock here (" << why << "); needs CAP_SYS_TIME";
    }
    EXPECT_FALSE(readable(timer, 200));
    EXPECT_EQ(timer.read(), TriggerTimer::Event::none);
}

}  // namespace
}  // namespace dovrel::notifyd
