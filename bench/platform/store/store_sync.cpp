// How long a save in one process takes to reach another process that has the same store open:
// the time from the start of a save in this program to the objects-did-change notification of
// the view context (which merges automatically) in a second copy of this program, started with
// --peer. Both use the store's defaults: history tracking, remote-change notifications and the
// default check interval. The peer writes the monotonic time of every notification, which is
// comparable between processes on one machine.
//
// Prints the median and 95th percentile of the delay over the samples, and the median's share of
// the 100 ms it should stay under.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "bench/support/Figures.h"
#include "platform/dispatch/MainRunLoop.h"
#include "platform/foundation/NotificationCenter.h"
#include "platform/store/ManagedObjectContext.h"
#include "platform/store/PersistentContainer.h"
#include "platform/store/PersistentStoreCoordinator.h"

namespace {

using namespace dovrel;
using namespace dovrel::store;
using SteadyClock = std::chrono::steady_clock;

constexpr int kSamples = 200;

std::shared_ptr<const ManagedObjectModel> model() {
    EntityDescription item("Item");
    item.addAttribute({"value", AttributeType::integer64AttributeType, false, Value(0)});
    std::vector<EntityDescription> entities;
    entities.push_back(std::move(item));
    return std::make_shared<ManagedObjectModel>("1", std::move(entities));
}

std::unique_ptr<PersistentContainer> open(const std::filesystem::path& file) {
    PersistentStoreDescription description(file);
    description.setOption(Value(true), PersistentStoreDescription::kPersistentHistoryTrackingKey);
    description.setOption(Value(true),
                          PersistentStoreDescription::kRemoteChangeNotificationPostOptionKey);
    auto container = std::make_unique<PersistentContainer>("Sync", model());
    container->setPersistentStoreDescriptions({description});
    container->loadPersistentStores([](const PersistentStoreDescription&,
                                       std::optional<Error> error) {
        if (error) {
            throw std::runtime_error("the store did not load: " + error->localizedDescription());
        }
    });
    return container;
}

std::int64_t monotonicNanoseconds() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               SteadyClock::now().time_since_epoch())
        .count();
}

// The second process: writes "ready", then "changed <ns>" for every objects-did-change of its
// view context, until its input ends.
int runPeer(const std::filesystem::path& file) {
    auto container = open(file);
    auto context = container->viewContext();
    context->setAutomaticallyMergesChangesFromParent(true);
    // Hold the item, so that its updates are refreshes of an object the context has.
    FetchRequestBase request("Item");
    auto items = context->fetch(request);
    for (auto& item : items) {
        (void)item->value("value");
    }
    auto observation = NotificationCenter::defaultCenter().addObserver(
        ManagedObjectContext::kObjectsDidChangeNotification, context.get(),
        [](const Notification&) {
            std::printf("changed %lld\n", static_cast<long long>(monotonicNanoseconds()));
            std::fflush(stdout);
        });
    std::printf("ready\n");
    std::fflush(stdout);
    std::atomic<bool> ended = false;
    std::thread input([&] {
        char buffer[256];
        while (::read(STDIN_FILENO, buffer, sizeof buffer) > 0) {
        }
        ended = true;
    });
    while (!ended) {
        MainRunLoop::runUntil([&] { return ended.load(); }, std::chrono::milliseconds(100));
    }
    input.join();
    return 0;
}

// The peer process, spoken to through pipes.
class Peer {
  public:
    explicit Peer(const std::filesystem::path& file) {
        int toPeer[2];
        int fromPeer[2];
        if (::pipe2(toPeer, O_CLOEXEC) != 0 || ::pipe2(fromPeer, O_CLOEXEC) != 0) {
            throw std::runtime_error("pipe2 failed");
        }
        const std::string path = file.string();
        pid_ = ::fork();
        if (pid_ == 0) {
            ::dup2(toPeer[0], STDIN_FILENO);
            ::dup2(fromPeer[1], STDOUT_FILENO);
            ::execl("/proc/self/exe", "bench_store_sync", "--peer", path.c_str(), nullptr);
            ::_exit(127);
        }
        ::close(toPeer[0]);
        ::close(fromPeer[1]);
        input_ = toPeer[1];
        output_ = fromPeer[0];
    }
    ~Peer() {
        ::close(input_);
        ::close(output_);
        ::kill(pid_, SIGTERM);
        ::waitpid(pid_, nullptr, 0);
    }

    std::string readLine(std::chrono::milliseconds timeout) {
        const auto deadline = SteadyClock::now() + timeout;
        for (;;) {
            if (auto end = buffer_.find('\n'); end != std::string::npos) {
                std::string line = buffer_.substr(0, end);
                buffer_.erase(0, end + 1);
                return line;
            }
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                deadline - SteadyClock::now());
            pollfd descriptor{output_, POLLIN, 0};
            if (left.count() <= 0 || ::poll(&descriptor, 1, static_cast<int>(left.count())) <= 0) {
                throw std::runtime_error("the peer did not answer in time");
            }
            char chunk[1024];
            const ssize_t count = ::read(output_, chunk, sizeof chunk);
            if (count <= 0) {
                throw std::runtime_error("the peer ended");
            }
            buffer_.append(chunk, static_cast<std::size_t>(count));
        }
    }

  private:
    pid_t pid_ = -1;
    int input_ = -1;
    int output_ = -1;
    std::string buffer_;
};

double percentile(std::vector<double> values, double fraction) {
    std::sort(values.begin(), values.end());
    const auto index = static_cast<std::size_t>(fraction * static_cast<double>(values.size() - 1));
    return values[index];
}

void BM_SaveToRemoteObjectsDidChange(benchmark::State& state) {
    char pattern[] = "/tmp/dovrel-bench-sync-XXXXXX";
    const std::filesystem::path directory = ::mkdtemp(pattern);
    const auto file = directory / "Sync.sqlite";
    std::vector<double> delays;
    {
        auto container = open(file);
        auto context = container->newBackgroundContext();
        std::shared_ptr<ManagedObject> item;
        context->performAndWait([&] {
            item = context->insertNewObject("Item");
            context->save();
        });
        Peer peer(file);
        if (peer.readLine(std::chrono::seconds(10)) != "ready") {
            state.SkipWithError("the peer did not start");
            return;
        }
        std::minstd_rand random(7);
        std::int64_t value = 0;
        for (auto _ : state) {
            // A pause of random length, so that saves fall at every phase of the peer's checks.
            std::this_thread::sleep_for(std::chrono::microseconds(random() % 30000));
            const std::int64_t start = monotonicNanoseconds();
            context->performAndWait([&] {
                item->setValue(Value(++value), "value");
                context->save();
            });
            const std::string line = peer.readLine(std::chrono::seconds(10));
            if (line.rfind("changed ", 0) != 0) {
                state.SkipWithError(("unexpected line from the peer: " + line).c_str());
                break;
            }
            const double seconds = static_cast<double>(std::stoll(line.substr(8)) - start) / 1e9;
            state.SetIterationTime(seconds);
            delays.push_back(seconds * 1000);
        }
    }
    std::filesystem::remove_all(directory);
    if (delays.empty()) {
        return;
    }
    const double median = percentile(delays, 0.5);
    const double p95 = percentile(delays, 0.95);
    // Five repetitions of the figure: the median of each fifth of the saves.
    const std::size_t block = delays.size() / 5;
    for (std::size_t first = 0; block > 0 && first + block <= delays.size(); first += block) {
        dovrel::bench::Figures::shared().record(
            "time from a save to the other process's objects-did-change (median of " +
                std::to_string(block) + " saves)",
            percentile(
                std::vector<double>(delays.begin() + static_cast<std::ptrdiff_t>(first),
                                    delays.begin() + static_cast<std::ptrdiff_t>(first + block)),
                0.5),
            "ms", 100);
    }
    dovrel::bench::Figures::shared().record(
        "time from a save to the other process's objects-did-change (95th percentile of all)", p95,
        "ms", dovrel::bench::kNoAim);
    state.counters["median_ms"] = median;
    state.counters["p95_ms"] = p95;
    std::printf(
        "save-to-remote objects-did-change over %zu saves (check interval %.0f ms): median %.1f "
        "ms, 95th percentile %.1f ms; median / 100 ms = %.2f\n",
        delays.size(), PersistentStoreCoordinator(model()).remoteChangeInterval() * 1000, median,
        p95, median / 100.0);
}
BENCHMARK(BM_SaveToRemoteObjectsDidChange)
    ->Iterations(kSamples)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
    if (argc == 3 && std::string(argv[1]) == "--peer") {
        try {
            return runPeer(argv[2]);
        } catch (const std::exception& error) {
            std::cerr << error.what() << "\n";
            return 1;
        }
    }
    // The benchmark's samples are its repetitions.
    return dovrel::bench::runBenchmarks(argc, argv, 1);
}
