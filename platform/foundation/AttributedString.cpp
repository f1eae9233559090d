#include "platform/foundation/AttributedString.h"

#include <algorithm>

namespace dovrel {

std::int64_t utf16Length(std::string_view text) noexcept {
    std::int64_t length = 0;
    std::size_t index = 0;
    while (index < text.size()) {
        const auto lead = static_cast<unsigned char>(text[index]);
        std::size_t size = 1;
        if (lead >= 0xF0 && lead <= 0xF4) {
            size = 4;
        } else if (lead >= 0xE0) {
            size = 3;
        } else if (lead >= 0xC2 && lead < 0xE0) {
            size = 2;
        }
        // A truncated or malformed sequence counts one replacement character per bad byte.
        bool wellFormed = index + size <= text.size() && lead < 0xF5;
        for (std::size_t next = 1; wellFormed && next < size; ++next) {
            wellFormed = (static_cast<unsigned char>(text[index + next]) & 0xC0) == 0x80;
        }
        if (!wellFormed || (lead >= 0x80 && lead < 0xC2)) {
            size = 1;
        }
        length += wellFormed && size == 4 ? 2 : 1;
        index += size;
    }
    return length;
}

AttributedString::AttributedString(std::string text, TextAttributes attributes)
    : text_(std::move(text)), length_(utf16Length(text_)) {
    if (length_ > 0) {
        runs_.push_back(Run{TextRange{0, length_}, std::move(attributes)});
    }
}

TextAttributes AttributedString::attributes(std::int64_t location) const {
    for (const auto& run : runs_) {
        if (location >= run.range.location && location < run.range.end()) {
            return run.attributes;
        }
    }
    return {};
}

void AttributedString::splitAt(std::int64_t location) {
    for (std::size_t index = 0; index < runs_.size(); ++index) {
        Run& run = runs_[index];
        if (location > run.range.location && location < run.range.end()) {
            Run tail{TextRange{location, run.range.end() - location}, run.attributes};
            run.range.length = location - run.range.location;
            runs_.insert(runs_.begin() + static_cast<std::ptrdiff_t>(index) + 1, std::move(tail));
            return;
        }
    }
}

void AttributedString::coalesce() {
    std::vector<Run> merged;
    merged.reserve(runs_.size());
    for (auto& run : runs_) {
        if (run.range.length == 0) {
            continue;
        }
        if (!merged.empty() && merged.back().attributes == run.attributes) {
            merged.back().range.length += run.range.length;
        } else {
            merged.push_back(std::move(run));
        }
    }
    runs_ = std::move(merged);
}

void AttributedString::addAttributes(const TextAttributes& attributes, TextRange range) {
    const std::int64_t begin = std::clamp<std::int64_t>(range.location, 0, length_);
    const std::int64_t end = std::clamp<std::int64_t>(range.end(), begin, length_);
    if (begin == end || attributes.empty()) {
        return;
    }
    splitAt(begin);
    splitAt(end);
    for (auto& run : runs_) {
        if (run.range.location >= begin && run.range.end() <= end) {
            for (const auto& [key, value] : attributes) {
                run.attributes.insert_or_assign(key, value);
            }
        }
    }
    coalesce();
}

void AttributedString::append(const AttributedString& other) {
    const std::int64_t offset = length_;
    text_ += other.text_;
    length_ += other.length_;
    for (const auto& run : other.runs_) {
        runs_.push_back(
            Run{TextRange{run.range.location + offset, run.range.length}, run.attributes});
    }
    coalesce();
}

}  // namespace dovrel
