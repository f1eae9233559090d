#pragma once

#include <sqlite3.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <stdexcept>

namespace dovrel::testing {

// A SQLite VFS for tests that fails chosen I/O calls. While installed it is the default VFS, so
// every connection opened afterwards in this process goes through it; it forwards every call to
// the VFS that was the default before ("unix"), except the ones a fault plan names.
//
// A plan counts the calls of one kind and fails the Nth (1-based) with the matching
// SQLITE_IOERR_* code (SQLITE_FULL for writes when asked), and, when persistent, every later
// call of that kind too, as a dead disk would. Not thread-safe: install, plan and read from the
// test's thread while no other thread uses SQLite.
class FaultyVfs {
  public:
    enum class Operation { read, write, sync, lock };

    FaultyVfs();
    ~FaultyVfs();
    FaultyVfs(const FaultyVfs&) = delete;
    FaultyVfs& operator=(const FaultyVfs&) = delete;

    // Fails the `nth` call of `operation` from now on (and every later one when `persistent`).
    void failNth(Operation operation, std::int64_t nth, bool persistent, bool diskFull = false);
    // No more failures; the counts start again.
    void clear();
    // Calls of `operation` since the last plan or clear.
    std::int64_t calls(Operation operation) const;
    // Whether a call has failed since the last plan or clear.
    bool failed() const;
};

namespace faulty_vfs {

struct Plan {
    bool active = false;
    FaultyVfs::Operation operation = FaultyVfs::Operation::read;
    std::int64_t nth = 0;
    bool persistent = false;
    bool diskFull = false;
    std::array<std::int64_t, 4> calls{};
    bool failed = false;
};

inline Plan plan;
inline sqlite3_vfs* underlying = nullptr;
inline sqlite3_vfs faulty{};

// Counts a call of `operation`; true when it must fail.
inline bool shouldFail(FaultyVfs::Operation operation) {
    const auto index = static_cast<std::size_t>(operation);
    const std::int64_t call = ++plan.calls[index];
    if (!plan.active || plan.operation != operation) {
        return false;
    }
    if (call == plan.nth || (plan.persistent && call > plan.nth)) {
        plan.failed = true;
        return true;
    }
    return false;
}

// A file of the faulty VFS: the underlying VFS's file follows it in the same allocation.
struct FaultyFile {
    sqlite3_file base;
    sqlite3_file* real;
};

inline sqlite3_file* realOf(sqlite3_file* file) {
    return reinterpret_cast<FaultyFile*>(file)->real;
}

inline int fileClose(sqlite3_file* file) {
    sqlite3_file* real = realOf(file);
    const int result = real->pMethods != nullptr ? real->pMethods->xClose(real) : SQLITE_OK;
    file->pMethods = nullptr;
    return result;
}
inline int fileRead(sqlite3_file* file, void* buffer, int amount, sqlite3_int64 offset) {
    if (shouldFail(FaultyVfs::Operation::read)) {
        return SQLITE_IOERR_READ;
    }
    sqlite3_file* real = realOf(file);
    return real->pMethods->xRead(real, buffer, amount, offset);
}
inline int fileWrite(sqlite3_file* file, const void* buffer, int amount, sqlite3_int64 offset) {
    if (shouldFail(FaultyVfs::Operation::write)) {
        return plan.diskFull ? SQLITE_FULL : SQLITE_IOERR_WRITE;
    }
    sqlite3_file* real = realOf(file);
    return real->pMethods->xWrite(real, buffer, amount, offset);
}
inline int fileTruncate(sqlite3_file* file, sqlite3_int64 size) {
    sqlite3_file* real = realOf(file);
    return real->pMethods->xTruncate(real, size);
}
inline int fileSync(sqlite3_file* file, int flags) {
    if (shouldFail(FaultyVfs::Operation::sync)) {
        return SQLITE_IOERR_FSYNC;
    }
    sqlite3_file* real = realOf(file);
    return real->pMethods->xSync(real, flags);
}
inline int fileSize(sqlite3_file* file, sqlite3_int64* size) {
    sqlite3_file* real = realOf(file);
    return real->pMethods->xFileSize(real, size);
}
inline int fileLock(sqlite3_file* file, int level) {
    if (shouldFail(FaultyVfs::Operation::lock)) {
        return SQLITE_IOERR_LOCK;
    }
    sqlite3_file* real = realOf(file);
    return real->pMethods->xLock(real, level);
}
inline int fileUnlock(sqlite3_file* file, int level) {
    sqlite3_file* real = realOf(file);
    return real->pMethods->xUnlock(real, level);
}
inline int fileCheckReservedLock(sqlite3_file* file, int* result) {
    sqlite3_file* real = realOf(file);
    return real->pMethods->xCheckReservedLock(real, result);
}
inline int fileControl(sqlite3_file* file, int operation, void* argument) {
    sqlite3_file* real = realOf(file);
    return real->pMethods->xFileControl(real, operation, argument);
}
inline int fileSectorSize(sqlite3_file* file) {
    sqlite3_file* real = realOf(file);
    return real->pMethods->xSectorSize(real);
}
inline int fileDeviceCharacteristics(sqlite3_file* file) {
    sqlite3_file* real = realOf(file);
    return real->pMethods->xDeviceCharacteristics(real);
}
inline int fileShmMap(sqlite3_file* file, int page, int size, int extend, void volatile** memory) {
    sqlite3_file* real = realOf(file);
    return real->pMethods->xShmMap(real, page, size, extend, memory);
}
inline int fileShmLock(sqlite3_file* file, int offset, int count, int flags) {
    // The write-ahead log's locks are locks too.
    if (shouldFail(FaultyVfs::Operation::lock)) {
        return SQLITE_IOERR_SHMLOCK;
    }
    sqlite3_file* real = realOf(file);
    return real->pMethods->xShmLock(real, offset, count, flags);
}
inline void fileShmBarrier(sqlite3_file* file) {
    sqlite3_file* real = realOf(file);
    real->pMethods->xShmBarrier(real);
}
inline int fileShmUnmap(sqlite3_file* file, int deleteFlag) {
    sqlite3_file* real = realOf(file);
    return real->pMethods->xShmUnmap(real, deleteFlag);
}
inline int fileFetch(sqlite3_file* file, sqlite3_int64 offset, int amount, void** pointer) {
    // No memory-mapped reads: every read goes through xRead, where faults are counted.
    (void)file;
    (void)offset;
    (void)amount;
    *pointer = nullptr;
    return SQLITE_OK;
}
inline int fileUnfetch(sqlite3_file* file, sqlite3_int64 offset, void* pointer) {
    (void)file;
    (void)offset;
    (void)pointer;
    return SQLITE_OK;
}

inline const sqlite3_io_methods kMethods = {
    3,
    fileClose,
    fileRead,
    fileWrite,
    fileTruncate,
    fileSync,
    fileSize,
    fileLock,
    fileUnlock,
    fileCheckReservedLock,
    fileControl,
    fileSectorSize,
    fileDeviceCharacteristics,
    fileShmMap,
    fileShmLock,
    fileShmBarrier,
    fileShmUnmap,
    fileFetch,
    fileUnfetch,
};

inline int vfsOpen(sqlite3_vfs*, const char* name, sqlite3_file* file, int flags, int* outFlags) {
    auto* wrapper = reinterpret_cast<FaultyFile*>(file);
    wrapper->real = reinterpret_cast<sqlite3_file*>(wrapper + 1);
    std::memset(wrapper->real, 0, static_cast<std::size_t>(underlying->szOsFile));
    file->pMethods = nullptr;
    const int result = underlying->xOpen(underlying, name, wrapper->real, flags, outFlags);
    if (wrapper->real->pMethods != nullptr) {
        file->pMethods = &kMethods;
    }
    return result;
}
inline int vfsDelete(sqlite3_vfs*, const char* name, int syncDirectory) {
    return underlying->xDelete(underlying, name, syncDirectory);
}
inline int vfsAccess(sqlite3_vfs*, const char* name, int flags, int* result) {
    return underlying->xAccess(underlying, name, flags, result);
}
inline int vfsFullPathname(sqlite3_vfs*, const char* name, int size, char* out) {
    return underlying->xFullPathname(underlying, name, size, out);
}
inline void* vfsDlOpen(sqlite3_vfs*, const char* name) {
    return underlying->xDlOpen(underlying, name);
}
inline void vfsDlError(sqlite3_vfs*, int size, char* message) {
    underlying->xDlError(underlying, size, message);
}
inline void (*vfsDlSym(sqlite3_vfs*, void* handle, const char* symbol))(void) {
    return underlying->xDlSym(underlying, handle, symbol);
}
inline void vfsDlClose(sqlite3_vfs*, void* handle) {
    underlying->xDlClose(underlying, handle);
}
inline int vfsRandomness(sqlite3_vfs*, int size, char* out) {
    return underlying->xRandomness(underlying, size, out);
}
inline int vfsSleep(sqlite3_vfs*, int microseconds) {
    return underlying->xSleep(underlying, microseconds);
}
inline int vfsCurrentTime(sqlite3_vfs*, double* now) {
    return underlying->xCurrentTime(underlying, now);
}
inline int vfsGetLastError(sqlite3_vfs*, int size, char* out) {
    return underlying->xGetLastError != nullptr ? underlying->xGetLastError(underlying, size, out)
                                                : 0;
}
inline int vfsCurrentTimeInt64(sqlite3_vfs*, sqlite3_int64* now) {
    return underlying->xCurrentTimeInt64(underlying, now);
}

}  // namespace faulty_vfs

inline FaultyVfs::FaultyVfs() {
    sqlite3_initialize();
    faulty_vfs::underlying = sqlite3_vfs_find(nullptr);
    if (faulty_vfs::underlying == nullptr) {
        throw std::runtime_error("no default SQLite VFS");
    }
    faulty_vfs::faulty = sqlite3_vfs{};
    faulty_vfs::faulty.iVersion = 2;
    faulty_vfs::faulty.szOsFile =
        static_cast<int>(sizeof(faulty_vfs::FaultyFile)) + faulty_vfs::underlying->szOsFile;
    faulty_vfs::faulty.mxPathname = faulty_vfs::underlying->mxPathname;
    faulty_vfs::faulty.zName = "dovrel-faulty";
    faulty_vfs::faulty.xOpen = faulty_vfs::vfsOpen;
    faulty_vfs::faulty.xDelete = faulty_vfs::vfsDelete;
    faulty_vfs::faulty.xAccess = faulty_vfs::vfsAccess;
    faulty_vfs::faulty.xFullPathname = faulty_vfs::vfsFullPathname;
    faulty_vfs::faulty.xDlOpen = faulty_vfs::vfsDlOpen;
    faulty_vfs::faulty.xDlError = faulty_vfs::vfsDlError;
    faulty_vfs::faulty.xDlSym = faulty_vfs::vfsDlSym;
    faulty_vfs::faulty.xDlClose = faulty_vfs::vfsDlClose;
    faulty_vfs::faulty.xRandomness = faulty_vfs::vfsRandomness;
    faulty_vfs::faulty.xSleep = faulty_vfs::vfsSleep;
    faulty_vfs::faulty.xCurrentTime = faulty_vfs::vfsCurrentTime;
    faulty_vfs::faulty.xGetLastError = faulty_vfs::vfsGetLastError;
    faulty_vfs::faulty.xCurrentTimeInt64 = faulty_vfs::vfsCurrentTimeInt64;
    faulty_vfs::plan = faulty_vfs::Plan{};
    if (sqlite3_vfs_register(&faulty_vfs::faulty, 1) != SQLITE_OK) {
        throw std::runtime_error("the faulty VFS could not be registered");
    }
}

inline FaultyVfs::~FaultyVfs() {
    sqlite3_vfs_unregister(&faulty_vfs::faulty);
    sqlite3_vfs_register(faulty_vfs::underlying, 1);
}

inline void FaultyVfs::failNth(Operation operation, std::int64_t nth, bool persistent,
                               bool diskFull) {
    faulty_vfs::plan = faulty_vfs::Plan{true, operation, nth, persistent, diskFull, {}, false};
}

inline void FaultyVfs::clear() {
    faulty_vfs::plan = faulty_vfs::Plan{};
}

inline std::int64_t FaultyVfs::calls(Operation operation) const {
    return faulty_vfs::plan.calls[static_cast<std::size_t>(operation)];
}

inline bool FaultyVfs::failed() const {
    return faulty_vfs::plan.failed;
}

}  // namespace dovrel::testing
