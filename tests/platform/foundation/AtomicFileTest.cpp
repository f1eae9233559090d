#include "platform/foundation/AtomicFile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>
#include <iterator>
#include <system_error>

#include "tests/support/FileContents.h"
#include "tests/support/TemporaryDirectory.h"

namespace dovrel {
namespace {

namespace fs = std::filesystem;

using testing::contentsOf;

unsigned permissionsOf(const fs::path& path) {
    struct stat status {};
    EXPECT_EQ(::stat(path.c_str(), &status), 0);
    return status.st_mode & 07777;
}

TEST(AtomicFile, ANewFileHoldsTheContentsAndIsPrivateWhateverTheUmask) {
    testing::TemporaryDirectory folder;
    const auto file = folder.path() / "backup.json";
    const mode_t previous = ::umask(0);
    writeFileAtomically(file, "first");
    ::umask(previous);
    EXPECT_EQ(contentsOf(file), "first");
    EXPECT_EQ(permissionsOf(file), 0600u);
}

TEST(AtomicFile, AnExistingFileReadableByOthersIsReplacedByAPrivateOne) {
    testing::TemporaryDirectory folder;
    const auto file = folder.path() / "backup.json";
    std::ofstream(file) << "old";
    ::chmod(file.c_str(), 0644);
    writeFileAtomically(file, std::string("new\0contents", 12));
    EXPECT_EQ(contentsOf(file), std::string("new\0contents", 12));
    EXPECT_EQ(permissionsOf(file), 0600u);
    // Nothing is left beside it.
    EXPECT_EQ(std::distance(fs::directory_iterator(folder.path()), fs::directory_iterator()), 1);
}

TEST(AtomicFile, AFailedRenameLeavesTheOldFileAndNoTemporaryOne) {
    testing::TemporaryDirectory folder;
    // A folder in the file's place: the rename cannot replace it.
    const auto file = folder.path() / "taken";
    fs::create_directory(file);
    fs::create_directory(file / "inside");
    EXPECT_THROW(writeFileAtomically(file, "text"), std::system_error);
    EXPECT_TRUE(fs::is_directory(file / "inside"));
    EXPECT_EQ(std::distance(fs::directory_iterator(folder.path()), fs::directory_iterator()), 1);
}

TEST(AtomicFile, AMissingFolderIsAnErrorThatNamesIt) {
    testing::TemporaryDirectory folder;
    const auto file = folder.path() / "missing" / "backup.json";
    try {
        writeFileAtomically(file, "text");
        FAIL() << "no error";
    } catch (const std::system_error& error) {
        EXPECT_NE(std::string(error.what()).find(file.string()), std::string::npos) << error.what();
    }
}

}  // namespace
}  // namespace dovrel
