#include "DovrelFoundation/Persistence/ContextExtensions.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <future>
#include <vector>

#include "DovrelFoundation/Model/Habit.h"
#include "DovrelFoundation/Model/HabitModel.h"
#include "DovrelFoundation/Model/Performing.h"
#include "DovrelFoundation/Progress/HabitProgressCalculator.h"
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

// ---- Read-modify-write against another writer ----

// A second container on the same file: another process, as far as the store can tell.
class OtherWriter {
  public:
    explicit OtherWriter(const std::filesystem::path& url)
        : container_("Habit", currentHabitModel()) {
        container_.setPersistentStoreDescriptions({store::PersistentStoreDescription(url)});
        std::optional<Error> failure;
        container_.loadPersistentStores(
            [&](const store::PersistentStoreDescription&, std::optional<Error> error) {
                failure = std::move(error);
            });
        if (failure) {
            throw *failure;
        }
        context_ = container_.newBackgroundContext();
    }

    // Runs `work` with this writer's copy of the first habit, then saves.
    void change(const std::function<void(Habit&, store::ManagedObjectContext&)>& work) {
        context_->performAndWait([&] {
            auto habits = context_->fetch(Habit::sortedFetchRequest());
            ASSERT_FALSE(habits.empty());
            work(*habits.front(), *context_);
            context_->save();
        });
    }

  private:
    store::PersistentContainer container_;
    std::shared_ptr<store::ManagedObjectContext> context_;
};

class ReadModifyWriteTest : public ContextExtensionsTest {
  protected:
    void SetUp() override {
        habit = insertObject<Habit>(context());
        habit->setName("Read");
        habit->setRepeatInterval(RepeatInterval(1, 1));
        context().save();
        // Read the checkmarks now, so that what this context holds is what it saw then.
        EXPECT_TRUE(habit->performing().empty());
    }

    std::shared_ptr<Habit> habit;
    Date firstDay = civilDate(2026, 3, 2, 12);
    Date secondDay = civilDate(2026, 3, 5, 12);
};

TEST_F(ReadModifyWriteTest, PlainChangesOfAnObjectChangedMeanwhileFailWithAMergeError) {
    OtherWriter(store.url()).change([&](Habit& theirs, auto&) {
        theirs.toggleCheckmark(secondDay);
    });
    std::vector<std::int64_t> codes;
    performChanges(
        context(), [&](auto&) { habit->toggleCheckmark(firstDay); }, {},
        [&](const Error& error) { codes.push_back(error.code()); });
    testing::HabitStore::drainMainQueue();
    EXPECT_THAT(codes, ::testing::ElementsAre(store::StoreError::kManagedObjectMergeError));
}

TEST_F(ReadModifyWriteTest, ChangesRetriedOnConflictKeepTheOtherWritersCheckmarkAndTheirOwn) {
    OtherWriter(store.url()).change([&](Habit& theirs, auto&) {
        theirs.toggleCheckmark(secondDay);
    });
    int runs = 0;
    int saved = 0;
    performChangesRetryingOnConflict(
        context(),
        [&](auto&) {
            ++runs;
            habit->toggleCheckmark(firstDay);
        },
        [&] { ++saved; },
        [&](const Error& error) { ADD_FAILURE() << error.localizedDescription(); });
    testing::HabitStore::drainMainQueue();
    EXPECT_EQ(runs, 2);
    EXPECT_EQ(saved, 1);
    EXPECT_EQ(context().mergePolicy(), store::MergePolicy::errorMergePolicy);

    store.reopen();
    auto stored = context().fetch(Habit::sortedFetchRequest());
    ASSERT_EQ(stored.size(), 1u);
    std::vector<Date> dates = stored.front()->performingDates();
    std::sort(dates.begin(), dates.end());
    EXPECT_EQ(dates, (std::vector<Date>{firstDay, secondDay}));
    // The caches were computed from both checkmarks.
    ASSERT_TRUE(stored.front()->lastFivePerformingDates());
    EXPECT_EQ(stored.front()->lastFivePerformingDates()->dates(), dates);
    EXPECT_EQ(stored.front()->lastPerformingDateProgress(),
              HabitProgressCalculator::calculateProgress(dates, 1, 1));
}

TEST_F(ReadModifyWriteTest, ChangesRetriedOnConflictKeepTheContextsMergePolicy) {
    context().setMergePolicy(store::MergePolicy::mergeByPropertyObjectTrumpMergePolicy);
    OtherWriter(store.url()).change([&](Habit& theirs, auto&) {
        theirs.toggleCheckmark(secondDay);
    });
    bool saved = false;
    performChangesRetryingOnConflict(
        context(), [&](auto&) { habit->toggleCheckmark(firstDay); }, [&] { saved = true; });
    testing::HabitStore::drainMainQueue();
    EXPECT_TRUE(saved);
    EXPECT_EQ(habit->performingDates().size(), 2u);
    EXPECT_EQ(context().mergePolicy(), store::MergePolicy::mergeByPropertyObjectTrumpMergePolicy);
}

TEST_F(ReadModifyWriteTest, AnObjectDeletedMeanwhileEndsTheAttemptsWithTheMergeError) {
    OtherWriter(store.url()).change([](Habit& theirs, store::ManagedObjectContext& other) {
        other.deleteObject(other.existingObject(theirs.objectID()));
    });
    int runs = 0;
    std::vector<std::int64_t> codes;
    performChangesRetryingOnConflict(
        context(),
        [&](auto&) {
            ++runs;
            habit->setName("Renamed");
        },
        [] { ADD_FAILURE() << "saved an object that no longer exists"; },
        [&](const Error& error) { codes.push_back(error.code()); });
    testing::HabitStore::drainMainQueue();
    EXPECT_EQ(runs, 1);
    EXPECT_THAT(codes, ::testing::ElementsAre(store::StoreError::kManagedObjectMergeError));
    EXPECT_FALSE(context().hasChanges());
}

TEST_F(ReadModifyWriteTest, ChangesThatMeetAnotherWriterEveryTimeGiveUpAfterTheLastAttempt) {
    OtherWriter other(store.url());
    int runs = 0;
    std::vector<std::int64_t> codes;
    performChangesRetryingOnConflict(
        context(),
        [&](auto&) {
            ++runs;
            habit->setQuestion("Mine " + std::to_string(runs));
            // Somebody else always gets there first.
            other.change([&](Habit& theirs, auto&) {
                theirs.setQuestion("Theirs " + std::to_string(runs));
            });
        },
        [] { ADD_FAILURE() << "saved over another writer's change"; },
        [&](const Error& error) { codes.push_back(error.code()); }, 3);
    testing::HabitStore::drainMainQueue();
    EXPECT_EQ(runs, 3);
    EXPECT_THAT(codes, ::testing::ElementsAre(store::StoreError::kManagedObjectMergeError));
    EXPECT_FALSE(context().hasChanges());
    store.reopen();
    EXPECT_EQ(context().fetch(Habit::sortedFetchRequest()).front()->question(), "Theirs 3");
}

TEST_F(ReadModifyWriteTest, AnotherFailureIsNotRetried) {
    int runs = 0;
    std::vector<std::int64_t> codes;
    performChangesRetryingOnConflict(
        context(),
        [&](auto&) {
            ++runs;
            insertObject<Habit>(context())->setValue(store::Value(), "remind");
        },
        {}, [&](const Error& error) { codes.push_back(error.code()); });
    testing::HabitStore::drainMainQueue();
    EXPECT_EQ(runs, 1);
    EXPECT_THAT(
        codes, ::testing::ElementsAre(store::StoreError::kValidationMissingMandatoryPropertyError));
}

}  // namespace
}  // namespace dovrel
