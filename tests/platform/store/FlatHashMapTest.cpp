#include "platform/store/FlatHashMap.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <memory>
#include <random>
#include <unordered_map>

namespace dovrel::store {
namespace {

// A hash that sends every key to a few homes, so that probe runs are long and wrap around the
// end of the table: the hard cases of backward-shift deletion.
struct CrowdedHash {
    std::size_t operator()(std::int64_t key) const noexcept {
        return static_cast<std::size_t>(key % 3) * 7 + 13;
    }
};

template <class Map>
std::map<std::int64_t, int> contents(const Map& map) {
    std::map<std::int64_t, int> result;
    map.forEach([&](std::int64_t key, int value) { result.emplace(key, value); });
    return result;
}

TEST(FlatHashMap, AnEmptyMapFindsNothingAndErasesNothing) {
    FlatHashMap<std::int64_t, int> map;
    EXPECT_EQ(map.find(1), nullptr);
    EXPECT_FALSE(map.erase(1));
    EXPECT_TRUE(map.empty());
}

TEST(FlatHashMap, InsertedValuesAreFoundAndReplaced) {
    FlatHashMap<std::int64_t, int> map;
    map.insertOrAssign(5, 50);
    map[6] = 60;
    ASSERT_NE(map.find(5), nullptr);
    EXPECT_EQ(*map.find(5), 50);
    EXPECT_EQ(map[6], 60);
    map.insertOrAssign(5, 55);
    EXPECT_EQ(*map.find(5), 55);
    EXPECT_EQ(map.size(), 2u);
    EXPECT_EQ(map[7], 0);
    EXPECT_EQ(map.size(), 3u);
}

template <class Hash>
void agreesWithAReferenceMap(std::uint64_t seed, std::int64_t keyRange) {
    FlatHashMap<std::int64_t, int, Hash> map;
    std::unordered_map<std::int64_t, int> reference;
    std::mt19937_64 random(seed);
    for (int step = 0; step < 20000; ++step) {
        const std::int64_t key = static_cast<std::int64_t>(random() % keyRange);
        switch (random() % 4) {
            case 0:
            case 1:
                map.insertOrAssign(key, step);
                reference[key] = step;
                break;
            case 2:
                EXPECT_EQ(map.erase(key), reference.erase(key) == 1) << key;
                break;
            default: {
                const int* found = map.find(key);
                const auto expected = reference.find(key);
                ASSERT_EQ(found != nullptr, expected != reference.end()) << key;
                if (found != nullptr) {
                    EXPECT_EQ(*found, expected->second);
                }
            }
        }
        ASSERT_EQ(map.size(), reference.size());
    }
    EXPECT_EQ(contents(map), (std::map<std::int64_t, int>(reference.begin(), reference.end())));
}

TEST(FlatHashMap, RandomInsertionsAndErasuresAgreeWithAReferenceMap) {
    agreesWithAReferenceMap<std::hash<std::int64_t>>(1, 5000);
    agreesWithAReferenceMap<std::hash<std::int64_t>>(2, 50);
}

TEST(FlatHashMap, ErasuresInLongWrappedProbeRunsKeepEveryOtherKeyFindable) {
    agreesWithAReferenceMap<CrowdedHash>(3, 40);
}

TEST(FlatHashMap, ReserveKeepsEveryEntry) {
    FlatHashMap<std::int64_t, int> map;
    for (int i = 0; i < 100; ++i) {
        map.insertOrAssign(i, i * 2);
    }
    map.reserve(100000);
    for (int i = 0; i < 100; ++i) {
        ASSERT_NE(map.find(i), nullptr);
        EXPECT_EQ(*map.find(i), i * 2);
    }
    EXPECT_EQ(map.size(), 100u);
}

TEST(FlatHashMap, ClearForgetsEverything) {
    FlatHashMap<std::int64_t, int> map;
    map.insertOrAssign(1, 1);
    map.clear();
    EXPECT_TRUE(map.empty());
    EXPECT_EQ(map.find(1), nullptr);
    map.insertOrAssign(1, 2);
    EXPECT_EQ(*map.find(1), 2);
}

struct Expired {
    bool operator()(const std::weak_ptr<int>& value) const noexcept { return value.expired(); }
};

TEST(FlatHashMap, StaleEntriesAreDroppedWhenTheTableGrowsAndLiveOnesKept) {
    FlatHashMap<std::int64_t, std::weak_ptr<int>, std::hash<std::int64_t>, Expired> map;
    std::vector<std::shared_ptr<int>> alive;
    for (std::int64_t i = 0; i < 100000; ++i) {
        auto value = std::make_shared<int>(static_cast<int>(i));
        map.insertOrAssign(i, value);
        if (i % 1000 == 0) {
            alive.push_back(value);
        }
    }
    // Only the live entries and those added since the last growth remain.
    EXPECT_LT(map.size(), 1000u);
    for (const auto& value : alive) {
        const auto* found = map.find(*value);
        ASSERT_NE(found, nullptr) << *value;
        EXPECT_EQ(found->lock(), value);
    }
}

}  // namespace
}  // namespace dovrel::store
