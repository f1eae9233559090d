#include "platform/foundation/Locale.h"

#include <unicode/locid.h>

#include <utility>

#include "platform/foundation/Region.h"

namespace dovrel {

namespace {

std::optional<std::string> nonEmpty(const char* text) {
    if (text == nullptr || *text == '\0') {
        return std::nullopt;
    }
    return std::string(text);
}

}  // namespace

Locale::Locale(std::string identifier) : identifier_(std::move(identifier)) {}

Locale Locale::current() {
    return Locale(Region::current().localeIdentifier());
}

std::optional<std::string> Locale::languageCode() const {
    return nonEmpty(icu::Locale(identifier_.c_str()).getLanguage());
}

std::optional<std::string> Locale::regionCode() const {
    return nonEmpty(icu::Locale(identifier_.c_str()).getCountry());
}

}  // namespace dovrel
