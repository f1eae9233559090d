#pragma once

#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <vector>

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
                timings[run.benchmark_name()] = Timing{run.GetAdjustedCPUTime() * toNanoseconds,
                                                       run.GetAdjustedRealTime() * toNanoseconds};
            }
        }
        ConsoleReporter::ReportRuns(runs);
    }

    std::map<std::string, Timing> timings;
};

}  // namespace dovrel::bench
