// The store under failing I/O: every read, write, sync and lock of a load and a save is failed
// in turn (once, and from then on), through a VFS that fails the Nth call. Whatever fails, a save
// that reports success is on disk, a save is there wholly or not at all, and the store opens
// again afterwards.

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <string>

#include "tests/platform/store/FaultyVfs.h"
#include "tests/platform/store/StoreTestModel.h"

namespace dovrel::store {
namespace {

using dovrel::testing::FaultyVfs;
using testing::makeLoadedContainer;
using testing::makeTestModel;
using testing::TemporaryDirectory;

constexpr int kBefore = 10;
constexpr int kAdded = 20;

struct Check {
    std::string integrity;
    long long people = -1;
};

Check checkFile(const std::filesystem::path& file) {
    Check check;
    sqlite3* db = nullptr;
    if (sqlite3_open_v2(file.c_str(), &db, SQLITE_OPEN_READONLY, nullptr) == SQLITE_OK) {
        sqlite3_stmt* statement = nullptr;
        if (sqlite3_prepare_v2(db, "PRAGMA integrity_check", -1, &statement, nullptr) ==
                SQLITE_OK &&
            sqlite3_step(statement) == SQLITE_ROW) {
            check.integrity = reinterpret_cast<const char*>(sqlite3_column_text(statement, 0));
        }
        sqlite3_finalize(statement);
        if (sqlite3_prepare_v2(db, "SELECT count(*) FROM Person", -1, &statement, nullptr) ==
                SQLITE_OK &&
            sqlite3_step(statement) == SQLITE_ROW) {
            check.people = sqlite3_column_int64(statement, 0);
        }
        sqlite3_finalize(statement);
    }
    sqlite3_close(db);
    return check;
}

void addPeople(ManagedObjectContext& context, int count, int from) {
    for (int index = from; index < from + count; ++index) {
        auto person = context.insertNewObject("Person");
        person->setValue("Person " + std::to_string(index), "name");
        person->setValue(index, "age");
    }
}

// A store of kBefore people.
void makeStore(const std::filesystem::path& file) {
    auto container = makeLoadedContainer(file, makeTestModel());
    addPeople(*container->viewContext(), kBefore, 0);
    container->viewContext()->save();
}

// One run: load the store, add kAdded people and save, with `vfs`'s plan armed. Answers whether
// the save reported success.
bool loadAndSave(const std::filesystem::path& file) {
    std::optional<Error> error;
    auto container = makeLoadedContainer(file, makeTestModel(), &error);
    if (error) {
        return false;
    }
    try {
        addPeople(*container->viewContext(), kAdded, kBefore);
        container->viewContext()->save();
        return true;
    } catch (const Error&) {
        return false;
    }
}

class StoreFaults : public ::testing::TestWithParam<FaultyVfs::Operation> {};

TEST_P(StoreFaults, ASaveIsOnDiskWhenItSaysSoWhollyOrNotAtAllAndTheStoreOpensAgain) {
    const FaultyVfs::Operation operation = GetParam();
    FaultyVfs vfs;
    // How many calls of this kind a load and a save make when nothing fails.
    std::int64_t total = 0;
    {
        TemporaryDirectory folder;
        const auto file = folder.path() / "Faults.sqlite";
        makeStore(file);
        vfs.clear();
        ASSERT_TRUE(loadAndSave(file));
        total = vfs.calls(operation);
    }
    ASSERT_GT(total, 0);
    int failedSaves = 0;
    for (const bool persistent : {false, true}) {
        for (std::int64_t nth = 1; nth <= total + 1; ++nth) {
            SCOPED_TRACE(::testing::Message() << "call " << nth << " of " << total
                                              << (persistent ? ", and every later one" : ""));
            TemporaryDirectory folder;
            const auto file = folder.path() / "Faults.sqlite";
            vfs.clear();
            makeStore(file);
            vfs.failNth(operation, nth, persistent);
            const bool saved = loadAndSave(file);
            const bool faultHit = vfs.failed();
            vfs.clear();
            failedSaves += saved ? 0 : 1;
            if (!faultHit) {
                EXPECT_TRUE(saved) << "nothing failed, yet the save did not succeed";
            }
            const Check check = checkFile(file);
            EXPECT_EQ(check.integrity, "ok");
            if (saved) {
                EXPECT_EQ(check.people, kBefore + kAdded);
            } else {
                EXPECT_TRUE(check.people == kBefore || check.people == kBefore + kAdded)
                    << check.people << " people";
            }
            // And the store opens through the container again, with what the file holds.
            std::optional<Error> error;
            auto container = makeLoadedContainer(file, makeTestModel(), &error);
            ASSERT_FALSE(error.has_value()) << error->localizedDescription();
            EXPECT_EQ(container->viewContext()->count(FetchRequestBase("Person")), check.people);
        }
    }
    // The faults did reach the store: some saves failed.
    EXPECT_GT(failedSaves, 0);
}

INSTANTIATE_TEST_SUITE_P(EveryKindOfCall, StoreFaults,
                         ::testing::Values(FaultyVfs::Operation::read, FaultyVfs::Operation::write,
                                           FaultyVfs::Operation::sync, FaultyVfs::Operation::lock),
                         [](const auto& info) {
                             switch (info.param) {
                                 case FaultyVfs::Operation::read:
                                     return std::string("Read");
                                 case FaultyVfs::Operation::write:
                                     return std::string("Write");
                                 case FaultyVfs::Operation::sync:
                                     return std::string("Sync");
                                 case FaultyVfs::Operation::lock:
                                     return std::string("Lock");
                             }
                             return std::string("Unknown");
                         });

TEST(StoreFaultsDiskFull, AFullDiskFailsTheSaveClearlyAndKeepsTheStore) {
    FaultyVfs vfs;
    TemporaryDirectory folder;
    const auto file = folder.path() / "Full.sqlite";
    makeStore(file);
    vfs.failNth(FaultyVfs::Operation::write, 1, true, true);
    std::optional<Error> error;
    auto container = makeLoadedContainer(file, makeTestModel(), &error);
    ASSERT_FALSE(error.has_value());
    addPeople(*container->viewContext(), kAdded, kBefore);
    try {
        container->viewContext()->save();
        FAIL() << "the save succeeded on a full disk";
    } catch (const Error& failure) {
        EXPECT_FALSE(failure.localizedDescription().empty());
    }
    // Space again: the same changes save.
    vfs.clear();
    container->viewContext()->save();
    container.reset();
    EXPECT_EQ(checkFile(file).people, kBefore + kAdded);
}

}  // namespace
}  // namespace dovrel::store
