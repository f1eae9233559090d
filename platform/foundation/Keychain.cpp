#include "platform/foundation/Keychain.h"

#include "platform/foundation/FatalError.h"
#include "platform/foundation/FileManager.h"

#include <fcntl.h>
#include <libsecret/secret.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <nlohmann/json.hpp>

#include <cerrno>
#include <memory>
#include <utility>

namespace dovrel {

namespace {

// ---- GLib and libsecret resources ----------------------------------------------------------

struct GHashTableDeleter {
    void operator()(GHashTable* table) const noexcept { g_hash_table_unref(table); }
};
using HashTablePointer = std::unique_ptr<GHashTable, GHashTableDeleter>;

struct GObjectDeleter {
    void operator()(gpointer object) const noexcept { g_object_unref(object); }
};
using ServicePointer = std::unique_ptr<SecretService, GObjectDeleter>;

// secret_password_free wipes the text before freeing it.
struct PasswordDeleter {
    void operator()(gchar* password) const noexcept { secret_password_free(password); }
};
using PasswordPointer = std::unique_ptr<gchar, PasswordDeleter>;

// Collects a GError out-parameter into an owning pointer when the call returns.
class ErrorSlot {
  public:
    ErrorSlot() = default;
    ErrorSlot(const ErrorSlot&) = delete;
    ErrorSlot& operator=(const ErrorSlot&) = delete;
    ~ErrorSlot() {
        if (raw_ != nullptr) {
            g_error_free(raw_);
        }
    }
    GError** out() noexcept { return &raw_; }
    bool failed() const noexcept { return raw_ != nullptr; }

  private:
    GError* raw_ = nullptr;
};

// Valid UTF-8 without NUL bytes: g_utf8_validate rejects a NUL inside an explicit length.
bool isText(std::string_view text) {
    return g_utf8_validate(text.data(), static_cast<gssize>(text.size()), nullptr) == TRUE;
}

// ---- Secret Service ------------------------------------------------------------------------

const SecretSchema* keychainSchema() {
    static const SecretSchema schema = [] {
        SecretSchema made{};
        made.name = Keychain::kSchemaName;
        made.flags = SECRET_SCHEMA_NONE;
        made.attributes[0] = {Keychain::kAccessGroupAttribute, SECRET_SCHEMA_ATTRIBUTE_STRING};
        made.attributes[1] = {Keychain::kKeyAttribute, SECRET_SCHEMA_ATTRIBUTE_STRING};
        return made;
    }();
    return &schema;
}

// The attribute table borrows the texts it points to; they must outlive it.
HashTablePointer itemAttributes(const std::string& accessGroup, const std::string& key) {
    HashTablePointer table(g_hash_table_new(g_str_hash, g_str_equal));
    g_hash_table_insert(table.get(), const_cast<char*>(Keychain::kAccessGroupAttribute),
                        const_cast<char*>(accessGroup.c_str()));
    g_hash_table_insert(table.get(), const_cast<char*>(Keychain::kKeyAttribute),
                        const_cast<char*>(key.c_str()));
    return table;
}

// Opening a session asks the service itself, so a bus without a Secret Service (one that
// cannot be started on demand either) counts as no service.
bool secretServiceAnswers() {
    ErrorSlot error;
    ServicePointer service(
        secret_service_get_sync(SECRET_SERVICE_OPEN_SESSION, nullptr, error.out()));
    return service != nullptr && !error.failed() &&
           secret_service_get_session_algorithms(service.get()) != nullptr;
}

std::optional<std::string> secretGet(const std::string& accessGroup, const std::string& key) {
    auto attributes = itemAttributes(accessGroup, key);
    ErrorSlot error;
    PasswordPointer password(
        secret_password_lookupv_sync(keychainSchema(), attributes.get(), nullptr, error.out()));
    if (error.failed() || password == nullptr) {
        return std::nullopt;
    }
    std::string value(password.get());
    if (!isText(value)) {
        return std::nullopt;
    }
    return value;
}

bool secretSet(const std::string& accessGroup, const std::string& key, const std::string& value) {
    auto attributes = itemAttributes(accessGroup, key);
    const std::string label = "Dovrel: " + key;
    ErrorSlot error;
    // An item with the same attributes is replaced, so a key never has two items.
    const gboolean stored =
        secret_password_storev_sync(keychainSchema(), attributes.get(), SECRET_COLLECTION_DEFAULT,
                                    label.c_str(), value.c_str(), nullptr, error.out());
    return stored == TRUE && !error.failed();
}

bool secretRemove(const std::string& accessGroup, const std::string& key) {
    auto attributes = itemAttributes(accessGroup, key);
    ErrorSlot error;
    // FALSE without an error means there was nothing to remove.
    secret_password_clearv_sync(keychainSchema(), attributes.get(), nullptr, error.out());
    return !error.failed();
}

// ---- Fallback file -------------------------------------------------------------------------

constexpr std::string_view kFallbackDirectoryName = "dovrel-keychain";

class FileDescriptor {
  public:
    explicit FileDescriptor(int fd) noexcept : fd_(fd) {}
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    ~FileDescriptor() { reset(); }
    int get() const noexcept { return fd_; }
    bool valid() const noexcept { return fd_ >= 0; }
    // Closes now and reports whether the close succeeded (a late write error shows up here).
    bool reset() noexcept {
        if (fd_ < 0) {
            return true;
        }
        const bool closed = ::close(std::exchange(fd_, -1)) == 0;
        return closed;
    }

  private:
    int fd_;
};

std::string fileNameFor(std::string_view accessGroup) {
    const bool onlyDots = accessGroup.find_first_not_of('.') == std::string_view::npos;
    static constexpr char kHex[] = "0123456789ABCDEF";
    std::string name;
    for (const char c : accessGroup) {
        const auto byte = static_cast<unsigned char>(c);
        const bool plain = (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z') ||
                           (byte >= '0' && byte <= '9') || byte == '-' || byte == '_' ||
                           (byte == '.' && !onlyDots);
        if (plain) {
            name.push_back(c);
        } else {
            name.push_back('%');
            name.push_back(kHex[byte >> 4]);
            name.push_back(kHex[byte & 0x0F]);
        }
    }
    return name + ".json";
}

// mkdir -p: levels that are missing are made with mode 0700; levels that exist keep theirs.
bool makeDirectories(const std::filesystem::path& directory) {
    std::error_code error;
    if (std::filesystem::is_directory(directory, error)) {
        return true;
    }
    const auto parent = directory.parent_path();
    if (!parent.empty() && parent != directory && !makeDirectories(parent)) {
        return false;
    }
    if (::mkdir(directory.c_str(), 0700) != 0 && errno != EEXIST) {
        return false;
    }
    return std::filesystem::is_directory(directory, error);
}

// The stored object: empty when the file does not exist or cannot be parsed, nothing when it
// exists but cannot be read (it is then left alone rather than overwritten).
std::optional<nlohmann::json> readItems(const std::filesystem::path& file) {
    FileDescriptor fd(::open(file.c_str(), O_RDONLY | O_CLOEXEC));
    if (!fd.valid()) {
        if (errno == ENOENT) {
            return nlohmann::json::object();
        }
        return std::nullopt;
    }
    std::string text;
    char buffer[4096];
    for (;;) {
        const ssize_t count = ::read(fd.get(), buffer, sizeof buffer);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            return std::nullopt;
        }
        if (count == 0) {
            break;
        }
        text.append(buffer, static_cast<std::size_t>(count));
    }
    auto items = nlohmann::json::parse(text, nullptr, /*allow_exceptions=*/false);
    if (!items.is_object()) {
        return nlohmann::json::object();
    }
    return items;
}

bool writeAll(int fd, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = ::write(fd, bytes.data(), bytes.size());
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            return false;
        }
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

// Writes `items` to a new 0600 file beside `file` and renames it over `file`.
bool replaceItems(const std::filesystem::path& file, const nlohmann::json& items, int directoryFd) {
    std::string pattern = file.string() + ".XXXXXX";
    FileDescriptor fd(::mkostemp(pattern.data(), O_CLOEXEC));
    if (!fd.valid()) {
        return false;
    }
    const std::string temporary = pattern;
    const std::string text = items.dump(2) + "\n";
    const bool written = ::fchmod(fd.get(), 0600) == 0 && writeAll(fd.get(), text) &&
                         ::fsync(fd.get()) == 0 && fd.reset() &&
                         ::rename(temporary.c_str(), file.c_str()) == 0;
    if (!written) {
        ::unlink(temporary.c_str());
        return false;
    }
    // Make the rename itself durable; the new contents are already on disk.
    ::fsync(directoryFd);
    return true;
}

// Runs `change` on the stored items under an exclusive lock on the keychain directory, and
// writes them back when it returns true. `change` may report that nothing needs writing.
enum class Change { write, unchanged, fail };

template <typename Function>
bool changeItems(std::string_view accessGroup, Function change) {
    const auto file = Keychain::fallbackFile(accessGroup);
    if (!makeDirectories(file.parent_path())) {
        return false;
    }
    FileDescriptor directory(
        ::open(file.parent_path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!directory.valid()) {
        return false;
    }
    // flock locks belong to the open directory description: this serialises writers in other
    // processes and in other threads of this one alike.
    int locked;
    do {
        locked = ::flock(directory.get(), LOCK_EX);
    } while (locked != 0 && errno == EINTR);
    if (locked != 0) {
        return false;
    }
    auto items = readItems(file);
    if (!items) {
        return false;
    }
    try {
        switch (change(*items)) {
            case Change::write:
                return replaceItems(file, *items, directory.get());
            case Change::unchanged:
                return true;
            case Change::fail:
                return false;
        }
    } catch (const nlohmann::json::exception&) {
        return false;
    }
    return false;
}

std::optional<std::string> fileGet(std::string_view accessGroup, const std::string& key) {
    // No lock: writers replace the file whole, so a reader sees the old or the new one.
    const auto items = readItems(Keychain::fallbackFile(accessGroup));
    if (!items) {
        return std::nullopt;
    }
    const auto found = items->find(key);
    if (found == items->end() || !found->is_string()) {
        return std::nullopt;
    }
    return found->get<std::string>();
}

}  // namespace

Keychain::Keychain(std::string accessGroup)
    : Keychain(std::move(accessGroup),
               secretServiceAnswers() ? Backend::secretService : Backend::file) {}

Keychain::Keychain(std::string accessGroup, Backend backend)
    : accessGroup_(std::move(accessGroup)), backend_(backend) {
    if (accessGroup_.empty()) {
        fatalError("Keychain access group is empty");
    }
}

std::optional<std::string> Keychain::get(std::string_view key) const {
    if (!isText(key)) {
        return std::nullopt;
    }
    const std::string keyText(key);
    if (backend_ == Backend::secretService) {
        return secretGet(accessGroup_, keyText);
    }
    return fileGet(accessGroup_, keyText);
}

bool Keychain::set(std::string_view key, std::string_view value) {
    if (!isText(key) || !isText(value)) {
        return false;
    }
    const std::string keyText(key);
    const std::string valueText(value);
    if (backend_ == Backend::secretService) {
        return secretSet(accessGroup_, keyText, valueText);
    }
    return changeItems(accessGroup_, [&](nlohmann::json& items) {
        const auto found = items.find(keyText);
        if (found != items.end() && found->is_string() && *found == valueText) {
            return Change::unchanged;
        }
        items[keyText] = valueText;
        return Change::write;
    });
}

bool Keychain::remove(std::string_view key) {
    if (!isText(key)) {
        // Such a key can never have been stored.
        return true;
    }
    const std::string keyText(key);
    if (backend_ == Backend::secretService) {
        return secretRemove(accessGroup_, keyText);
    }
    return changeItems(accessGroup_, [&](nlohmann::json& items) {
        return items.erase(keyText) > 0 ? Change::write : Change::unchanged;
    });
}

std::filesystem::path Keychain::fallbackFile(std::string_view accessGroup) {
    return FileManager::dataHome() / kFallbackDirectoryName / fileNameFor(accessGroup);
}

}  // namespace dovrel
