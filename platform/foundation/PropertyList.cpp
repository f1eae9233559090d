#include "platform/foundation/PropertyList.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace dovrel {

namespace {

constexpr char kBinaryMagic[] = "bplist00";
constexpr std::size_t kBinaryMagicLength = sizeof(kBinaryMagic) - 1;

struct BinaryBufferDeleter {
    void operator()(char* buffer) const noexcept { plist_to_bin_free(buffer); }
};

}  // namespace

Data binaryPropertyList(plist_t root) {
    char* raw = nullptr;
    std::uint32_t length = 0;
    plist_to_bin(root, &raw, &length);
    const std::unique_ptr<char, BinaryBufferDeleter> buffer(raw);
    if (buffer == nullptr) {
        return {};
    }
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(buffer.get());
    return Data(bytes, bytes + length);
}

std::optional<PlistNode> parseBinaryPropertyList(const Data& data) {
    // Only the binary form is read; checking the magic here keeps text parsers away from
    // arbitrary bytes.
    if (data.size() < kBinaryMagicLength ||
        data.size() > std::numeric_limits<std::uint32_t>::max() ||
        std::memcmp(data.data(), kBinaryMagic, kBinaryMagicLength) != 0) {
        return std::nullopt;
    }
    plist_t root = nullptr;
    plist_from_bin(reinterpret_cast<const char*>(data.data()),
                   static_cast<std::uint32_t>(data.size()), &root);
    if (root == nullptr) {
        return std::nullopt;
    }
    return PlistNode(root);
}

}  // namespace dovrel
