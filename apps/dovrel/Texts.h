#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>

#include "DovrelFoundation/Appearance/StringExtensions.h"

namespace dovrel::cli {

// A localised text of the program with named values filled in. The text for `key` comes from the
// string tables (dovrel::localized); every "{name}" in it is replaced by the value given for
// that name, so that translators may move the values around. A placeholder without a value, and
// any other brace, is kept as written.
std::string text(std::string_view key,
                 std::initializer_list<std::pair<std::string_view, std::string>> values = {});

// The same filling, for a format that is not looked up.
using dovrel::fillPlaceholders;

}  // namespace dovrel::cli
