#include "platform/foundation/Error.h"

#include <gtest/gtest.h>

#include "platform/foundation/FatalError.h"

namespace dovrel {
namespace {

TEST(Error, CarriesDomainCodeAndUserInfo) {
    const Error error("ErrorForTrack", 0, {{"errorText", "oops"}});
    EXPECT_EQ(error.domain(), "ErrorForTrack");
    EXPECT_EQ(error.code(), 0);
    EXPECT_EQ(error.userInfo().at("errorText"), "oops");
}

TEST(Error, DescribesItselfWithoutALocalizedDescription) {
    EXPECT_EQ(Error("ErrorForTrack", 0).localizedDescription(),
              "The operation couldn’t be completed. (ErrorForTrack error 0.)");
}

TEST(Error, PrefersTheLocalizedDescriptionKey) {
    const Error error("Store", 3, {{Error::kLocalizedDescriptionKey, "The file is not a store."}});
    EXPECT_EQ(error.localizedDescription(), "The file is not a store.");
    EXPECT_STREQ(error.what(), "The file is not a store.");
}

TEST(FatalError, SourcePathIsRelativeToTheRepositoryWithoutExtension) {
    EXPECT_EQ(fatalErrorSourcePath(DOVREL_SOURCE_ROOT "DovrelFoundation/Habit.cpp"),
              "DovrelFoundation/Habit");
    EXPECT_EQ(fatalErrorSourcePath("elsewhere/file"), "elsewhere/file");
    // Relative to a build folder inside the tree, as compilers report under ccache's base_dir.
    EXPECT_EQ(fatalErrorSourcePath("../platform/store/ManagedObjectContext.cpp"),
              "platform/store/ManagedObjectContext");
    EXPECT_EQ(fatalErrorSourcePath("../../DovrelFoundation/Model/Habit.cpp"),
              "DovrelFoundation/Habit");
    EXPECT_EQ(fatalErrorSourcePath("./DovrelFoundation/Version.cpp"), "DovrelFoundation/Version");
    EXPECT_EQ(fatalErrorSourcePath(DOVREL_SOURCE_ROOT "platform/store/ManagedObjectContext.cpp"),
              "platform/store/ManagedObjectContext");
}

TEST(FatalError, TheLibrarysFilesReportTheLibraryAndTheirNameWhateverTheirFolder) {
    EXPECT_EQ(fatalErrorSourcePath(DOVREL_SOURCE_ROOT "DovrelFoundation/Model/Habit.cpp"),
              "DovrelFoundation/Habit");
    EXPECT_EQ(fatalErrorSourcePath(DOVREL_SOURCE_ROOT
                                   "DovrelFoundation/Model/HabitToHabitV2MigrationPolicy.cpp"),
              "DovrelFoundation/HabitToHabitV2MigrationPolicy");
    EXPECT_EQ(fatalErrorSourcePath(DOVREL_SOURCE_ROOT "DovrelFoundation/Version.cpp"),
              "DovrelFoundation/Version");
}

TEST(FatalErrorDeathTest, WritesTheMessageAndAborts) {
    EXPECT_DEATH(fatalError("Something impossible happened"),
                 "^Fatal error: Something impossible happened: file "
                 "tests/platform/foundation/ErrorTest, line [0-9]+\n");
}

}  // namespace
}  // namespace dovrel
