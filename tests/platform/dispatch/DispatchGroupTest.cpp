#include "platform/dispatch/DispatchGroup.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <thread>

namespace dovrel {
namespace {

using namespace std::chrono_literals;

TEST(DispatchGroup, WaitReturnsAfterEveryClosureOfTheGroupHasRun) {
    DispatchGroup group;
    std::atomic<int> finished{0};
    for (int i = 0; i < 20; ++i) {
        DispatchQueue::global().async(group, [&] {
            std::this_thread::sleep_for(5ms);
            ++finished;
        });
    }
    group.wait();
    EXPECT_EQ(finished.load(), 20);
}

TEST(DispatchGroup, WaitOnAnEmptyGroupReturnsAtOnce) {
    DispatchGroup group;
    EXPECT_EQ(group.wait(std::chrono::steady_clock::now()), DispatchTimeoutResult::success);
}

TEST(DispatchGroup, WaitWithADeadlineTimesOutWhileEntered) {
    DispatchGroup group;
    group.enter();
    EXPECT_EQ(group.wait(std::chrono::steady_clock::now() + 30ms), DispatchTimeoutResult::timedOut);
    group.leave();
    EXPECT_EQ(group.wait(std::chrono::steady_clock::now()), DispatchTimeoutResult::success);
}

TEST(DispatchGroup, NotifyRunsOnceTheLastLeaveComes) {
    DispatchGroup group;
    DispatchQueue queue("notify");
    std::promise<void> notified;
    std::atomic<bool> left{false};
    group.enter();
    group.enter();
    group.notify(queue, [&] {
        EXPECT_TRUE(left.load());
        notified.set_value();
    });
    group.leave();
    auto future = notified.get_future();
    EXPECT_EQ(future.wait_for(50ms), std::future_status::timeout);
    left = true;
    group.leave();
    EXPECT_EQ(future.wait_for(5s), std::future_status::ready);
}

TEST(DispatchGroup, NotifyOnAnEmptyGroupIsSubmittedAtOnce) {
    DispatchGroup group;
    std::promise<void> notified;
    group.notify(DispatchQueue("empty"), [&] { notified.set_value(); });
    EXPECT_EQ(notified.get_future().wait_for(5s), std::future_status::ready);
}

TEST(DispatchGroupDeathTest, LeaveWithoutEnterStops) {
    EXPECT_DEATH(
        {
            DispatchGroup group;
            group.leave();
        },
        "Fatal error: Unbalanced call to DispatchGroup.leave\\(\\)");
}

}  // namespace
}  // namespace dovrel
