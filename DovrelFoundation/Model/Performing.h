#pragma once

#include <memory>
#include <optional>

#include "DovrelFoundation/Persistence/Managed.h"
#include "platform/foundation/Date.h"
#include "platform/store/EntityDescription.h"
#include "platform/store/ManagedObject.h"

namespace dovrel {

class Habit;

// One checkmark: the record that a habit was done, at an instant.
//
// Entity "Performing" of the current model (HabitModel.h). Objects are made by a context
// (insertObject<Performing>(context), fetches) and belong to at most one habit, through the
// inverse of Habit::performing(). A checkmark whose date is absent is ignored by every habit
// operation: it is neither counted nor listed.
//
// Used on the queue of the context that owns it, like every managed object.
class Performing : public store::ManagedObject, public Managed<Performing> {
  public:
    // The description of "Performing" in the current model.
    static const store::EntityDescription& classEntity();

    // The instant at which the checkmark was set, exactly as given (not reduced to its day).
    // Nothing when it is absent, and when the stored number is no date that a calendar can place
    // (isRepresentable(), RepresentableDate.h): such a checkmark is ignored as an undated one.
    std::optional<Date> date() const;
    void setDate(std::optional<Date> date);

    // The habit the checkmark belongs to, or null. Setting it keeps the habit's set in step.
    std::shared_ptr<Habit> habit() const;
    void setHabit(const std::shared_ptr<Habit>& habit);
};

}  // namespace dovrel
