#include "DovrelFoundation/Persistence/ManagedObjectObserver.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "DovrelFoundation/Model/Habit.h"
#include "DovrelFoundation/Model/Performing.h"
#include "DovrelFoundation/Persistence/ContextExtensions.h"
#include "DovrelFoundation/Persistence/ObjectsDidChangeNotification.h"
#include "platform/store/ManagedObjectContext.h"
#include "tests/DovrelFoundation/HabitStore.h"

namespace dovrel {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ChangeType = ManagedObjectObserver::ChangeType;
using store::ManagedObjectContext;

class ManagedObjectObserverTest : public ::testing::Test {
  protected:
    ManagedObjectObserverTest() {
        first = insertObject<Habit>(context());
        first->setName("Water");
        second = insertObject<Habit>(context());
        second->setName("Read");
        context().save();
    }

    ManagedObjectContext& context() { return store.context(); }

    // An observer of `object` that records what it reports in `changes`.
    std::shared_ptr<ManagedObjectObserver> observe(
        const std::shared_ptr<store::ManagedObject>& object, std::vector<ChangeType>& changes) {
        return ManagedObjectObserver::make(
            NotificationCenter::defaultCenter(), object,
            [&changes](ChangeType change) { changes.push_back(change); });
    }

    testing::HabitStore store;
    std::shared_ptr<Habit> first;
    std::shared_ptr<Habit> second;
};

TEST_F(ManagedObjectObserverTest, AnObserverForARecordNeverInsertedIntoAContextIsNotCreated) {
    std::shared_ptr<store::ManagedObject> loose = Habit::classEntity().makeObject();
    std::vector<ChangeType> changes;
    EXPECT_EQ(observe(loose, changes), nullptr);
}

TEST_F(ManagedObjectObserverTest, AnObserverForARecordWhoseInsertionWasRolledBackIsNotCreated) {
    auto habit = insertObject<Habit>(context());
    context().rollback();
    std::vector<ChangeType> changes;
    EXPECT_EQ(observe(habit, changes), nullptr);
}

TEST_F(ManagedObjectObserverTest, DeletingTheObservedRecordReportsDeleteOnce) {
    std::vector<ChangeType> changes;
    auto observer = observe(first, changes);
    ASSERT_NE(observer, nullptr);
    context().deleteObject(first);
    context().processPendingChanges();
    context().save();
    context().processPendingChanges();
    EXPECT_THAT(changes, ElementsAre(ChangeType::delete_));
}

TEST_F(ManagedObjectObserverTest, ChangingAnotherRecordOfTheSameContextDoesNotReport) {
    std::vector<ChangeType> changes;
    auto observer = observe(first, changes);
    second->setName("Read more");
    context().processPendingChanges();
    context().deleteObject(second);
    context().processPendingChanges();
    insertObject<Habit>(context());
    context().processPendingChanges();
    context().save();
    EXPECT_THAT(changes, IsEmpty());
}

TEST_F(ManagedObjectObserverTest, ChangingTheObservedRecordReportsUpdate) {
    std::vector<ChangeType> changes;
    auto observer = observe(first, changes);
    first->setName("Water, two litres");
    context().processPendingChanges();
    EXPECT_THAT(changes, ElementsAre(ChangeType::update));
}

TEST_F(ManagedObjectObserverTest, ARefreshedNotChangedRecordReportsUpdate) {
    std::vector<ChangeType> changes;
    auto observer = observe(first, changes);
    // A notification that lists the record only as refreshed, as a merge reports it.
    NotificationCenter::defaultCenter().post(
        ManagedObjectContext::kObjectsDidChangeNotification, &context(),
        {{ManagedObjectContext::kRefreshedObjectsKey,
          store::ObjectSet{std::static_pointer_cast<store::ManagedObject>(first)}}});
    EXPECT_THAT(changes, ElementsAre(ChangeType::update));
    EXPECT_FALSE(first->hasChanges());
}

TEST_F(ManagedObjectObserverTest, ARecordRefreshedByAnotherContextsSaveReportsUpdate) {
    context().setAutomaticallyMergesChangesFromParent(true);
    std::vector<ChangeType> changes;
    auto observer = observe(first, changes);
    std::size_t refreshedReports = 0;
    auto token = NotificationCenter::defaultCenter().addObserver(
        ManagedObjectContext::kObjectsDidChangeNotification, &context(),
        [&](const Notification& notification) {
            refreshedReports +=
                ObjectsDidChangeNotification{notification}.refreshedObjects().count(first);
        });
    auto background = store.container().newBackgroundContext();
    background->performAndWait([&] {
        auto habits = background->fetch(Habit::fetchRequest(store::Key("name") == "Water"));
        ASSERT_EQ(habits.size(), 1u);
        habits.front()->setName("Tea");
        background->save();
    });
    testing::HabitStore::drainMainQueue();
    EXPECT_THAT(changes, ElementsAre(ChangeType::update));
    EXPECT_EQ(refreshedReports, 1u);
    EXPECT_EQ(first->name(), "Tea");
}

TEST_F(ManagedObjectObserverTest, AContextResetReportsDeleteForEveryObserverOfThatContext) {
    std::vector<ChangeType> firstChanges;
    std::vector<ChangeType> secondChanges;
    auto firstObserver = observe(first, firstChanges);
    auto secondObserver = observe(second, secondChanges);
    context().reset();
    EXPECT_THAT(firstChanges, ElementsAre(ChangeType::delete_));
    EXPECT_THAT(secondChanges, ElementsAre(ChangeType::delete_));
}

TEST_F(ManagedObjectObserverTest, ChangesInAnotherContextAreNotReported) {
    std::vector<ChangeType> changes;
    auto observer = observe(first, changes);
    auto background = store.container().newBackgroundContext();
    background->performAndWait([&] {
        auto habits = background->fetch(Habit::fetchRequest(store::Key("name") == "Water"));
        ASSERT_EQ(habits.size(), 1u);
        background->deleteObject(habits.front());
        background->processPendingChanges();
        background->reset();
    });
    EXPECT_THAT(changes, IsEmpty());
}

TEST_F(ManagedObjectObserverTest, AReleasedObserverIsNeverCalledAndLeavesTheCenter) {
    NotificationCenter center;
    std::vector<ChangeType> changes;
    auto observer = ManagedObjectObserver::make(
        center, first, [&](ChangeType change) { changes.push_back(change); });
    ASSERT_NE(observer, nullptr);
    EXPECT_EQ(center.observerCount(), 1u);
    // The observer listens on its own center only: a post there reaches it.
    center.post(ManagedObjectContext::kObjectsDidChangeNotification, &context(),
                {{ManagedObjectContext::kUpdatedObjectsKey,
                  store::ObjectSet{std::static_pointer_cast<store::ManagedObject>(first)}}});
    EXPECT_THAT(changes, ElementsAre(ChangeType::update));

    observer.reset();
    EXPECT_EQ(center.observerCount(), 0u);
    center.post(ManagedObjectContext::kObjectsDidChangeNotification, &context(),
                {{ManagedObjectContext::kDeletedObjectsKey,
                  store::ObjectSet{std::static_pointer_cast<store::ManagedObject>(first)}}});
    EXPECT_THAT(changes, ElementsAre(ChangeType::update));
}

TEST_F(ManagedObjectObserverTest, DeletedWinsOverUpdatedInOneNotification) {
    const store::ObjectSet both{std::static_pointer_cast<store::ManagedObject>(first)};
    ObjectsDidChangeNotification notification{
        Notification{ManagedObjectContext::kObjectsDidChangeNotification,
                     &context(),
                     {{ManagedObjectContext::kUpdatedObjectsKey, both},
                      {ManagedObjectContext::kInvalidatedObjectsKey, both}}}};
    EXPECT_EQ(ManagedObjectObserver::changeType(*first, notification), ChangeType::delete_);
    EXPECT_EQ(ManagedObjectObserver::changeType(*second, notification), std::nullopt);
}

// ---- The typed notification ----

TEST(ObjectsDidChangeNotificationTest, MissingKeysAndValuesOfAnotherTypeReadAsEmpty) {
    ObjectsDidChangeNotification notification{
        Notification{ManagedObjectContext::kObjectsDidChangeNotification,
                     nullptr,
                     {{ManagedObjectContext::kUpdatedObjectsKey, std::string("not a set")},
                      {ManagedObjectContext::kRefreshedObjectsKey, 42}}}};
    EXPECT_THAT(notification.deletedObjects(), IsEmpty());
    EXPECT_THAT(notification.invalidatedObjects(), IsEmpty());
    EXPECT_THAT(notification.updatedObjects(), IsEmpty());
    EXPECT_THAT(notification.refreshedObjects(), IsEmpty());
    EXPECT_FALSE(notification.invalidatedAllObjects());
}

TEST(ObjectsDidChangeNotificationTest, AllObjectsInvalidatedIsTheMerePresenceOfItsKey) {
    ObjectsDidChangeNotification notification{
        Notification{ManagedObjectContext::kObjectsDidChangeNotification,
                     nullptr,
                     {{ManagedObjectContext::kInvalidatedAllObjectsKey, false}}}};
    EXPECT_TRUE(notification.invalidatedAllObjects());
}

TEST_F(ManagedObjectObserverTest, TheTypedNotificationListsTheObjectsTheContextReported) {
    std::vector<ObjectsDidChangeNotification> received;
    auto token = NotificationCenter::defaultCenter().addObserver(
        ManagedObjectContext::kObjectsDidChangeNotification, &context(),
        [&](const Notification& notification) { received.push_back({notification}); });
    first->setName("Juice");
    context().deleteObject(second);
    context().processPendingChanges();
    ASSERT_EQ(received.size(), 1u);
    EXPECT_EQ(received[0].updatedObjects(),
              store::ObjectSet{std::static_pointer_cast<store::ManagedObject>(first)});
    EXPECT_EQ(received[0].deletedObjects(),
              store::ObjectSet{std::static_pointer_cast<store::ManagedObject>(second)});
    EXPECT_THAT(received[0].refreshedObjects(), IsEmpty());
    EXPECT_FALSE(received[0].invalidatedAllObjects());
}

}  // namespace
}  // namespace dovrel
