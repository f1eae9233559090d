#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace dovrel::testing {

// The bytes of the file at `path`; empty when it cannot be read.
inline std::string contentsOf(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

}  // namespace dovrel::testing
