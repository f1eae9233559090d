#include "DovrelFoundation/Appearance/AttributedStringExtensions.h"

#include <utility>

namespace dovrel {

TextAttributes textAttributes(const TextStyleArguments& arguments) {
    TextAttributes attributes;
    if (arguments.textColor) {
        attributes.emplace(TextAttribute::foregroundColor, *arguments.textColor);
    }
    if (arguments.lineHeight || arguments.lineSpacing) {
        ParagraphStyle paragraph;
        paragraph.alignment = arguments.alignment;
        if (arguments.lineHeight) {
            paragraph.minimumLineHeight = *arguments.lineHeight;
            paragraph.maximumLineHeight = *arguments.lineHeight;
        }
        if (arguments.lineSpacing) {
            paragraph.lineSpacing = *arguments.lineSpacing;
        }
        attributes.emplace(TextAttribute::paragraphStyle, paragraph);
    }
    if (arguments.font) {
        attributes.emplace(TextAttribute::font, *arguments.font);
    }
    if (arguments.kern) {
        attributes.emplace(TextAttribute::kern, *arguments.kern);
    }
    if (arguments.underlineStyle) {
        attributes.emplace(TextAttribute::underlineStyle, *arguments.underlineStyle);
    }
    if (arguments.underlineColor) {
        attributes.emplace(TextAttribute::underlineColor, *arguments.underlineColor);
    }
    return attributes;
}

AttributedString makeAttributedString(std::string text, const TextStyleArguments& arguments) {
    return AttributedString(std::move(text), textAttributes(arguments));
}

AttributedString applyingAttributes(const AttributedString& text,
                                    const TextStyleArguments& arguments) {
    AttributedString copy = text;
    copy.addAttributes(textAttributes(arguments), TextRange{0, copy.length()});
    return copy;
}

AttributedString appending(const AttributedString& text, const AttributedString& other) {
    AttributedString joined = text;
    joined.append(other);
    return joined;
}

AttributedString appending(const AttributedString& text, std::string plain) {
    return appending(text, AttributedString(std::move(plain)));
}

}  // namespace dovrel
