#pragma once

#include <memory>
#include <string_view>

#include "platform/store/ManagedObjectModel.h"

namespace dovrel {

// The store model of habits and their checkmarks, in its two versions.
//
// Version 2 (current, kHabitModelVersion2Identifier), entity "Habit" (class Habit):
//   color                       transformable through "ColorTransformer", optional
//   creationDate                date, optional
//   name                        string, optional
//   question                    string, optional
//   remind                      boolean, required, default false
//   remindTime                  date, optional
//   repeatInterval              transformable through "RepeatIntervalTransformer", optional
//   performing                  to-many "Performing", inverse "habit", cascade
//   lastFivePerformingDates     transformable through "LastFivePerformingDatesTransformer",
//                               optional
//   lastPerformingDateProgress  double, required, default 0
// entity "Performing" (class Performing):
//   date                        date, optional
//   habit                       to-one "Habit", inverse "performing", nullify
//
// Version 1 (kHabitModelVersion1Identifier) has the same entities without
// lastFivePerformingDates and lastPerformingDateProgress; its habits may lack a colour or a
// repeat interval. Its objects are plain store::ManagedObject instances (read by key, as a
// migration reads them), never Habit or Performing.
//
// Delete rules. Deleting a habit deletes its checkmarks (cascade); deleting a checkmark only
// takes it out of its habit's set (nullify). A checkmark exists only as part of a habit, so one
// that is detached from its habit is an orphan and is deleted with it: Habit::removePerforming
// deletes the checkmarks it detaches from the habit's context, and the deletion is written by
// the next save (or undone by a rollback, together with the detaching). No orphan row stays
// behind in the store.
//
// Transformable attributes name their transformers; registerValueTransformers()
// (ValueTransformers.h) must have run before a store with either model is opened.

inline constexpr std::string_view kHabitModelVersion1Identifier = "HabitV1";
inline constexpr std::string_view kHabitModelVersion2Identifier = "HabitV2";

// The entity names, the same in both versions.
inline constexpr std::string_view kHabitEntityName = "Habit";
inline constexpr std::string_view kPerformingEntityName = "Performing";

// Version 1. Built on first use and shared afterwards; safe to call from any thread.
std::shared_ptr<const store::ManagedObjectModel> habitModelVersion1();

// Version 2, the current model. Built on first use and shared afterwards; safe to call from any
// thread.
std::shared_ptr<const store::ManagedObjectModel> habitModelVersion2();

// The current model: habitModelVersion2().
std::shared_ptr<const store::ManagedObjectModel> currentHabitModel();

}  // namespace dovrel
