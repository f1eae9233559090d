#include "DovrelFoundation/Model/DecodingError.h"

#include <algorithm>
#include <utility>

namespace dovrel {

namespace {

bool isIndex(const std::string& component) {
    return !component.empty() && std::all_of(component.begin(), component.end(),
                                             [](char c) { return c >= '0' && c <= '9'; });
}

Error::UserInfo userInfoFor(const std::vector<std::string>& codingPath,
                            const std::string& debugDescription) {
    const std::string path = DecodingError::codingPathText(codingPath);
    return {
        {Error::kLocalizedDescriptionKey,
         path.empty() ? debugDescription : debugDescription + " (at " + path + ")"},
        {DecodingError::kCodingPathKey, path},
        {DecodingError::kDebugDescriptionKey, debugDescription},
    };
}

}  // namespace

DecodingError::DecodingError(Kind kind, std::vector<std::string> codingPath,
                             std::string debugDescription)
    : Error(kDomain, static_cast<std::int64_t>(kind), userInfoFor(codingPath, debugDescription)),
      kind_(kind),
      codingPath_(std::move(codingPath)),
      debugDescription_(std::move(debugDescription)) {}

std::string DecodingError::codingPathText(const std::vector<std::string>& codingPath) {
    std::string text;
    for (const auto& component : codingPath) {
        if (isIndex(component)) {
            text += "[" + component + "]";
        } else {
            if (!text.empty()) {
                text += ".";
            }
            text += component;
        }
    }
    return text;
}

}  // namespace dovrel
