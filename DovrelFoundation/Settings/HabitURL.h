#pragma once

#include <string_view>

#include "DovrelFoundation/RawStringEnumeration.h"
#include "platform/foundation/URL.h"

namespace dovrel {

// The links through which the application opens itself (from the widget, for instance), under
// its own URL scheme. The raw text of a case is the link's host: habitList is
// "dovrel-app://habit_list".
class HabitURL {
  public:
    enum class Case {
        habitList,  // "habit_list": the list of habits
    };
    DOVREL_RAW_STRING_ENUMERATION(HabitURL, 1)

    // The application's URL scheme.
    static constexpr std::string_view appScheme = "dovrel-app";

    // "dovrel-app://" followed by the raw text, as a URL. The text is always a valid URL; if it
    // ever failed to parse, the process stops.
    URL url() const;
};

// The URL of a link (the platform URL type made from a HabitURL): the same as urlScheme.url().
URL makeURL(HabitURL urlScheme);

}  // namespace dovrel
