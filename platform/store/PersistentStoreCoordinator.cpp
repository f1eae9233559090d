#include "platform/store/PersistentStoreCoordinator.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>

#include "platform/foundation/FatalError.h"
#include "platform/store/ManagedObject.h"
#include "platform/store/ManagedObjectContext.h"
#include "platform/store/MigrationManager.h"
#include "platform/store/RemoteChangeMonitor.h"
#include "platform/store/SQLiteDatabase.h"
#include "platform/store/StoreError.h"

namespace dovrel::store {

namespace {

const char* const kSidecarSuffixes[] = {"-wal", "-shm", "-journal"};

std::filesystem::path sidecar(const std::filesystem::path& url, const char* suffix) {
    return std::filesystem::path(url.string() + suffix);
}

// Removes a file and its SQLite sidecar files; a missing file is fine.
void removeStoreFiles(const std::filesystem::path& url) {
    for (const auto& path :
         {url, sidecar(url, "-wal"), sidecar(url, "-shm"), sidecar(url, "-journal")}) {
        if (::unlink(path.c_str()) != 0 && errno != ENOENT) {
            const int error = errno;
            throw StoreError::make(
                error == EACCES || error == EPERM || error == EROFS
                    ? StoreError::kFileWriteNoPermissionError
                    : StoreError::kPersistentStoreOpenError,
                "The file " + path.string() + " could not be deleted: " + std::strerror(error));
        }
    }
}

// Writes everything in the store's write-ahead log into its main file and empties the log, so
// that the main file alone is the whole store.
void checkpoint(const std::filesystem::path& url) {
    SQLiteDatabase database(url, false);
    auto statement = database.prepare("PRAGMA wal_checkpoint(TRUNCATE)");
    if (statement.step() && statement.integer(0) != 0) {
        throw StoreError::make(StoreError::kMigrationError,
                               "The store " + url.string() +
                                   " is in use by another connection and cannot be replaced");
    }
}

void syncPath(const std::filesystem::path& path, int flags) {
    const int fd = ::open(path.c_str(), flags | O_CLOEXEC);
    if (fd < 0) {
        throw StoreError::make(StoreError::kMigrationError,
                               "Could not open " + path.string() + ": " + std::strerror(errno));
    }
    const int result = ::fsync(fd);
    const int error = errno;
    ::close(fd);
    if (result != 0) {
        throw StoreError::make(StoreError::kMigrationError,
                               "Could not sync " + path.string() + ": " + std::strerror(error));
    }
}

}  // namespace

PersistentStoreCoordinator::PersistentStoreCoordinator(
    std::shared_ptr<const ManagedObjectModel> model)
    : model_(std::move(model)), monitor_(RemoteChangeMonitor::make(this)) {}

PersistentStoreCoordinator::PersistentStoreCoordinator(std::shared_ptr<const MigrationPlan> plan)
    : model_(plan ? plan->currentModel() : nullptr), monitor_(RemoteChangeMonitor::make(this)) {
    if (!plan) {
        fatalError("A coordinator needs a migration plan or a model");
    }
    plan_ = std::move(plan);
}

PersistentStoreCoordinator::~PersistentStoreCoordinator() {
    monitor_->stop();
}

void PersistentStoreCoordinator::setMigrationPlan(std::shared_ptr<const MigrationPlan> plan) {
    if (plan && plan->currentModel()->versionIdentifier() != model_->versionIdentifier()) {
        fatalError("The migration plan's current model version \"" +
                   plan->currentModel()->versionIdentifier() +
                   "\" is not the coordinator's model version \"" + model_->versionIdentifier() +
                   "\"");
    }
    std::lock_guard lock(mutex_);
    plan_ = std::move(plan);
}

void PersistentStoreCoordinator::migrateIfNeeded(const PersistentStoreDescription& description) {
    const auto& url = description.url();
    std::error_code ignored;
    if (url.empty() || !std::filesystem::exists(url, ignored) ||
        std::filesystem::file_size(url, ignored) == 0) {
        return;  // a new store: nothing to migrate
    }
    const std::filesystem::path temporary = url.string() + ".migration";
    std::map<std::string, Value> metadata;
    try {
        metadata = PersistentStore::metadataOfStore(url);
    } catch (const Error&) {
        return;  // not a store: loading it says why
    }
    auto found = metadata.find(PersistentStore::kModelVersionIdentifierKey);
    if (found == metadata.end() || !found->second.string() ||
        *found->second.string() == model_->versionIdentifier()) {
        return;
    }
    const std::string version = *found->second.string();
    std::shared_ptr<const MigrationPlan> plan;
    {
        std::lock_guard lock(mutex_);
        plan = plan_;
    }
    if (!plan) {
        return;  // loading refuses the other version
    }
    if (!plan->indexOfVersion(version)) {
        throw StoreError::make(StoreError::kMigrationMissingSourceModelError,
                               "The store " + url.string() + " was made by model version \"" +
                                   version + "\", which this program does not know (its model " +
                                   "version is \"" + model_->versionIdentifier() +
                                   "\"); the store was left as it was");
    }
    std::vector<MigrationPlan::Step> steps;
    try {
        steps = plan->path(version);
    } catch (const Error& error) {
        throw StoreError::make(error.code(), "The store " + url.string() + " cannot be opened: " +
                                                 error.localizedDescription() +
                                                 "; the store was left as it was");
    }
    // What a killed migration may have left beside the store holds nothing needed.
    removeStoreFiles(temporary);
    // Each step reads the previous file and writes the next; the store itself is replaced once.
    std::filesystem::path source = url;
    try {
        for (std::size_t i = 0; i < steps.size(); ++i) {
            const std::filesystem::path destination =
                i + 1 == steps.size()
                    ? temporary
                    : std::filesystem::path(temporary.string() + "." + std::to_string(i + 1));
            removeStoreFiles(destination);
            MigrationManager manager(steps[i].sourceModel, steps[i].destinationModel);
            manager.migrateStore(source, destination, *steps[i].mapping);
            if (source != url) {
                removeStoreFiles(source);
            }
            source = destination;
        }
        replacePersistentStore(url, temporary);
    } catch (...) {
        if (source != url) {
            removeStoreFiles(source);
        }
        removeStoreFiles(temporary);
        throw;
    }
}

std::shared_ptr<PersistentStore> PersistentStoreCoordinator::addPersistentStore(
    const PersistentStoreDescription& description) {
    migrateIfNeeded(description);
    auto store = PersistentStore::load(description, model_);
    {
        std::lock_guard lock(mutex_);
        stores_.push_back(store);
    }
    monitor_->addStore(store);
    return store;
}

void PersistentStoreCoordinator::removePersistentStore(
    const std::shared_ptr<PersistentStore>& store) {
    monitor_->removeStore(store.get());
    std::lock_guard lock(mutex_);
    std::erase(stores_, store);
}

void PersistentStoreCoordinator::destroyPersistentStore(const std::filesystem::path& url) {
    {
        std::lock_guard lock(mutex_);
        std::error_code ignored;
        std::erase_if(stores_, [&](const auto& store) {
            const bool match =
                store->url() == url || std::filesystem::equivalent(store->url(), url, ignored);
            if (match) {
                monitor_->removeStore(store.get());
            }
            return match;
        });
    }
    removeStoreFiles(url);
}

std::vector<PersistentHistoryTransaction> PersistentStoreCoordinator::fetchHistory(
    const std::optional<PersistentHistoryToken>& after) const {
    std::vector<PersistentHistoryTransaction> transactions;
    for (const auto& store : persistentStores()) {
        if (after && store->uuid() != after->storeUUID) {
            continue;
        }
        try {
            auto more = store->historyTransactions(after ? after->transactionNumber : 0);
            transactions.insert(transactions.end(), std::make_move_iterator(more.begin()),
                                std::make_move_iterator(more.end()));
        } catch (const Error& error) {
            if (error.domain() == StoreError::kDomain) {
                throw;
            }
            throw StoreError::make(
                StoreError::kPersistentStoreOpenError,
                "The history could not be read: " + error.localizedDescription());
        }
    }
    return transactions;
}

void PersistentStoreCoordinator::deleteHistory(Date before) {
    for (const auto& store : persistentStores()) {
        store->deleteHistory(before);
    }
}

void PersistentStoreCoordinator::deleteHistory(const PersistentHistoryToken& through) {
    if (auto store = persistentStore(through.storeUUID)) {
        store->deleteHistory(through.transactionNumber);
    }
}

TimeInterval PersistentStoreCoordinator::remoteChangeInterval() const {
    return monitor_->interval();
}

void PersistentStoreCoordinator::setRemoteChangeInterval(TimeInterval seconds) {
    monitor_->setInterval(seconds);
}

void PersistentStoreCoordinator::checkForRemoteChanges() {
    monitor_->checkNow();
}

void PersistentStoreCoordinator::replacePersistentStore(const std::filesystem::path& destination,
                                                        const std::filesystem::path& source) {
    try {
        checkpoint(source);
        std::error_code ignored;
        if (std::filesystem::exists(destination, ignored)) {
            checkpoint(destination);
        }
    } catch (const Error& error) {
        if (error.domain() == StoreError::kDomain) {
            throw;
        }
        throw StoreError::make(StoreError::kMigrationError,
                               "The store " + destination.string() +
                                   " could not be replaced: " + error.localizedDescription());
    }
    syncPath(source, O_RDONLY);
    // After the checkpoint the destination's log holds nothing its main file lacks; it must go
    // before the rename, or SQLite would replay it into the new file.
    for (const char* suffix : kSidecarSuffixes) {
        const auto path = sidecar(destination, suffix);
        if (::unlink(path.c_str()) != 0 && errno != ENOENT) {
            throw StoreError::make(
                StoreError::kMigrationError,
                "Could not delete " + path.string() + ": " + std::strerror(errno));
        }
    }
    for (const char* suffix : kSidecarSuffixes) {
        ::unlink(sidecar(source, suffix).c_str());
    }
    if (::rename(source.c_str(), destination.c_str()) != 0) {
        throw StoreError::make(StoreError::kMigrationError, "Could not move " + source.string() +
                                                                " to " + destination.string() +
                                                                ": " + std::strerror(errno));
    }
    auto folder = destination.parent_path();
    syncPath(folder.empty() ? std::filesystem::path(".") : folder, O_RDONLY | O_DIRECTORY);
}

void PersistentStoreCoordinator::assign(const std::shared_ptr<ManagedObject>& object,
                                        const std::shared_ptr<PersistentStore>& store) {
    if (!object || object->managedObjectContext() == nullptr) {
        fatalError("Only an unsaved object inserted into a context can be assigned to a store");
    }
    if (object->managedObjectContext()->persistentStoreCoordinator().get() != this) {
        fatalError("The object's context belongs to another coordinator");
    }
    object->managedObjectContext()->assign(object, store);
}

std::map<std::string, Value> PersistentStoreCoordinator::metadataForPersistentStore(
    const std::filesystem::path& url) {
    return PersistentStore::metadataOfStore(url);
}

std::vector<std::shared_ptr<PersistentStore>> PersistentStoreCoordinator::persistentStores() const {
    std::lock_guard lock(mutex_);
    return stores_;
}

std::shared_ptr<PersistentStore> PersistentStoreCoordinator::persistentStore(
    const StoreUUID& uuid) const {
    std::lock_guard lock(mutex_);
    for (const auto& store : stores_) {
        if (store->uuid() == uuid) {
            return store;
        }
    }
    return nullptr;
}

std::optional<ManagedObjectID> PersistentStoreCoordinator::managedObjectID(
    const std::string& uri) const {
    // x-dovrel://<store UUID>/<Entity>/p<primary key>
    static constexpr std::string_view kScheme = "x-dovrel://";
    if (!uri.starts_with(kScheme)) {
        return std::nullopt;
    }
    const std::string rest = uri.substr(kScheme.size());
    const auto firstSlash = rest.find('/');
    const auto lastSlash = rest.rfind('/');
    if (firstSlash == std::string::npos || lastSlash == firstSlash) {
        return std::nullopt;
    }
    StoreUUID uuid;
    if (!parseUUID(rest.substr(0, firstSlash), uuid)) {
        return std::nullopt;
    }
    const std::string entityName = rest.substr(firstSlash + 1, lastSlash - firstSlash - 1);
    const std::string key = rest.substr(lastSlash + 1);
    if (key.size() < 2 || key[0] != 'p') {
        return std::nullopt;
    }
    std::int64_t primaryKey = 0;
    const char* begin = key.data() + 1;
    const char* end = key.data() + key.size();
    auto [last, error] = std::from_chars(begin, end, primaryKey);
    if (error != std::errc() || last != end || primaryKey <= 0 || *begin == '+') {
        return std::nullopt;
    }
    const EntityDescription* entity = model_->entity(entityName);
    auto store = persistentStore(uuid);
    if (entity == nullptr || !store) {
        return std::nullopt;
    }
    if (!store->fetchRow(*entity, primaryKey)) {
        return std::nullopt;
    }
    return ManagedObjectID::permanent(*entity, uuid, primaryKey);
}

}  // namespace dovrel::store
