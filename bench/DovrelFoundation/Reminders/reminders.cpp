// A full rescheduling of reminders against the store work it cannot do without.
//
//   - A full rescheduling of 1,000 reminding habits (the pending requests read and the calendar
//     reminders removed, the habits fetched on a fresh background context, their projections
//     made, the 32 earliest reminders written to a real notification center) must cost at most
//     1.5x the fetch of those habits alone (the ratio printed, in wall-clock time: the work runs
//     on the stack's queue and the center's callback queue, not on the measuring thread).
//   - The time of one rescheduling is printed.
//
// The store and the center's file are in a temporary folder; the zone is America/New_York.

#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "DovrelFoundation/Analytics/AnalyticsTracker.h"
#include "DovrelFoundation/Model/Habit.h"
#include "DovrelFoundation/Model/LastFivePerformingDates.h"
#include "DovrelFoundation/Model/RepeatInterval.h"
#include "DovrelFoundation/Persistence/ContextExtensions.h"
#include "DovrelFoundation/Persistence/CoreDataManager.h"
#include "DovrelFoundation/Reminders/HabitRemindersScheduler.h"
#include "bench/support/BenchFolder.h"
#include "bench/support/CollectingReporter.h"
#include "platform/foundation/Clock.h"
#include "platform/foundation/FileManager.h"
#include "platform/foundation/RegionOverrides.h"
#include "platform/notifications/UserNotificationCenter.h"

namespace {

using dovrel::Date;
using dovrel::Habit;

constexpr const char* kGroup = "group.bench.dovrel.Reminders";
constexpr int kHabits = 1000;
constexpr double kDay = 86400.0;

struct Stack {
    dovrel::bench::BenchFolder folder;
    std::shared_ptr<dovrel::AnalyticsTracker> tracker = std::make_shared<dovrel::AnalyticsTracker>(
        std::vector<std::shared_ptr<dovrel::AnalyticsServiceProtocol>>{});
    std::shared_ptr<dovrel::CoreDataManager> coreDataManager;
    std::shared_ptr<dovrel::notifications::UserNotificationCenter> center;
    std::shared_ptr<dovrel::HabitRemindersScheduler> scheduler;
};

std::unique_ptr<Stack>& stackHolder() {
    static std::unique_ptr<Stack> made;
    return made;
}

// 1,000 habits reminding at times spread over the day, every interval from 1/1 to 3/7, each
// checked a few days ago, with a question for every other one.
void addHabits(dovrel::store::ManagedObjectContext& context) {
    const Date now = dovrel::Clock::now();
    for (int index = 0; index < kHabits; ++index) {
        auto habit = dovrel::insertObject<Habit>(context);
        habit->setName("Habit " + std::to_string(index));
        if (index % 2 == 0) {
            habit->setQuestion("Question " + std::to_string(index));
        }
        habit->setCreationDate(now - 400 * kDay + index);
        habit->setRepeatInterval(dovrel::RepeatInterval(1 + index % 3, 1 + index % 7));
        habit->setRemind(true);
        habit->setRemindTime(Date(index * 86.0 * 7));
        habit->setLastFivePerformingDates(dovrel::LastFivePerformingDates(
            {now - (5 + index % 4) * kDay, now - (2 + index % 3) * kDay}));
        habit->setLastPerformingDateProgress(40);
    }
    context.save();
}

Stack& stack() {
    auto& made = stackHolder();
    if (!made) {
        auto result = std::make_unique<Stack>();
        setenv("XDG_DATA_HOME", (result->folder.path() / "data").c_str(), 1);
        unsetenv("DBUS_SESSION_BUS_ADDRESS");
        result->coreDataManager = std::make_shared<dovrel::CoreDataManager>(kGroup);
        result->coreDataManager->initializePersistentContainer(
            dovrel::FileManager(), *result->tracker,
            dovrel::CoreDataManager::StoreConfiguration{kGroup, "Habit.sqlite"}, std::nullopt,
            [](bool) {});
        addHabits(*result->coreDataManager->viewContext());
        result->center = dovrel::notifications::UserNotificationCenter::atPath(
            result->folder.path() / "Notifications.sqlite",
            result->folder.path() / "Defaults.sqlite");
        result->scheduler = dovrel::HabitRemindersScheduler::create(
            result->coreDataManager, result->center, nullptr, nullptr, result->tracker);
        made = std::move(result);
    }
    return *made;
}

// One full rescheduling, waited for.
void rescheduleAndWait() {
    std::mutex mutex;
    std::condition_variable finished;
    bool done = false;
    stack().scheduler->rescheduleRemindersForAllHabits({}, [&] {
        std::lock_guard lock(mutex);
        done = true;
        finished.notify_all();
    });
    std::unique_lock lock(mutex);
    finished.wait(lock, [&] { return done; });
}

void fullRescheduling(benchmark::State& state) {
    for (auto _ : state) {
        rescheduleAndWait();
    }
    const auto pending = stack().center->pendingRequests();
    if (pending.size() != dovrel::HabitRemindersScheduler::kMaximumNumberOfNotifications) {
        state.SkipWithError("the rescheduling did not leave 32 reminders");
    }
}

// What the rescheduling cannot do without: the habits read on a fresh background context.
void fetchHabits(benchmark::State& state) {
    for (auto _ : state) {
        auto context = stack().coreDataManager->createNewBackgroundContext();
        context->performAndWait([&] {
            auto habits = context->fetch(Habit::fetchRequest(std::nullopt, false));
            benchmark::DoNotOptimize(habits.data());
            if (habits.size() != static_cast<std::size_t>(kHabits)) {
                state.SkipWithError("the store does not hold the habits");
            }
        });
    }
}

}  // namespace

constexpr int kRepetitions = 7;

int main(int argc, char** argv) {
    setenv("TZ", "America/New_York", 1);
    const dovrel::ScopedLocale locale("en_US");
    const dovrel::ScopedCalendar calendar("gregorian");

    benchmark::RegisterBenchmark("full_rescheduling/1000_habits", fullRescheduling)
        ->Unit(benchmark::kMillisecond)
        ->UseRealTime();
    benchmark::RegisterBenchmark("fetch_habits/1000_habits", fetchHabits)
        ->Unit(benchmark::kMillisecond)
        ->UseRealTime();

    stack();
    dovrel::bench::CollectingReporter reporter;
    dovrel::bench::runBenchmarks(argc, argv, kRepetitions, &reporter, [&] {
        const auto& repetitions = reporter.repetitions;
        const auto top = repetitions.find("full_rescheduling/1000_habits/real_time");
        const auto bottom = repetitions.find("fetch_habits/1000_habits/real_time");
        if (top == repetitions.end() || bottom == repetitions.end()) {
            return;
        }
        const std::size_t count = std::min(top->second.size(), bottom->second.size());
        for (std::size_t index = 0; index < count; ++index) {
            dovrel::bench::Figures::shared().record(
                "ratio full rescheduling of 1000 habits / fetch of those habits",
                top->second[index].real / bottom->second[index].real, "x", 1.5);
        }
        for (const auto& timing : top->second) {
            dovrel::bench::Figures::shared().record("time full rescheduling of 1000 habits",
                                                    timing.real / 1e6, "ms", dovrel::bench::kNoAim);
        }
        for (const auto& timing : bottom->second) {
            dovrel::bench::Figures::shared().record("time fetch of 1000 habits", timing.real / 1e6,
                                                    "ms", dovrel::bench::kNoAim);
        }
    });
    stackHolder().reset();
    return 0;
}
