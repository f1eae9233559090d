#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

#include "apps/dovrel-notifyd/DeliveryJournal.h"
#include "apps/dovrel-notifyd/FileWatch.h"
#include "apps/dovrel-notifyd/TriggerTimer.h"
#include "platform/foundation/FileDescriptor.h"
#include "platform/notifications/NotificationRequest.h"

namespace sdbus {
class IConnection;
}  // namespace sdbus

namespace dovrel {
class ScopedTimeZone;
}

namespace dovrel::cli {
class Application;
}

namespace dovrel::notifyd {

class NotificationServer;

// Why the daemon could not start, with the exit status the program ends with.
class StartError : public std::runtime_error {
  public:
    StartError(const std::string& message, int exitStatus)
        : std::runtime_error(message), exitStatus_(exitStatus) {}
    int exitStatus() const noexcept { return exitStatus_; }

  private:
    int exitStatus_;
};

// The reminder daemon: shows every reminder of the notification center when it is due, as a
// desktop notification, and brings the user's answers back to the notification service.
//
// Construction connects to the session bus (none: StartError, status 1), takes the well-known
// name kBusName (another daemon has it: StartError, status 0, nothing else was opened), then
// builds the application's stack (store, settings, tracker, notification center, scheduler and
// the notification service as the center's delegate, with the reminder category registered) and
// the system-bus subscriptions when there is a system bus (none is not an error).
//
// run() is the daemon's one thread of work: it polls the trigger timer, the file watches, the
// session and system bus connections, the signal descriptor and the main queue's wake-ups, and
// drives the main queue (MainRunLoop) there, so every handler and every main-queue closure runs
// on the thread that called run(). It plans again, without polling:
//   - when the earliest trigger date comes (the timer fires);
//   - when the clock is set (the timer reports ECANCELED) or the machine resumes (logind's
//     PrepareForSleep(false)), catching up on missed reminders;
//   - when the center's file changes (another process added, removed or rescheduled);
//   - when the zone changes (the zone file's folder watched; timedate1's PropertiesChanged);
//   - when a notification server appears (NameOwnerChanged), catching up as well.
// A server that the bus can start is started when something is due; when it fails to start, the
// reminders stay pending and the daemon tries again a minute later.
// run() returns 0 when SIGTERM or SIGINT arrives (the caller must have blocked them in every
// thread, see blockTerminationSignals()), and 1 when the session bus goes away.
//
// Not thread-safe: construct, run and destroy on one thread.
class Daemon {
  public:
    static constexpr const char* kBusName = "org.dovrel.Notifyd";
    // Environment variable naming the zone file to watch instead of /etc/localtime. When set,
    // the zone is the one its symbolic link names (".../zoneinfo/<zone>"), as timedatectl makes
    // it; for tests that change the zone of a running daemon.
    static constexpr const char* kZoneFileVariable = "DOVREL_NOTIFYD_ZONE_FILE";

    struct Options {
        std::optional<std::filesystem::path> storePath;
        bool debug = false;
    };

    explicit Daemon(const Options& options);
    ~Daemon();
    Daemon(const Daemon&) = delete;
    Daemon& operator=(const Daemon&) = delete;

    int run();

    // Blocks SIGTERM and SIGINT in the calling thread, so that threads started afterwards
    // inherit the mask and run() receives them through a signalfd. Call first thing in main().
    static void blockTerminationSignals();

  private:
    enum class Plan { none, replan, catchUp };

    void requestPlan(Plan plan);
    void plan();
    // Whether anything is to be shown now: a due request, or one taken on and not shown yet.
    bool hasDueReminders();
    void dropOlderMissedReminders();
    void deliverDueReminders();
    void showJournaledReminders();
    bool show(const notifications::Notification& notification);
    void updateBadge(const std::vector<notifications::Notification>& delivered);
    void answer(std::uint32_t id, const std::string& actionIdentifier);
    void zoneFileChanged();
    void connectSystemBus();
    bool processBus(sdbus::IConnection& connection);

    std::unique_ptr<sdbus::IConnection> session_;
    std::unique_ptr<cli::Application> application_;
    std::unique_ptr<NotificationServer> server_;
    // The system bus and its subscriptions (logind, timedated), when there is one.
    struct SystemBus;
    std::unique_ptr<SystemBus> system_;
    std::unique_ptr<DeliveryJournal> journal_;
    TriggerTimer timer_;
    FileWatch watch_;
    FileDescriptor signals_;
    // Written by the main queue's wake-up handler, which may outlive the daemon on another
    // thread for a moment: shared with it.
    std::shared_ptr<FileDescriptor> wakeUp_;
    int wakeUpDescriptor_ = -1;
    std::optional<std::filesystem::path> zoneFile_;
    // The zone that the zone file names, while one is named (kZoneFileVariable).
    std::unique_ptr<ScopedTimeZone> zoneGuard_;
    std::string defaultActionTitle_;
    // The notifications on screen, by the server's id: what an answer to each answers.
    std::map<std::uint32_t, notifications::Notification> shown_;
    Plan pendingPlan_ = Plan::catchUp;
    // When to look at the center and the store once more after another process wrote them:
    // see kCommitSettleDelay.
    std::optional<std::chrono::steady_clock::time_point> recheck_;
    // Held by closures queued on the main queue; they do nothing once the daemon is gone.
    std::shared_ptr<Daemon*> self_;
};

}  // namespace dovrel::notifyd
