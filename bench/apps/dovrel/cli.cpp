// Speed of the dovrel program on a store of 100 habits with ten years of daily checkmarks, against
// the sqlite3 shell reading from the same file what the command shows, in the same run. Both are
// whole processes started the same way, their output thrown away; each repetition times one of
// each, one after the other, so that a pair sees the same machine.
//
// Figures, printed with their aims at the end:
//   - `dovrel list --json` against the query that reads the rows the list is made of (every habit
//     and its five latest checkmarks): at most 1.5x. For comparison, against reading only the
//     habit rows, the least that any list can read.
//   - `dovrel show HABIT` (one habit, its month and every checkmark date in the JSON) and
//     `dovrel check HABIT` (a toggle of today on a habit with ten years of checkmarks, saved):
//     each under 50 ms, and for comparison against the query that reads what it shows.
//   - `dovrel --version` against `sqlite3 --version`: the cost of starting the program, for
//     comparison.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <optional>
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
#include "bench/support/Figures.h"
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
// What show and check read of the habit they name: its row and every one of its checkmarks.
constexpr const char* kOneHabitQuery =
    "SELECT h.*, (SELECT group_concat(date) FROM Performing WHERE habit = h.Z_PK) FROM Habit h "
    "WHERE name = 'Habit 42';";
constexpr int kRepetitions = 15;

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
    // habit's caches from all of them, as the program would have left them. Today's is dated
    // now when that is before 08:00: a checkmark later than now is one the program never makes,
    // and the score at an instant before the latest checkmark is recomputed from the whole
    // history, which made the list's figure depend on the hour the benchmark ran.
    void build() {
        AnalyticsTracker tracker({});
        CoreDataManager manager;
        manager.initializePersistentContainer(
            FileManager(), tracker,
            CoreDataManager::StoreConfiguration{std::string(Constants::appGroupIdentifier),
                                                store_.string()},
            std::nullopt, [](bool) {});
        auto& context = *manager.viewContext();
        const Date now = Clock::now();
        const Date today = onlyDay(now);
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
            habit->toggleCheckmark(std::min(today + 8 * 3600.0, now));
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

std::vector<std::string> dovrel(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {(programFolder() / "dovrel").string(), "--store",
                                         benchStore().store().string()});
    return arguments;
}

std::vector<std::string> sqlite3(const char* query) {
    return {"/usr/bin/sqlite3", "-readonly", benchStore().store().string(), query};
}

// Times `program` against each of `references` once per iteration and records the figures:
// program/reference ratios (aims in `ratioAims`) and, with `millisecondsAim`, the program's own
// time.
void compare(benchmark::State& state, const std::string& what,
             const std::vector<std::string>& program,
             const std::vector<std::pair<std::string, std::vector<std::string>>>& references,
             const std::vector<std::optional<double>>& ratioAims,
             std::optional<double> millisecondsAim) {
    auto& figures = dovrel::bench::Figures::shared();
    try {
        timedRun(program);  // the first launch does its one-time bookkeeping
        for (auto _ : state) {
            const double programSeconds = timedRun(program);
            state.SetIterationTime(programSeconds);
            if (millisecondsAim) {
                figures.record("time " + what, programSeconds * 1000, "ms", millisecondsAim);
            }
            for (std::size_t index = 0; index < references.size(); ++index) {
                const double referenceSeconds = timedRun(references[index].second);
                figures.record("ratio " + what + " / " + references[index].first,
                               programSeconds / referenceSeconds, "x", ratioAims[index]);
            }
        }
    } catch (const std::exception& error) {
        state.SkipWithError(error.what());
    }
}

void BM_ListJson(benchmark::State& state) {
    compare(state, "dovrel list --json", dovrel({"list", "--json"}),
            {{"sqlite3 reading the same rows", sqlite3(kSameRowsQuery)},
             {"sqlite3 reading the habit rows", sqlite3(kHabitRowsQuery)}},
            {1.5, dovrel::bench::kNoAim}, dovrel::bench::kNoAim);
}
BENCHMARK(BM_ListJson)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(kRepetitions);

void BM_ShowOneHabit(benchmark::State& state) {
    compare(state, "dovrel show (one habit of ten years)", dovrel({"show", "Habit 42", "--json"}),
            {{"sqlite3 reading the habit and its checkmarks", sqlite3(kOneHabitQuery)}},
            {dovrel::bench::kNoAim}, 50);
}
BENCHMARK(BM_ShowOneHabit)
    ->Unit(benchmark::kMillisecond)
    ->UseManualTime()
    ->Iterations(kRepetitions);

void BM_CheckOneHabit(benchmark::State& state) {
    compare(state, "dovrel check (one habit of ten years)", dovrel({"check", "Habit 42"}),
            {{"sqlite3 reading the habit and its checkmarks", sqlite3(kOneHabitQuery)}},
            {dovrel::bench::kNoAim}, 50);
}
BENCHMARK(BM_CheckOneHabit)
    ->Unit(benchmark::kMillisecond)
    ->UseManualTime()
    ->Iterations(kRepetitions);

void BM_Version(benchmark::State& state) {
    compare(state, "dovrel --version", {(programFolder() / "dovrel").string(), "--version"},
            {{"sqlite3 --version", {"/usr/bin/sqlite3", "--version"}}}, {dovrel::bench::kNoAim},
            dovrel::bench::kNoAim);
}
BENCHMARK(BM_Version)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(kRepetitions);

}  // namespace

int main(int argc, char** argv) {
    // Every benchmark records a figure per iteration: one repetition of each is enough.
    return dovrel::bench::runBenchmarks(argc, argv, 1);
}
