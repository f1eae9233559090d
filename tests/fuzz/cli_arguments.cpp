// The command line's WHEN, colour, time-of-day and count arguments.

#include <cstdint>
#include <string>

#include "apps/dovrel/ColorArgument.h"
#include "apps/dovrel/CountArgument.h"
#include "apps/dovrel/UsageErrors.h"
#include "apps/dovrel/When.h"
#include "platform/foundation/Region.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    using namespace dovrel;
    const std::string text(reinterpret_cast<const char*>(bytes), size);
    static const Region region("gregorian", "Europe/Kyiv", "en_US");
    (void)cli::parseWhen(text, region);
    if (const auto color = cli::parseColorArgument(text)) {
        (void)cli::paletteName(*color);
    }
    (void)cli::parseTimeOfDay(text);
    try {
        (void)cli::parseIntervalCount(text, cli::IntervalCount::times, "TIMES");
    } catch (const cli::UsageError&) {
    }
    return 0;
}
