#include "platform/foundation/Bundle.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "tests/support/TemporaryDirectory.h"

namespace dovrel {
namespace {

namespace fs = std::filesystem;
using testing::TemporaryDirectory;

TEST(Bundle, ResourceDirectoryFromTheEnvironmentWinsEvenWhenMissing) {
    TemporaryDirectory folder;
    fs::create_directories(folder.path() / "resources");
    EXPECT_EQ(Bundle::locateResourceDirectory("/nowhere/dovrel-resources", folder.path() / "bin"),
              fs::path("/nowhere/dovrel-resources"));
}

TEST(Bundle, EmptyEnvironmentValueIsIgnored) {
    TemporaryDirectory folder;
    fs::create_directories(folder.path() / "resources");
    fs::create_directories(folder.path() / "bin");
    EXPECT_EQ(Bundle::locateResourceDirectory("", folder.path() / "bin"),
              folder.path() / "resources");
}

TEST(Bundle, ResourcesBesideTheExecutableDirectoryComeBeforeResourcesInsideIt) {
    TemporaryDirectory folder;
    fs::create_directories(folder.path() / "resources");
    fs::create_directories(folder.path() / "bin" / "resources");
    EXPECT_EQ(Bundle::locateResourceDirectory(nullptr, folder.path() / "bin"),
              folder.path() / "resources");
}

TEST(Bundle, ResourcesInsideTheExecutableDirectoryWhenNoneBesideIt) {
    TemporaryDirectory folder;
    fs::create_directories(folder.path() / "bin" / "resources");
    EXPECT_EQ(Bundle::locateResourceDirectory(nullptr, folder.path() / "bin"),
              folder.path() / "bin" / "resources");
}

TEST(Bundle, TheShareFolderOfTheProgramsPrefixWhenNoResourcesBesideIt) {
    TemporaryDirectory folder;
    fs::create_directories(folder.path() / "bin");
    fs::create_directories(folder.path() / "share" / "dovrel");
    EXPECT_EQ(Bundle::locateResourceDirectory(nullptr, folder.path() / "bin"),
              folder.path() / "share" / "dovrel");
    // A build tree's resources still come first.
    fs::create_directories(folder.path() / "resources");
    EXPECT_EQ(Bundle::locateResourceDirectory(nullptr, folder.path() / "bin"),
              folder.path() / "resources");
}

TEST(Bundle, InstallPrefixWhenNoResourcesNearTheExecutable) {
    TemporaryDirectory folder;
    fs::create_directories(folder.path() / "bin");
    const auto found = Bundle::locateResourceDirectory(nullptr, folder.path() / "bin");
    // Which of the two prefixes depends on what this machine has installed.
    if (fs::is_directory("/usr/local/share/dovrel")) {
        EXPECT_EQ(found, fs::path("/usr/local/share/dovrel"));
    } else {
        EXPECT_EQ(found, fs::path("/usr/share/dovrel"));
    }
}

TEST(Bundle, ARegularFileNamedResourcesIsNotADirectory) {
    TemporaryDirectory folder;
    fs::create_directories(folder.path() / "bin" / "resources");
    std::ofstream(folder.path() / "resources") << "not a directory";
    EXPECT_EQ(Bundle::locateResourceDirectory(nullptr, folder.path() / "bin"),
              folder.path() / "bin" / "resources");
}

TEST(Bundle, PathForResourceFindsFilesAndSubdirectories) {
    TemporaryDirectory folder;
    fs::create_directories(folder.path() / "locale" / "en");
    std::ofstream(folder.path() / "colors.json") << "{}";
    const Bundle bundle(folder.path());
    EXPECT_EQ(bundle.resourcePath(), folder.path());
    EXPECT_EQ(bundle.pathForResource("colors.json"), folder.path() / "colors.json");
    EXPECT_EQ(bundle.pathForResource("locale/en"), folder.path() / "locale" / "en");
}

TEST(Bundle, PathForAMissingOrEmptyResourceIsNothing) {
    TemporaryDirectory folder;
    const Bundle bundle(folder.path());
    EXPECT_EQ(bundle.pathForResource("missing.json"), std::nullopt);
    EXPECT_EQ(bundle.pathForResource(""), std::nullopt);
}

TEST(Bundle, ExecutableDirectoryHoldsTheRunningTestProgram) {
    EXPECT_TRUE(fs::exists(Bundle::executableDirectory() / "platform_foundation_tests"));
}

TEST(Bundle, MainBundleHoldsTheBuiltResources) {
    // Test programs run from <build>/bin, with DOVREL_RESOURCES=<build>/resources under CTest;
    // either way the main bundle is the build's resource directory.
    EXPECT_EQ(fs::weakly_canonical(Bundle::main().resourcePath()),
              fs::weakly_canonical(DOVREL_BUILD_RESOURCES_DIR));
    EXPECT_TRUE(Bundle::main().pathForResource("colors.json").has_value());
    EXPECT_TRUE(Bundle::main().pathForResource("locale/uk/LC_MESSAGES/dovrel.mo").has_value());
    EXPECT_EQ(&Bundle::main(), &Bundle::main());
}

}  // namespace
}  // namespace dovrel
