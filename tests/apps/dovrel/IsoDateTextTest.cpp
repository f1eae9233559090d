#include "apps/dovrel/IsoDateText.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <string>

namespace dovrel::cli {
namespace {

// Seconds since 2001 of 1970-01-01T00:00:00Z.
constexpr double k1970 = -978307200.0;

TEST(IsoDateText, WritesALocalTimeWithTheZonesOffset) {
    EXPECT_EQ(IsoDateText("Europe/Kyiv")(Date(794822400.0)), "2026-03-10T10:00:00+02:00");
    EXPECT_EQ(IsoDateText("America/New_York")(Date(794822400.0)), "2026-03-10T04:00:00-04:00");
    EXPECT_EQ(IsoDateText("UTC")(Date(794822400.0)), "2026-03-10T08:00:00+00:00");
    EXPECT_EQ(IsoDateText("Asia/Kolkata")(Date(794822400.0)), "2026-03-10T13:30:00+05:30");
    EXPECT_EQ(IsoDateText("UTC")(Date(k1970 - 0.5)), "1969-12-31T23:59:59+00:00");
}

// Every way in which the arithmetic could differ from ICU's formatter: instants spread over the
// centuries that it writes itself and over those that it hands to ICU, whole and fractional
// seconds on both sides of 1970, every clock change of the zones that change, half-hour and
// quarter-hour offsets, and the local mean times of the nineteenth century.
TEST(IsoDateText, WritesWhatIcusFormatterWritesInEveryZoneAndCentury) {
    std::mt19937_64 random(7);
    std::uniform_real_distribution<double> anyInstant(-2.5e10, 2.5e11);
    std::uniform_real_distribution<double> recent(-3.2e9, 3.2e9);
    std::uniform_int_distribution<int> fraction(0, 999);
    for (const char* zone : {"Europe/Kyiv", "America/New_York", "America/Sao_Paulo",
                             "Australia/Lord_Howe", "Asia/Kathmandu", "Pacific/Chatham",
                             "America/St_Johns", "Africa/Monrovia", "UTC", "Not/AZone"}) {
        SCOPED_TRACE(zone);
        const IsoDateText text(zone);
        int checked = 0;
        for (int i = 0; i < 3000; ++i) {
            const double seconds = (i % 3 == 0 ? anyInstant(random) : recent(random));
            for (const double instant :
                 {std::floor(seconds), std::floor(seconds) + fraction(random) / 1000.0, seconds}) {
                const Date date(instant);
                ASSERT_EQ(text(date), text.formattedByICU(date)) << std::to_string(instant);
                ++checked;
            }
        }
        EXPECT_EQ(checked, 9000);
    }
}

TEST(IsoDateText, DatesThatAreNotFiniteAreWrittenByIcu) {
    const IsoDateText text("Europe/Kyiv");
    const Date infinite(std::numeric_limits<double>::infinity());
    EXPECT_EQ(text(infinite), text.formattedByICU(infinite));
}

}  // namespace
}  // namespace dovrel::cli
