// Speed of the dovrel program: `dovrel list --json` on a store of 100 habits with ten years of
// daily checkmarks, against the sqlite3 shell reading the same rows from the same file, in the
// same run. Both are whole processes started the same way, their output thrown away.
//
// The list needs, per habit, its row and its latest checkmarks (the program reads them from the
// habit's five-date cache; the cache is what makes the list cheap). The sqlite3 query reads the
// habit rows and, per habit, its five latest checkmark rows through the store's index of
// checkmarks by habit. A second, smaller query reads only the 100 habit rows, the least that any
// list can read; both ratios are printed.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "DovrelFoundation/Analytics/AnalyticsTracker.h"
#include "DovrelFoundation/Model/Habit.h"
#include "DovrelFoundation/Model/Performing.h"
#include "DovrelFoundation/Persistence/ContextExtensions.h"
#include "DovrelFoundation/Persistence/CoreDataManager.h"
#include "DovrelFoundation/Progress/DateExtensions.h"
#include "DovrelFoundation/Settings/Constants.h"
#include "platform/foundation/Clock.h"
#include "platform/foundation/FileManager.h"

extern char** environ;

namespace {

using namespace dovrel;
using WallClock = std::chrono::steady_clock;

constexpr int kHabits = 100;
constexpr int kDays = 3650;

// The query that gives what the list shows, from the rows it is made of: every habit and its five
// latest checkmark dates.
constexpr const char* kSameRowsQuery =
    "SELECT h.*, (SELECT group_concat(date) FROM (SELECT date FROM Performing "
    "WHERE habit = h.Z_PK ORDER BY date DESC LIMIT 5)) FROM Habit h ORDER BY creationDate;";
constexpr const char* kHabitRowsQuery = "SELECT * FROM Habit ORDER BY creationDate;";

std::filesystem::path programFolder() {
    return std::filesystem::read_symlink("/proc/self/exe").parent_path();
}

// A temporary data home with the store in it, removed at exit.
class BenchStore {
  public:
    BenchStore() {
        std::string pattern = (std::filesystem::temp_directory_path() / "dovrel-cli-XXXXXX");
        folder_ = ::mkdtemp(pattern.data());
        ::setenv("XDG_DATA_HOME", (folder_ / "data").c_str(), 1);
        ::setenv("HOME", folder_.c_str(), 1);
        ::unsetenv("DBUS_SESSION_BUS_ADDRESS");
        store_ = folder_ / "Habit.sqlite";
        build();
    }
    ~BenchStore() { std::filesystem::remove_all(folder_); }

    const std::filesystem::path& store() const { return store_; }

  private:
    // 100 habits, each checked at 08:00 on each of the last 3650 days. Every checkmark but
    // today's is added directly; today's goes through toggleCheckmark, which refreshes the
    // habit's caches from all of them, as the program would have left them.
    void build() {
        AnalyticsTracker tracker({});
        CoreDataManager manager;
        manager.initializePersistentContainer(
            FileManager(), tracker,
            CoreDataManager::StoreConfiguration{std::string(Constants::appGroupIdentifier),
                                                store_.string()},
            std::nullopt, [](bool) {});
        auto& context = *manager.viewContext();
        const Date today = onlyDay(Clock::now());
        for (int h = 0; h < kHabits; ++h) {
            auto habit = insertObject<Habit>(context);
            habit->setName("Habit " + std::to_string(h));
            habit->setCreationDate(dateInDays(today, -kDays) + h);
            habit->setRepeatInterval(RepeatInterval(1 + h % 3, 1 + h % 7));
            for (int d = kDays - 1; d >= 1; --d) {
                auto performing = insertObject<Performing>(context);
                performing->setDate(dateInDays(today, -d) + 8 * 3600.0);
                habit->addPerformingObject(performing);
            }
            habit->toggleCheckmark(today + 8 * 3600.0);
        }
        context.save();
    }

    std::filesystem::path folder_;
    std::filesystem::path store_;
};

// Runs a program with its output going nowhere and answers its wall time in seconds.
double timedRun(const std::vector<std::string>& arguments) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    std::vector<char*> argv;
    for (const auto& argument : arguments) {
        argv.push_back(const_cast<char*>(argument.c_str()));
    }
    argv.push_back(nullptr);
    const auto start = WallClock::now();
    pid_t pid = 0;
    const int spawned = posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (spawned != 0) {
        throw std::runtime_error("cannot start " + arguments.front());
    }
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0) {
    }
    const auto seconds = std::chrono::duration<double>(WallClock::now() - start).count();
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        throw std::runtime_error(arguments.front() + " failed");
    }
    return seconds;
}

const BenchStore& benchStore() {
    static const BenchStore store;
    return store;
}

void BM_ListJsonAgainstSqlite3(benchmark::State& state) {
    const auto& store = benchStore();
    const std::vector<std::string> dovrel = {(programFolder() / "dovrel").string(), "--store",
                                             store.store().string(), "list", "--json"};
    const std::vector<std::string> sameRows = {"/usr/bin/sqlite3", "-readonly",
                                               store.store().string(), kSameRowsQuery};
    const std::vector<std::string> habitRows = {"/usr/bin/sqlite3", "-readonly",
                                                store.store().string(), kHabitRowsQuery};
    double dovrelSeconds = 0, sameRowsSeconds = 0, habitRowsSeconds = 0;
    try {
        timedRun(dovrel);  // the first launch does its one-time bookkeeping
        for (auto _ : state) {
            dovrelSeconds += timedRun(dovrel);
            sameRowsSeconds += timedRun(sameRows);
            habitRowsSeconds += timedRun(habitRows);
        }
    } catch (const std::exception& error) {
        state.SkipWithError(error.what());
        return;
    }
    const auto n = static_cast<double>(state.iterations());
    state.counters["dovrel_ms"] = dovrelSeconds / n * 1000;
    state.counters["sqlite3_same_rows_ms"] = sameRowsSeconds / n * 1000;
    state.counters["ratio_same_rows"] = dovrelSeconds / sameRowsSeconds;
    state.counters["sqlite3_habit_rows_ms"] = habitRowsSeconds / n * 1000;
    state.counters["ratio_habit_rows"] = dovrelSeconds / habitRowsSeconds;
}
BENCHMARK(BM_ListJsonAgainstSqlite3)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);

}  // namespace

BENCHMARK_MAIN();
