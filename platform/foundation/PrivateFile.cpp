#include "platform/foundation/PrivateFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace dovrel {

void createPrivateFileIfMissing(const std::filesystem::path& file) {
    const int descriptor = ::open(file.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (descriptor >= 0) {
        // Nobody in this process can have had the file open: it did not exist.
        ::close(descriptor);
        return;
    }
    const int error = errno;
    if (error == EEXIST) {
        return;
    }
    throw std::system_error(error, std::generic_category(), "cannot create " + file.string());
}

}  // namespace dovrel
