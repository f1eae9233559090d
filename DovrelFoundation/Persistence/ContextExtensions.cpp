#include "DovrelFoundation/Persistence/ContextExtensions.h"

#include <utility>
#include <vector>

#include "DovrelFoundation/Model/Habit.h"
#include "platform/store/StoreError.h"

namespace dovrel {

void performChanges(store::ManagedObjectContext& context,
                    std::function<void(store::ManagedObjectContext&)> changes,
                    std::function<void()> onSave, std::function<void(const Error&)> onRollback) {
    // perform() keeps the context alive until the closure has run.
    store::ManagedObjectContext* target = &context;
    context.perform([target, changes = std::move(changes), onSave = std::move(onSave),
                     onRollback = std::move(onRollback)] {
        if (changes) {
            changes(*target);
        }
        std::optional<Error> failure;
        try {
            target->save();
        } catch (const Error& error) {
            failure = error;
        }
        if (!failure) {
            if (onSave) {
                onSave();
            }
            return;
        }
        target->rollback();
        if (onRollback) {
            onRollback(*failure);
        }
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
            if (changes) {
                changes(*target);
            }
            try {
                target->save();
                failure.reset();
                break;
            } catch (const Error& error) {
                failure = error;
            }
            if (failure->domain() != store::StoreError::kDomain ||
                failure->code() != store::StoreError::kManagedObjectMergeError ||
                attempt >= maxAttempts) {
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
        if (!failure) {
            if (onSave) {
                onSave();
            }
            return;
        }
        target->rollback();
        if (onRollback) {
            onRollback(*failure);
        }
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
