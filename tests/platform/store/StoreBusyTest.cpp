// Another connection (another process, as far as SQLite can tell) holding the store: loading,
// fetching and saving wait for it, and past the busy timeout the error says so and nothing is
// written.

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <chrono>
#include <memory>
#include <thread>

#include "platform/store/PersistentStore.h"
#include "platform/store/StoreError.h"
#include "tests/platform/store/StoreTestModel.h"

namespace dovrel::store {
namespace {

using std::chrono::milliseconds;
using testing::makeLoadedContainer;
using testing::makeTestModel;
using testing::TemporaryDirectory;

// A plain SQLite connection to the store file, beside the store's own.
class OtherConnection {
  public:
    explicit OtherConnection(const std::filesystem::path& file) {
        sqlite3* raw = nullptr;
        EXPECT_EQ(sqlite3_open(file.c_str(), &raw), SQLITE_OK);
        database_.reset(raw);
    }
    int execute(const char* sql) {
        return sqlite3_exec(database_.get(), sql, nullptr, nullptr, nullptr);
    }

  private:
    struct Closer {
        void operator()(sqlite3* database) const { sqlite3_close_v2(database); }
    };
    std::unique_ptr<sqlite3, Closer> database_;
};

std::unique_ptr<PersistentContainer> loadWithTimeout(const std::filesystem::path& file,
                                                     TimeInterval timeout) {
    auto container = std::make_unique<PersistentContainer>("Test", makeTestModel());
    PersistentStoreDescription description(file);
    description.setTimeout(timeout);
    container->setPersistentStoreDescriptions({description});
    std::optional<Error> failure;
    container->loadPersistentStores(
        [&](const PersistentStoreDescription&, std::optional<Error> error) { failure = error; });
    EXPECT_FALSE(failure) << failure->localizedDescription();
    return container;
}

TEST(StoreBusy, ASaveWaitsForAnotherConnectionsWriteAndThenSucceeds) {
    TemporaryDirectory directory;
    const auto file = directory.path() / "Store.sqlite";
    auto container = loadWithTimeout(file, 10);
    OtherConnection other(file);
    ASSERT_EQ(other.execute("BEGIN IMMEDIATE; INSERT INTO Team (Z_PK, Z_OPT, title) "
                            "VALUES (1000, 1, 'Theirs')"),
              SQLITE_OK);
    std::thread releaser([&other] {
        std::this_thread::sleep_for(milliseconds(300));
        other.execute("COMMIT");
    });
    auto& context = *container->viewContext();
    context.insertNewObject("Team")->setValue(Value(std::string("Ours")), "title");
    const auto started = std::chrono::steady_clock::now();
    EXPECT_NO_THROW(context.save());
    EXPECT_GE(std::chrono::steady_clock::now() - started, milliseconds(250));
    releaser.join();
    EXPECT_EQ(context.count(FetchRequestBase("Team")), 2);
}

TEST(StoreBusy, ASavePastTheBusyTimeoutSaysAnotherProgramHoldsTheStoreAndWritesNothing) {
    TemporaryDirectory directory;
    const auto file = directory.path() / "Store.sqlite";
    auto container = loadWithTimeout(file, 0.2);
    OtherConnection other(file);
    ASSERT_EQ(other.execute("BEGIN IMMEDIATE"), SQLITE_OK);
    auto& context = *container->viewContext();
    context.insertNewObject("Team")->setValue(Value(std::string("Ours")), "title");
    try {
        context.save();
        FAIL() << "saved while another connection held the write lock";
    } catch (const Error& error) {
        EXPECT_EQ(error.domain(), StoreError::kDomain);
        EXPECT_EQ(error.code(), StoreError::kPersistentStoreSaveError);
        EXPECT_TRUE(StoreError::isBusy(error)) << error.localizedDescription();
        EXPECT_NE(error.localizedDescription().find("another program"), std::string::npos)
            << error.localizedDescription();
    }
    // The context keeps its change; the file has none of it.
    EXPECT_TRUE(context.hasChanges());
    ASSERT_EQ(other.execute("ROLLBACK"), SQLITE_OK);
    auto reader = makeLoadedContainer(file, makeTestModel());
    EXPECT_EQ(reader->viewContext()->count(FetchRequestBase("Team")), 0);
    // Once the other connection lets go, the same save goes through.
    EXPECT_NO_THROW(context.save());
    EXPECT_EQ(reader->viewContext()->count(FetchRequestBase("Team")), 1);
}

TEST(StoreBusy, LoadingAStoreWhileAnotherConnectionWritesItWaits) {
    TemporaryDirectory directory;
    const auto file = directory.path() / "Store.sqlite";
    makeLoadedContainer(file, makeTestModel());
    auto other = std::make_unique<OtherConnection>(file);
    // A connection in exclusive locking mode keeps even readers out until it closes.
    ASSERT_EQ(other->execute("PRAGMA locking_mode=EXCLUSIVE; BEGIN EXCLUSIVE; "
                             "INSERT INTO Team (Z_PK, Z_OPT, title) VALUES (1000, 1, 'Theirs');"
                             "COMMIT"),
              SQLITE_OK);
    std::thread releaser([&other] {
        std::this_thread::sleep_for(milliseconds(300));
        other.reset();
    });
    std::optional<Error> failure;
    auto container = makeLoadedContainer(file, makeTestModel(), &failure);
    releaser.join();
    ASSERT_FALSE(failure) << failure->localizedDescription();
    EXPECT_EQ(container->viewContext()->count(FetchRequestBase("Team")), 1);
}

TEST(StoreBusy, ErrorsThatAreNotAboutLocksAreNotBusy) {
    EXPECT_FALSE(StoreError::isBusy(StoreError::make(StoreError::kPersistentStoreSaveError, "x")));
    EXPECT_FALSE(StoreError::isBusy(Error("SQLite", SQLITE_CORRUPT)));
    EXPECT_TRUE(StoreError::isBusy(Error("SQLite", SQLITE_BUSY)));
    const Error wrapped = StoreError::wrapping(StoreError::kPersistentStoreOpenError,
                                               "The fetch failed", Error("SQLite", SQLITE_LOCKED));
    EXPECT_TRUE(StoreError::isBusy(wrapped));
    EXPECT_TRUE(StoreError::isBusy(
        StoreError::wrapping(StoreError::kPersistentStoreSaveError, "Outer", wrapped)));
}

}  // namespace
}  // namespace dovrel::store
