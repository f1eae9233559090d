#pragma once

// Helpers for the tests of the shared store stack: captured console lines, a private session
// bus for widget reloads, store files made by the committed scripts, and file contents.

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/types.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <mutex>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "platform/foundation/Logging.h"
#include "platform/widgets/WidgetReloadListener.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/RunProgram.h"
#include "tests/support/ScopedEnvironment.h"

namespace dovrel::testing {

// A D-Bus session bus of our own (dbus-daemon, started for the object's lifetime), made the
// session bus of this process through DBUS_SESSION_BUS_ADDRESS, with a listener that records
// the widget reload signals sent on it.
class PrivateSessionBus {
  public:
    PrivateSessionBus() {
        FILE* output = ::popen("dbus-daemon --session --fork --print-address=1 --print-pid=1", "r");
        if (output == nullptr) {
            ADD_FAILURE() << "dbus-daemon could not be started";
            return;
        }
        char buffer[512];
        std::string address;
        std::string pid;
        if (std::fgets(buffer, sizeof buffer, output) != nullptr) {
            address = buffer;
        }
        if (std::fgets(buffer, sizeof buffer, output) != nullptr) {
            pid = buffer;
        }
        ::pclose(output);
        while (!address.empty() && (address.back() == '\n' || address.back() == '\r')) {
            address.pop_back();
        }
        if (address.empty() || pid.empty()) {
            ADD_FAILURE() << "dbus-daemon did not report its address (run scripts/install-deps)";
            return;
        }
        pid_ = static_cast<pid_t>(std::stol(pid));
        address_.emplace("DBUS_SESSION_BUS_ADDRESS", address);
        listener_ = std::make_unique<widgets::WidgetReloadListener>(
            [this](const widgets::TimelineReloadRequest& request) {
                std::lock_guard lock(mutex_);
                requests_.push_back(request);
                changed_.notify_all();
            });
    }

    ~PrivateSessionBus() {
        listener_.reset();
        if (pid_ > 0) {
            ::kill(pid_, SIGTERM);
        }
    }

    PrivateSessionBus(const PrivateSessionBus&) = delete;
    PrivateSessionBus& operator=(const PrivateSessionBus&) = delete;

    // Waits up to five seconds for `count` requests, then returns what arrived.
    std::vector<widgets::TimelineReloadRequest> waitForRequests(std::size_t count) {
        std::unique_lock lock(mutex_);
        changed_.wait_for(lock, std::chrono::seconds(5), [&] { return requests_.size() >= count; });
        return requests_;
    }

    // What arrived so far.
    std::vector<widgets::TimelineReloadRequest> requests() {
        std::lock_guard lock(mutex_);
        return requests_;
    }

  private:
    pid_t pid_ = -1;
    std::optional<ScopedEnvironment> address_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<widgets::TimelineReloadRequest> requests_;
    std::unique_ptr<widgets::WidgetReloadListener> listener_;
};

// The whole content of a file, or nothing when it cannot be read.
inline std::optional<std::string> fileContents(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        return std::nullopt;
    }
    return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

// The sqlite3 program found on PATH (scripts/install-deps installs it), or "sqlite3".
inline std::string sqlite3Program() {
    const char* path = std::getenv("PATH");
    std::istringstream directories(path != nullptr ? path : "/usr/bin:/bin");
    for (std::string directory; std::getline(directories, directory, ':');) {
        const std::filesystem::path candidate = std::filesystem::path(directory) / "sqlite3";
        if (!directory.empty() && ::access(candidate.c_str(), X_OK) == 0) {
            return candidate.string();
        }
    }
    return "sqlite3";
}

// Runs one SQL statement on the store file at `path` with the sqlite3 program.
inline void runStoreStatement(const std::filesystem::path& path, const std::string& sql) {
    auto result = runProgram({sqlite3Program(), "-bail", path.string(), sql});
    ASSERT_EQ(result.exitStatus, 0) << sql << ": " << result.standardError;
}

// Runs the committed SQL scripts of tests/data/migration, in order, on the file at `path`
// (created when missing) with the sqlite3 program.
inline void runStoreScripts(const std::filesystem::path& path,
                            const std::vector<std::string>& scripts) {
    for (const auto& script : scripts) {
        const std::filesystem::path file =
            std::filesystem::path(DOVREL_TEST_DATA_DIR) / "migration" / script;
        auto result =
            runProgram({sqlite3Program(), "-bail", path.string(), ".read " + file.string()});
        ASSERT_EQ(result.exitStatus, 0) << script << ": " << result.standardError;
        ASSERT_EQ(result.standardError, "") << script;
    }
}

}  // namespace dovrel::testing
