#include "platform/ui/solver/SmallVector.h"

#include <gtest/gtest.h>

#include <random>
#include <utility>
#include <vector>

namespace dovrel::ui::solver {
namespace {

using Small = SmallVector<int, 3>;

std::vector<int> contents(const Small& values) {
    return std::vector<int>(values.begin(), values.end());
}

Small filled(int count) {
    Small values;
    for (int i = 0; i < count; ++i)
        values.push_back(i);
    return values;
}

TEST(SmallVector, KeepsItsFirstValuesInlineAndAllocatesPastThem) {
    Small values = filled(3);
    EXPECT_TRUE(values.isInline());
    EXPECT_EQ(values.capacity(), 3u);
    values.push_back(3);
    EXPECT_FALSE(values.isInline());
    EXPECT_GE(values.capacity(), 4u);
    EXPECT_EQ(contents(values), (std::vector<int>{0, 1, 2, 3}));
}

TEST(SmallVector, InsertsAndErasesInPlaceAcrossTheInlineLimit) {
    Small values = filled(3);
    EXPECT_EQ(*values.insert(values.begin() + 1, 9), 9);
    EXPECT_EQ(contents(values), (std::vector<int>{0, 9, 1, 2}));
    EXPECT_EQ(*values.erase(values.begin()), 9);
    EXPECT_EQ(contents(values), (std::vector<int>{9, 1, 2}));
    values.erase(values.end() - 1);
    EXPECT_EQ(contents(values), (std::vector<int>{9, 1}));
}

TEST(SmallVector, PushingOneOfItsOwnValuesWhileGrowingCopiesTheValueFirst) {
    Small values = filled(3);
    values.push_back(values[1]);
    values.insert(values.begin(), values[3]);
    EXPECT_EQ(contents(values), (std::vector<int>{1, 0, 1, 2, 1}));
}

TEST(SmallVector, MovingLeavesTheSourceEmptyAndUsableWhetherInlineOrNot) {
    for (const int count : {2, 3, 8}) {
        Small source = filled(count);
        Small moved(std::move(source));
        EXPECT_EQ(moved.size(), static_cast<std::size_t>(count));
        EXPECT_EQ(contents(moved), contents(filled(count)));
        EXPECT_TRUE(source.empty());  // NOLINT: a moved-from vector is empty by contract
        EXPECT_TRUE(source.isInline());
        source.push_back(42);
        EXPECT_EQ(contents(source), (std::vector<int>{42}));

        Small assigned = filled(5);
        assigned = std::move(moved);
        EXPECT_EQ(contents(assigned), contents(filled(count)));
        EXPECT_TRUE(moved.empty());  // NOLINT
    }
}

TEST(SmallVector, CopiesAreIndependent) {
    Small original = filled(6);
    Small copy = original;
    copy[0] = 100;
    Small assigned;
    assigned = original;
    original.push_back(7);
    EXPECT_EQ(contents(copy), (std::vector<int>{100, 1, 2, 3, 4, 5}));
    EXPECT_EQ(contents(assigned), (std::vector<int>{0, 1, 2, 3, 4, 5}));
    EXPECT_EQ(original.size(), 7u);
}

TEST(SmallVector, ResizeShrinksOrGrowsWithZeroes) {
    Small values = filled(5);
    values.resize(2);
    EXPECT_EQ(contents(values), (std::vector<int>{0, 1}));
    values.resize(4);
    EXPECT_EQ(contents(values), (std::vector<int>{0, 1, 0, 0}));
}

TEST(SmallVector, BehavesAsAStdVectorOverRandomOperations) {
    std::mt19937 random(11);
    Small values;
    std::vector<int> expected;
    for (int step = 0; step < 20000; ++step) {
        const int operation = static_cast<int>(random() % 7);
        const int value = static_cast<int>(random() % 1000);
        if (operation == 0 || operation == 1) {
            values.push_back(value);
            expected.push_back(value);
        } else if (operation == 2) {
            const std::size_t at = random() % (expected.size() + 1);
            values.insert(values.begin() + at, value);
            expected.insert(expected.begin() + static_cast<std::ptrdiff_t>(at), value);
        } else if (operation == 3 && !expected.empty()) {
            const std::size_t at = random() % expected.size();
            values.erase(values.begin() + at);
            expected.erase(expected.begin() + static_cast<std::ptrdiff_t>(at));
        } else if (operation == 4 && random() % 16 == 0) {
            values.clear();
            expected.clear();
        } else if (operation == 5) {
            const std::vector<int> more(random() % 5, value);
            values.append(more.data(), more.data() + more.size());
            expected.insert(expected.end(), more.begin(), more.end());
        } else if (operation == 6) {
            Small moved(std::move(values));
            values = moved;
        }
        ASSERT_EQ(contents(values), expected) << "after step " << step;
    }
}

}  // namespace
}  // namespace dovrel::ui::solver
