#include "apps/dovrel/HabitJson.h"

#include <unicode/gregocal.h>
#include <unicode/locid.h>
#include <unicode/smpdtfmt.h>
#include <unicode/timezone.h>

#include <memory>

#include "apps/dovrel/IsoDateText.h"
#include "apps/dovrel/Terminal.h"

namespace dovrel::cli {

namespace {

// Formats instants with one fixed pattern in a zone (the time of day; dates are IsoDateText's), in
// the Gregorian calendar with Latin digits whatever the user's locale. One formatter serves a
// whole list: making an ICU formatter costs far more than using one.
class IsoFormatter {
  public:
    IsoFormatter(const std::string& pattern, const std::string& timeZoneIdentifier) {
        UErrorCode status = U_ZERO_ERROR;
        const icu::Locale posix("en_US_POSIX");
        format_ = std::make_unique<icu::SimpleDateFormat>(icu::UnicodeString::fromUTF8(pattern),
                                                          posix, status);
        auto* calendar = new icu::GregorianCalendar(
            icu::TimeZone::createTimeZone(icu::UnicodeString::fromUTF8(timeZoneIdentifier)), posix,
            status);
        format_->adoptCalendar(calendar);
        if (U_FAILURE(status)) {
            format_.reset();
        }
    }

    std::string operator()(Date date) const {
        if (!format_) {
            return "";
        }
        icu::UnicodeString text;
        format_->format(date.timeIntervalSince1970() * 1000.0, text);
        std::string result;
        text.toUTF8String(result);
        return result;
    }

  private:
    std::unique_ptr<icu::SimpleDateFormat> format_;
};

constexpr const char* kTimeOfDayPattern = "HH:mm";

template <typename T>
nlohmann::ordered_json optionalJson(const std::optional<T>& value) {
    return value ? nlohmann::ordered_json(*value) : nlohmann::ordered_json(nullptr);
}

nlohmann::ordered_json datesJson(const std::vector<Date>& dates, const IsoDateText& iso) {
    auto array = nlohmann::ordered_json::array();
    for (const Date date : dates) {
        array.push_back(iso(date));
    }
    return array;
}

nlohmann::ordered_json habitJson(const HabitReport& report, const IsoDateText& iso,
                                 const IsoFormatter& timeOfDay) {
    nlohmann::ordered_json object;
    object["uri"] = report.uri;
    object["name"] = optionalJson(report.name);
    object["question"] = optionalJson(report.question);
    object["color"] = report.color ? nlohmann::ordered_json(Terminal::hexText(*report.color))
                                   : nlohmann::ordered_json(nullptr);
    object["times"] = optionalJson(report.times);
    object["days"] = optionalJson(report.days);
    object["interval"] = optionalJson(report.interval);
    object["remind"] = report.remind;
    object["remindTime"] = report.remindTime ? nlohmann::ordered_json(timeOfDay(*report.remindTime))
                                             : nlohmann::ordered_json(nullptr);
    object["progress"] = report.progress;
    object["checked"] = report.checked;
    object["lastFivePerformingDates"] = datesJson(report.lastFivePerformingDates, iso);
    if (report.checkmarks) {
        object["checkmarks"] = datesJson(*report.checkmarks, iso);
    }
    return object;
}

}  // namespace

std::string isoDateTime(Date date, const Region& region) {
    return IsoDateText(region.timeZoneIdentifier())(date);
}

std::string timeOfDayText(Date date, const Region& region) {
    return IsoFormatter(kTimeOfDayPattern, region.timeZoneIdentifier())(date);
}

nlohmann::ordered_json habitJson(const HabitReport& report, const Region& region) {
    return habitJson(report, IsoDateText(region.timeZoneIdentifier()),
                     IsoFormatter(kTimeOfDayPattern, region.timeZoneIdentifier()));
}

nlohmann::ordered_json habitListJson(const std::vector<HabitReport>& reports,
                                     const Region& region) {
    const IsoDateText iso(region.timeZoneIdentifier());
    const IsoFormatter timeOfDay(kTimeOfDayPattern, region.timeZoneIdentifier());
    auto array = nlohmann::ordered_json::array();
    for (const auto& report : reports) {
        array.push_back(habitJson(report, iso, timeOfDay));
    }
    return array;
}

}  // namespace dovrel::cli
