// Speed of the object store against raw SQLite on the same schema, measured in the same run.
// Each benchmark reports the store's time, the raw time and their ratio (store / raw), and records
// the ratio of every iteration as a figure, printed at the end with its aim:
//   - inserting and saving 100,000 objects: at most 2x prepared inserts in one transaction;
//   - fetching 100,000 objects sorted by date: at most 2x the same SELECT;
//   - reading one attribute of 10,000 owners reads their 10,000 rows and none of their members
//     (the ratio against the SELECT is printed for comparison).

#include <benchmark/benchmark.h>
#include <sqlite3.h>
#include <stdlib.h>

#include <chrono>
#include <filesystem>
#include <string>

#include "bench/support/BenchFolder.h"
#include "bench/support/Figures.h"
#include "platform/store/FetchRequest.h"
#include "platform/store/ManagedObjectContext.h"
#include "platform/store/PersistentContainer.h"

namespace {

using namespace dovrel;
using namespace dovrel::store;
using Clock = std::chrono::steady_clock;

constexpr int kObjects = 100000;
constexpr int kOwners = 10000;
constexpr int kMembersPerOwner = 1000;

std::shared_ptr<const ManagedObjectModel> benchModel() {
    EntityDescription item("Item");
    item.addAttribute({"name", AttributeType::stringAttributeType});
    item.addAttribute({"value", AttributeType::integer64AttributeType});
    item.addAttribute({"date", AttributeType::dateAttributeType});
    EntityDescription owner("Owner");
    owner.addAttribute({"title", AttributeType::stringAttributeType});
    owner.addAttribute({"progress", AttributeType::doubleAttributeType});
    owner.addRelationship({"members", "Member", "owner", true, DeleteRule::cascadeDeleteRule});
    EntityDescription member("Member");
    member.addAttribute({"date", AttributeType::dateAttributeType});
    member.addRelationship({"owner", "Owner", "members", false});
    std::vector<EntityDescription> entities;
    entities.push_back(std::move(item));
    entities.push_back(std::move(owner));
    entities.push_back(std::move(member));
    static auto model = std::make_shared<ManagedObjectModel>("bench", std::move(entities));
    return model;
}

std::unique_ptr<PersistentContainer> open(const std::filesystem::path& file) {
    auto container = std::make_unique<PersistentContainer>("Bench", benchModel());
    container->setPersistentStoreDescriptions({PersistentStoreDescription(file)});
    container->loadPersistentStores([](const PersistentStoreDescription&, std::optional<Error> e) {
        if (e) {
            throw *e;
        }
    });
    return container;
}

// A connection to a store file made by the store (same schema, WAL, synchronous=NORMAL).
sqlite3* openRaw(const std::filesystem::path& file) {
    sqlite3* db = nullptr;
    sqlite3_open(file.c_str(), &db);
    sqlite3_exec(db, "PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL", nullptr, nullptr,
                 nullptr);
    return db;
}

double seconds(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// CPU time of the calling thread (all the work, SQLite included, runs on it). The machine that
// runs the benchmarks may be busy; the CPU ratio is then the steadier of the two.
double threadCPUSeconds() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

std::string itemName(int i) {
    std::string name = "Item number ";
    name += std::to_string(i);
    return name;
}

void rawInsert(sqlite3* db, int count) {
    sqlite3_exec(db, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr);
    sqlite3_stmt* insert = nullptr;
    sqlite3_prepare_v2(db,
                       "INSERT INTO Item (Z_PK, Z_OPT, name, value, date) VALUES (?, 1, ?, ?, ?)",
                       -1, &insert, nullptr);
    for (int i = 0; i < count; ++i) {
        const std::string name = itemName(i);
        sqlite3_bind_int64(insert, 1, i + 1);
        sqlite3_bind_text(insert, 2, name.c_str(), static_cast<int>(name.size()), SQLITE_TRANSIENT);
        sqlite3_bind_int64(insert, 3, i);
        sqlite3_bind_double(insert, 4, (i * 7919 % kObjects) * 60.0);
        sqlite3_step(insert);
        sqlite3_reset(insert);
    }
    sqlite3_finalize(insert);
    sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr);
}

void BM_InsertAndSave100000Objects(benchmark::State& state) {
    double storeCPU = 0, rawCPU = 0;
    double storeTotal = 0, rawTotal = 0;
    for (auto _ : state) {
        dovrel::bench::BenchFolder folder;
        // Raw: prepared inserts in one transaction.
        open(folder.file("Raw.sqlite"));
        sqlite3* db = openRaw(folder.file("Raw.sqlite"));
        auto start = Clock::now();
        double cpuStart = threadCPUSeconds();
        rawInsert(db, kObjects);
        const double raw = seconds(start);
        rawCPU += threadCPUSeconds() - cpuStart;
        sqlite3_close(db);

        // Store: objects inserted into a context and saved.
        auto container = open(folder.file("Store.sqlite"));
        auto& context = *container->viewContext();
        start = Clock::now();
        cpuStart = threadCPUSeconds();
        for (int i = 0; i < kObjects; ++i) {
            auto item = context.insertNewObject("Item");
            item->setValue(itemName(i), "name");
            item->setValue(i, "value");
            item->setValue(Date((i * 7919 % kObjects) * 60.0), "date");
        }
        context.save();
        const double stored = seconds(start);
        storeCPU += threadCPUSeconds() - cpuStart;
        state.SetIterationTime(stored);
        storeTotal += stored;
        rawTotal += raw;
        dovrel::bench::Figures::shared().record(
            "ratio store insert and save of 100000 objects / raw prepared inserts", stored / raw,
            "x", 2);
    }
    state.counters["store_ms"] = storeTotal * 1000 / state.iterations();
    state.counters["raw_ms"] = rawTotal * 1000 / state.iterations();
    state.counters["ratio"] = storeTotal / rawTotal;
    state.counters["cpu_ratio"] = storeCPU / rawCPU;
}
BENCHMARK(BM_InsertAndSave100000Objects)
    ->UseManualTime()
    ->Iterations(7)
    ->Unit(benchmark::kMillisecond);

void BM_Fetch100000ObjectsSortedByDate(benchmark::State& state) {
    dovrel::bench::BenchFolder folder;
    const auto file = folder.file("Fetch.sqlite");
    {
        open(file);
        sqlite3* db = openRaw(file);
        rawInsert(db, kObjects);
        sqlite3_exec(db, "UPDATE Z_PRIMARYKEY SET Z_MAX = 100000 WHERE Z_NAME = 'Item'", nullptr,
                     nullptr, nullptr);
        sqlite3_close(db);
    }
    auto container = open(file);
    auto& context = *container->viewContext();
    sqlite3* db = openRaw(file);
    double storeCPU = 0, rawCPU = 0;
    double storeTotal = 0, rawTotal = 0;
    std::int64_t checksum = 0;
    for (auto _ : state) {
        // Raw: the equivalent SELECT, every column read.
        auto start = Clock::now();
        double cpuStart = threadCPUSeconds();
        sqlite3_stmt* select = nullptr;
        sqlite3_prepare_v2(db,
                           "SELECT Z_PK, Z_OPT, name, value, date FROM Item ORDER BY date, Z_PK",
                           -1, &select, nullptr);
        int rows = 0;
        while (sqlite3_step(select) == SQLITE_ROW) {
            std::string name(reinterpret_cast<const char*>(sqlite3_column_text(select, 2)),
                             sqlite3_column_bytes(select, 2));
            checksum += sqlite3_column_int64(select, 0) + sqlite3_column_int64(select, 3) +
                        static_cast<std::int64_t>(sqlite3_column_double(select, 4)) +
                        static_cast<std::int64_t>(name.size());
            ++rows;
        }
        sqlite3_finalize(select);
        const double raw = seconds(start);
        rawCPU += threadCPUSeconds() - cpuStart;

        // Store: a fetch request sorted by the date, objects with their values.
        context.reset();
        start = Clock::now();
        cpuStart = threadCPUSeconds();
        FetchRequestBase request("Item");
        request.setSortDescriptors({{"date", true}});
        request.setReturnsObjectsAsFaults(false);
        auto items = context.fetch(request);
        const double stored = seconds(start);
        storeCPU += threadCPUSeconds() - cpuStart;
        if (static_cast<int>(items.size()) != kObjects || rows != kObjects) {
            state.SkipWithError("wrong number of objects");
        }
        state.SetIterationTime(stored);
        storeTotal += stored;
        rawTotal += raw;
        dovrel::bench::Figures::shared().record(
            "ratio store fetch of 100000 objects sorted by date / raw SELECT", stored / raw, "x",
            2);
    }
    sqlite3_close(db);
    benchmark::DoNotOptimize(checksum);
    state.counters["store_ms"] = storeTotal * 1000 / state.iterations();
    state.counters["raw_ms"] = rawTotal * 1000 / state.iterations();
    state.counters["ratio"] = storeTotal / rawTotal;
    state.counters["cpu_ratio"] = storeCPU / rawCPU;
}
BENCHMARK(BM_Fetch100000ObjectsSortedByDate)
    ->UseManualTime()
    ->Iterations(5)
    ->Unit(benchmark::kMillisecond);

void BM_ReadOneAttributeOf10000OwnersWith1000MembersEach(benchmark::State& state) {
    dovrel::bench::BenchFolder folder;
    const auto file = folder.file("Owners.sqlite");
    {
        open(file);
        sqlite3* db = openRaw(file);
        sqlite3_exec(db, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr);
        sqlite3_stmt* owner = nullptr;
        sqlite3_prepare_v2(db,
                           "INSERT INTO Owner (Z_PK, Z_OPT, title, progress) VALUES (?, 1, ?, ?)",
                           -1, &owner, nullptr);
        sqlite3_stmt* member = nullptr;
        sqlite3_prepare_v2(db, "INSERT INTO Member (Z_PK, Z_OPT, date, owner) VALUES (?, 1, ?, ?)",
                           -1, &member, nullptr);
        std::int64_t memberKey = 0;
        for (int o = 1; o <= kOwners; ++o) {
            sqlite3_bind_int64(owner, 1, o);
            sqlite3_bind_text(owner, 2, "Owner", -1, SQLITE_STATIC);
            sqlite3_bind_double(owner, 3, o % 100);
            sqlite3_step(owner);
            sqlite3_reset(owner);
            for (int m = 0; m < kMembersPerOwner; ++m) {
                sqlite3_bind_int64(member, 1, ++memberKey);
                sqlite3_bind_double(member, 2, m * 86400.0);
                sqlite3_bind_int64(member, 3, o);
                sqlite3_step(member);
                sqlite3_reset(member);
            }
        }
        sqlite3_finalize(owner);
        sqlite3_finalize(member);
        sqlite3_exec(db,
                     "UPDATE Z_PRIMARYKEY SET Z_MAX = 10000 WHERE Z_NAME = 'Owner';"
                     "UPDATE Z_PRIMARYKEY SET Z_MAX = 10000000 WHERE Z_NAME = 'Member';"
                     "COMMIT",
                     nullptr, nullptr, nullptr);
        sqlite3_close(db);
    }
    auto container = open(file);
    auto& context = *container->viewContext();
    auto store = container->persistentStoreCoordinator()->persistentStores().front();
    sqlite3* db = openRaw(file);
    double storeCPU = 0, rawCPU = 0;
    double storeTotal = 0, rawTotal = 0, sum = 0;
    std::uint64_t rowsRead = 0;
    for (auto _ : state) {
        auto start = Clock::now();
        double cpuStart = threadCPUSeconds();
        sqlite3_stmt* select = nullptr;
        sqlite3_prepare_v2(db, "SELECT Z_PK, Z_OPT, title, progress FROM Owner", -1, &select,
                           nullptr);
        while (sqlite3_step(select) == SQLITE_ROW) {
            sum += sqlite3_column_double(select, 3);
        }
        sqlite3_finalize(select);
        const double raw = seconds(start);
        rawCPU += threadCPUSeconds() - cpuStart;

        context.reset();
        const auto before = store->rowsRead();
        start = Clock::now();
        cpuStart = threadCPUSeconds();
        FetchRequestBase request("Owner");
        request.setReturnsObjectsAsFaults(false);
        for (const auto& owner : context.fetch(request)) {
            sum += *owner->value("progress").real();
        }
        const double stored = seconds(start);
        storeCPU += threadCPUSeconds() - cpuStart;
        rowsRead = store->rowsRead() - before;
        if (rowsRead != kOwners) {
            state.SkipWithError("the members were loaded");
        }
        state.SetIterationTime(stored);
        storeTotal += stored;
        rawTotal += raw;
        dovrel::bench::Figures::shared().record(
            "ratio store read of one attribute of 10000 owners / raw SELECT", stored / raw, "x",
            dovrel::bench::kNoAim);
        dovrel::bench::Figures::shared().record(
            "rows read for one attribute of 10000 owners with 1000 members each",
            static_cast<double>(rowsRead), "rows", kOwners);
    }
    sqlite3_close(db);
    benchmark::DoNotOptimize(sum);
    state.counters["rows_read"] = static_cast<double>(rowsRead);
    state.counters["store_ms"] = storeTotal * 1000 / state.iterations();
    state.counters["raw_ms"] = rawTotal * 1000 / state.iterations();
    state.counters["ratio"] = storeTotal / rawTotal;
    state.counters["cpu_ratio"] = storeCPU / rawCPU;
}
BENCHMARK(BM_ReadOneAttributeOf10000OwnersWith1000MembersEach)
    ->UseManualTime()
    ->Iterations(5)
    ->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
    // Each benchmark records a figure per iteration: one repetition of each is enough.
    return dovrel::bench::runBenchmarks(argc, argv, 1);
}
