// A habit read from and written to a real store file.
//
//   - Habit::progress for today must cost the same whatever the size of the history, and read
//     no checkmark row: a habit with 100,000 checkmarks against one with 10, both fetched from
//     the store, at most 1.5x (the ratio printed), with the checkmark rows read during the
//     measurement printed (target 0).
//   - Toggling a checkmark on a habit with ten years of daily checkmarks and saving: the time
//     is printed, for a habit already in the context and for one fetched by a fresh context.
//
// The store file is in a temporary folder; the zone is America/New_York.

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "DovrelFoundation/Model/Habit.h"
#include "DovrelFoundation/Model/HabitModel.h"
#include "DovrelFoundation/Model/Performing.h"
#include "DovrelFoundation/Model/ValueTransformers.h"
#include "DovrelFoundation/Persistence/ContextExtensions.h"
#include "DovrelFoundation/Progress/DateExtensions.h"
#include "bench/support/BenchFolder.h"
#include "bench/support/CollectingReporter.h"
#include "platform/foundation/Date.h"
#include "platform/foundation/RegionOverrides.h"
#include "platform/store/PersistentContainer.h"
#include "platform/store/PersistentStore.h"

namespace {

using dovrel::bench::CollectingReporter;
using dovrel::bench::Timing;

using dovrel::Date;
using dovrel::Habit;

constexpr double kDay = 86400.0;
// 2015-01-01 00:00 UTC in seconds since 2001.
constexpr double k2015 = 441763200.0;

std::unique_ptr<dovrel::store::PersistentContainer> openContainer(
    const std::filesystem::path& file) {
    auto container =
        std::make_unique<dovrel::store::PersistentContainer>("Habit", dovrel::habitModelVersion2());
    container->setPersistentStoreDescriptions({dovrel::store::PersistentStoreDescription(file)});
    container->loadPersistentStores(
        [](const dovrel::store::PersistentStoreDescription&, std::optional<dovrel::Error> error) {
            if (error) {
                std::fprintf(stderr, "store did not load: %s\n", error->what());
                std::exit(1);
            }
        });
    return container;
}

// A saved habit named `name` with `dates` as its checkmarks and caches made by toggling the
// latest one.
void addHabit(dovrel::store::ManagedObjectContext& context, const std::string& name,
              const std::vector<Date>& dates) {
    auto habit = dovrel::insertObject<Habit>(context);
    habit->setName(name);
    habit->setCreationDate(Date(k2015));
    habit->setRepeatInterval(dovrel::RepeatInterval(1, 1));
    for (std::size_t i = 0; i + 1 < dates.size(); ++i) {
        auto performing = dovrel::insertObject<dovrel::Performing>(context);
        performing->setDate(dates[i]);
        habit->addPerformingObject(performing);
    }
    habit->toggleCheckmark(dates.back());
    context.save();
}

std::vector<Date> spread(std::size_t count, double from, double to, std::uint64_t seed) {
    std::mt19937_64 random(seed);
    std::uniform_real_distribution<double> seconds(from, to);
    std::vector<Date> dates;
    for (std::size_t i = 0; i < count; ++i) {
        dates.emplace_back(seconds(random));
    }
    std::sort(dates.begin(), dates.end());
    return dates;
}

std::vector<Date> daily(std::size_t days) {
    std::vector<Date> dates;
    for (std::size_t day = 0; day < days; ++day) {
        dates.emplace_back(k2015 + static_cast<double>(day) * kDay + 9 * 3600.0);
    }
    return dates;
}

struct Stores {
    dovrel::bench::BenchFolder folder;
    std::unique_ptr<dovrel::store::PersistentContainer> container;
    std::shared_ptr<Habit> small;
    std::shared_ptr<Habit> large;
    std::shared_ptr<Habit> tenYears;
    Date today;
};

// The stores live from the first use to the end of main, which removes their folder.
std::unique_ptr<Stores>& storesHolder() {
    static std::unique_ptr<Stores> made;
    return made;
}

Stores& stores() {
    auto& made = storesHolder();
    if (!made) {
        auto result = std::make_unique<Stores>();
        const auto file = result->folder.path() / "Habit.sqlite";
        {
            auto container = openContainer(file);
            auto& context = *container->viewContext();
            const double end = k2015 + 10 * 365 * kDay;
            addHabit(context, "small", spread(10, k2015, end, 1));
            addHabit(context, "large", spread(100'000, k2015 - 10 * 365 * kDay, end, 2));
            addHabit(context, "ten years", daily(3650));
        }
        result->container = openContainer(file);
        auto& context = *result->container->viewContext();
        auto fetchNamed = [&](const char* name) {
            auto found = context.fetch(
                Habit::fetchRequest(dovrel::store::Key("name") == name, false, std::nullopt));
            return found.front();
        };
        result->small = fetchNamed("small");
        result->large = fetchNamed("large");
        result->tenYears = fetchNamed("ten years");
        result->today = Date(k2015 + 3650 * kDay + 12 * 3600.0);
        made = std::move(result);
    }
    return *made;
}

dovrel::store::PersistentStore& store() {
    return *stores().container->persistentStoreCoordinator()->persistentStores().front();
}

std::uint64_t progressRowsRead = 0;

void progressToday(benchmark::State& state, bool large) {
    const auto& habit = large ? stores().large : stores().small;
    const Date today = stores().today;
    const auto before = store().rowsRead();
    for (auto _ : state) {
        benchmark::DoNotOptimize(habit->progress(today));
    }
    const auto read = store().rowsRead() - before;
    progressRowsRead += read;
    state.counters["rows_read"] = static_cast<double>(read);
}

// Toggles today's checkmark on and off, saving after each toggle: each iteration is one toggle
// and one save.
void toggleSaved(benchmark::State& state) {
    auto& context = *stores().container->viewContext();
    const auto& habit = stores().tenYears;
    const Date today = stores().today;
    // The fresh contexts' repetitions (interleaved with these) save the same habit: start from
    // what the store holds, as a view context that merges them would.
    context.refresh(habit, false);
    for (auto _ : state) {
        habit->toggleCheckmark(today);
        context.save();
    }
    if (habit->hasPerformings(today)) {
        habit->toggleCheckmark(today);
        context.save();
    }
}

// The same from a fresh context each time: fetch the habit, toggle, save.
void toggleSavedFreshContext(benchmark::State& state) {
    const Date today = stores().today;
    for (auto _ : state) {
        auto context = stores().container->newBackgroundContext();
        context->performAndWait([&] {
            auto habit = context->fetch(Habit::fetchRequest(
                dovrel::store::Key("name") == "ten years", false, std::nullopt));
            habit.front()->toggleCheckmark(today);
            context->save();
        });
    }
}

}  // namespace

constexpr int kRepetitions = 5;

int main(int argc, char** argv) {
    setenv("TZ", "America/New_York", 1);
    const dovrel::ScopedLocale locale("en_US");
    const dovrel::ScopedCalendar calendar("gregorian");
    dovrel::registerValueTransformers();
    benchmark::DoNotOptimize(dovrel::onlyDay(Date(0)));

    benchmark::RegisterBenchmark("habit_progress_today/history_100000", progressToday, true);
    benchmark::RegisterBenchmark("habit_progress_today/history_10", progressToday, false);
    benchmark::RegisterBenchmark("toggle_saved/3650_daily", toggleSaved)
        ->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("toggle_saved_fresh_context/3650_daily", toggleSavedFreshContext)
        ->Unit(benchmark::kMillisecond);

    stores();
    CollectingReporter reporter;
    dovrel::bench::runBenchmarks(argc, argv, kRepetitions, &reporter, [&] {
        dovrel::bench::recordRepetitionRatios(
            reporter, "ratio habit progress today, 100000 checkmarks / 10 checkmarks",
            "habit_progress_today/history_100000", "habit_progress_today/history_10", 1.5);
        dovrel::bench::Figures::shared().record(
            "checkmark rows read while measuring habit progress today",
            static_cast<double>(progressRowsRead), "rows", 0);
        for (const char* name :
             {"toggle_saved/3650_daily", "toggle_saved_fresh_context/3650_daily"}) {
            if (auto found = reporter.repetitions.find(name); found != reporter.repetitions.end()) {
                for (const auto& timing : found->second) {
                    dovrel::bench::Figures::shared().record(
                        std::string("time ") + name + " (toggle and save)", timing.real / 1e6, "ms",
                        dovrel::bench::kNoAim);
                }
            }
        }
    });
    storesHolder().reset();
    return 0;
}
