#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "bench/support/Figures.h"

namespace dovrel::bench {

// One benchmark's time per iteration, in nanoseconds.
struct Timing {
    double cpu = 0;   // CPU time
    double real = 0;  // wall-clock time
};

// Prints as the console reporter does, and keeps every benchmark's times per iteration so that
// the program can print the ratios it is judged by.
class CollectingReporter : public benchmark::ConsoleReporter {
  public:
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            if (run.run_type == Run::RT_Iteration && !run.error_occurred) {
                const double toNanoseconds = 1e9 / benchmark::GetTimeUnitMultiplier(run.time_unit);
                const Timing timing{run.GetAdjustedCPUTime() * toNanoseconds,
                                    run.GetAdjustedRealTime() * toNanoseconds};
                timings[run.benchmark_name()] = timing;
                // Named without a "repeats:" part, so that a name reads the same however the
                // repetitions were asked for.
                benchmark::BenchmarkName name = run.run_name;
                name.repetitions.clear();
                std::vector<Timing>& all = repetitions[name.str()];
                const auto index = run.repetition_index < 0
                                       ? all.size()
                                       : static_cast<std::size_t>(run.repetition_index);
                if (all.size() <= index) {
                    all.resize(index + 1);
                }
                all[index] = timing;
            }
        }
        ConsoleReporter::ReportRuns(runs);
    }

    // The last repetition of each benchmark, by its full name.
    std::map<std::string, Timing> timings;
    // Every repetition of each benchmark, in repetition order (Google Benchmark's
    // --benchmark_repetitions; with --benchmark_enable_random_interleaving they run in random
    // order among the other benchmarks' repetitions, and are still kept by their number).
    std::map<std::string, std::vector<Timing>> repetitions;
};

// Records, for every repetition i, the ratio of repetition i of `numerator` to repetition i of
// `denominator` (CPU time: the programs are single-threaded, so this is the work done whatever
// else runs on the machine) as the figure `label` with `aim` (kNoAim: none). Nothing when
// either was filtered out.
inline void recordRepetitionRatios(const CollectingReporter& reporter, const std::string& label,
                                   const std::string& numerator, const std::string& denominator,
                                   std::optional<double> aim) {
    const auto top = reporter.repetitions.find(numerator);
    const auto bottom = reporter.repetitions.find(denominator);
    if (top == reporter.repetitions.end() || bottom == reporter.repetitions.end()) {
        return;
    }
    const std::size_t count = std::min(top->second.size(), bottom->second.size());
    for (std::size_t index = 0; index < count; ++index) {
        Figures::shared().record(label, top->second[index].cpu / bottom->second[index].cpu, "x",
                                 aim);
    }
}

}  // namespace dovrel::bench
