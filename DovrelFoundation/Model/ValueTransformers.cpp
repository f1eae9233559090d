#include "DovrelFoundation/Model/ValueTransformers.h"

#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "DovrelFoundation/Appearance/ColorExtensions.h"
#include "DovrelFoundation/Model/RepresentableDate.h"
#include "platform/foundation/ValueTransformer.h"

namespace dovrel {

namespace {

constexpr std::size_t kColorBlobSize = 8;
constexpr std::size_t kRepeatIntervalBlobSize = 16;
constexpr std::size_t kSlotStride = 16;
constexpr std::size_t kSlotTagOffset = 8;
constexpr std::uint8_t kSlotHoldsDate = 0;
constexpr std::uint8_t kSlotIsEmpty = 1;

// Little-endian images of 64-bit values, whatever the host's byte order.
void putUInt64(Data& data, std::size_t offset, std::uint64_t value) {
    for (std::size_t i = 0; i < 8; ++i) {
        data[offset + i] = static_cast<std::uint8_t>(value >> (8 * i));
    }
}

std::uint64_t getUInt64(const Data& data, std::size_t offset) {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < 8; ++i) {
        value |= static_cast<std::uint64_t>(data[offset + i]) << (8 * i);
    }
    return value;
}

void putInt64(Data& data, std::size_t offset, std::int64_t value) {
    putUInt64(data, offset, static_cast<std::uint64_t>(value));
}

std::int64_t getInt64(const Data& data, std::size_t offset) {
    return static_cast<std::int64_t>(getUInt64(data, offset));
}

// A component that hex() can turn into a channel: finite, and its 255 multiple fits 64 bits.
bool isUsableComponent(double component) {
    return std::isfinite(component) && std::fabs(component * 255.0) < 9.2e18;
}

// The decimal numbers of an "NSRGB"/"NSWhite" byte string, separated by spaces (a trailing NUL,
// as the phone writes it, also separates). Nothing when a piece is not a number.
std::optional<std::vector<double>> decimalNumbers(const Data& bytes) {
    std::vector<double> numbers;
    const char* cursor = reinterpret_cast<const char*>(bytes.data());
    const char* const end = cursor + bytes.size();
    const auto isSeparator = [](char c) {
        return c == ' ' || c == '\0' || c == '\t' || c == '\n' || c == '\r';
    };
    while (cursor != end) {
        if (isSeparator(*cursor)) {
            ++cursor;
            continue;
        }
        double number = 0;
        const auto [next, error] = std::from_chars(cursor, end, number);
        if (error != std::errc() || (next != end && !isSeparator(*next))) {
            return std::nullopt;
        }
        numbers.push_back(number);
        cursor = next;
    }
    return numbers;
}

std::optional<Color> colorFromComponents(const std::vector<double>& components) {
    for (const double component : components) {
        if (!isUsableComponent(component)) {
            return std::nullopt;
        }
    }
    return Color(components);
}

std::optional<Color> rgbFromBytes(KeyedUnarchiver& coder) {
    const std::optional<Data> bytes = coder.decodeBytes("NSRGB");
    if (!bytes) {
        return std::nullopt;
    }
    std::optional<std::vector<double>> numbers = decimalNumbers(*bytes);
    if (!numbers || numbers->size() < 3 || numbers->size() > 4) {
        return std::nullopt;
    }
    if (numbers->size() == 3) {
        numbers->push_back(1.0);
    }
    return colorFromComponents(*numbers);
}

std::optional<Color> whiteFromBytes(KeyedUnarchiver& coder) {
    const std::optional<Data> bytes = coder.decodeBytes("NSWhite");
    if (!bytes) {
        return std::nullopt;
    }
    std::optional<std::vector<double>> numbers = decimalNumbers(*bytes);
    if (!numbers || numbers->empty() || numbers->size() > 2) {
        return std::nullopt;
    }
    if (numbers->size() == 1) {
        numbers->push_back(1.0);
    }
    return colorFromComponents(*numbers);
}

}  // namespace

std::optional<Color> decodeColorArchive(KeyedUnarchiver& coder) {
    const double alpha = coder.containsValue("UIAlpha") ? coder.decodeDouble("UIAlpha") : 1.0;
    if (coder.containsValue("UIRed") || coder.containsValue("UIGreen") ||
        coder.containsValue("UIBlue")) {
        const double red = coder.decodeDouble("UIRed");
        const double green = coder.decodeDouble("UIGreen");
        const double blue = coder.decodeDouble("UIBlue");
        return coder.error() ? std::nullopt : colorFromComponents({red, green, blue, alpha});
    }
    if (coder.containsValue("UIWhite")) {
        const double white = coder.decodeDouble("UIWhite");
        return coder.error() ? std::nullopt : colorFromComponents({white, alpha});
    }
    const std::int64_t colorSpace = coder.decodeInteger("NSColorSpace");
    const bool prefersWhite = colorSpace == 3 || colorSpace == 4;
    std::optional<Color> color = prefersWhite ? whiteFromBytes(coder) : rgbFromBytes(coder);
    if (!color) {
        color = prefersWhite ? rgbFromBytes(coder) : whiteFromBytes(coder);
    }
    return coder.error() ? std::nullopt : color;
}

Data colorBlob(const Color& color) {
    Data data(kColorBlobSize);
    putInt64(data, 0, hex(color));
    return data;
}

std::optional<Color> colorFromBlob(const Data& data) {
    if (data.size() == kColorBlobSize) {
        const std::int64_t value = getInt64(data, 0);
        for (const Color& paletteColor : habitPalette()) {
            if (hex(paletteColor) == value) {
                return paletteColor;
            }
        }
        return colorFromHex(value);
    }
    return KeyedUnarchiver::unarchivedObject(data, {kColorArchiveClassName, "NSColor"},
                                             decodeColorArchive);
}

Data repeatIntervalBlob(const RepeatInterval& interval) {
    Data data(kRepeatIntervalBlobSize);
    putInt64(data, 0, interval.times());
    putInt64(data, 8, interval.days());
    return data;
}

std::optional<RepeatInterval> repeatIntervalFromBlob(const Data& data) {
    if (data.size() == kRepeatIntervalBlobSize) {
        return RepeatInterval(getInt64(data, 0), getInt64(data, 8));
    }
    return KeyedUnarchiver::unarchivedObject<RepeatInterval>(data);
}

Data lastFivePerformingDatesBlob(const LastFivePerformingDates& dates) {
    Data data(kLastFivePerformingDatesBlobSize, 0);
    const std::vector<Date>& list = dates.dates();
    for (std::size_t slot = 0; slot < LastFivePerformingDates::kCapacity; ++slot) {
        const std::size_t offset = slot * kSlotStride;
        if (slot < list.size()) {
            putUInt64(data, offset,
                      std::bit_cast<std::uint64_t>(list[slot].timeIntervalSinceReferenceDate()));
            data[offset + kSlotTagOffset] = kSlotHoldsDate;
        } else {
            data[offset + kSlotTagOffset] = kSlotIsEmpty;
        }
    }
    return data;
}

std::optional<LastFivePerformingDates> lastFivePerformingDatesFromBlob(const Data& data) {
    if (data.size() != kLastFivePerformingDatesBlobSize) {
        return std::nullopt;
    }
    std::vector<Date> dates;
    for (std::size_t slot = 0; slot < LastFivePerformingDates::kCapacity; ++slot) {
        const std::size_t offset = slot * kSlotStride;
        if (data[offset + kSlotTagOffset] != kSlotHoldsDate) {
            continue;
        }
        // A slot tagged as holding a date whose number is no date that habit data may hold (not
        // a number, infinite, or beyond the calendar's reach) is unreadable, like an empty one.
        const Date date(std::bit_cast<double>(getUInt64(data, offset)));
        if (isRepresentable(date)) {
            dates.push_back(date);
        }
    }
    return LastFivePerformingDates(std::move(dates));
}

std::shared_ptr<ClosureValueTransformer<Color, Data>> makeColorTransformer() {
    return std::make_shared<ClosureValueTransformer<Color, Data>>(
        std::string(kColorTransformerName),
        [](const std::optional<Color>& color) -> std::optional<Data> {
            if (!color) {
                return std::nullopt;
            }
            return colorBlob(*color);
        },
        [](const std::optional<Data>& data) -> std::optional<Color> {
            if (!data) {
                return std::nullopt;
            }
            return colorFromBlob(*data);
        });
}

std::shared_ptr<ClosureValueTransformer<RepeatInterval, Data>> makeRepeatIntervalTransformer() {
    return std::make_shared<ClosureValueTransformer<RepeatInterval, Data>>(
        std::string(kRepeatIntervalTransformerName),
        [](const std::optional<RepeatInterval>& interval) -> std::optional<Data> {
            if (!interval) {
                return std::nullopt;
            }
            return repeatIntervalBlob(*interval);
        },
        [](const std::optional<Data>& data) -> std::optional<RepeatInterval> {
            if (!data) {
                return std::nullopt;
            }
            return repeatIntervalFromBlob(*data);
        });
}

std::shared_ptr<ClosureValueTransformer<LastFivePerformingDates, Data>>
makeLastFivePerformingDatesTransformer() {
    return std::make_shared<ClosureValueTransformer<LastFivePerformingDates, Data>>(
        std::string(kLastFivePerformingDatesTransformerName),
        [](const std::optional<LastFivePerformingDates>& dates) -> std::optional<Data> {
            if (!dates) {
                return std::nullopt;
            }
            return lastFivePerformingDatesBlob(*dates);
        },
        [](const std::optional<Data>& data) -> std::optional<LastFivePerformingDates> {
            if (!data) {
                return std::nullopt;
            }
            return lastFivePerformingDatesFromBlob(*data);
        });
}

void registerValueTransformers() {
    const auto colorTransformer = makeColorTransformer();
    ValueTransformer::setValueTransformer(colorTransformer, colorTransformer->name());
    const auto repeatIntervalTransformer = makeRepeatIntervalTransformer();
    ValueTransformer::setValueTransformer(repeatIntervalTransformer,
                                          repeatIntervalTransformer->name());
    const auto datesTransformer = makeLastFivePerformingDatesTransformer();
    ValueTransformer::setValueTransformer(datesTransformer, datesTransformer->name());
}

}  // namespace dovrel
