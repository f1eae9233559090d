#include "platform/store/PersistentStore.h"

#include <algorithm>

#include "platform/foundation/Clock.h"
#include "platform/store/PersistentStoreSQL.h"
#include "platform/store/StoreError.h"

// Persistent history: the account of every save's transaction that other connections read to
// learn what changed, its pruning, and the data version that tells of other connections' commits.

namespace dovrel::store {

using namespace sql;

void PersistentStore::prepareHistory() {
    origin_ = 0;
    while (origin_ == 0) {
        const StoreUUID random = makeRandomUUID();
        for (std::size_t i = 0; i < 8; ++i) {
            origin_ = origin_ << 8 | random[i];
        }
    }
    if (!description_.boolOption(PersistentStoreDescription::kPersistentHistoryTrackingKey)) {
        tracksHistory_ = historyTablesExist();
        return;
    }
    if (!historyTablesExist()) {
        performWriteTransaction([&] {
            database_->execute(
                "CREATE TABLE IF NOT EXISTS Z_TRANSACTION (Z_PK INTEGER PRIMARY KEY AUTOINCREMENT,"
                " Z_TIMESTAMP REAL NOT NULL, Z_AUTHOR TEXT, Z_CONTEXTNAME TEXT,"
                " Z_ORIGIN INTEGER NOT NULL);"
                "CREATE INDEX IF NOT EXISTS Z_TRANSACTION_TIMESTAMP ON Z_TRANSACTION (Z_TIMESTAMP);"
                "CREATE TABLE IF NOT EXISTS Z_CHANGE (Z_PK INTEGER PRIMARY KEY,"
                " Z_TRANSACTIONID INTEGER NOT NULL, Z_CHANGETYPE INTEGER NOT NULL,"
                " Z_ENTITY TEXT NOT NULL, Z_ENTITYPK INTEGER NOT NULL);"
                "CREATE INDEX IF NOT EXISTS Z_CHANGE_TRANSACTIONID ON Z_CHANGE (Z_TRANSACTIONID);"
                "CREATE TABLE IF NOT EXISTS Z_HISTORYSTATE (Z_KEY TEXT PRIMARY KEY,"
                " Z_VALUE INTEGER NOT NULL);");
        });
    }
    tracksHistory_ = true;
}

bool PersistentStore::historyTablesExist() {
    std::lock_guard lock(mutex_);
    auto& statement = database_->cached(
        "SELECT count(*) FROM sqlite_master WHERE type = 'table' AND name IN "
        "('Z_TRANSACTION', 'Z_CHANGE', 'Z_HISTORYSTATE')");
    statement.step();
    const bool exist = statement.integer(0) == 3;
    statement.reset();
    return exist;
}

bool PersistentStore::tracksHistory() {
    std::lock_guard lock(mutex_);
    if (!tracksHistory_) {
        // Another connection may have started keeping history in the file since.
        tracksHistory_ = historyTablesExist();
    }
    return tracksHistory_;
}

void PersistentStore::recordHistoryTransaction(
    const std::optional<std::string>& author, const std::optional<std::string>& contextName,
    const std::vector<PersistentHistoryChange>& changes) {
    std::lock_guard lock(mutex_);
    if (changes.empty() || !tracksHistory()) {
        return;
    }
    const Date now = Clock::now();
    auto& transaction = database_->cached(
        "INSERT INTO Z_TRANSACTION (Z_TIMESTAMP, Z_AUTHOR, Z_CONTEXTNAME, Z_ORIGIN)"
        " VALUES (?, ?, ?, ?)");
    transaction.bind(1, Value(now.timeIntervalSinceReferenceDate()));
    transaction.bind(2, author ? Value(*author) : Value());
    transaction.bind(3, contextName ? Value(*contextName) : Value());
    transaction.bindInteger(4, static_cast<std::int64_t>(origin_));
    transaction.run();
    transaction.reset();
    const std::int64_t number = database_->lastInsertRowID();
    auto& change = database_->cached(
        "INSERT INTO Z_CHANGE (Z_TRANSACTIONID, Z_CHANGETYPE, Z_ENTITY, Z_ENTITYPK)"
        " VALUES (?, ?, ?, ?)");
    for (const auto& entry : changes) {
        change.reset();
        change.bindInteger(1, number);
        change.bindInteger(2, static_cast<std::int64_t>(entry.changeType));
        change.bindText(3, entry.changedObjectID.entity().name());
        change.bindInteger(4, entry.changedObjectID.primaryKey());
        change.run();
    }
    change.reset();
    auto age = description_.options().find(
        PersistentStoreDescription::kPersistentHistoryMaximumAgeOptionKey);
    if (age != description_.options().end()) {
        if (auto seconds = age->second.real()) {
            pruneHistory("Z_TIMESTAMP < ?",
                         Value(now.timeIntervalSinceReferenceDate() - std::max(0.0, *seconds)));
        }
    }
}

void PersistentStore::pruneHistory(const std::string& condition, const Value& bound) {
    // Called inside a write transaction.
    auto last = database_->prepare("SELECT max(Z_PK) FROM Z_TRANSACTION WHERE " + condition);
    last.bind(1, bound);
    if (!last.step() || last.isNull(0)) {
        return;
    }
    const std::int64_t through = last.integer(0);
    auto changes = database_->prepare(
        "DELETE FROM Z_CHANGE WHERE Z_TRANSACTIONID IN (SELECT Z_PK FROM Z_TRANSACTION WHERE " +
        condition + ")");
    changes.bind(1, bound);
    changes.run();
    auto transactions = database_->prepare("DELETE FROM Z_TRANSACTION WHERE " + condition);
    transactions.bind(1, bound);
    transactions.run();
    auto state = database_->prepare(
        "INSERT INTO Z_HISTORYSTATE (Z_KEY, Z_VALUE) VALUES ('deletedThrough', ?)"
        " ON CONFLICT (Z_KEY) DO UPDATE SET Z_VALUE = max(Z_VALUE, excluded.Z_VALUE)");
    state.bindInteger(1, through);
    state.run();
}

void PersistentStore::deleteHistory(Date before) {
    if (!tracksHistory()) {
        return;
    }
    try {
        performWriteTransaction([&] {
            pruneHistory("Z_TIMESTAMP < ?", Value(before.timeIntervalSinceReferenceDate()));
        });
    } catch (const Error& error) {
        throw wrap(StoreError::kPersistentStoreSaveError, "The history was not deleted", error);
    }
}

void PersistentStore::deleteHistory(std::int64_t throughNumber) {
    if (!tracksHistory()) {
        return;
    }
    try {
        performWriteTransaction([&] { pruneHistory("Z_PK <= ?", Value(throughNumber)); });
    } catch (const Error& error) {
        throw wrap(StoreError::kPersistentStoreSaveError, "The history was not deleted", error);
    }
}

std::vector<PersistentHistoryTransaction> PersistentStore::historyTransactions(
    std::int64_t afterNumber) {
    std::lock_guard lock(mutex_);
    std::vector<PersistentHistoryTransaction> transactions;
    if (!tracksHistory()) {
        return transactions;
    }
    // One read transaction, so that the changes belong to the transactions read (inside a write
    // transaction of this connection that holds already).
    const bool ownTransaction = sqlite3_get_autocommit(database_->handle()) != 0;
    if (ownTransaction) {
        database_->execute("BEGIN");
    }
    try {
        auto& select = database_->cached(
            "SELECT Z_PK, Z_TIMESTAMP, Z_AUTHOR, Z_CONTEXTNAME, Z_ORIGIN FROM Z_TRANSACTION"
            " WHERE Z_PK > ? ORDER BY Z_PK");
        select.bindInteger(1, afterNumber);
        while (select.step()) {
            PersistentHistoryTransaction transaction;
            transaction.token = {uuid_, select.integer(0)};
            transaction.timestamp = Date(select.real(1));
            if (!select.isNull(2)) {
                transaction.author = select.text(2);
            }
            if (!select.isNull(3)) {
                transaction.contextName = select.text(3);
            }
            transaction.origin = static_cast<std::uint64_t>(select.integer(4));
            transactions.push_back(std::move(transaction));
        }
        select.reset();
        if (!transactions.empty()) {
            auto& changes = database_->cached(
                "SELECT Z_TRANSACTIONID, Z_CHANGETYPE, Z_ENTITY, Z_ENTITYPK FROM Z_CHANGE"
                " WHERE Z_TRANSACTIONID > ? ORDER BY Z_TRANSACTIONID, Z_PK");
            changes.bindInteger(1, afterNumber);
            std::size_t index = 0;
            while (changes.step()) {
                const std::int64_t number = changes.integer(0);
                while (index < transactions.size() &&
                       transactions[index].token.transactionNumber < number) {
                    ++index;
                }
                if (index == transactions.size()) {
                    break;
                }
                if (transactions[index].token.transactionNumber != number) {
                    continue;
                }
                const EntityDescription* entity = model_->entity(changes.text(2));
                const auto type = changes.integer(1);
                if (entity == nullptr || type < 0 || type > 2) {
                    continue;
                }
                transactions[index].changes.push_back(
                    {static_cast<PersistentHistoryChangeType>(type),
                     ManagedObjectID::permanent(*entity, uuid_, changes.integer(3))});
            }
            changes.reset();
        }
        if (ownTransaction) {
            database_->execute("COMMIT");
        }
    } catch (...) {
        if (ownTransaction) {
            sqlite3_exec(database_->handle(), "ROLLBACK", nullptr, nullptr, nullptr);
        }
        throw;
    }
    return transactions;
}

PersistentHistoryToken PersistentStore::currentHistoryToken() {
    std::lock_guard lock(mutex_);
    PersistentHistoryToken token{uuid_, 0};
    if (!tracksHistory()) {
        return token;
    }
    // The sequence counts transactions that were deleted as well.
    auto& statement =
        database_->cached("SELECT seq FROM sqlite_sequence WHERE name = 'Z_TRANSACTION'");
    if (statement.step()) {
        token.transactionNumber = statement.integer(0);
    }
    statement.reset();
    return token;
}

std::int64_t PersistentStore::historyDeletedThrough() {
    std::lock_guard lock(mutex_);
    if (!tracksHistory()) {
        return 0;
    }
    auto& statement =
        database_->cached("SELECT Z_VALUE FROM Z_HISTORYSTATE WHERE Z_KEY = 'deletedThrough'");
    std::int64_t through = 0;
    if (statement.step()) {
        through = statement.integer(0);
    }
    statement.reset();
    return through;
}

std::int64_t PersistentStore::dataVersion() {
    std::lock_guard lock(mutex_);
    auto& statement = database_->cached("PRAGMA data_version");
    std::int64_t version = 0;
    if (statement.step()) {
        version = statement.integer(0);
    }
    statement.reset();
    return version;
}

}  // namespace dovrel::store
