#include "apps/dovrel-notifyd/DeliveryJournal.h"

#include <gtest/gtest.h>

#include "tests/support/TemporaryDirectory.h"

namespace dovrel::notifyd {
namespace {

TEST(DeliveryJournal, KeepsItsIdentifiersAcrossInstancesOfTheSameFile) {
    testing::TemporaryDirectory folder;
    const auto file = folder.path() / "journal";
    {
        DeliveryJournal journal(file);
        EXPECT_TRUE(journal.empty());
        journal.add({"A", "B", "C"});
        journal.remove({"B", "unknown"});
    }
    DeliveryJournal reopened(file);
    EXPECT_EQ(reopened.identifiers(), (std::set<std::string>{"A", "C"}));
    EXPECT_FALSE(std::filesystem::exists(file.string() + ".new"));
}

TEST(DeliveryJournal, EmptyingTheJournalRemovesItsFile) {
    testing::TemporaryDirectory folder;
    const auto file = folder.path() / "journal";
    DeliveryJournal journal(file);
    journal.add({"A", "B"});
    ASSERT_TRUE(std::filesystem::exists(file));
    journal.remove({"A"});
    EXPECT_TRUE(std::filesystem::exists(file));
    journal.remove({"B"});
    EXPECT_FALSE(std::filesystem::exists(file));
    EXPECT_TRUE(DeliveryJournal(file).empty());
    // And it starts again from nothing.
    journal.add({"C"});
    EXPECT_EQ(DeliveryJournal(file).identifiers(), (std::set<std::string>{"C"}));
}

TEST(DeliveryJournal, AMissingFileIsAnEmptyJournal) {
    testing::TemporaryDirectory folder;
    DeliveryJournal journal(folder.path() / "none");
    EXPECT_TRUE(journal.empty());
}

TEST(DeliveryJournal, AFailedWriteThrowsAndLeavesTheOldFile) {
    testing::TemporaryDirectory folder;
    const auto file = folder.path() / "journal";
    DeliveryJournal(file).add({"A"});
    DeliveryJournal journal(file);
    // The replacement is written beside the file: a folder in its way makes the write fail.
    std::filesystem::create_directory(file.string() + ".new");
    EXPECT_THROW(journal.add({"B"}), std::system_error);
    EXPECT_EQ(DeliveryJournal(file).identifiers(), (std::set<std::string>{"A"}));
}

}  // namespace
}  // namespace dovrel::notifyd
