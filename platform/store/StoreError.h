#pragma once

#include <cstdint>
#include <string>

#include "platform/foundation/Error.h"

namespace dovrel::store {

// The errors of the object store: domain "NSCocoaErrorDomain" with these codes, and a localized
// description that says what went wrong. Failures of SQLite itself that reach the caller are
// wrapped in kPersistentStoreOpenError or kPersistentStoreSaveError, with SQLite's message.
struct StoreError {
    static constexpr const char* kDomain = "NSCocoaErrorDomain";

    static constexpr std::int64_t kValidationMissingMandatoryPropertyError = 1570;
    static constexpr std::int64_t kValidationRelationshipDeniedDeleteError = 1600;
    static constexpr std::int64_t kManagedObjectMergeError = 133020;
    static constexpr std::int64_t kPersistentStoreIncompatibleSchemaError = 134020;
    static constexpr std::int64_t kPersistentStoreSaveError = 134030;
    static constexpr std::int64_t kPersistentStoreOpenError = 134080;
    static constexpr std::int64_t kPersistentStoreIncompatibleVersionHashError = 134100;
    // A migration failed: a policy threw, or the new file could not be written or put in place.
    static constexpr std::int64_t kMigrationError = 134110;
    // The store was made by a model version the coordinator does not know.
    static constexpr std::int64_t kMigrationMissingSourceModelError = 134130;
    // The store's model version is known, but no chain of mapping models leads to the current one.
    static constexpr std::int64_t kMigrationMissingMappingModelError = 134140;
    // A custom entity migration policy threw.
    static constexpr std::int64_t kEntityMigrationPolicyError = 134170;
    static constexpr std::int64_t kFileReadCorruptFileError = 259;
    static constexpr std::int64_t kFileWriteNoPermissionError = 513;

    static Error make(std::int64_t code, std::string description) {
        return Error(kDomain, code, {{Error::kLocalizedDescriptionKey, std::move(description)}});
    }
};

}  // namespace dovrel::store
