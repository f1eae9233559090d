#pragma once

#include <memory>
#include <optional>
#include <string_view>

#include "DovrelFoundation/Model/ClosureValueTransformer.h"
#include "DovrelFoundation/Model/LastFivePerformingDates.h"
#include "DovrelFoundation/Model/RepeatInterval.h"
#include "platform/foundation/Color.h"
#include "platform/foundation/Data.h"
#include "platform/foundation/KeyedUnarchiver.h"

namespace dovrel {

// The named transformers through which the store keeps a habit's colour, repeat interval and
// five-date cache as blobs. The blobs are fixed-size little-endian images; keyed archives that
// earlier versions wrote are still read for colours and repeat intervals. An absent value
// transforms to absent data and absent data to an absent value.

inline constexpr std::string_view kColorTransformerName = "ColorTransformer";
inline constexpr std::string_view kRepeatIntervalTransformerName = "RepeatIntervalTransformer";
inline constexpr std::string_view kLastFivePerformingDatesTransformerName =
    "LastFivePerformingDatesTransformer";

// Registers the three transformers with ValueTransformer::setValueTransformer, in this order:
// "ColorTransformer", "RepeatIntervalTransformer", "LastFivePerformingDatesTransformer". Must
// run before a store that uses them is opened. Registering again replaces them.
void registerValueTransformers();

// Colour <-> Data under "ColorTransformer".
std::shared_ptr<ClosureValueTransformer<Color, Data>> makeColorTransformer();
// RepeatInterval <-> Data under "RepeatIntervalTransformer".
std::shared_ptr<ClosureValueTransformer<RepeatInterval, Data>> makeRepeatIntervalTransformer();
// LastFivePerformingDates <-> Data under "LastFivePerformingDatesTransformer".
std::shared_ptr<ClosureValueTransformer<LastFivePerformingDates, Data>>
makeLastFivePerformingDatesTransformer();

// Colour blob, 8 bytes: the colour's hex() as a signed 64-bit integer (0xRRGGBB for colours
// in range; components outside 0..1 spill into the neighbouring bits, and a grey takes green
// and blue from its alpha, as hex() defines).
Data colorBlob(const Color& color);
// 8 bytes: the number's habit-palette colour when one has that hex(), else colorFromHex().
// Any other length: a keyed archive of a colour (see decodeColorArchive); unreadable: nothing.
std::optional<Color> colorFromBlob(const Data& data);

// Repeat-interval blob, 16 bytes: times then days, signed 64-bit integers, as they are.
Data repeatIntervalBlob(const RepeatInterval& interval);
// 16 bytes: the two numbers, normalised as by the RepeatInterval constructor. Any other length:
// a keyed archive of a RepeatInterval; unreadable: nothing.
std::optional<RepeatInterval> repeatIntervalFromBlob(const Data& data);

// Five-date blob, 73 bytes: five slots at offsets 0, 16, 32, 48 and 64. A slot holds the date
// as a 64-bit IEEE-754 number of seconds since 2001-01-01 UTC (all zero when empty), then a tag
// byte (0: a date, 1: empty), then 7 bytes of padding in slots 0 to 3 (written as zeros,
// ignored on reading). Slot i holds dates()[i]; the slots after the last date are empty.
inline constexpr std::size_t kLastFivePerformingDatesBlobSize = 73;
Data lastFivePerformingDatesBlob(const LastFivePerformingDates& dates);
// 73 bytes: the dates of the slots tagged 0 (any other tag reads as empty), built into a
// LastFivePerformingDates (sorted, last five). A slot tagged 0 whose date is not representable
// (RepresentableDate.h: not a number, infinite, or too far away for the calendar) is skipped as
// unreadable. Any other length: nothing (there is no archive fallback).
std::optional<LastFivePerformingDates> lastFivePerformingDatesFromBlob(const Data& data);

// A colour object of a keyed archive, class "UIColor" or "NSColor" (or one that lists either
// among its "$classes"), read from whichever of these forms it holds:
//   "UIRed", "UIGreen", "UIBlue" (and "UIAlpha")   an RGB colour;
//   "UIWhite" (and "UIAlpha")                       a grey;
//   "NSRGB" bytes "r g b [a]" in decimal            an RGB colour;
//   "NSWhite" bytes "w [a]" in decimal              a grey;
// "NSColorSpace" (1 or 2: RGB, 3 or 4: grey) says which of "NSRGB" and "NSWhite" to prefer. A
// missing alpha is 1. Nothing when no form is present or a component is not a finite number of
// a usable size.
inline constexpr std::string_view kColorArchiveClassName = "UIColor";
std::optional<Color> decodeColorArchive(KeyedUnarchiver& coder);

}  // namespace dovrel
