#pragma once

#include <chrono>
#include <cstddef>
#include <functional>

namespace dovrel {

// The loop that serves DispatchQueue::main(). The process has one; a host drives it from the
// thread it considers its main thread, either by running it (a command-line program or a daemon)
// or, from inside another event loop (Qt), by calling runPending() whenever the wake-up handler
// says there is work. Closures submitted to the main queue run only while some thread is inside
// one of these calls.
class MainRunLoop {
  public:
    // Runs main-queue closures on the calling thread until stop() is called (from a closure or
    // from another thread). A stop() that comes while nothing runs the loop is forgotten.
    static void run();
    static void stop();

    // Runs the main-queue closures that are ready now, and any they submit meanwhile, without
    // waiting for more. Returns how many closures ran.
    static std::size_t runPending();

    // Runs main-queue closures until `predicate` returns true (checked first, after each closure
    // and every few milliseconds while idle) or `timeout` has passed. Returns the predicate's last
    // answer.
    static bool runUntil(const std::function<bool()>& predicate, std::chrono::milliseconds timeout);

    // Called, on the submitting thread, whenever the main queue gets work while it had none
    // waiting for the loop (so one wake-up may stand for several closures); the host should then
    // call runPending() soon. An empty function removes the handler. For hosts that bridge the
    // loop into their own.
    static void setWakeUpHandler(std::function<void()> handler);
};

}  // namespace dovrel
