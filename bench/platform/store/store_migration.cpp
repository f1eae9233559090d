// Speed of a store migration against copying the same rows with plain SQL, measured in the same
// run on copies of one version-1 store: 10,000 owners with 50 members each.
//
// The store's side opens the old file through a coordinator with a migration plan, which reads
// every object, runs the mapping model (a custom policy on the owners that reads their members by
// key, copy by name for the members), writes a new file, puts it in place of the old one and
// loads it. The plain side opens the old file and a new one with SQLite, creates the new tables
// and copies every row with a prepared SELECT and a prepared INSERT in one transaction. The
// program prints both times and their ratio (migration / plain copy), whose aim is at most 3x in
// the median of its iterations; for comparison it also reports the copy done inside SQLite by one
// INSERT ... SELECT per table.

#include <benchmark/benchmark.h>
#include <sqlite3.h>
#include <stdlib.h>
#include <time.h>

#include <chrono>
#include <filesystem>
#include <stdexcept>
#include <string>

#include "bench/support/BenchFolder.h"
#include "bench/support/Figures.h"
#include "platform/store/EntityMigrationPolicy.h"
#include "platform/store/ManagedObjectContext.h"
#include "platform/store/MigrationManager.h"
#include "platform/store/MigrationPlan.h"
#include "platform/store/PersistentContainer.h"

namespace {

using namespace dovrel;
using namespace dovrel::store;
using Clock = std::chrono::steady_clock;

constexpr int kOwners = 10000;
constexpr int kMembersPerOwner = 50;

// Version 1: Owner (title, progress; members), Member (date, note; owner).
// Version 2: the owner also keeps memberCount, which the migration computes.
std::shared_ptr<const ManagedObjectModel> model(int version) {
    EntityDescription owner("Owner");
    owner.addAttribute({"title", AttributeType::stringAttributeType});
    owner.addAttribute({"progress", AttributeType::doubleAttributeType});
    if (version == 2) {
        owner.addAttribute({"memberCount", AttributeType::integer64AttributeType, false, Value(0)});
    }
    owner.addRelationship({"members", "Member", "owner", true, DeleteRule::cascadeDeleteRule});
    EntityDescription member("Member");
    member.addAttribute({"date", AttributeType::dateAttributeType});
    member.addAttribute({"note", AttributeType::stringAttributeType});
    member.addRelationship({"owner", "Owner", "members", false});
    std::vector<EntityDescription> entities;
    entities.push_back(std::move(owner));
    entities.push_back(std::move(member));
    return std::make_shared<ManagedObjectModel>(std::to_string(version), std::move(entities));
}

const std::shared_ptr<const ManagedObjectModel>& version1() {
    static const auto made = model(1);
    return made;
}

const std::shared_ptr<const ManagedObjectModel>& version2() {
    static const auto made = model(2);
    return made;
}

class CountingPolicy : public EntityMigrationPolicy {
  public:
    void createDestinationInstances(const std::shared_ptr<ManagedObject>& source,
                                    const EntityMapping& mapping,
                                    MigrationManager& manager) override {
        EntityMigrationPolicy::createDestinationInstances(source, mapping, manager);
        auto members = source->value("members").objectAs<ObjectSet>();
        if (!members) {
            throw std::runtime_error("members is not a set");
        }
        manager.destinationInstances(mapping.name, {source})
            .front()
            ->setValue(static_cast<std::int64_t>(members->size()), "memberCount");
    }
};

std::shared_ptr<const MigrationPlan> plan() {
    EntityMapping owners("OwnerToOwner", "Owner", "Owner");
    owners.setPolicy<CountingPolicy>();
    EntityMapping members("MemberToMember", "Member", "Member");
    std::vector<EntityMapping> mappings;
    mappings.push_back(std::move(owners));
    mappings.push_back(std::move(members));
    return std::make_shared<MigrationPlan>(std::vector<ModelVersion>{
        {version1(), std::nullopt}, {version2(), MappingModel(std::move(mappings))}});
}

void writeVersion1Store(const std::filesystem::path& file) {
    PersistentContainer container("Bench", version1());
    container.setPersistentStoreDescriptions({PersistentStoreDescription(file)});
    container.loadPersistentStores([](const PersistentStoreDescription&, std::optional<Error> e) {
        if (e) {
            throw *e;
        }
    });
    auto& context = *container.viewContext();
    for (int i = 0; i < kOwners; ++i) {
        auto owner = context.insertNewObject("Owner");
        owner->setValue("Owner " + std::to_string(i), "title");
        owner->setValue(i / 100.0, "progress");
        for (int j = 0; j < kMembersPerOwner; ++j) {
            auto member = context.insertNewObject("Member");
            member->setValue(Date(i * 86400.0 + j), "date");
            member->setValue("note " + std::to_string(j), "note");
            member->setObject(owner, "owner");
        }
    }
    context.save();
}

double seconds(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// The migration runs on a queue thread of its own, so the CPU time is the whole process's.
double processCPUSeconds() {
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

void check(int code, sqlite3* db) {
    if (code != SQLITE_OK && code != SQLITE_DONE && code != SQLITE_ROW) {
        throw std::runtime_error(sqlite3_errmsg(db));
    }
}

void execute(sqlite3* db, const char* sql) {
    check(sqlite3_exec(db, sql, nullptr, nullptr, nullptr), db);
}

const char* const kVersion2Schema =
    "CREATE TABLE Z_METADATA (Z_KEY TEXT PRIMARY KEY, Z_TYPE INTEGER NOT NULL, Z_VALUE);"
    "CREATE TABLE Z_PRIMARYKEY (Z_NAME TEXT PRIMARY KEY, Z_MAX INTEGER NOT NULL);"
    "CREATE TABLE Owner (Z_PK INTEGER PRIMARY KEY, Z_OPT INTEGER NOT NULL, title TEXT, "
    "progress REAL, memberCount INTEGER);"
    "CREATE TABLE Member (Z_PK INTEGER PRIMARY KEY, Z_OPT INTEGER NOT NULL, date REAL, note TEXT, "
    "owner INTEGER);"
    "CREATE INDEX Z_Member_owner ON Member (owner);";

// Copies every row of `table` (its `columns`, Z_PK and Z_OPT first) from `from` to `to` with one
// prepared statement on each side.
void copyRows(sqlite3* from, sqlite3* to, const std::string& table, int columns,
              const std::string& selectColumns, const std::string& insertColumns) {
    sqlite3_stmt* select = nullptr;
    sqlite3_stmt* insert = nullptr;
    check(sqlite3_prepare_v2(from, ("SELECT " + selectColumns + " FROM " + table).c_str(), -1,
                             &select, nullptr),
          from);
    std::string placeholders = "?";
    for (int i = 1; i < columns; ++i) {
        placeholders += ", ?";
    }
    check(sqlite3_prepare_v2(
              to,
              ("INSERT INTO " + table + " (" + insertColumns + ") VALUES (" + placeholders + ")")
                  .c_str(),
              -1, &insert, nullptr),
          to);
    while (sqlite3_step(select) == SQLITE_ROW) {
        for (int i = 0; i < columns; ++i) {
            sqlite3_bind_value(insert, i + 1, sqlite3_column_value(select, i));
        }
        check(sqlite3_step(insert), to);
        sqlite3_reset(insert);
    }
    sqlite3_finalize(select);
    sqlite3_finalize(insert);
}

void plainCopy(const std::filesystem::path& oldFile, const std::filesystem::path& newFile) {
    sqlite3* from = nullptr;
    sqlite3* to = nullptr;
    sqlite3_open(oldFile.c_str(), &from);
    sqlite3_open(newFile.c_str(), &to);
    execute(to, "PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL");
    execute(to, "BEGIN IMMEDIATE");
    execute(to, kVersion2Schema);
    copyRows(from, to, "Z_METADATA", 3, "Z_KEY, Z_TYPE, Z_VALUE", "Z_KEY, Z_TYPE, Z_VALUE");
    copyRows(from, to, "Z_PRIMARYKEY", 2, "Z_NAME, Z_MAX", "Z_NAME, Z_MAX");
    copyRows(from, to, "Owner", 5, "Z_PK, Z_OPT, title, progress, 0",
             "Z_PK, Z_OPT, title, progress, memberCount");
    copyRows(from, to, "Member", 5, "Z_PK, Z_OPT, date, note, owner",
             "Z_PK, Z_OPT, date, note, owner");
    execute(to, "COMMIT");
    sqlite3_close(from);
    sqlite3_close(to);
}

void sqlCopy(const std::filesystem::path& oldFile, const std::filesystem::path& newFile) {
    sqlite3* to = nullptr;
    sqlite3_open(newFile.c_str(), &to);
    execute(to, "PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL");
    execute(to, ("ATTACH DATABASE '" + oldFile.string() + "' AS old").c_str());
    execute(to, "BEGIN IMMEDIATE");
    execute(to, kVersion2Schema);
    execute(to,
            "INSERT INTO main.Z_METADATA SELECT * FROM old.Z_METADATA;"
            "INSERT INTO main.Z_PRIMARYKEY SELECT * FROM old.Z_PRIMARYKEY;"
            "INSERT INTO main.Owner SELECT Z_PK, Z_OPT, title, progress, 0 FROM old.Owner;"
            "INSERT INTO main.Member SELECT Z_PK, Z_OPT, date, note, owner FROM old.Member;");
    execute(to, "COMMIT");
    sqlite3_close(to);
}

void BM_Migrate10000OwnersWith50MembersEach(benchmark::State& state) {
    dovrel::bench::BenchFolder folder;
    const auto original = folder.file("Original.sqlite");
    writeVersion1Store(original);
    double migrationTotal = 0, plainTotal = 0, sqlTotal = 0;
    double migrationCPU = 0, plainCPU = 0;
    int run = 0;
    for (auto _ : state) {
        const std::string suffix = std::to_string(run++);
        // Plain SQL: row by row into a new file.
        const auto copied = folder.file("Copied" + suffix + ".sqlite");
        auto start = Clock::now();
        double cpuStart = processCPUSeconds();
        plainCopy(original, copied);
        const double plain = seconds(start);
        plainTotal += plain;
        plainCPU += processCPUSeconds() - cpuStart;
        // Inside SQLite: one statement per table.
        start = Clock::now();
        sqlCopy(original, folder.file("SQL" + suffix + ".sqlite"));
        const double insertSelect = seconds(start);
        sqlTotal += insertSelect;
        // The store: open a copy of the old store through a coordinator with the plan.
        const auto store = folder.file("Store" + suffix + ".sqlite");
        std::filesystem::copy_file(original, store);
        start = Clock::now();
        cpuStart = processCPUSeconds();
        {
            PersistentStoreCoordinator coordinator(plan());
            coordinator.addPersistentStore(PersistentStoreDescription(store));
        }
        const double migrated = seconds(start);
        migrationCPU += processCPUSeconds() - cpuStart;
        migrationTotal += migrated;
        state.SetIterationTime(migrated);
        dovrel::bench::Figures::shared().record(
            "ratio migration of 10000 owners with 50 members each / row-by-row copy",
            migrated / plain, "x", 3);
        dovrel::bench::Figures::shared().record(
            "ratio migration of 10000 owners with 50 members each / INSERT ... SELECT",
            migrated / insertSelect, "x", dovrel::bench::kNoAim);
    }
    const double iterations = static_cast<double>(state.iterations());
    state.counters["migration_ms"] = migrationTotal * 1000 / iterations;
    state.counters["plain_copy_ms"] = plainTotal * 1000 / iterations;
    state.counters["insert_select_ms"] = sqlTotal * 1000 / iterations;
    state.counters["ratio"] = migrationTotal / plainTotal;
    state.counters["cpu_ratio"] = migrationCPU / plainCPU;
    state.counters["ratio_to_insert_select"] = migrationTotal / sqlTotal;
}
BENCHMARK(BM_Migrate10000OwnersWith50MembersEach)
    ->UseManualTime()
    ->Iterations(5)
    ->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
    // The benchmark records its figures per iteration: one repetition is enough.
    return dovrel::bench::runBenchmarks(argc, argv, 1);
}
