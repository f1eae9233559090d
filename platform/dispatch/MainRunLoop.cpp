#include "platform/dispatch/MainRunLoop.h"

#include <algorithm>
#include <utility>

#include "platform/dispatch/DispatchRuntime.h"

namespace dovrel {

using dispatch_detail::mainClosuresRun;
using dispatch_detail::mainContext;

void MainRunLoop::run() {
    // A previous stop() leaves the context stopped; start afresh.
    mainContext().restart();
    mainContext().run();
}

void MainRunLoop::stop() {
    mainContext().stop();
}

std::size_t MainRunLoop::runPending() {
    const std::size_t before = mainClosuresRun().load();
    mainContext().restart();
    mainContext().poll();
    return mainClosuresRun().load() - before;
}

bool MainRunLoop::runUntil(const std::function<bool()>& predicate,
                           std::chrono::milliseconds timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    mainContext().restart();
    while (!predicate()) {
        if (std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
        // Short slices, so that a predicate made true by another thread is seen soon.
        mainContext().run_one_until(
            std::min(deadline, std::chrono::steady_clock::now() + std::chrono::milliseconds(5)));
        if (mainContext().stopped()) {
            mainContext().restart();
        }
    }
    return true;
}

void MainRunLoop::setWakeUpHandler(std::function<void()> handler) {
    dispatch_detail::setMainWakeUpHandler(std::move(handler));
}

}  // namespace dovrel
