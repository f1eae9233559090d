// bench_notifyd: how late the reminder daemon shows a reminder, and whether it sleeps between
// reminders.
//
// The program runs the built dovrel-notifyd in a private D-Bus session (it starts itself again
// under dbus-run-session, with temporary home folders) and plays the notification server itself,
// so that it timestamps every Notify call the moment it arrives.
//
// Figures:
//   - delay from a reminder's trigger date to its Notify call, median and 95th percentile over
//     100 reminders due 40 ms apart (aim: median under 50 ms);
//   - wake-ups of the daemon's threads (voluntary and involuntary context switches of every
//     thread, read from /proc) over 60 seconds with 32 reminders pending hours ahead (aim: 0),
//     and the CPU time the daemon used in that window (for comparison). The daemon has no
//     periodic timer at all, so any polling with a period up to a minute shows up here.
//
// Three repetitions, each with a daemon of its own (about a minute and a quarter each); the
// verdicts are those of the medians.

#include <benchmark/benchmark.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <sdbus-c++/sdbus-c++.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "bench/support/Figures.h"
#include "platform/foundation/Clock.h"
#include "platform/notifications/UserNotificationCenter.h"

extern char** environ;

namespace {

using dovrel::Clock;
using dovrel::Date;
namespace notifications = dovrel::notifications;

constexpr const char* kGroup = "group.app.dovrel.Dovrel";
constexpr int kReminders = 100;
constexpr double kSpacing = 0.04;
constexpr int kIdleReminders = 32;
constexpr auto kIdleWindow = std::chrono::seconds(60);
constexpr int kRepetitions = 3;

// The notification server: records when each summary was asked to be shown.
class RecordingServer {
  public:
    RecordingServer()
        : connection_(sdbus::createSessionBusConnection("org.freedesktop.Notifications")) {
        object_ = sdbus::createObject(*connection_, "/org/freedesktop/Notifications");
        const char* interface = "org.freedesktop.Notifications";
        object_->registerMethod("Notify").onInterface(interface).implementedAs(
            [this](const std::string&, std::uint32_t, const std::string&,
                   const std::string& summary, const std::string&, const std::vector<std::string>&,
                   const std::map<std::string, sdbus::Variant>&, std::int32_t) {
                const Date now = Clock::now();
                std::lock_guard lock(mutex_);
                shown_[summary] = now;
                return ++lastId_;
            });
        object_->registerMethod("CloseNotification")
            .onInterface(interface)
            .implementedAs([](std::uint32_t) {});
        object_->registerMethod("GetCapabilities").onInterface(interface).implementedAs([] {
            return std::vector<std::string>{"actions", "body"};
        });
        object_->registerMethod("GetServerInformation").onInterface(interface).implementedAs([] {
            return std::make_tuple(std::string("bench"), std::string("dovrel"), std::string("1"),
                                   std::string("1.2"));
        });
        object_->registerSignal("ActionInvoked")
            .onInterface(interface)
            .withParameters<std::uint32_t, std::string>();
        object_->registerSignal("NotificationClosed")
            .onInterface(interface)
            .withParameters<std::uint32_t, std::uint32_t>();
        object_->finishRegistration();
        connection_->enterEventLoopAsync();
    }
    ~RecordingServer() { connection_->leaveEventLoop(); }

    std::map<std::string, Date> shown() {
        std::lock_guard lock(mutex_);
        return shown_;
    }

  private:
    std::unique_ptr<sdbus::IConnection> connection_;
    std::unique_ptr<sdbus::IObject> object_;
    std::mutex mutex_;
    std::map<std::string, Date> shown_;
    std::uint32_t lastId_ = 0;
};

// The daemon as a child process, stopped with SIGTERM at the end.
class Daemon {
  public:
    Daemon() {
        char* arguments[] = {const_cast<char*>(DOVREL_NOTIFYD_PATH), nullptr};
        if (posix_spawn(&pid_, DOVREL_NOTIFYD_PATH, nullptr, nullptr, arguments, environ) != 0) {
            std::fprintf(stderr, "bench_notifyd: cannot start %s\n", DOVREL_NOTIFYD_PATH);
            std::exit(1);
        }
    }
    ~Daemon() {
        ::kill(pid_, SIGTERM);
        int status = 0;
        ::waitpid(pid_, &status, 0);
    }
    pid_t pid() const { return pid_; }

  private:
    pid_t pid_ = -1;
};

bool hasOwner(sdbus::IProxy& busDriver, const std::string& name) {
    bool has = false;
    busDriver.callMethod("NameHasOwner")
        .onInterface("org.freedesktop.DBus")
        .withArguments(name)
        .storeResultsTo(has);
    return has;
}

template <typename Condition>
bool waitFor(Condition condition, std::chrono::seconds timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return true;
}

// User and system CPU time of the whole process so far, in milliseconds (/proc/PID/stat).
double cpuMilliseconds(pid_t pid) {
    std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
    std::string text((std::istreambuf_iterator<char>(stat)), std::istreambuf_iterator<char>());
    // The fields after the command name (which may hold spaces) in parentheses; utime and stime
    // are the 14th and 15th fields of the line, the 12th and 13th after the name.
    std::istringstream fields(text.substr(text.rfind(')') + 2));
    std::string field;
    double ticks = 0;
    for (int index = 0; index < 13 && fields >> field; ++index) {
        if (index >= 11) {
            ticks += std::stod(field);
        }
    }
    return ticks * 1000.0 / static_cast<double>(::sysconf(_SC_CLK_TCK));
}

// Context switches of every thread of the process, each one a wake-up from a wait.
long contextSwitches(pid_t pid) {
    long total = 0;
    for (const auto& task :
         std::filesystem::directory_iterator("/proc/" + std::to_string(pid) + "/task")) {
        std::ifstream status(task.path() / "status");
        for (std::string line; std::getline(status, line);) {
            if (line.starts_with("voluntary_ctxt_switches:") ||
                line.starts_with("nonvoluntary_ctxt_switches:")) {
                total += std::stol(line.substr(line.find(':') + 1));
            }
        }
    }
    return total;
}

notifications::NotificationRequest reminder(int index, double after) {
    notifications::NotificationContent content;
    content.title = "Reminder " + std::to_string(index);
    content.body = "Did you do it today?";
    content.sound = notifications::NotificationSound::defaultSound();
    content.categoryIdentifier = "HabitReminder.NotificationCategoryIdentifier";
    return notifications::NotificationRequest{
        "BENCH-" + std::to_string(index), content,
        notifications::TimeIntervalNotificationTrigger(after, false)};
}

void BM_Notifyd(benchmark::State& state) {
    auto& figures = dovrel::bench::Figures::shared();
    for (auto _ : state) {
        RecordingServer server;
        auto bus = sdbus::createSessionBusConnection();
        auto busDriver = sdbus::createProxy(*bus, "org.freedesktop.DBus", "/org/freedesktop/DBus");
        Daemon daemon;
        if (!waitFor([&] { return hasOwner(*busDriver, "org.dovrel.Notifyd"); },
                     std::chrono::seconds(30))) {
            state.SkipWithError("the daemon did not start");
            return;
        }
        auto center = notifications::UserNotificationCenter::forApplicationGroup(kGroup);

        // Delay: 100 reminders due 40 ms apart, from one second on.
        std::vector<notifications::NotificationRequest> requests;
        for (int index = 0; index < kReminders; ++index) {
            requests.push_back(reminder(index, 1.0 + index * kSpacing));
        }
        center->replacePendingRequests([](const auto&) { return true; }, requests);
        std::map<std::string, Date> due;
        for (const auto& pending : center->pendingRequests()) {
            due[pending.request.content.title] = *pending.triggerDate;
        }
        if (!waitFor([&] { return server.shown().size() == kReminders; },
                     std::chrono::seconds(60))) {
            state.SkipWithError("not every reminder was shown");
            return;
        }
        std::vector<double> delays;
        for (const auto& [title, date] : server.shown()) {
            delays.push_back(date.timeIntervalSince(due.at(title)) * 1000);
        }
        std::sort(delays.begin(), delays.end());
        figures.record("delay from trigger date to Notify, median",
                       dovrel::bench::Figures::median(delays), "ms", 50.0);
        figures.record("delay from trigger date to Notify, 95th percentile",
                       delays[static_cast<std::size_t>(0.95 * (delays.size() - 1))], "ms",
                       dovrel::bench::kNoAim);

        // Idle: 32 reminders hours ahead; the daemon plans once and then has nothing to do.
        requests.clear();
        for (int index = 0; index < kIdleReminders; ++index) {
            requests.push_back(reminder(1000 + index, 3600.0 + index * 600));
        }
        center->replacePendingRequests([](const auto&) { return true; }, requests);
        // Settled: no wake-up for two seconds after the change.
        long before = contextSwitches(daemon.pid());
        for (int quiet = 0; quiet < 2;) {
            std::this_thread::sleep_for(std::chrono::seconds(1));
            const long now = contextSwitches(daemon.pid());
            quiet = now == before ? quiet + 1 : 0;
            before = now;
        }
        const double cpuBefore = cpuMilliseconds(daemon.pid());
        std::this_thread::sleep_for(kIdleWindow);
        figures.record("wake-ups in 60 s with 32 reminders pending",
                       static_cast<double>(contextSwitches(daemon.pid()) - before), "wake-ups",
                       0.0);
        figures.record("CPU time in 60 s with 32 reminders pending",
                       cpuMilliseconds(daemon.pid()) - cpuBefore, "ms", dovrel::bench::kNoAim);
    }
}
BENCHMARK(BM_Notifyd)->Unit(benchmark::kSecond)->Iterations(1);

}  // namespace

int main(int argc, char** argv) {
    // A private session: the desktop's own notification server and daemon are never touched.
    if (std::getenv("DOVREL_BENCH_NOTIFYD_SESSION") == nullptr) {
        char folder[] = "/tmp/dovrel-bench-notifyd-XXXXXX";
        if (::mkdtemp(folder) == nullptr) {
            std::perror("mkdtemp");
            return 1;
        }
        for (const char* sub : {"home", "data", "runtime"}) {
            std::filesystem::create_directory(std::string(folder) + "/" + sub);
        }
        ::setenv("HOME", (std::string(folder) + "/home").c_str(), 1);
        ::setenv("XDG_DATA_HOME", (std::string(folder) + "/data").c_str(), 1);
        ::setenv("XDG_RUNTIME_DIR", (std::string(folder) + "/runtime").c_str(), 1);
        ::setenv("DOVREL_BENCH_NOTIFYD_SESSION", "1", 1);
        ::unsetenv("DBUS_SESSION_BUS_ADDRESS");
        std::vector<char*> arguments{const_cast<char*>("dbus-run-session"),
                                     const_cast<char*>("--")};
        arguments.insert(arguments.end(), argv, argv + argc);
        arguments.push_back(nullptr);
        pid_t child = -1;
        if (posix_spawnp(&child, "dbus-run-session", nullptr, nullptr, arguments.data(), environ) !=
            0) {
            std::fprintf(stderr,
                         "bench_notifyd: dbus-run-session is missing (scripts/install-deps)\n");
            return 1;
        }
        int status = 0;
        ::waitpid(child, &status, 0);
        std::filesystem::remove_all(folder);
        return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
    }
    return dovrel::bench::runBenchmarks(argc, argv, kRepetitions);
}
