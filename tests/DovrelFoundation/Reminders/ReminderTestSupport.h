#pragma once

// A whole reminder stack for tests: the store of a CoreDataManager and a notification center,
// both in a temporary folder, the analytics tracker over a recording service, the scheduler,
// and the time, zone and locale pinned.

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "DovrelFoundation/Analytics/AnalyticsTracker.h"
#include "DovrelFoundation/Model/Habit.h"
#include "DovrelFoundation/Model/RepeatInterval.h"
#include "DovrelFoundation/Persistence/ContextExtensions.h"
#include "DovrelFoundation/Persistence/CoreDataManager.h"
#include "DovrelFoundation/Reminders/HabitRemindersScheduler.h"
#include "platform/dispatch/MainRunLoop.h"
#include "platform/foundation/Clock.h"
#include "platform/foundation/FileManager.h"
#include "platform/notifications/UserNotificationCenter.h"
#include "tests/support/CivilDate.h"
#include "tests/support/RecordingAnalyticsService.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/ScopedRegion.h"
#include "tests/support/TemporaryDirectory.h"

namespace dovrel::testing {

// Kyiv is two hours ahead of UTC in March before the 30th.
constexpr double kKyivWinterOffset = 2.0;

inline Date kyiv(int year, unsigned month, unsigned day, int hour, int minute = 0, int second = 0) {
    return civilDate(year, month, day, hour, minute, second, kKyivWinterOffset);
}

// Runs the main queue until `done` answers true, for at most ten seconds.
inline bool waitFor(const std::function<bool()>& done) {
    return MainRunLoop::runUntil(done, std::chrono::seconds(10));
}

// Runs the main queue for `duration`, for checks that something does not happen.
inline void runMainQueueFor(std::chrono::milliseconds duration) {
    MainRunLoop::runUntil([] { return false; }, duration);
}

// A completion that counts its calls, safe from any thread.
struct CallCounter {
    std::shared_ptr<std::atomic<int>> calls = std::make_shared<std::atomic<int>>(0);

    std::function<void()> completion() const {
        return [calls = calls] { ++*calls; };
    }
    int count() const { return calls->load(); }
};

class ReminderStackFixture : public ::testing::Test {
  protected:
    static constexpr const char* kGroup = "group.test.dovrel.Reminders";

    ReminderStackFixture() {
        coreDataManager = std::make_shared<CoreDataManager>(kGroup);
        coreDataManager->initializePersistentContainer(
            FileManager(), *tracker, CoreDataManager::StoreConfiguration{kGroup, "Habit.sqlite"},
            std::nullopt, [](bool) {});
        center = notifications::UserNotificationCenter::atPath(
            folder.path() / "Notifications.sqlite", folder.path() / "Defaults.sqlite");
        scheduler =
            HabitRemindersScheduler::create(coreDataManager, center, nullptr, nullptr, tracker);
    }

    ~ReminderStackFixture() override {
        // Work still on the queues may refer to the store: let it end before the folder goes.
        scheduler.reset();
        MainRunLoop::runUntil([] { return false; }, std::chrono::milliseconds(20));
    }

    store::ManagedObjectContext& context() { return *coreDataManager->viewContext(); }

    // A saved habit reminding every day at `hour`:`minute` (Kyiv time), or without a reminder
    // time when `hour` is negative.
    std::shared_ptr<Habit> addHabit(std::optional<std::string> name, int hour, int minute = 0,
                                    std::optional<std::string> question = std::string("Why?"),
                                    bool remind = true) {
        auto habit = insertObject<Habit>(context());
        habit->setName(std::move(name));
        habit->setQuestion(std::move(question));
        habit->setCreationDate(kyiv(2025, 1, 1, 12));
        habit->setRepeatInterval(RepeatInterval(1, 1));
        habit->setRemind(remind);
        if (hour >= 0) {
            habit->setRemindTime(kyiv(2024, 11, 5, hour, minute));
        }
        context().save();
        return habit;
    }

    static std::string uri(const Habit& habit) { return habit.objectID().uriRepresentation(); }

    // Asks for a full rescheduling and waits for its completion.
    void rescheduleAndWait(std::vector<std::string> cleaning = {}) {
        CallCounter done;
        scheduler->rescheduleRemindersForAllHabits(std::move(cleaning), done.completion());
        ASSERT_TRUE(waitFor([&] { return done.count() == 1; })) << "the rescheduling never ended";
    }

    std::vector<notifications::PendingNotificationRequest> pending() {
        return center->pendingRequests();
    }

    // A request with a calendar trigger that was not made by the scheduler.
    static notifications::NotificationRequest foreignCalendarRequest(const std::string& id) {
        DateComponents components;
        components.hour = 7;
        components.minute = 15;
        notifications::NotificationRequest request;
        request.identifier = id;
        request.content.title = "Foreign";
        request.trigger = notifications::CalendarNotificationTrigger(components, false);
        return request;
    }

    void addAndWait(const notifications::NotificationRequest& request) {
        CallCounter added;
        center->add(request, [calls = added.calls](std::optional<Error>) { ++*calls; });
        ASSERT_TRUE(waitFor([&] { return added.count() == 1; }));
    }

    TemporaryDirectory folder;
    TemporaryDirectory runtime;
    ScopedEnvironment dataHome{"XDG_DATA_HOME", (folder.path() / "data").string()};
    ScopedEnvironment cacheHome{"XDG_CACHE_HOME", (folder.path() / "cache").string()};
    ScopedEnvironment bus{"DBUS_SESSION_BUS_ADDRESS", std::nullopt};
    ScopedEnvironment runtimeDirectory{"XDG_RUNTIME_DIR", runtime.path().string()};
    ScopedRegion region{"Europe/Kyiv", "en_US"};
    // Monday 10 March 2025, 08:00 in Kyiv.
    ScopedClockOverride clock{kyiv(2025, 3, 10, 8)};
    std::shared_ptr<RecordingAnalyticsService> analytics =
        std::make_shared<RecordingAnalyticsService>();
    std::shared_ptr<AnalyticsTracker> tracker = std::make_shared<AnalyticsTracker>(
        std::vector<std::shared_ptr<AnalyticsServiceProtocol>>{analytics});
    std::shared_ptr<CoreDataManager> coreDataManager;
    std::shared_ptr<notifications::UserNotificationCenter> center;
    std::shared_ptr<HabitRemindersScheduler> scheduler;
};

}  // namespace dovrel::testing
