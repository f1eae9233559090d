#include "apps/dovrel-notifyd/Daemon.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>

#include <sdbus-c++/sdbus-c++.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <system_error>
#include <utility>
#include <vector>

#include "DovrelFoundation/Model/Habit.h"
#include "DovrelFoundation/Reminders/AssetExtractor.h"
#include "DovrelFoundation/Reminders/HabitReminderIdentifiers.h"
#include "DovrelFoundation/Reminders/HabitRemindersScheduler.h"
#include "DovrelFoundation/Reminders/IconBadgeServiceProtocol.h"
#include "apps/dovrel-notifyd/DesktopNotification.h"
#include "apps/dovrel-notifyd/MissedReminders.h"
#include "apps/dovrel-notifyd/NotificationServer.h"
#include "apps/dovrel/Application.h"
#include "apps/dovrel/Texts.h"
#include "platform/dispatch/DispatchQueue.h"
#include "platform/dispatch/MainRunLoop.h"
#include "platform/foundation/Clock.h"
#include "platform/foundation/Logging.h"
#include "platform/foundation/Region.h"
#include "platform/foundation/RegionOverrides.h"
#include "platform/notifications/NotificationResponse.h"
#include "platform/store/ManagedObjectContext.h"
#include "platform/store/PersistentStoreCoordinator.h"
#include "platform/widgets/WidgetCenter.h"

namespace dovrel::notifyd {

namespace {

using notifications::Notification;
using notifications::NotificationRequest;
using notifications::NotificationResponse;

constexpr const char* kLocaltimePath = "/etc/localtime";
constexpr const char* kJournalFileName = "notifyd-delivering";
// After a failed read or write of the center, the next attempt waits this long.
constexpr TimeInterval kRetryInterval = 5;
// A notification server that the bus can start but that fails to start is tried again after
// this long (or when a server appears); meanwhile the reminders stay pending.
constexpr TimeInterval kServerRetryInterval = 60;

enum WatchTag { kCenterFileTag = 1, kZoneFileTag = 2, kStoreFileTag = 3 };
// The store's own timer for other processes' commits, as a safety net only: the daemon checks
// when the store's file is written (kStoreFileTag), so a resident process does not wake up 40
// times a second to look.
constexpr TimeInterval kRemoteChangeSafetyInterval = 3600;

// A write event can come before the writer's commit is visible: SQLite writes the frames of a
// commit to the write-ahead log (the event) and only then marks them committed in the shared
// wal-index, a memory mapping whose writes raise no event. A look right at the event may find
// the old state and nothing wakes the daemon again, so it looks once more this long after the
// last write event.
constexpr std::chrono::milliseconds kCommitSettleDelay{250};

spdlog::logger& logger() {
    static const std::shared_ptr<spdlog::logger> logger = namedLogger("notifyd");
    return *logger;
}

[[noreturn]] void throwErrno(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

// The zone a timedatectl-style link names: what follows ".../zoneinfo/" in its target.
std::optional<std::string> zoneNamedBy(const std::filesystem::path& link) {
    std::error_code error;
    const auto target = std::filesystem::read_symlink(link, error);
    if (error) {
        return std::nullopt;
    }
    const std::string text = target.string();
    const auto at = text.find("zoneinfo/");
    if (at == std::string::npos) {
        return std::nullopt;
    }
    return text.substr(at + std::string("zoneinfo/").size());
}

}  // namespace

// Members are destroyed in reverse order: the matches before their connection.
struct Daemon::SystemBus {
    std::unique_ptr<sdbus::IConnection> connection;
    sdbus::Slot sleepMatch;
    sdbus::Slot timedateMatch;
};

void Daemon::blockTerminationSignals() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGTERM);
    sigaddset(&set, SIGINT);
    if (pthread_sigmask(SIG_BLOCK, &set, nullptr) != 0) {
        throwErrno("pthread_sigmask");
    }
}

Daemon::Daemon(const Options& options) : self_(std::make_shared<Daemon*>(this)) {
    addLogDestination("notifyd", makeConsoleLogDestination());

    // The bus and the name first: a second daemon leaves without opening the store.
    try {
        session_ = sdbus::createSessionBusConnection();
    } catch (const sdbus::Error& error) {
        throw StartError(cli::text("Notifyd.Error.NoSessionBus", {{"detail", error.what()}}), 1);
    }
    try {
        session_->requestName(kBusName);
    } catch (const sdbus::Error&) {
        throw StartError(cli::text("Notifyd.AlreadyRunning", {{"name", kBusName}}), 0);
    }

    application_ = std::make_unique<cli::Application>(
        cli::Application::Options{options.storePath, options.debug});
    // The delegate, with the category and its localised action titles registered.
    application_->notificationService();
    auto& center = application_->notificationCenter();
    journal_ =
        std::make_unique<DeliveryJournal>(center.storePath().parent_path() / kJournalFileName);
    defaultActionTitle_ = cli::text("Notifyd.Action.Open");

    std::weak_ptr<Daemon*> weak = self_;
    server_ = std::make_unique<NotificationServer>(
        *session_,
        NotificationServer::Handlers{
            [this](std::uint32_t id, const std::string& key) {
                answer(id, key == DesktopNotification::kDefaultActionKey
                               ? NotificationResponse::kDefaultActionIdentifier
                               : key);
            },
            [this](std::uint32_t id, std::uint32_t reason) {
                if (reason == NotificationServer::kClosedDismissed) {
                    answer(id, NotificationResponse::kDismissActionIdentifier);
                } else {
                    // Expired or closed by a call: no answer, nothing more to answer.
                    shown_.erase(id);
                }
            },
            [this](bool present) {
                if (present) {
                    logger().info("A notification server is there");
                    requestPlan(Plan::catchUp);
                } else {
                    logger().info("The notification server went away; reminders stay pending");
                    shown_.clear();
                    requestPlan(Plan::replan);
                }
            }});

    // Another process's change of the pending requests is a write of the center's file (its
    // write-ahead log, or the file itself after a checkpoint). Only writes count: every reader
    // opens the file for writing too, and closing it says nothing.
    const auto& store = center.storePath();
    watch_.watch(store.parent_path(),
                 {store.filename().string(), store.filename().string() + "-wal"},
                 FileWatch::Changes::contents, kCenterFileTag);
    // Another process's commit to the habits store is a write of its file or write-ahead log; the
    // view context then merges it (the habit a Complete toggles must be the current one).
    const auto& habits = application_->storePath();
    watch_.watch(habits.parent_path(),
                 {habits.filename().string(), habits.filename().string() + "-wal"},
                 FileWatch::Changes::contents, kStoreFileTag);
    application_->context().persistentStoreCoordinator()->setRemoteChangeInterval(
        kRemoteChangeSafetyInterval);
    if (const char* zoneFile = std::getenv(kZoneFileVariable); zoneFile && *zoneFile) {
        zoneFile_ = std::filesystem::path(zoneFile);
    }
    const std::filesystem::path watchedZone = zoneFile_.value_or(kLocaltimePath);
    if (!watch_.watch(watchedZone.parent_path(), {watchedZone.filename().string()},
                      FileWatch::Changes::entry, kZoneFileTag)) {
        logger().warn("Cannot watch {} for zone changes", watchedZone.string());
    }
    zoneFileChanged();

    signals_ = [] {
        sigset_t set;
        sigemptyset(&set);
        sigaddset(&set, SIGTERM);
        sigaddset(&set, SIGINT);
        FileDescriptor descriptor(::signalfd(-1, &set, SFD_NONBLOCK | SFD_CLOEXEC));
        if (!descriptor) {
            throwErrno("signalfd");
        }
        return descriptor;
    }();
    auto wakeUp = std::make_shared<FileDescriptor>(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC));
    if (!*wakeUp) {
        throwErrno("eventfd");
    }
    wakeUpDescriptor_ = wakeUp->get();
    wakeUp_ = wakeUp;
    // Called on whichever thread queued work for the main queue; the descriptor lives as long as
    // the handler holds it.
    MainRunLoop::setWakeUpHandler([wakeUp] {
        const std::uint64_t one = 1;
        [[maybe_unused]] const auto written = ::write(wakeUp->get(), &one, sizeof one);
    });

    connectSystemBus();
}

Daemon::~Daemon() {
    MainRunLoop::setWakeUpHandler({});
    // Closures still queued must not reach a daemon that is gone.
    self_.reset();
}

void Daemon::connectSystemBus() {
    try {
        auto bus = std::make_unique<SystemBus>();
        bus->connection = sdbus::createSystemBusConnection();
        // A resume: reminders due while the machine slept are missed ones.
        bus->sleepMatch = bus->connection->addMatch(
            "type='signal',sender='org.freedesktop.login1',interface='org.freedesktop.login1."
            "Manager',member='PrepareForSleep',path='/org/freedesktop/login1'",
            [this](sdbus::Message& message) {
                bool sleeping = true;
                message >> sleeping;
                if (!sleeping) {
                    logger().info("Resumed from sleep");
                    requestPlan(Plan::catchUp);
                }
            });
        // The zone or the clock set through timedated.
        bus->timedateMatch = bus->connection->addMatch(
            "type='signal',sender='org.freedesktop.timedate1',interface='org.freedesktop.DBus."
            "Properties',member='PropertiesChanged',path='/org/freedesktop/timedate1'",
            [this](sdbus::Message&) { requestPlan(Plan::replan); });
        system_ = std::move(bus);
    } catch (const sdbus::Error& error) {
        // Containers and minimal systems have no system bus: the timer and the zone file still
        // see clock and zone changes; only resumes go unnoticed until the next trigger.
        logger().info("No system bus ({}): resume signals are not received", error.what());
    }
}

void Daemon::requestPlan(Plan plan) {
    if (plan == Plan::catchUp || pendingPlan_ == Plan::none) {
        pendingPlan_ = plan;
    }
}

void Daemon::zoneFileChanged() {
    if (!zoneFile_) {
        return;  // Region re-detects the host zone from TZ and /etc/localtime by itself
    }
    if (const auto zone = zoneNamedBy(*zoneFile_)) {
        logger().info("Time zone {}", *zone);
        // Pinned the way the rest of the process's date code sees it; the guard replaced is
        // destroyed first, so guards never pile up.
        zoneGuard_.reset();
        zoneGuard_ = std::make_unique<ScopedTimeZone>(*zone);
    }
}

int Daemon::run() {
    logger().info("Showing the reminders of {}",
                  application_->notificationCenter().storePath().string());
    // Work queued before the wake-up handler was installed.
    MainRunLoop::runPending();
    for (;;) {
        if (pendingPlan_ != Plan::none) {
            plan();
        }
        const auto sessionPoll = session_->getEventLoopPollData();
        std::vector<pollfd> descriptors{
            {signals_.get(), POLLIN, 0},
            {timer_.descriptor(), POLLIN, 0},
            {watch_.descriptor(), POLLIN, 0},
            {wakeUpDescriptor_, POLLIN, 0},
            {sessionPoll.fd, sessionPoll.events, 0},
        };
        int timeout = sessionPoll.getPollTimeout();
        if (recheck_) {
            const auto wait = std::chrono::ceil<std::chrono::milliseconds>(
                *recheck_ - std::chrono::steady_clock::now());
            const int recheckTimeout = static_cast<int>(std::max<std::int64_t>(0, wait.count()));
            if (timeout < 0 || recheckTimeout < timeout) {
                timeout = recheckTimeout;
            }
        }
        if (system_) {
            const auto systemPoll = system_->connection->getEventLoopPollData();
            descriptors.push_back({systemPoll.fd, systemPoll.events, 0});
            const int systemTimeout = systemPoll.getPollTimeout();
            if (systemTimeout >= 0 && (timeout < 0 || systemTimeout < timeout)) {
                timeout = systemTimeout;
            }
        }
        if (::poll(descriptors.data(), descriptors.size(), timeout) < 0) {
            if (errno == EINTR) {
                continue;
            }
            throwErrno("poll");
        }
        if ((descriptors[0].revents & POLLIN) != 0) {
            signalfd_siginfo info{};
            [[maybe_unused]] const auto read = ::read(signals_.get(), &info, sizeof info);
            logger().info("Stopping on signal {}", info.ssi_signo);
            return 0;
        }
        if ((descriptors[3].revents & POLLIN) != 0) {
            std::uint64_t count = 0;
            [[maybe_unused]] const auto read = ::read(wakeUpDescriptor_, &count, sizeof count);
        }
        MainRunLoop::runPending();
        if (!processBus(*session_)) {
            logger().error("The session bus went away");
            return 1;
        }
        if (system_ && !processBus(*system_->connection)) {
            logger().warn("The system bus went away; resume signals are no longer received");
            system_.reset();
        }
        if ((descriptors[1].revents & POLLIN) != 0) {
            switch (timer_.read()) {
                case TriggerTimer::Event::fired:
                    requestPlan(Plan::replan);
                    break;
                case TriggerTimer::Event::clockChanged:
                    logger().info("The clock was set");
                    requestPlan(Plan::catchUp);
                    break;
                case TriggerTimer::Event::none:
                    break;
            }
        }
        if (recheck_ && std::chrono::steady_clock::now() >= *recheck_) {
            recheck_.reset();
            application_->context().persistentStoreCoordinator()->checkForRemoteChanges();
            requestPlan(Plan::replan);
        }
        if ((descriptors[2].revents & POLLIN) != 0) {
            const auto changed = watch_.read();
            if (changed.contains(kStoreFileTag) || changed.contains(kCenterFileTag)) {
                recheck_ = std::chrono::steady_clock::now() + kCommitSettleDelay;
            }
            if (changed.contains(kZoneFileTag)) {
                zoneFileChanged();
            }
            if (changed.contains(kStoreFileTag)) {
                application_->context().persistentStoreCoordinator()->checkForRemoteChanges();
            }
            if (changed.contains(kCenterFileTag) || changed.contains(kZoneFileTag)) {
                requestPlan(Plan::replan);
            }
        }
    }
}

bool Daemon::processBus(sdbus::IConnection& connection) {
    try {
        while (connection.processPendingRequest()) {
        }
        return true;
    } catch (const sdbus::Error& error) {
        logger().warn("D-Bus: {}", error.what());
        return false;
    }
}

void Daemon::plan() {
    const Plan plan = std::exchange(pendingPlan_, Plan::none);
    if (!server_->present()) {
        // Nothing is delivered while nobody can show it; the server's arrival plans again.
        if (timer_.armed()) {
            timer_.disarm();
        }
        return;
    }
    auto& center = application_->notificationCenter();
    try {
        if (plan == Plan::catchUp) {
            dropOlderMissedReminders();
        }
        // A server that the bus would start on the first Notify is started first: one that fails
        // to start (dunst without a display) must not take reminders out of the pending list.
        if (hasDueReminders() && !server_->start()) {
            timer_.arm(Clock::now().addingTimeInterval(kServerRetryInterval));
            return;
        }
        showJournaledReminders();
        deliverDueReminders();
        if (const auto next = center.nextTriggerDate()) {
            timer_.arm(*next);
        } else if (timer_.armed()) {
            timer_.disarm();
        }
    } catch (const std::exception& error) {
        logger().error("Delivering reminders failed: {}", error.what());
        if (plan == Plan::catchUp) {
            pendingPlan_ = Plan::catchUp;
        }
        timer_.arm(Clock::now().addingTimeInterval(kRetryInterval));
    }
}

bool Daemon::hasDueReminders() {
    if (!journal_->empty()) {
        return true;
    }
    const Date now = Clock::now();
    const auto pending = application_->notificationCenter().pendingRequests();
    return std::any_of(pending.begin(), pending.end(), [&](const auto& candidate) {
        return candidate.triggerDate && *candidate.triggerDate <= now;
    });
}

void Daemon::dropOlderMissedReminders() {
    auto& center = application_->notificationCenter();
    const auto dropped = olderMissedReminders(center.pendingRequests(), Clock::now());
    if (dropped.empty()) {
        return;
    }
    center.replacePendingRequests(
        [&](const NotificationRequest& request) { return dropped.contains(request.identifier); },
        {});
    logger().info("Dropped {} older missed reminder(s)", dropped.size());
}

void Daemon::deliverDueReminders() {
    auto& center = application_->notificationCenter();
    const Date now = Clock::now();
    std::vector<std::string> due;
    for (const auto& pending : center.pendingRequests()) {
        if (pending.triggerDate && *pending.triggerDate <= now) {
            due.push_back(pending.request.identifier);
        }
    }
    if (due.empty()) {
        return;
    }
    // Taken on before they are delivered: a crash from here on shows them after the restart.
    journal_->add(due);
    const auto delivered = center.deliverDueRequests(now);
    std::vector<std::string> identifiers;
    for (const auto& notification : delivered) {
        identifiers.push_back(notification.request.identifier);
    }
    journal_->add(identifiers);
    // What another process delivered (or removed) meanwhile is not ours to show.
    std::vector<std::string> notOurs;
    for (const auto& identifier : due) {
        if (std::find(identifiers.begin(), identifiers.end(), identifier) == identifiers.end()) {
            notOurs.push_back(identifier);
        }
    }
    journal_->remove(notOurs);
    for (const auto& notification : delivered) {
        show(notification);
    }
    updateBadge(delivered);
}

void Daemon::showJournaledReminders() {
    if (journal_->empty()) {
        return;
    }
    auto& center = application_->notificationCenter();
    const auto delivered = center.deliveredNotifications();
    const auto pending = center.pendingRequests();
    std::vector<std::string> forgotten;
    std::vector<Notification> shown;
    const std::set<std::string> identifiers = journal_->identifiers();
    for (const auto& identifier : identifiers) {
        const auto notification =
            std::find_if(delivered.begin(), delivered.end(), [&](const Notification& candidate) {
                return candidate.request.identifier == identifier;
            });
        if (notification != delivered.end()) {
            logger().info("Showing reminder {}, whose delivery was cut off", identifier);
            if (show(*notification)) {
                shown.push_back(*notification);
            }
            continue;
        }
        const bool stillPending = std::any_of(
            pending.begin(), pending.end(),
            [&](const auto& candidate) { return candidate.request.identifier == identifier; });
        if (!stillPending) {
            forgotten.push_back(identifier);  // answered or removed meanwhile
        }
    }
    journal_->remove(forgotten);
    updateBadge(shown);
}

bool Daemon::show(const Notification& notification) {
    const auto image = AssetExtractor{}.createLocalUrl(randomNotificationIconName());
    const std::string icon =
        image ? "file://" + image->string() : DesktopNotification::kDesktopEntry;
    const auto id = server_->show(desktopNotificationFor(
        notification, application_->notificationCenter().notificationCategories(), icon,
        defaultActionTitle_));
    if (!id) {
        return false;  // stays in the journal until a server shows it
    }
    // Crossed off first thing after the server's answer. A kill before the Notify call went out,
    // or while the server had not handled it, shows the reminder once after the restart, as it
    // must. One window is left: the server has shown it and the daemon dies before this line
    // (the answer on its way back, or being read). The server cannot be asked what it shows
    // (the notification interface has no such call), so the restarted daemon shows it again:
    // a server that stacks by tag (dunst) replaces the first one with it, any other shows it
    // twice. Losing it instead would be worse; the window is the answer's trip and one unlink.
    journal_->remove({notification.request.identifier});
    shown_[*id] = notification;
    return true;
}

void Daemon::updateBadge(const std::vector<Notification>& delivered) {
    // The badge of the latest reminder shown is the launcher's, as the phone shows it.
    std::optional<std::int64_t> badge;
    for (const auto& notification : delivered) {
        if (notification.request.content.badge) {
            badge = notification.request.content.badge;
        }
    }
    if (!badge) {
        return;
    }
    if (const auto& service = application_->remindersScheduler().iconBadgeService()) {
        try {
            service->setBadgeNumber(*badge);
        } catch (const std::exception& error) {
            logger().warn("Setting the badge failed: {}", error.what());
        }
    }
}

void Daemon::answer(std::uint32_t id, const std::string& actionIdentifier) {
    const auto found = shown_.find(id);
    if (found == shown_.end()) {
        return;  // not ours, or already answered (servers close after an action)
    }
    const Notification notification = found->second;
    shown_.erase(found);
    const bool dismissed = actionIdentifier == NotificationResponse::kDismissActionIdentifier;
    const bool completed =
        actionIdentifier == HabitReminderAction(HabitReminderAction::Case::complete).rawValue();
    logger().info("Answer {} to reminder {}", actionIdentifier, notification.request.identifier);
    std::weak_ptr<Daemon*> weak = self_;
    application_->notificationCenter().respond(
        NotificationResponse{notification, actionIdentifier}, [weak, id, dismissed, completed] {
            // The center's callback queue: back to the daemon's thread.
            DispatchQueue::main().async([weak, id, dismissed, completed] {
                const auto self = weak.lock();
                if (!self) {
                    return;
                }
                if (!dismissed) {
                    (*self)->server_->close(id);
                }
                if (completed) {
                    widgets::WidgetCenter::shared().reloadTimelines(Habit::kWidgetKind);
                }
            });
        });
}

}  // namespace dovrel::notifyd
