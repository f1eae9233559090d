#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/foundation/Date.h"
#include "platform/store/ManagedObjectID.h"

namespace dovrel::store {

// A position in the persistent history of one store: the number of a transaction of that store.
// "After a token" means the transactions written after the one it names. Numbers grow with every
// transaction and are never reused, even after old history was deleted. A small value type.
struct PersistentHistoryToken {
    StoreUUID storeUUID{};
    std::int64_t transactionNumber = 0;

    friend bool operator==(const PersistentHistoryToken&, const PersistentHistoryToken&) = default;
};

enum class PersistentHistoryChangeType { insert = 0, update = 1, delete_ = 2 };

// One row written by a transaction.
struct PersistentHistoryChange {
    PersistentHistoryChangeType changeType = PersistentHistoryChangeType::insert;
    ManagedObjectID changedObjectID;
};

// One save recorded in a store that tracks history (see PersistentStore): when it was written,
// by whom (the saving context's transactionAuthor and name, when they had one), and every row it
// inserted, updated or deleted, in the order they were written. A save that writes several
// stores records one transaction in each of them.
struct PersistentHistoryTransaction {
    PersistentHistoryToken token;
    Date timestamp;
    std::optional<std::string> author;
    std::optional<std::string> contextName;
    // Identifies the store connection that wrote the transaction; a coordinator recognises its
    // own writes by it. Opaque to callers.
    std::uint64_t origin = 0;
    std::vector<PersistentHistoryChange> changes;
};

}  // namespace dovrel::store
