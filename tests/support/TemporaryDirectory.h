#pragma once

#include <filesystem>

namespace dovrel::testing {

// A fresh, empty directory under the system's temporary folder ($TMPDIR or /tmp), removed with
// everything in it when the object goes away. Not copyable.
class TemporaryDirectory {
  public:
    TemporaryDirectory();
    ~TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    const std::filesystem::path& path() const noexcept { return path_; }

  private:
    std::filesystem::path path_;
};

}  // namespace dovrel::testing
