// Calendar-day arithmetic over ICU: onlyDay() and daysSince(_:) in Europe/Kyiv over one million
// instants spread across ten years. The progress score calls these once or twice per checkmark,
// so their cost per call is compared with sorting the same instants.
//
// The "host" benchmarks take the zone from TZ, as a program does, and so include the per-call
// check of TZ and /etc/localtime; the "pinned" ones pin the zone with a guard and skip it.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <random>
#include <vector>

#include "DovrelFoundation/Progress/DateExtensions.h"
#include "bench/support/Figures.h"
#include "platform/foundation/Date.h"
#include "platform/foundation/RegionOverrides.h"

namespace {

using dovrel::Date;

constexpr std::size_t kInstantCount = 1'000'000;

// 2015-01-01 00:00 UTC to 2025-01-01 00:00 UTC, as seconds since 2001.
constexpr double kFirst = 441763200.0;
constexpr double kLast = 757382400.0;

const std::vector<Date>& shuffledInstants() {
    static const std::vector<Date> instants = [] {
        std::mt19937_64 random(20240331);
        std::uniform_real_distribution<double> seconds(kFirst, kLast);
        std::vector<Date> result;
        result.reserve(kInstantCount);
        for (std::size_t i = 0; i < kInstantCount; ++i) {
            result.emplace_back(seconds(random));
        }
        return result;
    }();
    return instants;
}

const std::vector<Date>& sortedInstants() {
    static const std::vector<Date> instants = [] {
        std::vector<Date> result = shuffledInstants();
        std::sort(result.begin(), result.end());
        return result;
    }();
    return instants;
}

void reportPerCall(benchmark::State& state) {
    state.counters["per_call"] = benchmark::Counter(
        1.0, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

// Runs one call per iteration, walking through the instants.
template <typename Call>
void walk(benchmark::State& state, const std::vector<Date>& instants, Call call) {
    const dovrel::ScopedLocale locale("uk_UA");
    const dovrel::ScopedCalendar calendar("gregorian");
    std::size_t i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(call(instants, i));
        if (++i == instants.size() - 1) {
            i = 0;
        }
    }
    reportPerCall(state);
}

Date onlyDayAt(const std::vector<Date>& instants, std::size_t i) {
    return dovrel::onlyDay(instants[i]);
}

std::int64_t daysSinceAt(const std::vector<Date>& instants, std::size_t i) {
    return dovrel::daysSince(instants[i + 1], instants[i]);
}

void BM_OnlyDay_HostZone_Shuffled(benchmark::State& state) {
    walk(state, shuffledInstants(), onlyDayAt);
}
void BM_OnlyDay_HostZone_Sorted(benchmark::State& state) {
    walk(state, sortedInstants(), onlyDayAt);
}
void BM_OnlyDay_PinnedZone_Shuffled(benchmark::State& state) {
    const dovrel::ScopedTimeZone zone("Europe/Kyiv");
    walk(state, shuffledInstants(), onlyDayAt);
}
void BM_DaysSince_HostZone_Shuffled(benchmark::State& state) {
    walk(state, shuffledInstants(), daysSinceAt);
}
void BM_DaysSince_HostZone_Sorted(benchmark::State& state) {
    walk(state, sortedInstants(), daysSinceAt);
}
void BM_DaysSince_PinnedZone_Shuffled(benchmark::State& state) {
    const dovrel::ScopedTimeZone zone("Europe/Kyiv");
    walk(state, shuffledInstants(), daysSinceAt);
}

// The yardstick: sorting the million instants, reported per element.
void BM_SortMillionInstants(benchmark::State& state) {
    std::vector<Date> copy;
    for (auto _ : state) {
        state.PauseTiming();
        copy = shuffledInstants();
        state.ResumeTiming();
        std::sort(copy.begin(), copy.end());
        benchmark::DoNotOptimize(copy.data());
    }
    state.counters["per_element"] = benchmark::Counter(
        static_cast<double>(kInstantCount),
        benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

BENCHMARK(BM_OnlyDay_HostZone_Shuffled);
BENCHMARK(BM_OnlyDay_HostZone_Sorted);
BENCHMARK(BM_OnlyDay_PinnedZone_Shuffled);
BENCHMARK(BM_DaysSince_HostZone_Shuffled);
BENCHMARK(BM_DaysSince_HostZone_Sorted);
BENCHMARK(BM_DaysSince_PinnedZone_Shuffled);
BENCHMARK(BM_SortMillionInstants)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
    // The zone of the "host" benchmarks, read the way a program reads it.
    ::setenv("TZ", "Europe/Kyiv", 1);
    // No aims here: per-call times to compare with the sort, Google Benchmark's own figures with
    // their repetitions' median and spread.
    return dovrel::bench::runBenchmarks(argc, argv, 3);
}
