#pragma once

#include <unistd.h>

#include <utility>

namespace dovrel {

// Owns one file descriptor and closes it when destroyed. Move-only; -1 means "none".
class FileDescriptor {
  public:
    FileDescriptor() noexcept = default;
    explicit FileDescriptor(int descriptor) noexcept : descriptor_(descriptor) {}
    ~FileDescriptor() { reset(); }
    FileDescriptor(FileDescriptor&& other) noexcept
        : descriptor_(std::exchange(other.descriptor_, -1)) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        if (this != &other) {
            reset();
            descriptor_ = std::exchange(other.descriptor_, -1);
        }
        return *this;
    }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;

    int get() const noexcept { return descriptor_; }
    explicit operator bool() const noexcept { return descriptor_ >= 0; }

    // Closes now; false when the close failed (a late write error of some filesystems shows up
    // only here). Closing nothing succeeds.
    bool reset() noexcept {
        if (descriptor_ < 0) {
            return true;
        }
        return ::close(std::exchange(descriptor_, -1)) == 0;
    }

  private:
    int descriptor_ = -1;
};

}  // namespace dovrel
