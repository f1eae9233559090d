#pragma once

#include <optional>
#include <string>

#include "platform/foundation/AttributedString.h"
#include "platform/foundation/Color.h"

namespace dovrel {

// The text attributes the screens set, all but the alignment optional. What is built:
//   - the foreground colour, when `textColor` is given;
//   - a paragraph style only when `lineHeight` or `lineSpacing` is given, carrying the
//     alignment, the line height as both minimum and maximum line height (when given) and the
//     line spacing (when given); without either, the alignment has no effect (callers rely on
//     that: a label keeps its own alignment);
//   - the font, the kern, the underline style and the underline colour, each when given.
struct TextStyleArguments {
    std::optional<Color> textColor{};
    TextAlignment alignment = TextAlignment::natural;
    std::optional<Font> font{};
    std::optional<double> lineHeight{};
    std::optional<double> lineSpacing{};
    std::optional<double> kern{};
    std::optional<UnderlineStyle> underlineStyle{};
    std::optional<Color> underlineColor{};
};

// The attribute set described above.
TextAttributes textAttributes(const TextStyleArguments& arguments);

// An attributed text of `text` with the attributes of `arguments` over the whole of it.
AttributedString makeAttributedString(std::string text, const TextStyleArguments& arguments);

// A copy of `text` with the attributes of `arguments` set over its whole range; attributes that
// `arguments` does not name keep their values.
AttributedString applyingAttributes(const AttributedString& text,
                                    const TextStyleArguments& arguments);

// `text` followed by `other` (each keeping its attributes), or by plain text without attributes.
AttributedString appending(const AttributedString& text, const AttributedString& other);
AttributedString appending(const AttributedString& text, std::string plain);

}  // namespace dovrel
