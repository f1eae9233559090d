#include "platform/foundation/SQLiteBusyWait.h"

#include <sqlite3.h>

#include <algorithm>
#include <random>
#include <thread>

namespace dovrel {

bool isSQLiteBusy(int code) noexcept {
    const int primary = code & 0xFF;
    return primary == SQLITE_BUSY || primary == SQLITE_LOCKED;
}

int retryWhileSQLiteBusy(std::chrono::milliseconds timeout, const std::function<int()>& attempt) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    // Jitter, so that two processes that collided do not collide again in step.
    thread_local std::minstd_rand random(std::random_device{}());
    std::chrono::microseconds pause(1000);
    for (;;) {
        const int code = attempt();
        if (!isSQLiteBusy(code) || std::chrono::steady_clock::now() >= deadline) {
            return code;
        }
        const auto jitter = std::chrono::microseconds(random() % (pause.count() / 2 + 1));
        std::this_thread::sleep_for(pause + jitter);
        pause = std::min<std::chrono::microseconds>(pause * 2, std::chrono::milliseconds(32));
    }
}

}  // namespace dovrel
