#include "platform/dispatch/DispatchQueue.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "platform/dispatch/DispatchGroup.h"

namespace dovrel {
namespace {

using namespace std::chrono_literals;

TEST(DispatchQueue, SerialQueueRunsAsyncClosuresInSubmissionOrder) {
    DispatchQueue queue("order");
    std::vector<int> seen;
    for (int i = 0; i < 1000; ++i) {
        queue.async([&seen, i] { seen.push_back(i); });
    }
    queue.sync([] {});
    ASSERT_EQ(seen.size(), 1000u);
    for (int i = 0; i < 1000; ++i) {
        ASSERT_EQ(seen[static_cast<std::size_t>(i)], i);
    }
}

TEST(DispatchQueue, SerialQueueNeverRunsTwoClosuresAtOnce) {
    DispatchQueue queue("exclusive");
    std::atomic<int> inside{0};
    std::atomic<int> maximum{0};
    DispatchGroup group;
    std::vector<std::thread> submitters;
    for (int t = 0; t < 4; ++t) {
        submitters.emplace_back([&] {
            for (int i = 0; i < 200; ++i) {
                queue.async(group, [&] {
                    const int now = ++inside;
                    int seenMaximum = maximum.load();
                    while (now > seenMaximum && !maximum.compare_exchange_weak(seenMaximum, now)) {
                    }
                    std::this_thread::yield();
                    --inside;
                });
                if (i % 10 == 0) {
                    queue.sync([&] {
                        const int now = ++inside;
                        int seenMaximum = maximum.load();
                        while (now > seenMaximum &&
                               !maximum.compare_exchange_weak(seenMaximum, now)) {
                        }
                        --inside;
                    });
                }
            }
        });
    }
    for (auto& submitter : submitters) {
        submitter.join();
    }
    group.wait();
    EXPECT_EQ(maximum.load(), 1);
}

TEST(DispatchQueue, SyncWaitsForEarlierClosuresAndReturnsTheResult) {
    DispatchQueue queue("sync");
    std::atomic<bool> earlierDone{false};
    queue.async([&] {
        std::this_thread::sleep_for(50ms);
        earlierDone = true;
    });
    const int result = queue.sync([&] { return earlierDone.load() ? 42 : -1; });
    EXPECT_EQ(result, 42);
}

TEST(DispatchQueue, ClosuresSubmittedAfterASyncCallWaitForIt) {
    DispatchQueue queue("fifo");
    std::mutex mutex;
    std::vector<std::string> order;
    auto record = [&](const char* name) {
        std::lock_guard lock(mutex);
        order.emplace_back(name);
    };
    queue.async([&] {
        std::this_thread::sleep_for(60ms);
        record("first async");
    });
    std::thread caller([&] { queue.sync([&] { record("sync"); }); });
    std::this_thread::sleep_for(20ms);  // the sync call is waiting behind the first closure
    queue.async([&] { record("later async"); });
    caller.join();
    queue.sync([] {});
    EXPECT_EQ(order, (std::vector<std::string>{"first async", "sync", "later async"}));
}

TEST(DispatchQueue, SyncRunsOnTheCallingThread) {
    DispatchQueue queue("caller");
    const auto caller = std::this_thread::get_id();
    EXPECT_EQ(queue.sync([] { return std::this_thread::get_id(); }), caller);
}

TEST(DispatchQueue, SyncPassesAnExceptionToTheCallerAndFreesTheQueue) {
    DispatchQueue queue("throwing");
    EXPECT_THROW(queue.sync([]() -> int { throw std::runtime_error("boom"); }), std::runtime_error);
    EXPECT_EQ(queue.sync([] { return 7; }), 7);
}

TEST(DispatchQueueDeathTest, SyncOntoTheQueueThatIsRunningTheCallerStops) {
    EXPECT_DEATH(
        {
            DispatchQueue queue("reentrant");
            queue.sync([&] { queue.sync([] {}); });
        },
        "Fatal error: DispatchQueue.sync called on the serial queue \"reentrant\" from a closure "
        "that it is running");
}

TEST(DispatchQueueDeathTest, AnExceptionEscapingAnAsyncClosureStops) {
    EXPECT_DEATH(
        {
            DispatchQueue queue("escaping");
            queue.async([] { throw std::runtime_error("lost"); });
            std::this_thread::sleep_for(2s);
        },
        "Fatal error: Uncaught exception in a closure on the dispatch queue \"escaping\": lost");
}

TEST(DispatchQueue, GlobalQueueRunsClosuresSideBySide) {
    DispatchQueue global = DispatchQueue::global();
    EXPECT_FALSE(global.isSerial());
    std::promise<void> firstStarted;
    std::promise<void> release;
    auto released = release.get_future().share();
    DispatchGroup group;
    global.async(group, [&] {
        firstStarted.set_value();
        released.wait();
    });
    firstStarted.get_future().wait();
    // The first closure is still blocked; a second one must be able to release it.
    global.async(group, [&] { release.set_value(); });
    EXPECT_EQ(group.wait(std::chrono::steady_clock::now() + 5s), DispatchTimeoutResult::success);
}

TEST(DispatchQueue, HandlesCompareByQueue) {
    DispatchQueue a("a");
    DispatchQueue copy = a;
    DispatchQueue b("a");
    EXPECT_EQ(a, copy);
    EXPECT_FALSE(a == b);
    EXPECT_EQ(DispatchQueue::main(), DispatchQueue::main());
    EXPECT_EQ(DispatchQueue::global(), DispatchQueue::global(DispatchQoS::default_));
    EXPECT_EQ(a.label(), "a");
    EXPECT_TRUE(a.isSerial());
}

TEST(DispatchQueue, AsyncAfterRunsNoEarlierThanTheDelay) {
    DispatchQueue queue("later");
    std::promise<std::chrono::steady_clock::time_point> ran;
    const auto start = std::chrono::steady_clock::now();
    queue.asyncAfter(80ms, [&] { ran.set_value(std::chrono::steady_clock::now()); });
    auto future = ran.get_future();
    ASSERT_EQ(future.wait_for(5s), std::future_status::ready);
    EXPECT_GE(future.get() - start, 80ms);
}

TEST(DispatchQueue, AsyncAfterAPastDeadlineRunsSoon) {
    DispatchQueue queue("past");
    std::promise<void> ran;
    queue.asyncAfter(std::chrono::steady_clock::now() - 1s, [&] { ran.set_value(); });
    EXPECT_EQ(ran.get_future().wait_for(5s), std::future_status::ready);
}

TEST(DispatchQueue, SerialQueueWorksAsTheSerialQueueProtocol) {
    auto queue = std::make_shared<DispatchQueue>("protocol");
    std::shared_ptr<SerialDispatchQueueProtocol> serial = queue;
    std::vector<int> seen;
    serial->async([&] { seen.push_back(1); });
    serial->async([&] { seen.push_back(2); });
    queue->sync([] {});
    EXPECT_EQ(seen, (std::vector<int>{1, 2}));
}

}  // namespace
}  // namespace dovrel
