#include "apps/dovrel-notifyd/DeliveryJournal.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <system_error>

#include "platform/foundation/FileDescriptor.h"

namespace dovrel::notifyd {

namespace {

[[noreturn]] void throwErrno(const std::string& what) {
    throw std::system_error(errno, std::generic_category(), what);
}

}  // namespace

DeliveryJournal::DeliveryJournal(std::filesystem::path file) : file_(std::move(file)) {
    std::ifstream in(file_);
    for (std::string line; std::getline(in, line);) {
        if (!line.empty()) {
            identifiers_.insert(line);
        }
    }
}

void DeliveryJournal::add(const std::vector<std::string>& identifiers) {
    bool changed = false;
    for (const auto& identifier : identifiers) {
        changed = identifiers_.insert(identifier).second || changed;
    }
    if (changed) {
        save();
    }
}

void DeliveryJournal::remove(const std::vector<std::string>& identifiers) {
    bool changed = false;
    for (const auto& identifier : identifiers) {
        changed = identifiers_.erase(identifier) > 0 || changed;
    }
    if (changed) {
        save();
    }
}

void DeliveryJournal::save() const {
    if (identifiers_.empty()) {
        if (::unlink(file_.c_str()) != 0 && errno != ENOENT) {
            throwErrno("unlink " + file_.string());
        }
        return;
    }
    std::string contents;
    for (const auto& identifier : identifiers_) {
        contents += identifier;
        contents += '\n';
    }
    const auto temporary = file_.string() + ".new";
    {
        FileDescriptor out(
            ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
        if (!out) {
            throwErrno("open " + temporary);
        }
        std::size_t written = 0;
        while (written < contents.size()) {
            const auto count =
                ::write(out.get(), contents.data() + written, contents.size() - written);
            if (count < 0) {
                if (errno == EINTR) {
                    continue;
                }
                throwErrno("write " + temporary);
            }
            written += static_cast<std::size_t>(count);
        }
        if (::fsync(out.get()) != 0) {
            throwErrno("fsync " + temporary);
        }
    }
    if (::rename(temporary.c_str(), file_.c_str()) != 0) {
        throwErrno("rename " + temporary);
    }
}

}  // namespace dovrel::notifyd
