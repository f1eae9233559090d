// How fast the small helpers that screens call in loops are: reading and writing one user-defaults
// value (a read goes to the SQLite file every time), a counted localised phrase, and the colour
// number form.

#include <benchmark/benchmark.h>
#include <clocale>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "DovrelFoundation/Appearance/ColorExtensions.h"
#include "DovrelFoundation/Appearance/StringExtensions.h"
#include "bench/support/Figures.h"
#include "platform/foundation/UserDefaults.h"

namespace {

std::filesystem::path temporaryFile(const char* name) {
    std::string pattern = "/tmp/dovrel-bench-XXXXXX";
    std::vector<char> buffer(pattern.begin(), pattern.end());
    buffer.push_back('\0');
    const char* directory = ::mkdtemp(buffer.data());
    return std::filesystem::path(directory != nullptr ? directory : "/tmp") / name;
}

void BM_UserDefaultsRead(benchmark::State& state) {
    const auto file = temporaryFile("UserDefaults.sqlite");
    auto defaults = dovrel::UserDefaults::atPath(file);
    const dovrel::DefaultsKey<std::int64_t> key("numberOfLaunches", 0);
    defaults.set(key, std::int64_t{42});
    for (auto _ : state) {
        benchmark::DoNotOptimize(defaults.get(key));
    }
    std::filesystem::remove_all(file.parent_path());
}
BENCHMARK(BM_UserDefaultsRead);

void BM_UserDefaultsWrite(benchmark::State& state) {
    const auto file = temporaryFile("UserDefaults.sqlite");
    auto defaults = dovrel::UserDefaults::atPath(file);
    const dovrel::DefaultsKey<std::int64_t> key("numberOfLaunches", 0);
    std::int64_t value = 0;
    for (auto _ : state) {
        defaults.set(key, ++value);
    }
    std::filesystem::remove_all(file.parent_path());
}
BENCHMARK(BM_UserDefaultsWrite);

void BM_LocalizedCountedPhrase(benchmark::State& state) {
    std::setlocale(LC_MESSAGES, "uk_UA.UTF-8");  // the Ukrainian catalogue, not just keys
    std::int64_t count = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(dovrel::localized("RepeatInterval.Times", ++count % 10));
    }
}
BENCHMARK(BM_LocalizedCountedPhrase);

void BM_ColorHexRoundTrip(benchmark::State& state) {
    std::int64_t value = 0;
    for (auto _ : state) {
        value = (value + 0x010203) & 0xFFFFFF;
        benchmark::DoNotOptimize(dovrel::hex(dovrel::colorFromHex(value)));
    }
}
BENCHMARK(BM_ColorHexRoundTrip);

}  // namespace

int main(int argc, char** argv) {
    // No aims here: the figures are Google Benchmark's own, with their repetitions' median and
    // spread.
    return dovrel::bench::runBenchmarks(argc, argv, 3);
}
