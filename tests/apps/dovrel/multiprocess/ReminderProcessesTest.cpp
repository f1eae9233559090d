// Two real dovrel processes rescheduling and answering reminders at the same moment, beside this
// process holding the application group's notification center and adding postponed reminders
// of its own meanwhile: at every moment this process looks, the calendar reminders are exactly
// the set of one complete rescheduling, never two sets or a mix of them, and no postponed
// reminder is lost or doubled (an answer in flight has taken its reminder and not yet added the
// next one).

#include <gtest/gtest.h>

#include <future>
#include <map>
#include <set>
#include <string>
#include <variant>
#include <vector>

#include "DovrelFoundation/Reminders/HabitReminderIdentifiers.h"
#include "platform/notifications/UserNotificationCenter.h"
#include "tests/apps/dovrel/HabitCommands.h"
#include "tests/support/RunProgram.h"
#include "tests/support/ScopedEnvironment.h"

namespace dovrel {
namespace {

namespace fs = std::filesystem;
using notifications::CalendarNotificationTrigger;
using notifications::NotificationRequest;
using notifications::PendingNotificationRequest;
using notifications::TimeIntervalNotificationTrigger;
using testing::ProgramResult;

constexpr int kHabits = 12;  // 36 occurrences: a rescheduling keeps the 32 earliest
constexpr int kRounds = 12;

class ReminderProcesses : public testing::HabitCommands {
  protected:
    ProgramResult dovrel(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), DOVREL_CLI_PATH);
        return testing::runProgram(arguments, environment("en_US.UTF-8"));
    }

    fs::path dataHome() const { return home_.path() / "data"; }
};

bool isCalendar(const NotificationRequest& request) {
    return request.trigger && std::holds_alternative<CalendarNotificationTrigger>(*request.trigger);
}

std::string habitOf(const NotificationRequest& request) {
    const auto found = request.content.userInfo.find(kHabitURIRepresentationKey);
    if (found == request.content.userInfo.end()) {
        return "";
    }
    const auto* uri = std::get_if<std::string>(&found->second);
    return uri != nullptr ? *uri : "";
}

// What one look at the pending requests found wrong, or nothing.
std::string problemsOf(const std::vector<PendingNotificationRequest>& pending) {
    std::vector<std::int64_t> badges;
    std::set<std::string> identifiers;
    std::set<std::pair<std::string, double>> occurrences;
    for (const auto& entry : pending) {
        if (!identifiers.insert(entry.request.identifier).second) {
            return "an identifier is pending twice";
        }
        if (!isCalendar(entry.request)) {
            continue;
        }
        badges.push_back(entry.request.content.badge.value_or(-1));
        if (!entry.triggerDate) {
            return "a calendar reminder has no date";
        }
        if (!occurrences
                 .insert(
                     {habitOf(entry.request), entry.triggerDate->timeIntervalSinceReferenceDate()})
                 .second) {
            return "one habit has two calendar reminders at one time";
        }
    }
    // One complete rescheduling numbers its reminders 1 to 32 in the order it adds them.
    std::vector<std::int64_t> expected;
    for (std::int64_t badge = 1; badge <= 32; ++badge) {
        expected.push_back(badge);
    }
    if (badges != expected) {
        std::string seen;
        for (auto badge : badges) {
            seen += std::to_string(badge) + " ";
        }
        return "the calendar reminders are not one rescheduling's: badges " + seen;
    }
    return "";
}

TEST_F(ReminderProcesses, ReschedulingAndAnsweringAtOnceLeaveOneCompleteSetAndEveryPostponedOne) {
    // Twelve habits reminding across the day, added before the race.
    for (int index = 0; index < kHabits; ++index) {
        char time[8];
        std::snprintf(time, sizeof time, "%02d:%02d", 6 + index, 10 + index);
        const auto added = dovrel({"add", "Habit " + std::to_string(index), "--remind", time});
        ASSERT_EQ(added.exitStatus, 0) << added.standardError;
    }

    testing::ScopedEnvironment dataHomeVariable("XDG_DATA_HOME", dataHome().string());
    auto center =
        notifications::UserNotificationCenter::forApplicationGroup("group.app.dovrel.Dovrel");
    ASSERT_TRUE(problemsOf(center->pendingRequests()).empty());
    std::string someHabit;
    for (const auto& entry : center->pendingRequests()) {
        someHabit = habitOf(entry.request);
    }
    ASSERT_FALSE(someHabit.empty());

    // This process's postponed reminders, one hour ahead: answered by the second program, each
    // answer takes one away and postpones anew, so their number stays.
    constexpr int kPostponed = 3;
    for (int index = 0; index < kPostponed; ++index) {
        NotificationRequest request;
        request.identifier = "postponed-" + std::to_string(index);
        request.content.title = "Postponed";
        request.content.categoryIdentifier = kHabitReminderCategoryIdentifier;
        request.content.userInfo[kHabitURIRepresentationKey] = someHabit;
        request.trigger = TimeIntervalNotificationTrigger(3600, false);
        center->add(request);
    }

    // The first program reschedules by checking and unchecking; the second answers postponed
    // reminders with postpone-5m (found anew each round: each answer replaces one).
    auto rescheduler = std::async(std::launch::async, [&] {
        std::vector<ProgramResult> failures;
        for (int round = 0; round < kRounds; ++round) {
            const auto result = dovrel({"check", "Habit " + std::to_string(round % kHabits)});
            if (result.exitStatus != 0) {
                failures.push_back(result);
            }
        }
        return failures;
    });
    auto answerer = std::async(std::launch::async, [&] {
        std::vector<ProgramResult> failures;
        for (int round = 0; round < kRounds; ++round) {
            std::string postponed;
            for (const auto& entry : center->pendingRequests()) {
                if (!isCalendar(entry.request)) {
                    postponed = entry.request.identifier;
                }
            }
            const auto result = dovrel({"reminders", "answer", postponed, "postpone-5m"});
            if (result.exitStatus != 0) {
                failures.push_back(result);
            }
        }
        return failures;
    });

    // Meanwhile this process looks again and again.
    std::vector<std::string> problems;
    int looks = 0;
    while (rescheduler.wait_for(std::chrono::milliseconds(0)) != std::future_status::ready ||
           answerer.wait_for(std::chrono::milliseconds(0)) != std::future_status::ready) {
        const auto pending = center->pendingRequests();
        ++looks;
        if (auto problem = problemsOf(pending); !problem.empty()) {
            problems.push_back(problem);
        }
        int postponed = 0;
        for (const auto& entry : pending) {
            postponed += !isCalendar(entry.request);
        }
        // An answer takes its reminder away before the new one is added: one at a time is
        // in flight, never more, and none is ever doubled.
        if (postponed != kPostponed && postponed != kPostponed - 1) {
            problems.push_back(std::to_string(postponed) + " postponed reminders pending");
        }
    }
    for (const auto& failure : rescheduler.get()) {
        ADD_FAILURE() << "check failed: " << failure.standardError;
    }
    for (const auto& failure : answerer.get()) {
        ADD_FAILURE() << "answer failed: " << failure.standardError;
    }
    EXPECT_GT(looks, 0);
    EXPECT_TRUE(problems.empty()) << problems.size() << " bad looks, the first: " << problems[0];

    // At the end: one complete set, equal to what a rescheduling now makes, and the postponed.
    const auto settled = center->pendingRequests();
    EXPECT_EQ(problemsOf(settled), "");
    const auto again = dovrel({"settings", "--reminders", "on"});  // reschedules once more
    ASSERT_EQ(again.exitStatus, 0) << again.standardError;
    const auto fresh = center->pendingRequests();
    std::vector<std::pair<std::string, double>> settledSet, freshSet;
    int postponed = 0;
    for (const auto& entry : settled) {
        if (isCalendar(entry.request)) {
            settledSet.push_back(
                {habitOf(entry.request), entry.triggerDate->timeIntervalSinceReferenceDate()});
        }
    }
    for (const auto& entry : fresh) {
        if (isCalendar(entry.request)) {
            freshSet.push_back(
                {habitOf(entry.request), entry.triggerDate->timeIntervalSinceReferenceDate()});
        } else {
            ++postponed;
        }
    }
    EXPECT_EQ(settledSet, freshSet);
    EXPECT_EQ(postponed, kPostponed);
}

}  // namespace
}  // namespace dovrel
