#pragma once

#include <filesystem>
#include <map>
#include <string>

#include "platform/foundation/Date.h"
#include "platform/store/Value.h"

namespace dovrel::store {

// How to open one store: where its file is and with which options. A plain value; the container
// keeps a list of them and loads one store per description.
class PersistentStoreDescription {
  public:
    // Options (all booleans, false when absent).
    // Keep a log of the transactions written to the store.
    static constexpr const char* kPersistentHistoryTrackingKey = "NSPersistentHistoryTrackingKey";
    // Announce writes made by another process (or another coordinator): the coordinator posts
    // its remote-change notification (see PersistentStoreCoordinator).
    static constexpr const char* kRemoteChangeNotificationPostOptionKey =
        "NSPersistentStoreRemoteChangeNotificationPostOptionKey";
    // With history tracking: delete history transactions older than this many seconds (a number)
    // whenever a save records one. Absent: history is kept until deleteHistory is called.
    static constexpr const char* kPersistentHistoryMaximumAgeOptionKey =
        "DovrelPersistentHistoryMaximumAge";
    // Commit with PRAGMA synchronous=FULL (a commit survives power loss) instead of the default
    // NORMAL (a commit survives a crash of the process; WAL keeps the file consistent either way).
    static constexpr const char* kFullSynchronousOptionKey = "DovrelSQLiteFullSynchronousOption";

    static constexpr const char* kSQLiteStoreType = "SQLite";

    PersistentStoreDescription() = default;
    explicit PersistentStoreDescription(std::filesystem::path url) : url_(std::move(url)) {}

    const std::filesystem::path& url() const noexcept { return url_; }
    void setURL(std::filesystem::path url) { url_ = std::move(url); }

    const std::string& type() const noexcept { return type_; }

    const std::map<std::string, Value>& options() const noexcept { return options_; }
    void setOption(Value value, const std::string& key) { options_[key] = std::move(value); }
    // The option as a boolean: false when absent or not a boolean.
    bool boolOption(const std::string& key) const {
        auto found = options_.find(key);
        return found != options_.end() && found->second.boolean().value_or(false);
    }

    // How long a write waits for another connection's lock before failing (busy timeout).
    TimeInterval timeout() const noexcept { return timeout_; }
    void setTimeout(TimeInterval seconds) { timeout_ = seconds; }

    friend bool operator==(const PersistentStoreDescription&,
                           const PersistentStoreDescription&) = default;

  private:
    std::filesystem::path url_;
    std::string type_ = kSQLiteStoreType;
    std::map<std::string, Value> options_;
    TimeInterval timeout_ = 10;
};

}  // namespace dovrel::store
