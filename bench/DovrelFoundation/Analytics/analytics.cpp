// The cost of one analytics event through an AnalyticsTracker with three services: time per
// event and heap allocations per event (counted by replacing the global operator new).

#include <benchmark/benchmark.h>

#include <atomic>
#include <cstdlib>
#include <memory>
#include <new>

#include "DovrelFoundation/Analytics/AnalyticsTracker.h"
#include "bench/support/Figures.h"

// The replacement operators below pair malloc with free, which is correct; GCC cannot see that
// once they are inlined into the library's own new/delete expressions.
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"

namespace {

std::atomic<std::size_t> allocations{0};

}  // namespace

void* operator new(std::size_t size) {
    allocations.fetch_add(1, std::memory_order_relaxed);
    if (void* memory = std::malloc(size == 0 ? 1 : size)) {
        return memory;
    }
    throw std::bad_alloc();
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}

namespace dovrel {
namespace {

// A service that reads what it is given, as a vendor adapter would, and keeps nothing.
class ReadingService final : public AnalyticsServiceProtocol {
  public:
    using AnalyticsServiceProtocol::trackEvent;
    void trackEvent(std::string_view event,
                    const std::optional<AnalyticsParameters>& parameters) override {
        benchmark::DoNotOptimize(event.size());
        if (parameters) {
            for (const auto& [key, value] : *parameters) {
                benchmark::DoNotOptimize(key.data());
                benchmark::DoNotOptimize(value.index());
            }
        }
    }
    void trackError(const Error&) override {}
    void trackNumberOfHabits(std::int64_t) override {}
    void trackNotificationsAllowed(bool) override {}
    void track(const Locale&, const std::optional<std::string>&) override {}
    void track(UserInterfaceStyle) override {}
    void trackRemoteConfig(const std::map<std::string, std::string>&) override {}
};

AnalyticsTracker makeTracker() {
    return AnalyticsTracker({std::make_shared<ReadingService>(), std::make_shared<ReadingService>(),
                             std::make_shared<ReadingService>()});
}

void reportAllocations(benchmark::State& state, std::size_t before) {
    state.counters["allocs_per_event"] = benchmark::Counter(
        static_cast<double>(allocations.load() - before), benchmark::Counter::kAvgIterations);
}

// The seven parameters of a checkmark toggle, built once by the caller.
void BM_TrackEventWithSevenParameters(benchmark::State& state) {
    AnalyticsTracker tracker = makeTracker();
    const std::optional<AnalyticsParameters> parameters(AnalyticsParameters{
        {"habit_name", "Drink water"},
        {"motivate_title", "Stay fresh"},
        {"repeat", true},
        {"regularity", "3 times in 7 days"},
        {"progress", 42.5},
        {"checkmark_on", true},
        {"days_since_checkmark", std::int64_t{2}},
    });
    const std::size_t before = allocations.load();
    for (auto _ : state) {
        tracker.trackEvent("main_screen_habit_toggle_checkmark", parameters);
    }
    reportAllocations(state, before);
}
BENCHMARK(BM_TrackEventWithSevenParameters);

void BM_TrackEventWithoutParameters(benchmark::State& state) {
    AnalyticsTracker tracker = makeTracker();
    const std::size_t before = allocations.load();
    for (auto _ : state) {
        tracker.trackEvent("main_screen");
    }
    reportAllocations(state, before);
}
BENCHMARK(BM_TrackEventWithoutParameters);

// The ready-made operation, which also builds the dictionary.
void BM_TrackToggleCheckmark(benchmark::State& state) {
    AnalyticsTracker tracker = makeTracker();
    const std::string name = "Drink water";
    const std::string phrase = "Stay fresh";
    const std::string regularity = "3 times in 7 days";
    const std::size_t before = allocations.load();
    for (auto _ : state) {
        tracker.trackToggleCheckmark(EventSource::habitsListScreen, name, phrase, true, regularity,
                                     42.5, true, 2);
    }
    reportAllocations(state, before);
}
BENCHMARK(BM_TrackToggleCheckmark);

}  // namespace
}  // namespace dovrel

int main(int argc, char** argv) {
    // No aims here: the figures are Google Benchmark's own, with their repetitions' median and
    // spread.
    return dovrel::bench::runBenchmarks(argc, argv, 3);
}
