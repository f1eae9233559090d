#include "platform/dispatch/DispatchGroup.h"

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <utility>
#include <vector>

#include "platform/foundation/FatalError.h"

namespace dovrel {

struct DispatchGroup::State {
    std::mutex mutex;
    std::condition_variable emptied;
    std::int64_t count = 0;
    std::vector<std::pair<DispatchQueue, std::function<void()>>> notifications;
};

DispatchGroup::DispatchGroup() : state_(std::make_shared<State>()) {}

void DispatchGroup::enter() {
    std::lock_guard lock(state_->mutex);
    ++state_->count;
}

void DispatchGroup::leave() {
    std::vector<std::pair<DispatchQueue, std::function<void()>>> due;
    {
        std::lock_guard lock(state_->mutex);
        if (state_->count == 0) {
            fatalError("Unbalanced call to DispatchGroup.leave()");
        }
        if (--state_->count > 0) {
            return;
        }
        due.swap(state_->notifications);
        state_->emptied.notify_all();
    }
    // Submitted outside the lock: a queue may run the closure before async returns.
    for (auto& [queue, work] : due) {
        queue.async(std::move(work));
    }
}

void DispatchGroup::wait() const {
    std::unique_lock lock(state_->mutex);
    state_->emptied.wait(lock, [this] { return state_->count == 0; });
}

DispatchTimeoutResult DispatchGroup::wait(DispatchTime deadline) const {
    std::unique_lock lock(state_->mutex);
    const bool emptied =
        state_->emptied.wait_until(lock, deadline, [this] { return state_->count == 0; });
    return emptied ? DispatchTimeoutResult::success : DispatchTimeoutResult::timedOut;
}

void DispatchGroup::notify(DispatchQueue queue, std::function<void()> work) {
    {
        std::lock_guard lock(state_->mutex);
        if (state_->count > 0) {
            state_->notifications.emplace_back(std::move(queue), std::move(work));
            return;
        }
    }
    queue.async(std::move(work));
}

}  // namespace dovrel
