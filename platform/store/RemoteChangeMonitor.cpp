#include "platform/store/RemoteChangeMonitor.h"

#include <algorithm>
#include <any>
#include <map>
#include <string>
#include <unordered_map>

#include "platform/foundation/Error.h"
#include "platform/foundation/Logging.h"
#include "platform/foundation/NotificationCenter.h"
#include "platform/store/ManagedObjectContext.h"
#include "platform/store/PersistentStore.h"
#include "platform/store/PersistentStoreCoordinator.h"

namespace dovrel::store {

std::shared_ptr<RemoteChangeMonitor> RemoteChangeMonitor::make(const void* sender) {
    return std::shared_ptr<RemoteChangeMonitor>(new RemoteChangeMonitor(sender));
}

RemoteChangeMonitor::RemoteChangeMonitor(const void* sender)
    : sender_(sender), queue_("dovrel.store.RemoteChangeMonitor") {}

RemoteChangeMonitor::~RemoteChangeMonitor() = default;

namespace {

bool postsRemoteChanges(const PersistentStore& store) {
    auto found =
        store.options().find(PersistentStoreDescription::kRemoteChangeNotificationPostOptionKey);
    return found != store.options().end() && found->second.boolean().value_or(false);
}

}  // namespace

void RemoteChangeMonitor::addStore(std::shared_ptr<PersistentStore> store) {
    if (!store->tracksHistory() && !postsRemoteChanges(*store)) {
        return;  // nobody asked to hear of other connections' writes
    }
    Watched watched;
    // The present state is the starting point: what was committed before is already in the
    // store for every fetch to see.
    watched.dataVersion = store->dataVersion();
    watched.lastTransaction = store->currentHistoryToken().transactionNumber;
    watched.store = std::move(store);
    std::lock_guard lock(mutex_);
    if (stopped_) {
        return;
    }
    stores_.push_back(std::move(watched));
    scheduleLocked();
}

void RemoteChangeMonitor::removeStore(const PersistentStore* store) {
    std::lock_guard lock(mutex_);
    std::erase_if(stores_, [&](const Watched& watched) { return watched.store.get() == store; });
}

TimeInterval RemoteChangeMonitor::interval() const {
    std::lock_guard lock(mutex_);
    return interval_;
}

void RemoteChangeMonitor::setInterval(TimeInterval seconds) {
    std::lock_guard lock(mutex_);
    interval_ = std::max(seconds, 0.001);
}

void RemoteChangeMonitor::scheduleLocked() {
    if (scheduled_ || stopped_ || stores_.empty()) {
        return;
    }
    scheduled_ = true;
    const auto delay = std::chrono::duration_cast<std::chrono::nanoseconds>(
        std::chrono::duration<double>(interval_));
    std::weak_ptr<RemoteChangeMonitor> weak = weak_from_this();
    queue_.asyncAfter(delay, [weak] {
        auto self = weak.lock();
        if (!self) {
            return;  // the coordinator is gone, and the checks with it
        }
        self->check();
        std::lock_guard lock(self->mutex_);
        self->scheduled_ = false;
        self->scheduleLocked();
    });
}

void RemoteChangeMonitor::checkNow() {
    check();
}

void RemoteChangeMonitor::stop() {
    if (checkingThread_.load() == std::this_thread::get_id()) {
        // Called from an observer of a check under way on this thread: that check ends after
        // the store it is at.
        std::lock_guard lock(mutex_);
        stopped_ = true;
        stores_.clear();
        return;
    }
    std::lock_guard check(checkMutex_);
    std::lock_guard lock(mutex_);
    stopped_ = true;
    stores_.clear();
}

void RemoteChangeMonitor::check() {
    std::lock_guard check(checkMutex_);
    checkingThread_.store(std::this_thread::get_id());
    std::vector<Watched> stores;
    {
        std::lock_guard lock(mutex_);
        if (stopped_) {
            checkingThread_.store({});
            return;
        }
        stores = stores_;
    }
    for (auto& watched : stores) {
        {
            std::lock_guard lock(mutex_);
            if (stopped_) {
                break;
            }
        }
        try {
            checkStore(watched);
        } catch (const Error& error) {
            // A store that cannot be read now is asked again at the next check.
            namedLogger("dovrel.store")
                ->error("Could not look for changes of the store {}: {}",
                        watched.store->url().string(), error.localizedDescription());
        }
        std::lock_guard lock(mutex_);
        for (auto& current : stores_) {
            if (current.store == watched.store) {
                current.dataVersion = watched.dataVersion;
                current.lastTransaction = watched.lastTransaction;
            }
        }
    }
    checkingThread_.store({});
}

void RemoteChangeMonitor::checkStore(Watched& watched) {
    PersistentStore& store = *watched.store;
    const std::int64_t version = store.dataVersion();
    if (version == watched.dataVersion) {
        return;
    }
    watched.dataVersion = version;

    std::map<std::string, std::any> userInfo;
    userInfo.emplace(kStoreUUIDKey, store.uuid());
    std::optional<PersistentHistoryToken> token;
    if (store.tracksHistory()) {
        // Read the deletion mark first: history deleted after this read is found next time.
        const bool missed = store.historyDeletedThrough() > watched.lastTransaction;
        auto transactions = store.historyTransactions(watched.lastTransaction);
        if (!transactions.empty()) {
            watched.lastTransaction = transactions.back().token.transactionNumber;
        }
        // What each object went through, in order: the last change decides, except that an
        // object inserted and then updated is still an insertion.
        std::unordered_map<ManagedObjectID, PersistentHistoryChangeType> net;
        bool remote = false;
        for (const auto& transaction : transactions) {
            if (transaction.origin == store.historyOrigin()) {
                continue;  // this coordinator's own save: its contexts heard of it already
            }
            remote = true;
            token = transaction.token;
            for (const auto& change : transaction.changes) {
                auto [entry, added] = net.emplace(change.changedObjectID, change.changeType);
                if (!added && !(entry->second == PersistentHistoryChangeType::insert &&
                                change.changeType == PersistentHistoryChangeType::update)) {
                    entry->second = change.changeType;
                }
            }
        }
        if (!remote && !missed) {
            return;
        }
        if (missed) {
            userInfo.emplace(kRefreshAllKey, true);
        }
        ObjectIDSet inserted, updated, deleted;
        for (const auto& [id, type] : net) {
            switch (type) {
                case PersistentHistoryChangeType::insert:
                    inserted.insert(id);
                    break;
                case PersistentHistoryChangeType::update:
                    updated.insert(id);
                    break;
                case PersistentHistoryChangeType::delete_:
                    deleted.insert(id);
                    break;
            }
        }
        userInfo.emplace(ManagedObjectContext::kInsertedObjectIDsKey, std::move(inserted));
        userInfo.emplace(ManagedObjectContext::kUpdatedObjectIDsKey, std::move(updated));
        userInfo.emplace(ManagedObjectContext::kDeletedObjectIDsKey, std::move(deleted));
        if (!token) {
            token = store.currentHistoryToken();
        }
    } else {
        userInfo.emplace(kRefreshAllKey, true);
    }
    NotificationCenter::defaultCenter().post(kRemoteTransactionsNotification, sender_,
                                             std::move(userInfo));
    if (postsRemoteChanges(store)) {
        std::map<std::string, std::any> info;
        info.emplace(PersistentStoreCoordinator::kPersistentStoreURLKey, store.url());
        if (token) {
            info.emplace(PersistentStoreCoordinator::kPersistentHistoryTokenKey, *token);
        }
        NotificationCenter::defaultCenter().post(
            PersistentStoreCoordinator::kPersistentStoreRemoteChangeNotification, sender_,
            std::move(info));
    }
}

}  // namespace dovrel::store
