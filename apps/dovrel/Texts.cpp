#include "apps/dovrel/Texts.h"

#include "DovrelFoundation/Appearance/StringExtensions.h"

namespace dovrel::cli {

std::string text(std::string_view key,
                 std::initializer_list<std::pair<std::string_view, std::string>> values) {
    return localizedText(key, values);
}

}  // namespace dovrel::cli
