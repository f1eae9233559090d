// The progress score against sorting the same checkmark dates, measured in one run.
//
// calculateProgress over a whole history sorts the dates and then needs the calendar day of
// every one of them and the score's arithmetic; everything after the sort must cost little next
// to the sort. Targets, printed with the results for every repetition and over all of them:
//   - 3,650 dates, one a day for ten years, in random order: at most 2x the sort;
//   - 1,000,000 dates spread over twenty years, in random order: at most 2x the sort;
//   - a habit's progress for today from its caches must not depend on the size of its history:
//     100,000 checkmarks against 10, at most 1.5x.
// For comparison, without a target: the same daily dates given already sorted (where the sort has
// little to do), 3,650 dates one to six days apart (a score that stays low, so that every date
// pays for the score's divisions and most for missed days too), and the plain onlyDay() path.
//
// Every benchmark runs kRepetitions times (Google Benchmark repetitions, interleaved at random
// with the other benchmarks' repetitions so that a pair of them sees the same machine); the
// command line's --benchmark_repetitions and --benchmark_enable_random_interleaving override
// that. The zone comes from TZ (America/New_York), as in a program, so every call includes the
// check of TZ and /etc/localtime that notices a change of zone.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "DovrelFoundation/Model/LastFivePerformingDates.h"
#include "DovrelFoundation/Model/RepeatInterval.h"
#include "DovrelFoundation/Progress/DateExtensions.h"
#include "DovrelFoundation/Progress/HabitProgress.h"
#include "DovrelFoundation/Progress/HabitProgressCalculator.h"
#include "bench/support/CollectingReporter.h"
#include "platform/foundation/Date.h"
#include "platform/foundation/RegionOverrides.h"

namespace {

using dovrel::bench::CollectingReporter;
using dovrel::bench::Timing;

using dovrel::Date;
using dovrel::HabitProgressCalculator;

constexpr double kDay = 86400.0;
// 2005-01-01, 2015-01-01 and 2025-01-01 00:00 UTC in seconds since 2001.
constexpr double k2005 = 126230400.0;
constexpr double k2015 = 441763200.0;
constexpr double k2025 = 757382400.0;

// One checkmark a day at a random time of day, for ten years, shuffled (a habit's checkmarks come
// in no particular order).
std::vector<Date> makeDaily(std::size_t count, std::uint64_t seed) {
    std::mt19937_64 random(seed);
    std::uniform_real_distribution<double> timeOfDay(0, kDay);
    std::vector<Date> result;
    for (std::size_t day = 0; day < count; ++day) {
        result.emplace_back(k2015 + static_cast<double>(day) * kDay + timeOfDay(random));
    }
    std::shuffle(result.begin(), result.end(), random);
    return result;
}

std::vector<Date> makeSpread(std::size_t count, double from, double to, std::uint64_t seed) {
    std::mt19937_64 random(seed);
    std::uniform_real_distribution<double> seconds(from, to);
    std::vector<Date> result;
    result.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        result.emplace_back(seconds(random));
    }
    return result;
}

const std::vector<Date>& daily3650() {
    static const std::vector<Date> dates = makeDaily(3650, 1);
    return dates;
}

const std::vector<Date>& daily3650Sorted() {
    static const std::vector<Date> dates = [] {
        std::vector<Date> sorted = daily3650();
        std::sort(sorted.begin(), sorted.end());
        return sorted;
    }();
    return dates;
}

// Checkmarks one to six days apart at random times of day, shuffled, from 2005 on: 2.5 missed days
// a checkmark on average keep a daily habit's score low (the program prints it), so every gain and
// every missed day divides, and the pass is the score's arithmetic more than the calendar.
const std::vector<Date>& everyOneToSixDays3650() {
    static const std::vector<Date> dates = [] {
        std::mt19937_64 random(4);
        std::uniform_real_distribution<double> timeOfDay(0, kDay);
        std::uniform_int_distribution<int> daysApart(1, 6);
        std::vector<Date> result;
        double day = k2005;
        for (int i = 0; i < 3650; ++i) {
            result.emplace_back(day + timeOfDay(random));
            day += daysApart(random) * kDay;
        }
        std::shuffle(result.begin(), result.end(), random);
        return result;
    }();
    return dates;
}

const std::vector<Date>& million() {
    static const std::vector<Date> dates = makeSpread(1'000'000, k2005, k2025, 2);
    return dates;
}

void sortCopy(benchmark::State& state, const std::vector<Date>& dates) {
    for (auto _ : state) {
        std::vector<Date> copy(dates);
        std::sort(copy.begin(), copy.end());
        benchmark::DoNotOptimize(copy.data());
        benchmark::ClobberMemory();
    }
}

void progress(benchmark::State& state, const std::vector<Date>& dates) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(HabitProgressCalculator::calculateProgress(dates, 1, 1));
    }
}

// The same score the plain way: onlyDay() per date, for comparison.
void plainProgress(benchmark::State& state, const std::vector<Date>& dates) {
    for (auto _ : state) {
        std::vector<Date> sorted(dates);
        std::sort(sorted.begin(), sorted.end());
        double p = 0;
        for (std::size_t i = 0; i < sorted.size(); ++i) {
            if (i > 0) {
                const auto gap = static_cast<std::int64_t>(std::round(
                    dovrel::onlyDay(sorted[i]).timeIntervalSince(dovrel::onlyDay(sorted[i - 1])) /
                    kDay));
                if (gap >= 2) {
                    p = HabitProgressCalculator::decayedProgress(p, gap - 1, 1);
                }
            }
            p = HabitProgressCalculator::gainedProgress(p);
        }
        benchmark::DoNotOptimize(p);
    }
}

// A habit's progress for the day after its latest checkmark, from its caches.
void habitToday(benchmark::State& state, std::size_t historySize) {
    std::vector<Date> history = makeSpread(historySize, k2015, k2025, 3);
    std::sort(history.begin(), history.end());
    const dovrel::LastFivePerformingDates cache(history);
    const double cached = HabitProgressCalculator::calculateProgress(history, 1, 1);
    const Date today = history.back() + kDay;
    const dovrel::RepeatInterval interval(1, 1);
    std::size_t reads = 0;
    const std::function<std::vector<Date>()> performingDates = [&] {
        ++reads;
        return history;
    };
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            dovrel::habitProgress(interval, cache, cached, today, performingDates));
    }
    state.counters["history_reads"] = static_cast<double>(reads);
}

double firstCallMilliseconds(const std::vector<Date>& dates) {
    const auto start = std::chrono::steady_clock::now();
    benchmark::DoNotOptimize(HabitProgressCalculator::calculateProgress(dates, 1, 1));
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
        .count();
}

constexpr int kRepetitions = 5;

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    const std::size_t middle = values.size() / 2;
    return values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

// Median times per call over the repetitions.
void printPerCall(const CollectingReporter& reporter) {
    for (const auto& [name, timings] : reporter.repetitions) {
        std::vector<double> cpu;
        std::vector<double> real;
        for (const Timing& timing : timings) {
            cpu.push_back(timing.cpu);
            real.push_back(timing.real);
        }
        std::printf("%-36s %14.0f ns per call (CPU), %14.0f ns wall clock (medians of %zu)\n",
                    name.c_str(), median(cpu), median(real), timings.size());
    }
}

}  // namespace

int main(int argc, char** argv) {
    setenv("TZ", "America/New_York", 1);
    const dovrel::ScopedLocale locale("en_US");
    const dovrel::ScopedCalendar calendar("gregorian");

    // ICU loads its zone, calendar and locale data at first use, whatever asks; that is not the
    // progress code's cost.
    benchmark::DoNotOptimize(dovrel::onlyDay(Date(0)));
    // The day tables of a zone are built as dates reach them; the first calls pay for that.
    const double coldDaily = firstCallMilliseconds(daily3650());
    const double warmDaily = firstCallMilliseconds(daily3650());
    const double coldMillion = firstCallMilliseconds(million());

    benchmark::RegisterBenchmark("sort/3650_daily", sortCopy, daily3650())
        ->Unit(benchmark::kMicrosecond);
    benchmark::RegisterBenchmark("progress/3650_daily", progress, daily3650())
        ->Unit(benchmark::kMicrosecond);
    benchmark::RegisterBenchmark("sort/3650_daily_presorted", sortCopy, daily3650Sorted())
        ->Unit(benchmark::kMicrosecond);
    benchmark::RegisterBenchmark("progress/3650_daily_presorted", progress, daily3650Sorted())
        ->Unit(benchmark::kMicrosecond);
    benchmark::RegisterBenchmark("sort/3650_every_1_to_6_days", sortCopy, everyOneToSixDays3650())
        ->Unit(benchmark::kMicrosecond);
    benchmark::RegisterBenchmark("progress/3650_every_1_to_6_days", progress,
                                 everyOneToSixDays3650())
        ->Unit(benchmark::kMicrosecond);
    benchmark::RegisterBenchmark("plain_progress/3650_daily", plainProgress, daily3650())
        ->Unit(benchmark::kMicrosecond);
    benchmark::RegisterBenchmark("sort/1000000_over_20_years", sortCopy, million())
        ->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("progress/1000000_over_20_years", progress, million())
        ->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("habit_today/history_100000", habitToday, 100'000);
    benchmark::RegisterBenchmark("habit_today/history_10", habitToday, 10);

    // Defaults first, so that the same flags on the command line win.
    std::string repetitions = "--benchmark_repetitions=" + std::to_string(kRepetitions);
    std::string interleaving = "--benchmark_enable_random_interleaving=true";
    std::vector<char*> arguments{argv[0], repetitions.data(), interleaving.data()};
    arguments.insert(arguments.end(), argv + 1, argv + argc);
    int argumentCount = static_cast<int>(arguments.size());
    arguments.push_back(nullptr);
    benchmark::Initialize(&argumentCount, arguments.data());
    CollectingReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();

    std::printf("\n");
    printPerCall(reporter);
    std::printf(
        "first call, day tables being built: 3650 daily %.2f ms (then %.3f ms), "
        "1000000 over 20 years %.1f ms\n",
        coldDaily, warmDaily, coldMillion);
    // What the histories score: one that has reached 100 takes the pass's shortcuts near the top.
    std::printf(
        "scores (interval 1/1): 3650 daily %.2f, 1000000 over 20 years %.2f, 3650 one to six days "
        "apart %.2f\n",
        HabitProgressCalculator::calculateProgress(daily3650(), 1, 1),
        HabitProgressCalculator::calculateProgress(million(), 1, 1),
        HabitProgressCalculator::calculateProgress(everyOneToSixDays3650(), 1, 1));
    dovrel::bench::recordRepetitionRatios(reporter, "ratio progress/sort (3650 daily)",
                                          "progress/3650_daily", "sort/3650_daily", 2);
    dovrel::bench::recordRepetitionRatios(reporter, "ratio progress/sort (1000000 over 20 years)",
                                          "progress/1000000_over_20_years",
                                          "sort/1000000_over_20_years", 2);
    dovrel::bench::recordRepetitionRatios(
        reporter, "ratio habit today, history 100000 / history 10", "habit_today/history_100000",
        "habit_today/history_10", 1.5);
    dovrel::bench::recordRepetitionRatios(
        reporter, "ratio progress/sort (3650 daily, given already sorted)",
        "progress/3650_daily_presorted", "sort/3650_daily_presorted", dovrel::bench::kNoAim);
    dovrel::bench::recordRepetitionRatios(
        reporter, "ratio progress/sort (3650 one to six days apart)",
        "progress/3650_every_1_to_6_days", "sort/3650_every_1_to_6_days", dovrel::bench::kNoAim);
    dovrel::bench::recordRepetitionRatios(reporter, "ratio plain onlyDay path/sort (3650 daily)",
                                          "plain_progress/3650_daily", "sort/3650_daily",
                                          dovrel::bench::kNoAim);
    dovrel::bench::Figures::shared().print();
    return 0;
}
