// The reminder daemon when the clock is set or the time zone changes, against the mock
// notification server.
//
// The clock: the daemon runs under libfaketime, whose offset file the test rewrites, so that the
// daemon's realtime clock reads hours ahead while nobody else's does; then the kernel is made to
// announce a setting of the clock (announceClockSet: one nanosecond forward and back, which needs
// CAP_SYS_TIME), so that the daemon's timer reports it as a real `date -s` would. The program has
// no hook for any of this.
//
// The zone: the daemon watches a zone link of the test (DOVREL_NOTIFYD_ZONE_FILE) instead of
// /etc/localtime, and the test replaces the link as timedatectl does.

#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <cstdint>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include "platform/notifications/NotificationTrigger.h"
#include "tests/apps/dovrel-notifyd/session/NotifydSession.h"
#include "tests/support/ClockSet.h"

namespace dovrel::testing {
namespace {

using notifications::CalendarNotificationTrigger;

// How long the daemon is given to arm its timer after it showed a reminder (the Notify call
// comes a few steps before the timer is armed again).
constexpr auto kSettle = std::chrono::milliseconds(300);

class NotifydClock : public NotifydSession {
  protected:
    void SetUp() override {
        NotifydSession::SetUp();
        if (IsSkipped()) {
            return;
        }
        const std::string library = DOVREL_FAKETIME_LIBRARY;
        if (library.empty() || !fs::exists(library)) {
            GTEST_SKIP() << "libfaketime is missing: run scripts/install-deps";
        }
        // Tried once before anything runs: the kernel refuses without CAP_SYS_TIME.
        std::string why;
        if (!announceClockSet(why)) {
            GTEST_SKIP() << "the realtime clock cannot be set here (" << why
                         << "): a clock change cannot be announced without CAP_SYS_TIME";
        }
        setOffset("+0");
        fakeClock_ = {{"LD_PRELOAD", library},
                      {"FAKETIME_TIMESTAMP_FILE", offsetFile_.string()},
                      // Read at every call, so that a rewrite takes effect at once.
                      {"FAKETIME_NO_CACHE", "1"},
                      // Only the wall clock moves, as when the clock is set.
                      {"FAKETIME_DONT_FAKE_MONOTONIC", "1"}};
    }

    // The daemon's clock runs `offset` ("+10800": three hours ahead) from the real one.
    void setOffset(const std::string& offset) {
        const auto temporary = offsetFile_.string() + ".new";
        std::ofstream(temporary) << offset << '\n';
        fs::rename(temporary, offsetFile_);
    }

    fs::path offsetFile_ = home_.path() / "clock-offset";
    std::map<std::string, std::string> fakeClock_;
};

TEST_F(NotifydClock, SettingTheClockPastRemindersShowsTheLatestOfEachHabitAtOnce) {
    const auto water = addHabit("Water");
    const auto read = addHabit("Read");
    startServer();
    startDaemon(fakeClock_);
    setPending({reminder("NOW", water, "Water now", 1, std::nullopt),
                reminder("W1", water, "Water in an hour", 3600, 1),
                reminder("W2", water, "Water in two hours", 7200, 2),
                reminder("R1", read, "Read in two hours", 7300, std::nullopt),
                reminder("LATER", water, "Water in a day", 86400, std::nullopt)});
    // Once the first one is shown, the daemon's timer waits for the hour-ahead one.
    expectShown("NOW", 1);
    std::this_thread::sleep_for(kSettle);

    // The daemon's clock jumps three hours ahead; the daemon does not look at it until told.
    setOffset("+10800");
    std::this_thread::sleep_for(kSettle);
    EXPECT_EQ(notifyCalls().size(), 1u) << "the daemon read its clock without being told";

    std::string why;
    ASSERT_TRUE(announceClockSet(why)) << why;
    ASSERT_TRUE(eventually([&] { return notifyCalls().size() >= 3; }))
        << "Notify calls: " << notifyCalls().size();
    // A reminder due now in the daemon's time (every real date is three hours behind it): once
    // it is shown, the jump has shown all it was going to.
    center_->add(reminder("END", read, "Read now", 1, std::nullopt));
    ASSERT_TRUE(eventually([&] { return notifyCalls().size() >= 4; }));
    const auto calls = notifyCalls();
    ASSERT_EQ(calls.size(), 4u);
    std::vector<std::string> summaries{calls[1].summary, calls[2].summary};
    std::sort(summaries.begin(), summaries.end());
    // The latest of each habit; the hour-ahead reminder of Water was dropped.
    EXPECT_EQ(summaries, (std::vector<std::string>{"Read in two hours", "Water in two hours"}));
    EXPECT_EQ(calls[3].summary, "Read now");
    EXPECT_FALSE(isPending("W1"));
    EXPECT_FALSE(isPending("W2"));
    EXPECT_TRUE(isPending("LATER"));
    EXPECT_TRUE(eventually([] { return notifications::LauncherBadge(kGroup).badgeNumber() == 2; }));
}

TEST_F(NotifydClock, SettingTheClockBackKeepsARemindersDateAndShowsItWhenTheClockComesBack) {
    const auto water = addHabit("Water");
    startServer();
    startDaemon(fakeClock_);
    setPending({reminder("NOW", water, "Water now", 1, std::nullopt)});
    expectShown("NOW", 1);
    center_->add(reminder("SOON", water, "Water soon", 1.5, std::nullopt));
    std::this_thread::sleep_for(kSettle);

    // An hour back: the reminder's date is an hour away again for the daemon.
    setOffset("-3600");
    std::string why;
    ASSERT_TRUE(announceClockSet(why)) << why;
    std::this_thread::sleep_for(std::chrono::milliseconds(2000));
    EXPECT_EQ(notifyCalls().size(), 1u);
    EXPECT_TRUE(isPending("SOON"));

    // The clock set right again: the reminder is due, and shown once.
    setOffset("+0");
    ASSERT_TRUE(announceClockSet(why)) << why;
    ASSERT_TRUE(eventually([&] { return notifyCalls().size() >= 2; }));
    EXPECT_EQ(notifyCalls()[1].summary, "Water soon");
    EXPECT_FALSE(isPending("SOON"));
}

class NotifydZone : public NotifydSession {
  protected:
    // Points the zone link at /usr/share/zoneinfo/ZONE, replacing it in one step.
    void setZone(const std::string& zone) {
        fs::create_directories(zoneLink_.parent_path());
        const auto temporary = zoneLink_.parent_path() / "localtime.new";
        fs::remove(temporary);
        fs::create_symlink(fs::path("/usr/share/zoneinfo") / zone, temporary);
        fs::rename(temporary, zoneLink_);
    }

    fs::path zoneLink_ = home_.path() / "etc" / "localtime";
};

// The wall-clock time of `date` at a fixed UTC offset, as calendar components.
DateComponents wallClockAt(Date date, int utcOffsetHours) {
    const auto seconds =
        static_cast<std::int64_t>(std::floor(date.timeIntervalSince1970())) + utcOffsetHours * 3600;
    const std::int64_t ofDay = ((seconds % 86400) + 86400) % 86400;
    DateComponents components;
    components.hour = ofDay / 3600;
    components.minute = ofDay / 60 % 60;
    components.second = ofDay % 60;
    return components;
}

TEST_F(NotifydZone, ReplacingTheZoneLinkMatchesCalendarRemindersInTheNewZone) {
    ASSERT_TRUE(fs::exists("/usr/share/zoneinfo/Asia/Tokyo")) << "tzdata is missing";
    const auto water = addHabit("Water");
    setZone("Asia/Tokyo");  // UTC+9
    startServer();
    startDaemon({{"DOVREL_NOTIFYD_ZONE_FILE", zoneLink_.string()}});
    setPending({reminder("NOW", water, "Water now", 1, std::nullopt)});
    expectShown("NOW", 1);

    // Two to three seconds from now on São Paulo's clocks (UTC-3 all year): in Tokyo that time of
    // day comes twelve hours later.
    const Date target = Date(std::ceil(Clock::now().timeIntervalSinceReferenceDate()) + 2);
    center_->add(NotificationRequest{
        "CAL", reminder("CAL", water, "Water at the hour", 1, std::nullopt).content,
        CalendarNotificationTrigger(wallClockAt(target, -3), false)});
    std::this_thread::sleep_for(kSettle);
    EXPECT_EQ(notifyCalls().size(), 1u);

    setZone("America/Sao_Paulo");
    ASSERT_TRUE(eventually([&] { return notifyCalls().size() >= 2; }, std::chrono::seconds(15)))
        << "the calendar reminder was not shown in the new zone";
    EXPECT_EQ(notifyCalls()[1].summary, "Water at the hour");
    EXPECT_GE(Clock::now().timeIntervalSince(target), 0.0);
    // Delivered for the instant it matches in São Paulo.
    Date deliveredFor;
    for (const auto& notification : center_->deliveredNotifications()) {
        if (notification.request.identifier == "CAL") {
            deliveredFor = notification.date;
        }
    }
    EXPECT_NEAR(deliveredFor.timeIntervalSince(target), 0.0, 0.001);
}

}  // namespace
}  // namespace dovrel::testing
