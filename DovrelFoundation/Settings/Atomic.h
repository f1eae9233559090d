#pragma once

#include <type_traits>
#include <utility>

#include "platform/dispatch/DispatchQueue.h"

namespace dovrel {

// A box holding one value that several threads may share: every read and every change runs, one
// at a time, on a serial queue that belongs to this box alone ("Atomic serial queue"). Both
// operations block the caller until their work has run, so a change is visible to the next read
// the moment mutate() returns. Boxes do not share queues: a long change in one box never delays
// another box.
//
// Calling value() or mutate() from inside a transform of the same box would wait for itself; it
// is a programming error that stops the process. A transform must not keep a reference to the
// held value beyond the call.
//
// A box is not copyable or movable: share it by reference or through a pointer.
template <typename T>
class Atomic {
  public:
    explicit Atomic(T value) : queue_("Atomic serial queue"), value_(std::move(value)) {}

    Atomic(const Atomic&) = delete;
    Atomic& operator=(const Atomic&) = delete;

    // A copy of the held value.
    T value() const {
        return queue_.sync([this]() -> T { return value_; });
    }

    // Calls `transform` with the held value for in-place change (it receives a T&) and returns
    // after it has run.
    template <typename Transform>
    requires std::is_invocable_v<Transform&, T&>
    void mutate(Transform&& transform) {
        queue_.sync([this, &transform] { transform(value_); });
    }

  private:
    DispatchQueue queue_;
    T value_;  // touched only from closures running on queue_
};

}  // namespace dovrel
