// dovrel_crash_trials [--trials N] [--seed S]
//
// Kills real writers at random moments and checks what they leave. Each trial starts one of four
// writers on a fresh copy of its store, in a fresh data home:
//   restore     `dovrel restore` of a backup of 300 habits and 18,000 checkmarks;
//   check       a loop of `dovrel check`, each a new checkmark, one of them killed;
//   migration   the first open of a version-1 store of the same size (`dovrel list`);
//   reschedule  `dovrel settings --reminders on` over 40 habits with reminders;
// kills it with SIGKILL after a random delay (up to a little more than the writer needs), and
// then checks that every file passes `PRAGMA integrity_check`, that each save is there wholly or
// not at all (the rows are counted), and that the program opens the store again and answers.
// Prints one line per failure and a summary; the exit status is 0 only when every trial passed.

#include <signal.h>
#include <sqlite3.h>
#include <stdlib.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <iterator>
#include <optional>
#include <random>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/ChildProcess.h"
#include "tests/support/RunProgram.h"
#include "tests/support/TemporaryDirectory.h"

namespace {

namespace fs = std::filesystem;
using dovrel::testing::ChildProcess;
using dovrel::testing::ProgramResult;
using dovrel::testing::runProgram;
using dovrel::testing::TemporaryDirectory;
using Clock = std::chrono::steady_clock;

constexpr int kBigHabits = 300;
constexpr int kCheckmarksPerHabit = 60;
constexpr int kReminderHabits = 40;

// ---- SQLite, read directly ------------------------------------------------------------------

struct Database {
    explicit Database(const fs::path& file, int flags = SQLITE_OPEN_READWRITE) {
        if (sqlite3_open_v2(file.c_str(), &handle, flags, nullptr) != SQLITE_OK) {
            sqlite3_close(handle);
            handle = nullptr;
        }
        if (handle != nullptr) {
            sqlite3_busy_timeout(handle, 10'000);
        }
    }
    ~Database() { sqlite3_close(handle); }
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;

    // The first column of the first row as text ("" when there is none or on an error).
    std::string text(const std::string& sql) const {
        sqlite3_stmt* statement = nullptr;
        std::string result;
        if (handle != nullptr &&
            sqlite3_prepare_v2(handle, sql.c_str(), -1, &statement, nullptr) == SQLITE_OK &&
            sqlite3_step(statement) == SQLITE_ROW) {
            const auto* value = sqlite3_column_text(statement, 0);
            result = value != nullptr ? reinterpret_cast<const char*>(value) : "";
        }
        sqlite3_finalize(statement);
        return result;
    }
    long long count(const std::string& table) const {
        const std::string value = text("SELECT count(*) FROM \"" + table + "\"");
        return value.empty() ? -1 : std::stoll(value);
    }
    bool execute(const std::string& sql) const {
        return handle != nullptr &&
               sqlite3_exec(handle, sql.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK;
    }

    sqlite3* handle = nullptr;
};

std::string integrityOf(const fs::path& file) {
    if (!fs::exists(file)) {
        return "ok";  // nothing written yet is nothing damaged
    }
    Database database(file);
    return database.text("PRAGMA integrity_check");
}

// ---- The programs ---------------------------------------------------------------------------

struct Environment {
    fs::path home;

    // The variables every run of the program gets: its own data home, Kyiv time, English, no
    // session bus (the widget reload and the daemon are only logged then).
    void apply() const {
        ::setenv("HOME", home.c_str(), 1);
        ::setenv("XDG_DATA_HOME", (home / "data").c_str(), 1);
        ::setenv("XDG_CONFIG_HOME", (home / "config").c_str(), 1);
        ::setenv("XDG_RUNTIME_DIR", home.c_str(), 1);
        ::setenv("TZ", "Europe/Kyiv", 1);
        ::setenv("LANG", "en_US.UTF-8", 1);
        ::unsetenv("LANGUAGE");
        ::unsetenv("LC_ALL");
        ::unsetenv("DBUS_SESSION_BUS_ADDRESS");
        ::unsetenv("DISPLAY");
        ::setenv("DOVREL_RESOURCES", DOVREL_BUILD_RESOURCES_DIR, 1);
    }
};

ProgramResult dovrel(const Environment& environment, std::vector<std::string> arguments) {
    environment.apply();
    arguments.insert(arguments.begin(), DOVREL_CLI_PATH);
    return runProgram(arguments, {});
}

// With --store, the notification center lives beside the store.
fs::path notificationsOf(const fs::path& store) {
    return store.parent_path() / "Notifications.sqlite";
}

// Copies a store with whatever log it has.
void copyStore(const fs::path& from, const fs::path& to) {
    for (const char* suffix : {"", "-wal", "-shm"}) {
        const fs::path source = from.string() + suffix;
        if (fs::exists(source)) {
            fs::copy_file(source, to.string() + suffix, fs::copy_options::overwrite_existing);
        }
    }
}

// Kills `arguments` after `delay`; true when it was still running then.
bool runAndKill(const Environment& environment, std::vector<std::string> arguments,
                std::chrono::microseconds delay) {
    environment.apply();
    arguments.insert(arguments.begin(), DOVREL_CLI_PATH);
    ChildProcess child(arguments);
    std::this_thread::sleep_for(delay);
    return child.kill() == 128 + SIGKILL;
}

// ---- The stores the trials start from ---------------------------------------------------------

// A version-1 store of kBigHabits habits with kCheckmarksPerHabit checkmarks each, built from
// the migration tests' small one.
bool makeBigVersion1Store(const fs::path& file) {
    std::ifstream script(fs::path(DOVREL_TEST_DATA_DIR) / "migration" / "make-v1-store.sql");
    const std::string sql(std::istreambuf_iterator<char>(script), {});
    Database store(file, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
    if (!store.execute(sql)) {
        return false;
    }
    std::ostringstream more;
    more << "BEGIN;";
    // Every habit gets a colour and an interval, so that a backup of them restores.
    more << "UPDATE Habit SET color = X'3322110000000000' WHERE color IS NULL;";
    more << "UPDATE Habit SET repeatInterval = X'01000000000000000100000000000000' "
            "WHERE repeatInterval IS NULL;";
    long long performing = 10;
    for (int habit = 4; habit <= kBigHabits; ++habit) {
        more << "INSERT INTO Habit VALUES (" << habit << ", 1, X'5634120000000000', "
             << 725700000.0 + habit << ", 'Habit " << habit << "', NULL, 0, NULL, "
             << "X'01000000000000000100000000000000');";
        for (int day = 0; day < kCheckmarksPerHabit; ++day) {
            more << "INSERT INTO Performing VALUES (" << ++performing << ", 1, "
                 << 725792400.0 + day * 86400.0 << ", " << habit << ");";
        }
    }
    more << "UPDATE Z_PRIMARYKEY SET Z_MAX = " << kBigHabits << " WHERE Z_NAME = 'Habit';";
    more << "UPDATE Z_PRIMARYKEY SET Z_MAX = " << performing << " WHERE Z_NAME = 'Performing';";
    more << "COMMIT;";
    return store.execute(more.str());
}

struct Fixtures {
    fs::path version1;  // the big version-1 store
    long long version1Habits = 0;
    long long version1Checkmarks = 0;
    fs::path backup;     // a backup of all of its habits
    fs::path small;      // two habits, "A" and "B", no checkmarks
    fs::path reminding;  // kReminderHabits habits with reminders
    // How long each writer takes when left alone.
    std::chrono::microseconds restoreTime{0}, checkTime{0}, migrationTime{0}, rescheduleTime{0};
};

std::chrono::microseconds timed(const std::function<void()>& work) {
    const auto start = Clock::now();
    work();
    return std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - start);
}

std::optional<Fixtures> makeFixtures(const fs::path& folder) {
    Fixtures fixtures;
    const Environment environment{folder / "setup-home"};
    fs::create_directories(environment.home);
    fixtures.version1 = folder / "v1.sqlite";
    if (!makeBigVersion1Store(fixtures.version1)) {
        std::cerr << "could not build the version-1 store\n";
        return std::nullopt;
    }
    {
        Database database(fixtures.version1);
        fixtures.version1Habits = database.count("Habit");
        fixtures.version1Checkmarks = database.count("Performing");
    }
    const fs::path migrated = folder / "migrated.sqlite";
    copyStore(fixtures.version1, migrated);
    fixtures.migrationTime = timed([&] {
        dovrel(environment, {"--store", migrated.string(), "list"});
    });
    fixtures.backup = folder / "big-backup.json";
    const auto backup =
        dovrel(environment, {"--store", migrated.string(), "backup", fixtures.backup.string()});
    if (backup.exitStatus != 0) {
        std::cerr << "backup: " << backup.standardError;
        return std::nullopt;
    }
    fixtures.small = folder / "small.sqlite";
    for (const char* name : {"A", "B"}) {
        dovrel(environment, {"--store", fixtures.small.string(), "add", name});
    }
    const fs::path restored = folder / "restored.sqlite";
    copyStore(fixtures.small, restored);
    fixtures.restoreTime = timed([&] {
        dovrel(environment, {"--store", restored.string(), "restore", fixtures.backup.string()});
    });
    fixtures.checkTime = timed([&] {
        dovrel(environment, {"--store", restored.string(), "check", "A", "--at", "2026-01-01"});
    });
    fixtures.reminding = folder / "reminding.sqlite";
    for (int habit = 0; habit < kReminderHabits; ++habit) {
        const std::string time = std::to_string(10 + habit % 12) + ":" + std::to_string(10 + habit);
        dovrel(environment, {"--store", fixtures.reminding.string(), "add",
                             std::string("R").append(std::to_string(habit)), "--remind", time});
    }
    fixtures.rescheduleTime = timed([&] {
        dovrel(environment,
               {"--store", fixtures.reminding.string(), "settings", "--reminders", "on"});
    });
    return fixtures;
}

// ---- The trials -----------------------------------------------------------------------------

struct Outcome {
    std::string failure;  // empty when the trial passed
    std::string note;     // what was found, for the log
};

Outcome checkStore(const fs::path& store, const Environment& environment,
                   const std::vector<long long>& allowedHabits,
                   const std::vector<long long>& allowedCheckmarks) {
    const std::string integrity = integrityOf(store);
    if (integrity != "ok") {
        return {"integrity_check of the store: " + integrity, ""};
    }
    const std::string notifications = integrityOf(notificationsOf(store));
    if (notifications != "ok") {
        return {"integrity_check of the notification center: " + notifications, ""};
    }
    long long habits = -1;
    long long checkmarks = -1;
    {
        Database database(store);
        habits = database.count("Habit");
        checkmarks = database.count("Performing");
    }
    auto allowed = [](const std::vector<long long>& values, long long value) {
        return std::find(values.begin(), values.end(), value) != values.end();
    };
    std::ostringstream note;
    note << habits << " habits, " << checkmarks << " checkmarks";
    if (!allowed(allowedHabits, habits) || !allowed(allowedCheckmarks, checkmarks)) {
        return {"a save is there in part: " + note.str(), note.str()};
    }
    const auto list = dovrel(environment, {"--store", store.string(), "list", "--json"});
    if (list.exitStatus != 0) {
        return {"the store does not open again: " + list.standardError, note.str()};
    }
    return {"", note.str()};
}

std::chrono::microseconds randomDelay(std::mt19937_64& random, std::chrono::microseconds typical) {
    // Up to 120% of the time the writer needs: most kills land inside it, a few after it.
    std::uniform_int_distribution<long long> delay(0, typical.count() * 6 / 5);
    return std::chrono::microseconds(delay(random));
}

Outcome restoreTrial(const Fixtures& fixtures, const fs::path& folder, std::mt19937_64& random) {
    const Environment environment{folder / "home"};
    fs::create_directories(environment.home);
    const fs::path store = folder / "Habit.sqlite";
    copyStore(fixtures.small, store);
    runAndKill(environment, {"--store", store.string(), "restore", fixtures.backup.string()},
               randomDelay(random, fixtures.restoreTime));
    return checkStore(store, environment, {2, 2 + fixtures.version1Habits},
                      {0, fixtures.version1Checkmarks});
}

Outcome checkTrial(const Fixtures& fixtures, const fs::path& folder, std::mt19937_64& random) {
    const Environment environment{folder / "home"};
    fs::create_directories(environment.home);
    const fs::path store = folder / "Habit.sqlite";
    copyStore(fixtures.small, store);
    std::uniform_int_distribution<int> completedChecks(0, 4);
    const int completed = completedChecks(random);
    for (int day = 1; day <= completed; ++day) {
        const auto result =
            dovrel(environment, {"--store", store.string(), "check", "A", "--at",
                                 std::string("2026-01-0").append(std::to_string(day))});
        if (result.exitStatus != 0) {
            return {std::string("check ").append(std::to_string(day)) +
                        " failed: " + result.standardError,
                    ""};
        }
    }
    runAndKill(environment, {"--store", store.string(), "check", "B", "--at", "2026-02-01"},
               randomDelay(random, fixtures.checkTime));
    Outcome outcome = checkStore(store, environment, {2}, {completed, completed + 1});
    if (outcome.failure.empty()) {
        const auto show = dovrel(environment, {"--store", store.string(), "show", "B", "--json"});
        if (show.exitStatus != 0) {
            outcome.failure = "show after the kill failed: " + show.standardError;
        }
    }
    return outcome;
}

Outcome migrationTrial(const Fixtures& fixtures, const fs::path& folder, std::mt19937_64& random) {
    const Environment environment{folder / "home"};
    fs::create_directories(environment.home);
    const fs::path store = folder / "Habit.sqlite";
    copyStore(fixtures.version1, store);
    runAndKill(environment, {"--store", store.string(), "list"},
               randomDelay(random, fixtures.migrationTime));
    // Whether the migration was cut off or not, the store opens (migrating again if it has to)
    // with every habit and checkmark.
    return checkStore(store, environment, {fixtures.version1Habits}, {fixtures.version1Checkmarks});
}

Outcome rescheduleTrial(const Fixtures& fixtures, const fs::path& folder, std::mt19937_64& random) {
    const Environment environment{folder / "home"};
    fs::create_directories(environment.home);
    const fs::path store = folder / "Habit.sqlite";
    copyStore(fixtures.reminding, store);
    runAndKill(environment, {"--store", store.string(), "settings", "--reminders", "on"},
               randomDelay(random, fixtures.rescheduleTime));
    Outcome outcome = checkStore(store, environment, {kReminderHabits}, {0});
    if (!outcome.failure.empty()) {
        return outcome;
    }
    if (fs::exists(notificationsOf(store))) {
        Database database(notificationsOf(store));
        const long long pending = database.count("pending");
        // The old set (none) or the whole new one; a table not yet made counts as none.
        if (pending != 0 && pending != 32 && pending != -1) {
            return {"the rescheduling is there in part: " + std::to_string(pending) + " pending",
                    outcome.note};
        }
        outcome.note += ", " + std::to_string(std::max(pending, 0LL)) + " pending";
    }
    const auto reminders = dovrel(environment, {"--store", store.string(), "reminders", "--json"});
    if (reminders.exitStatus != 0) {
        outcome.failure = "reminders after the kill failed: " + reminders.standardError;
    }
    return outcome;
}

}  // namespace

int main(int argc, char** argv) {
    int trials = 50;
    std::uint64_t seed =
        static_cast<std::uint64_t>(std::chrono::system_clock::now().time_since_epoch().count());
    for (int index = 1; index < argc; ++index) {
        const std::string argument = argv[index];
        if (argument == "--trials" && index + 1 < argc) {
            trials = std::stoi(argv[++index]);
        } else if (argument == "--seed" && index + 1 < argc) {
            seed = std::stoull(argv[++index]);
        } else {
            std::cerr << "usage: " << argv[0] << " [--trials N] [--seed S]\n";
            return 2;
        }
    }
    TemporaryDirectory scratch;
    const auto fixtures = makeFixtures(scratch.path());
    if (!fixtures) {
        return 1;
    }
    std::cout << "seed " << seed << "; alone, restore takes "
              << fixtures->restoreTime.count() / 1000 << " ms, check "
              << fixtures->checkTime.count() / 1000 << " ms, migration "
              << fixtures->migrationTime.count() / 1000 << " ms, rescheduling "
              << fixtures->rescheduleTime.count() / 1000 << " ms" << std::endl;
    std::mt19937_64 random(seed);
    using Trial = Outcome (*)(const Fixtures&, const fs::path&, std::mt19937_64&);
    const std::pair<const char*, Trial> kinds[] = {{"restore", restoreTrial},
                                                   {"check", checkTrial},
                                                   {"migration", migrationTrial},
                                                   {"reschedule", rescheduleTrial}};
    int failures = 0;
    for (int trial = 0; trial < trials; ++trial) {
        const auto& [name, run] = kinds[trial % 4];
        const fs::path folder =
            scratch.path() / std::string("trial-").append(std::to_string(trial));
        fs::create_directories(folder);
        const Outcome outcome = run(*fixtures, folder, random);
        if (!outcome.failure.empty()) {
            ++failures;
            std::cout << "trial " << trial << " (" << name << ") FAILED: " << outcome.failure
                      << std::endl;
        } else if (std::getenv("DOVREL_CRASH_TRIALS_VERBOSE") != nullptr) {
            std::cout << "trial " << trial << " (" << name << "): " << outcome.note << std::endl;
        }
        fs::remove_all(folder);
    }
    std::cout << trials << " trials, " << failures << " failed" << std::endl;
    return failures == 0 ? 0 : 1;
}
