#include "DovrelFoundation/Model/ValueTransformers.h"

#include <gtest/gtest.h>

#include <any>
#include <bit>
#include <cmath>
#include <cstring>
#include <fstream>
#include <iterator>
#include <limits>
#include <string>

#include "DovrelFoundation/Appearance/ColorExtensions.h"
#include "DovrelFoundation/Model/RepresentableDate.h"
#include "platform/foundation/KeyedArchiver.h"
#include "platform/foundation/KeyedUnarchiver.h"
#include "platform/foundation/ValueTransformer.h"

namespace dovrel {
namespace {

Data fixture(const std::string& name) {
    std::ifstream file(std::string(DOVREL_TEST_DATA_DIR) + "/keyed-archives/" + name,
                       std::ios::binary);
    EXPECT_TRUE(file.good()) << name;
    return Data(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

Data littleEndian(std::uint64_t value) {
    Data bytes;
    for (int i = 0; i < 8; ++i) {
        bytes.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
    }
    return bytes;
}

Data concatenated(std::initializer_list<Data> parts) {
    Data result;
    for (const Data& part : parts) {
        result.insert(result.end(), part.begin(), part.end());
    }
    return result;
}

// Bytes of `size` that are neither empty nor a keyed archive: a counting pattern.
Data patternOfSize(std::size_t size) {
    Data bytes(size);
    for (std::size_t i = 0; i < size; ++i) {
        bytes[i] = static_cast<std::uint8_t>(i * 7 + 1);
    }
    return bytes;
}

std::vector<Date> dates(std::initializer_list<double> seconds) {
    std::vector<Date> result;
    for (const double value : seconds) {
        result.emplace_back(value);
    }
    return result;
}

// A colour archive of the phone's UIColor kind, written through our archiver.
struct UIColorArchive : SecureCoding {
    double red = 0, green = 0, blue = 0, alpha = 1;
    std::string className() const override { return "UIColor"; }
    void encode(KeyedArchiver& coder) const override {
        coder.encodeInteger(4, "UIColorComponentCount");
        coder.encodeDouble(red, "UIRed");
        coder.encodeDouble(green, "UIGreen");
        coder.encodeDouble(blue, "UIBlue");
        coder.encodeDouble(alpha, "UIAlpha");
    }
};

// ---- Registration -------------------------------------------------------------------------

TEST(ValueTransformers, RegistersTheThreeNamedTransformers) {
    registerValueTransformers();
    for (const std::string_view name :
         {"ColorTransformer", "RepeatIntervalTransformer", "LastFivePerformingDatesTransformer"}) {
        const std::shared_ptr<ValueTransformer> transformer =
            ValueTransformer::valueTransformer(name);
        ASSERT_NE(transformer, nullptr) << name;
        EXPECT_EQ(transformer->transformedValueClass(), typeid(Data)) << name;
        EXPECT_TRUE(transformer->allowsReverseTransformation()) << name;
        const auto* named = dynamic_cast<const NamedValueTransformer*>(transformer.get());
        ASSERT_NE(named, nullptr);
        EXPECT_EQ(named->name(), name);
    }
}

TEST(ValueTransformers, RegisteredTransformersConvertThroughTheRegistry) {
    registerValueTransformers();
    const auto transformer = ValueTransformer::valueTransformer("RepeatIntervalTransformer");
    ASSERT_NE(transformer, nullptr);
    const std::any data = transformer->transformedValue(std::any(RepeatInterval(3, 7)));
    ASSERT_EQ(data.type(), typeid(Data));
    const std::any back = transformer->reverseTransformedValue(data);
    ASSERT_EQ(back.type(), typeid(RepeatInterval));
    EXPECT_EQ(std::any_cast<RepeatInterval>(back), RepeatInterval(3, 7));
}

TEST(ValueTransformers, AbsentValuesTransformToAbsentData) {
    const auto color = makeColorTransformer();
    const auto interval = makeRepeatIntervalTransformer();
    const auto dates = makeLastFivePerformingDatesTransformer();
    for (const ValueTransformer* transformer :
         {static_cast<const ValueTransformer*>(color.get()),
          static_cast<const ValueTransformer*>(interval.get()),
          static_cast<const ValueTransformer*>(dates.get())}) {
        EXPECT_FALSE(transformer->transformedValue(std::any{}).has_value());
        EXPECT_FALSE(transformer->reverseTransformedValue(std::any{}).has_value());
        // A value of another type counts as absent.
        EXPECT_FALSE(transformer->transformedValue(std::any(std::string("x"))).has_value());
        EXPECT_FALSE(transformer->reverseTransformedValue(std::any(std::string("x"))).has_value());
    }
    EXPECT_FALSE(color->transformedValue(std::any(RepeatInterval())).has_value());
    EXPECT_FALSE(interval->transformedValue(std::any(Color::rgb(1, 0, 0))).has_value());
}

// ---- Colour -------------------------------------------------------------------------------

TEST(ColorTransformer, ColorFrom0x3366CCRoundTripsToTheSameEightBytes) {
    const auto transformer = makeColorTransformer();
    const Data expected{0xCC, 0x66, 0x33, 0x00, 0x00, 0x00, 0x00, 0x00};
    const std::any data = transformer->transformedValue(std::any(colorFromHex(0x3366CC)));
    ASSERT_EQ(data.type(), typeid(Data));
    EXPECT_EQ(std::any_cast<Data>(data), expected);
    const std::any color = transformer->reverseTransformedValue(data);
    ASSERT_EQ(color.type(), typeid(Color));
    EXPECT_EQ(std::any_cast<Data>(transformer->transformedValue(color)), expected);
}

TEST(ColorTransformer, PureGreyIsStoredAs0x7FFFFF) {
    const Data data = colorBlob(Color::white(0.5, 1.0));
    EXPECT_EQ(data, (Data{0xFF, 0xFF, 0x7F, 0x00, 0x00, 0x00, 0x00, 0x00}));
}

TEST(ColorTransformer, ComponentsOutsideTheRangeSpillIntoNeighbouringBits) {
    // Red 2.0 gives 510 = 0x1FE, shifted 16 bits: bit 24 is set, no masking.
    EXPECT_EQ(colorBlob(Color::rgb(2.0, 0.0, 0.0)), littleEndian(0x1FE0000));
}

TEST(ColorTransformer, PaletteNumberReadsAsThePaletteColourItself) {
    for (const Color& paletteColor : habitPalette()) {
        const std::optional<Color> read = colorFromBlob(littleEndian(hex(paletteColor)));
        ASSERT_TRUE(read.has_value());
        EXPECT_EQ(*read, paletteColor);
        EXPECT_EQ(read->darkComponents(), paletteColor.darkComponents());
    }
}

TEST(ColorTransformer, OtherNumberReadsAsAnRGBColourWithAlphaOne) {
    for (const Color& paletteColor : habitPalette()) {
        ASSERT_NE(hex(paletteColor), 0x123456);
    }
    const std::optional<Color> read = colorFromBlob(littleEndian(0x123456));
    ASSERT_TRUE(read.has_value());
    EXPECT_EQ(read->components(),
              (std::vector<double>{0x12 / 255.0, 0x34 / 255.0, 0x56 / 255.0, 1.0}));
}

TEST(ColorTransformer, ReadsAHandWrittenUIColorArchive) {
    const std::optional<Color> color = colorFromBlob(fixture("color-rgb.plist"));
    ASSERT_TRUE(color.has_value());
    EXPECT_EQ(color->components(), (std::vector<double>{0.2, 0.4, 0.8, 1.0}));
    EXPECT_EQ(hex(*color), 0x3366CC);
}

TEST(ColorTransformer, ReadsAHandWrittenGreyArchive) {
    const std::optional<Color> color = colorFromBlob(fixture("color-grey.plist"));
    ASSERT_TRUE(color.has_value());
    EXPECT_EQ(color->components(), (std::vector<double>{0.5, 1.0}));
    EXPECT_EQ(hex(*color), 0x7FFFFF);
}

TEST(ColorTransformer, ReadsTheByteStringForms) {
    const std::optional<Color> rgb = colorFromBlob(fixture("color-nsrgb-only.plist"));
    ASSERT_TRUE(rgb.has_value());
    EXPECT_EQ(rgb->components(), (std::vector<double>{0.2, 0.4, 0.8, 0.5}));
    const std::optional<Color> white = colorFromBlob(fixture("color-nswhite-only.plist"));
    ASSERT_TRUE(white.has_value());
    EXPECT_EQ(white->components(), (std::vector<double>{0.25, 1.0}));
}

TEST(ColorTransformer, ReadsAnArchiveOfAColourSubclass) {
    const std::optional<Color> color = colorFromBlob(fixture("color-subclass.plist"));
    ASSERT_TRUE(color.has_value());
    EXPECT_EQ(color->components(), (std::vector<double>{1.0, 0.5, 0.0, 1.0}));
}

TEST(ColorTransformer, ArchiveWithoutComponentsIsAbsent) {
    EXPECT_FALSE(colorFromBlob(fixture("color-without-components.plist")).has_value());
}

TEST(ColorTransformer, ArchiveOfAnotherClassIsAbsent) {
    EXPECT_FALSE(colorFromBlob(fixture("repeat-interval-3-7.plist")).has_value());
}

TEST(ColorTransformer, ColourArchiveRoundTripsThroughOurArchiver) {
    UIColorArchive archive;
    archive.red = 1.0;
    archive.green = 0.5;
    archive.blue = 0.25;
    archive.alpha = 0.75;
    const std::optional<Color> color = colorFromBlob(KeyedArchiver::archivedData(archive));
    ASSERT_TRUE(color.has_value());
    EXPECT_EQ(color->components(), (std::vector<double>{1.0, 0.5, 0.25, 0.75}));
}

TEST(ColorTransformer, ColourArchiveWithNonFiniteComponentIsAbsent) {
    UIColorArchive archive;
    archive.red = std::numeric_limits<double>::quiet_NaN();
    EXPECT_FALSE(colorFromBlob(KeyedArchiver::archivedData(archive)).has_value());
    archive.red = std::numeric_limits<double>::infinity();
    EXPECT_FALSE(colorFromBlob(KeyedArchiver::archivedData(archive)).has_value());
}

TEST(ColorTransformer, BlobsOfEveryOtherLengthAreAbsent) {
    for (std::size_t size = 0; size <= 100; ++size) {
        if (size == 8) {
            continue;
        }
        EXPECT_FALSE(colorFromBlob(patternOfSize(size)).has_value()) << size;
        EXPECT_FALSE(colorFromBlob(Data(size, 0)).has_value()) << size;
    }
}

TEST(ColorTransformer, TruncatedAndGarbageArchivesAreAbsent) {
    const Data archive = fixture("color-rgb.plist");
    for (std::size_t length = 0; length < archive.size(); ++length) {
        if (length == 8) {
            continue;  // eight bytes are a number, not an archive
        }
        EXPECT_FALSE(colorFromBlob(Data(archive.begin(),
                                        archive.begin() + static_cast<std::ptrdiff_t>(length)))
                         .has_value())
            << length;
    }
    EXPECT_FALSE(colorFromBlob(fixture("garbage.bin")).has_value());
}

// ---- Repeat interval ----------------------------------------------------------------------

TEST(RepeatIntervalTransformer, Interval3Over7IsStoredAsTwoLittleEndianIntegers) {
    const auto transformer = makeRepeatIntervalTransformer();
    const std::any data = transformer->transformedValue(std::any(RepeatInterval(3, 7)));
    ASSERT_EQ(data.type(), typeid(Data));
    EXPECT_EQ(std::any_cast<Data>(data), (Data{0x03, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x07,
                                               0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00}));
}

TEST(RepeatIntervalTransformer, SixteenBytesHolding0Over0ReadBackAsEveryDay) {
    const std::optional<RepeatInterval> interval = repeatIntervalFromBlob(Data(16, 0));
    ASSERT_TRUE(interval.has_value());
    EXPECT_EQ(*interval, RepeatInterval(1, 1));
    EXPECT_EQ(interval->times(), 1);
    EXPECT_EQ(interval->days(), 1);
}

TEST(RepeatIntervalTransformer, ReadingNormalisesTheNumbers) {
    const std::optional<RepeatInterval> negative = repeatIntervalFromBlob(
        concatenated({littleEndian(static_cast<std::uint64_t>(-2)), littleEndian(5)}));
    ASSERT_TRUE(negative.has_value());
    EXPECT_EQ(negative->times(), 1);
    EXPECT_EQ(negative->days(), 5);
    const std::optional<RepeatInterval> large =
        repeatIntervalFromBlob(concatenated({littleEndian(0x0102030405060708), littleEndian(1)}));
    ASSERT_TRUE(large.has_value());
    EXPECT_EQ(large->times(), 0x0102030405060708);
    EXPECT_EQ(large->days(), 1);
}

TEST(RepeatIntervalTransformer, NumbersSetDirectlyAreStoredAsTheyAre) {
    RepeatInterval interval;
    interval.setTimes(5);
    interval.setDays(5);
    const Data data = repeatIntervalBlob(interval);
    EXPECT_EQ(data, concatenated({littleEndian(5), littleEndian(5)}));
    EXPECT_EQ(repeatIntervalFromBlob(data), RepeatInterval(1, 1));
}

TEST(RepeatIntervalTransformer, RoundTripsIntervals) {
    const auto transformer = makeRepeatIntervalTransformer();
    for (const RepeatInterval& interval :
         {RepeatInterval(), RepeatInterval(3, 7), RepeatInterval(2, 1), RepeatInterval(1, 30)}) {
        const std::any back =
            transformer->reverseTransformedValue(transformer->transformedValue(interval));
        ASSERT_EQ(back.type(), typeid(RepeatInterval));
        EXPECT_EQ(std::any_cast<RepeatInterval>(back), interval);
    }
}

TEST(RepeatIntervalTransformer, ReadsHandWrittenArchives) {
    EXPECT_EQ(repeatIntervalFromBlob(fixture("repeat-interval-3-7.plist")), RepeatInterval(3, 7));
    EXPECT_EQ(repeatIntervalFromBlob(fixture("repeat-interval-times-only-4.plist")),
              RepeatInterval(4, 1));
    EXPECT_EQ(repeatIntervalFromBlob(fixture("repeat-interval-no-keys.plist")),
              RepeatInterval(1, 1));
}

TEST(RepeatIntervalTransformer, ReadsArchivesOfOurArchiver) {
    EXPECT_EQ(repeatIntervalFromBlob(KeyedArchiver::archivedData(RepeatInterval(2, 9))),
              RepeatInterval(2, 9));
}

TEST(RepeatIntervalTransformer, UnreadableArchivesAreAbsent) {
    EXPECT_FALSE(repeatIntervalFromBlob(fixture("repeat-interval-3-7-truncated.bin")));
    EXPECT_FALSE(repeatIntervalFromBlob(fixture("repeat-interval-3-7-without-trailer.bin")));
    EXPECT_FALSE(repeatIntervalFromBlob(fixture("repeat-interval-times-is-text.plist")));
    EXPECT_FALSE(repeatIntervalFromBlob(fixture("garbage.bin")));
    EXPECT_FALSE(repeatIntervalFromBlob(fixture("color-rgb.plist")));
    EXPECT_FALSE(repeatIntervalFromBlob(fixture("bplist-not-an-archive.plist")));
}

TEST(RepeatIntervalTransformer, BlobsOfEveryOtherLengthAreAbsent) {
    for (std::size_t size = 0; size <= 100; ++size) {
        if (size == 16) {
            continue;
        }
        EXPECT_FALSE(repeatIntervalFromBlob(patternOfSize(size)).has_value()) << size;
        EXPECT_FALSE(repeatIntervalFromBlob(Data(size, 0)).has_value()) << size;
    }
}

TEST(RepeatIntervalTransformer, EveryTruncationOfAnArchiveIsAbsent) {
    const Data archive = fixture("repeat-interval-3-7.plist");
    for (std::size_t length = 0; length < archive.size(); ++length) {
        if (length == 16) {
            continue;  // sixteen bytes are two numbers, not an archive
        }
        EXPECT_FALSE(
            repeatIntervalFromBlob(
                Data(archive.begin(), archive.begin() + static_cast<std::ptrdiff_t>(length)))
                .has_value())
            << length;
    }
}

TEST(RepeatIntervalTransformer, DamagedArchivesNeverCrashAndDecodeNormalised) {
    // Every byte of a real archive replaced by a few values: each result is either absent or a
    // normalised interval.
    const Data archive = fixture("repeat-interval-3-7.plist");
    int decoded = 0;
    int absent = 0;
    for (std::size_t index = 0; index < archive.size(); ++index) {
        for (const std::uint8_t replacement : {0x00, 0x01, 0x7F, 0x80, 0xFF}) {
            Data damaged = archive;
            damaged[index] = replacement;
            const std::optional<RepeatInterval> interval = repeatIntervalFromBlob(damaged);
            if (interval) {
                ++decoded;
                EXPECT_GE(interval->times(), 1);
                EXPECT_GE(interval->days(), 1);
                EXPECT_FALSE(interval->times() == interval->days() && interval->times() != 1);
            } else {
                ++absent;
            }
        }
    }
    EXPECT_GT(decoded, 0);
    EXPECT_GT(absent, 0);
}

// ---- Five dates ---------------------------------------------------------------------------

constexpr std::size_t kSlotTagOffsets[] = {8, 24, 40, 56, 72};

TEST(LastFivePerformingDatesTransformer, EmptyCacheIs73BytesWithEveryTagByteOne) {
    const auto transformer = makeLastFivePerformingDatesTransformer();
    const std::any data =
        transformer->transformedValue(std::any(LastFivePerformingDates(std::vector<Date>{})));
    ASSERT_EQ(data.type(), typeid(Data));
    const Data bytes = std::any_cast<Data>(data);
    ASSERT_EQ(bytes.size(), 73u);
    for (const std::size_t tag : kSlotTagOffsets) {
        EXPECT_EQ(bytes[tag], 1) << tag;
        for (std::size_t i = tag - 8; i < tag; ++i) {
            EXPECT_EQ(bytes[i], 0) << i;  // an empty slot's date is all zero bytes
        }
    }
}

TEST(LastFivePerformingDatesTransformer, TwoDatesFillSlotsZeroAndOneAndTagTheRestEmpty) {
    const Data bytes =
        lastFivePerformingDatesBlob(LastFivePerformingDates(dates({2000.5, 1000.0})));
    ASSERT_EQ(bytes.size(), 73u);
    EXPECT_EQ(Data(bytes.begin(), bytes.begin() + 8),
              littleEndian(std::bit_cast<std::uint64_t>(1000.0)));
    EXPECT_EQ(bytes[8], 0);
    EXPECT_EQ(Data(bytes.begin() + 16, bytes.begin() + 24),
              littleEndian(std::bit_cast<std::uint64_t>(2000.5)));
    EXPECT_EQ(bytes[24], 0);
    EXPECT_EQ(bytes[40], 1);
    EXPECT_EQ(bytes[56], 1);
    EXPECT_EQ(bytes[72], 1);

    const std::optional<LastFivePerformingDates> read = lastFivePerformingDatesFromBlob(bytes);
    ASSERT_TRUE(read.has_value());
    EXPECT_EQ(read->dates(), dates({1000.0, 2000.5}));
}

TEST(LastFivePerformingDatesTransformer, FiveDatesRoundTrip) {
    const auto transformer = makeLastFivePerformingDatesTransformer();
    const LastFivePerformingDates cache(dates({-5.25, 0, 1, 700000000, 800000000.75}));
    const std::any back =
        transformer->reverseTransformedValue(transformer->transformedValue(std::any(cache)));
    ASSERT_EQ(back.type(), typeid(LastFivePerformingDates));
    EXPECT_EQ(std::any_cast<LastFivePerformingDates>(back), cache);
}

TEST(LastFivePerformingDatesTransformer, DataOf72Or74BytesReadsAsAbsent) {
    const Data valid = lastFivePerformingDatesBlob(LastFivePerformingDates(dates({1, 2})));
    Data shorter(valid.begin(), valid.end() - 1);
    Data longer = valid;
    longer.push_back(0);
    EXPECT_FALSE(lastFivePerformingDatesFromBlob(shorter).has_value());
    EXPECT_FALSE(lastFivePerformingDatesFromBlob(longer).has_value());
}

TEST(LastFivePerformingDatesTransformer, BlobsOfEveryOtherLengthAreAbsentWithoutArchiveFallback) {
    for (std::size_t size = 0; size <= 100; ++size) {
        if (size == 73) {
            continue;
        }
        EXPECT_FALSE(lastFivePerformingDatesFromBlob(patternOfSize(size)).has_value()) << size;
    }
    EXPECT_FALSE(lastFivePerformingDatesFromBlob(fixture("last-five-dates-three.plist")));
    EXPECT_FALSE(lastFivePerformingDatesFromBlob(
        KeyedArchiver::archivedData(LastFivePerformingDates(dates({1, 2})))));
}

TEST(LastFivePerformingDatesTransformer, ReadingSortsTheSlotsAndIgnoresPadding) {
    Data bytes(73, 0xAA);  // padding full of noise
    const double slotDates[] = {500, 100, 0, 300, 200};
    for (std::size_t slot = 0; slot < 5; ++slot) {
        const Data date = littleEndian(std::bit_cast<std::uint64_t>(slotDates[slot]));
        std::copy(date.begin(), date.end(), bytes.begin() + static_cast<std::ptrdiff_t>(16 * slot));
        bytes[16 * slot + 8] = slot == 2 ? 1 : 0;  // slot 2 is empty
    }
    const std::optional<LastFivePerformingDates> read = lastFivePerformingDatesFromBlob(bytes);
    ASSERT_TRUE(read.has_value());
    EXPECT_EQ(read->dates(), dates({100, 200, 300, 500}));

    bytes[16 * 3 + 8] = 2;  // a tag that is neither 0 nor 1 reads as empty
    const std::optional<LastFivePerformingDates> withOddTag =
        lastFivePerformingDatesFromBlob(bytes);
    ASSERT_TRUE(withOddTag.has_value());
    EXPECT_EQ(withOddTag->dates(), dates({100, 200, 500}));
}

// The blob with `seconds` written into the (tagged) slot `slot` of a cache of five dates.
Data blobWithSlot(std::size_t slot, double seconds) {
    Data bytes = lastFivePerformingDatesBlob(LastFivePerformingDates(dates({1, 2, 3, 4, 5})));
    const Data date = littleEndian(std::bit_cast<std::uint64_t>(seconds));
    std::copy(date.begin(), date.end(), bytes.begin() + static_cast<std::ptrdiff_t>(16 * slot));
    return bytes;
}

TEST(LastFivePerformingDatesTransformer, ATaggedSlotHoldingNoNumberOrAnInfinityIsSkipped) {
    for (const double seconds :
         {std::numeric_limits<double>::quiet_NaN(), -std::numeric_limits<double>::quiet_NaN(),
          std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity()}) {
        const std::optional<LastFivePerformingDates> read =
            lastFivePerformingDatesFromBlob(blobWithSlot(1, seconds));
        ASSERT_TRUE(read.has_value()) << seconds;
        EXPECT_EQ(read->dates(), dates({1, 3, 4, 5})) << seconds;
    }
}

TEST(LastFivePerformingDatesTransformer, ADateBeyondTheRepresentableRangeIsSkipped) {
    for (const double seconds :
         {1e300, -1e300, 1e15, std::nextafter(kRepresentableDateLimit, 1e300),
          -std::nextafter(kRepresentableDateLimit, 1e300)}) {
        const std::optional<LastFivePerformingDates> read =
            lastFivePerformingDatesFromBlob(blobWithSlot(4, seconds));
        ASSERT_TRUE(read.has_value()) << seconds;
        EXPECT_EQ(read->dates(), dates({1, 2, 3, 4})) << seconds;
    }
}

TEST(LastFivePerformingDatesTransformer, DatesAtTheEndsOfTheRepresentableRangeAreKept) {
    Data bytes = blobWithSlot(0, -kRepresentableDateLimit);
    const Data latest = littleEndian(std::bit_cast<std::uint64_t>(kRepresentableDateLimit));
    std::copy(latest.begin(), latest.end(), bytes.begin() + 64);
    const std::optional<LastFivePerformingDates> read = lastFivePerformingDatesFromBlob(bytes);
    ASSERT_TRUE(read.has_value());
    EXPECT_EQ(read->dates(), dates({-kRepresentableDateLimit, 2, 3, 4, kRepresentableDateLimit}));
}

TEST(LastFivePerformingDatesTransformer, ABlobOfOnlyUnreadableSlotsIsAnEmptyCache) {
    Data bytes = blobWithSlot(0, std::numeric_limits<double>::infinity());
    for (std::size_t slot = 1; slot < 5; ++slot) {
        const Data date =
            littleEndian(std::bit_cast<std::uint64_t>(1e300 * static_cast<double>(slot)));
        std::copy(date.begin(), date.end(), bytes.begin() + static_cast<std::ptrdiff_t>(16 * slot));
    }
    const std::optional<LastFivePerformingDates> read = lastFivePerformingDatesFromBlob(bytes);
    ASSERT_TRUE(read.has_value());
    EXPECT_TRUE(read->dates().empty());
}

}  // namespace
}  // namespace dovrel
