#include "platform/dispatch/MainRunLoop.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <stdexcept>
#include <thread>
#include <vector>

#include "platform/dispatch/DispatchQueue.h"

namespace dovrel {
namespace {

using namespace std::chrono_literals;

TEST(MainRunLoop, MainQueueClosuresRunOnlyWhileTheLoopIsDriven) {
    std::atomic<bool> ran{false};
    DispatchQueue::main().async([&] { ran = true; });
    std::this_thread::sleep_for(30ms);
    EXPECT_FALSE(ran.load());
    EXPECT_EQ(MainRunLoop::runPending(), 1u);
    EXPECT_TRUE(ran.load());
}

TEST(MainRunLoop, MainQueueRunsOnTheDrivingThreadInOrder) {
    std::vector<int> seen;
    std::vector<std::thread::id> threads;
    for (int i = 0; i < 100; ++i) {
        DispatchQueue::main().async([&, i] {
            seen.push_back(i);
            threads.push_back(std::this_thread::get_id());
        });
    }
    EXPECT_TRUE(MainRunLoop::runUntil([&] { return seen.size() == 100; }, 5s));
    for (int i = 0; i < 100; ++i) {
        ASSERT_EQ(seen[static_cast<std::size_t>(i)], i);
        ASSERT_EQ(threads[static_cast<std::size_t>(i)], std::this_thread::get_id());
    }
}

TEST(MainRunLoop, RunReturnsWhenAClosureStopsIt) {
    std::atomic<int> count{0};
    DispatchQueue::main().async([&] { ++count; });
    DispatchQueue::main().async([&] {
        ++count;
        MainRunLoop::stop();
    });
    MainRunLoop::run();
    EXPECT_EQ(count.load(), 2);
}

TEST(MainRunLoop, AsyncAfterOnTheMainQueueArrivesThroughTheLoop) {
    std::atomic<bool> ran{false};
    DispatchQueue::main().asyncAfter(20ms, [&] { ran = true; });
    EXPECT_TRUE(MainRunLoop::runUntil([&] { return ran.load(); }, 5s));
}

TEST(MainRunLoop, SyncOntoTheMainQueueFromAnotherThreadRunsOnTheLoopsThread) {
    std::atomic<bool> done{false};
    std::thread::id ranOn;
    std::thread worker([&] {
        ranOn = DispatchQueue::main().sync([] { return std::this_thread::get_id(); });
        done = true;
    });
    std::this_thread::sleep_for(20ms);
    EXPECT_FALSE(done.load());  // nothing drives the loop yet
    EXPECT_TRUE(MainRunLoop::runUntil([&] { return done.load(); }, 5s));
    worker.join();
    EXPECT_EQ(ranOn, std::this_thread::get_id());
}

TEST(MainRunLoop, SyncOntoTheMainQueuePassesAnExceptionToTheCaller) {
    std::atomic<bool> threw{false};
    std::thread worker([&] {
        try {
            DispatchQueue::main().sync([] { throw std::runtime_error("main"); });
        } catch (const std::runtime_error&) {
            threw = true;
        }
    });
    EXPECT_TRUE(MainRunLoop::runUntil([&] { return threw.load(); }, 5s));
    worker.join();
}

TEST(MainRunLoop, RunUntilGivesUpAfterTheTimeout) {
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(MainRunLoop::runUntil([] { return false; }, 40ms));
    EXPECT_GE(std::chrono::steady_clock::now() - start, 40ms);
}

TEST(MainRunLoop, WakeUpHandlerHearsWhenTheMainQueueNeedsTheLoop) {
    MainRunLoop::runPending();
    std::atomic<int> wakeUps{0};
    MainRunLoop::setWakeUpHandler([&] { ++wakeUps; });
    DispatchQueue::main().async([] {});
    EXPECT_EQ(wakeUps.load(), 1);
    // Work already waiting for the loop needs no second wake-up.
    DispatchQueue::main().async([] {});
    EXPECT_EQ(wakeUps.load(), 1);
    EXPECT_EQ(MainRunLoop::runPending(), 2u);
    DispatchQueue::main().async([] {});
    EXPECT_EQ(wakeUps.load(), 2);
    MainRunLoop::setWakeUpHandler({});
    MainRunLoop::runPending();
}

}  // namespace
}  // namespace dovrel
