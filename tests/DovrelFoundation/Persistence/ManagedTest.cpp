#include "DovrelFoundation/Persistence/Managed.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "DovrelFoundation/Model/Habit.h"
#include "DovrelFoundation/Model/Performing.h"
#include "DovrelFoundation/Persistence/ContextExtensions.h"
#include "platform/store/ManagedObject.h"
#include "tests/DovrelFoundation/HabitStore.h"
#include "tests/support/CivilDate.h"

namespace dovrel {
namespace {

using testing::civilDate;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST(ManagedTest, EntityNamesComeFromTheClassesEntities) {
    EXPECT_EQ(Habit::entityName(), "Habit");
    EXPECT_EQ(Performing::entityName(), "Performing");
}

TEST(ManagedTest, FetchRequestWithNoArgumentsHasNoPredicateNoSortNoLimitAndNoFaults) {
    const auto request = Habit::fetchRequest(std::nullopt, false, std::nullopt);
    EXPECT_EQ(request.entityName(), "Habit");
    EXPECT_FALSE(request.predicate().has_value());
    EXPECT_THAT(request.sortDescriptors(), IsEmpty());
    EXPECT_EQ(request.fetchLimit(), 0u);
    EXPECT_FALSE(request.returnsObjectsAsFaults());
}

TEST(ManagedTest, FetchRequestKeepsThePredicateTheFaultsFlagAndAGivenLimit) {
    const auto request = Performing::fetchRequest(store::Key("date") > Date(10), true, 3);
    EXPECT_EQ(request.entityName(), "Performing");
    ASSERT_TRUE(request.predicate().has_value());
    EXPECT_EQ(request.predicate()->predicateFormat(),
              (store::Key("date") > Date(10)).predicateFormat());
    EXPECT_TRUE(request.returnsObjectsAsFaults());
    EXPECT_EQ(request.fetchLimit(), 3u);
}

TEST(ManagedTest, SortedFetchRequestForPerformingHasAnEmptySortList) {
    const auto request = Performing::sortedFetchRequest(std::nullopt, false, std::nullopt);
    EXPECT_THAT(request.sortDescriptors(), IsEmpty());
    EXPECT_THAT(Performing::defaultSortDescriptors(), IsEmpty());
}

TEST(ManagedTest, SortedFetchRequestForHabitSortsByCreationDateAscending) {
    const auto request = Habit::sortedFetchRequest(store::Key("remind") == true, true, 5);
    EXPECT_THAT(request.sortDescriptors(),
                ElementsAre(store::SortDescriptor{"creationDate", true}));
    EXPECT_TRUE(request.predicate().has_value());
    EXPECT_TRUE(request.returnsObjectsAsFaults());
    EXPECT_EQ(request.fetchLimit(), 5u);
}

TEST(ManagedTest, SortedHabitsComeOldestFirstAndLimitedFromARealStore) {
    testing::HabitStore store;
    for (int day : {3, 1, 2, 5, 4}) {
        auto habit = insertObject<Habit>(store.context());
        habit->setName("Habit " + std::to_string(day));
        habit->setCreationDate(civilDate(2024, 1, static_cast<unsigned>(day)));
    }
    store.context().save();
    store.reopen();
    auto habits = store.context().fetch(Habit::sortedFetchRequest(std::nullopt, true, 3));
    std::vector<std::string> names;
    for (const auto& habit : habits) {
        names.push_back(habit->name().value_or(""));
    }
    EXPECT_THAT(names, ElementsAre("Habit 1", "Habit 2", "Habit 3"));
}

// A record class whose entity has no name.
class Nameless : public store::ManagedObject, public Managed<Nameless> {
  public:
    static const store::EntityDescription& classEntity() {
        static const store::EntityDescription entity{""};
        return entity;
    }
};

TEST(ManagedDeathTest, AnEntityWithoutANameStopsTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(Nameless::entityName(),
                 "Fatal error: Entity of a managed class has no name: file "
                 "DovrelFoundation/Managed, line");
    EXPECT_DEATH(Nameless::fetchRequest(), "Entity of a managed class has no name");
}

}  // namespace
}  // namespace dovrel
