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
    // Never destroyed: at exit the pool's threads may still run closures (a store's check for
    // other processes' commits, say) that post to the main context; both outlive every static
    // object instead of being torn down under those threads.
    static auto* pool = new asio::thread_pool(std::max(4u, std::thread::hardware_concurrency()));
    return *pool;
}

asio::io_context& mainContext() {
    // The work guard keeps run() waiting for closures instead of returning when idle.
    // Never destroyed, for the same reason as the pool.
    static auto* context = new asio::io_context(1);
    static auto* guard = new auto(asio::make_work_guard(*context));
    (void)guard;
    return *context;
}

namespace {

std::mutex& handlerMutex() {
    static auto* mutex = new std::mutex();
    return *mutex;
}

std::function<void()>& wakeUpHandler() {
    static auto* handler = new std::function<void()>();
    return *handler;
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
