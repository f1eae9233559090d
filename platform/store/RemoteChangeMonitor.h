#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "platform/dispatch/DispatchQueue.h"
#include "platform/foundation/Date.h"

namespace dovrel::store {

class PersistentStore;

// Watches the stores of one coordinator for commits made through other connections (another
// process, or another coordinator of this one), and tells the coordinator's contexts and the
// rest of the program about them. Owned by the coordinator; not used directly.
//
// Every interval, on a serial queue of its own, it asks each store for its data version (PRAGMA
// data_version: a cheap read that changes only when another connection has committed). When it
// changed:
//  - a store that keeps history has its transactions after the last one seen read; those written
//    by the store's own connection are skipped. When some remain, kRemoteTransactionsNotification
//    is posted with the IDs of the objects they inserted, updated and deleted (the
//    ManagedObjectContext did-save keys, so that a context can merge them as it merges a save).
//    When history the monitor had not read yet was deleted meanwhile, the notification carries
//    kRefreshAllKey instead of a complete account.
//  - a store without history posts kRemoteTransactionsNotification with kRefreshAllKey.
//  - a store with the remote-change option then posts the coordinator's remote-change
//    notification with the store URL and, with history, the token of the latest transaction.
// Both are posted with the coordinator as sender, on the monitor's queue.
//
// stop() (called by the coordinator's destructor) ends the checks: it waits for a check under
// way on another thread, after which nothing is posted any more.
class RemoteChangeMonitor : public std::enable_shared_from_this<RemoteChangeMonitor> {
  public:
    static constexpr const char* kRemoteTransactionsNotification =
        "DovrelPersistentStoreRemoteTransactions";
    // The store the notification is about (StoreUUID).
    static constexpr const char* kStoreUUIDKey = "storeUUID";
    // Present (true) when the account is incomplete: the objects of the store should be
    // refreshed.
    static constexpr const char* kRefreshAllKey = "refreshAll";

    static constexpr TimeInterval kDefaultInterval = 0.025;

    // `sender` is the coordinator (used as the notifications' sender, never dereferenced).
    static std::shared_ptr<RemoteChangeMonitor> make(const void* sender);
    RemoteChangeMonitor(const RemoteChangeMonitor&) = delete;
    RemoteChangeMonitor& operator=(const RemoteChangeMonitor&) = delete;
    ~RemoteChangeMonitor();

    // Starts watching `store` from its present state (earlier commits are not reported), when it
    // keeps history or has the remote-change option; other stores are not watched.
    void addStore(std::shared_ptr<PersistentStore> store);
    void removeStore(const PersistentStore* store);

    TimeInterval interval() const;
    // Takes effect from the next check (at least a millisecond).
    void setInterval(TimeInterval seconds);

    // Checks every store now, on the calling thread, as a timed check would.
    void checkNow();
    void stop();

  private:
    explicit RemoteChangeMonitor(const void* sender);

    struct Watched {
        std::shared_ptr<PersistentStore> store;
        std::int64_t dataVersion = 0;
        std::int64_t lastTransaction = 0;
    };

    void scheduleLocked();
    void check();
    void checkStore(Watched& watched);

    const void* sender_;
    DispatchQueue queue_;
    mutable std::mutex mutex_;
    std::vector<Watched> stores_;
    TimeInterval interval_ = kDefaultInterval;
    bool scheduled_ = false;
    bool stopped_ = false;
    // Held for the whole of a check, so that stop() can wait for one.
    std::recursive_mutex checkMutex_;
    std::atomic<std::thread::id> checkingThread_{};
};

}  // namespace dovrel::store
