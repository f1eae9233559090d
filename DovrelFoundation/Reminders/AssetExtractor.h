#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "platform/foundation/Bundle.h"
#include "platform/foundation/FileManager.h"

namespace dovrel {

// Makes files of the application's images, for notification attachments, which need a file of
// their own. The images are PNG files in the main bundle's "images" folder
// (Bundle::main(), resources/images/<name>.png); the copies go to the caches directory, where
// the notification server may read them.
struct AssetExtractor {
    // The folder of the main bundle that holds the images.
    static constexpr const char* kImagesDirectory = "images";

    FileManager fileManager;

    // The file <caches directory>/<name>.png, made from the image `name` of the application's
    // images when it does not exist yet (with the image's bytes, and the default permissions).
    // Nothing when there is no caches directory, or when the file does not exist and cannot be
    // made: the image is missing, is not PNG data, or the file cannot be written. Safe from any
    // thread; two callers making the same file at once both end with the whole file.
    std::optional<std::filesystem::path> createLocalUrl(std::string_view imageName) const;
    // The same with the images of `assets` in place of the main bundle's.
    std::optional<std::filesystem::path> createLocalUrl(std::string_view imageName,
                                                        const Bundle& assets) const;
};

// The name of one of the notification icons of the application's images, "notify_1" to
// "notify_6", chosen uniformly at random. Safe from any thread.
std::string randomNotificationIconName();

}  // namespace dovrel
