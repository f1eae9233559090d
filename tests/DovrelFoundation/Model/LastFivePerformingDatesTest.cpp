#include "DovrelFoundation/Model/LastFivePerformingDates.h"

#include <gtest/gtest.h>

#include <any>
#include <fstream>
#include <iterator>
#include <limits>
#include <string>
#include <type_traits>

#include "DovrelFoundation/Model/RepeatInterval.h"
#include "DovrelFoundation/Model/RepresentableDate.h"
#include "platform/foundation/KeyedArchiver.h"
#include "platform/foundation/KeyedUnarchiver.h"
#include "platform/foundation/PropertyList.h"

namespace dovrel {
namespace {

Data fixture(const std::string& name) {
    std::ifstream file(std::string(DOVREL_TEST_DATA_DIR) + "/keyed-archives/" + name,
                       std::ios::binary);
    EXPECT_TRUE(file.good()) << name;
    return Data(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

std::vector<Date> dates(std::initializer_list<double> seconds) {
    std::vector<Date> result;
    for (const double value : seconds) {
        result.emplace_back(value);
    }
    return result;
}

static_assert(!std::is_default_constructible_v<LastFivePerformingDates>,
              "the cache is only ever built from dates");

TEST(LastFivePerformingDates, InitSortsTheDatesAscending) {
    EXPECT_EQ(LastFivePerformingDates(dates({300, 100, 200})).dates(), dates({100, 200, 300}));
}

TEST(LastFivePerformingDates, InitWithSevenUnsortedDatesKeepsTheFiveLatestAscending) {
    const LastFivePerformingDates cache(dates({600, 100, 700, 300, 200, 500, 400}));
    EXPECT_EQ(cache.dates(), dates({300, 400, 500, 600, 700}));
}

TEST(LastFivePerformingDates, InitKeepsFewerThanFiveAndNone) {
    EXPECT_EQ(LastFivePerformingDates(dates({5, 1})).dates(), dates({1, 5}));
    EXPECT_TRUE(LastFivePerformingDates(std::vector<Date>{}).dates().empty());
    EXPECT_EQ(LastFivePerformingDates(dates({1, 2, 3, 4, 5})).dates(), dates({1, 2, 3, 4, 5}));
}

TEST(LastFivePerformingDates, InitKeepsEqualDates) {
    EXPECT_EQ(LastFivePerformingDates(dates({2, 1, 2})).dates(), dates({1, 2, 2}));
}

TEST(LastFivePerformingDates, IsEqualComparesTheDatesElementByElement) {
    const LastFivePerformingDates cache(dates({1, 2, 3}));
    EXPECT_TRUE(cache.isEqual(std::any(LastFivePerformingDates(dates({3, 2, 1})))));
    EXPECT_FALSE(cache.isEqual(std::any(LastFivePerformingDates(dates({1, 2})))));
    EXPECT_FALSE(cache.isEqual(std::any(LastFivePerformingDates(dates({1, 2, 4})))));
    EXPECT_EQ(cache, LastFivePerformingDates(dates({1, 2, 3})));
}

TEST(LastFivePerformingDates, IsEqualAgainstADifferentTypeOrNothingIsFalse) {
    const LastFivePerformingDates cache(std::vector<Date>{});
    EXPECT_FALSE(cache.isEqual(std::any{}));
    EXPECT_FALSE(cache.isEqual(std::any(RepeatInterval())));
    EXPECT_FALSE(cache.isEqual(std::any(std::vector<Date>{})));
}

TEST(LastFivePerformingDates, EncodesTheCountAndIndexedDateKeys) {
    const Data data = KeyedArchiver::archivedData(LastFivePerformingDates(dates({10.5, 20.25})));
    const std::optional<PlistNode> archive = parseBinaryPropertyList(data);
    ASSERT_TRUE(archive.has_value());
    const plist_t root = plist_array_get_item(plist_dict_get_item(archive->get(), "$objects"), 1);
    std::uint64_t count = 0;
    plist_get_uint_val(plist_dict_get_item(root, "datesCount"), &count);
    EXPECT_EQ(count, 2u);
    EXPECT_EQ(plist_get_node_type(plist_dict_get_item(root, "date0")), PLIST_UID);
    EXPECT_EQ(plist_get_node_type(plist_dict_get_item(root, "date1")), PLIST_UID);
    EXPECT_EQ(plist_dict_get_item(root, "date2"), nullptr);
}

TEST(LastFivePerformingDates, SecureCodingRoundTripKeepsTheDates) {
    const LastFivePerformingDates cache(dates({-100.5, 0, 700000000.125, 3, 4}));
    const std::optional<LastFivePerformingDates> decoded =
        KeyedUnarchiver::unarchivedObject<LastFivePerformingDates>(
            KeyedArchiver::archivedData(cache));
    ASSERT_TRUE(decoded.has_value());
    EXPECT_EQ(*decoded, cache);
}

TEST(LastFivePerformingDates, EmptyCacheRoundTripsThroughAnArchive) {
    const std::optional<LastFivePerformingDates> decoded =
        KeyedUnarchiver::unarchivedObject<LastFivePerformingDates>(
            KeyedArchiver::archivedData(LastFivePerformingDates(std::vector<Date>{})));
    ASSERT_TRUE(decoded.has_value());
    EXPECT_TRUE(decoded->dates().empty());
}

TEST(LastFivePerformingDates, ReadsAHandWrittenArchive) {
    const std::optional<LastFivePerformingDates> decoded =
        KeyedUnarchiver::unarchivedObject<LastFivePerformingDates>(
            fixture("last-five-dates-three.plist"));
    ASSERT_TRUE(decoded.has_value());
    EXPECT_EQ(decoded->dates(), dates({700000000.0, 700086400.0, 700172800.5}));
}

TEST(LastFivePerformingDates, ArchiveWithSevenUnsortedDatesKeepsTheFiveLatest) {
    const std::optional<LastFivePerformingDates> decoded =
        KeyedUnarchiver::unarchivedObject<LastFivePerformingDates>(
            fixture("last-five-dates-seven-unsorted.plist"));
    ASSERT_TRUE(decoded.has_value());
    EXPECT_EQ(decoded->dates(), dates({300, 400, 500, 600, 700}));
}

TEST(LastFivePerformingDates, DecodingReadsOnlyTheIndicesBelowTheCount) {
    const std::optional<LastFivePerformingDates> decoded =
        KeyedUnarchiver::unarchivedObject<LastFivePerformingDates>(
            fixture("last-five-dates-count-below-keys.plist"));
    ASSERT_TRUE(decoded.has_value());
    EXPECT_EQ(decoded->dates(), dates({100, 200}));
}

TEST(LastFivePerformingDates, DecodingSkipsObjectsThatAreNotDates) {
    const std::optional<LastFivePerformingDates> decoded =
        KeyedUnarchiver::unarchivedObject<LastFivePerformingDates>(
            fixture("last-five-dates-with-non-date.plist"));
    ASSERT_TRUE(decoded.has_value());
    EXPECT_EQ(decoded->dates(), dates({100, 300}));
}

TEST(LastFivePerformingDates, DecodingSkipsDatesThatAreNotFiniteOrBeyondTheCalendar) {
    // The constructor keeps whatever it is given, so an archive of such dates can be written.
    const LastFivePerformingDates written(dates({std::numeric_limits<double>::quiet_NaN(), 100,
                                                 std::numeric_limits<double>::infinity(), 1e300,
                                                 -std::numeric_limits<double>::infinity()}));
    ASSERT_EQ(written.dates().size(), 5u);
    const auto read = KeyedUnarchiver::unarchivedObject<LastFivePerformingDates>(
        KeyedArchiver::archivedData(written));
    ASSERT_TRUE(read.has_value());
    EXPECT_EQ(read->dates(), dates({100}));

    const auto ends = KeyedUnarchiver::unarchivedObject<LastFivePerformingDates>(
        KeyedArchiver::archivedData(LastFivePerformingDates(
            dates({-kRepresentableDateLimit, kRepresentableDateLimit, 9.000000001e11}))));
    ASSERT_TRUE(ends.has_value());
    EXPECT_EQ(ends->dates(), dates({-kRepresentableDateLimit, kRepresentableDateLimit}));
}

TEST(LastFivePerformingDates, ArchiveWithoutACountDecodesAsEmpty) {
    // A RepeatInterval-shaped object renamed would be rejected by class; an empty object of the
    // right class has no "datesCount" and so no dates.
    struct Empty : SecureCoding {
        std::string className() const override { return "LastFivePerformingDates"; }
        void encode(KeyedArchiver& coder) const override { coder.encodeDate(Date(5), "date0"); }
    };
    const std::optional<LastFivePerformingDates> decoded =
        KeyedUnarchiver::unarchivedObject<LastFivePerformingDates>(
            KeyedArchiver::archivedData(Empty()));
    ASSERT_TRUE(decoded.has_value());
    EXPECT_TRUE(decoded->dates().empty());
}

TEST(LastFivePerformingDates, HugeCountReadsOnlyTheDatesPresent) {
    struct Huge : SecureCoding {
        std::string className() const override { return "LastFivePerformingDates"; }
        void encode(KeyedArchiver& coder) const override {
            coder.encodeInteger(INT64_MAX, "datesCount");
            coder.encodeDate(Date(5), "date0");
            coder.encodeDate(Date(9), "date123456789");
            coder.encodeDate(Date(7), "date07");  // not how an index is written: ignored
        }
    };
    const std::optional<LastFivePerformingDates> decoded =
        KeyedUnarchiver::unarchivedObject<LastFivePerformingDates>(
            KeyedArchiver::archivedData(Huge()));
    ASSERT_TRUE(decoded.has_value());
    EXPECT_EQ(decoded->dates(), dates({5, 9}));
}

TEST(LastFivePerformingDatesDeathTest, NegativeDatesCountStopsTheProcess) {
    const Data data = fixture("last-five-dates-negative-count.plist");
    EXPECT_DEATH(KeyedUnarchiver::unarchivedObject<LastFivePerformingDates>(data),
                 "Fatal error: LastFivePerformingDates archive has a negative datesCount: file "
                 "DovrelFoundation/LastFivePerformingDates, line [0-9]+");
}

TEST(LastFivePerformingDates, TruncatedAndGarbageArchivesGiveAbsent) {
    const Data data = fixture("last-five-dates-three.plist");
    for (std::size_t length = 0; length < data.size(); ++length) {
        EXPECT_FALSE(KeyedUnarchiver::unarchivedObject<LastFivePerformingDates>(
            Data(data.begin(), data.begin() + static_cast<std::ptrdiff_t>(length))))
            << "length " << length;
    }
    EXPECT_FALSE(
        KeyedUnarchiver::unarchivedObject<LastFivePerformingDates>(fixture("garbage.bin")));
    EXPECT_FALSE(KeyedUnarchiver::unarchivedObject<LastFivePerformingDates>(
        fixture("repeat-interval-3-7.plist")));
}

}  // namespace
}  // namespace dovrel
