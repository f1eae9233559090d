#pragma once

#include <cstdint>
#include <cstdlib>
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

    // The user-info key under which an error caused by SQLite keeps SQLite's result code (as
    // decimal text).
    static constexpr const char* kSQLiteErrorCodeKey = "NSSQLiteErrorDomain";

    static Error make(std::int64_t code, std::string description) {
        return Error(kDomain, code, {{Error::kLocalizedDescriptionKey, std::move(description)}});
    }

    // A store error of `code` described by `what`, a colon and the cause's description, that
    // keeps the SQLite result code of `cause` (an error of the domain "SQLite", or a store error
    // that kept one).
    static Error wrapping(std::int64_t code, const std::string& what, const Error& cause) {
        Error::UserInfo userInfo{
            {Error::kLocalizedDescriptionKey, what + ": " + cause.localizedDescription()}};
        if (cause.domain() == "SQLite") {
            userInfo[kSQLiteErrorCodeKey] = std::to_string(cause.code());
        } else if (auto found = cause.userInfo().find(kSQLiteErrorCodeKey);
                   found != cause.userInfo().end()) {
            userInfo[kSQLiteErrorCodeKey] = found->second;
        }
        return Error(kDomain, code, std::move(userInfo));
    }

    // Whether the error comes from another connection (usually another process) holding the
    // file past the busy timeout: nothing was changed, and trying again later may succeed.
    static bool isBusy(const Error& error) {
        std::string code;
        if (error.domain() == "SQLite") {
            code = std::to_string(error.code());
        } else if (auto found = error.userInfo().find(kSQLiteErrorCodeKey);
                   found != error.userInfo().end()) {
            code = found->second;
        }
        // SQLITE_BUSY and SQLITE_LOCKED, and their extended codes.
        if (code.empty()) {
            return false;
        }
        const long value = std::strtol(code.c_str(), nullptr, 10) & 0xFF;
        return value == 5 || value == 6;
    }
};

}  // namespace dovrel::store
