#include "DovrelFoundation/Persistence/StorePreflight.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <memory>
#include <set>
#include <variant>

#include "DovrelFoundation/Appearance/StringExtensions.h"
#include "platform/foundation/SQLiteBusyWait.h"

namespace dovrel {

namespace {

using Kind = StoreFileProblem::Kind;

struct DatabaseCloser {
    void operator()(sqlite3* db) const noexcept { sqlite3_close_v2(db); }
};
struct StatementFinalizer {
    void operator()(sqlite3_stmt* statement) const noexcept { sqlite3_finalize(statement); }
};
using Database = std::unique_ptr<sqlite3, DatabaseCloser>;
using Statement = std::unique_ptr<sqlite3_stmt, StatementFinalizer>;

class FileDescriptor {
  public:
    explicit FileDescriptor(int fd) : fd_(fd) {}
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    ~FileDescriptor() {
        if (fd_ >= 0) {
            ::close(fd_);
        }
    }
    int get() const noexcept { return fd_; }

  private:
    int fd_;
};

constexpr std::size_t kHeaderSize = 100;
constexpr char kMagic[] = "SQLite format 3";  // followed by a NUL: 16 bytes

std::uint32_t bigEndian32(const unsigned char* bytes) {
    return (std::uint32_t{bytes[0]} << 24) | (std::uint32_t{bytes[1]} << 16) |
           (std::uint32_t{bytes[2]} << 8) | std::uint32_t{bytes[3]};
}

// The SQLite URI of a file path: every byte outside the unreserved set and '/' percent-encoded,
// so that '?', '#' and '%' in a file name stay part of the name.
std::string fileURI(const std::filesystem::path& path, const char* query) {
    static constexpr char kDigits[] = "0123456789ABCDEF";
    std::string uri = "file:";
    for (const unsigned char c : std::filesystem::absolute(path).string()) {
        const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                           (c >= '0' && c <= '9') || c == '/' || c == '-' || c == '_' || c == '.' ||
                           c == '~';
        if (plain) {
            uri += static_cast<char>(c);
        } else {
            uri += '%';
            uri += kDigits[c >> 4];
            uri += kDigits[c & 0xF];
        }
    }
    return uri + "?" + query;
}

StoreFileProblem sqliteProblem(int code, const std::string& message) {
    if (isSQLiteBusy(code)) {
        return {Kind::busy, message};
    }
    switch (code & 0xFF) {
        case SQLITE_NOTADB:
            return {Kind::notSQLite, message};
        case SQLITE_CORRUPT:
        case SQLITE_FORMAT:
            return {Kind::corrupt, message};
        default:
            return {Kind::unreadable, message};
    }
}

// What an SQLite database holds, as far as the store cares.
struct Contents {
    std::set<std::string> tables;
    std::set<std::string> metadataKeys;
    std::string modelVersion;
};

// Reads the table names and, when there is a Z_METADATA table, its keys. Answers the problem
// SQLite reports instead when reading fails.
std::variant<Contents, StoreFileProblem> readContents(const std::filesystem::path& path,
                                                      const char* query) {
    sqlite3* raw = nullptr;
    const int opened = sqlite3_open_v2(fileURI(path, query).c_str(), &raw,
                                       SQLITE_OPEN_READONLY | SQLITE_OPEN_URI, nullptr);
    Database db(raw);
    if (opened != SQLITE_OK) {
        return sqliteProblem(opened, raw != nullptr ? sqlite3_errmsg(raw) : sqlite3_errstr(opened));
    }
    // Other programs of the group may be writing the store this very moment: wait for them as
    // the store itself does.
    sqlite3_busy_timeout(db.get(), static_cast<int>(kSQLiteBusyTimeout.count()));
    auto prepare = [&](const char* sql) -> std::variant<Statement, StoreFileProblem> {
        sqlite3_stmt* statement = nullptr;
        const int code = retryWhileSQLiteBusy(kSQLiteBusyTimeout, [&] {
            return sqlite3_prepare_v2(db.get(), sql, -1, &statement, nullptr);
        });
        if (code != SQLITE_OK) {
            return sqliteProblem(code, sqlite3_errmsg(db.get()));
        }
        return Statement(statement);
    };
    auto readColumn = [&](const char* sql,
                          std::set<std::string>& into) -> std::optional<StoreFileProblem> {
        auto prepared = prepare(sql);
        if (auto* problem = std::get_if<StoreFileProblem>(&prepared)) {
            return *problem;
        }
        auto& statement = std::get<Statement>(prepared);
        std::set<std::string> values;
        // Each statement runs in a read transaction of its own; one that was refused before its
        // first row is simply run again.
        const int code = retryWhileSQLiteBusy(kSQLiteBusyTimeout, [&] {
            sqlite3_reset(statement.get());
            values.clear();
            int step = SQLITE_OK;
            while ((step = sqlite3_step(statement.get())) == SQLITE_ROW) {
                const auto* value = sqlite3_column_text(statement.get(), 0);
                if (value != nullptr) {
                    values.insert(reinterpret_cast<const char*>(value));
                }
            }
            return step;
        });
        if (code != SQLITE_DONE) {
            return sqliteProblem(code, sqlite3_errmsg(db.get()));
        }
        into.insert(values.begin(), values.end());
        return std::nullopt;
    };
    Contents contents;
    if (auto problem =
            readColumn("SELECT name FROM sqlite_master WHERE type = 'table'", contents.tables)) {
        return *problem;
    }
    if (contents.tables.contains("Z_METADATA")) {
        if (auto problem = readColumn("SELECT Z_KEY FROM Z_METADATA", contents.metadataKeys)) {
            return *problem;
        }
        std::set<std::string> versions;
        if (auto problem = readColumn("SELECT Z_VALUE FROM Z_METADATA WHERE Z_KEY = "
                                      "'NSStoreModelVersionIdentifier'",
                                      versions)) {
            return *problem;
        }
        if (!versions.empty()) {
            contents.modelVersion = *versions.begin();
        }
    }
    return contents;
}

bool hasFile(const std::filesystem::path& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

}  // namespace

std::optional<StoreFileProblem> checkStoreFile(const std::filesystem::path& path,
                                               const std::vector<std::string>& knownModelVersions) {
    const std::filesystem::path folder =
        path.has_parent_path() ? path.parent_path() : std::filesystem::path(".");
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) {
        const int error = errno;
        if (error != ENOENT && error != ENOTDIR) {
            return StoreFileProblem{Kind::unreadable, std::strerror(error)};
        }
        struct stat folderStatus {};
        if (::stat(folder.c_str(), &folderStatus) != 0) {
            return StoreFileProblem{Kind::notWritable, std::strerror(errno)};
        }
        if (!S_ISDIR(folderStatus.st_mode)) {
            return StoreFileProblem{Kind::notWritable, std::strerror(ENOTDIR)};
        }
        if (::access(folder.c_str(), W_OK | X_OK) != 0) {
            return StoreFileProblem{Kind::notWritable, std::strerror(errno)};
        }
        return std::nullopt;
    }
    if (!S_ISREG(status.st_mode)) {
        return StoreFileProblem{Kind::notAFile, S_ISDIR(status.st_mode) ? "a directory" : ""};
    }
    const FileDescriptor fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY));
    if (fd.get() < 0) {
        return StoreFileProblem{Kind::unreadable, std::strerror(errno)};
    }
    if (::access(path.c_str(), W_OK) != 0 || ::access(folder.c_str(), W_OK | X_OK) != 0) {
        return StoreFileProblem{Kind::notWritable, std::strerror(errno)};
    }
    if (status.st_size == 0) {
        return std::nullopt;
    }
    std::array<unsigned char, kHeaderSize> header{};
    std::size_t got = 0;
    while (got < header.size()) {
        const ssize_t count = ::read(fd.get(), header.data() + got, header.size() - got);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            return StoreFileProblem{Kind::unreadable, std::strerror(errno)};
        }
        if (count == 0) {
            break;
        }
        got += static_cast<std::size_t>(count);
    }
    if (got < header.size() || std::memcmp(header.data(), kMagic, sizeof kMagic) != 0) {
        return StoreFileProblem{Kind::notSQLite, ""};
    }
    // A file in write-ahead mode whose log exists is (or was) open in some process: committed
    // transactions may still sit in the log, and a writer may be changing the file while it is
    // read, so it is read through the log with the locks that keep a reader consistent (mode=ro
    // makes no file that is not there already). Otherwise it is read as immutable: no lock, no
    // journal, nothing made beside a file that may be somebody else's.
    const auto walFile = path.string() + "-wal";
    const bool walMode = header[18] == 2 || header[19] == 2;
    const bool logged = walMode && hasFile(walFile);

    // The page size (bytes 16-17, 1 meaning 65536) and the page count (bytes 28-31, valid when
    // the change counter at 24-27 equals the version-valid-for number at 92-95) tell how long
    // the file must be: a shorter one lost its end. Not while a log is in use: a checkpoint
    // writes the first page, with the new count, before the pages that lengthen the file.
    std::uint32_t pageSize = (std::uint32_t{header[16]} << 8) | header[17];
    if (pageSize == 1) {
        pageSize = 65536;
    }
    const std::uint32_t pageCount = bigEndian32(&header[28]);
    if (!logged && bigEndian32(&header[24]) == bigEndian32(&header[92]) && pageCount > 0 &&
        static_cast<std::uintmax_t>(pageSize) * pageCount >
            static_cast<std::uintmax_t>(status.st_size)) {
        return StoreFileProblem{Kind::corrupt, "the file is shorter than its header says"};
    }

    auto read = readContents(path, logged ? "mode=ro" : "immutable=1");
    if (!logged && std::holds_alternative<StoreFileProblem>(read) && hasFile(walFile)) {
        // Another process opened the file while it was read without locks: what was read may
        // be half of a write. Read it again the way an open store is read.
        read = readContents(path, "mode=ro");
    }
    if (auto* problem = std::get_if<StoreFileProblem>(&read)) {
        return *problem;
    }
    const auto& contents = std::get<Contents>(read);
    if (contents.tables.empty()) {
        return StoreFileProblem{Kind::foreign, "no tables"};
    }
    for (const char* table : {"Z_METADATA", "Z_PRIMARYKEY", "Habit", "Performing"}) {
        if (!contents.tables.contains(table)) {
            return StoreFileProblem{Kind::foreign, std::string("no table ") + table};
        }
    }
    for (const char* key : {"NSStoreUUID", "NSStoreModelVersionIdentifier"}) {
        if (!contents.metadataKeys.contains(key)) {
            return StoreFileProblem{Kind::foreign, std::string("no metadata ") + key};
        }
    }
    if (std::find(knownModelVersions.begin(), knownModelVersions.end(), contents.modelVersion) ==
        knownModelVersions.end()) {
        return StoreFileProblem{Kind::unknownModelVersion, contents.modelVersion};
    }
    return std::nullopt;
}

std::string storeFileProblemText(const std::filesystem::path& path,
                                 const StoreFileProblem& problem) {
    const std::string file = path.string();
    switch (problem.kind) {
        case StoreFileProblem::Kind::notAFile:
            return localizedText("Store.Problem.NotAFile", {{"file", file}});
        case StoreFileProblem::Kind::unreadable:
            return localizedText("Store.Problem.Unreadable",
                                 {{"file", file}, {"detail", problem.detail}});
        case StoreFileProblem::Kind::notSQLite:
            return localizedText("Store.Problem.NotSQLite", {{"file", file}});
        case StoreFileProblem::Kind::corrupt:
            return localizedText("Store.Problem.Corrupt",
                                 {{"file", file}, {"detail", problem.detail}});
        case StoreFileProblem::Kind::foreign:
            return localizedText("Store.Problem.Foreign",
                                 {{"file", file}, {"detail", problem.detail}});
        case StoreFileProblem::Kind::unknownModelVersion:
            return localizedText("Store.Problem.UnknownVersion",
                                 {{"file", file}, {"detail", problem.detail}});
        case StoreFileProblem::Kind::notWritable:
            return localizedText("Store.Problem.NotWritable",
                                 {{"file", file}, {"detail", problem.detail}});
        case StoreFileProblem::Kind::busy:
            return localizedText("Store.Problem.Busy", {{"file", file}});
    }
    return file;
}

}  // namespace dovrel
