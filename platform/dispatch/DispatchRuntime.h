#pragma once

// Internal to platform/dispatch: the execution contexts behind the queues.

#include <asio/io_context.hpp>
#include <asio/thread_pool.hpp>

#include <atomic>
#include <cstddef>
#include <functional>

namespace dovrel::dispatch_detail {

// The pool that runs serial queues' closures, global queues' closures and every timer.
asio::thread_pool& threadPool();

// The context that MainRunLoop runs; main-queue drains are posted to it.
asio::io_context& mainContext();

// Calls the host's wake-up handler, if one is set.
void wakeUpMainLoop();
void setMainWakeUpHandler(std::function<void()> handler);

// Counts closures run by the main queue (for MainRunLoop::runPending's answer).
std::atomic<std::size_t>& mainClosuresRun();

}  // namespace dovrel::dispatch_detail
