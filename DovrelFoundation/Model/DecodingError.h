#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/foundation/Error.h"

namespace dovrel {

// Why a keyed record could not be decoded, and where: the error that backup decoding throws.
//
// The coding path names the place in the archive, from the outside in: the keys of objects
// and the indexes of lists ({"habits", "3", "performings", "0", "date"}), written as
// "habits[3].performings[0].date" by codingPathText().
//
// As an Error: domain kDomain, code the kind's number, and user info with
// kLocalizedDescriptionKey = "<debugDescription> (at <codingPathText>)" (just the description
// when the path is empty), kCodingPathKey and kDebugDescriptionKey.
class DecodingError : public Error {
  public:
    static constexpr const char* kDomain = "DecodingError";
    static constexpr const char* kCodingPathKey = "codingPath";
    static constexpr const char* kDebugDescriptionKey = "debugDescription";

    enum class Kind : std::int64_t {
        // A value of another type than the one asked for.
        typeMismatch = 1,
        // A null where a value is required.
        valueNotFound = 2,
        // A key that the record does not have.
        keyNotFound = 3,
        // A value of the right type whose contents are not acceptable (a date text that does not
        // parse, a number out of range).
        dataCorrupted = 4,
    };

    DecodingError(Kind kind, std::vector<std::string> codingPath, std::string debugDescription);

    Kind kind() const noexcept { return kind_; }
    const std::vector<std::string>& codingPath() const noexcept { return codingPath_; }
    const std::string& debugDescription() const noexcept { return debugDescription_; }

    // "habits[3].performings[0].date": index components in brackets, keys after dots.
    static std::string codingPathText(const std::vector<std::string>& codingPath);

  private:
    Kind kind_;
    std::vector<std::string> codingPath_;
    std::string debugDescription_;
};

}  // namespace dovrel
