#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/foundation/Clock.h"
#include "platform/notifications/UserNotificationCenter.h"
#include "tests/platform/notifications/NotificationTestSupport.h"
#include "tests/support/CivilDate.h"
#include "tests/support/ScopedRegion.h"

namespace dovrel::notifications {
namespace {

using ::dovrel::testing::civilDate;
using testing::atDate;
using testing::CenterFiles;
using testing::daily;
using ::testing::ElementsAre;
using testing::identifiers;
using ::testing::IsEmpty;
using testing::makeRequest;

class DeliverDueRequestsTest : public ::testing::Test {
  protected:
    ::dovrel::testing::ScopedRegion region_{"Europe/Kyiv"};
    ScopedClockOverride clock_{civilDate(2026, 3, 10, 8, 0, 0, 2.0)};
    CenterFiles files_;
    std::shared_ptr<UserNotificationCenter> center_ = files_.open();
};

TEST_F(DeliverDueRequestsTest, NothingIsDeliveredBeforeItsTriggerDate) {
    center_->add(makeRequest("nine", atDate(2026, 3, 10, 9, 0)));
    EXPECT_THAT(center_->deliverDueRequests(civilDate(2026, 3, 10, 8, 59, 59, 2.0)), IsEmpty());
    EXPECT_THAT(identifiers(center_->pendingRequests()), ElementsAre("nine"));
    EXPECT_THAT(center_->deliveredNotifications(), IsEmpty());
}

TEST_F(DeliverDueRequestsTest, RequestIsDeliveredAtItsTriggerDateAndDatedWithIt) {
    center_->add(makeRequest("nine", atDate(2026, 3, 10, 9, 0)));
    const auto delivered = center_->deliverDueRequests(civilDate(2026, 3, 10, 9, 0, 0, 2.0));
    ASSERT_THAT(identifiers(delivered), ElementsAre("nine"));
    EXPECT_EQ(delivered[0].date, civilDate(2026, 3, 10, 9, 0, 0, 2.0));
    EXPECT_EQ(delivered[0].request, makeRequest("nine", atDate(2026, 3, 10, 9, 0)));
    EXPECT_THAT(center_->pendingRequests(), IsEmpty());
    EXPECT_EQ(center_->deliveredNotifications(), delivered);
}

TEST_F(DeliverDueRequestsTest, DueRequestsAreDeliveredInTriggerDateOrder) {
    center_->add(makeRequest("third", atDate(2026, 3, 10, 9, 30)));
    center_->add(makeRequest("first", TimeIntervalNotificationTrigger(300, false)));
    center_->add(makeRequest("notYet", atDate(2026, 3, 11, 9, 0)));
    center_->add(makeRequest("second", atDate(2026, 3, 10, 9, 0)));
    const auto delivered = center_->deliverDueRequests(civilDate(2026, 3, 10, 10, 0, 0, 2.0));
    EXPECT_THAT(identifiers(delivered), ElementsAre("first", "second", "third"));
    EXPECT_THAT(identifiers(center_->deliveredNotifications()),
                ElementsAre("first", "second", "third"));
    EXPECT_THAT(identifiers(center_->pendingRequests()), ElementsAre("notYet"));
}

TEST_F(DeliverDueRequestsTest, RequestsDueAtTheSameInstantKeepTheOrderTheyWereAdded) {
    center_->add(makeRequest("b", atDate(2026, 3, 10, 9, 0)));
    center_->add(makeRequest("a", atDate(2026, 3, 10, 9, 0)));
    center_->add(makeRequest("c", atDate(2026, 3, 10, 9, 0)));
    EXPECT_THAT(identifiers(center_->deliverDueRequests(civilDate(2026, 3, 10, 9, 0, 0, 2.0))),
                ElementsAre("b", "a", "c"));
}

TEST_F(DeliverDueRequestsTest, EachRequestIsDeliveredOnce) {
    center_->add(makeRequest("a"));
    EXPECT_THAT(identifiers(center_->deliverDueRequests(Clock::now())), ElementsAre("a"));
    EXPECT_THAT(center_->deliverDueRequests(Clock::now() + 86400), IsEmpty());
    EXPECT_THAT(files_.open()->deliverDueRequests(Clock::now() + 86400), IsEmpty());
    EXPECT_THAT(identifiers(center_->deliveredNotifications()), ElementsAre("a"));
}

TEST_F(DeliverDueRequestsTest, RepeatingCalendarRequestStaysPendingWithItsNextDate) {
    center_->add(makeRequest("daily", daily(9, 0)));
    const auto first = center_->deliverDueRequests(civilDate(2026, 3, 10, 9, 0, 0, 2.0));
    ASSERT_THAT(identifiers(first), ElementsAre("daily"));
    const auto pending = center_->pendingRequests();
    ASSERT_EQ(pending.size(), 1u);
    EXPECT_EQ(pending[0].triggerDate, civilDate(2026, 3, 11, 9, 0, 0, 2.0));

    const auto second = center_->deliverDueRequests(civilDate(2026, 3, 11, 9, 0, 5, 2.0));
    ASSERT_THAT(identifiers(second), ElementsAre("daily"));
    EXPECT_EQ(second[0].date, civilDate(2026, 3, 11, 9, 0, 0, 2.0));
    // The later notification of a request replaces its earlier one.
    EXPECT_EQ(center_->deliveredNotifications(), second);
}

TEST_F(DeliverDueRequestsTest, RepeatingRequestMissedOnSeveralDaysIsDeliveredOnce) {
    center_->add(makeRequest("daily", daily(9, 0)));
    const auto delivered = center_->deliverDueRequests(civilDate(2026, 3, 13, 12, 0, 0, 2.0));
    ASSERT_THAT(identifiers(delivered), ElementsAre("daily"));
    EXPECT_EQ(delivered[0].date, civilDate(2026, 3, 10, 9, 0, 0, 2.0));
    EXPECT_EQ(center_->pendingRequests().at(0).triggerDate, civilDate(2026, 3, 14, 9, 0, 0, 2.0));
}

TEST_F(DeliverDueRequestsTest, RepeatingTimeIntervalRequestKeepsItsRhythm) {
    const Date added = Clock::now();
    center_->add(makeRequest("hourly", TimeIntervalNotificationTrigger(3600, true)));
    const auto delivered = center_->deliverDueRequests(added + 3600 * 2.5);
    ASSERT_THAT(identifiers(delivered), ElementsAre("hourly"));
    EXPECT_EQ(delivered[0].date, added + 3600);
    EXPECT_EQ(center_->pendingRequests().at(0).triggerDate, added + 3600 * 3);
}

TEST_F(DeliverDueRequestsTest, PendingRepeatingTriggerDateFollowsTheZoneAfterADelivery) {
    center_->add(makeRequest("daily", daily(9, 0)));
    center_->deliverDueRequests(civilDate(2026, 3, 10, 9, 0, 0, 2.0));
    ScopedTimeZone travelled("America/New_York");
    // 09:00 in Kyiv was 03:00 in New York; the next 09:00 there is the same day.
    EXPECT_EQ(center_->pendingRequests().at(0).triggerDate, civilDate(2026, 3, 10, 9, 0, 0, -4.0));
}

TEST_F(DeliverDueRequestsTest, WhileRemindersAreOffDueRequestsAreDroppedUndelivered) {
    center_->add(makeRequest("due"));
    center_->add(makeRequest("daily", daily(9, 0)));
    center_->add(makeRequest("later", atDate(2026, 3, 12, 9, 0)));
    center_->setRemindersEnabled(false);
    EXPECT_THAT(center_->deliverDueRequests(civilDate(2026, 3, 10, 9, 30, 0, 2.0)), IsEmpty());
    EXPECT_THAT(center_->deliveredNotifications(), IsEmpty());
    EXPECT_THAT(identifiers(center_->pendingRequests()), ElementsAre("daily", "later"));
    EXPECT_EQ(center_->pendingRequests().at(0).triggerDate, civilDate(2026, 3, 11, 9, 0, 0, 2.0));

    center_->setRemindersEnabled(true);
    EXPECT_THAT(identifiers(center_->deliverDueRequests(civilDate(2026, 3, 12, 9, 0, 0, 2.0))),
                ElementsAre("daily", "later"));
}

TEST_F(DeliverDueRequestsTest, RemindersSwitchedOffInAnotherCenterStopDelivery) {
    center_->add(makeRequest("due"));
    files_.open()->setRemindersEnabled(false);
    EXPECT_FALSE(center_->remindersEnabled());
    EXPECT_THAT(center_->deliverDueRequests(Clock::now()), IsEmpty());
    EXPECT_THAT(center_->pendingRequests(), IsEmpty());
}

}  // namespace
}  // namespace dovrel::notifications
