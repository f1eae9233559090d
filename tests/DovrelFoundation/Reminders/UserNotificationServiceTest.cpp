#include "DovrelFoundation/Reminders/UserNotificationService.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <variant>
#include <vector>

#include "DovrelFoundation/Progress/DateExtensions.h"
#include "DovrelFoundation/Reminders/HabitReminderIdentifiers.h"
#include "DovrelFoundation/Reminders/IconBadgeService.h"
#include "platform/foundation/RegionOverrides.h"
#include "platform/notifications/LauncherBadge.h"
#include "tests/DovrelFoundation/Reminders/ReminderTestSupport.h"
#include "tests/DovrelFoundation/SharedStoreTestSupport.h"

namespace dovrel {
namespace {

using notifications::Notification;
using notifications::NotificationRequest;
using notifications::NotificationResponse;
using notifications::TimeIntervalNotificationTrigger;
using testing::CallCounter;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using testing::kyiv;
using testing::RecordingAnalyticsService;
using testing::waitFor;

class UserNotificationServiceTest : public testing::ReminderStackFixture {
  protected:
    UserNotificationServiceTest() {
        badge = std::make_shared<IconBadgeService>(
            notifications::LauncherBadge::atPath(folder.path() / "Badge.sqlite"));
        service =
            UserNotificationService::create(center, scheduler, coreDataManager, badge, tracker);
    }

    ~UserNotificationServiceTest() override {
        service.reset();
        testing::runMainQueueFor(std::chrono::milliseconds(20));
    }

    // A delivered reminder of `habit` as the scheduler makes them, answered with `action`.
    NotificationResponse answer(const Habit& habit, const std::string& action,
                                std::optional<Date> first, std::optional<Date> current) {
        NotificationRequest request;
        request.identifier = "delivered-reminder";
        request.content.title = habit.name().value_or("");
        request.content.categoryIdentifier = kHabitReminderCategoryIdentifier;
        request.content.userInfo.emplace(kHabitURIRepresentationKey, uri(habit));
        if (first) {
            request.content.userInfo.emplace(kFirstNotificationDateKey, *first);
        }
        if (current) {
            request.content.userInfo.emplace(kCurrentNotificationDateKey, *current);
        }
        return NotificationResponse{Notification{current.value_or(Clock::now()), request}, action};
    }

    // Hands `response` to the service as the center would, and waits for the handler.
    int receiveAndWait(const NotificationResponse& response) {
        CallCounter handler;
        service->didReceive(*center, response, handler.completion());
        EXPECT_TRUE(waitFor([&] { return handler.count() > 0; })) << "never completed";
        // Anything that would complete a second time has had its chance.
        testing::runMainQueueFor(std::chrono::milliseconds(100));
        return handler.count();
    }

    // The events recorded, by name.
    std::vector<RecordingAnalyticsService::Event> events(const std::string& name) const {
        std::vector<RecordingAnalyticsService::Event> found;
        for (const auto& event : analytics->events) {
            if (event.name == name) {
                found.push_back(event);
            }
        }
        return found;
    }

    static std::optional<AnalyticsParameterValue> parameter(
        const RecordingAnalyticsService::Event& event, const std::string& name) {
        if (!event.parameters) {
            return std::nullopt;
        }
        const auto found = event.parameters->find(name);
        if (found == event.parameters->end()) {
            return std::nullopt;
        }
        return found->second;
    }

    std::size_t calendarReminderCount() {
        std::size_t count = 0;
        for (const auto& entry : pending()) {
            if (entry.request.trigger &&
                std::holds_alternative<notifications::CalendarNotificationTrigger>(
                    *entry.request.trigger)) {
                ++count;
            }
        }
        return count;
    }

    std::shared_ptr<IconBadgeService> badge;
    std::shared_ptr<UserNotificationService> service;
};

TEST_F(UserNotificationServiceTest, CreationMakesTheServiceTheCentersDelegate) {
    EXPECT_EQ(center->delegate(), service);
    std::weak_ptr<UserNotificationService> weak = service;
    service.reset();
    EXPECT_TRUE(weak.expired()) << "the center holds its delegate weakly";
    EXPECT_EQ(center->delegate(), nullptr);
}

TEST_F(UserNotificationServiceTest,
       ActionEnumerationHasTheFourIdentifiersInOrderWithTheirIntervals) {
    std::vector<std::string> identifiers;
    for (const auto action : HabitReminderAction::allCases()) {
        identifiers.emplace_back(action.rawValue());
    }
    EXPECT_THAT(identifiers,
                ElementsAre("HabitReminder.Complete", "HabitReminder.PostponeFor5Minutes",
                            "HabitReminder.PostponeFor1Hour", "HabitReminder.PostponeFor4Hours"));
    EXPECT_EQ(HabitReminderAction(HabitReminderAction::complete).postponeInterval(), std::nullopt);
    EXPECT_EQ(HabitReminderAction(HabitReminderAction::postponeFor5Minutes).postponeInterval(),
              300.0);
    EXPECT_EQ(HabitReminderAction(HabitReminderAction::postponeFor1Hour).postponeInterval(),
              3600.0);
    EXPECT_EQ(HabitReminderAction(HabitReminderAction::postponeFor4Hours).postponeInterval(),
              14400.0);
    EXPECT_EQ(HabitReminderAction::fromRawValue(NotificationResponse::kDefaultActionIdentifier),
              std::nullopt);
    EXPECT_EQ(HabitReminderAction::fromRawValue(NotificationResponse::kDismissActionIdentifier),
              std::nullopt);
    EXPECT_EQ(HabitReminderAction::fromRawValue("habitreminder.complete"), std::nullopt);
    EXPECT_STREQ(kHabitReminderCategoryIdentifier, "HabitReminder.NotificationCategoryIdentifier");
    EXPECT_STREQ(kHabitURIRepresentationKey, "habitURIRepresentation");
    EXPECT_STREQ(kFirstNotificationDateKey, "firstNotificationDate");
    EXPECT_STREQ(kCurrentNotificationDateKey, "currentNotificationDate");
}

TEST_F(UserNotificationServiceTest,
       RegisteringTheCategoryOffersTheFourActionsWithLocalizedTitlesAndNoOptions) {
    center->setNotificationCategories({notifications::NotificationCategory{"Old", {}, {}, {}}});
    service->registerNotificationCategories();

    const auto categories = center->notificationCategories();
    ASSERT_EQ(categories.size(), 1u);
    const auto& category = categories[0];
    EXPECT_EQ(category.identifier, "HabitReminder.NotificationCategoryIdentifier");
    EXPECT_THAT(category.intentIdentifiers, IsEmpty());
    EXPECT_EQ(category.options, notifications::NotificationCategoryOptions::none);
    using notifications::NotificationAction;
    using notifications::NotificationActionOptions;
    EXPECT_THAT(
        category.actions,
        ElementsAre(NotificationAction{"HabitReminder.Complete", "Complete",
                                       NotificationActionOptions::none},
                    NotificationAction{"HabitReminder.PostponeFor5Minutes",
                                       "Postpone for 5 minutes", NotificationActionOptions::none},
                    NotificationAction{"HabitReminder.PostponeFor1Hour", "Postpone for 1 hour",
                                       NotificationActionOptions::none},
                    NotificationAction{"HabitReminder.PostponeFor4Hours", "Postpone for 4 hours",
                                       NotificationActionOptions::none}));
}

TEST_F(UserNotificationServiceTest, ActionTitlesFollowTheUserLanguage) {
    ScopedLocale ukrainian("uk_UA");
    service->registerNotificationCategories();
    const auto categories = center->notificationCategories();
    ASSERT_EQ(categories.size(), 1u);
    std::vector<std::string> titles;
    for (const auto& action : categories[0].actions) {
        titles.push_back(action.title);
    }
    EXPECT_THAT(titles, ElementsAre("Виконано", "Відкласти на 5 хвилин", "Відкласти на 1 годину",
                                    "Відкласти на 4 години"));
}

TEST_F(UserNotificationServiceTest, PresentingInFrontAlwaysAsksForSoundAndAlert) {
    std::optional<notifications::PresentationOptions> answered;
    service->willPresent(*center, Notification{},
                         [&](notifications::PresentationOptions options) { answered = options; });
    ASSERT_TRUE(answered.has_value());
    EXPECT_EQ(notifications::rawValue(*answered), 6u);

    // And through the center, which asks its delegate.
    std::atomic<bool> done = false;
    std::optional<notifications::PresentationOptions> throughCenter;
    center->willPresent(Notification{},
                        [&](std::optional<notifications::PresentationOptions> options) {
                            throughCenter = options;
                            done = true;
                        });
    ASSERT_TRUE(waitFor([&] { return done.load(); }));
    EXPECT_EQ(throughCenter, answered);
}

TEST_F(UserNotificationServiceTest, AuthorizationIsTrackedAndReportedOnTheNamedQueue) {
    const auto mainThread = std::this_thread::get_id();
    std::optional<bool> granted;
    std::atomic<bool> onMain = false;
    service->requestAuthorization(DispatchQueue::main(), [&](bool answer) {
        onMain = std::this_thread::get_id() == mainThread;
        granted = answer;
    });
    ASSERT_TRUE(waitFor([&] { return granted.has_value(); }));
    EXPECT_EQ(granted, true);
    EXPECT_TRUE(onMain);
    EXPECT_THAT(analytics->notificationsAllowed, ElementsAre(true));
    EXPECT_THAT(analytics->errors, IsEmpty());

    std::optional<notifications::AuthorizationStatus> status;
    service->getCurrentAuthorizationStatus(
        DispatchQueue::main(), [&](notifications::AuthorizationStatus answer) { status = answer; });
    ASSERT_TRUE(waitFor([&] { return status.has_value(); }));
    EXPECT_EQ(status, notifications::AuthorizationStatus::authorized);
}

TEST_F(UserNotificationServiceTest, AuthorizationRefusedWhileRemindersAreOffIsTrackedAsNotAllowed) {
    center->setRemindersEnabled(false);
    std::optional<bool> granted;
    service->requestAuthorization(DispatchQueue::main(), notifications::AuthorizationOptions::alert,
                                  [&](bool answer) { granted = answer; });
    ASSERT_TRUE(waitFor([&] { return granted.has_value(); }));
    EXPECT_EQ(granted, false);
    EXPECT_THAT(analytics->notificationsAllowed, ElementsAre(false));

    std::optional<notifications::AuthorizationStatus> status;
    service->getCurrentAuthorizationStatus(
        DispatchQueue::main(), [&](notifications::AuthorizationStatus answer) { status = answer; });
    ASSERT_TRUE(waitFor([&] { return status.has_value(); }));
    EXPECT_EQ(status, notifications::AuthorizationStatus::denied);
}

TEST_F(UserNotificationServiceTest, ProvisionalAuthorizationIsTrackedWithoutACompletion) {
    service->requestProvisionalAuthorization();
    ASSERT_TRUE(waitFor([&] { return analytics->notificationsAllowed.size() == 1; }));
    EXPECT_THAT(analytics->notificationsAllowed, ElementsAre(true));
}

TEST_F(UserNotificationServiceTest, NotificationOfAnotherCategoryIsCompletedAndNothingElseHappens) {
    const auto habit = addHabit("Read", 9);
    badge->setBadgeNumber(3);
    auto response = answer(*habit, "HabitReminder.Complete", std::nullopt, Clock::now());
    response.notification.request.content.categoryIdentifier = "SomethingElse";

    CallCounter handler;
    service->didReceive(*center, response, handler.completion());
    EXPECT_EQ(handler.count(), 1) << "completed at once";
    testing::runMainQueueFor(std::chrono::milliseconds(200));
    EXPECT_EQ(handler.count(), 1);
    EXPECT_THAT(analytics->calls, IsEmpty());
    EXPECT_FALSE(habit->hasPerformings(Clock::now()));
    EXPECT_EQ(badge->badgeNumber(), 3);
    EXPECT_THAT(pending(), IsEmpty());
}

TEST_F(UserNotificationServiceTest, DefaultTapIsCompletedAtOnceWithoutAnalyticsOrRescheduling) {
    const auto habit = addHabit("Read", 9);
    for (const char* action : {NotificationResponse::kDefaultActionIdentifier,
                               NotificationResponse::kDismissActionIdentifier, "Unknown"}) {
        SCOPED_TRACE(action);
        CallCounter handler;
        service->didReceive(*center, answer(*habit, action, std::nullopt, Clock::now()),
                            handler.completion());
        EXPECT_EQ(handler.count(), 1);
    }
    testing::runMainQueueFor(std::chrono::milliseconds(200));
    EXPECT_THAT(analytics->calls, IsEmpty());
    EXPECT_THAT(pending(), IsEmpty()) << "no rescheduling";
}

TEST_F(UserNotificationServiceTest,
       PostponeFor1HourAddsAReminder3600SecondsLaterCarryingTheFirstNotificationDate) {
    const auto habit = addHabit("Read", 9);
    const Date first = kyiv(2025, 3, 10, 7, 0);
    const Date current = kyiv(2025, 3, 10, 7, 30);
    EXPECT_EQ(receiveAndWait(answer(*habit, "HabitReminder.PostponeFor1Hour", first, current)), 1);

    const auto requests = pending();
    ASSERT_EQ(requests.size(), 1u);
    const auto& request = requests[0].request;
    ASSERT_TRUE(request.trigger.has_value());
    const auto* trigger = std::get_if<TimeIntervalNotificationTrigger>(&*request.trigger);
    ASSERT_NE(trigger, nullptr);
    EXPECT_EQ(trigger->timeInterval(), 3600);
    EXPECT_FALSE(request.content.badge.has_value());
    EXPECT_EQ(request.content.title, "Read");
    EXPECT_EQ(request.content.categoryIdentifier, "HabitReminder.NotificationCategoryIdentifier");
    EXPECT_EQ(std::get<Date>(request.content.userInfo.at("firstNotificationDate")), first);
    EXPECT_EQ(std::get<Date>(request.content.userInfo.at("currentNotificationDate")),
              Clock::now() + 3600);
    EXPECT_EQ(std::get<std::string>(request.content.userInfo.at("habitURIRepresentation")),
              uri(*habit));

    const auto handled = events("notification_action_handled");
    ASSERT_EQ(handled.size(), 1u);
    EXPECT_EQ(parameter(handled[0], "notification_action_type"),
              AnalyticsParameterValue(std::string("HabitReminder.PostponeFor1Hour")));
    EXPECT_EQ(parameter(handled[0], "habit_name"), AnalyticsParameterValue(std::string("Read")));
    EXPECT_EQ(parameter(handled[0], "motivate_title"),
              AnalyticsParameterValue(std::string("Why?")));
    EXPECT_EQ(parameter(handled[0], "regularity"), AnalyticsParameterValue(std::string("1/1")));
    EXPECT_EQ(parameter(handled[0], "minutes_since_first_notification"),
              AnalyticsParameterValue(std::int64_t{60}));
    EXPECT_EQ(parameter(handled[0], "minutes_since_last_notification"),
              AnalyticsParameterValue(std::int64_t{30}));
    EXPECT_FALSE(habit->hasPerformings(Clock::now())) << "postponing checks nothing";
}

TEST_F(UserNotificationServiceTest,
       PostponeFor5MinutesAnd4HoursUseTheirIntervalsAndNoFirstDateStaysAbsent) {
    const auto habit = addHabit("Read", 9);
    EXPECT_EQ(receiveAndWait(
                  answer(*habit, "HabitReminder.PostponeFor5Minutes", std::nullopt, std::nullopt)),
              1);
    EXPECT_EQ(receiveAndWait(
                  answer(*habit, "HabitReminder.PostponeFor4Hours", std::nullopt, std::nullopt)),
              1);
    const auto requests = pending();
    ASSERT_EQ(requests.size(), 2u);
    EXPECT_EQ(requests[0].triggerDate, Clock::now() + 300);
    EXPECT_EQ(requests[1].triggerDate, Clock::now() + 14400);
    for (const auto& entry : requests) {
        EXPECT_EQ(entry.request.content.userInfo.count("firstNotificationDate"), 0u);
    }
    const auto handled = events("notification_action_handled");
    ASSERT_EQ(handled.size(), 2u);
    EXPECT_EQ(parameter(handled[0], "minutes_since_first_notification"), std::nullopt);
    EXPECT_EQ(parameter(handled[0], "minutes_since_last_notification"), std::nullopt);
}

TEST_F(UserNotificationServiceTest, ReminderOfADeletedHabitIsCompletedWithoutMore) {
    const auto habit = addHabit("Gone", 9);
    const auto response = answer(*habit, "HabitReminder.Complete", std::nullopt, Clock::now());
    context().deleteObject(habit);
    context().save();

    // The coordinator finds no object for the URI of a deleted row.
    EXPECT_EQ(receiveAndWait(response), 1);
    EXPECT_THAT(analytics->calls, IsEmpty());
    EXPECT_THAT(events("notification_action_handled"), IsEmpty());
    EXPECT_THAT(pending(), IsEmpty());
}

TEST_F(UserNotificationServiceTest, ReminderWithoutUsableHabitURIIsCompletedWithoutMore) {
    const auto habit = addHabit("Read", 9);
    auto missing = answer(*habit, "HabitReminder.Complete", std::nullopt, Clock::now());
    missing.notification.request.content.userInfo.erase("habitURIRepresentation");
    auto notText = missing;
    notText.notification.request.content.userInfo.emplace("habitURIRepresentation",
                                                          std::int64_t{7});
    auto otherStore = missing;
    otherStore.notification.request.content.userInfo.emplace(
        "habitURIRepresentation",
        std::string("x-dovrel://00000000-0000-4000-8000-000000000000/Habit/p1"));
    auto malformed = missing;
    malformed.notification.request.content.userInfo.emplace("habitURIRepresentation",
                                                            std::string("not a uri at all"));

    for (const auto& response : {missing, notText, otherStore, malformed}) {
        EXPECT_EQ(receiveAndWait(response), 1);
    }
    EXPECT_THAT(analytics->calls, IsEmpty());
    EXPECT_FALSE(habit->hasPerformings(Clock::now()));
}

TEST_F(UserNotificationServiceTest, CompleteWithBadge3Leaves2ChecksTheDayAndReschedulesEverything) {
    const auto habit = addHabit("Read", 9);
    badge->setBadgeNumber(3);
    addAndWait(foreignCalendarRequest("stale-calendar-reminder"));

    EXPECT_EQ(receiveAndWait(answer(*habit, "HabitReminder.Complete", std::nullopt, Clock::now())),
              1);
    EXPECT_EQ(badge->badgeNumber(), 2);
    EXPECT_TRUE(habit->hasPerformings(Clock::now()));

    // The full rescheduling replaced the stale reminder: checked today at 08:00, the habit rests
    // one day from the checkmark's time, and is reminded 9 hours after that.
    const auto requests = pending();
    ASSERT_EQ(requests.size(), 3u);
    EXPECT_EQ(requests[0].triggerDate, kyiv(2025, 3, 11, 17));
    EXPECT_EQ(requests[0].request.content.badge, 1);

    const auto toggles = events("rich_notification_habit_toggle_checkmark");
    ASSERT_EQ(toggles.size(), 1u);
    EXPECT_EQ(parameter(toggles[0], "checkmark_on"), AnalyticsParameterValue(true));
    EXPECT_EQ(parameter(toggles[0], "days_since_checkmark"),
              AnalyticsParameterValue(std::int64_t{0}));
    EXPECT_EQ(parameter(toggles[0], "habit_name"), AnalyticsParameterValue(std::string("Read")));
    EXPECT_EQ(events("notification_action_handled").size(), 1u);
    // Tracking the answer comes before the checkmark's event.
    EXPECT_EQ(analytics->events.front().name, "notification_action_handled");

    // The save reached the store.
    testing::runMainQueueFor(std::chrono::milliseconds(20));
    auto fresh = coreDataManager->createNewBackgroundContext();
    fresh->performAndWait([&] {
        const auto habits = fresh->fetch(Habit::fetchRequest());
        ASSERT_EQ(habits.size(), 1u);
        EXPECT_EQ(habits[0]->performingDates().size(), 1u);
    });
}

TEST_F(UserNotificationServiceTest, CompleteIsCompletedOnlyAfterItsFullReschedulingHasRun) {
    const auto habit = addHabit("Read", 9);
    std::atomic<int> remindersWhenCompleted = -1;
    std::atomic<int> calls = 0;
    service->didReceive(*center,
                        answer(*habit, "HabitReminder.Complete", std::nullopt, Clock::now()), [&] {
                            remindersWhenCompleted = static_cast<int>(calendarReminderCount());
                            ++calls;
                        });
    ASSERT_TRUE(waitFor([&] { return calls > 0; }));
    testing::runMainQueueFor(std::chrono::milliseconds(100));
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(remindersWhenCompleted, 3);

    // One run, and the stack is idle again with nothing waiting.
    const auto stack = scheduler->habitsReschedulingStack();
    std::atomic<bool> checked = false;
    std::atomic<bool> idle = false;
    stack->serialQueue().async([&] {
        idle = !stack->isReschedulingInProgress() && stack->numberOfWaitingReschedulings() == 0;
        checked = true;
    });
    ASSERT_TRUE(waitFor([&] { return checked.load(); }));
    EXPECT_TRUE(idle);
}

TEST_F(UserNotificationServiceTest, CompleteOnAChainFirstDueAt2330AnsweredAt0031ChecksTheFirstDay) {
    const auto habit = addHabit("Late", 23, 30);
    const Date firstDue = kyiv(2025, 3, 10, 23, 30);
    clock.set(kyiv(2025, 3, 11, 0, 31));
    EXPECT_EQ(receiveAndWait(
                  answer(*habit, "HabitReminder.Complete", firstDue, kyiv(2025, 3, 11, 0, 30))),
              1);
    EXPECT_TRUE(habit->hasPerformings(kyiv(2025, 3, 10, 12)));
    EXPECT_FALSE(habit->hasPerformings(kyiv(2025, 3, 11, 12)));
    EXPECT_THAT(habit->performingDates(), ElementsAre(firstDue));

    const auto toggles = events("rich_notification_habit_toggle_checkmark");
    ASSERT_EQ(toggles.size(), 1u);
    EXPECT_EQ(parameter(toggles[0], "days_since_checkmark"),
              AnalyticsParameterValue(std::int64_t{1}));
    const auto handled = events("notification_action_handled");
    ASSERT_EQ(handled.size(), 1u);
    EXPECT_EQ(parameter(handled[0], "minutes_since_first_notification"),
              AnalyticsParameterValue(std::int64_t{61}));
    EXPECT_EQ(parameter(handled[0], "minutes_since_last_notification"),
              AnalyticsParameterValue(std::int64_t{1}));
}

TEST_F(UserNotificationServiceTest, CompleteOnADayAlreadyCheckedClearsIt) {
    const auto habit = addHabit("Twice", 9);
    habit->toggleCheckmark(kyiv(2025, 3, 10, 7));
    context().save();
    EXPECT_EQ(receiveAndWait(
                  answer(*habit, "HabitReminder.Complete", kyiv(2025, 3, 10, 7, 30), std::nullopt)),
              1);
    EXPECT_FALSE(habit->hasPerformings(Clock::now()));
    const auto toggles = events("rich_notification_habit_toggle_checkmark");
    ASSERT_EQ(toggles.size(), 1u);
    EXPECT_EQ(parameter(toggles[0], "checkmark_on"), AnalyticsParameterValue(false));
}

TEST_F(UserNotificationServiceTest,
       HabitWithoutRepeatIntervalReportsTheRegularityNoRepeatInterval) {
    auto habit = addHabit("Free", 9);
    habit->setRepeatInterval(std::nullopt);
    context().save();
    EXPECT_EQ(habitRegularity(*habit), "no repeatInterval");
    habit->setRepeatInterval(RepeatInterval(3, 7));
    EXPECT_EQ(habitRegularity(*habit), "3/7");
    habit->setRepeatInterval(std::nullopt);

    EXPECT_EQ(receiveAndWait(answer(*habit, "HabitReminder.Complete", std::nullopt, std::nullopt)),
              1);
    for (const auto* name :
         {"notification_action_handled", "rich_notification_habit_toggle_checkmark"}) {
        const auto found = events(name);
        ASSERT_EQ(found.size(), 1u) << name;
        EXPECT_EQ(parameter(found[0], "regularity"),
                  AnalyticsParameterValue(std::string("no repeatInterval")));
    }
}

TEST_F(UserNotificationServiceTest,
       CompleteWhoseSaveIsRolledBackIsCompletedOnceWithoutReschedulingOrBadgeChange) {
    const auto habit = addHabit("Blocked", 9);
    badge->setBadgeNumber(3);
    // The store refuses every new checkmark.
    testing::runStoreStatement(FileManager::containerURL(kGroup).value() / "Habit.sqlite",
                               "CREATE TRIGGER refuse BEFORE INSERT ON Performing "
                               "BEGIN SELECT RAISE(ABORT, 'refused'); END;");

    EXPECT_EQ(receiveAndWait(answer(*habit, "HabitReminder.Complete", std::nullopt, Clock::now())),
              1);
    EXPECT_FALSE(habit->hasPerformings(Clock::now())) << "rolled back";
    EXPECT_FALSE(context().hasChanges());
    EXPECT_EQ(badge->badgeNumber(), 3);
    EXPECT_THAT(events("rich_notification_habit_toggle_checkmark"), IsEmpty());
    EXPECT_THAT(pending(), IsEmpty()) << "no rescheduling";
}

TEST_F(UserNotificationServiceTest, AnswerThroughTheCenterReachesTheServiceAndCompletes) {
    const auto habit = addHabit("Read", 9);
    std::atomic<bool> done = false;
    center->respond(answer(*habit, "HabitReminder.PostponeFor5Minutes", std::nullopt, Clock::now()),
                    [&] { done = true; });
    ASSERT_TRUE(waitFor([&] { return done.load(); }));
    EXPECT_EQ(pending().size(), 1u);
    EXPECT_EQ(events("notification_action_handled").size(), 1u);
}

TEST_F(UserNotificationServiceTest, ServiceGoneBeforeTheAnswerIsHandledStillCompletesOnce) {
    const auto habit = addHabit("Read", 9);
    CallCounter handler;
    service->didReceive(*center,
                        answer(*habit, "HabitReminder.Complete", std::nullopt, Clock::now()),
                        handler.completion());
    service.reset();
    ASSERT_TRUE(waitFor([&] { return handler.count() > 0; }));
    testing::runMainQueueFor(std::chrono::milliseconds(100));
    EXPECT_EQ(handler.count(), 1);
    EXPECT_THAT(analytics->calls, IsEmpty());
}

using UserNotificationServiceDeathTest = UserNotificationServiceTest;

TEST_F(UserNotificationServiceDeathTest,
       CompleteWithTheSmallestBadgeNumberStopsWithTheOverflowMessage) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto habit = addHabit("Overflow", 9);
    badge->setBadgeNumber(std::numeric_limits<std::int64_t>::min());
    const auto response = answer(*habit, "HabitReminder.Complete", std::nullopt, Clock::now());
    EXPECT_DEATH(
        {
            CallCounter handler;
            service->didReceive(*center, response, handler.completion());
            waitFor([&] { return handler.count() > 0; });
        },
        "Fatal error: Arithmetic overflow: the icon badge number cannot be decreased: file "
        "DovrelFoundation/UserNotificationService");
}

}  // namespace
}  // namespace dovrel
