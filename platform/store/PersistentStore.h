#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/store/FetchRequest.h"
#include "platform/store/ManagedObjectID.h"
#include "platform/store/ManagedObjectModel.h"
#include "platform/store/PersistentHistoryTransaction.h"
#include "platform/store/PersistentStoreDescription.h"
#include "platform/store/SQLiteDatabase.h"
#include "platform/store/SortDescriptor.h"

namespace dovrel::store {

// The stored form of one object: its primary key, its version (raised by every update, so that a
// save notices a row that changed since the object was read), its attribute values (in the
// entity's attribute order, transformable ones already turned back into objects) and the
// primary keys of its to-one destinations (in slot order).
struct StoredRow {
    std::int64_t primaryKey = 0;
    std::int64_t version = 0;
    std::vector<Value> attributes;
    std::vector<std::optional<std::int64_t>> toOne;
};

// One SQLite store file: its URL, UUID, options and metadata, and the reading and writing of rows
// for the contexts of its coordinator.
//
// The file holds one table per entity (named after it: Z_PK primary key, Z_OPT version, one
// column per attribute and per to-one relationship, dates as seconds since 2001), a metadata
// table Z_METADATA (the store UUID, the model version identifier and any metadata set by the
// application) and Z_PRIMARYKEY, the highest primary key ever given per entity, so that a key is
// never reused and the URI of a deleted object never names another one. The file is created
// with mode 0600 and used in WAL mode with a busy timeout; every write runs in BEGIN IMMEDIATE.
//
// One connection per store; its use is serialised by the store, so any thread may call it.
//
// Two processes. Several connections (other processes, or other coordinators of this one) may
// use the file at once. Writes are serialised by SQLite's write lock: BEGIN IMMEDIATE waits up to
// the description's timeout for it, and where SQLite answers "busy" without having waited the
// store tries again (see SQLiteDatabase) until that timeout has passed; no busy error reaches a
// caller before then. Reads never wait for writers (WAL).
//
// Persistent history. A store opened with kPersistentHistoryTrackingKey, or whose file already
// keeps history (because any connection ever opened it with that option), records every write
// transaction of a context's save in the same SQLite transaction as the rows: number, time
// (Clock::now()), author, context name, the writing connection's origin and the rows inserted,
// updated and deleted (Z_TRANSACTION and Z_CHANGE; Z_HISTORYSTATE remembers how far history was
// deleted). With kPersistentHistoryMaximumAgeOptionKey, transactions older than that age are
// deleted by every save that records one. Metadata writes are not recorded.
class PersistentStore {
  public:
    // Metadata keys that every store has.
    static constexpr const char* kStoreUUIDKey = "NSStoreUUID";
    static constexpr const char* kModelVersionIdentifierKey = "NSStoreModelVersionIdentifier";

    // Opens the store that `description` names, creating the file when it does not exist. Throws
    // StoreError when the file is not SQLite, holds a foreign schema or another model version,
    // or cannot be created or opened for writing. An existing file that does not load is left as
    // it was.
    static std::shared_ptr<PersistentStore> load(const PersistentStoreDescription& description,
                                                 std::shared_ptr<const ManagedObjectModel> model);

    const std::filesystem::path& url() const noexcept { return description_.url(); }
    const std::string& type() const noexcept { return description_.type(); }
    const std::map<std::string, Value>& options() const noexcept { return description_.options(); }
    const StoreUUID& uuid() const noexcept { return uuid_; }
    // The UUID as text.
    std::string identifier() const { return uuidString(uuid_); }
    const ManagedObjectModel& model() const noexcept { return *model_; }

    // The metadata kept in the file (including kStoreUUIDKey and kModelVersionIdentifierKey).
    std::map<std::string, Value> metadata() const;
    // Replaces the application's metadata (the two keys above are kept as they are) and writes
    // it to the file at once, in a transaction of its own (or in the write transaction under
    // way). Values must be plain (not objects). Throws StoreError when the write fails.
    void setMetadata(const std::map<std::string, Value>& metadata);

    // The metadata of the store file at `url`, read without loading the store (the file is not
    // changed). Throws StoreError when there is no file or it holds no store.
    static std::map<std::string, Value> metadataOfStore(const std::filesystem::path& url);

    // --- Persistent history ---

    // Whether saves record history transactions in this file.
    bool tracksHistory();
    // Identifies this store's connection in the history it writes (never 0).
    std::uint64_t historyOrigin() const noexcept { return origin_; }
    // Inside a write transaction: records one transaction with `changes` when the file keeps
    // history (nothing otherwise), then deletes history older than the maximum age, if set.
    void recordHistoryTransaction(const std::optional<std::string>& author,
                                  const std::optional<std::string>& contextName,
                                  const std::vector<PersistentHistoryChange>& changes);
    // The transactions numbered above `afterNumber`, oldest first (changes of entities the model
    // does not have are left out). Empty when the file keeps no history.
    std::vector<PersistentHistoryTransaction> historyTransactions(std::int64_t afterNumber);
    // The token of the latest transaction recorded (number 0 when there is none yet).
    PersistentHistoryToken currentHistoryToken();
    // The highest transaction number that deleteHistory has removed (0 when none): a reader
    // that has seen only transactions up to a lower number has missed some.
    std::int64_t historyDeletedThrough();
    // Deletes the transactions recorded before `date`, or numbered up to `throughNumber`, in a
    // write transaction of its own. Throws StoreError when the write fails.
    void deleteHistory(Date before);
    void deleteHistory(std::int64_t throughNumber);

    // A number that changes whenever another connection has committed to the file since the
    // last call (PRAGMA data_version); this store's own commits leave it as it is.
    std::int64_t dataVersion();

    // How many rows SQLite has returned for this store so far (for tests of lazy loading).
    std::uint64_t rowsRead() const noexcept { return database_->rowsRead(); }

    // --- Reading (used by contexts) ---

    // Rows of `entity` matching the SQL condition `where` (empty for all) with its bindings, in
    // the order of `sortDescriptors` then primary key, at most `limit` (0: all). With `keysOnly`
    // the rows carry only primary key and version.
    std::vector<StoredRow> fetchRows(const EntityDescription& entity, const std::string& where,
                                     const std::vector<Value>& bindings,
                                     const std::vector<SortDescriptor>& sortDescriptors,
                                     std::size_t limit, bool keysOnly);
    // The rows that fetchRows would return, each handed to `visit` as its primary key and only
    // the attributes at `attributes` (indexes into entity.attributes()), in that order, as it is
    // read: the attributes are valid only during the call. With AttributeForm::storedData,
    // transformable attributes come as the data stored in the file, not decoded. Runs with the
    // store's lock held: `visit` must not call back into this store.
    void forEachAttributeRow(
        const EntityDescription& entity, const std::string& where,
        const std::vector<Value>& bindings, const std::vector<SortDescriptor>& sortDescriptors,
        std::size_t limit, const std::vector<std::size_t>& attributes, AttributeForm form,
        const std::function<void(std::int64_t, const std::vector<Value>&)>& visit);
    std::int64_t countRows(const EntityDescription& entity, const std::string& where,
                           const std::vector<Value>& bindings);
    std::optional<StoredRow> fetchRow(const EntityDescription& entity, std::int64_t primaryKey);
    // The primary keys of the rows of the to-many relationship's destination whose inverse
    // column holds `ownerKey`.
    std::vector<std::int64_t> fetchRelatedKeys(const RelationshipDescription& toMany,
                                               std::int64_t ownerKey);

    // --- Writing (used by a context's save) ---

    // What the file holds for `value` of `attribute`: transformable objects made into data by
    // their value transformer; every other value as it is.
    static Value storedForm(const AttributeDescription& attribute, const Value& value);

    // Runs `body` inside BEGIN IMMEDIATE ... COMMIT; when `body` or the commit throws, the
    // transaction is rolled back and the exception passes on. The store's lock is held for the
    // whole of it: the operations below are called only from `body`, on its thread, and take no
    // lock of their own (called outside a transaction, they stop the process).
    void performWriteTransaction(const std::function<void()>& body);
    // Inside a write transaction: `count` new primary keys for `entity`, the first returned.
    std::int64_t allocatePrimaryKeys(const EntityDescription& entity, std::int64_t count);
    // Inside a write transaction: the row's version, or nothing when the row does not exist.
    std::optional<std::int64_t> rowVersion(const EntityDescription& entity,
                                           std::int64_t primaryKey);
    void insertRow(const EntityDescription& entity, std::int64_t primaryKey, std::int64_t version,
                   const std::vector<Value>& attributes,
                   const std::vector<std::optional<std::int64_t>>& toOne);
    // Writes the listed attributes (indexes into `values`) and to-one slots (indexes into
    // `toOne`) of the row `primaryKey` and raises its version to `version`.
    void updateRow(const EntityDescription& entity, std::int64_t primaryKey, std::int64_t version,
                   const std::vector<Value>& values,
                   const std::vector<std::optional<std::int64_t>>& toOne,
                   const std::vector<std::size_t>& attributes,
                   const std::vector<std::size_t>& toOneSlots);
    void deleteRow(const EntityDescription& entity, std::int64_t primaryKey);

  private:
    PersistentStore(PersistentStoreDescription description,
                    std::shared_ptr<const ManagedObjectModel> model,
                    std::unique_ptr<SQLiteDatabase> database);

    void assertInWriteTransaction() const;
    void createSchema();
    void validateSchema();
    void readMetadata();
    void configureConnection();
    bool inWriteAheadLogMode();
    void prepareHistory();
    bool historyTablesExist();
    void pruneHistory(const std::string& condition, const Value& bound);
    void bindRow(SQLiteDatabase::Statement& statement, int first, const EntityDescription& entity,
                 const std::vector<Value>& values,
                 const std::vector<std::optional<std::int64_t>>& toOne,
                 const std::vector<std::size_t>& attributes,
                 const std::vector<std::size_t>& toOneSlots);

    PersistentStoreDescription description_;
    std::shared_ptr<const ManagedObjectModel> model_;
    std::unique_ptr<SQLiteDatabase> database_;
    mutable std::recursive_mutex mutex_;
    StoreUUID uuid_{};
    std::map<std::string, Value> metadata_;
    std::uint64_t origin_ = 0;
    bool tracksHistory_ = false;
    std::map<const EntityDescription*, std::unique_ptr<SQLiteDatabase::Statement>>
        insertStatements_;
    const EntityDescription* lastInsertEntity_ = nullptr;
    std::unique_ptr<SQLiteDatabase::Statement>* lastInsertStatement_ = nullptr;
};

}  // namespace dovrel::store
