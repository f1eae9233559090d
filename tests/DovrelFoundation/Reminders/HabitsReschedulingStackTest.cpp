#include "DovrelFoundation/Reminders/HabitsReschedulingStack.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/dispatch/DispatchQueue.h"

namespace dovrel {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// A serial queue that only records what is submitted; the test runs the closures, in order.
class RecordingSerialQueue final : public SerialDispatchQueueProtocol {
  public:
    void async(std::function<void()> work) override { pending.push_back(std::move(work)); }

    // Runs the closures submitted so far and those they submit, until none is left.
    void drain() {
        while (!pending.empty()) {
            auto work = std::move(pending.front());
            pending.pop_front();
            work();
        }
    }

    std::deque<std::function<void()>> pending;
};

// The runs the stack asked for: each run's URI list and its `finished` closure.
struct Runs {
    std::vector<std::vector<std::string>> lists;
    std::vector<std::function<void()>> finished;
};

class HabitsReschedulingStackTest : public ::testing::Test {
  protected:
    std::shared_ptr<HabitsReschedulingStack> makeStack() {
        return HabitsReschedulingStack::create(
            queue, [runs = runs](std::vector<std::string> uris, std::function<void()> finished) {
                runs->lists.push_back(std::move(uris));
                runs->finished.push_back(std::move(finished));
            });
    }

    // Submits add() on the queue, as owners do.
    void request(const std::shared_ptr<HabitsReschedulingStack>& stack,
                 std::vector<std::string> uris, std::function<void()> completion) {
        queue->async([stack, uris = std::move(uris), completion = std::move(completion)] {
            stack->add(uris, completion);
        });
    }

    std::shared_ptr<RecordingSerialQueue> queue = std::make_shared<RecordingSerialQueue>();
    std::shared_ptr<Runs> runs = std::make_shared<Runs>();
    std::vector<std::string> completed;
};

TEST_F(HabitsReschedulingStackTest,
       OneRequestWhileIdleRunsWithExactlyItsListAndCompletesAfterFinished) {
    auto stack = makeStack();
    EXPECT_FALSE(stack->isReschedulingInProgress());

    request(stack, {"a", "b"}, [&] { completed.push_back("first"); });
    EXPECT_THAT(runs->lists, IsEmpty()) << "add runs on the queue, not at the call";
    queue->drain();

    ASSERT_THAT(runs->lists, ElementsAre(ElementsAre("a", "b")));
    EXPECT_TRUE(stack->isReschedulingInProgress());
    EXPECT_THAT(completed, IsEmpty());

    runs->finished[0]();
    EXPECT_THAT(completed, IsEmpty()) << "completions run on the serial queue";
    queue->drain();
    EXPECT_THAT(completed, ElementsAre("first"));
    EXPECT_FALSE(stack->isReschedulingInProgress());
    EXPECT_EQ(runs->lists.size(), 1u);
}

TEST_F(HabitsReschedulingStackTest,
       BurstOfThreeRequestsDuringARunCostsExactlyOneMoreRunWithTheirListsConcatenated) {
    auto stack = makeStack();
    request(stack, {"x"}, [&] { completed.push_back("running"); });
    queue->drain();
    ASSERT_EQ(runs->lists.size(), 1u);

    request(stack, {"a"}, [&] { completed.push_back("1"); });
    request(stack, {}, [&] { completed.push_back("2"); });
    request(stack, {"b", "a"}, [&] { completed.push_back("3"); });
    queue->drain();
    EXPECT_EQ(runs->lists.size(), 1u) << "no run starts while one is in progress";
    EXPECT_EQ(stack->numberOfWaitingReschedulings(), 3u);

    runs->finished[0]();
    queue->drain();
    EXPECT_THAT(completed, ElementsAre("running"));
    ASSERT_EQ(runs->lists.size(), 2u);
    EXPECT_THAT(runs->lists[1], ElementsAre("a", "b", "a"));
    EXPECT_EQ(stack->numberOfWaitingReschedulings(), 0u);
    EXPECT_TRUE(stack->isReschedulingInProgress());

    runs->finished[1]();
    queue->drain();
    EXPECT_THAT(completed, ElementsAre("running", "1", "2", "3"));
    EXPECT_EQ(runs->lists.size(), 2u);
    EXPECT_FALSE(stack->isReschedulingInProgress());
}

TEST_F(HabitsReschedulingStackTest,
       RequestWithoutCompletionAddsItsURIsButNothingToTheCompletionList) {
    auto stack = makeStack();
    request(stack, {"x"}, [&] { completed.push_back("running"); });
    queue->drain();

    request(stack, {"a"}, nullptr);
    request(stack, {"b"}, [&] { completed.push_back("with completion"); });
    queue->drain();
    runs->finished[0]();
    queue->drain();
    ASSERT_EQ(runs->lists.size(), 2u);
    EXPECT_THAT(runs->lists[1], ElementsAre("a", "b"));

    runs->finished[1]();
    queue->drain();
    EXPECT_THAT(completed, ElementsAre("running", "with completion"));
}

TEST_F(HabitsReschedulingStackTest, RequestWithEmptyListStillCausesARun) {
    auto stack = makeStack();
    request(stack, {}, nullptr);
    queue->drain();
    ASSERT_EQ(runs->lists.size(), 1u);
    EXPECT_THAT(runs->lists[0], IsEmpty());
}

TEST_F(HabitsReschedulingStackTest, RunThatNeverFinishesKeepsLaterRequestsWaitingForGood) {
    auto stack = makeStack();
    request(stack, {"a"}, [&] { completed.push_back("first"); });
    request(stack, {"b"}, [&] { completed.push_back("second"); });
    queue->drain();
    EXPECT_EQ(runs->lists.size(), 1u);
    EXPECT_TRUE(stack->isReschedulingInProgress());
    EXPECT_EQ(stack->numberOfWaitingReschedulings(), 1u);
    EXPECT_THAT(completed, IsEmpty());
}

TEST_F(HabitsReschedulingStackTest, StackReleasedDuringARunDoesNotCallThatRunsCompletions) {
    auto stack = makeStack();
    request(stack, {"a"}, [&] { completed.push_back("first"); });
    queue->drain();
    stack.reset();

    runs->finished[0]();
    queue->drain();
    EXPECT_THAT(completed, IsEmpty());
}

TEST_F(HabitsReschedulingStackTest,
       StackReleasedAfterFinishedWasSubmittedStillCallsTheCompletions) {
    auto stack = makeStack();
    request(stack, {"a"}, [&] { completed.push_back("first"); });
    queue->drain();
    runs->finished[0]();
    std::weak_ptr<HabitsReschedulingStack> weak = stack;
    stack.reset();
    // The owner's closures are gone; what finished submitted holds the completions itself.
    queue->drain();
    EXPECT_TRUE(weak.expired());
    EXPECT_THAT(completed, ElementsAre("first"));
}

TEST_F(HabitsReschedulingStackTest, SecondCallOfFinishedIsIgnored) {
    auto stack = makeStack();
    request(stack, {"a"}, [&] { completed.push_back("first"); });
    queue->drain();
    runs->finished[0]();
    runs->finished[0]();
    queue->drain();
    EXPECT_THAT(completed, ElementsAre("first"));
    EXPECT_FALSE(stack->isReschedulingInProgress());
}

TEST(HabitsReschedulingStackDefaultQueueTest,
     WithoutAQueueTheStackMakesASerialDispatchQueueWithItsLabel) {
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<std::string> seen;
    auto stack = HabitsReschedulingStack::create(
        nullptr, [&](std::vector<std::string> uris, std::function<void()> finished) {
            {
                std::lock_guard lock(mutex);
                seen.insert(seen.end(), uris.begin(), uris.end());
            }
            finished();
        });
    auto* queue = dynamic_cast<DispatchQueue*>(&stack->serialQueue());
    ASSERT_NE(queue, nullptr);
    EXPECT_EQ(queue->label(), "HabitsReschedulingStack's serial queue");
    EXPECT_TRUE(queue->isSerial());

    int completions = 0;
    for (const char* uri : {"a", "b", "c"}) {
        stack->serialQueue().async([&, stack, uri] {
            stack->add({uri}, [&] {
                std::lock_guard lock(mutex);
                ++completions;
                changed.notify_all();
            });
        });
    }
    std::unique_lock lock(mutex);
    ASSERT_TRUE(changed.wait_for(lock, std::chrono::seconds(5), [&] { return completions == 3; }));
    EXPECT_THAT(seen, ElementsAre("a", "b", "c"));
}

}  // namespace
}  // namespace dovrel
