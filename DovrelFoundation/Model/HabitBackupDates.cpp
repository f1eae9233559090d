#include "DovrelFoundation/Model/HabitBackupDates.h"

#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <stdexcept>

#include "DovrelFoundation/Model/RepresentableDate.h"

namespace dovrel {

namespace {

constexpr std::int64_t kMillisecondsPerDay = 86'400'000;
constexpr std::int64_t kReferenceDateIn1970Seconds = 978'307'200;
constexpr std::int64_t kReferenceDateIn1970Ms = kReferenceDateIn1970Seconds * 1000;

// Floor division: the day and the time of day of instants before 1970 count down correctly.
std::int64_t floorDivide(std::int64_t value, std::int64_t divisor) {
    const std::int64_t quotient = value / divisor;
    return (value % divisor != 0 && (value < 0) != (divisor < 0)) ? quotient - 1 : quotient;
}

// A small cursor over the text; every reader consumes exactly what it accepts.
class Cursor {
  public:
    explicit Cursor(std::string_view text) : text_(text) {}

    bool atEnd() const { return position_ == text_.size(); }
    bool peek(char c) const { return position_ < text_.size() && text_[position_] == c; }
    bool take(char c) {
        if (!peek(c)) {
            return false;
        }
        ++position_;
        return true;
    }
    // Exactly `count` decimal digits.
    std::optional<std::int64_t> digits(std::size_t count) {
        std::int64_t value = 0;
        for (std::size_t index = 0; index < count; ++index) {
            if (position_ >= text_.size() || text_[position_] < '0' || text_[position_] > '9') {
                return std::nullopt;
            }
            value = value * 10 + (text_[position_] - '0');
            ++position_;
        }
        return value;
    }
    // One or more decimal digits, at most `limit` of them; also reports how many.
    std::optional<std::pair<std::int64_t, std::size_t>> someDigits(std::size_t limit) {
        std::int64_t value = 0;
        std::size_t count = 0;
        while (position_ < text_.size() && text_[position_] >= '0' && text_[position_] <= '9') {
            if (count == limit) {
                return std::nullopt;
            }
            value = value * 10 + (text_[position_] - '0');
            ++position_;
            ++count;
        }
        if (count == 0) {
            return std::nullopt;
        }
        return std::pair{value, count};
    }

  private:
    std::string_view text_;
    std::size_t position_ = 0;
};

std::optional<std::int64_t> readYear(Cursor& cursor) {
    if (cursor.peek('+') || cursor.peek('-')) {
        const bool negative = cursor.take('-');
        if (!negative) {
            cursor.take('+');
        }
        // The expanded form: at least five digits; nine keep every product below 64 bits.
        const auto year = cursor.someDigits(9);
        if (!year || year->second < 5) {
            return std::nullopt;
        }
        return negative ? -year->first : year->first;
    }
    return cursor.digits(4);
}

}  // namespace

std::string iso8601Text(Date date) {
    // Whole milliseconds since the reference date, then since 1970 in integers, so that a date
    // of whole milliseconds is written exactly.
    const double sinceReference = std::round(date.timeIntervalSinceReferenceDate() * 1000.0);
    // The representable dates (RepresentableDate.h), about 28,500 years either side of 2001:
    // far beyond any habit, and within the civil calendar of <chrono>.
    if (!std::isfinite(sinceReference) ||
        std::fabs(sinceReference) > kRepresentableDateLimit * 1000.0) {
        throw std::domain_error("a date that cannot be written as ISO 8601 text");
    }
    const std::int64_t total = static_cast<std::int64_t>(sinceReference) + kReferenceDateIn1970Ms;
    const std::int64_t days = floorDivide(total, kMillisecondsPerDay);
    std::int64_t rest = total - days * kMillisecondsPerDay;
    const std::chrono::year_month_day civil{
        std::chrono::sys_days{std::chrono::days{static_cast<std::int32_t>(days)}}};
    const int year = static_cast<int>(civil.year());
    const auto hour = rest / 3'600'000;
    rest %= 3'600'000;
    const auto minute = rest / 60'000;
    rest %= 60'000;
    const auto second = rest / 1000;
    const auto millisecond = rest % 1000;

    char yearText[16];
    if (year >= 0 && year <= 9999) {
        std::snprintf(yearText, sizeof yearText, "%04d", year);
    } else {
        std::snprintf(yearText, sizeof yearText, "%c%05d", year < 0 ? '-' : '+', std::abs(year));
    }
    char text[64];
    std::snprintf(text, sizeof text, "%s-%02u-%02uT%02lld:%02lld:%02lld.%03lldZ", yearText,
                  static_cast<unsigned>(civil.month()), static_cast<unsigned>(civil.day()),
                  static_cast<long long>(hour), static_cast<long long>(minute),
                  static_cast<long long>(second), static_cast<long long>(millisecond));
    return text;
}

std::optional<Date> dateFromISO8601Text(std::string_view text) {
    Cursor cursor(text);
    const auto year = readYear(cursor);
    if (!year || !cursor.take('-')) {
        return std::nullopt;
    }
    const auto month = cursor.digits(2);
    if (!month || !cursor.take('-')) {
        return std::nullopt;
    }
    const auto day = cursor.digits(2);
    if (!day || !cursor.take('T')) {
        return std::nullopt;
    }
    const auto hour = cursor.digits(2);
    if (!hour || !cursor.take(':')) {
        return std::nullopt;
    }
    const auto minute = cursor.digits(2);
    if (!minute || !cursor.take(':')) {
        return std::nullopt;
    }
    const auto second = cursor.digits(2);
    if (!second) {
        return std::nullopt;
    }
    std::int64_t fractionDigits = 0;
    std::size_t fractionLength = 0;
    if (cursor.take('.')) {
        const auto digits = cursor.someDigits(9);
        if (!digits) {
            return std::nullopt;
        }
        fractionDigits = digits->first;
        fractionLength = digits->second;
    }
    std::int64_t offsetMinutes = 0;
    if (!cursor.take('Z')) {
        const bool negative = cursor.peek('-');
        if (!cursor.take('+') && !cursor.take('-')) {
            return std::nullopt;
        }
        const auto offsetHours = cursor.digits(2);
        if (!offsetHours) {
            return std::nullopt;
        }
        cursor.take(':');
        const auto offsetMinutesPart = cursor.digits(2);
        if (!offsetMinutesPart || *offsetHours > 23 || *offsetMinutesPart > 59) {
            return std::nullopt;
        }
        offsetMinutes = (*offsetHours * 60 + *offsetMinutesPart) * (negative ? -1 : 1);
    }
    if (!cursor.atEnd()) {
        return std::nullopt;
    }
    if (*month < 1 || *month > 12 || *hour > 23 || *minute > 59 || *second > 59) {
        return std::nullopt;
    }
    const std::chrono::year_month_day civil{std::chrono::year{static_cast<int>(*year)},
                                            std::chrono::month{static_cast<unsigned>(*month)},
                                            std::chrono::day{static_cast<unsigned>(*day)}};
    if (*year < -32767 || *year > 32767 || !civil.ok()) {
        return std::nullopt;
    }
    const auto days =
        static_cast<std::int64_t>(std::chrono::sys_days(civil).time_since_epoch().count());
    const std::int64_t wholeSeconds = days * 86'400 + *hour * 3'600 + *minute * 60 + *second -
                                      offsetMinutes * 60 - kReferenceDateIn1970Seconds;
    // Whole seconds and the fraction as one integer count of the fraction's unit, divided once:
    // the nearest Date to the written instant, so "...00.123Z" reads back as exactly the date it
    // was written from. Counts beyond 2^53 are not exact as doubles; they add the fraction.
    const double scale = std::pow(10.0, static_cast<double>(fractionLength));
    const double ticks = static_cast<double>(wholeSeconds) * scale;
    if (std::fabs(ticks) < 9.0e15) {
        return Date((ticks + static_cast<double>(fractionDigits)) / scale);
    }
    return Date(static_cast<double>(wholeSeconds) + static_cast<double>(fractionDigits) / scale);
}

}  // namespace dovrel
