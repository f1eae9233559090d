// The desktop application's two speeds a person feels:
//   - start: from starting dovrel-app to the first painted list, on a store of 100 habits with
//     ten years of daily checkmarks each (365,000 checkmarks), must be under 300 ms;
//   - a click: from a click on a row's today toggle to the repainted toggle, median under 16 ms.
// The start is timed by this program around the real program (offscreen Qt platform, no session
// bus), from fork to the line the program prints after its first paint of the list. The click is
// timed inside this process on the real window.

#include <benchmark/benchmark.h>
#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QApplication>
#include <QElapsedTimer>
#include <QTest>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "DovrelFoundation/Appearance/ColorExtensions.h"
#include "DovrelFoundation/Model/Habit.h"
#include "DovrelFoundation/Model/RepeatInterval.h"
#include "DovrelFoundation/Persistence/ContextExtensions.h"
#include "DovrelFoundation/Progress/DateExtensions.h"
#include "apps/dovrel-app/AppServices.h"
#include "apps/dovrel-app/HabitCell.h"
#include "apps/dovrel-app/HabitListWindow.h"
#include "apps/dovrel-app/QtMainLoopBridge.h"
#include "bench/support/BenchFolder.h"
#include "bench/support/Figures.h"
#include "bench/support/PaintCounter.h"
#include "platform/dispatch/MainRunLoop.h"
#include "platform/foundation/Clock.h"
#include "platform/ui/table/TableView.h"

namespace {

using dovrel::Date;
using dovrel::Habit;
using dovrel::app::AppServices;

constexpr int kHabits = 100;
constexpr int kDays = 3650;
constexpr int kStarts = 15;
constexpr int kClicks = 40;

void runEvents(int milliseconds) {
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < milliseconds) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
        dovrel::MainRunLoop::runPending();
    }
}

template <class Condition>
bool runEventsUntil(Condition condition, int milliseconds) {
    QElapsedTimer timer;
    timer.start();
    while (!condition()) {
        if (timer.elapsed() > milliseconds) {
            return false;
        }
        QCoreApplication::processEvents(QEventLoop::AllEvents);
        dovrel::MainRunLoop::runPending();
    }
    return true;
}

void check(int status, sqlite3* database, const char* what) {
    if (status != SQLITE_OK && status != SQLITE_DONE && status != SQLITE_ROW) {
        std::fprintf(stderr, "%s: %s\n", what, sqlite3_errmsg(database));
        std::exit(1);
    }
}

// 100 habits made by the library, each with a checkmark on every one of the 3,650 days before
// today written straight into the file (the library would take minutes to make them one by one),
// then today's checkmark toggled by the library, which brings both caches up to date from every
// checkmark, as they are in a store that grew over ten years.
void makeStore(const std::filesystem::path& path) {
    {
        AppServices::Options options;
        options.storePath = path;
        options.countsLaunch = false;
        AppServices services(options);
        auto& context = services.viewContext();
        const auto& palette = dovrel::habitPalette();
        for (int index = 0; index < kHabits; ++index) {
            auto habit = dovrel::insertObject<Habit>(context);
            habit->setName("Habit " + std::to_string(index + 1));
            habit->setQuestion(index % 2 == 0 ? std::optional<std::string>("Did you do it today?")
                                              : std::nullopt);
            habit->setColor(palette[static_cast<std::size_t>(index) % palette.size()]);
            habit->setCreationDate(Date(1000.0 * index));
            habit->setRepeatInterval(dovrel::RepeatInterval());
        }
        context.save();
    }
    sqlite3* database = nullptr;
    check(sqlite3_open(path.c_str(), &database), database, "open");
    sqlite3_busy_timeout(database, 10000);
    check(sqlite3_exec(database, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr), database, "begin");
    sqlite3_stmt* insert = nullptr;
    check(sqlite3_prepare_v2(
              database, "INSERT INTO Performing (Z_PK, Z_OPT, date, habit) VALUES (?, 1, ?, ?)", -1,
              &insert, nullptr),
          database, "prepare");
    std::vector<double> days;
    const Date now = dovrel::Clock::now();
    for (int day = kDays; day >= 1; --day) {
        days.push_back(
            dovrel::onlyDay(dovrel::dateInDays(now, -day)).timeIntervalSinceReferenceDate() +
            9 * 3600);
    }
    std::int64_t key = 0;
    for (int habit = 1; habit <= kHabits; ++habit) {
        for (const double date : days) {
            sqlite3_bind_int64(insert, 1, ++key);
            sqlite3_bind_double(insert, 2, date);
            sqlite3_bind_int64(insert, 3, habit);
            check(sqlite3_step(insert), database, "insert");
            sqlite3_reset(insert);
        }
    }
    sqlite3_finalize(insert);
    const std::string keys =
        "UPDATE Z_PRIMARYKEY SET Z_MAX = " + std::to_string(key) + " WHERE Z_NAME = 'Performing'";
    check(sqlite3_exec(database, keys.c_str(), nullptr, nullptr, nullptr), database, "keys");
    check(sqlite3_exec(database, "COMMIT", nullptr, nullptr, nullptr), database, "commit");
    sqlite3_close(database);

    AppServices::Options options;
    options.storePath = path;
    options.countsLaunch = false;
    AppServices services(options);
    auto& context = services.viewContext();
    for (const auto& habit : context.fetch(Habit::sortedFetchRequest(std::nullopt, false))) {
        habit->toggleCheckmark(now);
    }
    context.save();
}

std::filesystem::path storePath() {
    static dovrel::bench::BenchFolder folder;
    static const std::filesystem::path path = [] {
        const auto made = folder.path() / "Habit.sqlite";
        makeStore(made);
        return made;
    }();
    return path;
}

// Milliseconds from fork to the program's "painted" line.
double timeToFirstPaint(const std::filesystem::path& store) {
    int output[2];
    if (::pipe(output) != 0) {
        std::perror("pipe");
        std::exit(1);
    }
    const auto start = std::chrono::steady_clock::now();
    const pid_t child = ::fork();
    if (child == 0) {
        ::dup2(output[1], STDOUT_FILENO);
        ::close(output[0]);
        ::close(output[1]);
        ::setenv("QT_QPA_PLATFORM", "offscreen", 1);
        ::unsetenv("DBUS_SESSION_BUS_ADDRESS");
        ::execl(DOVREL_APP_PATH, DOVREL_APP_PATH, "--store", store.c_str(), "--appearance", "light",
                "--quit-after-first-paint", static_cast<char*>(nullptr));
        ::_exit(127);
    }
    ::close(output[1]);
    std::string line;
    char buffer[256];
    double elapsed = -1;
    for (;;) {
        const ssize_t count = ::read(output[0], buffer, sizeof buffer);
        if (count <= 0) {
            break;
        }
        line.append(buffer, static_cast<std::size_t>(count));
        if (line.find("painted") != std::string::npos && elapsed < 0) {
            elapsed =
                std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
                    .count();
        }
    }
    ::close(output[0]);
    int status = 0;
    ::waitpid(child, &status, 0);
    return elapsed;
}

void BM_StartToFirstPaintedList(benchmark::State& state) {
    const auto store = storePath();
    for (auto _ : state) {
        const double milliseconds = timeToFirstPaint(store);
        if (milliseconds < 0) {
            state.SkipWithError("dovrel-app did not report its first paint");
            return;
        }
        state.SetIterationTime(milliseconds / 1000);
        dovrel::bench::Figures::shared().record(
            "start of dovrel-app to the first painted list (100 habits, 365,000 checkmarks)",
            milliseconds, "ms", 300.0);
    }
}
BENCHMARK(BM_StartToFirstPaintedList)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(kStarts);

using dovrel::bench::PaintCounter;

void BM_ClickToRepaintedToggle(benchmark::State& state) {
    const auto store = storePath();
    dovrel::app::QtMainLoopBridge bridge;
    AppServices::Options options;
    options.storePath = store;
    options.countsLaunch = false;
    AppServices services(options);
    dovrel::app::HabitListWindow window(services);
    window.resize(760, 560);
    window.show();
    runEvents(200);
    auto* table = window.tableView();
    // The rows wholly in view (a toggle cut off by the bottom edge is not painted).
    std::size_t visible = 0;
    for (const auto& row : table->indexPathsForVisibleRows()) {
        if (table->rectForRow(row).bottom() < table->viewport()->height()) {
            ++visible;
        }
    }
    int click = 0;
    for (auto _ : state) {
        const dovrel::IndexPath row{0, static_cast<std::size_t>(click++) % visible};
        auto* cell = dynamic_cast<dovrel::app::HabitCell*>(table->cellForRow(row));
        auto* toggle = cell->todayToggle();
        PaintCounter counter;
        toggle->installEventFilter(&counter);
        const bool before = toggle->isChecked();
        QElapsedTimer timer;
        timer.start();
        QTest::mouseClick(toggle, Qt::LeftButton);
        const bool repainted = runEventsUntil(
            [&] {
                auto* shown = dynamic_cast<dovrel::app::HabitCell*>(table->cellForRow(row));
                return shown->todayToggle()->isChecked() != before && counter.paints > 0;
            },
            5000);
        const double milliseconds = static_cast<double>(timer.nsecsElapsed()) / 1e6;
        toggle->removeEventFilter(&counter);
        if (!repainted) {
            state.SkipWithError("the toggle was not repainted with the new state");
            return;
        }
        state.SetIterationTime(milliseconds / 1000);
        dovrel::bench::Figures::shared().record(
            "click on today's toggle to the repainted toggle (habits of 3,650 checkmarks)",
            milliseconds, "ms", 16.0);
        // The rescheduling that the toggle asked for runs meanwhile in the background; let it
        // finish so that the next click is timed alone.
        runEvents(30);
    }
}
BENCHMARK(BM_ClickToRepaintedToggle)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(kClicks);

}  // namespace

int main(int argc, char** argv) {
    // The user's own data, settings and session are never touched.
    static dovrel::bench::BenchFolder home;
    ::setenv("HOME", home.path().c_str(), 1);
    ::setenv("XDG_DATA_HOME", (home.path() / "data").c_str(), 1);
    ::setenv("XDG_CONFIG_HOME", (home.path() / "config").c_str(), 1);
    ::setenv("XDG_RUNTIME_DIR", home.path().c_str(), 1);
    ::setenv("QT_QPA_PLATFORM", "offscreen", 0);
    ::unsetenv("DBUS_SESSION_BUS_ADDRESS");
    QApplication application(argc, argv);
    dovrel::ui::TableView::setAnimationsEnabled(false);
    return dovrel::bench::runBenchmarks(argc, argv, 1);
}
