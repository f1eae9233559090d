#include "platform/notifications/JsonWriter.h"

#include <charconv>
#include <cstddef>

namespace dovrel::notifications {

namespace {

// The length of the valid UTF-8 sequence at the start of `text`, or 0 when its first byte does
// not start one (overlong forms, surrogates and code points past U+10FFFF are not valid).
std::size_t validSequenceLength(std::string_view text) {
    const auto byte = [&](std::size_t index) { return static_cast<unsigned char>(text[index]); };
    const unsigned char lead = byte(0);
    std::size_t length = 0;
    unsigned char low = 0x80, high = 0xBF;  // the allowed range of the second byte
    if (lead < 0x80) {
        return 1;
    } else if (lead >= 0xC2 && lead <= 0xDF) {
        length = 2;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        length = 3;
        low = lead == 0xE0 ? 0xA0 : 0x80;
        high = lead == 0xED ? 0x9F : 0xBF;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        length = 4;
        low = lead == 0xF0 ? 0x90 : 0x80;
        high = lead == 0xF4 ? 0x8F : 0xBF;
    } else {
        return 0;
    }
    if (text.size() < length || byte(1) < low || byte(1) > high) {
        return 0;
    }
    for (std::size_t index = 2; index < length; ++index) {
        if (byte(index) < 0x80 || byte(index) > 0xBF) {
            return 0;
        }
    }
    return length;
}

}  // namespace

void JsonWriter::beforeValue() {
    if (afterKey_) {
        afterKey_ = false;
        return;
    }
    if (needsComma_) {
        out_ += ',';
    }
}

JsonWriter& JsonWriter::beginObject() {
    beforeValue();
    out_ += '{';
    needsComma_ = false;
    return *this;
}

JsonWriter& JsonWriter::endObject() {
    out_ += '}';
    needsComma_ = true;
    return *this;
}

JsonWriter& JsonWriter::key(std::string_view name) {
    if (needsComma_) {
        out_ += ',';
    }
    quoted(name);
    out_ += ':';
    afterKey_ = true;
    needsComma_ = true;
    return *this;
}

JsonWriter& JsonWriter::text(std::string_view value) {
    beforeValue();
    quoted(value);
    needsComma_ = true;
    return *this;
}

namespace {

template <typename Integer>
void appendDecimal(std::string& out, Integer value) {
    char digits[24];
    const auto end = std::to_chars(digits, digits + sizeof digits, value).ptr;
    out.append(digits, end);
}

}  // namespace

JsonWriter& JsonWriter::integer(std::int64_t value) {
    beforeValue();
    appendDecimal(out_, value);
    needsComma_ = true;
    return *this;
}

JsonWriter& JsonWriter::unsignedInteger(std::uint64_t value) {
    beforeValue();
    appendDecimal(out_, value);
    needsComma_ = true;
    return *this;
}

JsonWriter& JsonWriter::real(double value) {
    beforeValue();
    char digits[32];
    const auto end = std::to_chars(digits, digits + sizeof digits, value).ptr;
    const std::string_view written(digits, static_cast<std::size_t>(end - digits));
    out_ += written;
    // "3" would read back as an integer: a real keeps a mark of being one.
    if (written.find_first_of(".eE") == std::string_view::npos) {
        out_ += ".0";
    }
    needsComma_ = true;
    return *this;
}

JsonWriter& JsonWriter::boolean(bool value) {
    beforeValue();
    out_ += value ? "true" : "false";
    needsComma_ = true;
    return *this;
}

JsonWriter& JsonWriter::null() {
    beforeValue();
    out_ += "null";
    needsComma_ = true;
    return *this;
}

void JsonWriter::quoted(std::string_view value) {
    static constexpr char kHex[] = "0123456789abcdef";
    out_.reserve(out_.size() + value.size() + 2);
    out_ += '"';
    std::size_t index = 0;
    while (index < value.size()) {
        const unsigned char byte = static_cast<unsigned char>(value[index]);
        if (byte >= 0x80) {
            const std::size_t length = validSequenceLength(value.substr(index));
            if (length == 0) {
                out_ += "\xEF\xBF\xBD";  // U+FFFD REPLACEMENT CHARACTER
                ++index;
            } else {
                out_.append(value.substr(index, length));
                index += length;
            }
            continue;
        }
        switch (byte) {
            case '"':
                out_ += "\\\"";
                break;
            case '\\':
                out_ += "\\\\";
                break;
            case '\n':
                out_ += "\\n";
                break;
            case '\r':
                out_ += "\\r";
                break;
            case '\t':
                out_ += "\\t";
                break;
            default:
                if (byte < 0x20) {
                    out_ += "\\u00";
                    out_ += kHex[byte >> 4];
                    out_ += kHex[byte & 0x0F];
                } else {
                    out_ += static_cast<char>(byte);
                }
        }
        ++index;
    }
    out_ += '"';
}

}  // namespace dovrel::notifications
