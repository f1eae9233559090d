#include "DovrelFoundation/Model/HabitMigrationPlan.h"

#include <string>
#include <utility>
#include <vector>

#include "DovrelFoundation/Model/HabitModel.h"
#include "DovrelFoundation/Model/HabitToHabitV2MigrationPolicy.h"
#include "platform/store/EntityMapping.h"

namespace dovrel {

store::MappingModel habitMappingModelVersion1ToVersion2() {
    store::EntityMapping habits;
    habits.name = kHabitToHabitMappingName;
    habits.sourceEntityName = std::string(kHabitEntityName);
    habits.destinationEntityName = std::string(kHabitEntityName);
    habits.setPolicy<HabitToHabitV2MigrationPolicy>();

    store::EntityMapping performings;
    performings.name = kPerformingToPerformingMappingName;
    performings.sourceEntityName = std::string(kPerformingEntityName);
    performings.destinationEntityName = std::string(kPerformingEntityName);

    std::vector<store::EntityMapping> mappings;
    mappings.push_back(std::move(habits));
    mappings.push_back(std::move(performings));
    return store::MappingModel(std::move(mappings));
}

std::shared_ptr<const store::MigrationPlan> habitMigrationPlan() {
    static const std::shared_ptr<const store::MigrationPlan> plan =
        std::make_shared<const store::MigrationPlan>(std::vector<store::ModelVersion>{
            {habitModelVersion1(), std::nullopt},
            {habitModelVersion2(), habitMappingModelVersion1ToVersion2()},
        });
    return plan;
}

}  // namespace dovrel
