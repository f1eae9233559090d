#include "DovrelFoundation/Settings/HabitURL.h"

#include <string>

#include "DovrelFoundation/RawStringEnumerationTables.h"
#include "platform/foundation/FatalError.h"

namespace dovrel {

namespace {

constexpr std::array<std::string_view, 1> kHabitURL{
    "habit_list",
};

}  // namespace

DOVREL_DEFINE_RAW_STRING_ENUMERATION(HabitURL, kHabitURL)

URL HabitURL::url() const {
    const std::string text = std::string(appScheme) + "://" + std::string(rawValue());
    auto url = URL::fromString(text);
    if (!url) {
        fatalError("The link \"" + text + "\" is not a valid URL");
    }
    return *url;
}

URL makeURL(HabitURL urlScheme) {
    return urlScheme.url();
}

}  // namespace dovrel
