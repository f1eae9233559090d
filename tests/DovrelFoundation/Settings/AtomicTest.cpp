#include "DovrelFoundation/Settings/Atomic.h"

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <string>
#include <thread>
#include <vector>

namespace dovrel {
namespace {

using namespace std::chrono_literals;

TEST(Atomic, ConcurrentIncrementsFromEightThreadsEndAtTheExactCount) {
    Atomic<std::int64_t> counter(0);
    constexpr int kThreads = 8;
    constexpr int kIncrementsPerThread = 125'000;  // a million in total
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&counter] {
            for (int i = 0; i < kIncrementsPerThread; ++i) {
                counter.mutate([](std::int64_t& value) { value += 1; });
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(counter.value(), 1'000'000);
}

TEST(Atomic, ValueAfterMutateSeesTheChangeAtOnce) {
    Atomic<std::string> text("a");
    text.mutate([](std::string& value) { value.push_back('b'); });
    EXPECT_EQ(text.value(), "ab");
    text.mutate([](std::string& value) { value = std::string(2, 'c'); });
    EXPECT_EQ(text.value(), "cc");
}

TEST(Atomic, ValueReturnsACopy) {
    Atomic<std::vector<int>> numbers({1, 2});
    std::vector<int> copy = numbers.value();
    copy.push_back(3);
    EXPECT_EQ(numbers.value(), (std::vector<int>{1, 2}));
}

TEST(Atomic, TwoBoxesHaveSeparateQueues) {
    Atomic<int> slow(0);
    Atomic<int> fast(0);
    std::promise<void> slowStarted;
    std::promise<void> releaseSlow;
    auto released = releaseSlow.get_future().share();
    std::thread longTransform([&] {
        slow.mutate([&](int& value) {
            slowStarted.set_value();
            // Held until the other box has been used: if the boxes shared a queue, the mutate on
            // `fast` below could not finish and the test would time out instead of passing.
            released.wait_for(10s);
            value = 1;
        });
    });
    slowStarted.get_future().wait();
    auto fastDone = std::async(std::launch::async, [&] {
        fast.mutate([](int& value) { value = 2; });
        return fast.value();
    });
    EXPECT_EQ(fastDone.wait_for(5s), std::future_status::ready);
    releaseSlow.set_value();
    longTransform.join();
    EXPECT_EQ(fastDone.get(), 2);
    EXPECT_EQ(slow.value(), 1);
}

TEST(AtomicDeathTest, ReadingTheBoxInsideItsOwnTransformStops) {
    EXPECT_DEATH(
        {
            Atomic<int> box(0);
            box.mutate([&box](int& value) { value = box.value(); });
        },
        "Fatal error: DispatchQueue.sync called on the serial queue \"Atomic serial queue\"");
}

}  // namespace
}  // namespace dovrel
