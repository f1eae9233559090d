#include "apps/dovrel/Texts.h"

#include "DovrelFoundation/Appearance/StringExtensions.h"

namespace dovrel::cli {

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

std::string text(std::string_view key,
                 std::initializer_list<std::pair<std::string_view, std::string>> values) {
    return fillPlaceholders(localized(key), values);
}

}  // namespace dovrel::cli
