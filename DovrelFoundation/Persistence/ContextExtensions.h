#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "platform/foundation/Date.h"
#include "platform/foundation/Error.h"
#include "platform/foundation/FatalError.h"
#include "platform/store/ManagedObjectContext.h"

namespace dovrel {

// Operations on a managed object context that the library's users share: inserting a typed
// record, performing a batch of changes that is saved or rolled back, and two questions about
// the habits of the store.
//
// Except performChanges, which hops to the context's queue itself, every operation runs on the
// caller's thread and must be called where the context may be used (the view context on the main
// thread, a background context inside its own perform).

// A new record of the Managed type T, inserted into `context` (see Managed.h): a new object of
// the entity T::entityName(). An object that is not a T stops the process with
// "Wrong object type".
template <class T>
std::shared_ptr<T> insertObject(store::ManagedObjectContext& context) {
    auto typed = std::dynamic_pointer_cast<T>(context.insertNewObject(T::entityName()));
    if (!typed) {
        fatalError("Wrong object type");
    }
    return typed;
}

// Returns at once; later, on the context's queue: calls `changes` with the context, saves the
// context (even when nothing changed) and calls `onSave` if the save succeeded; if it failed,
// rolls the context back and then calls `onRollback` with the save error. Nothing is thrown to
// the caller. Either callback may be empty. `context` must be owned by a std::shared_ptr (it is
// kept alive until the work has run).
void performChanges(store::ManagedObjectContext& context,
                    std::function<void(store::ManagedObjectContext&)> changes,
                    std::function<void()> onSave = {},
                    std::function<void(const Error&)> onRollback = {});

// performChanges for a read-modify-write that must not lose what another context or process
// wrote meanwhile (a toggle, which computes the caches from the checkmarks it read): the save
// runs under errorMergePolicy, and when one of the objects it updates was changed in the store
// since it was read, the context is rolled back, those objects are read again from the store and
// `changes` runs again, until the save succeeds or `maxAttempts` saves have failed. `changes`
// must therefore derive everything from the objects' current state, and may run several times.
// An object deleted meanwhile ends the attempts. On failure, as performChanges: rolled back,
// `onRollback` with the last save error. The context's merge policy is restored afterwards.
void performChangesRetryingOnConflict(store::ManagedObjectContext& context,
                                      std::function<void(store::ManagedObjectContext&)> changes,
                                      std::function<void()> onSave = {},
                                      std::function<void(const Error&)> onRollback = {},
                                      int maxAttempts = 50);

// The number of habits, counted by the store; 0 when counting fails.
std::int64_t numberOfHabits(store::ManagedObjectContext& context);

// The earliest creation date among all habits: habits without one are skipped, and among equal
// earliest dates the first one fetched is kept. Nothing when there is no habit with a creation
// date, or when the fetch fails.
std::optional<Date> earliestHabitCreationDate(store::ManagedObjectContext& context);

}  // namespace dovrel
