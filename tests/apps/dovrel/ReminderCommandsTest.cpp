// Black-box tests of the reminder commands: the built program under faketime adds reminding
// habits, lists the pending reminders, delivers them at a faked time and answers them, and the
// store, the list and the reminders are checked after each step.

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "tests/apps/dovrel/HabitCommands.h"

namespace dovrel::testing {
namespace {

class ReminderCommands : public HabitCommands {
  protected:
    // Two habits: "Water" at 09:00 without a question, "Read" at 21:30 with one; added on
    // 10 March at 08:00 (Kyiv).
    void addTwoRemindingHabits() {
        succeed({"add", "Water", "--remind", "09:00"}, "2026-03-10 08:00:00");
        succeed({"add", "Read", "--remind", "21:30", "--question", "Twenty pages?"},
                "2026-03-10 08:00:00");
    }

    nlohmann::ordered_json reminders(const std::string& now) const {
        return json({"reminders"}, now);
    }

    nlohmann::ordered_json delivered(const std::string& now) const {
        return json({"reminders", "delivered"}, now);
    }

    nlohmann::ordered_json habit(const std::string& name, const std::string& now) const {
        return json({"show", name}, now);
    }
};

TEST_F(ReminderCommands, AddingRemindingHabitsSchedulesThreeDaysOfEachEarliestFirst) {
    addTwoRemindingHabits();
    const auto pending = reminders("2026-03-10 08:01:00");
    ASSERT_EQ(pending.size(), 6u);
    const std::vector<std::pair<std::string, std::string>> expected = {
        {"2026-03-10T09:00:00+02:00", "Water"}, {"2026-03-10T21:30:00+02:00", "Read"},
        {"2026-03-11T09:00:00+02:00", "Water"}, {"2026-03-11T21:30:00+02:00", "Read"},
        {"2026-03-12T09:00:00+02:00", "Water"}, {"2026-03-12T21:30:00+02:00", "Read"}};
    for (std::size_t index = 0; index < expected.size(); ++index) {
        const auto& reminder = pending[index];
        EXPECT_EQ(reminder["date"], expected[index].first) << index;
        EXPECT_EQ(reminder["habit"], expected[index].second) << index;
        EXPECT_EQ(reminder["title"], expected[index].second) << index;
        EXPECT_EQ(reminder["kind"], "calendar");
        EXPECT_EQ(reminder["badge"], static_cast<int>(index + 1));
        EXPECT_EQ(reminder["category"], "HabitReminder.NotificationCategoryIdentifier");
        EXPECT_EQ(reminder["firstNotificationDate"], expected[index].first);
        EXPECT_EQ(reminder["currentNotificationDate"], expected[index].first);
    }
    EXPECT_EQ(pending[0]["body"], "Did you do it today?");
    EXPECT_EQ(pending[1]["body"], "Twenty pages?");
    EXPECT_EQ(pending[0]["uri"], habit("Water", "2026-03-10 08:01:00")["uri"]);
}

TEST_F(ReminderCommands, TheJsonOfAReminderHasExactlyTheDocumentedKeysInOrder) {
    addTwoRemindingHabits();
    const auto pending = reminders("2026-03-10 08:01:00");
    ASSERT_FALSE(pending.empty());
    std::vector<std::string> keys;
    for (const auto& [key, value] : pending[0].items()) {
        keys.push_back(key);
    }
    EXPECT_EQ(keys, (std::vector<std::string>{"identifier", "date", "kind", "habit", "uri", "title",
                                              "body", "badge", "category", "firstNotificationDate",
                                              "currentNotificationDate"}));
}

TEST_F(ReminderCommands, TheTextListShowsEachReminderOnALineAndSaysWhenThereAreNone) {
    EXPECT_EQ(succeed({"reminders"}), "No reminders are pending.\n");
    addTwoRemindingHabits();
    const std::string text = succeed({"reminders"}, "2026-03-10 08:01:00");
    EXPECT_NE(text.find("Water"), std::string::npos);
    EXPECT_NE(text.find("#1"), std::string::npos);
    EXPECT_NE(text.find("Did you do it today?"), std::string::npos);
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 6);
}

TEST_F(ReminderCommands, DeliveringBeforeTheTimeDeliversNothing) {
    addTwoRemindingHabits();
    EXPECT_EQ(succeed({"reminders", "deliver"}, "2026-03-10 08:59:00"), "No reminder is due.\n");
    EXPECT_TRUE(delivered("2026-03-10 08:59:30").empty());
    EXPECT_EQ(reminders("2026-03-10 08:59:30").size(), 6u);
}

TEST_F(ReminderCommands, DeliveringAtTheTimeMovesTheDueReminderToTheDeliveredOnes) {
    addTwoRemindingHabits();
    const auto due = json({"reminders", "deliver"}, "2026-03-10 09:00:10");
    ASSERT_EQ(due.size(), 1u);
    EXPECT_EQ(due[0]["habit"], "Water");
    EXPECT_EQ(due[0]["date"], "2026-03-10T09:00:00+02:00");
    const auto list = delivered("2026-03-10 09:01:00");
    ASSERT_EQ(list.size(), 1u);
    EXPECT_EQ(list[0]["identifier"], due[0]["identifier"]);
    const auto pending = reminders("2026-03-10 09:01:00");
    EXPECT_EQ(pending.size(), 5u);
    for (const auto& reminder : pending) {
        EXPECT_NE(reminder["identifier"], due[0]["identifier"]);
    }
}

TEST_F(ReminderCommands, AnsweringCompleteChecksTheDayAndReschedulesTheHabit) {
    addTwoRemindingHabits();
    const auto due = json({"reminders", "deliver"}, "2026-03-10 09:00:10");
    ASSERT_EQ(due.size(), 1u);
    const std::string identifier = due[0]["identifier"];
    EXPECT_EQ(succeed({"reminders", "answer", identifier, "complete"}, "2026-03-10 09:02:00"),
              "Answered the reminder of Water: complete.\n");
    EXPECT_EQ(habit("Water", "2026-03-10 09:03:00")["checked"], true);
    EXPECT_TRUE(delivered("2026-03-10 09:03:00").empty());
    // Checked today: the next reminders of Water come from tomorrow on, none is left today.
    for (const auto& reminder : reminders("2026-03-10 09:03:00")) {
        if (reminder["habit"] == "Water") {
            EXPECT_GE(std::string(reminder["date"]), "2026-03-11") << reminder.dump();
        }
    }
}

TEST_F(ReminderCommands, PostponingAddsAReminderWithoutABadgeThatCarriesTheFirstDate) {
    addTwoRemindingHabits();
    const auto due = json({"reminders", "deliver"}, "2026-03-10 09:00:10");
    ASSERT_EQ(due.size(), 1u);
    succeed({"reminders", "answer", due[0]["identifier"], "postpone-1h"}, "2026-03-10 09:05:00");
    const auto pending = reminders("2026-03-10 09:06:00");
    std::vector<nlohmann::ordered_json> postponed;
    for (const auto& reminder : pending) {
        if (reminder["kind"] == "interval") {
            postponed.push_back(reminder);
        }
    }
    ASSERT_EQ(postponed.size(), 1u);
    EXPECT_EQ(postponed[0]["habit"], "Water");
    EXPECT_EQ(postponed[0]["badge"], nullptr);
    EXPECT_EQ(postponed[0]["date"], "2026-03-10T10:05:00+02:00");
    EXPECT_EQ(postponed[0]["firstNotificationDate"], "2026-03-10T09:00:00+02:00");
    EXPECT_EQ(postponed[0]["currentNotificationDate"], "2026-03-10T10:05:00+02:00");
    EXPECT_EQ(habit("Water", "2026-03-10 09:06:00")["checked"], false);
}

TEST_F(ReminderCommands, CompleteOnAPostponedReminderAnsweredAfterMidnightChecksTheFirstDay) {
    succeed({"add", "Late", "--remind", "23:30"}, "2026-03-10 08:00:00");
    const auto first = json({"reminders", "deliver"}, "2026-03-10 23:30:05");
    ASSERT_EQ(first.size(), 1u);
    succeed({"reminders", "answer", first[0]["identifier"], "postpone-1h"}, "2026-03-10 23:31:00");
    const auto second = json({"reminders", "deliver"}, "2026-03-11 00:31:10");
    ASSERT_EQ(second.size(), 1u);
    EXPECT_EQ(second[0]["firstNotificationDate"], "2026-03-10T23:30:00+02:00");
    succeed({"reminders", "answer", second[0]["identifier"], "complete"}, "2026-03-11 00:31:30");
    const auto late = json({"show", "Late", "--at", "2026-03-10"}, "2026-03-11 00:32:00");
    EXPECT_EQ(late["checked"], true);
    EXPECT_EQ(json({"show", "Late"}, "2026-03-11 00:32:00")["checked"], false);
}

TEST_F(ReminderCommands, ALaterRescheduleKeepsThePostponedReminder) {
    addTwoRemindingHabits();
    const auto due = json({"reminders", "deliver"}, "2026-03-10 09:00:10");
    ASSERT_EQ(due.size(), 1u);
    succeed({"reminders", "answer", due[0]["identifier"], "postpone-5m"}, "2026-03-10 09:01:00");
    // Any change reschedules every habit; the postponed reminder stays.
    succeed({"check", "Read"}, "2026-03-10 09:02:00");
    int postponed = 0;
    for (const auto& reminder : reminders("2026-03-10 09:03:00")) {
        postponed += reminder["kind"] == "interval";
    }
    EXPECT_EQ(postponed, 1);
}

TEST_F(ReminderCommands, DismissingRemovesTheDeliveredReminderAndChangesNothingElse) {
    addTwoRemindingHabits();
    const auto due = json({"reminders", "deliver"}, "2026-03-10 09:00:10");
    ASSERT_EQ(due.size(), 1u);
    const auto before = reminders("2026-03-10 09:01:00");
    succeed({"reminders", "answer", due[0]["identifier"], "dismiss"}, "2026-03-10 09:01:00");
    EXPECT_TRUE(delivered("2026-03-10 09:02:00").empty());
    EXPECT_EQ(reminders("2026-03-10 09:02:00"), before);
    EXPECT_EQ(habit("Water", "2026-03-10 09:02:00")["checked"], false);
}

TEST_F(ReminderCommands, EditingAndDeletingHabitsRescheduleTheirReminders) {
    addTwoRemindingHabits();
    succeed({"edit", "Water", "--remind", "07:15"}, "2026-03-10 08:00:00");
    auto pending = reminders("2026-03-10 08:01:00");
    ASSERT_EQ(pending.size(), 6u);
    EXPECT_EQ(pending[0]["date"], "2026-03-10T21:30:00+02:00");  // 07:15 today has passed
    EXPECT_EQ(pending[1]["date"], "2026-03-11T07:15:00+02:00");
    succeed({"edit", "Read", "--no-remind"}, "2026-03-10 08:02:00");
    succeed({"delete", "Water"}, "2026-03-10 08:03:00");
    EXPECT_TRUE(reminders("2026-03-10 08:04:00").empty());
}

TEST_F(ReminderCommands, SwitchingRemindersOffDeliversNothing) {
    addTwoRemindingHabits();
    EXPECT_EQ(succeed({"settings", "--reminders", "off"}, "2026-03-10 08:10:00"),
              "Reminders are off.\n");
    EXPECT_NE(succeed({"reminders"}, "2026-03-10 08:11:00").find("Reminders are off"),
              std::string::npos);
    EXPECT_TRUE(json({"reminders", "deliver"}, "2026-03-10 09:00:10").empty());
    succeed({"settings", "--reminders", "on"}, "2026-03-10 09:01:00");
    EXPECT_EQ(json({"reminders", "deliver"}, "2026-03-10 21:30:10").size(), 1u);
}

TEST_F(ReminderCommands, ShowListsTheHabitsPendingReminders) {
    addTwoRemindingHabits();
    const std::string text = succeed({"show", "Read"}, "2026-03-10 08:01:00");
    const auto heading = text.find("\nReminders\n");
    ASSERT_NE(heading, std::string::npos) << text;
    const std::string reminders = text.substr(heading);
    EXPECT_NE(reminders.find("Read"), std::string::npos);
    EXPECT_EQ(reminders.find("Water"), std::string::npos);
}

TEST_F(ReminderCommands, AWrongAnswerOrAnUnknownReminderIsAClearError) {
    addTwoRemindingHabits();
    auto result = run({"reminders", "answer", "nothing-like-it", "complete"});
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_NE(result.standardError.find("No pending or delivered reminder has the identifier"),
              std::string::npos);
    result = run({"reminders", "answer", "whatever", "later"});
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_NE(result.standardError.find("“later” is not an answer to a reminder"),
              std::string::npos);
    result = run({"settings", "--reminders", "maybe"});
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_NE(result.standardError.find("--reminders takes on or off"), std::string::npos);
}

TEST_F(ReminderCommands, AStoreNamedWithStoreKeepsItsRemindersApart) {
    addTwoRemindingHabits();
    const auto other = (home_.path() / "elsewhere" / "Other.sqlite").string();
    fs::create_directories(home_.path() / "elsewhere");
    succeed({"--store", other, "add", "Elsewhere", "--remind", "10:00"}, "2026-03-10 08:05:00");
    const auto mine = reminders("2026-03-10 08:06:00");
    ASSERT_EQ(mine.size(), 6u);
    for (const auto& reminder : mine) {
        EXPECT_NE(reminder["habit"], "Elsewhere");
    }
    EXPECT_TRUE(fs::exists(home_.path() / "elsewhere" / "Notifications.sqlite"));
}

}  // namespace
}  // namespace dovrel::testing
