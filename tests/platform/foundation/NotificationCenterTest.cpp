#include "platform/foundation/NotificationCenter.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace dovrel {
namespace {

TEST(NotificationCenter, DeliversToObserversOfTheNameInRegistrationOrder) {
    NotificationCenter center;
    std::vector<std::string> calls;
    auto first = center.addObserver("Saved", nullptr,
                                    [&](const Notification&) { calls.push_back("first"); });
    auto second = center.addObserver("Saved", nullptr,
                                     [&](const Notification&) { calls.push_back("second"); });
    auto other = center.addObserver("Other", nullptr,
                                    [&](const Notification&) { calls.push_back("other"); });
    center.post("Saved");
    EXPECT_EQ(calls, (std::vector<std::string>{"first", "second"}));
}

TEST(NotificationCenter, AnObserverWithoutANameReceivesEveryNotification) {
    NotificationCenter center;
    std::vector<std::string> names;
    auto token = center.addObserver(std::nullopt, nullptr, [&](const Notification& notification) {
        names.push_back(notification.name);
    });
    center.post("A");
    center.post("B");
    EXPECT_EQ(names, (std::vector<std::string>{"A", "B"}));
}

TEST(NotificationCenter, FiltersBySenderIdentity) {
    NotificationCenter center;
    int senderA = 0, senderB = 0;
    int received = 0;
    auto token = center.addObserver("Changed", &senderA, [&](const Notification& notification) {
        EXPECT_EQ(notification.object, &senderA);
        ++received;
    });
    center.post("Changed", &senderB);
    center.post("Changed", &senderA);
    center.post("Changed");
    EXPECT_EQ(received, 1);
}

TEST(NotificationCenter, PassesUserInfo) {
    NotificationCenter center;
    int count = 0;
    auto token = center.addObserver("Counted", nullptr, [&](const Notification& notification) {
        count = std::any_cast<int>(notification.userInfo.at("count"));
    });
    center.post("Counted", nullptr, {{"count", std::any(7)}});
    EXPECT_EQ(count, 7);
}

TEST(NotificationCenter, DestroyingTheTokenRemovesTheObserver) {
    NotificationCenter center;
    int received = 0;
    {
        auto token = center.addObserver("Ping", nullptr, [&](const Notification&) { ++received; });
        center.post("Ping");
        EXPECT_EQ(center.observerCount(), 1u);
    }
    center.post("Ping");
    EXPECT_EQ(received, 1);
    EXPECT_EQ(center.observerCount(), 0u);
}

TEST(NotificationCenter, MovedTokenKeepsTheObserverAndResetRemovesIt) {
    NotificationCenter center;
    int received = 0;
    ObservationToken kept;
    {
        auto token = center.addObserver("Ping", nullptr, [&](const Notification&) { ++received; });
        kept = std::move(token);
        EXPECT_FALSE(token.isActive());  // NOLINT(bugprone-use-after-move): checking the move
    }
    center.post("Ping");
    EXPECT_EQ(received, 1);
    kept.reset();
    center.post("Ping");
    EXPECT_EQ(received, 1);
}

TEST(NotificationCenter, AnObserverMayRemoveItselfAndPostDuringDelivery) {
    NotificationCenter center;
    ObservationToken self;
    int nested = 0;
    auto nestedToken =
        center.addObserver("Nested", nullptr, [&](const Notification&) { ++nested; });
    self = center.addObserver("Outer", nullptr, [&](const Notification&) {
        self.reset();
        center.post("Nested");
    });
    center.post("Outer");
    center.post("Outer");
    EXPECT_EQ(nested, 1);
}

TEST(NotificationCenter, DeliversOnThePostingThread) {
    NotificationCenter center;
    std::thread::id deliveredOn;
    auto token = center.addObserver(
        "Where", nullptr, [&](const Notification&) { deliveredOn = std::this_thread::get_id(); });
    std::thread poster([&] { center.post("Where"); });
    const auto posterId = poster.get_id();
    poster.join();
    EXPECT_EQ(deliveredOn, posterId);
}

TEST(NotificationCenter, ConcurrentPostsAndRegistrationsAreSafe) {
    NotificationCenter center;
    std::atomic<int> received = 0;
    auto token = center.addObserver("Tick", nullptr, [&](const Notification&) { ++received; });
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < 1000; ++i) {
                auto temporary = center.addObserver("Other", nullptr, [](const Notification&) {});
                center.post("Tick");
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(received.load(), 4000);
    EXPECT_EQ(center.observerCount(), 1u);
}

}  // namespace
}  // namespace dovrel
