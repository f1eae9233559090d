#pragma once

#include <functional>
#include <memory>

#include "platform/dispatch/DispatchQueue.h"

namespace dovrel {

enum class DispatchTimeoutResult { success, timedOut };

// A count of unfinished tasks: enter() adds one, leave() removes one, and when the count comes
// back to zero every waiter wakes and every pending notify closure is submitted to its queue.
// A DispatchGroup value is a handle (copies share the count). Safe to use from any thread.
class DispatchGroup {
  public:
    DispatchGroup();

    void enter();
    // Stops the process with "Unbalanced call to DispatchGroup.leave()" when nothing is entered.
    void leave();

    // Blocks until the count is zero (at once when it already is).
    void wait() const;
    // As wait(), giving up at `deadline`.
    DispatchTimeoutResult wait(DispatchTime deadline) const;

    // Submits `work` to `queue` once the count is zero: at once when it already is, otherwise when
    // the last leave() comes. Each notify runs once.
    void notify(DispatchQueue queue, std::function<void()> work);

  private:
    struct State;
    std::shared_ptr<State> state_;
};

}  // namespace dovrel
