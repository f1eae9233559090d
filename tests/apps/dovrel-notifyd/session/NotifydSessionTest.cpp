// The reminder daemon against the mock notification server: what it shows, the answers, missed
// reminders, a second daemon, no server, a killed daemon, the status.

#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>

#include "tests/apps/dovrel-notifyd/session/NotifydSession.h"

namespace dovrel::testing {
namespace {

TEST_F(NotifydSession, ShowsADueReminderWithTheCategoryActionsTheDefaultActionAndTheHints) {
    const auto uri = addHabit("Water", {"--question", "A glass?"});
    startServer();
    startDaemon();
    setPending({reminder("R1", uri, "Water", 1, 4)});

    expectShown("R1", 1);
    const auto calls = notifyCalls();
    ASSERT_EQ(calls.size(), 1u);
    const auto& call = calls[0];
    EXPECT_EQ(call.appName, "Dovrel");
    EXPECT_EQ(call.replacesId, 0u);
    EXPECT_FALSE(call.icon.empty());
    EXPECT_EQ(call.summary, "Water");
    EXPECT_EQ(call.body, "Did you do it today?");
    EXPECT_EQ(call.actions,
              (std::vector<std::string>{
                  "HabitReminder.Complete", "Complete", "HabitReminder.PostponeFor5Minutes",
                  "Postpone for 5 minutes", "HabitReminder.PostponeFor1Hour", "Postpone for 1 hour",
                  "HabitReminder.PostponeFor4Hours", "Postpone for 4 hours", "default", "Open"}));
    ASSERT_EQ(call.hints.size(), 3u);
    EXPECT_EQ(call.hints.at("desktop-entry").get<std::string>(), "dovrel");
    EXPECT_EQ(call.hints.at("sound-name").get<std::string>(), "message-new-instant");
    EXPECT_EQ(call.hints.at("urgency").peekValueType(), "y");
    EXPECT_EQ(call.hints.at("urgency").get<std::uint8_t>(), 1);
    // Delivered in the center, and its badge is the launcher's.
    const auto delivered = center_->deliveredNotifications();
    ASSERT_EQ(delivered.size(), 1u);
    EXPECT_EQ(delivered[0].request.identifier, "R1");
    EXPECT_TRUE(eventually([] { return notifications::LauncherBadge(kGroup).badgeNumber() == 4; }));
}

TEST_F(NotifydSession, CompleteChecksTheFirstNotificationDayLowersTheBadgeAndReschedules) {
    const auto uri = addHabit("Water", {"--remind", "09:00"});
    startServer();
    startDaemon();
    // The chain began a day ago (Kyiv): Complete checks that day, not today.
    const Date aDayAgo = Clock::now().addingTimeInterval(-86400);
    setPending({reminder("R1", uri, "Water", 1, 3, aDayAgo)});
    expectShown("R1", 1);
    ASSERT_TRUE(eventually([] { return notifications::LauncherBadge(kGroup).badgeNumber() == 3; }));
    const auto before = habitJson("Water").at("checkmarks");
    EXPECT_TRUE(before.empty());

    invokeAction(1, "HabitReminder.Complete");

    ASSERT_TRUE(eventually([&] { return !habitJson("Water").at("checkmarks").empty(); }));
    const auto checkmarks = habitJson("Water").at("checkmarks");
    ASSERT_EQ(checkmarks.size(), 1u);
    // The checkmark's day is the first notification's day (ISO dates begin with the day).
    const std::string day = checkmarks[0].get<std::string>().substr(0, 10);
    const auto expectedDay =
        runProgram({"/usr/bin/date", "-d", "yesterday", "+%Y-%m-%d"}).standardOutput.substr(0, 10);
    EXPECT_EQ(day, expectedDay);
    EXPECT_TRUE(eventually([] { return notifications::LauncherBadge(kGroup).badgeNumber() == 2; }))
        << "badge " << notifications::LauncherBadge(kGroup).badgeNumber();
    // A fresh rescheduling: the three calendar reminders of 09:00, numbered 1 to 3.
    EXPECT_TRUE(eventually([&] { return center_->pendingRequests().size() == 3; }));
    for (const auto& pending : center_->pendingRequests()) {
        EXPECT_TRUE(std::holds_alternative<notifications::CalendarNotificationTrigger>(
            *pending.request.trigger));
    }
    // The answered notification is closed.
    EXPECT_TRUE(eventually([&] { return callCount("CloseNotification") == 1; }));
    EXPECT_TRUE(center_->deliveredNotifications().empty());
}

TEST_F(NotifydSession, PostponeFiveMinutesLeavesOneIntervalRequestWithTheFirstDate) {
    const auto uri = addHabit("Water");
    startServer();
    startDaemon();
    const Date first = Date(std::floor(Clock::now().timeIntervalSinceReferenceDate()) - 3600);
    setPending({reminder("R1", uri, "Water", 1, std::nullopt, first)});
    expectShown("R1", 1);

    const Date answered = Clock::now();
    invokeAction(1, "HabitReminder.PostponeFor5Minutes");

    ASSERT_TRUE(eventually([&] { return center_->pendingRequests().size() == 1; }));
    const auto pending = center_->pendingRequests();
    ASSERT_EQ(pending.size(), 1u);
    const auto& request = pending[0].request;
    ASSERT_TRUE(request.trigger.has_value());
    const auto* interval = std::get_if<TimeIntervalNotificationTrigger>(&*request.trigger);
    ASSERT_NE(interval, nullptr);
    EXPECT_EQ(interval->timeInterval(), 300);
    ASSERT_TRUE(pending[0].triggerDate.has_value());
    const double late = pending[0].triggerDate->timeIntervalSince(answered);
    EXPECT_GE(late, 299.0);
    EXPECT_LE(late, 330.0);
    EXPECT_EQ(std::get<Date>(request.content.userInfo.at(kFirstNotificationDateKey)), first);
    EXPECT_EQ(request.content.badge, std::nullopt);
    EXPECT_TRUE(habitJson("Water").at("checkmarks").empty());
    EXPECT_TRUE(eventually([&] { return callCount("CloseNotification") == 1; }));
}

TEST_F(NotifydSession, DismissalByTheUserChangesNothing) {
    const auto uri = addHabit("Water");
    startServer();
    startDaemon();
    setPending(
        {reminder("R1", uri, "Water", 1, 5), reminder("LATER", uri, "Water", 7200, std::nullopt)});
    expectShown("R1", 1);
    ASSERT_TRUE(eventually([] { return notifications::LauncherBadge(kGroup).badgeNumber() == 5; }));
    const auto pendingBefore = center_->pendingRequests();

    emit("NotificationClosed", "uu",
         {sdbus::Variant(std::uint32_t{1}), sdbus::Variant(std::uint32_t{2})});

    // The answer is handled once the center no longer lists the notification as delivered.
    ASSERT_TRUE(eventually([&] { return center_->deliveredNotifications().empty(); }));
    EXPECT_EQ(center_->pendingRequests(), pendingBefore);
    EXPECT_TRUE(habitJson("Water").at("checkmarks").empty());
    EXPECT_EQ(notifications::LauncherBadge(kGroup).badgeNumber(), 5);
    EXPECT_EQ(callCount("CloseNotification"), 0u);
}

TEST_F(NotifydSession, RemindersMissedWhileStoppedAreShownOnceAtStartTheLatestPerHabit) {
    const auto water = addHabit("Water");
    const auto read = addHabit("Read");
    setPending({reminder("W1", water, "Water first", 0.2, 1),
                reminder("W3", water, "Water latest", 0.6, 3),
                reminder("W2", water, "Water second", 0.4, 2),
                reminder("R1", read, "Read", 0.3, std::nullopt)});
    ASSERT_TRUE(eventually([&] {
        const auto next = center_->nextTriggerDate();
        return next && *next < Clock::now().addingTimeInterval(-0.7);
    }));
    startServer();
    startDaemon();

    ASSERT_TRUE(eventually([&] { return notifyCalls().size() >= 2; }));
    // One more reminder, due after the daemon started: once it is shown, everything that came
    // before it has been shown too, so the count is final.
    setPending({reminder("LATE", read, "Read again", 1, std::nullopt)});
    ASSERT_TRUE(eventually([&] { return notifyCalls().size() >= 3; }));
    const auto calls = notifyCalls();
    ASSERT_EQ(calls.size(), 3u);
    std::vector<std::string> summaries{calls[0].summary, calls[1].summary};
    std::sort(summaries.begin(), summaries.end());
    EXPECT_EQ(summaries, (std::vector<std::string>{"Read", "Water latest"}));
    EXPECT_EQ(calls[2].summary, "Read again");
    EXPECT_TRUE(center_->pendingRequests().empty());
    EXPECT_EQ(notifications::LauncherBadge(kGroup).badgeNumber(), 3);
}

TEST_F(NotifydSession, ASecondDaemonSaysThatOneRunsAndLeaves) {
    startServer();
    startDaemon();
    const auto second = runProgram({DOVREL_NOTIFYD_PATH});
    EXPECT_EQ(second.exitStatus, 0);
    EXPECT_NE(second.standardError.find("another reminder daemon is running already"),
              std::string::npos)
        << second.standardError;
    EXPECT_TRUE(hasOwner(kDaemonName));
}

TEST_F(NotifydSession, WithoutAServerRemindersStayPendingUntilOneAppears) {
    const auto uri = addHabit("Water");
    startDaemon();
    setPending({reminder("R1", uri, "Water", 0.5, 1)});
    // Well past its date, the reminder is still pending: nobody could show it.
    ASSERT_TRUE(eventually([&] {
        const auto next = center_->nextTriggerDate();
        return next && *next < Clock::now().addingTimeInterval(-1.5);
    }));
    EXPECT_TRUE(isPending("R1"));
    EXPECT_TRUE(center_->deliveredNotifications().empty());

    startServer();
    expectShown("R1", 1);
    EXPECT_EQ(notifyCalls().size(), 1u);
    EXPECT_EQ(notifyCalls()[0].summary, "Water");
}

TEST_F(NotifydSession, AKilledDaemonLosesNoReminderAndShowsACutOffDeliveryOnceAfterItsRestart) {
    const auto uri = addHabit("Water");
    startServer();
    startDaemon();
    // The server hangs: the daemon delivers the reminder and then waits for Notify's answer.
    ASSERT_EQ(::kill(server_->pid(), SIGSTOP), 0);
    setPending({reminder("CUT", uri, "Water", 0.5, 1),
                reminder("LATER1", uri, "Water", 3600, std::nullopt),
                reminder("LATER2", uri, "Water", 7200, std::nullopt)});
    ASSERT_TRUE(eventually([&] { return center_->deliveredNotifications().size() == 1; }));
    // Killed in the middle of showing it; the hung server dies with its unread request.
    EXPECT_EQ(daemon_->kill(), 128 + SIGKILL);
    EXPECT_EQ(server_->kill(), 128 + SIGKILL);
    ASSERT_TRUE(eventually([&] { return !hasOwner(kServerName) && !hasOwner(kDaemonName); }));
    EXPECT_TRUE(isPending("LATER1"));
    EXPECT_TRUE(isPending("LATER2"));

    startServer();
    startDaemon();
    ASSERT_TRUE(eventually([&] { return notifyCalls().size() >= 1; }));
    // A reminder due now: once it is shown, the restart has shown all it was going to.
    center_->add(reminder("NEXT", uri, "Water next", 1, std::nullopt));
    ASSERT_TRUE(eventually([&] { return notifyCalls().size() >= 2; }));
    const auto calls = notifyCalls();
    ASSERT_EQ(calls.size(), 2u);
    EXPECT_EQ(calls[0].summary, "Water");
    EXPECT_EQ(calls[1].summary, "Water next");
    EXPECT_TRUE(isPending("LATER1"));
    EXPECT_TRUE(isPending("LATER2"));
}

TEST_F(NotifydSession, TheStatusNamesTheDaemonTheNextReminderAndTheServer) {
    const auto uri = addHabit("Water");
    const auto stopped = dovrel({"reminders", "status"});
    EXPECT_EQ(stopped.exitStatus, 0) << stopped.standardError;
    EXPECT_NE(stopped.standardOutput.find("Reminder daemon: not running"), std::string::npos)
        << stopped.standardOutput;
    EXPECT_NE(stopped.standardOutput.find("Notification server: none"), std::string::npos);
    EXPECT_NE(stopped.standardOutput.find("Next reminder: none pending"), std::string::npos);

    startServer();
    startDaemon();
    setPending({reminder("LATER", uri, "Water", 7200, std::nullopt)});
    const auto running = dovrel({"reminders", "status"});
    EXPECT_EQ(running.exitStatus, 0) << running.standardError;
    EXPECT_NE(running.standardOutput.find("Reminder daemon: running (:"), std::string::npos)
        << running.standardOutput;
    EXPECT_NE(running.standardOutput.find(
                  "Notification server: mock-notify 1.0 by test vendor (specification 1.1)"),
              std::string::npos)
        << running.standardOutput;
    EXPECT_NE(running.standardOutput.find("Server capabilities: body, body-markup"),
              std::string::npos);
    EXPECT_EQ(running.standardOutput.find("Next reminder: none"), std::string::npos);
    EXPECT_NE(running.standardOutput.find("Next reminder: "), std::string::npos);
}

TEST_F(NotifydSession, WithoutASessionBusTheDaemonSaysSoAndFails) {
    const auto result = runProgram({DOVREL_NOTIFYD_PATH},
                                   {{"DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/bus"},
                                    {"XDG_RUNTIME_DIR", "/nonexistent"}});
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_NE(result.standardError.find("there is no D-Bus session bus"), std::string::npos)
        << result.standardError;
    const auto status = runProgram({DOVREL_CLI_PATH, "reminders", "status"},
                                   {{"DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/bus"},
                                    {"XDG_RUNTIME_DIR", "/nonexistent"}});
    EXPECT_EQ(status.exitStatus, 0) << status.standardError;
    EXPECT_NE(status.standardOutput.find("No D-Bus session bus"), std::string::npos)
        << status.standardOutput;
}

}  // namespace
}  // namespace dovrel::testing
