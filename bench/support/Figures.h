#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace dovrel::bench {

// The figures a benchmark program is judged by: ratios against a reference measured in the same
// run, and times, each measured once per repetition, with an aim (the value it must not exceed)
// or none (printed for comparison).
//
// A figure's verdict for the run is that of its median over the repetitions: "met" when the
// median is within the aim, "NOT MET" otherwise; every repetition is printed with its own
// verdict, and the summary line gives the lowest and highest value, so that a noisy machine shows
// as a wide spread rather than as a verdict. Not thread-safe: benchmarks record from their own
// thread, one after the other.
// A figure printed for comparison only.
inline constexpr std::optional<double> kNoAim = std::nullopt;

class Figures {
  public:
    static Figures& shared() {
        static Figures figures;
        return figures;
    }

    // Records one measurement of the figure `label`: `unit` is "x" for a ratio, or a unit ("ms",
    // "rows"); `aim` is the highest value that meets the aim, or kNoAim.
    void record(const std::string& label, double value, const std::string& unit,
                std::optional<double> aim) {
        auto [entry, added] = figures_.try_emplace(label);
        if (added) {
            order_.push_back(label);
            entry->second.unit = unit;
            entry->second.aim = aim;
        }
        entry->second.values.push_back(value);
    }

    static double median(std::vector<double> values) {
        if (values.empty()) {
            return 0;
        }
        std::sort(values.begin(), values.end());
        const std::size_t middle = values.size() / 2;
        return values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
    }

    // Prints every figure, in the order they were first recorded; answers whether every aim was
    // met.
    bool print(std::FILE* out = stdout) const {
        bool allMet = true;
        if (!order_.empty()) {
            std::fprintf(out, "\n");
        }
        for (const auto& label : order_) {
            const Figure& figure = figures_.at(label);
            const std::size_t count = figure.values.size();
            for (std::size_t index = 0; index < count && figure.aim; ++index) {
                const double value = figure.values[index];
                std::fprintf(out, "%s, repetition %zu of %zu: %s (aim <= %s, %s)\n", label.c_str(),
                             index + 1, count, text(value, figure.unit).c_str(),
                             text(*figure.aim, figure.unit).c_str(),
                             value <= *figure.aim ? "met" : "NOT MET");
            }
            const auto [lowest, highest] =
                std::minmax_element(figure.values.begin(), figure.values.end());
            const double middle = median(figure.values);
            if (!figure.aim) {
                std::fprintf(out, "%s: median %s of %zu, from %s to %s (for comparison, no aim)\n",
                             label.c_str(), text(middle, figure.unit).c_str(), count,
                             text(*lowest, figure.unit).c_str(),
                             text(*highest, figure.unit).c_str());
                continue;
            }
            const bool met = middle <= *figure.aim;
            allMet = allMet && met;
            const auto within = std::count_if(figure.values.begin(), figure.values.end(),
                                              [&](double value) { return value <= *figure.aim; });
            std::fprintf(out,
                         "%s: median %s of %zu, from %s to %s (aim <= %s, %s; %zu of %zu "
                         "repetitions within it)\n",
                         label.c_str(), text(middle, figure.unit).c_str(), count,
                         text(*lowest, figure.unit).c_str(), text(*highest, figure.unit).c_str(),
                         text(*figure.aim, figure.unit).c_str(), met ? "met" : "NOT MET",
                         static_cast<std::size_t>(within), count);
        }
        return allMet;
    }

  private:
    struct Figure {
        std::string unit;
        std::optional<double> aim;
        std::vector<double> values;
    };

    static std::string text(double value, const std::string& unit) {
        char buffer[64];
        if (unit == "x") {
            std::snprintf(buffer, sizeof buffer, "%.2fx", value);
        } else {
            std::snprintf(buffer, sizeof buffer, "%.6g %s", value, unit.c_str());
        }
        return buffer;
    }

    std::map<std::string, Figure> figures_;
    std::vector<std::string> order_;
};

// Runs the registered benchmarks with `repetitions` repetitions by default, interleaved at random
// so that the repetitions of two compared benchmarks see the same machine (the command line's flags
// win), then calls `afterRun` (which may record figures from what `reporter` collected) and
// prints the figures. The exit status stays 0 whatever the verdicts: they are read, not acted on.
inline int runBenchmarks(int argc, char** argv, int repetitions,
                         benchmark::BenchmarkReporter* reporter = nullptr,
                         const std::function<void()>& afterRun = {}) {
    std::string repetitionFlag = "--benchmark_repetitions=" + std::to_string(repetitions);
    std::string interleaving = "--benchmark_enable_random_interleaving=true";
    std::vector<char*> arguments{argv[0], repetitionFlag.data()};
    if (repetitions > 1) {
        arguments.push_back(interleaving.data());
    }
    arguments.insert(arguments.end(), argv + 1, argv + argc);
    int count = static_cast<int>(arguments.size());
    arguments.push_back(nullptr);
    benchmark::Initialize(&count, arguments.data());
    if (reporter != nullptr) {
        benchmark::RunSpecifiedBenchmarks(reporter);
    } else {
        benchmark::RunSpecifiedBenchmarks();
    }
    benchmark::Shutdown();
    if (afterRun) {
        afterRun();
    }
    Figures::shared().print();
    return 0;
}

}  // namespace dovrel::bench
