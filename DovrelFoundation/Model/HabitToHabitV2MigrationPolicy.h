#pragma once

#include <memory>

#include "platform/foundation/Color.h"
#include "platform/store/EntityMigrationPolicy.h"

namespace dovrel {

// Migrates a habit of store model version 1 to version 2, as the entity mapping "HabitToHabit"
// of habitMappingModelVersion1ToVersion2() (HabitMigrationPlan.h) asks. The habit itself is
// made by the plain mapping (attributes copied by name); this policy then fills in what
// version 1 did not guarantee or did not have:
//  - a habit without a colour gets the next colour of the palette (nextPaletteColor());
//  - a habit without a repeat interval gets the default one, 1/1;
//  - "lastFivePerformingDates" becomes the five latest checkmark dates, oldest first (empty for
//    a habit without checkmarks);
//  - "lastPerformingDateProgress" becomes the unrounded progress over every checkmark date
//    (HabitProgressCalculator), 0 without checkmarks.
// The checkmark records themselves are carried over by the mapping "PerformingToPerforming".
//
// The objects are read and written by key, never through the Habit class. Broken invariants
// stop the process (fatalError, reported from DovrelFoundation/HabitToHabitV2MigrationPolicy)
// with one of these messages:
//   "HabitToHabitV2MigrationPolicy: this policy was accidentally used to migrate <entity>"
//       (the source is not a habit; "<no entity name>" for an entity without a name)
//   "HabitToHabitV2MigrationPolicy: no destination instance created."
//   "HabitToHabitV2MigrationPolicy: performings could not be received."
//       (the source's "performing" is not a set of objects)
//   "HabitToHabitV2MigrationPolicy: performing dates count doesn't equal to performings count."
//       (a checkmark without a date)
// An error of the plain mapping's creation is thrown on, and the migration fails.
class HabitToHabitV2MigrationPolicy final : public store::EntityMigrationPolicy {
  public:
    // The policy's unqualified type name, the first word of its fatal messages.
    static constexpr const char* kTypeName = "HabitToHabitV2MigrationPolicy";

    void createDestinationInstances(const std::shared_ptr<store::ManagedObject>& source,
                                    const store::EntityMapping& mapping,
                                    store::MigrationManager& manager) override;
};

// The colour that a habit without one gets when it is migrated: the palette colour
// (habitPalette(), ColorExtensions.h) after the one whose index is remembered under
// previousRandomColorIndex() in the standard user defaults, or the first one when nothing is
// remembered (or the remembered index is outside the palette). The index of the colour given
// is remembered in its place, so successive calls go round the palette, and a later random
// choice does not repeat the colour just given.
Color nextPaletteColor();

}  // namespace dovrel
