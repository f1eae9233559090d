#pragma once

#include <functional>
#include <memory>
#include <string>

#include "platform/dispatch/DispatchQueue.h"

namespace dovrel::store {

// The queue a context's work runs on, and the answer to "may the calling thread use the context
// now?". A main-queue context uses DispatchQueue::main() and may be used on the main thread (the
// process's first thread) or in any closure of the main queue; a private-queue context has a
// serial DispatchQueue of its own and may be used only inside closures it runs.
class ContextQueue : public std::enable_shared_from_this<ContextQueue> {
  public:
    static std::shared_ptr<ContextQueue> main();
    static std::shared_ptr<ContextQueue> makeSerial(std::string label);

    // Runs `work` later, on the queue.
    void async(std::function<void()> work);
    // Runs `work` on the queue and waits for it; runs it at once when the caller is already
    // allowed on the queue (so a context's performAndWait may nest). Exceptions reach the caller.
    void sync(const std::function<void()>& work);
    // Whether the calling thread may use the context now.
    bool isCurrent() const;

  private:
    ContextQueue(DispatchQueue queue, bool isMain);

    DispatchQueue queue_;
    bool isMain_;
};

}  // namespace dovrel::store
