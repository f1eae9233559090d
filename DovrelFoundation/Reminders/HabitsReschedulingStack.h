#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/dispatch/SerialDispatchQueueProtocol.h"

namespace dovrel {

// Runs full reschedulings of reminders one at a time and merges the requests that arrive while
// one is running into a single next run. It knows nothing of habits or notifications: the work
// is the `onExecute` closure given at creation.
//
// A request is a list of habit URI representations and an optional completion. Adding one while
// idle starts a run at once; requests added during a run wait, and when the run has finished
// they are merged (their lists concatenated oldest first, duplicates kept; their completions
// collected oldest first) into exactly one further run. Every completion is called once, on the
// serial queue, after the run that covered its request.
//
// Threads: every piece of state lives on serialQueue(), which is the only lock. add() must be
// called on that queue (submit it there with serialQueue().async). `onExecute` is called on the
// queue and may return at once; the `finished` closure it receives may be called from any thread
// and must be called once (later calls are ignored). If it is never called, the stack stays
// running for good and later requests never run: there is no time-out.
//
// Ownership: the stack is owned by a std::shared_ptr (create()). `finished` holds it weakly: when
// the stack is gone by the time a run finishes, that run's completions are not called.
class HabitsReschedulingStack : public std::enable_shared_from_this<HabitsReschedulingStack> {
  public:
    // The label of the serial queue that the stack makes when it is given none.
    static constexpr const char* kSerialQueueLabel = "HabitsReschedulingStack's serial queue";

    using Completion = std::function<void()>;
    // The work: the merged URI list and the closure to call once the work has finished.
    using OnExecute =
        std::function<void(std::vector<std::string> habitURIRepresentations, Completion finished)>;

    // A new idle stack over `serialQueue`, or over a new serial DispatchQueue labelled
    // kSerialQueueLabel when `serialQueue` is null. `onExecute` must not be empty.
    static std::shared_ptr<HabitsReschedulingStack> create(
        std::shared_ptr<SerialDispatchQueueProtocol> serialQueue, OnExecute onExecute);

    HabitsReschedulingStack(const HabitsReschedulingStack&) = delete;
    HabitsReschedulingStack& operator=(const HabitsReschedulingStack&) = delete;

    // The queue that guards the stack; owners submit add() on it.
    SerialDispatchQueueProtocol& serialQueue() const noexcept { return *serialQueue_; }
    const std::shared_ptr<SerialDispatchQueueProtocol>& sharedSerialQueue() const noexcept {
        return serialQueue_;
    }

    // On serialQueue() only: records the request and starts a run when none is in progress.
    void add(std::vector<std::string> habitURIRepresentations, Completion completion);

    // On serialQueue() only: whether a run has started and its completions have not been
    // called yet, and how many requests wait for the next run.
    bool isReschedulingInProgress() const noexcept { return isReschedulingInProgress_; }
    std::size_t numberOfWaitingReschedulings() const noexcept { return reschedulings_.size(); }

  private:
    struct Rescheduling {
        std::vector<std::string> habitURIRepresentations;
        Completion completion;
    };

    HabitsReschedulingStack(std::shared_ptr<SerialDispatchQueueProtocol> serialQueue,
                            OnExecute onExecute);

    // Starts a run with every waiting request (on the queue).
    void execute();

    const OnExecute onExecute_;
    std::vector<Rescheduling> reschedulings_;
    const std::shared_ptr<SerialDispatchQueueProtocol> serialQueue_;
    bool isReschedulingInProgress_ = false;
};

}  // namespace dovrel
