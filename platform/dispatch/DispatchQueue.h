#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>

#include "platform/dispatch/SerialDispatchQueueProtocol.h"

namespace dovrel {

class DispatchGroup;

namespace dispatch_detail {
class QueueCore;
}

// The quality of service asked of a global queue. The desktop runs every class on the same pool
// of threads; the value is kept for the callers' intent.
enum class DispatchQoS {
    background,
    utility,
    default_,
    userInitiated,
    userInteractive,
    unspecified
};

// A point in monotonic time, for asyncAfter.
using DispatchTime = std::chrono::steady_clock::time_point;

// A queue of closures, in the manner of the platform's dispatch queues:
//  - a serial queue, DispatchQueue(label), runs its closures one at a time in submission order,
//    on threads of a shared pool (never two at once, not always the same thread);
//  - the main queue, DispatchQueue::main(), is the serial queue that the main run loop serves:
//    its closures run on whichever thread drives MainRunLoop (see MainRunLoop.h), and only while
//    one does;
//  - a global queue, DispatchQueue::global(), is concurrent: its closures start in submission
//    order on the shared pool and may run side by side.
// A DispatchQueue value is a handle: copies refer to the same queue, and the queue lives while
// any handle or any pending closure refers to it. Every operation is safe from any thread.
//
// sync on a serial queue waits until everything submitted before it has run, then runs the
// closure on the calling thread while the queue holds everything submitted after it; on the main
// queue the closure runs on the loop's thread instead, and the caller waits for it (so it waits
// until the loop is driven). sync on a global queue runs the closure on the calling thread at
// once. Calling
// sync on a serial queue from a closure that that queue is running would wait for itself
// forever; it stops the process with a fatal error instead. An exception thrown by a closure given
// to sync reaches the caller; one escaping a closure given to async stops the process.
class DispatchQueue : public SerialDispatchQueueProtocol {
  public:
    // A new serial queue. The label names it in diagnostics.
    explicit DispatchQueue(std::string label);

    static DispatchQueue main();
    static DispatchQueue global(DispatchQoS qos = DispatchQoS::default_);

    const std::string& label() const noexcept;
    bool isSerial() const noexcept;

    void async(std::function<void()> work) override;
    // As async, with the closure counted in `group` until it has run.
    void async(DispatchGroup& group, std::function<void()> work);

    // Runs `work` on this queue's terms (see above) and returns its result.
    template <class Work>
    std::invoke_result_t<Work&> sync(Work&& work) const {
        using Result = std::invoke_result_t<Work&>;
        if constexpr (std::is_void_v<Result>) {
            syncBlock([&work] { work(); });
        } else {
            std::optional<Result> result;
            syncBlock([&work, &result] { result.emplace(work()); });
            return std::move(*result);
        }
    }

    // Submits `work` with async once `deadline` has come (a deadline in the past submits it at
    // once), or after `delay`.
    void asyncAfter(DispatchTime deadline, std::function<void()> work);
    void asyncAfter(std::chrono::nanoseconds delay, std::function<void()> work);

    // True when both handles refer to the same queue.
    friend bool operator==(const DispatchQueue& a, const DispatchQueue& b) noexcept {
        return a.core_ == b.core_;
    }

  private:
    explicit DispatchQueue(std::shared_ptr<dispatch_detail::QueueCore> core);
    void syncBlock(const std::function<void()>& block) const;

    std::shared_ptr<dispatch_detail::QueueCore> core_;
};

}  // namespace dovrel
