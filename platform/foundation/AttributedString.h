#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "platform/foundation/Color.h"

namespace dovrel {

// How the lines of a paragraph sit between its margins. Raw values as a toolkit numbers them.
enum class TextAlignment : long { left = 0, center = 1, right = 2, justified = 3, natural = 4 };

// Underline styles, combinable as a toolkit's bit set: a line style, optionally a pattern and
// "by word". Raw values as that toolkit numbers them.
enum class UnderlineStyle : long {
    none = 0x00,
    single = 0x01,
    thick = 0x02,
    double_ = 0x09,
    patternDot = 0x0100,
    patternDash = 0x0200,
    patternDashDot = 0x0300,
    patternDashDotDot = 0x0400,
    byWord = 0x8000,
};

// The line layout of a paragraph. Line heights of 0 mean "as the font needs".
struct ParagraphStyle {
    TextAlignment alignment = TextAlignment::natural;
    double minimumLineHeight = 0;
    double maximumLineHeight = 0;
    double lineSpacing = 0;
    friend bool operator==(const ParagraphStyle&, const ParagraphStyle&) = default;
};

// A font by family, size in points and weight (100 thin ... 400 regular ... 900 black). An empty
// family is the desktop's interface font.
struct Font {
    std::string familyName;
    double pointSize = 13;
    int weight = 400;
    friend bool operator==(const Font&, const Font&) = default;
};

enum class TextAttribute {
    foregroundColor,  // Color
    paragraphStyle,   // ParagraphStyle
    font,             // Font
    kern,             // double: extra space after each character, in points
    underlineStyle,   // UnderlineStyle
    underlineColor,   // Color
};

using TextAttributeValue = std::variant<Color, ParagraphStyle, Font, double, UnderlineStyle>;
using TextAttributes = std::map<TextAttribute, TextAttributeValue>;

// A range of UTF-16 code units, the unit in which attributed texts are measured.
struct TextRange {
    std::int64_t location = 0;
    std::int64_t length = 0;
    std::int64_t end() const noexcept { return location + length; }
    friend bool operator==(const TextRange&, const TextRange&) = default;
};

// A text with attributes over ranges of it, as a toolkit's attributed string: an immutable value
// (the mutating operations return or change only this copy). The text is UTF-8; ranges count
// UTF-16 code units, as text widgets measure them, so a character outside the Basic
// Multilingual Plane counts 2.
//
// The attributes are kept as runs: consecutive ranges that together cover the whole text, each
// with the attributes that hold over it; neighbouring runs always differ (equal ones merge).
class AttributedString {
  public:
    struct Run {
        TextRange range;
        TextAttributes attributes;
        friend bool operator==(const Run&, const Run&) = default;
    };

    AttributedString() = default;
    // The whole text with `attributes` (which may be empty). Text that is not valid UTF-8 is
    // measured as if each bad byte were one replacement character.
    explicit AttributedString(std::string text, TextAttributes attributes = {});

    const std::string& string() const noexcept { return text_; }
    // The length in UTF-16 code units.
    std::int64_t length() const noexcept { return length_; }
    const std::vector<Run>& runs() const noexcept { return runs_; }

    // The attributes at UTF-16 offset `location` (empty past the end).
    TextAttributes attributes(std::int64_t location) const;

    // Sets each of `attributes` over `range` (clamped to the text), keeping the other attributes
    // already there.
    void addAttributes(const TextAttributes& attributes, TextRange range);

    // This text followed by `other`, each part keeping its own attributes.
    void append(const AttributedString& other);

    friend bool operator==(const AttributedString&, const AttributedString&) = default;

  private:
    void splitAt(std::int64_t location);
    void coalesce();

    std::string text_;
    std::int64_t length_ = 0;
    std::vector<Run> runs_;
};

// The length of UTF-8 `text` in UTF-16 code units.
std::int64_t utf16Length(std::string_view text) noexcept;

}  // namespace dovrel
