#pragma once

#include <memory>

#include "platform/store/MappingModel.h"
#include "platform/store/MigrationPlan.h"

namespace dovrel {

// The name of the entity mapping that migrates habits from model version 1 to version 2.
inline constexpr const char* kHabitToHabitMappingName = "HabitToHabit";
// The name of the entity mapping that carries the checkmarks over.
inline constexpr const char* kPerformingToPerformingMappingName = "PerformingToPerforming";

// From habitModelVersion1() to habitModelVersion2() (HabitModel.h), in this order:
//   "HabitToHabit"             Habit -> Habit, attributes copied by name, then completed by
//                              HabitToHabitV2MigrationPolicy
//   "PerformingToPerforming"   Performing -> Performing, the date copied and the checkmark
//                              linked to the habit made from its old habit
store::MappingModel habitMappingModelVersion1ToVersion2();

// The versions of the habit store model, oldest first, with the mapping between them: a
// container or coordinator made with it opens stores of version 2 as they are and migrates
// stores of version 1 when it opens them. Built on first use and shared; safe from any thread.
std::shared_ptr<const store::MigrationPlan> habitMigrationPlan();

}  // namespace dovrel
