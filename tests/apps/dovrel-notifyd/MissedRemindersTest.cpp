#include "apps/dovrel-notifyd/MissedReminders.h"

#include <gtest/gtest.h>

#include "DovrelFoundation/Reminders/HabitReminderIdentifiers.h"

namespace dovrel::notifyd {
namespace {

using notifications::PendingNotificationRequest;

PendingNotificationRequest pending(const std::string& identifier, std::optional<std::string> habit,
                                   double date) {
    PendingNotificationRequest entry;
    entry.request.identifier = identifier;
    if (habit) {
        entry.request.content.userInfo[kHabitURIRepresentationKey] = *habit;
    }
    entry.triggerDate = Date(date);
    return entry;
}

TEST(MissedReminders, KeepsOnlyTheLatestDueReminderOfEachHabit) {
    const std::vector<PendingNotificationRequest> requests{
        pending("A1", "a", 10), pending("A3", "a", 30), pending("A2", "a", 20),
        pending("B1", "b", 15), pending("A-future", "a", 500)};
    EXPECT_EQ(olderMissedReminders(requests, Date(100)), (std::set<std::string>{"A1", "A2"}));
}

TEST(MissedReminders, NeverDropsRemindersThatAreNotDueOrHaveNoHabit) {
    const std::vector<PendingNotificationRequest> requests{
        pending("X1", std::nullopt, 10), pending("X2", std::nullopt, 20), pending("A1", "a", 150),
        pending("A2", "a", 160)};
    EXPECT_TRUE(olderMissedReminders(requests, Date(100)).empty());
}

TEST(MissedReminders, OfTwoAtTheSameDateKeepsTheOneAddedLater) {
    const std::vector<PendingNotificationRequest> requests{pending("first", "a", 10),
                                                           pending("second", "a", 10)};
    EXPECT_EQ(olderMissedReminders(requests, Date(10)), (std::set<std::string>{"first"}));
}

}  // namespace
}  // namespace dovrel::notifyd
