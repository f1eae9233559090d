#include "platform/store/PersistentStore.h"

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <iterator>

#include "platform/store/StoreError.h"
#include "tests/platform/store/StoreTestModel.h"
#include "tests/support/FileContents.h"

namespace dovrel::store {
namespace {

using testing::makeLoadedContainer;
using testing::makeTestModel;
using testing::TemporaryDirectory;

using dovrel::testing::contentsOf;

void writeFile(const std::filesystem::path& path, const std::string& bytes) {
    std::ofstream out(path, std::ios::binary);
    out << bytes;
}

// Loads a container over `file` and returns the error its handler received (exactly once).
std::optional<Error> loadError(const std::filesystem::path& file,
                               std::shared_ptr<const ManagedObjectModel> model = makeTestModel()) {
    PersistentContainer container("Test", std::move(model));
    container.setPersistentStoreDescriptions({PersistentStoreDescription(file)});
    int calls = 0;
    std::optional<Error> failure;
    container.loadPersistentStores(
        [&](const PersistentStoreDescription& description, std::optional<Error> error) {
            ++calls;
            EXPECT_EQ(description.url(), file);
            failure = error;
        });
    EXPECT_EQ(calls, 1);
    return failure;
}

TEST(PersistentStoreLoading, TheHandlerRunsOncePerDescription) {
    TemporaryDirectory directory;
    PersistentContainer container("Test", makeTestModel());
    container.setPersistentStoreDescriptions(
        {PersistentStoreDescription(directory.path() / "A.sqlite"),
         PersistentStoreDescription(directory.path() / "missing" / "B.sqlite")});
    std::vector<std::pair<std::string, bool>> calls;
    container.loadPersistentStores(
        [&](const PersistentStoreDescription& description, std::optional<Error> error) {
            calls.emplace_back(description.url().filename().string(), error.has_value());
        });
    EXPECT_EQ(calls,
              (std::vector<std::pair<std::string, bool>>{{"A.sqlite", false}, {"B.sqlite", true}}));
    EXPECT_EQ(container.persistentStoreCoordinator()->persistentStores().size(), 1u);
}

TEST(PersistentStoreLoading, ANewStoreFileIsPrivateAndInWALMode) {
    TemporaryDirectory directory;
    const auto file = directory.path() / "Test.sqlite";
    ::umask(022);
    auto container = makeLoadedContainer(file, makeTestModel());
    container->viewContext()->insertNewObject("Person");
    container->viewContext()->save();
    struct stat info {};
    ASSERT_EQ(::stat(file.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0600u);
    ASSERT_EQ(::stat((file.string() + "-wal").c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0600u);
    // WAL is recorded in the file header (bytes 18 and 19 are 2).
    const std::string header = contentsOf(file).substr(0, 20);
    EXPECT_EQ(header[18], 2);
    EXPECT_EQ(header[19], 2);
}

TEST(PersistentStoreLoading, MetadataHoldsTheUUIDAndModelVersionAndPersists) {
    TemporaryDirectory directory;
    const auto file = directory.path() / "Test.sqlite";
    {
        auto container = makeLoadedContainer(file, makeTestModel("v7"));
        auto store = container->persistentStoreCoordinator()->persistentStores().front();
        auto metadata = store->metadata();
        EXPECT_EQ(metadata.at(PersistentStore::kModelVersionIdentifierKey), Value("v7"));
        EXPECT_EQ(metadata.at(PersistentStore::kStoreUUIDKey), Value(store->identifier()));
        container->persistentStoreCoordinator()->setMetadata({{"mergeDate", Value(Date(5))}},
                                                             *store);
    }
    auto container = makeLoadedContainer(file, makeTestModel("v7"));
    auto store = container->persistentStoreCoordinator()->persistentStores().front();
    EXPECT_EQ(store->metadata().at("mergeDate"), Value(Date(5)));
}

TEST(PersistentStoreLoading, AFileThatIsNotSQLiteFailsAndIsLeftAsItWas) {
    TemporaryDirectory directory;
    const auto file = directory.path() / "Test.sqlite";
    std::string bytes = "This is not a database, just some text that is long enough. ";
    for (int i = 0; i < 6; ++i) {
        bytes += bytes;
    }
    writeFile(file, bytes);
    auto error = loadError(file);
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->domain(), StoreError::kDomain);
    EXPECT_EQ(error->code(), StoreError::kFileReadCorruptFileError);
    EXPECT_EQ(contentsOf(file), bytes);
}

TEST(PersistentStoreLoading, ASQLiteFileOfAForeignSchemaFailsAndIsLeftAsItWas) {
    TemporaryDirectory directory;
    const auto file = directory.path() / "Test.sqlite";
    sqlite3* db = nullptr;
    ASSERT_EQ(sqlite3_open(file.c_str(), &db), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(db,
                           "CREATE TABLE Person (id INTEGER PRIMARY KEY, nickname TEXT);"
                           "INSERT INTO Person (nickname) VALUES ('x');",
                           nullptr, nullptr, nullptr),
              SQLITE_OK);
    sqlite3_close(db);
    const std::string bytes = contentsOf(file);
    auto error = loadError(file);
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->code(), StoreError::kPersistentStoreIncompatibleSchemaError);
    EXPECT_EQ(contentsOf(file), bytes);
    EXPECT_FALSE(std::filesystem::exists(file.string() + "-wal"));
}

TEST(PersistentStoreLoading, AStoreOfAnotherModelVersionFailsAndIsLeftAsItWas) {
    TemporaryDirectory directory;
    const auto file = directory.path() / "Test.sqlite";
    makeLoadedContainer(file, makeTestModel("1"));
    const std::string bytes = contentsOf(file);
    auto error = loadError(file, makeTestModel("2"));
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->code(), StoreError::kPersistentStoreIncompatibleVersionHashError);
    EXPECT_EQ(contentsOf(file), bytes);
}

// Permission checks do not apply to root, so the attempt runs in a child that drops to an
// unprivileged user first. The child exits 0 when the load failed and 1 when it succeeded.
int loadAsUnprivilegedUser(const std::filesystem::path& file) {
    const pid_t child = ::fork();
    if (child == 0) {
        if (::geteuid() == 0 && (::setgid(65534) != 0 || ::setuid(65534) != 0)) {
            ::_exit(2);
        }
        PersistentContainer container("Test", makeTestModel());
        container.setPersistentStoreDescriptions({PersistentStoreDescription(file)});
        bool failed = false;
        container.loadPersistentStores(
            [&](const PersistentStoreDescription&, std::optional<Error> error) {
                failed = error.has_value();
            });
        ::_exit(failed ? 0 : 1);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(PersistentStoreLoading, AFolderWithoutWritePermissionFailsAndLeavesTheFileAsItWas) {
    TemporaryDirectory directory;
    const auto folder = directory.path() / "locked";
    std::filesystem::create_directory(folder);
    // An existing store (not in WAL mode yet would need a -wal file; either way it must fail).
    const auto existing = folder / "Existing.sqlite";
    makeLoadedContainer(existing, makeTestModel());
    std::filesystem::remove(existing.string() + "-wal");
    std::filesystem::remove(existing.string() + "-shm");
    ::chmod(existing.c_str(), 0666);
    const std::string bytes = contentsOf(existing);
    ::chmod(folder.c_str(), 0555);
    ::chmod(directory.path().c_str(), 0755);

    EXPECT_EQ(loadAsUnprivilegedUser(folder / "New.sqlite"), 0);
    EXPECT_FALSE(std::filesystem::exists(folder / "New.sqlite"));
    EXPECT_EQ(loadAsUnprivilegedUser(existing), 0);
    EXPECT_EQ(contentsOf(existing), bytes);
    ::chmod(folder.c_str(), 0700);
}

}  // namespace
}  // namespace dovrel::store
