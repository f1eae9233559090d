#include "platform/foundation/AtomicFile.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <string>
#include <system_error>

#include "platform/foundation/FileDescriptor.h"

namespace dovrel {

namespace {

[[noreturn]] void fail(int error, const std::string& what) {
    throw std::system_error(error, std::generic_category(), what);
}

void writeAll(int descriptor, std::string_view contents, const std::string& name) {
    while (!contents.empty()) {
        const ssize_t written = ::write(descriptor, contents.data(), contents.size());
        if (written < 0) {
            if (errno == EINTR) {
                continue;
            }
            fail(errno, "write " + name);
        }
        contents.remove_prefix(static_cast<std::size_t>(written));
    }
}

}  // namespace

void writeFileAtomically(const std::filesystem::path& file, std::string_view contents) {
    std::string pattern = file.string() + ".XXXXXX";
    FileDescriptor descriptor(::mkostemp(pattern.data(), O_CLOEXEC));
    if (!descriptor) {
        fail(errno, "create a file beside " + file.string());
    }
    const std::string temporary = pattern;
    try {
        if (::fchmod(descriptor.get(), 0600) != 0) {
            fail(errno, "chmod " + temporary);
        }
        writeAll(descriptor.get(), contents, temporary);
        if (::fsync(descriptor.get()) != 0) {
            fail(errno, "fsync " + temporary);
        }
        if (!descriptor.reset()) {
            fail(errno, "close " + temporary);
        }
        if (::rename(temporary.c_str(), file.c_str()) != 0) {
            fail(errno, "rename " + temporary + " to " + file.string());
        }
    } catch (...) {
        ::unlink(temporary.c_str());
        throw;
    }
    // The new contents are on disk; this makes the rename last too. A folder that cannot be
    // opened or synced (some filesystems refuse) leaves a rename that the next sync keeps.
    const auto folder = file.has_parent_path() ? file.parent_path() : std::filesystem::path(".");
    const FileDescriptor directory(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (directory) {
        ::fsync(directory.get());
    }
}

}  // namespace dovrel
