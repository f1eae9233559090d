#include "DovrelFoundation/Reminders/HabitsReschedulingStack.h"

#include <atomic>

#include "platform/dispatch/DispatchQueue.h"
#include "platform/foundation/FatalError.h"

namespace dovrel {

std::shared_ptr<HabitsReschedulingStack> HabitsReschedulingStack::create(
    std::shared_ptr<SerialDispatchQueueProtocol> serialQueue, OnExecute onExecute) {
    if (!serialQueue) {
        serialQueue = std::make_shared<DispatchQueue>(kSerialQueueLabel);
    }
    return std::shared_ptr<HabitsReschedulingStack>(
        new HabitsReschedulingStack(std::move(serialQueue), std::move(onExecute)));
}

HabitsReschedulingStack::HabitsReschedulingStack(
    std::shared_ptr<SerialDispatchQueueProtocol> serialQueue, OnExecute onExecute)
    : onExecute_(std::move(onExecute)), serialQueue_(std::move(serialQueue)) {
    if (!onExecute_) {
        fatalError("HabitsReschedulingStack needs work to execute");
    }
}

void HabitsReschedulingStack::add(std::vector<std::string> habitURIRepresentations,
                                  Completion completion) {
    reschedulings_.push_back(
        Rescheduling{std::move(habitURIRepresentations), std::move(completion)});
    if (!isReschedulingInProgress_) {
        execute();
    }
}

void HabitsReschedulingStack::execute() {
    isReschedulingInProgress_ = true;

    std::vector<std::string> mergedURIs;
    std::vector<Completion> completions;
    for (auto& rescheduling : reschedulings_) {
        mergedURIs.insert(mergedURIs.end(),
                          std::make_move_iterator(rescheduling.habitURIRepresentations.begin()),
                          std::make_move_iterator(rescheduling.habitURIRepresentations.end()));
        if (rescheduling.completion) {
            completions.push_back(std::move(rescheduling.completion));
        }
    }
    reschedulings_.clear();

    // Shared by the copies of `finished`, so that only its first call counts.
    auto alreadyFinished = std::make_shared<std::atomic<bool>>(false);
    std::weak_ptr<HabitsReschedulingStack> weakStack = weak_from_this();
    Completion finished = [weakStack, alreadyFinished,
                           completions = std::move(completions)]() mutable {
        auto stack = weakStack.lock();
        if (!stack || alreadyFinished->exchange(true)) {
            return;
        }
        stack->serialQueue_->async([weakStack, completions = std::move(completions)] {
            for (const auto& completion : completions) {
                completion();
            }
            auto stack = weakStack.lock();
            if (!stack) {
                return;
            }
            stack->isReschedulingInProgress_ = false;
            if (!stack->reschedulings_.empty()) {
                stack->execute();
            }
        });
    };
    onExecute_(std::move(mergedURIs), std::move(finished));
}

}  // namespace dovrel
