#include "platform/foundation/FileManager.h"

#include <sys/stat.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TemporaryDirectory.h"

namespace dovrel {
namespace {

namespace fs = std::filesystem;
using testing::ScopedEnvironment;
using testing::TemporaryDirectory;

unsigned permissions(const fs::path& path) {
    struct stat status {};
    EXPECT_EQ(::stat(path.c_str(), &status), 0) << path;
    return status.st_mode & 07777;
}

TEST(FileManager, DataHomeIsXdgDataHome) {
    TemporaryDirectory folder;
    ScopedEnvironment data("XDG_DATA_HOME", folder.path().string());
    EXPECT_EQ(FileManager::dataHome(), folder.path());
}

TEST(FileManager, DataHomeDropsATrailingSlash) {
    TemporaryDirectory folder;
    ScopedEnvironment data("XDG_DATA_HOME", folder.path().string() + "/");
    EXPECT_EQ(FileManager::dataHome(), folder.path());
}

TEST(FileManager, DataHomeFallsBackToHomeLocalShareWhenUnsetOrRelative) {
    TemporaryDirectory folder;
    ScopedEnvironment home("HOME", folder.path().string());
    {
        ScopedEnvironment data("XDG_DATA_HOME", std::nullopt);
        EXPECT_EQ(FileManager::dataHome(), folder.path() / ".local" / "share");
    }
    {
        ScopedEnvironment data("XDG_DATA_HOME", "relative/data");
        EXPECT_EQ(FileManager::dataHome(), folder.path() / ".local" / "share");
    }
}

TEST(FileManager, ContainerIsCreatedInDataHomeWithMode0700) {
    TemporaryDirectory folder;
    ScopedEnvironment data("XDG_DATA_HOME", folder.path().string());
    const auto container = FileManager::containerURL("group.dovrel.tests");
    ASSERT_TRUE(container.has_value());
    EXPECT_EQ(*container, folder.path() / "group.dovrel.tests");
    EXPECT_TRUE(fs::is_directory(*container));
    EXPECT_EQ(permissions(*container), 0700u);
}

TEST(FileManager, MissingDataHomeLevelsAreCreatedPrivate) {
    TemporaryDirectory folder;
    ScopedEnvironment data("XDG_DATA_HOME", (folder.path() / "a" / "b").string());
    const auto container = FileManager::containerURL("group.dovrel.tests");
    ASSERT_TRUE(container.has_value());
    EXPECT_EQ(*container, folder.path() / "a" / "b" / "group.dovrel.tests");
    EXPECT_EQ(permissions(folder.path() / "a"), 0700u);
    EXPECT_EQ(permissions(folder.path() / "a" / "b"), 0700u);
    EXPECT_EQ(permissions(*container), 0700u);
}

TEST(FileManager, ExistingContainerIsReturnedWithItsContentsAndMode) {
    TemporaryDirectory folder;
    ScopedEnvironment data("XDG_DATA_HOME", folder.path().string());
    fs::create_directory(folder.path() / "group.dovrel.tests");
    fs::permissions(folder.path() / "group.dovrel.tests", fs::perms(0750));
    std::ofstream(folder.path() / "group.dovrel.tests" / "kept") << "x";
    const auto container = FileManager::containerURL("group.dovrel.tests");
    ASSERT_TRUE(container.has_value());
    EXPECT_TRUE(fs::exists(*container / "kept"));
    EXPECT_EQ(permissions(*container), 0750u);
}

TEST(FileManager, IdentifiersThatAreNotOneDirectoryNameHaveNoContainer) {
    TemporaryDirectory folder;
    ScopedEnvironment data("XDG_DATA_HOME", folder.path().string());
    EXPECT_EQ(FileManager::containerURL(""), std::nullopt);
    EXPECT_EQ(FileManager::containerURL("."), std::nullopt);
    EXPECT_EQ(FileManager::containerURL(".."), std::nullopt);
    EXPECT_EQ(FileManager::containerURL("group/../escape"), std::nullopt);
    EXPECT_EQ(FileManager::containerURL(std::string_view("group\0x", 7)), std::nullopt);
    EXPECT_TRUE(fs::is_empty(folder.path()));
}

TEST(FileManager, ContainerThatCannotBeCreatedIsNothing) {
    TemporaryDirectory folder;
    std::ofstream(folder.path() / "file") << "in the way";
    {
        // The data home would have to be inside a regular file.
        ScopedEnvironment data("XDG_DATA_HOME", (folder.path() / "file" / "data").string());
        EXPECT_EQ(FileManager::containerURL("group.dovrel.tests"), std::nullopt);
        EXPECT_EQ(FileManager::applicationDataDirectory(), std::nullopt);
    }
    {
        // The container's own name is taken by a regular file.
        ScopedEnvironment data("XDG_DATA_HOME", folder.path().string());
        EXPECT_EQ(FileManager::containerURL("file"), std::nullopt);
    }
}

TEST(FileManager, ApplicationDataDirectoryIsDovrelInDataHome) {
    TemporaryDirectory folder;
    ScopedEnvironment data("XDG_DATA_HOME", folder.path().string());
    const auto directory = FileManager::applicationDataDirectory();
    ASSERT_TRUE(directory.has_value());
    EXPECT_EQ(*directory, folder.path() / "dovrel");
    EXPECT_EQ(permissions(*directory), 0700u);
}

}  // namespace
}  // namespace dovrel
