#include <gtest/gtest.h>

#include "platform/foundation/Clock.h"
#include "platform/store/PersistentStoreCoordinator.h"
#include "platform/store/StoreError.h"
#include "tests/platform/store/StoreSyncSupport.h"

namespace dovrel::store {
namespace {

using testing::makeSyncContainer;
using testing::makeTestModel;
using testing::Person;
using testing::syncDescription;
using testing::TemporaryDirectory;

class PersistentHistoryTest : public ::testing::Test {
  protected:
    std::unique_ptr<PersistentContainer> open(PersistentStoreDescription description) {
        auto container = std::make_unique<PersistentContainer>("History", makeTestModel());
        container->setPersistentStoreDescriptions({std::move(description)});
        std::optional<Error> failure;
        container->loadPersistentStores([&](const PersistentStoreDescription&,
                                            std::optional<Error> error) { failure = error; });
        EXPECT_FALSE(failure.has_value());
        return container;
    }

    std::shared_ptr<Person> insert(ManagedObjectContext& context, const std::string& name) {
        auto person = context.insertNewObject<Person>("Person");
        person->setName(name);
        return person;
    }

    // Saves one new person on the view context of `container`.
    void saveOne(PersistentContainer& container, const std::string& name) {
        insert(*container.viewContext(), name);
        container.viewContext()->save();
    }

    TemporaryDirectory directory;
    std::filesystem::path file = directory.path() / "History.sqlite";
};

TEST_F(PersistentHistoryTest, EverySaveRecordsATransactionWithAuthorContextNameAndChanges) {
    ScopedClockOverride clock(Date(1000));
    auto container = makeSyncContainer(file);
    ASSERT_NE(container, nullptr);
    auto context = container->viewContext();
    context->setTransactionAuthor("app");
    context->setName("editor");
    auto ann = insert(*context, "Ann");
    auto bob = insert(*context, "Bob");
    context->save();
    clock.set(Date(1001));
    ann->setAge(30);
    context->save();
    context->setTransactionAuthor(std::nullopt);
    context->deleteObject(bob);
    context->save();

    auto history = container->persistentStoreCoordinator()->fetchHistory();
    ASSERT_EQ(history.size(), 3u);
    EXPECT_LT(history[0].token.transactionNumber, history[1].token.transactionNumber);
    EXPECT_LT(history[1].token.transactionNumber, history[2].token.transactionNumber);
    EXPECT_EQ(history[0].timestamp, Date(1000));
    EXPECT_EQ(history[1].timestamp, Date(1001));
    EXPECT_EQ(history[0].author, "app");
    EXPECT_EQ(history[2].author, std::nullopt);
    EXPECT_EQ(history[1].contextName, "editor");
    ASSERT_EQ(history[0].changes.size(), 2u);
    EXPECT_EQ(history[0].changes[0].changeType, PersistentHistoryChangeType::insert);
    EXPECT_EQ(history[0].changes[0].changedObjectID, ann->objectID());
    EXPECT_EQ(history[0].changes[1].changedObjectID, bob->objectID());
    ASSERT_EQ(history[1].changes.size(), 1u);
    EXPECT_EQ(history[1].changes[0].changeType, PersistentHistoryChangeType::update);
    EXPECT_EQ(history[1].changes[0].changedObjectID, ann->objectID());
    ASSERT_EQ(history[2].changes.size(), 1u);
    EXPECT_EQ(history[2].changes[0].changeType, PersistentHistoryChangeType::delete_);
    EXPECT_EQ(history[2].changes[0].changedObjectID, bob->objectID());

    // A token reads what came after it.
    auto later = container->persistentStoreCoordinator()->fetchHistory(history[0].token);
    ASSERT_EQ(later.size(), 2u);
    EXPECT_EQ(later[0].token, history[1].token);
    auto& store = *container->persistentStoreCoordinator()->persistentStores().front();
    EXPECT_EQ(container->persistentStoreCoordinator()->currentPersistentHistoryToken(store),
              history[2].token);
}

TEST_F(PersistentHistoryTest, AFailedSaveRecordsNoHistory) {
    auto first = makeSyncContainer(file);
    auto second = makeSyncContainer(file);
    ASSERT_NE(first, nullptr);
    ASSERT_NE(second, nullptr);
    saveOne(*first, "Ann");
    auto ann = first->viewContext()->fetch(FetchRequest<Person>("Person")).front();
    EXPECT_EQ(ann->age(), 0);  // read now, before the other writer's change
    auto theirs = second->viewContext()->fetch(FetchRequest<Person>("Person")).front();
    theirs->setAge(5);
    second->viewContext()->save();
    ann->setAge(6);
    try {
        first->viewContext()->save();
        FAIL() << "the save should have met the other writer's change";
    } catch (const Error& error) {
        EXPECT_EQ(error.code(), StoreError::kManagedObjectMergeError);
    }
    EXPECT_EQ(first->persistentStoreCoordinator()->fetchHistory().size(), 2u);
}

TEST_F(PersistentHistoryTest, AStoreWithoutTheOptionKeepsNoHistory) {
    auto container = open(PersistentStoreDescription(file));
    saveOne(*container, "Ann");
    auto coordinator = container->persistentStoreCoordinator();
    EXPECT_TRUE(coordinator->fetchHistory().empty());
    EXPECT_FALSE(coordinator->persistentStores().front()->tracksHistory());
    EXPECT_EQ(coordinator->persistentStores().front()->currentHistoryToken().transactionNumber, 0);
}

TEST_F(PersistentHistoryTest, AFileThatKeepsHistoryIsRecordedEvenWhenOpenedWithoutTheOption) {
    {
        auto tracking = open(syncDescription(file));
        saveOne(*tracking, "Ann");
    }
    auto plain = open(PersistentStoreDescription(file));
    saveOne(*plain, "Bob");
    auto history = plain->persistentStoreCoordinator()->fetchHistory();
    ASSERT_EQ(history.size(), 2u);
    EXPECT_EQ(history[1].changes.size(), 1u);
}

TEST_F(PersistentHistoryTest, DeletingHistoryBeforeADateKeepsTheNewerAndNeverReusesNumbers) {
    ScopedClockOverride clock(Date(1000));
    auto container = open(syncDescription(file));
    auto coordinator = container->persistentStoreCoordinator();
    saveOne(*container, "Ann");
    clock.set(Date(2000));
    saveOne(*container, "Bob");
    clock.set(Date(3000));
    saveOne(*container, "Cid");
    coordinator->deleteHistory(Date(2500));
    auto history = coordinator->fetchHistory();
    ASSERT_EQ(history.size(), 1u);
    EXPECT_EQ(history[0].timestamp, Date(3000));
    auto& store = *coordinator->persistentStores().front();
    EXPECT_EQ(store.historyDeletedThrough(), 2);

    coordinator->deleteHistory(history[0].token);
    EXPECT_TRUE(coordinator->fetchHistory().empty());
    EXPECT_EQ(store.currentHistoryToken().transactionNumber, 3);
    saveOne(*container, "Dee");
    history = coordinator->fetchHistory();
    ASSERT_EQ(history.size(), 1u);
    EXPECT_EQ(history[0].token.transactionNumber, 4);
}

TEST_F(PersistentHistoryTest, MaximumAgeDeletesOlderHistoryWhenASaveRecords) {
    ScopedClockOverride clock(Date(0));
    auto description = syncDescription(file);
    description.setOption(Value(3600.0),
                          PersistentStoreDescription::kPersistentHistoryMaximumAgeOptionKey);
    auto container = open(description);
    auto coordinator = container->persistentStoreCoordinator();
    saveOne(*container, "Ann");
    clock.set(Date(1000));
    saveOne(*container, "Bob");
    clock.set(Date(3000));
    saveOne(*container, "Cid");
    EXPECT_EQ(coordinator->fetchHistory().size(), 3u);
    clock.set(Date(4700));
    saveOne(*container, "Dee");
    auto history = coordinator->fetchHistory();
    ASSERT_EQ(history.size(), 2u);
    EXPECT_EQ(history[0].timestamp, Date(3000));
    EXPECT_EQ(history[1].timestamp, Date(4700));
}

}  // namespace
}  // namespace dovrel::store
