#pragma once

#include <stdlib.h>

#include <filesystem>
#include <stdexcept>
#include <string>
#include <system_error>

namespace dovrel::bench {

// A fresh folder under the temporary directory for a benchmark's files, removed with everything
// in it when the value goes.
class BenchFolder {
  public:
    BenchFolder() {
        std::string pattern = (std::filesystem::temp_directory_path() / "dovrel-bench-XXXXXX");
        if (::mkdtemp(pattern.data()) == nullptr) {
            throw std::runtime_error("cannot make a folder under " +
                                     std::filesystem::temp_directory_path().string());
        }
        path_ = pattern;
    }
    ~BenchFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    BenchFolder(const BenchFolder&) = delete;
    BenchFolder& operator=(const BenchFolder&) = delete;

    const std::filesystem::path& path() const noexcept { return path_; }
    // The path of `name` in the folder.
    std::filesystem::path file(const std::string& name) const { return path_ / name; }

  private:
    std::filesystem::path path_;
};

}  // namespace dovrel::bench
