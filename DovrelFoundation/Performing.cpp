#include "DovrelFoundation/Performing.h"

#include <string>

#include "DovrelFoundation/Habit.h"
#include "DovrelFoundation/HabitModel.h"
#include "platform/store/ManagedObjectModel.h"

namespace dovrel {

const store::EntityDescription& Performing::classEntity() {
    static const store::EntityDescription& entity =
        *currentHabitModel()->entity(std::string(kPerformingEntityName));
    return entity;
}

std::optional<Date> Performing::date() const {
    return value("date").date();
}

void Performing::setDate(std::optional<Date> date) {
    setValue(store::Value(date), "date");
}

std::shared_ptr<Habit> Performing::habit() const {
    auto destination = object("habit");
    if (!destination) {
        return nullptr;
    }
    auto habit = std::dynamic_pointer_cast<Habit>(destination);
    if (!habit) {
        fatalError("Wrong object type");
    }
    return habit;
}

void Performing::setHabit(const std::shared_ptr<Habit>& habit) {
    setObject(habit, "habit");
}

}  // namespace dovrel
