#include "DovrelFoundation/Model/HabitModel.h"

#include <string>
#include <utility>
#include <vector>

#include "DovrelFoundation/Model/Habit.h"
#include "DovrelFoundation/Model/Performing.h"
#include "DovrelFoundation/Model/ValueTransformers.h"

namespace dovrel {
namespace {

using store::AttributeDescription;
using store::AttributeType;
using store::DeleteRule;
using store::EntityDescription;
using store::RelationshipDescription;
using store::Value;

// The habit attributes that both versions share, in declaration order up to repeatInterval.
void addVersion1HabitProperties(EntityDescription& habit) {
    habit.addAttribute({"color", AttributeType::transformableAttributeType, true, Value(),
                        std::string(kColorTransformerName)});
    habit.addAttribute({"creationDate", AttributeType::dateAttributeType});
    habit.addAttribute({"name", AttributeType::stringAttributeType});
    habit.addAttribute({"question", AttributeType::stringAttributeType});
    habit.addAttribute({"remind", AttributeType::booleanAttributeType, false, Value(false)});
    habit.addAttribute({"remindTime", AttributeType::dateAttributeType});
    habit.addAttribute({"repeatInterval", AttributeType::transformableAttributeType, true, Value(),
                        std::string(kRepeatIntervalTransformerName)});
    habit.addRelationship({"performing", std::string(kPerformingEntityName), "habit", true,
                           DeleteRule::cascadeDeleteRule});
}

EntityDescription makePerforming() {
    EntityDescription performing{std::string(kPerformingEntityName)};
    performing.addAttribute({"date", AttributeType::dateAttributeType});
    performing.addRelationship({"habit", std::string(kHabitEntityName), "performing", false,
                                DeleteRule::nullifyDeleteRule});
    return performing;
}

std::shared_ptr<const store::ManagedObjectModel> makeVersion1() {
    EntityDescription habit{std::string(kHabitEntityName)};
    addVersion1HabitProperties(habit);
    std::vector<EntityDescription> entities;
    entities.push_back(std::move(habit));
    entities.push_back(makePerforming());
    return std::make_shared<const store::ManagedObjectModel>(
        std::string(kHabitModelVersion1Identifier), std::move(entities));
}

std::shared_ptr<const store::ManagedObjectModel> makeVersion2() {
    EntityDescription habit{std::string(kHabitEntityName)};
    addVersion1HabitProperties(habit);
    habit.addAttribute({"lastFivePerformingDates", AttributeType::transformableAttributeType, true,
                        Value(), std::string(kLastFivePerformingDatesTransformerName)});
    habit.addAttribute(
        {"lastPerformingDateProgress", AttributeType::doubleAttributeType, false, Value(0.0)});
    habit.setManagedObjectClass<Habit>();

    EntityDescription performing = makePerforming();
    performing.setManagedObjectClass<Performing>();

    std::vector<EntityDescription> entities;
    entities.push_back(std::move(habit));
    entities.push_back(std::move(performing));
    return std::make_shared<const store::ManagedObjectModel>(
        std::string(kHabitModelVersion2Identifier), std::move(entities));
}

}  // namespace

std::shared_ptr<const store::ManagedObjectModel> habitModelVersion1() {
    static const std::shared_ptr<const store::ManagedObjectModel> model = makeVersion1();
    return model;
}

std::shared_ptr<const store::ManagedObjectModel> habitModelVersion2() {
    static const std::shared_ptr<const store::ManagedObjectModel> model = makeVersion2();
    return model;
}

std::shared_ptr<const store::ManagedObjectModel> currentHabitModel() {
    return habitModelVersion2();
}

}  // namespace dovrel
