#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace dovrel::notifications {

// Writes one JSON document into a text, value by value, with no document tree in between: the
// notification center encodes every request it writes, and building a tree of maps for each
// cost more than the SQLite work around it.
//
// The caller writes a well-formed sequence (keys only inside objects, each followed by one
// value); the writer places the commas. Texts that are not UTF-8 are written with U+FFFD in
// place of each byte that does not start a valid sequence, so the result is always valid JSON.
// Numbers that JSON cannot hold (NaN, infinities) are the caller's to avoid.
class JsonWriter {
  public:
    JsonWriter& beginObject();
    JsonWriter& endObject();
    JsonWriter& key(std::string_view name);
    JsonWriter& text(std::string_view value);
    JsonWriter& integer(std::int64_t value);
    JsonWriter& unsignedInteger(std::uint64_t value);
    // The shortest text that reads back as exactly `value`.
    JsonWriter& real(double value);
    JsonWriter& boolean(bool value);
    JsonWriter& null();

    const std::string& result() const noexcept { return out_; }
    std::string take() noexcept { return std::move(out_); }

  private:
    void beforeValue();
    void quoted(std::string_view value);

    std::string out_;
    // Whether the next value of the current object needs a comma before it.
    bool needsComma_ = false;
    // Whether the last thing written was a key (its value follows without a comma).
    bool afterKey_ = false;
};

}  // namespace dovrel::notifications
