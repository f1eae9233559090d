#include "platform/dispatch/DispatchRuntime.h"

#include <algorithm>
#include <memory>
#include <mutex>
#include <thread>

namespace dovrel::dispatch_detail {

asio::thread_pool& threadPool() {
    // Serial queues hand a closure given to sync over to the calling thread, so pool threads
    // block only when closures themselves block; a few more threads than cores keeps a blocked
    // closure from starving the rest on small machines.
    static asio::thread_pool pool(std::max(4u, std::thread::hardware_concurrency()));
    return pool;
}

asio::io_context& mainContext() {
    // The work guard keeps run() waiting for closures instead of returning when idle.
    static asio::io_context context(1);
    static auto guard = asio::make_work_guard(context);
    return context;
}

namespace {

std::mutex& handlerMutex() {
    static std::mutex mutex;
    return mutex;
}

std::function<void()>& wakeUpHandler() {
    static std::function<void()> handler;
    return handler;
}

}  // namespace

void wakeUpMainLoop() {
    std::function<void()> handler;
    {
        std::lock_guard lock(handlerMutex());
        handler = wakeUpHandler();
    }
    if (handler) {
        handler();
    }
}

void setMainWakeUpHandler(std::function<void()> handler) {
    std::lock_guard lock(handlerMutex());
    wakeUpHandler() = std::move(handler);
}

std::atomic<std::size_t>& mainClosuresRun() {
    static std::atomic<std::size_t> count{0};
    return count;
}

}  // namespace dovrel::dispatch_detail
