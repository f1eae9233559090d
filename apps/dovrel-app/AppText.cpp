#include "apps/dovrel-app/AppText.h"

#include "DovrelFoundation/Appearance/StringExtensions.h"

namespace dovrel::app {

QString appText(std::string_view key,
                std::initializer_list<std::pair<std::string_view, std::string>> values) {
    return QString::fromStdString(localizedText(key, values));
}

}  // namespace dovrel::app
