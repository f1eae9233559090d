#include "DovrelFoundation/Persistence/ContextExtensions.h"

#include <utility>
#include <vector>

#include "DovrelFoundation/Model/Habit.h"
#include "platform/store/StoreError.h"

namespace dovrel {

namespace {

// Applies `changes` and saves; nothing when the save succeeded, its error otherwise.
std::optional<Error> applyAndSave(
    store::ManagedObjectContext& context,
    const std::function<void(store::ManagedObjectContext&)>& changes) {
    if (changes) {
        changes(context);
    }
    try {
        context.save();
    } catch (const Error& error) {
        return error;
    }
    return std::nullopt;
}

// After the last save: `onSave`, or a rollback and then `onRollback` with the save's error.
void finish(store::ManagedObjectContext& context, const std::optional<Error>& failure,
            const std::function<void()>& onSave,
            const std::function<void(const Error&)>& onRollback) {
    if (!failure) {
        if (onSave) {
            onSave();
        }
        return;
    }
    context.rollback();
    if (onRollback) {
        onRollback(*failure);
    }
}

bool isConflict(const Error& error) {
    return error.domain() == store::StoreError::kDomain &&
           error.code() == store::StoreError::kManagedObjectMergeError;
}

}  // namespace

void performChanges(store::ManagedObjectContext& context,
                    std::function<void(store::ManagedObjectContext&)> changes,
                    std::function<void()> onSave, std::function<void(const Error&)> onRollback) {
    // perform() keeps the context alive until the closure has run.
    store::ManagedObjectContext* target = &context;
    context.perform([target, changes = std::move(changes), onSave = std::move(onSave),
                     onRollback = std::move(onRollback)] {
        finish(*target, applyAndSave(*target, changes), onSave, onRollback);
    });
}

void performChangesRetryingOnConflict(store::ManagedObjectContext& context,
                                      std::function<void(store::ManagedObjectContext&)> changes,
                                      std::function<void()> onSave,
                                      std::function<void(const Error&)> onRollback,
                                      int maxAttempts) {
    store::ManagedObjectContext* target = &context;
    context.perform([target, changes = std::move(changes), onSave = std::move(onSave),
                     onRollback = std::move(onRollback), maxAttempts] {
        const auto policy = target->mergePolicy();
        target->setMergePolicy(store::MergePolicy::errorMergePolicy);
        std::optional<Error> failure;
        for (int attempt = 1;; ++attempt) {
            failure = applyAndSave(*target, changes);
            if (!failure || !isConflict(*failure) || attempt >= maxAttempts) {
                break;
            }
            // Start again from what the store holds now.
            const auto changed = target->updatedObjects();
            target->rollback();
            bool deleted = false;
            for (const auto& object : changed) {
                target->refresh(object, false);
                deleted = deleted || object->managedObjectContext() == nullptr;
            }
            if (deleted) {
                break;
            }
        }
        target->setMergePolicy(policy);
        finish(*target, failure, onSave, onRollback);
    });
}

std::int64_t numberOfHabits(store::ManagedObjectContext& context) {
    try {
        return context.count(Habit::fetchRequest());
    } catch (const Error&) {
        return 0;
    }
}

std::optional<Date> earliestHabitCreationDate(store::ManagedObjectContext& context) {
    std::vector<std::shared_ptr<store::ManagedObject>> objects;
    try {
        const store::FetchRequestBase& request = Habit::fetchRequest();
        objects = context.fetch(request);
    } catch (const Error&) {
        return std::nullopt;
    }
    std::optional<Date> earliest;
    for (const auto& object : objects) {
        const auto* habit = dynamic_cast<const Habit*>(object.get());
        if (habit == nullptr) {
            return std::nullopt;
        }
        const auto date = habit->creationDate();
        if (!date) {
            continue;
        }
        // Only a strictly earlier date replaces the running minimum.
        if (!earliest || *date < *earliest) {
            earliest = date;
        }
    }
    return earliest;
}

}  // namespace dovrel
