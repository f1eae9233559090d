#pragma once

#include <string>
#include <string_view>

namespace dovrel {

// Localised texts from the main bundle's string tables: the gettext domain "dovrel", whose
// catalogues Bundle::main() holds under locale/<language>/LC_MESSAGES/dovrel.mo. A key is its
// own message id; a key without a translation comes back as itself. The language follows the
// process's current locale (LANG, LC_ALL, LC_MESSAGES, or a ScopedLocale in tests).
class Localization {
public:
    // The localised text for `key` in the default table (empty comment).
    static std::string localizedString(std::string_view key);
};

}  // namespace dovrel
