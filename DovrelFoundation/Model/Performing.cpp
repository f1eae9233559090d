#include "DovrelFoundation/Model/Performing.h"

#include <string>

#include "DovrelFoundation/Model/Habit.h"
#include "DovrelFoundation/Model/HabitModel.h"
#include "DovrelFoundation/Model/RepresentableDate.h"
#include "platform/store/ManagedObjectModel.h"

namespace dovrel {

const store::EntityDescription& Performing::classEntity() {
    static const store::EntityDescription& entity =
        *currentHabitModel()->entity(std::string(kPerformingEntityName));
    return entity;
}

std::optional<Date> Performing::date() const {
    // A stored number that no calendar can place (another program may write any number into the
    // column) is no date: such a checkmark is ignored like one without a date.
    const auto date = attributeValue("date").date();
    if (date && !isRepresentable(*date)) {
        return std::nullopt;
    }
    return date;
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
