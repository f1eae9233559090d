#include "apps/dovrel-notifyd/FileWatch.h"

#include <sys/inotify.h>

#include <cerrno>
#include <cstring>
#include <system_error>

namespace dovrel::notifyd {

FileWatch::FileWatch() : inotify_(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
    if (!inotify_) {
        throw std::system_error(errno, std::generic_category(), "inotify_init1");
    }
}

bool FileWatch::watch(const std::filesystem::path& folder, std::set<std::string> names,
                      Changes changes, int tag) {
    const std::uint32_t mask = changes == Changes::contents
                                   ? IN_MODIFY | IN_MOVED_TO
                                   : IN_MODIFY | IN_CLOSE_WRITE | IN_CREATE | IN_DELETE |
                                         IN_MOVED_TO | IN_MOVED_FROM | IN_ATTRIB;
    // Two watches of one folder share its kernel watch: the masks are joined (IN_MASK_ADD) and
    // each watch keeps its own names and mask to filter the events by.
    const int watchDescriptor =
        ::inotify_add_watch(inotify_.get(), folder.c_str(), mask | IN_ONLYDIR | IN_MASK_ADD);
    if (watchDescriptor < 0) {
        return false;
    }
    watches_.push_back(Watch{watchDescriptor, mask, std::move(names), tag});
    return true;
}

std::set<int> FileWatch::read() {
    std::set<int> changed;
    alignas(inotify_event) char buffer[16 * 1024];
    for (;;) {
        const auto length = ::read(inotify_.get(), buffer, sizeof buffer);
        if (length <= 0) {
            if (length < 0 && errno == EINTR) {
                continue;
            }
            break;  // EAGAIN: everything pending has been read
        }
        for (ssize_t offset = 0; offset < length;) {
            inotify_event event;
            std::memcpy(&event, buffer + offset, sizeof event);
            const std::string name =
                event.len > 0 ? std::string(buffer + offset + sizeof event) : std::string();
            for (const auto& watch : watches_) {
                if (watch.watchDescriptor == event.wd && (event.mask & watch.mask) != 0 &&
                    watch.names.contains(name)) {
                    changed.insert(watch.tag);
                }
            }
            if ((event.mask & IN_Q_OVERFLOW) != 0) {
                // Events were lost: every file may have changed.
                for (const auto& watch : watches_) {
                    changed.insert(watch.tag);
                }
            }
            offset += static_cast<ssize_t>(sizeof(inotify_event) + event.len);
        }
    }
    return changed;
}

}  // namespace dovrel::notifyd
