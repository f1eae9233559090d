#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace dovrel {

// A small store of texts by key, shared by the programs of one access group and kept apart
// from the application's own data, so that what it holds (an install date) outlives deleting
// the application-group container.
//
// Where the items live
//   The desktop's Secret Service (through libsecret) when it answers while the keychain is
//   constructed, and otherwise a file; the choice is made once, in the constructor, and kept
//   for the object's whole life. Nothing is copied between the two places: a value written to
//   the file while no Secret Service ran is not seen by a later keychain that uses the service.
//
//   - Secret Service: one item per key in the default collection, with the schema
//     kSchemaName and the attributes kAccessGroupAttribute = the access group and
//     kKeyAttribute = the key; the item's secret is the text. Items with other attribute
//     values (another access group) are never read, changed or removed. libsecret keeps one
//     connection to the service per process; when the service goes away after construction,
//     reads find nothing and writes fail, as the failure rules below say.
//   - File: fallbackFile(accessGroup), a JSON object of texts by key in
//     <data home>/dovrel-keychain/ (data home as FileManager::dataHome() finds it), outside
//     every application-group container. The directory is created with mode 0700 and the file
//     is written with mode 0600, each time as a whole new file renamed over the old one, so a
//     reader never sees half a write. Writers in several processes are serialised by a lock
//     on the directory. A file that cannot be parsed reads as empty and is replaced by the
//     next write.
//
// Texts
//   Keys and values are UTF-8 text without NUL characters; the empty text is a valid value. A
//   key or value that is not such text is never stored: set() returns false, get() finds
//   nothing.
//
// Failures
//   Nothing here throws or stops the process for a failure of the store. A read that fails
//   finds nothing (std::nullopt). A write or removal that fails returns false and leaves the
//   stored value as it was.
//
// Threads
//   One keychain may be used from several threads at once; each call is one request to the
//   service, or one locked read or replacement of the file.
class Keychain {
  public:
    // Where this keychain keeps its items.
    enum class Backend { secretService, file };

    // The libsecret schema name of every item this class stores.
    static constexpr const char* kSchemaName = "org.dovrel.Keychain";
    // The item attribute that holds the access group.
    static constexpr const char* kAccessGroupAttribute = "access-group";
    // The item attribute that holds the key.
    static constexpr const char* kKeyAttribute = "key";

    // A keychain for `accessGroup` over the Secret Service when one answers now (a session
    // with it can be opened over the session bus; the bus may start it on demand), otherwise
    // over the fallback file. An empty access group is a programming error and stops the
    // process.
    explicit Keychain(std::string accessGroup);

    // A keychain for `accessGroup` over the given backend, whether or not it is reachable
    // (tests, and programs that must not touch the desktop's keyring). Over an unreachable
    // Secret Service every read finds nothing and every write fails.
    Keychain(std::string accessGroup, Backend backend);

    const std::string& accessGroup() const noexcept { return accessGroup_; }
    Backend backend() const noexcept { return backend_; }

    // The text stored for `key`, or nothing when there is none or it cannot be read.
    std::optional<std::string> get(std::string_view key) const;

    // Stores `value` for `key`, replacing any earlier value. True when stored.
    bool set(std::string_view key, std::string_view value);

    // Removes the value of `key`. True when no value is stored for `key` afterwards (also when
    // there was none); false when the removal failed.
    bool remove(std::string_view key);

    // The file that keychains of `accessGroup` use when no Secret Service answers:
    // <data home>/dovrel-keychain/<access group>.json, where every byte of the access group
    // other than ASCII letters, digits, '-', '_' and '.' is written as %XX (upper-case hex),
    // and so is every '.' of a group made only of dots. Computed from the environment at each
    // call; nothing is created.
    static std::filesystem::path fallbackFile(std::string_view accessGroup);

  private:
    std::string accessGroup_;
    Backend backend_;
};

}  // namespace dovrel
