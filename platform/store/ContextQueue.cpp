#include "platform/store/ContextQueue.h"

#include <sys/syscall.h>
#include <unistd.h>

namespace dovrel::store {

namespace {

// The queue whose closure the calling thread is running, if any.
thread_local const ContextQueue* tCurrentQueue = nullptr;

bool isMainThread() {
    return static_cast<pid_t>(::syscall(SYS_gettid)) == ::getpid();
}

class CurrentQueueScope {
  public:
    explicit CurrentQueueScope(const ContextQueue* queue) : previous_(tCurrentQueue) {
        tCurrentQueue = queue;
    }
    ~CurrentQueueScope() { tCurrentQueue = previous_; }
    CurrentQueueScope(const CurrentQueueScope&) = delete;
    CurrentQueueScope& operator=(const CurrentQueueScope&) = delete;

  private:
    const ContextQueue* previous_;
};

}  // namespace

ContextQueue::ContextQueue(DispatchQueue queue, bool isMain)
    : queue_(std::move(queue)), isMain_(isMain) {}

std::shared_ptr<ContextQueue> ContextQueue::main() {
    static const std::shared_ptr<ContextQueue> queue(new ContextQueue(DispatchQueue::main(), true));
    return queue;
}

std::shared_ptr<ContextQueue> ContextQueue::makeSerial(std::string label) {
    return std::shared_ptr<ContextQueue>(new ContextQueue(DispatchQueue(std::move(label)), false));
}

void ContextQueue::async(std::function<void()> work) {
    queue_.async([self = shared_from_this(), work = std::move(work)] {
        CurrentQueueScope scope(self.get());
        work();
    });
}

void ContextQueue::sync(const std::function<void()>& work) {
    if (isCurrent()) {
        work();
        return;
    }
    queue_.sync([&] {
        CurrentQueueScope scope(this);
        work();
    });
}

bool ContextQueue::isCurrent() const {
    if (tCurrentQueue == this) {
        return true;
    }
    return isMain_ && isMainThread();
}

}  // namespace dovrel::store
