#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <atomic>
#include <thread>

#include "platform/dispatch/MainRunLoop.h"
#include "platform/store/FetchedResultsController.h"
#include "platform/store/PersistentStoreCoordinator.h"
#include "platform/store/RemoteChangeMonitor.h"
#include "platform/store/StoreError.h"
#include "tests/platform/store/StoreSyncSupport.h"

// Two coordinators on one file in one process: each is "another connection" to the other, just
// as another process is.
namespace dovrel::store {
namespace {

using testing::DescribingDelegate;
using testing::drainMainQueue;
using ::testing::ElementsAre;
using testing::incrementInTurn;
using ::testing::IsEmpty;
using testing::makeSyncContainer;
using testing::makeTestModel;
using testing::Person;
using testing::syncDescription;
using testing::TemporaryDirectory;

// Keeps the described changes until taken.
class RecordingDelegate : public DescribingDelegate {
  public:
    RecordingDelegate() : DescribingDelegate([this](std::string line) { lines.push_back(line); }) {}
    std::vector<std::string> take() { return std::exchange(lines, {}); }
    std::vector<std::string> lines;
};

// Counts the notifications called `name` sent by `sender`, and keeps the last one.
class NotificationRecorder {
  public:
    NotificationRecorder(const char* name, const void* sender)
        : token_(NotificationCenter::defaultCenter().addObserver(
              name, sender, [this](const Notification& notification) {
                  std::lock_guard lock(mutex_);
                  ++count_;
                  last_ = notification;
              })) {}
    int count() const {
        std::lock_guard lock(mutex_);
        return count_;
    }
    Notification last() const {
        std::lock_guard lock(mutex_);
        return last_;
    }

  private:
    mutable std::mutex mutex_;
    int count_ = 0;
    Notification last_;
    ObservationToken token_;
};

class RemoteChangeTest : public ::testing::Test {
  protected:
    RemoteChangeTest() {
        writer = makeSyncContainer(file);
        reader = makeSyncContainer(file);
        // The tests check by hand; the timer is tested on its own.
        reader->persistentStoreCoordinator()->setRemoteChangeInterval(3600);
        writer->persistentStoreCoordinator()->setRemoteChangeInterval(3600);
        view = reader->viewContext();
        view->setAutomaticallyMergesChangesFromParent(true);
    }

    std::unique_ptr<FetchedResultsController<Person>> follow() {
        FetchRequest<Person> request("Person");
        request.setSortDescriptors({{"name", true}});
        request.setReturnsObjectsAsFaults(false);
        auto controller = std::make_unique<FetchedResultsController<Person>>(request, view);
        controller->setDelegate(delegate);
        controller->performFetch();
        return controller;
    }

    // Runs `change` on a background context of the writer and saves it.
    void write(const std::function<void(ManagedObjectContext&)>& change) {
        auto context = writer->newBackgroundContext();
        context->performAndWait([&] {
            change(*context);
            context->save();
        });
    }

    static std::shared_ptr<Person> named(ManagedObjectContext& context, const std::string& name) {
        FetchRequest<Person> request("Person");
        request.setPredicate(Key("name") == name);
        auto found = context.fetch(request);
        return found.empty() ? nullptr : found.front();
    }

    void insertPerson(const std::string& name, std::int64_t age) {
        write([&](ManagedObjectContext& context) {
            auto person = context.insertNewObject<Person>("Person");
            person->setName(name);
            person->setAge(age);
        });
    }

    // What the reader learns at its next check.
    void deliver() {
        reader->persistentStoreCoordinator()->checkForRemoteChanges();
        drainMainQueue();
    }

    TemporaryDirectory directory;
    std::filesystem::path file = directory.path() / "Shared.sqlite";
    std::unique_ptr<PersistentContainer> writer;
    std::unique_ptr<PersistentContainer> reader;
    std::shared_ptr<ManagedObjectContext> view;
    std::shared_ptr<RecordingDelegate> delegate = std::make_shared<RecordingDelegate>();
};

TEST_F(RemoteChangeTest, AContextThatMergesAutomaticallyFollowsInsertsUpdatesAndDeletes) {
    ASSERT_NE(writer, nullptr);
    ASSERT_NE(reader, nullptr);
    auto controller = follow();
    insertPerson("Ada", 1);
    deliver();
    EXPECT_THAT(delegate->take(), ElementsAre("insert Ada 1"));
    write([&](ManagedObjectContext& context) { named(context, "Ada")->setAge(2); });
    deliver();
    EXPECT_THAT(delegate->take(), ElementsAre("update Ada 2"));
    EXPECT_EQ(named(*view, "Ada")->age(), 2);
    write([&](ManagedObjectContext& context) { context.deleteObject(named(context, "Ada")); });
    deliver();
    EXPECT_THAT(delegate->take(), ElementsAre("delete Ada"));
    EXPECT_TRUE(controller->fetchedObjects().empty());
}

TEST_F(RemoteChangeTest, SeveralTransactionsBetweenChecksArriveAsTheirNetEffect) {
    auto controller = follow();
    insertPerson("Ada", 1);
    insertPerson("Bo", 1);
    write([&](ManagedObjectContext& context) { named(context, "Ada")->setAge(3); });
    write([&](ManagedObjectContext& context) { context.deleteObject(named(context, "Bo")); });
    deliver();
    EXPECT_THAT(delegate->take(), ElementsAre("insert Ada 3"));
}

TEST_F(RemoteChangeTest, OwnSavesAreNotReportedAsRemoteChanges) {
    auto coordinator = reader->persistentStoreCoordinator();
    NotificationRecorder remote(
        PersistentStoreCoordinator::kPersistentStoreRemoteChangeNotification, coordinator.get());
    NotificationRecorder transactions(RemoteChangeMonitor::kRemoteTransactionsNotification,
                                      coordinator.get());
    auto controller = follow();
    // A sibling context of the reader's own coordinator saves: the view context hears of it as
    // a save, once.
    auto sibling = reader->newBackgroundContext();
    sibling->performAndWait([&] {
        auto person = sibling->insertNewObject<Person>("Person");
        person->setName("Own");
        sibling->save();
    });
    drainMainQueue();
    EXPECT_THAT(delegate->take(), ElementsAre("insert Own 0"));
    deliver();
    EXPECT_THAT(delegate->take(), IsEmpty());
    EXPECT_EQ(remote.count(), 0);
    EXPECT_EQ(transactions.count(), 0);
    // The writer's save is somebody else's; the reader's own transaction before it is left out.
    insertPerson("Other", 1);
    deliver();
    EXPECT_THAT(delegate->take(), ElementsAre("insert Other 1"));
    EXPECT_EQ(remote.count(), 1);
    ASSERT_EQ(transactions.count(), 1);
    const auto inserted = std::any_cast<ObjectIDSet>(
        transactions.last().userInfo.at(ManagedObjectContext::kInsertedObjectIDsKey));
    ASSERT_EQ(inserted.size(), 1u);
    EXPECT_EQ(view->existingObject(*inserted.begin())->value("name").string(), "Other");
}

TEST_F(RemoteChangeTest, TheRemoteChangeNotificationCarriesTheStoreURLAndTheLatestToken) {
    NotificationRecorder remote(
        PersistentStoreCoordinator::kPersistentStoreRemoteChangeNotification,
        reader->persistentStoreCoordinator().get());
    insertPerson("Ada", 1);
    insertPerson("Bo", 2);
    deliver();
    ASSERT_EQ(remote.count(), 1);
    const auto notification = remote.last();
    const auto* url = std::any_cast<std::filesystem::path>(
        &notification.userInfo.at(PersistentStoreCoordinator::kPersistentStoreURLKey));
    ASSERT_NE(url, nullptr);
    EXPECT_EQ(*url, file);
    const auto* token = std::any_cast<PersistentHistoryToken>(
        &notification.userInfo.at(PersistentStoreCoordinator::kPersistentHistoryTokenKey));
    ASSERT_NE(token, nullptr);
    auto& store = *writer->persistentStoreCoordinator()->persistentStores().front();
    EXPECT_EQ(*token, store.currentHistoryToken());
    EXPECT_EQ(token->transactionNumber, 2);
    // Nothing new, nothing posted.
    deliver();
    EXPECT_EQ(remote.count(), 1);
}

TEST_F(RemoteChangeTest, NoRemoteChangeNotificationWithoutTheOption) {
    PersistentStoreDescription description(file);
    description.setOption(Value(true), PersistentStoreDescription::kPersistentHistoryTrackingKey);
    auto quiet = std::make_unique<PersistentContainer>("Quiet", makeTestModel());
    quiet->setPersistentStoreDescriptions({description});
    quiet->loadPersistentStores([](const PersistentStoreDescription&, std::optional<Error> error) {
        ASSERT_FALSE(error.has_value());
    });
    auto coordinator = quiet->persistentStoreCoordinator();
    coordinator->setRemoteChangeInterval(3600);
    NotificationRecorder remote(
        PersistentStoreCoordinator::kPersistentStoreRemoteChangeNotification, coordinator.get());
    auto context = quiet->viewContext();
    context->setAutomaticallyMergesChangesFromParent(true);
    NotificationRecorder changes(ManagedObjectContext::kObjectsDidChangeNotification,
                                 context.get());
    insertPerson("Ada", 1);
    coordinator->checkForRemoteChanges();
    drainMainQueue();
    EXPECT_EQ(remote.count(), 0);
    // History alone still lets the context merge.
    ASSERT_EQ(changes.count(), 1);
    EXPECT_TRUE(changes.last().userInfo.contains(ManagedObjectContext::kInsertedObjectsKey));
}

TEST_F(RemoteChangeTest, AContextThatDoesNotMergeAutomaticallyIsNotChangedByRemoteCommits) {
    insertPerson("Ada", 1);
    deliver();
    auto still = reader->newBackgroundContext();
    std::shared_ptr<Person> ada;
    still->performAndWait([&] {
        ada = named(*still, "Ada");
        ASSERT_NE(ada, nullptr);
        EXPECT_EQ(ada->age(), 1);  // read now, before the remote commit
    });
    ASSERT_NE(ada, nullptr);
    NotificationRecorder changes(ManagedObjectContext::kObjectsDidChangeNotification, still.get());
    write([&](ManagedObjectContext& context) { named(context, "Ada")->setAge(2); });
    deliver();
    still->performAndWait([] {});
    EXPECT_EQ(changes.count(), 0);
    still->performAndWait([&] {
        EXPECT_EQ(ada->age(), 1);
        // It sees the commit when it asks the store.
        still->refresh(ada, false);
        EXPECT_EQ(ada->age(), 2);
    });
}

TEST_F(RemoteChangeTest, RemoteChangesArriveWithoutAnExplicitCheck) {
    reader->persistentStoreCoordinator()->setRemoteChangeInterval(
        RemoteChangeMonitor::kDefaultInterval);
    EXPECT_DOUBLE_EQ(reader->persistentStoreCoordinator()->remoteChangeInterval(), 0.025);
    auto controller = follow();
    insertPerson("Ada", 1);
    EXPECT_TRUE(
        MainRunLoop::runUntil([&] { return !delegate->lines.empty(); }, std::chrono::seconds(5)));
    EXPECT_THAT(delegate->take(), ElementsAre("insert Ada 1"));
}

TEST_F(RemoteChangeTest, HistoryDeletedBeforeItWasReadRefreshesEveryObjectTheContextHolds) {
    insertPerson("Ada", 1);
    deliver();
    auto controller = follow();
    ASSERT_EQ(controller->fetchedObjects().size(), 1u);
    write([&](ManagedObjectContext& context) { named(context, "Ada")->setAge(9); });
    writer->persistentStoreCoordinator()->deleteHistory(Date(1e12));
    deliver();
    EXPECT_THAT(delegate->take(), ElementsAre("update Ada 9"));
}

TEST_F(RemoteChangeTest, ContextsDestroyedWhileRemoteChangesArriveAreLeftAlone) {
    reader->persistentStoreCoordinator()->setRemoteChangeInterval(0.001);
    for (int round = 0; round < 20; ++round) {
        auto context = reader->newBackgroundContext();
        context->setAutomaticallyMergesChangesFromParent(true);
        context->performAndWait([&] { (void)context->fetch(FetchRequest<Person>("Person")); });
        std::string name = std::to_string(round);
        name.insert(name.begin(), 'P');
        insertPerson(name, round);
        std::this_thread::sleep_for(std::chrono::milliseconds(round % 3));
        context.reset();
    }
    // The coordinator goes on working for the contexts that remain.
    auto controller = follow();
    insertPerson("Last", 1);
    EXPECT_TRUE(
        MainRunLoop::runUntil([&] { return !delegate->lines.empty(); }, std::chrono::seconds(5)));
    EXPECT_THAT(delegate->take(), ElementsAre("insert Last 1"));
}

TEST_F(RemoteChangeTest, DestroyingTheCoordinatorStopsTheChecks) {
    reader->persistentStoreCoordinator()->setRemoteChangeInterval(0.001);
    std::weak_ptr<PersistentStore> store =
        reader->persistentStoreCoordinator()->persistentStores().front();
    const void* oldCoordinator = reader->persistentStoreCoordinator().get();
    std::atomic<int> afterwards = 0;
    std::atomic<bool> gone = false;
    auto observation = NotificationCenter::defaultCenter().addObserver(
        RemoteChangeMonitor::kRemoteTransactionsNotification, nullptr,
        [&](const Notification& notification) {
            if (gone && notification.object == oldCoordinator) {
                ++afterwards;
            }
        });
    insertPerson("Ada", 1);
    view.reset();
    reader.reset();
    gone = true;
    // Nothing holds the store's connection any more.
    EXPECT_TRUE(store.expired());
    insertPerson("Bo", 2);
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(afterwards.load(), 0);
}

TEST_F(RemoteChangeTest, ObjectTrumpKeepsChangedPropertiesAndTakesTheOthersFromTheStore) {
    insertPerson("Ada", 1);
    auto context = reader->newBackgroundContext();
    context->setMergePolicy(MergePolicy::mergeByPropertyObjectTrumpMergePolicy);
    std::shared_ptr<Person> ada;
    context->performAndWait([&] { ada = named(*context, "Ada"); });
    write([&](ManagedObjectContext& other) {
        auto theirs = named(other, "Ada");
        theirs->setAge(7);
        theirs->setValue(Value(5.0), "score");
    });
    context->performAndWait([&] {
        ada->setAge(2);
        context->save();
        EXPECT_EQ(ada->age(), 2);
        EXPECT_EQ(ada->value("score").real(), 5.0);
    });
    auto check = writer->newBackgroundContext();
    check->performAndWait([&] {
        auto stored = named(*check, "Ada");
        EXPECT_EQ(stored->age(), 2);
        EXPECT_EQ(stored->value("score").real(), 5.0);
    });
}

TEST_F(RemoteChangeTest, ReadModifyWriteRepeatedAfterAConflictLosesNoUpdate) {
    insertPerson("Ada", 0);
    auto first = writer->newBackgroundContext();
    auto second = reader->newBackgroundContext();
    std::thread other([&] { incrementInTurn(*second, {"Ada"}, 300); });
    incrementInTurn(*first, {"Ada"}, 300);
    other.join();
    first->performAndWait([&] {
        auto ada = named(*first, "Ada");
        first->refresh(ada, false);
        EXPECT_EQ(ada->age(), 600);
        EXPECT_EQ(ada->value("active").boolean(), false);
    });
}

TEST_F(RemoteChangeTest, ASaveWaitsForAnotherWritersLockInsteadOfFailing) {
    sqlite3* raw = nullptr;
    ASSERT_EQ(sqlite3_open(file.c_str(), &raw), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(raw, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr), SQLITE_OK);
    std::thread release([raw] {
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        sqlite3_exec(raw, "COMMIT", nullptr, nullptr, nullptr);
    });
    const auto start = std::chrono::steady_clock::now();
    EXPECT_NO_THROW(insertPerson("Ada", 1));
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(250));
    release.join();
    sqlite3_close(raw);
}

TEST_F(RemoteChangeTest, ALockHeldLongerThanTheTimeoutFailsTheSaveWithAStoreError) {
    auto description = syncDescription(file);
    description.setTimeout(0.2);
    auto impatient = std::make_unique<PersistentContainer>("Impatient", makeTestModel());
    impatient->setPersistentStoreDescriptions({description});
    impatient->loadPersistentStores(
        [](const PersistentStoreDescription&, std::optional<Error> error) {
            ASSERT_FALSE(error.has_value());
        });
    sqlite3* raw = nullptr;
    ASSERT_EQ(sqlite3_open(file.c_str(), &raw), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(raw, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr), SQLITE_OK);
    auto context = impatient->viewContext();
    auto person = context->insertNewObject<Person>("Person");
    person->setName("Ada");
    try {
        context->save();
        ADD_FAILURE() << "the save should have given up";
    } catch (const Error& error) {
        EXPECT_EQ(error.domain(), StoreError::kDomain);
        EXPECT_EQ(error.code(), StoreError::kPersistentStoreSaveError);
    }
    sqlite3_exec(raw, "ROLLBACK", nullptr, nullptr, nullptr);
    sqlite3_close(raw);
    // The changes are kept, and saved once the lock is free.
    EXPECT_NO_THROW(context->save());
}

}  // namespace
}  // namespace dovrel::store

namespace dovrel::store {
namespace {

TEST(StoreCreationRace, TwoConnectionsCreatingANewStoreAtOnceBothOpenTheSameStore) {
    testing::TemporaryDirectory directory;
    for (int round = 0; round < 10; ++round) {
        std::string name = "New";
        name += std::to_string(round);
        name += ".sqlite";
        const auto file = directory.path() / name;
        std::unique_ptr<PersistentContainer> first;
        std::unique_ptr<PersistentContainer> second;
        std::thread other([&] { second = testing::makeSyncContainer(file); });
        first = testing::makeSyncContainer(file);
        other.join();
        ASSERT_NE(first, nullptr) << round;
        ASSERT_NE(second, nullptr) << round;
        EXPECT_EQ(first->persistentStoreCoordinator()->persistentStores().front()->uuid(),
                  second->persistentStoreCoordinator()->persistentStores().front()->uuid());
    }
}

TEST(StoreCreationRace, ATableLessSQLiteFileNotInWriteAheadLogModeIsStillRefused) {
    testing::TemporaryDirectory directory;
    const auto file = directory.path() / "Foreign.sqlite";
    sqlite3* raw = nullptr;
    ASSERT_EQ(sqlite3_open(file.c_str(), &raw), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(raw, "PRAGMA user_version = 7", nullptr, nullptr, nullptr), SQLITE_OK);
    sqlite3_close(raw);
    ASSERT_GT(std::filesystem::file_size(file), 0u);
    auto container = std::make_unique<PersistentContainer>("Foreign", testing::makeTestModel());
    container->setPersistentStoreDescriptions({testing::syncDescription(file)});
    std::optional<Error> failure;
    container->loadPersistentStores(
        [&](const PersistentStoreDescription&, std::optional<Error> error) { failure = error; });
    ASSERT_TRUE(failure.has_value());
    EXPECT_EQ(failure->code(), StoreError::kPersistentStoreIncompatibleSchemaError);
}

}  // namespace
}  // namespace dovrel::store
