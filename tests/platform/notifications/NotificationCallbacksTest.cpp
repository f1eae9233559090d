#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "platform/foundation/Clock.h"
#include "platform/notifications/LauncherBadge.h"
#include "platform/notifications/UserNotificationCenter.h"
#include "tests/platform/notifications/NotificationTestSupport.h"
#include "tests/support/CapturedLog.h"

namespace dovrel::notifications {
namespace {

using testing::CenterFiles;
using testing::Delivery;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using testing::makeRequest;

// Holds a center's callback queue busy until released, so that a test can see whether something
// waits for that queue.
class BlockedQueue {
  public:
    explicit BlockedQueue(DispatchQueue queue) {
        auto started = std::make_shared<std::promise<void>>();
        auto startedFuture = started->get_future();
        queue.async([started, released = released_.get_future().share()] {
            started->set_value();
            released.wait();
        });
        startedFuture.wait();
    }
    ~BlockedQueue() { release(); }
    BlockedQueue(const BlockedQueue&) = delete;
    BlockedQueue& operator=(const BlockedQueue&) = delete;

    void release() {
        if (!isReleased_) {
            isReleased_ = true;
            released_.set_value();
        }
    }

  private:
    std::promise<void> released_;
    bool isReleased_ = false;
};

// A delegate that records what it is asked and answers as the test says.
class RecordingDelegate : public UserNotificationCenterDelegate {
  public:
    void willPresent(UserNotificationCenter&, const Notification& notification,
                     std::function<void(PresentationOptions)> completionHandler) override {
        presented.set(notification);
        completionHandler(PresentationOptions::sound | PresentationOptions::alert);
    }

    void didReceive(UserNotificationCenter& center, const NotificationResponse& response,
                    std::function<void()> completionHandler) override {
        pendingWhenCalled = center.pendingRequests().size();
        deliveredWhenCalled = center.deliveredNotifications().size();
        callingThread = std::this_thread::get_id();
        handler = std::move(completionHandler);
        received.set(response);
    }

    Delivery<Notification> presented;
    Delivery<NotificationResponse> received;
    std::function<void()> handler;
    std::size_t pendingWhenCalled = 0;
    std::size_t deliveredWhenCalled = 0;
    std::thread::id callingThread;
};

class NotificationCallbacksTest : public ::testing::Test {
  protected:
    NotificationResponse deliverAndAnswer(const std::string& identifier,
                                          const std::string& action) {
        center_->add(makeRequest(identifier));
        const auto delivered = center_->deliverDueRequests(Clock::now());
        EXPECT_EQ(delivered.size(), 1u);
        return NotificationResponse{delivered.at(0), action};
    }

    CenterFiles files_;
    std::shared_ptr<UserNotificationCenter> center_ = files_.open();
};

TEST_F(NotificationCallbacksTest, CompletionsWaitForTheCallbackQueue) {
    std::atomic<int> completed{0};
    {
        BlockedQueue blocked(center_->callbackQueue());
        center_->add(makeRequest("a"), [&](std::optional<Error>) { ++completed; });
        center_->getPendingNotificationRequests(
            [&](std::vector<NotificationRequest>) { ++completed; });
        center_->getDeliveredNotifications([&](std::vector<Notification>) { ++completed; });
        center_->getNotificationCategories([&](std::vector<NotificationCategory>) { ++completed; });
        center_->getNotificationSettings([&](NotificationSettings) { ++completed; });
        center_->requestAuthorization(AuthorizationOptions::alert,
                                      [&](bool, std::optional<Error>) { ++completed; });
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        EXPECT_EQ(completed.load(), 0);
    }
    Delivery<bool> drained;
    center_->callbackQueue().async([&] { drained.set(true); });
    EXPECT_EQ(drained.wait(), true);
    EXPECT_EQ(completed.load(), 6);
}

TEST_F(NotificationCallbacksTest, CompletionCalledFromTheCallbackQueueRunsAfterTheCallingClosure) {
    std::vector<std::string> order;
    Delivery<bool> done;
    center_->callbackQueue().async([&] {
        center_->add(makeRequest("a"), [&](std::optional<Error>) {
            order.push_back("completion");
            done.set(true);
        });
        order.push_back("after add returned");
    });
    ASSERT_EQ(done.wait(), true);
    EXPECT_THAT(order, ElementsAre("after add returned", "completion"));
}

TEST_F(NotificationCallbacksTest, CompletionRunsOnAnotherThreadWhileNoMainLoopIsDriven) {
    Delivery<std::thread::id> thread;
    center_->add(makeRequest("a"),
                 [&](std::optional<Error>) { thread.set(std::this_thread::get_id()); });
    const auto completionThread = thread.wait();
    ASSERT_TRUE(completionThread.has_value()) << "the completion did not run";
    EXPECT_NE(*completionThread, std::this_thread::get_id());
}

TEST_F(NotificationCallbacksTest, EachCenterHasItsOwnCallbackQueue) {
    EXPECT_EQ(center_->callbackQueue(), center_->callbackQueue());
    EXPECT_FALSE(center_->callbackQueue() == files_.open()->callbackQueue());
    EXPECT_FALSE(center_->callbackQueue() == DispatchQueue::main());
    EXPECT_TRUE(center_->callbackQueue().isSerial());
}

// Answers.

TEST_F(NotificationCallbacksTest, RespondWithoutADelegateCompletesOnTheCallbackQueue) {
    const auto response = deliverAndAnswer("a", NotificationResponse::kDefaultActionIdentifier);
    BlockedQueue blocked(center_->callbackQueue());
    std::atomic<bool> completed{false};
    Delivery<bool> done;
    center_->respond(response, [&] {
        completed = true;
        done.set(true);
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_FALSE(completed.load());
    blocked.release();
    EXPECT_EQ(done.wait(), true);
    EXPECT_THAT(center_->deliveredNotifications(), IsEmpty());
}

TEST_F(NotificationCallbacksTest, RespondHandsTheAnswerToTheDelegateAfterRemovingTheNotification) {
    auto delegate = std::make_shared<RecordingDelegate>();
    center_->setDelegate(delegate);
    EXPECT_EQ(center_->delegate(), delegate);
    const auto response = deliverAndAnswer("a", "HabitReminder.Complete");

    std::atomic<int> completions{0};
    Delivery<bool> done;
    center_->respond(response, [&] {
        ++completions;
        done.set(true);
    });
    ASSERT_EQ(delegate->received.wait(), response);
    EXPECT_EQ(delegate->deliveredWhenCalled, 0u);
    EXPECT_NE(delegate->callingThread, std::this_thread::get_id());
    // The caller's completion waits for the delegate's.
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(completions.load(), 0);

    delegate->handler();
    EXPECT_EQ(done.wait(), true);
    Delivery<bool> drained;
    center_->callbackQueue().async([&] { drained.set(true); });
    drained.wait();
    EXPECT_EQ(completions.load(), 1);
}

TEST_F(NotificationCallbacksTest, SecondCallOfTheDelegatesHandlerIsIgnoredAndLogged) {
    ::dovrel::testing::CapturedLog log(LauncherBadge::kNotificationsLoggerName, "%l %v");
    auto delegate = std::make_shared<RecordingDelegate>();
    center_->setDelegate(delegate);
    std::atomic<int> completions{0};
    center_->respond(deliverAndAnswer("twice", "HabitReminder.Complete"), [&] { ++completions; });
    ASSERT_TRUE(delegate->received.wait().has_value());
    delegate->handler();
    delegate->handler();
    Delivery<bool> drained;
    center_->callbackQueue().async([&] { drained.set(true); });
    drained.wait();
    EXPECT_EQ(completions.load(), 1);
    const auto lines = log.lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_THAT(lines[0], HasSubstr("warning"));
    EXPECT_THAT(lines[0], HasSubstr("\"twice\""));
}

TEST_F(NotificationCallbacksTest, RespondRemovesARequestThatIsStillPending) {
    auto delegate = std::make_shared<RecordingDelegate>();
    center_->setDelegate(delegate);
    center_->add(makeRequest("shown", TimeIntervalNotificationTrigger(600, false)));
    center_->add(makeRequest("other"));
    const Notification shown{Clock::now(), makeRequest("shown")};
    center_->respond(NotificationResponse{shown, NotificationResponse::kDismissActionIdentifier});
    ASSERT_TRUE(delegate->received.wait().has_value());
    EXPECT_EQ(delegate->pendingWhenCalled, 1u);
    ASSERT_EQ(center_->pendingRequests().size(), 1u);
    EXPECT_EQ(center_->pendingRequests()[0].request.identifier, "other");
}

TEST_F(NotificationCallbacksTest, RespondKeepsARepeatingRequestPending) {
    DateComponents nine;
    nine.hour = 9;
    nine.minute = 0;
    center_->add(makeRequest("daily", CalendarNotificationTrigger(nine, true)));
    const Notification shown{Clock::now(), makeRequest("daily")};
    Delivery<bool> done;
    center_->respond(NotificationResponse{shown, "HabitReminder.Complete"},
                     [&] { done.set(true); });
    ASSERT_EQ(done.wait(), true);
    EXPECT_EQ(center_->pendingRequests().size(), 1u);
}

TEST_F(NotificationCallbacksTest, DelegateThatIsGoneIsNotCalled) {
    auto delegate = std::make_shared<RecordingDelegate>();
    center_->setDelegate(delegate);
    delegate.reset();
    EXPECT_EQ(center_->delegate(), nullptr);
    Delivery<bool> done;
    center_->respond(deliverAndAnswer("a", "HabitReminder.Complete"), [&] { done.set(true); });
    EXPECT_EQ(done.wait(), true);
}

TEST_F(NotificationCallbacksTest, WillPresentPassesTheDelegatesOptions) {
    auto delegate = std::make_shared<RecordingDelegate>();
    center_->setDelegate(delegate);
    const Notification notification{Clock::now(), makeRequest("a")};
    Delivery<std::optional<PresentationOptions>> answer;
    center_->willPresent(notification,
                         [&](std::optional<PresentationOptions> options) { answer.set(options); });
    EXPECT_EQ(answer.wait(), PresentationOptions::sound | PresentationOptions::alert);
    EXPECT_EQ(delegate->presented.wait(), notification);
}

TEST_F(NotificationCallbacksTest, WillPresentWithoutADelegateAnswersNothing) {
    Delivery<std::optional<PresentationOptions>> answer;
    center_->willPresent(Notification{Clock::now(), makeRequest("a")},
                         [&](std::optional<PresentationOptions> options) { answer.set(options); });
    const auto received = answer.wait();
    ASSERT_TRUE(received.has_value()) << "the completion did not run";
    EXPECT_EQ(*received, std::nullopt);
}

// Authorization.

TEST_F(NotificationCallbacksTest, StatusIsNotDeterminedUntilAuthorizationIsRequested) {
    Delivery<NotificationSettings> settings;
    center_->getNotificationSettings([&](NotificationSettings value) { settings.set(value); });
    EXPECT_EQ(settings.wait(), NotificationSettings{AuthorizationStatus::notDetermined});
}

TEST_F(NotificationCallbacksTest, AuthorizationIsGrantedWhileRemindersAreOn) {
    Delivery<std::pair<bool, std::optional<Error>>> answer;
    center_->requestAuthorization(
        AuthorizationOptions::badge | AuthorizationOptions::sound | AuthorizationOptions::alert,
        [&](bool granted, std::optional<Error> error) {
            answer.set({granted, error});
        });
    const auto received = answer.wait();
    ASSERT_TRUE(received.has_value());
    EXPECT_TRUE(received->first);
    EXPECT_EQ(received->second, std::nullopt);

    Delivery<NotificationSettings> settings;
    files_.open()->getNotificationSettings(
        [&](NotificationSettings value) { settings.set(value); });
    EXPECT_EQ(settings.wait(), NotificationSettings{AuthorizationStatus::authorized});
}

TEST_F(NotificationCallbacksTest, AuthorizationIsDeniedWhileRemindersAreOff) {
    center_->setRemindersEnabled(false);
    EXPECT_FALSE(center_->remindersEnabled());
    Delivery<bool> granted;
    center_->requestAuthorization(AuthorizationOptions::alert,
                                  [&](bool value, std::optional<Error>) { granted.set(value); });
    EXPECT_EQ(granted.wait(), false);
    Delivery<NotificationSettings> settings;
    center_->getNotificationSettings([&](NotificationSettings value) { settings.set(value); });
    EXPECT_EQ(settings.wait(), NotificationSettings{AuthorizationStatus::denied});
}

TEST_F(NotificationCallbacksTest, RemindersAreOnUntilSwitchedOff) {
    EXPECT_TRUE(center_->remindersEnabled());
    center_->setRemindersEnabled(false);
    EXPECT_FALSE(files_.open()->remindersEnabled());
    center_->setRemindersEnabled(true);
    EXPECT_TRUE(files_.open()->remindersEnabled());
}

TEST(AuthorizationOptionsTest, RawValuesAreThoseOfThePhone) {
    EXPECT_EQ(rawValue(AuthorizationOptions::badge | AuthorizationOptions::sound |
                       AuthorizationOptions::alert),
              7u);
    EXPECT_EQ(rawValue(AuthorizationOptions::badge | AuthorizationOptions::sound |
                       AuthorizationOptions::alert | AuthorizationOptions::provisional),
              71u);
    EXPECT_EQ(rawValue(PresentationOptions::sound | PresentationOptions::alert), 6u);
}

}  // namespace
}  // namespace dovrel::notifications
