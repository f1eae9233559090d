#include "platform/store/MemberList.h"

#include <gtest/gtest.h>

#include <vector>

#include "platform/store/EntityDescription.h"

namespace dovrel::store {
namespace {

// Lists both below and above the length at which the list starts to keep an index.
class MemberListTest : public ::testing::TestWithParam<int> {
  protected:
    ManagedObjectID id(std::int64_t key) const {
        return ManagedObjectID::permanent(entity, StoreUUID{1, 2, 3}, key);
    }
    std::vector<ManagedObjectID> ids(const MemberList& list) const {
        return std::vector<ManagedObjectID>(list.begin(), list.end());
    }

    EntityDescription entity{"Member"};
};

TEST_P(MemberListTest, AddKeepsTheOrderAndEachIDOnce) {
    MemberList list;
    std::vector<ManagedObjectID> expected;
    for (int key = 1; key <= GetParam(); ++key) {
        list.add(id(key));
        list.add(id(key));
        expected.push_back(id(key));
    }
    list.add(id(1));
    EXPECT_EQ(ids(list), expected);
    EXPECT_EQ(list.size(), static_cast<std::size_t>(GetParam()));
}

TEST_P(MemberListTest, RemoveTakesOutOnlyThatIDAndAddingItAgainPutsItLast) {
    std::vector<ManagedObjectID> start;
    for (int key = 1; key <= GetParam(); ++key) {
        start.push_back(id(key));
    }
    MemberList list(start);
    ASSERT_TRUE(list.contains(id(2)));
    list.remove(id(2));
    list.remove(id(2));
    list.remove(id(GetParam() + 1));
    EXPECT_FALSE(list.contains(id(2)));
    EXPECT_EQ(list.size(), start.size() - 1);
    list.add(id(2));
    EXPECT_TRUE(list.contains(id(2)));
    EXPECT_EQ(ids(list).back(), id(2));
    EXPECT_EQ(list.size(), start.size());
}

TEST_P(MemberListTest, RewrittenIDsAreTheMembersAfterwards) {
    MemberList list;
    for (int key = 1; key <= GetParam(); ++key) {
        list.add(id(key));
    }
    ASSERT_TRUE(list.contains(id(1)));  // builds the index of a long list
    list.rewriteEach([&](ManagedObjectID& member) { member = id(member.primaryKey() + 1000); });
    EXPECT_FALSE(list.contains(id(1)));
    EXPECT_TRUE(list.contains(id(1001)));
    EXPECT_TRUE(list.contains(id(1000 + GetParam())));
    list.add(id(1001));
    EXPECT_EQ(list.size(), static_cast<std::size_t>(GetParam()));
}

INSTANTIATE_TEST_SUITE_P(ShortAndLongLists, MemberListTest, ::testing::Values(3, 15, 16, 200));

}  // namespace
}  // namespace dovrel::store
