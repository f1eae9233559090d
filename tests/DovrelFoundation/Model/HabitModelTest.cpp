#include "DovrelFoundation/Model/HabitModel.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "DovrelFoundation/Model/Habit.h"
#include "DovrelFoundation/Model/Performing.h"
#include "DovrelFoundation/Model/ValueTransformers.h"
#include "platform/store/StoreError.h"
#include "tests/DovrelFoundation/HabitStore.h"

namespace dovrel {
namespace {

using store::AttributeType;
using store::DeleteRule;
using ::testing::ElementsAre;

std::vector<std::string> attributeNames(const store::EntityDescription& entity) {
    std::vector<std::string> names;
    for (const auto& attribute : entity.attributes()) {
        names.push_back(attribute.name);
    }
    return names;
}

TEST(HabitModelTest, TheTwoVersionsHaveDistinctIdentifiersAndTheCurrentOneIsVersionTwo) {
    EXPECT_EQ(habitModelVersion1()->versionIdentifier(), kHabitModelVersion1Identifier);
    EXPECT_EQ(habitModelVersion2()->versionIdentifier(), kHabitModelVersion2Identifier);
    EXPECT_NE(kHabitModelVersion1Identifier, kHabitModelVersion2Identifier);
    EXPECT_EQ(currentHabitModel(), habitModelVersion2());
    EXPECT_EQ(habitModelVersion1(), habitModelVersion1());
}

TEST(HabitModelTest, VersionTwoHabitHasEveryPropertyInDeclarationOrder) {
    const auto* habit = habitModelVersion2()->entity("Habit");
    ASSERT_NE(habit, nullptr);
    EXPECT_THAT(
        attributeNames(*habit),
        ElementsAre("color", "creationDate", "name", "question", "remind", "remindTime",
                    "repeatInterval", "lastFivePerformingDates", "lastPerformingDateProgress"));
    const auto expectTransformable = [&](const char* key, std::string_view transformer) {
        const auto* attribute = habit->attribute(key);
        ASSERT_NE(attribute, nullptr);
        EXPECT_EQ(attribute->attributeType, AttributeType::transformableAttributeType) << key;
        EXPECT_EQ(attribute->valueTransformerName, transformer) << key;
        EXPECT_TRUE(attribute->isOptional) << key;
    };
    expectTransformable("color", "ColorTransformer");
    expectTransformable("repeatInterval", "RepeatIntervalTransformer");
    expectTransformable("lastFivePerformingDates", "LastFivePerformingDatesTransformer");
    EXPECT_EQ(habit->attribute("creationDate")->attributeType, AttributeType::dateAttributeType);
    EXPECT_EQ(habit->attribute("remindTime")->attributeType, AttributeType::dateAttributeType);
    EXPECT_EQ(habit->attribute("name")->attributeType, AttributeType::stringAttributeType);
    EXPECT_EQ(habit->attribute("question")->attributeType, AttributeType::stringAttributeType);
    EXPECT_EQ(habit->attribute("remind")->attributeType, AttributeType::booleanAttributeType);
    EXPECT_FALSE(habit->attribute("remind")->isOptional);
    EXPECT_EQ(habit->attribute("lastPerformingDateProgress")->attributeType,
              AttributeType::doubleAttributeType);
    EXPECT_FALSE(habit->attribute("lastPerformingDateProgress")->isOptional);
}

TEST(HabitModelTest, PerformingBelongsToOneHabitThroughTheInverseOfPerforming) {
    for (const auto& model : {habitModelVersion1(), habitModelVersion2()}) {
        const auto* habit = model->entity("Habit");
        const auto* performing = model->entity("Performing");
        ASSERT_NE(habit, nullptr);
        ASSERT_NE(performing, nullptr);
        EXPECT_THAT(attributeNames(*performing), ElementsAre("date"));
        EXPECT_EQ(performing->attribute("date")->attributeType, AttributeType::dateAttributeType);

        const auto* toMany = habit->relationship("performing");
        ASSERT_NE(toMany, nullptr);
        EXPECT_TRUE(toMany->isToMany);
        EXPECT_EQ(toMany->destinationEntity, performing);
        EXPECT_EQ(toMany->inverseName, "habit");
        EXPECT_EQ(toMany->deleteRule, DeleteRule::cascadeDeleteRule);

        const auto* toOne = performing->relationship("habit");
        ASSERT_NE(toOne, nullptr);
        EXPECT_FALSE(toOne->isToMany);
        EXPECT_EQ(toOne->destinationEntity, habit);
        EXPECT_EQ(toOne->inverseRelationship, toMany);
        EXPECT_EQ(toOne->deleteRule, DeleteRule::nullifyDeleteRule);
    }
}

TEST(HabitModelTest, VersionOneHasNoCachesAndPlainObjects) {
    const auto* habit = habitModelVersion1()->entity("Habit");
    ASSERT_NE(habit, nullptr);
    EXPECT_THAT(attributeNames(*habit), ElementsAre("color", "creationDate", "name", "question",
                                                    "remind", "remindTime", "repeatInterval"));
    EXPECT_EQ(dynamic_cast<Habit*>(habit->makeObject().get()), nullptr);
    EXPECT_EQ(
        dynamic_cast<Performing*>(habitModelVersion1()->entity("Performing")->makeObject().get()),
        nullptr);
}

TEST(HabitModelTest, VersionTwoObjectsAreHabitsAndPerformings) {
    EXPECT_NE(dynamic_cast<Habit*>(habitModelVersion2()->entity("Habit")->makeObject().get()),
              nullptr);
    EXPECT_NE(
        dynamic_cast<Performing*>(habitModelVersion2()->entity("Performing")->makeObject().get()),
        nullptr);
    EXPECT_EQ(&Habit::classEntity(), habitModelVersion2()->entity("Habit"));
    EXPECT_EQ(&Performing::classEntity(), habitModelVersion2()->entity("Performing"));
}

TEST(HabitModelTest, AVersionOneStoreKeepsHabitsWithoutColourOrIntervalByKey) {
    testing::HabitStore store(habitModelVersion1());
    auto habit = store.context().insertNewObject("Habit");
    habit->setValue("Walk", "name");
    auto coloured = store.context().insertNewObject("Habit");
    coloured->setValue(store::Value::object(Color::rgb(0, 0, 1)), "color");
    coloured->setValue(store::Value::object(RepeatInterval(2, 7)), "repeatInterval");
    auto performing = store.context().insertNewObject("Performing");
    performing->setValue(Date(1000), "date");
    habit->addObject(performing, "performing");
    store.context().save();
    store.reopen();

    auto habits = store.context().fetch(store::FetchRequestBase("Habit"));
    ASSERT_EQ(habits.size(), 2u);
    std::size_t withCheckmark = 0;
    for (const auto& object : habits) {
        if (object->value("name") == store::Value("Walk")) {
            EXPECT_TRUE(object->value("color").isNull());
            EXPECT_TRUE(object->value("repeatInterval").isNull());
            ASSERT_EQ(object->objects("performing").size(), 1u);
            EXPECT_EQ(object->objects("performing").front()->value("date").date(), Date(1000));
            ++withCheckmark;
        } else {
            EXPECT_EQ(object->value("color").objectAs<Color>(), Color::rgb(0, 0, 1));
            EXPECT_EQ(object->value("repeatInterval").objectAs<RepeatInterval>(),
                      RepeatInterval(2, 7));
        }
    }
    EXPECT_EQ(withCheckmark, 1u);
}

TEST(HabitModelTest, AVersionOneStoreDoesNotOpenWithTheCurrentModel) {
    testing::HabitStore store(habitModelVersion1());
    store.context().insertNewObject("Habit");
    store.context().save();
    const auto url = store.url();
    try {
        store::PersistentStore::load(store::PersistentStoreDescription(url), habitModelVersion2());
        ADD_FAILURE() << "a version 1 store opened with version 2";
    } catch (const Error& error) {
        EXPECT_EQ(error.domain(), store::StoreError::kDomain);
    }
}

}  // namespace
}  // namespace dovrel
