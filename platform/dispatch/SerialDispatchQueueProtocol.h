#pragma once

#include <functional>

namespace dovrel {

// Anything that runs closures one at a time, in the order they were submitted, on some thread of
// its choosing. A serial DispatchQueue is one; tests substitute queues that run inline or record.
class SerialDispatchQueueProtocol {
  public:
    virtual ~SerialDispatchQueueProtocol() = default;

    // Schedules `work` after everything submitted before it and returns at once.
    virtual void async(std::function<void()> work) = 0;
};

}  // namespace dovrel
