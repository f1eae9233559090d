#pragma once

#include <QString>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>

namespace dovrel::app {

// The localised text for `key` (from the string tables, like every text of the program) with its
// "{name}" placeholders filled, as a QString for the widgets.
QString appText(std::string_view key,
                std::initializer_list<std::pair<std::string_view, std::string>> values = {});

}  // namespace dovrel::app
