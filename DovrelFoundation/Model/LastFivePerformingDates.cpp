#include "DovrelFoundation/Model/LastFivePerformingDates.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>

#include "DovrelFoundation/Model/RepresentableDate.h"
#include "platform/foundation/FatalError.h"

namespace dovrel {

namespace {

constexpr std::string_view kDatesCountKey = "datesCount";
constexpr std::string_view kDateKeyPrefix = "date";

// Ascending by instant. Dates that are not a number (only a damaged blob holds them) sort after
// all others, so the order stays a strict weak order whatever the input.
bool isEarlier(Date lhs, Date rhs) {
    const double left = lhs.timeIntervalSinceReferenceDate();
    const double right = rhs.timeIntervalSinceReferenceDate();
    if (std::isnan(left)) {
        return false;
    }
    return std::isnan(right) || left < right;
}

// The index in a key "date<index>", written in decimal without leading zeros as the encoder
// writes it; nothing for any other key.
std::optional<std::int64_t> dateIndex(std::string_view key) {
    if (!key.starts_with(kDateKeyPrefix)) {
        return std::nullopt;
    }
    const std::string_view digits = key.substr(kDateKeyPrefix.size());
    if (digits.empty() || (digits.size() > 1 && digits.front() == '0')) {
        return std::nullopt;
    }
    std::int64_t index = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), index);
    if (error != std::errc() || end != digits.data() + digits.size() || index < 0) {
        return std::nullopt;
    }
    return index;
}

}  // namespace

LastFivePerformingDates::LastFivePerformingDates(std::vector<Date> dates)
    : dates_(std::move(dates)) {
    std::stable_sort(dates_.begin(), dates_.end(), isEarlier);
    if (dates_.size() > kCapacity) {
        dates_.erase(dates_.begin(), dates_.end() - kCapacity);
    }
}

bool LastFivePerformingDates::isEqual(const std::any& other) const {
    const auto* dates = std::any_cast<LastFivePerformingDates>(&other);
    return dates != nullptr && *dates == *this;
}

void LastFivePerformingDates::encode(KeyedArchiver& coder) const {
    coder.encodeInteger(static_cast<std::int64_t>(dates_.size()), kDatesCountKey);
    for (std::size_t index = 0; index < dates_.size(); ++index) {
        coder.encodeDate(dates_[index], std::string(kDateKeyPrefix) + std::to_string(index));
    }
}

std::optional<LastFivePerformingDates> LastFivePerformingDates::decode(KeyedUnarchiver& coder) {
    const std::int64_t count = coder.decodeInteger(kDatesCountKey);
    if (count < 0) {
        fatalError("LastFivePerformingDates archive has a negative datesCount");
    }
    // Reading "date0" ... "date<count - 1>" one by one would loop as long as a damaged count is
    // large; only the keys present can hold dates, so those below the count are read instead.
    // Their order does not matter: the constructor sorts.
    std::vector<Date> dates;
    for (const std::string& key : coder.allKeys()) {
        const std::optional<std::int64_t> index = dateIndex(key);
        if (index && *index < count) {
            // A date that habit data cannot hold is skipped like an object that is no date.
            const std::optional<Date> date = coder.decodeDate(key);
            if (date && isRepresentable(*date)) {
                dates.push_back(*date);
            }
        }
    }
    if (coder.error()) {
        return std::nullopt;
    }
    return LastFivePerformingDates(std::move(dates));
}

}  // namespace dovrel
