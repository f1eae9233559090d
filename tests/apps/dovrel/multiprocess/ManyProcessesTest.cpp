// Many real dovrel processes on one store at the same moment, beside a long-lived process that
// writes meanwhile (as the desktop application and the reminder daemon do): every toggle lands,
// no run fails, the caches agree with the checkmarks, every launch is counted and the file stays
// sound.

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <future>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "DovrelFoundation/Analytics/AnalyticsTracker.h"
#include "DovrelFoundation/Model/Habit.h"
#include "DovrelFoundation/Persistence/ContextExtensions.h"
#include "DovrelFoundation/Persistence/CoreDataManager.h"
#include "DovrelFoundation/Progress/HabitProgressCalculator.h"
#include "platform/dispatch/MainRunLoop.h"
#include "platform/foundation/FileManager.h"
#include "platform/foundation/Region.h"
#include "tests/apps/dovrel/HabitCommands.h"
#include "tests/support/RunProgram.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/ScopedRegion.h"

namespace dovrel {
namespace {

namespace fs = std::filesystem;
using testing::ProgramResult;

constexpr int kToggles = 30;

// A day as the program's WHEN reads it, "2026-04-07".
std::string dayText(std::int64_t year, std::int64_t month, std::int64_t day) {
    char text[32];
    std::snprintf(text, sizeof text, "%04lld-%02lld-%02lld", static_cast<long long>(year),
                  static_cast<long long>(month), static_cast<long long>(day));
    return text;
}

std::string dayText(int month, int day) {
    return dayText(2026, month, day);
}

// The local calendar day of a checkmark, in the same form.
std::string dayOf(Date date) {
    const auto components = Region::current().components(date);
    return dayText(components.year.value_or(0), components.month.value_or(0),
                   components.day.value_or(0));
}

// The number on the line of `label` in the settings the program prints, or -1.
long long settingsNumber(const std::string& output, const std::string& label) {
    std::size_t start = 0;
    while (start < output.size()) {
        const auto end = output.find('\n', start);
        const std::string line = output.substr(start, end - start);
        if (line.rfind(label + " ", 0) == 0) {
            return std::stoll(line.substr(label.size()));
        }
        if (end == std::string::npos) {
            break;
        }
        start = end + 1;
    }
    return -1;
}

// The black-box tests' data home, zone and language; the programs run on the real clock, so that
// the long-lived writer in this process and they agree on today.
class ManyProcesses : public testing::HabitCommands {
  protected:
    ProgramResult dovrel(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), DOVREL_CLI_PATH);
        return testing::runProgram(arguments, environment("en_US.UTF-8"));
    }

    fs::path dataHome() const { return home_.path() / "data"; }
};

// One loop of runs: `dovrel check HABIT --at DAY` for each day, one process after the other.
struct Loop {
    std::string habit;
    std::vector<std::string> days;
    std::vector<ProgramResult> failures;
};

TEST_F(ManyProcesses, EveryToggleOfEightConcurrentProgramsAndALongLivedWriterLands) {
    for (const char* name : {"One", "Two", "Three", "Four", "Five", "Six", "Shared", "Resident"}) {
        const auto added = dovrel({"add", name});
        ASSERT_EQ(added.exitStatus, 0) << added.standardError;
    }

    // Six programs toggle a habit of their own on thirty April days. Two more share one habit:
    // the first toggles April 1 to 30, the second April 16 to May 15, so that the days they
    // share are toggled twice (and end unchecked) and the others once. The long-lived writer
    // toggles its own habit and the shared one on thirty March days.
    std::vector<Loop> loops;
    for (const char* name : {"One", "Two", "Three", "Four", "Five", "Six"}) {
        Loop loop{name, {}, {}};
        for (int day = 1; day <= kToggles; ++day) {
            loop.days.push_back(dayText(4, day));
        }
        loops.push_back(std::move(loop));
    }
    Loop first{"Shared", {}, {}};
    Loop second{"Shared", {}, {}};
    for (int day = 1; day <= 30; ++day) {
        first.days.push_back(dayText(4, day));
    }
    for (int day = 16; day <= 30; ++day) {
        second.days.push_back(dayText(4, day));
    }
    for (int day = 1; day <= 15; ++day) {
        second.days.push_back(dayText(5, day));
    }
    loops.push_back(std::move(first));
    loops.push_back(std::move(second));
    ASSERT_EQ(loops.size(), 8u);

    // The long-lived writer is this process: the application's stack on the same file, whose
    // view context merges what the programs write while it toggles a habit of its own.
    testing::ScopedEnvironment dataHomeVariable("XDG_DATA_HOME", dataHome().string());
    testing::ScopedEnvironment busAddress("DBUS_SESSION_BUS_ADDRESS", std::nullopt);
    testing::ScopedRegion region("Europe/Kyiv");
    auto tracker = std::make_shared<AnalyticsTracker>(
        std::vector<std::shared_ptr<AnalyticsServiceProtocol>>{});
    auto manager = std::make_shared<CoreDataManager>();
    manager->initializePersistentContainer(
        FileManager(), *tracker,
        CoreDataManager::StoreConfiguration{"group.app.dovrel.Dovrel", storePath().string()},
        std::nullopt, [](bool) {});
    auto& context = *manager->viewContext();
    std::shared_ptr<Habit> resident;
    for (const auto& habit : context.fetch(Habit::sortedFetchRequest())) {
        if (habit->name() == "Resident") {
            resident = habit;
        }
    }
    ASSERT_TRUE(resident);
    // A background context that keeps the shared habit as it read it once, as a daemon's
    // context does between its own saves: every save of it meets what the programs saved since.
    auto worker = manager->createNewBackgroundContext();
    std::shared_ptr<Habit> shared;
    worker->performAndWait([&] {
        for (const auto& habit : worker->fetch(Habit::sortedFetchRequest())) {
            if (habit->name() == "Shared") {
                shared = habit;
            }
        }
    });
    ASSERT_TRUE(shared);

    std::atomic<int> running{static_cast<int>(loops.size())};
    std::vector<std::thread> threads;
    for (auto& loop : loops) {
        threads.emplace_back([this, &loop, &running] {
            for (const auto& day : loop.days) {
                auto result = dovrel({"check", loop.habit, "--at", day});
                if (result.exitStatus != 0 || !result.standardError.empty()) {
                    loop.failures.push_back(std::move(result));
                }
            }
            running.fetch_sub(1);
        });
    }

    std::vector<std::string> residentDays;
    for (int day = 1; day <= kToggles; ++day) {
        residentDays.push_back(dayText(3, day));
        const auto when = Region::current().parse(dayText(3, day) + " 12:00", "yyyy-MM-dd HH:mm");
        ASSERT_TRUE(when);
        bool finished = false;
        std::optional<Error> failure;
        performChangesRetryingOnConflict(
            context, [&](store::ManagedObjectContext&) { resident->toggleCheckmark(*when); },
            [&] { finished = true; },
            [&](const Error& error) {
                failure = error;
                finished = true;
            });
        MainRunLoop::runUntil([&] { return finished; }, std::chrono::seconds(60));
        ASSERT_TRUE(finished);
        ASSERT_FALSE(failure) << failure->localizedDescription();

        std::promise<std::optional<Error>> sharedSaved;
        performChangesRetryingOnConflict(
            *worker, [&](store::ManagedObjectContext&) { shared->toggleCheckmark(*when); },
            [&] { sharedSaved.set_value(std::nullopt); },
            [&](const Error& error) { sharedSaved.set_value(error); });
        const auto sharedFailure = sharedSaved.get_future().get();
        ASSERT_FALSE(sharedFailure) << sharedFailure->localizedDescription();
        // Meanwhile the programs' commits merge into the view context as remote changes.
        MainRunLoop::runUntil([] { return false; }, std::chrono::milliseconds(60));
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(running.load(), 0);
    for (const auto& loop : loops) {
        for (const auto& failure : loop.failures) {
            ADD_FAILURE() << loop.habit << ": status " << failure.exitStatus << ": "
                          << failure.standardError;
        }
    }

    // What each habit must hold now.
    std::map<std::string, std::set<std::string>> expected;
    for (const auto& loop : loops) {
        auto& days = expected[loop.habit];
        for (const auto& day : loop.days) {
            if (!days.erase(day)) {
                days.insert(day);
            }
        }
    }
    expected["Resident"] = std::set<std::string>(residentDays.begin(), residentDays.end());
    expected["Shared"].insert(residentDays.begin(), residentDays.end());
    ASSERT_EQ(expected["Shared"].size(), 60u);

    // Read back through a container of its own, as a new process would.
    manager.reset();
    auto reader = std::make_shared<CoreDataManager>();
    reader->initializePersistentContainer(
        FileManager(), *tracker,
        CoreDataManager::StoreConfiguration{"group.app.dovrel.Dovrel", storePath().string()},
        std::nullopt, [](bool) {});
    const auto habits = reader->viewContext()->fetch(Habit::sortedFetchRequest());
    ASSERT_EQ(habits.size(), 8u);
    for (const auto& habit : habits) {
        const std::string name = habit->name().value_or("");
        std::vector<Date> dates = habit->performingDates();
        std::sort(dates.begin(), dates.end());
        std::multiset<std::string> days;
        for (const Date date : dates) {
            days.insert(dayOf(date));
        }
        const auto& wanted = expected[name];
        EXPECT_EQ(days, std::multiset<std::string>(wanted.begin(), wanted.end())) << name;
        // The caches were computed from exactly these checkmarks, by whichever run wrote last.
        const std::vector<Date> lastFive(dates.end() - std::min<std::ptrdiff_t>(5, dates.size()),
                                         dates.end());
        ASSERT_TRUE(habit->lastFivePerformingDates()) << name;
        EXPECT_EQ(habit->lastFivePerformingDates()->dates(), lastFive) << name;
        EXPECT_EQ(habit->lastPerformingDateProgress(),
                  HabitProgressCalculator::calculateProgress(dates, 1, 1))
            << name;
    }

    // Every launch was counted: eight adds, the checks and this one.
    const auto settings = dovrel({"settings"});
    ASSERT_EQ(settings.exitStatus, 0) << settings.standardError;
    std::size_t checks = 0;
    for (const auto& loop : loops) {
        checks += loop.days.size();
    }
    EXPECT_EQ(settingsNumber(settings.standardOutput, "Launches"),
              static_cast<long long>(8 + checks + 1))
        << settings.standardOutput;

    sqlite3* raw = nullptr;
    ASSERT_EQ(sqlite3_open_v2(storePath().c_str(), &raw, SQLITE_OPEN_READONLY, nullptr), SQLITE_OK);
    std::unique_ptr<sqlite3, decltype(&sqlite3_close_v2)> database(raw, &sqlite3_close_v2);
    sqlite3_stmt* statement = nullptr;
    ASSERT_EQ(sqlite3_prepare_v2(raw, "PRAGMA integrity_check", -1, &statement, nullptr),
              SQLITE_OK);
    ASSERT_EQ(sqlite3_step(statement), SQLITE_ROW);
    EXPECT_STREQ(reinterpret_cast<const char*>(sqlite3_column_text(statement, 0)), "ok");
    sqlite3_finalize(statement);
}

}  // namespace
}  // namespace dovrel
