#include "DovrelFoundation/ContextExtensions.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <future>
#include <vector>

#include "DovrelFoundation/Habit.h"
#include "DovrelFoundation/Performing.h"
#include "platform/store/StoreError.h"
#include "tests/DovrelFoundation/HabitStore.h"
#include "tests/support/CivilDate.h"

namespace dovrel {
namespace {

using testing::civilDate;

class ContextExtensionsTest : public ::testing::Test {
  protected:
    store::ManagedObjectContext& context() { return store.context(); }

    std::shared_ptr<Habit> addHabit(std::optional<Date> creationDate) {
        auto habit = insertObject<Habit>(context());
        habit->setCreationDate(creationDate);
        return habit;
    }

    testing::HabitStore store;
};

TEST_F(ContextExtensionsTest, InsertObjectMakesAnInsertedRecordOfTheRequestedClass) {
    auto habit = insertObject<Habit>(context());
    auto performing = insertObject<Performing>(context());
    EXPECT_TRUE(habit->isInserted());
    EXPECT_EQ(habit->managedObjectContext(), &context());
    EXPECT_EQ(habit->entity().name(), "Habit");
    EXPECT_EQ(performing->entity().name(), "Performing");
    EXPECT_EQ(context().insertedObjects().size(), 2u);
}

// A record class that claims the entity "Habit", whose objects are Habit instances.
class Impostor : public store::ManagedObject, public Managed<Impostor> {
  public:
    static const store::EntityDescription& classEntity() { return Habit::classEntity(); }
};

TEST_F(ContextExtensionsTest, InsertingAnObjectOfTheWrongClassStopsTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(insertObject<Impostor>(context()),
                 "Fatal error: Wrong object type: file DovrelFoundation/ContextExtensions, line");
}

TEST_F(ContextExtensionsTest, NumberOfHabitsOnAnEmptyStoreIsZero) {
    EXPECT_EQ(numberOfHabits(context()), 0);
}

TEST_F(ContextExtensionsTest, NumberOfHabitsCountsSavedAndUnsavedHabits) {
    addHabit(std::nullopt);
    addHabit(civilDate(2024, 1, 1));
    context().save();
    addHabit(std::nullopt);
    EXPECT_EQ(numberOfHabits(context()), 3);
    store.reopen();
    EXPECT_EQ(numberOfHabits(context()), 2);
}

TEST_F(ContextExtensionsTest, EarliestCreationDateWithNoHabitsIsNothing) {
    EXPECT_EQ(earliestHabitCreationDate(context()), std::nullopt);
}

TEST_F(ContextExtensionsTest, EarliestCreationDateWhenNoHabitHasOneIsNothing) {
    addHabit(std::nullopt);
    addHabit(std::nullopt);
    context().save();
    EXPECT_EQ(earliestHabitCreationDate(context()), std::nullopt);
}

TEST_F(ContextExtensionsTest, EarliestCreationDateSkipsHabitsWithoutOne) {
    addHabit(civilDate(2024, 3, 1));
    addHabit(std::nullopt);
    addHabit(civilDate(2023, 7, 9));
    addHabit(civilDate(2025, 1, 1));
    context().save();
    store.reopen();
    EXPECT_EQ(earliestHabitCreationDate(context()), civilDate(2023, 7, 9));
}

TEST_F(ContextExtensionsTest, EarliestCreationDateOfTwoHabitsWithTheSameEarliestDateIsThatDate) {
    addHabit(civilDate(2024, 3, 1));
    addHabit(civilDate(2022, 5, 5));
    addHabit(civilDate(2022, 5, 5));
    context().save();
    EXPECT_EQ(earliestHabitCreationDate(context()), civilDate(2022, 5, 5));
}

TEST_F(ContextExtensionsTest, PerformChangesRunsLaterOnTheContextsQueueAndSaves) {
    int saved = 0;
    int rolledBack = 0;
    performChanges(
        context(),
        [&](store::ManagedObjectContext& changing) {
            EXPECT_EQ(&changing, &context());
            EXPECT_TRUE(changing.isOnQueue());
            insertObject<Habit>(changing)->setName("Stretch");
        },
        [&] { ++saved; }, [&](const Error&) { ++rolledBack; });
    EXPECT_EQ(saved, 0);
    testing::HabitStore::drainMainQueue();
    EXPECT_EQ(saved, 1);
    EXPECT_EQ(rolledBack, 0);
    EXPECT_FALSE(context().hasChanges());
    store.reopen();
    EXPECT_EQ(numberOfHabits(context()), 1);
}

TEST_F(ContextExtensionsTest, PerformChangesSavesEvenWithoutChangesAndCallbacksMayBeEmpty) {
    int saved = 0;
    performChanges(
        context(), [](store::ManagedObjectContext&) {}, [&] { ++saved; });
    performChanges(context(),
                   [](store::ManagedObjectContext& changing) { insertObject<Habit>(changing); });
    testing::HabitStore::drainMainQueue();
    EXPECT_EQ(saved, 1);
    EXPECT_EQ(numberOfHabits(context()), 1);
    EXPECT_FALSE(context().hasChanges());
}

TEST_F(ContextExtensionsTest, PerformChangesWhoseSaveFailsRollsBackAndReportsOnlyTheRollback) {
    auto kept = insertObject<Habit>(context());
    kept->setName("Kept");
    context().save();

    int saved = 0;
    std::vector<std::int64_t> rollbackCodes;
    bool rolledBackBeforeReport = false;
    performChanges(
        context(),
        [&](store::ManagedObjectContext& changing) {
            kept->setName("Changed");
            auto broken = insertObject<Habit>(changing);
            // "remind" is required: a missing value fails validation.
            broken->setValue(store::Value(), "remind");
        },
        [&] { ++saved; },
        [&](const Error& error) {
            rollbackCodes.push_back(error.code());
            rolledBackBeforeReport = !context().hasChanges();
        });
    testing::HabitStore::drainMainQueue();

    EXPECT_EQ(saved, 0);
    EXPECT_THAT(rollbackCodes, ::testing::ElementsAre(
                                   store::StoreError::kValidationMissingMandatoryPropertyError));
    EXPECT_TRUE(rolledBackBeforeReport);
    EXPECT_FALSE(context().hasChanges());
    EXPECT_EQ(kept->name(), "Kept");
    EXPECT_EQ(numberOfHabits(context()), 1);
}

TEST_F(ContextExtensionsTest, PerformChangesOnABackgroundContextRunsOnItsQueue) {
    auto background = store.container().newBackgroundContext();
    std::promise<bool> done;
    performChanges(
        *background,
        [&](store::ManagedObjectContext& changing) {
            EXPECT_TRUE(changing.isOnQueue());
            insertObject<Habit>(changing);
        },
        [&] { done.set_value(true); }, [&](const Error&) { done.set_value(false); });
    EXPECT_TRUE(done.get_future().get());
    EXPECT_EQ(numberOfHabits(context()), 1);
}

}  // namespace
}  // namespace dovrel
