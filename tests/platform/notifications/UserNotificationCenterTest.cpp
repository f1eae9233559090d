#include "platform/notifications/UserNotificationCenter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/stat.h>

#include <string>
#include <vector>

#include "platform/foundation/Clock.h"
#include "platform/foundation/Error.h"
#include "platform/foundation/UserDefaults.h"
#include "tests/platform/notifications/NotificationTestSupport.h"
#include "tests/support/CivilDate.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/ScopedRegion.h"
#include "tests/support/TemporaryDirectory.h"

namespace dovrel::notifications {
namespace {

using ::dovrel::testing::civilDate;
using testing::atDate;
using testing::CenterFiles;
using testing::Delivery;
using ::testing::ElementsAre;
using testing::identifiers;
using ::testing::IsEmpty;
using testing::makeRequest;

class UserNotificationCenterTest : public ::testing::Test {
  protected:
    ::dovrel::testing::ScopedRegion region_{"Europe/Kyiv"};
    ScopedClockOverride clock_{civilDate(2026, 3, 10, 8, 0, 0, 2.0)};
    CenterFiles files_;
    std::shared_ptr<UserNotificationCenter> center_ = files_.open();
};

TEST_F(UserNotificationCenterTest, AddedRequestsArePendingInTheOrderTheyWereAdded) {
    center_->add(makeRequest("a", atDate(2026, 3, 10, 9, 0)));
    center_->add(makeRequest("b"));
    center_->add(makeRequest("c", TimeIntervalNotificationTrigger(300, false)));
    EXPECT_THAT(identifiers(center_->pendingRequests()), ElementsAre("a", "b", "c"));
}

TEST_F(UserNotificationCenterTest, AddingAnIdentifierThatIsPendingReplacesTheRequest) {
    center_->add(makeRequest("a", std::nullopt, "First"));
    center_->add(makeRequest("b"));
    center_->add(makeRequest("a", std::nullopt, "Second"));
    const auto pending = center_->pendingRequests();
    ASSERT_THAT(identifiers(pending), ElementsAre("b", "a"));
    EXPECT_EQ(pending[1].request.content.title, "Second");
}

TEST_F(UserNotificationCenterTest, ReplacingRemovesTheChosenRequestsAndAddsTheNewOnesInOneStep) {
    center_->add(makeRequest("old-1", atDate(2026, 3, 10, 9, 0)));
    center_->add(makeRequest("kept", TimeIntervalNotificationTrigger(300, false)));
    center_->add(makeRequest("old-2", atDate(2026, 3, 11, 9, 0)));
    const auto removed = center_->replacePendingRequests(
        [](const NotificationRequest& request) { return request.identifier.starts_with("old"); },
        {makeRequest("new-1", atDate(2026, 3, 12, 9, 0)),
         makeRequest("new-2", atDate(2026, 3, 13, 9, 0))});
    EXPECT_THAT(removed, ElementsAre("old-1", "old-2"));
    EXPECT_THAT(identifiers(files_.open()->pendingRequests()),
                ElementsAre("kept", "new-1", "new-2"));
    // Again: the requests written last time are chosen from as well.
    center_->replacePendingRequests(
        [](const NotificationRequest& request) { return request.identifier == "new-1"; }, {});
    EXPECT_THAT(identifiers(center_->pendingRequests()), ElementsAre("kept", "new-2"));
}

TEST_F(UserNotificationCenterTest, AddingSeveralRequestsAtOnceKeepsTheirOrder) {
    center_->add(makeRequest("first"));
    center_->add(std::vector<NotificationRequest>{makeRequest("second"), makeRequest("third")});
    EXPECT_THAT(identifiers(center_->pendingRequests()), ElementsAre("first", "second", "third"));
}

TEST_F(UserNotificationCenterTest, PendingRequestKeepsEveryFieldOfTheRequest) {
    NotificationRequest request = makeRequest("full", atDate(2026, 3, 11, 9, 30));
    request.content.subtitle = "Morning";
    request.content.sound = NotificationSound::defaultSound();
    request.content.badge = 3;
    request.content.categoryIdentifier = "HabitReminder.NotificationCategoryIdentifier";
    request.content.userInfo = {{"habitURIRepresentation", std::string("x-dovrel://a/Habit/p1")}};
    center_->add(request);

    const auto pending = files_.open()->pendingRequests();
    ASSERT_EQ(pending.size(), 1u);
    EXPECT_EQ(pending[0].request, request);
    EXPECT_EQ(pending[0].addedDate, Clock::now());
    EXPECT_EQ(pending[0].triggerDate, civilDate(2026, 3, 11, 9, 30, 0, 2.0));
}

TEST_F(UserNotificationCenterTest, AbsentSoundAndBadgeStayAbsent) {
    center_->add(makeRequest("silent"));
    const auto pending = center_->pendingRequests();
    ASSERT_EQ(pending.size(), 1u);
    EXPECT_EQ(pending[0].request.content.sound, std::nullopt);
    EXPECT_EQ(pending[0].request.content.badge, std::nullopt);
}

TEST_F(UserNotificationCenterTest, UserInfoValuesKeepTheirKindsInAFreshCenter) {
    NotificationRequest request = makeRequest("kinds");
    const Date first = civilDate(2026, 3, 9, 23, 30, 15, 2.0) + 0.25;
    request.content.userInfo = {
        {"text", std::string("x-dovrel://store/Habit/p7")},
        {"date", first},
        {"integer", std::int64_t{-9007199254740993}},
        {"double", 2.5},
        {"bool", true},
        {"emptyText", std::string()},
    };
    center_->add(request);

    const auto pending = files_.open()->pendingRequests();
    ASSERT_EQ(pending.size(), 1u);
    const auto& userInfo = pending[0].request.content.userInfo;
    ASSERT_EQ(userInfo.size(), 6u);
    ASSERT_TRUE(std::holds_alternative<Date>(userInfo.at("date")));
    EXPECT_EQ(std::get<Date>(userInfo.at("date")), first);
    ASSERT_TRUE(std::holds_alternative<std::string>(userInfo.at("text")));
    EXPECT_EQ(std::get<std::string>(userInfo.at("text")), "x-dovrel://store/Habit/p7");
    ASSERT_TRUE(std::holds_alternative<std::int64_t>(userInfo.at("integer")));
    EXPECT_EQ(std::get<std::int64_t>(userInfo.at("integer")), -9007199254740993);
    ASSERT_TRUE(std::holds_alternative<double>(userInfo.at("double")));
    EXPECT_EQ(std::get<double>(userInfo.at("double")), 2.5);
    ASSERT_TRUE(std::holds_alternative<bool>(userInfo.at("bool")));
    EXPECT_TRUE(std::get<bool>(userInfo.at("bool")));
    EXPECT_EQ(std::get<std::string>(userInfo.at("emptyText")), "");
}

TEST_F(UserNotificationCenterTest, RemovingPendingRequestsIgnoresUnknownIdentifiers) {
    center_->add(makeRequest("a"));
    center_->add(makeRequest("b"));
    center_->add(makeRequest("c"));
    center_->removePendingNotificationRequests({"a", "unknown", "c"});
    EXPECT_THAT(identifiers(center_->pendingRequests()), ElementsAre("b"));
}

TEST_F(UserNotificationCenterTest, RemoveAllPendingRequestsLeavesNone) {
    center_->add(makeRequest("a"));
    center_->add(makeRequest("b"));
    center_->removeAllPendingNotificationRequests();
    EXPECT_THAT(center_->pendingRequests(), IsEmpty());
    EXPECT_EQ(center_->nextTriggerDate(), std::nullopt);
}

TEST_F(UserNotificationCenterTest, GetPendingNotificationRequestsHandsTheRequestsToTheCompletion) {
    center_->add(makeRequest("a"));
    center_->add(makeRequest("b", atDate(2026, 3, 12, 9, 0)));
    Delivery<std::vector<NotificationRequest>> received;
    center_->getPendingNotificationRequests(
        [&](std::vector<NotificationRequest> requests) { received.set(std::move(requests)); });
    const auto requests = received.wait();
    ASSERT_TRUE(requests.has_value());
    ASSERT_EQ(requests->size(), 2u);
    EXPECT_EQ((*requests)[0], makeRequest("a"));
    EXPECT_EQ((*requests)[1], makeRequest("b", atDate(2026, 3, 12, 9, 0)));
}

TEST_F(UserNotificationCenterTest, RequestWithoutTriggerIsDueWhenAdded) {
    center_->add(makeRequest("now"));
    const auto pending = center_->pendingRequests();
    ASSERT_EQ(pending.size(), 1u);
    EXPECT_EQ(pending[0].triggerDate, Clock::now());
}

TEST_F(UserNotificationCenterTest, TimeIntervalFireDateIsFixedWhenAddedAndSurvivesAFreshCenter) {
    const Date added = Clock::now();
    center_->add(makeRequest("later", TimeIntervalNotificationTrigger(3600, false)));
    clock_.set(added + 1800);
    const auto pending = files_.open()->pendingRequests();
    ASSERT_EQ(pending.size(), 1u);
    EXPECT_EQ(pending[0].addedDate, added);
    EXPECT_EQ(pending[0].triggerDate, added + 3600);
}

TEST_F(UserNotificationCenterTest, NextTriggerDateIsTheEarliestPendingOne) {
    center_->add(makeRequest("tomorrow", atDate(2026, 3, 11, 9, 0)));
    center_->add(makeRequest("soon", TimeIntervalNotificationTrigger(600, false)));
    center_->add(makeRequest("passed", atDate(2026, 3, 1, 9, 0)));
    EXPECT_EQ(center_->nextTriggerDate(), Clock::now() + 600);
}

TEST_F(UserNotificationCenterTest, FullDateThatHasPassedIsPendingWithoutATriggerDate) {
    center_->add(makeRequest("passed", atDate(2026, 3, 1, 9, 0)));
    const auto pending = center_->pendingRequests();
    ASSERT_EQ(pending.size(), 1u);
    EXPECT_EQ(pending[0].triggerDate, std::nullopt);
}

TEST_F(UserNotificationCenterTest, AddCompletionReceivesNoErrorAfterAWrite) {
    Delivery<std::optional<Error>> received;
    center_->add(makeRequest("a"), [&](std::optional<Error> error) { received.set(error); });
    const auto error = received.wait();
    ASSERT_TRUE(error.has_value()) << "the completion did not run";
    EXPECT_EQ(*error, std::nullopt);
}

TEST_F(UserNotificationCenterTest, AddCompletionReceivesTheErrorOfAFailedWrite) {
    // Another program of the group refuses every new row of the file.
    sqlite3* raw = nullptr;
    ASSERT_EQ(sqlite3_open(files_.storeFile().c_str(), &raw), SQLITE_OK);
    std::unique_ptr<sqlite3, int (*)(sqlite3*)> other(raw, &sqlite3_close);
    ASSERT_EQ(sqlite3_exec(other.get(),
                           "CREATE TRIGGER refuse BEFORE INSERT ON pending "
                           "BEGIN SELECT RAISE(ABORT, 'refused'); END",
                           nullptr, nullptr, nullptr),
              SQLITE_OK);
    Delivery<std::optional<Error>> received;
    center_->add(makeRequest("b"), [&](std::optional<Error> error) { received.set(error); });
    const auto error = received.wait();
    ASSERT_TRUE(error.has_value()) << "the completion did not run";
    ASSERT_TRUE(error->has_value());
    EXPECT_EQ((*error)->domain(), UserNotificationCenter::kErrorDomain);
    EXPECT_THAT((*error)->localizedDescription(), ::testing::HasSubstr("refused"));
    EXPECT_THAT(center_->pendingRequests(), IsEmpty());
}

// Delivered notifications.

TEST_F(UserNotificationCenterTest, DeliveredNotificationsAreListedInDeliveryOrder) {
    center_->add(makeRequest("a", TimeIntervalNotificationTrigger(60, false)));
    center_->add(makeRequest("b"));
    const Date now = Clock::now();
    EXPECT_THAT(identifiers(center_->deliverDueRequests(now)), ElementsAre("b"));
    EXPECT_THAT(identifiers(center_->deliverDueRequests(now + 60)), ElementsAre("a"));
    const auto delivered = files_.open()->deliveredNotifications();
    ASSERT_THAT(identifiers(delivered), ElementsAre("b", "a"));
    EXPECT_EQ(delivered[0].date, now);
    EXPECT_EQ(delivered[1].date, now + 60);
    EXPECT_EQ(delivered[1].request, makeRequest("a", TimeIntervalNotificationTrigger(60, false)));
}

TEST_F(UserNotificationCenterTest, RemovingDeliveredNotificationsLeavesTheOthers) {
    center_->add(makeRequest("a"));
    center_->add(makeRequest("b"));
    center_->add(makeRequest("c"));
    center_->deliverDueRequests(Clock::now());
    center_->removeDeliveredNotifications({"b", "unknown"});
    EXPECT_THAT(identifiers(center_->deliveredNotifications()), ElementsAre("a", "c"));
    center_->removeAllDeliveredNotifications();
    EXPECT_THAT(center_->deliveredNotifications(), IsEmpty());
}

TEST_F(UserNotificationCenterTest, GetDeliveredNotificationsHandsThemToTheCompletion) {
    center_->add(makeRequest("a"));
    center_->deliverDueRequests(Clock::now());
    Delivery<std::vector<Notification>> received;
    center_->getDeliveredNotifications(
        [&](std::vector<Notification> notifications) { received.set(std::move(notifications)); });
    const auto notifications = received.wait();
    ASSERT_TRUE(notifications.has_value());
    EXPECT_THAT(identifiers(*notifications), ElementsAre("a"));
}

// Categories.

NotificationCategory plainCategory(std::string identifier) {
    NotificationCategory category;
    category.identifier = std::move(identifier);
    return category;
}

NotificationCategory reminderCategory() {
    return NotificationCategory{
        "HabitReminder.NotificationCategoryIdentifier",
        {
            {"HabitReminder.Complete", "Complete", NotificationActionOptions::none},
            {"HabitReminder.PostponeFor5Minutes", "5 minutes", NotificationActionOptions::none},
            {"HabitReminder.Delete", "Delete", NotificationActionOptions::destructive},
        },
        {"intent"},
        NotificationCategoryOptions::customDismissAction,
    };
}

TEST_F(UserNotificationCenterTest, CategoriesSetByOneCenterAreReadByAnotherOnTheSameFile) {
    center_->setNotificationCategories({reminderCategory()});
    auto other = files_.open();
    EXPECT_THAT(other->notificationCategories(), ElementsAre(reminderCategory()));
    Delivery<std::vector<NotificationCategory>> received;
    other->getNotificationCategories(
        [&](std::vector<NotificationCategory> categories) { received.set(std::move(categories)); });
    EXPECT_EQ(received.wait(), std::vector{reminderCategory()});
}

TEST_F(UserNotificationCenterTest, SettingCategoriesReplacesEveryEarlierCategory) {
    center_->setNotificationCategories({reminderCategory(), plainCategory("Other")});
    files_.open()->setNotificationCategories({plainCategory("Third")});
    EXPECT_THAT(center_->notificationCategories(), ElementsAre(plainCategory("Third")));
    center_->setNotificationCategories({});
    EXPECT_THAT(center_->notificationCategories(), IsEmpty());
}

TEST_F(UserNotificationCenterTest, CategoriesAreASetByIdentifier) {
    NotificationCategory again = reminderCategory();
    again.actions.clear();
    center_->setNotificationCategories({reminderCategory(), again});
    EXPECT_THAT(center_->notificationCategories(), ElementsAre(reminderCategory()));
}

// The file.

TEST_F(UserNotificationCenterTest, FileIsPrivateToItsOwner) {
    struct stat status {};
    ASSERT_EQ(::stat(center_->storePath().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600u);
    EXPECT_EQ(center_->storePath(), files_.storeFile());
}

TEST(UserNotificationCenterGroupTest, GroupCenterLivesInTheGroupContainer) {
    ::dovrel::testing::TemporaryDirectory home;
    ::dovrel::testing::ScopedEnvironment dataHome("XDG_DATA_HOME", home.path().string());
    const auto center = UserNotificationCenter::forApplicationGroup("group.app.dovrel.Dovrel");
    EXPECT_EQ(center->storePath(),
              home.path() / "group.app.dovrel.Dovrel" / UserNotificationCenter::kStoreFileName);
    center->add(makeRequest("a"));
    EXPECT_THAT(identifiers(UserNotificationCenter::forApplicationGroup("group.app.dovrel.Dovrel")
                                ->pendingRequests()),
                ElementsAre("a"));
    center->setRemindersEnabled(false);
    EXPECT_FALSE(UserDefaults("group.app.dovrel.Dovrel")
                     .get(DefaultsKey<bool>(UserNotificationCenter::kRemindersEnabledKey, true)));
}

TEST(UserNotificationCenterGroupTest, GroupWithoutAContainerThrows) {
    ::dovrel::testing::TemporaryDirectory home;
    ::dovrel::testing::ScopedEnvironment dataHome("XDG_DATA_HOME", home.path().string());
    try {
        UserNotificationCenter::forApplicationGroup("not/a/name");
        FAIL() << "a center was made without a container";
    } catch (const Error& error) {
        EXPECT_EQ(error.domain(), UserNotificationCenter::kErrorDomain);
    }
}

}  // namespace
}  // namespace dovrel::notifications
