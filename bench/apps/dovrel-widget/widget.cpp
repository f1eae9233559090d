// The desktop widget's answer to another process: from a save in another process (the time the
// save returned there) to the widget's repainted row, over 100 saves; median under 100 ms, and
// the 95th percentile printed beside it.
//
// This program is both sides: started with --peer it is the other process, which toggles today's
// checkmark of the habit it is told on stdin, saves, and answers with the monotonic time of the
// end of the save (CLOCK_MONOTONIC, the same clock in both processes).

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QApplication>
#include <QElapsedTimer>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <string>
#include <vector>

#include "DovrelFoundation/Appearance/ColorExtensions.h"
#include "DovrelFoundation/Model/Habit.h"
#include "DovrelFoundation/Model/RepeatInterval.h"
#include "DovrelFoundation/Persistence/ContextExtensions.h"
#include "apps/dovrel-app/AppServices.h"
#include "apps/dovrel-app/QtMainLoopBridge.h"
#include "apps/dovrel-widget/WidgetWindow.h"
#include "bench/support/BenchFolder.h"
#include "bench/support/Figures.h"
#include "bench/support/PaintCounter.h"
#include "platform/dispatch/MainRunLoop.h"
#include "platform/foundation/Clock.h"
#include "platform/ui/table/TableView.h"

namespace {

using dovrel::Habit;
using dovrel::app::AppServices;

constexpr int kHabits = 10;
constexpr int kSaves = 100;

std::int64_t monotonicNanoseconds() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

AppServices::Options applicationStore() {
    AppServices::Options options;
    options.countsLaunch = false;
    return options;
}

// The other process: "N" on stdin toggles today's checkmark of habit N (from 0, oldest first)
// and answers with the end of the save.
int runPeer() {
    AppServices services(applicationStore());
    auto& context = services.viewContext();
    const auto habits = context.fetch(Habit::sortedFetchRequest(std::nullopt, false));
    std::string line;
    while (std::getline(std::cin, line)) {
        const auto& habit = habits.at(static_cast<std::size_t>(std::stoi(line)));
        habit->toggleCheckmark(dovrel::Clock::now());
        context.save();
        std::cout << monotonicNanoseconds() << std::endl;
    }
    return 0;
}

void makeStore() {
    AppServices services(applicationStore());
    auto& context = services.viewContext();
    for (int index = 0; index < kHabits; ++index) {
        auto habit = dovrel::insertObject<Habit>(context);
        habit->setName("Habit " + std::to_string(index + 1));
        habit->setColor(dovrel::habitPalette()[static_cast<std::size_t>(index) % 9]);
        habit->setCreationDate(dovrel::Date(1000.0 * index));
        habit->setRepeatInterval(dovrel::RepeatInterval());
    }
    context.save();
}

using dovrel::bench::PaintCounter;

void BM_SaveElsewhereToRepaintedRow(benchmark::State& state) {
    makeStore();
    dovrel::app::QtMainLoopBridge bridge;
    AppServices::Options options;
    options.mode = AppServices::Mode::widget;
    options.countsLaunch = false;
    AppServices services(options);
    dovrel::widget::WidgetWindow::Options widgetOptions;
    widgetOptions.listensForReloads = false;
    dovrel::widget::WidgetWindow window(services, widgetOptions);
    window.resize(300, 360);
    window.show();
    const auto settle = [](int milliseconds) {
        QElapsedTimer timer;
        timer.start();
        while (timer.elapsed() < milliseconds) {
            QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
            dovrel::MainRunLoop::runPending();
        }
    };
    settle(200);
    std::size_t visible = 0;
    for (const auto& row : window.tableView()->indexPathsForVisibleRows()) {
        if (window.tableView()->rectForRow(row).bottom() <
            window.tableView()->viewport()->height()) {
            ++visible;
        }
    }

    // The peer, with a pipe each way.
    int toPeer[2];
    int fromPeer[2];
    if (::pipe(toPeer) != 0 || ::pipe(fromPeer) != 0) {
        state.SkipWithError("pipe");
        return;
    }
    const pid_t peer = ::fork();
    if (peer == 0) {
        ::dup2(toPeer[0], STDIN_FILENO);
        ::dup2(fromPeer[1], STDOUT_FILENO);
        for (int descriptor : {toPeer[0], toPeer[1], fromPeer[0], fromPeer[1]}) {
            ::close(descriptor);
        }
        ::execl("/proc/self/exe", "bench_widget", "--peer", static_cast<char*>(nullptr));
        ::_exit(127);
    }
    ::close(toPeer[0]);
    ::close(fromPeer[1]);
    ::fcntl(fromPeer[0], F_SETFL, ::fcntl(fromPeer[0], F_GETFL) | O_NONBLOCK);
    std::string pending;

    std::vector<double> delays;
    int save = 0;
    for (auto _ : state) {
        const std::size_t row = static_cast<std::size_t>(save++) % visible;
        auto* toggle = window.cellAt(row)->todayToggle();
        const bool before = toggle->isChecked();
        PaintCounter counter;
        toggle->installEventFilter(&counter);
        const std::string command = std::to_string(row) + "\n";
        if (::write(toPeer[1], command.data(), command.size()) < 0) {
            state.SkipWithError("the peer is gone");
            break;
        }
        std::int64_t saved = -1;
        QElapsedTimer timer;
        timer.start();
        bool repainted = false;
        while (timer.elapsed() < 10000) {
            char buffer[64];
            const ssize_t count = ::read(fromPeer[0], buffer, sizeof buffer);
            if (count > 0) {
                pending.append(buffer, static_cast<std::size_t>(count));
            }
            if (saved < 0 && pending.find('\n') != std::string::npos) {
                saved = std::stoll(pending.substr(0, pending.find('\n')));
                pending.erase(0, pending.find('\n') + 1);
            }
            QCoreApplication::processEvents(QEventLoop::AllEvents);
            dovrel::MainRunLoop::runPending();
            auto* shown = window.cellAt(row)->todayToggle();
            if (shown->isChecked() != before && counter.paints > 0 && saved >= 0) {
                repainted = true;
                break;
            }
        }
        const std::int64_t painted = monotonicNanoseconds();
        toggle->removeEventFilter(&counter);
        if (!repainted) {
            state.SkipWithError("the row was not repainted with the other process's save");
            break;
        }
        // The paint may come before this loop read the peer's line; it is timed when seen.
        const double milliseconds = static_cast<double>(painted - saved) / 1e6;
        state.SetIterationTime(std::max(milliseconds, 0.0) / 1000);
        delays.push_back(milliseconds);
    }
    ::close(toPeer[1]);
    int status = 0;
    ::waitpid(peer, &status, 0);
    ::close(fromPeer[0]);
    if (delays.empty()) {
        return;
    }
    std::sort(delays.begin(), delays.end());
    auto& figures = dovrel::bench::Figures::shared();
    figures.record("save in another process to the widget's repainted row, median of " +
                       std::to_string(delays.size()) + " saves",
                   dovrel::bench::Figures::median(delays), "ms", 100.0);
    figures.record("save in another process to the widget's repainted row, 95th percentile",
                   delays[static_cast<std::size_t>(0.95 * static_cast<double>(delays.size() - 1))],
                   "ms", dovrel::bench::kNoAim);
}
BENCHMARK(BM_SaveElsewhereToRepaintedRow)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(kSaves);

}  // namespace

int main(int argc, char** argv) {
    if (argc > 1 && std::strcmp(argv[1], "--peer") == 0) {
        return runPeer();
    }
    // The user's own data, settings and session are never touched; the peer inherits these.
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
