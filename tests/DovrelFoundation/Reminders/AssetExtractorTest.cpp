#include "DovrelFoundation/Reminders/AssetExtractor.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <string>

#include "platform/foundation/Bundle.h"
#include "tests/DovrelFoundation/SharedStoreTestSupport.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TemporaryDirectory.h"

namespace dovrel {
namespace {

namespace fs = std::filesystem;
using testing::fileContents;
using testing::ScopedEnvironment;
using testing::TemporaryDirectory;

class AssetExtractorTest : public ::testing::Test {
  protected:
    TemporaryDirectory folder;
    ScopedEnvironment cacheHome{"XDG_CACHE_HOME", (folder.path() / "cache").string()};
    AssetExtractor extractor;
};

TEST_F(AssetExtractorTest, CachesDirectoryIsTheApplicationsFolderInXdgCacheHomeCreatedOwnerOnly) {
    const auto caches = FileManager::cachesDirectory();
    ASSERT_TRUE(caches.has_value());
    EXPECT_EQ(*caches, folder.path() / "cache" / "dovrel");
    EXPECT_TRUE(fs::is_directory(*caches));
    EXPECT_EQ(fs::status(*caches).permissions() & fs::perms::all, fs::perms::owner_all);
}

TEST_F(AssetExtractorTest, CacheHomeFallsBackToDotCacheInHomeWhenTheVariableIsNotAbsolute) {
    ScopedEnvironment relative("XDG_CACHE_HOME", "relative/cache");
    ScopedEnvironment home("HOME", folder.path().string());
    EXPECT_EQ(FileManager::cacheHome(), folder.path() / ".cache");
}

TEST_F(AssetExtractorTest, CreateLocalUrlCopiesTheBundleImageIntoTheCachesDirectory) {
    const auto url = extractor.createLocalUrl("notify_3");
    ASSERT_TRUE(url.has_value());
    EXPECT_EQ(*url, folder.path() / "cache" / "dovrel" / "notify_3.png");
    const auto bundled = Bundle::main().pathForResource("images/notify_3.png");
    ASSERT_TRUE(bundled.has_value());
    const auto copied = fileContents(*url);
    ASSERT_TRUE(copied.has_value());
    EXPECT_EQ(copied, fileContents(*bundled));
    EXPECT_EQ(copied->substr(0, 8), std::string("\x89PNG\r\n\x1a\n", 8));
    EXPECT_EQ(fs::directory_iterator(url->parent_path()) == fs::directory_iterator(), false);
    std::size_t files = 0;
    for ([[maybe_unused]] const auto& entry : fs::directory_iterator(url->parent_path())) {
        ++files;
    }
    EXPECT_EQ(files, 1u) << "no temporary file is left behind";
}

TEST_F(AssetExtractorTest, CreateLocalUrlKeepsAFileThatExistsAlready) {
    const auto first = extractor.createLocalUrl("notify_1");
    ASSERT_TRUE(first.has_value());
    std::ofstream(*first, std::ios::trunc) << "kept";
    const auto second = extractor.createLocalUrl("notify_1");
    EXPECT_EQ(second, first);
    EXPECT_EQ(fileContents(*first), std::optional<std::string>("kept"));
}

TEST_F(AssetExtractorTest, CreateLocalUrlOfAMissingImageGivesNothingAndWritesNothing) {
    EXPECT_EQ(extractor.createLocalUrl("no_such_image"), std::nullopt);
    EXPECT_FALSE(fs::exists(folder.path() / "cache" / "dovrel" / "no_such_image.png"));
}

TEST_F(AssetExtractorTest, CreateLocalUrlOfDataThatIsNotPngGivesNothing) {
    TemporaryDirectory resources;
    fs::create_directories(resources.path() / "images");
    std::ofstream(resources.path() / "images" / "fake.png") << "GIF89a not a png";
    fs::copy_file(Bundle::main().pathForResource("images/notify_5.png").value(),
                  resources.path() / "images" / "real.png");
    const Bundle assets(resources.path());
    EXPECT_EQ(extractor.createLocalUrl("fake", assets), std::nullopt);
    EXPECT_FALSE(fs::exists(folder.path() / "cache" / "dovrel" / "fake.png"));
    EXPECT_EQ(extractor.createLocalUrl("real", assets),
              folder.path() / "cache" / "dovrel" / "real.png");
}

TEST_F(AssetExtractorTest, CreateLocalUrlWithoutACachesDirectoryGivesNothing) {
    // A file where the cache home should be a folder: nothing can be made below it.
    std::ofstream(folder.path() / "blocked") << "file";
    ScopedEnvironment blocked("XDG_CACHE_HOME", (folder.path() / "blocked").string());
    EXPECT_EQ(FileManager::cachesDirectory(), std::nullopt);
    EXPECT_EQ(extractor.createLocalUrl("notify_2"), std::nullopt);
}

TEST(NotificationIconNameTest, RandomNotificationIconNameIsOneOfNotify1ToNotify6AndAllOccur) {
    std::map<std::string, int> counts;
    for (int draw = 0; draw < 6000; ++draw) {
        ++counts[randomNotificationIconName()];
    }
    std::set<std::string> names;
    for (const auto& [name, count] : counts) {
        names.insert(name);
        // Uniform: each of six names about 1000 times out of 6000.
        EXPECT_GT(count, 800) << name;
        EXPECT_LT(count, 1200) << name;
    }
    EXPECT_EQ(names, (std::set<std::string>{"notify_1", "notify_2", "notify_3", "notify_4",
                                            "notify_5", "notify_6"}));
}

TEST(NotificationIconNameTest, EveryIconNameHasAnImageInTheBundle) {
    for (int number = 1; number <= 6; ++number) {
        const std::string name = "images/notify_" + std::to_string(number) + ".png";
        EXPECT_TRUE(Bundle::main().pathForResource(name).has_value()) << name;
    }
}

}  // namespace
}  // namespace dovrel
