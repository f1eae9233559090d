#include "DovrelFoundation/Appearance/StringExtensions.h"

#include <unicode/brkiter.h>
#include <unicode/locid.h>
#include <unicode/stringoptions.h>
#include <unicode/unistr.h>
#include <unicode/utext.h>
#include <unicode/utf8.h>

#include <memory>
#include <string>

#include "platform/foundation/Localization.h"

namespace dovrel {

namespace {

struct UTextCloser {
    void operator()(UText* text) const noexcept { utext_close(text); }
};

// The number of UTF-16 code units of UTF-8 text; each ill-formed byte sequence counts as the
// one replacement character it decodes to.
std::int64_t utf16Length(std::string_view text) {
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.data());
    const auto size = static_cast<std::int64_t>(text.size());
    std::int64_t units = 0;
    for (std::int64_t i = 0; i < size;) {
        UChar32 c = 0;
        U8_NEXT(bytes, i, size, c);
        units += (c > 0xFFFF) ? 2 : 1;
    }
    return units;
}

// Whether `c` is a printf length modifier that may stand before an integer conversion.
bool isLengthModifier(char c) {
    return c == 'h' || c == 'l' || c == 'q' || c == 'z' || c == 't' || c == 'j' || c == 'L';
}

// Fills a localised format with its one integer argument, as the platform's formatting would:
// the first "%d", "%i", "%u" or "%@" (with any length modifier, such as "%ld" or "%lld") becomes
// the count in decimal, a positional "%1$d" everywhere it appears; "%%" becomes "%". Anything
// else, a second non-positional placeholder included, is kept as written. The count is never
// passed to printf, so a format whose placeholder type does not match cannot misread it.
std::string fillCount(std::string_view format, std::int64_t count) {
    const std::string number = std::to_string(count);
    std::string result;
    result.reserve(format.size() + number.size());
    bool filled = false;
    std::size_t i = 0;
    while (i < format.size()) {
        if (format[i] != '%') {
            result += format[i++];
            continue;
        }
        if (i + 1 < format.size() && format[i + 1] == '%') {
            result += '%';
            i += 2;
            continue;
        }
        std::size_t j = i + 1;
        bool firstArgument = false;  // "%1$..." names the count explicitly
        std::size_t digits = j;
        while (digits < format.size() && format[digits] >= '0' && format[digits] <= '9') {
            ++digits;
        }
        if (digits > j && digits < format.size() && format[digits] == '$') {
            firstArgument = format.substr(j, digits - j) == "1";
            if (!firstArgument) {
                result += format[i++];  // another argument's placeholder: left as written
                continue;
            }
            j = digits + 1;
        }
        while (j < format.size() && isLengthModifier(format[j])) {
            ++j;
        }
        const bool integerConversion = j < format.size() && (format[j] == 'd' || format[j] == 'i' ||
                                                             format[j] == 'u' || format[j] == '@');
        if (integerConversion && (firstArgument || !filled)) {
            result += number;
            filled = filled || !firstArgument;
            i = j + 1;
            continue;
        }
        result += format[i++];
    }
    return result;
}

}  // namespace

std::string localized(std::string_view key) {
    return Localization::localizedString(key);
}

std::string localized(std::string_view key, std::int64_t count) {
    std::string fullKey(key);
    fullKey += pluralSuffix(count);
    return fillCount(Localization::localizedString(fullKey), count);
}

std::string_view pluralSuffix(std::int64_t count) {
    if (count == 1) {
        return ".One";
    }
    if (count >= 2 && count <= 4) {
        return ".Few";
    }
    return ".Many";
}

std::string capitalizingFirstLetter(std::string_view text) {
    if (text.empty()) {
        return {};
    }
    // Find the end of the first character (grapheme cluster) directly in the UTF-8 bytes, so
    // that the rest is copied byte for byte, unchanged even where it is not well-formed.
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<UText, UTextCloser> utext(
        utext_openUTF8(nullptr, text.data(), static_cast<std::int64_t>(text.size()), &status));
    std::unique_ptr<icu::BreakIterator> characters(
        icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
    if (U_FAILURE(status)) {
        return std::string(text);
    }
    characters->setText(utext.get(), status);
    if (U_FAILURE(status)) {
        return std::string(text);
    }
    characters->first();
    const std::int32_t end = characters->next();
    if (end == icu::BreakIterator::DONE || end <= 0 ||
        static_cast<std::size_t>(end) > text.size()) {
        return std::string(text);
    }
    const auto first = text.substr(0, static_cast<std::size_t>(end));
    auto title = icu::UnicodeString::fromUTF8(
        icu::StringPiece(first.data(), static_cast<std::int32_t>(first.size())));
    // Title case, not upper case ("ǆ" becomes "ǅ"); root locale, as capitalisation without a
    // locale does. Only one character is mapped, so nothing is lower-cased.
    title.toTitle(nullptr, icu::Locale::getRoot(), U_TITLECASE_NO_LOWERCASE);
    std::string result;
    title.toUTF8String(result);
    result.append(text.substr(first.size()));
    return result;
}

NSRange nsRange(std::string_view text) {
    // The range of the text within itself: a search for the whole text, which finds nothing
    // when the text is empty.
    return nsRange(text, text);
}

NSRange nsRange(std::string_view text, std::string_view needle) {
    if (needle.empty()) {
        return NSRange{};
    }
    // UTF-8 is self-synchronising: a byte match of well-formed needle text always starts and
    // ends on character boundaries, so it is also the first match in UTF-16 units.
    const auto position = text.find(needle);
    if (position == std::string_view::npos) {
        return NSRange{};
    }
    return NSRange{utf16Length(text.substr(0, position)), utf16Length(needle)};
}

std::string fillPlaceholders(
    std::string_view format,
    std::initializer_list<std::pair<std::string_view, std::string>> values) {
    std::string result;
    result.reserve(format.size());
    std::size_t i = 0;
    while (i < format.size()) {
        if (format[i] == '{') {
            const auto close = format.find('}', i + 1);
            if (close != std::string_view::npos) {
                const auto name = format.substr(i + 1, close - i - 1);
                const auto* value = static_cast<const std::string*>(nullptr);
                for (const auto& [candidate, filling] : values) {
                    if (candidate == name) {
                        value = &filling;
                        break;
                    }
                }
                if (value != nullptr) {
                    result += *value;
                    i = close + 1;
                    continue;
                }
            }
        }
        result += format[i++];
    }
    return result;
}

std::string localizedText(std::string_view key,
                          std::initializer_list<std::pair<std::string_view, std::string>> values) {
    return fillPlaceholders(localized(key), values);
}

}  // namespace dovrel
