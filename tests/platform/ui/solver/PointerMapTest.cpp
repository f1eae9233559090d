#include "platform/ui/solver/PointerMap.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <vector>

namespace dovrel::ui::solver {
namespace {

TEST(PointerMap, FindsWhatWasInsertedAndNothingElse) {
    int a = 0, b = 0, c = 0;
    PointerMap<int> map;
    EXPECT_TRUE(map.empty());
    map[&a] = 1;
    map[&b] = 2;
    ASSERT_NE(map.find(&a), nullptr);
    EXPECT_EQ(*map.find(&a), 1);
    EXPECT_EQ(*map.find(&b), 2);
    EXPECT_EQ(map.find(&c), nullptr);
    EXPECT_FALSE(map.contains(&c));
    EXPECT_EQ(map.size(), 2u);
}

TEST(PointerMap, IndexingAKnownKeyReturnsItsValueWithoutInserting) {
    int a = 0;
    PointerMap<int> map;
    map[&a] = 7;
    map[&a] += 1;
    EXPECT_EQ(*map.find(&a), 8);
    EXPECT_EQ(map.size(), 1u);
}

TEST(PointerMap, ErasingEachKeyInTurnKeepsEveryOtherKeyFindable) {
    // After each erasure every key still present is found, and the erased one is not.
    std::vector<int> objects(200);
    PointerMap<int> map;
    for (int i = 0; i < 200; ++i)
        map[&objects[i]] = i;
    std::mt19937 random(7);
    std::vector<int> order(200);
    for (int i = 0; i < 200; ++i)
        order[i] = i;
    std::shuffle(order.begin(), order.end(), random);
    std::vector<bool> present(200, true);
    for (const int erased : order) {
        EXPECT_TRUE(map.erase(&objects[erased]));
        EXPECT_FALSE(map.erase(&objects[erased]));
        present[erased] = false;
        for (int i = 0; i < 200; ++i) {
            const int* found = map.find(&objects[i]);
            if (present[i]) {
                ASSERT_NE(found, nullptr) << "key " << i << " lost after erasing " << erased;
                EXPECT_EQ(*found, i);
            } else {
                EXPECT_EQ(found, nullptr);
            }
        }
    }
    EXPECT_TRUE(map.empty());
}

TEST(PointerMap, AgreesWithAnOrderedMapOverRandomInsertionsAndErasures) {
    // Thousands of keys packed a byte apart, so that probe chains run long and cross the end of
    // the table, and erasures must shift entries back into the holes they leave.
    std::vector<char> objects(4096);
    PointerMap<int> map;
    std::map<const void*, int> reference;
    std::mt19937 random(11);
    std::uniform_int_distribution<int> pick(0, int(objects.size()) - 1);
    for (int step = 0; step < 50000; ++step) {
        const void* key = &objects[pick(random)];
        if (random() % 3 == 0) {
            EXPECT_EQ(map.erase(key), reference.erase(key) == 1);
        } else {
            map[key] = step;
            reference[key] = step;
        }
        ASSERT_EQ(map.size(), reference.size());
    }
    std::size_t visited = 0;
    map.forEach([&](const void* key, int value) {
        ++visited;
        ASSERT_EQ(reference.count(key), 1u);
        EXPECT_EQ(reference.at(key), value);
    });
    EXPECT_EQ(visited, reference.size());
}

TEST(PointerMap, ReserveAndClearKeepItUsable) {
    std::vector<int> objects(100);
    PointerMap<int> map;
    map.reserve(1000);
    for (int i = 0; i < 100; ++i)
        map[&objects[i]] = i;
    EXPECT_EQ(*map.find(&objects[99]), 99);
    map.clear();
    EXPECT_TRUE(map.empty());
    EXPECT_EQ(map.find(&objects[99]), nullptr);
    map[&objects[5]] = 5;
    EXPECT_EQ(*map.find(&objects[5]), 5);
}

}  // namespace
}  // namespace dovrel::ui::solver
