#include "DovrelFoundation/Reminders/AssetExtractor.h"

#include <unistd.h>

#include <array>
#include <fstream>
#include <iterator>
#include <random>
#include <system_error>
#include <vector>

#include "platform/foundation/Bundle.h"

namespace dovrel {

namespace {

constexpr std::array<unsigned char, 8> kPNGSignature{0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};

// The bytes of the image `fileName` of `assets` when it is PNG data; nothing otherwise.
std::optional<std::vector<char>> pngData(const Bundle& assets, const std::string& fileName) {
    const auto path =
        assets.pathForResource(std::string(AssetExtractor::kImagesDirectory) + "/" + fileName);
    if (!path) {
        return std::nullopt;
    }
    std::ifstream file(*path, std::ios::binary);
    if (!file) {
        return std::nullopt;
    }
    std::vector<char> bytes((std::istreambuf_iterator<char>(file)),
                            std::istreambuf_iterator<char>());
    if (bytes.size() <= kPNGSignature.size() ||
        !std::equal(kPNGSignature.begin(), kPNGSignature.end(), bytes.begin(),
                    [](unsigned char a, char b) { return a == static_cast<unsigned char>(b); })) {
        return std::nullopt;
    }
    return bytes;
}

// Writes `bytes` to `path` through a temporary file beside it, so that no reader ever sees a
// part of the file.
bool writeWhole(const std::filesystem::path& path, const std::vector<char>& bytes) {
    auto temporary = path;
    temporary +=
        ".tmp-" + std::to_string(::getpid()) + "-" + std::to_string(std::random_device{}());
    {
        std::ofstream file(temporary, std::ios::binary | std::ios::trunc);
        if (!file.write(bytes.data(), static_cast<std::streamsize>(bytes.size())) ||
            !file.flush()) {
            std::error_code ignored;
            std::filesystem::remove(temporary, ignored);
            return false;
        }
    }
    std::error_code error;
    std::filesystem::rename(temporary, path, error);
    if (error) {
        std::filesystem::remove(temporary, error);
        return false;
    }
    return true;
}

}  // namespace

std::optional<std::filesystem::path> AssetExtractor::createLocalUrl(
    std::string_view imageName) const {
    return createLocalUrl(imageName, Bundle::main());
}

std::optional<std::filesystem::path> AssetExtractor::createLocalUrl(std::string_view imageName,
                                                                    const Bundle& assets) const {
    const auto caches = fileManager.cachesDirectory();
    if (!caches) {
        return std::nullopt;
    }
    const std::string fileName = std::string(imageName) + ".png";
    auto url = *caches / fileName;
    std::error_code error;
    if (std::filesystem::exists(url, error)) {
        return url;
    }
    const auto bytes = pngData(assets, fileName);
    if (!bytes || !writeWhole(url, *bytes)) {
        return std::nullopt;
    }
    return url;
}

std::string randomNotificationIconName() {
    thread_local std::mt19937 generator(std::random_device{}());
    std::uniform_int_distribution<int> number(1, 6);
    return "notify_" + std::to_string(number(generator));
}

}  // namespace dovrel
