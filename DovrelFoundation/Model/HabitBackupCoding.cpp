#include "DovrelFoundation/Model/HabitBackupCoding.h"

#include "DovrelFoundation/Appearance/ColorExtensions.h"
#include "DovrelFoundation/Model/DecodingError.h"
#include "DovrelFoundation/Model/Habit.h"
#include "DovrelFoundation/Model/HabitBackupDates.h"
#include "DovrelFoundation/Model/HabitModel.h"
#include "DovrelFoundation/Model/Performing.h"
#include "DovrelFoundation/Model/RepresentableDate.h"
#include "DovrelFoundation/Progress/HabitProgressCalculator.h"
#include "platform/foundation/FatalError.h"
#include "platform/store/ManagedObjectContext.h"
#include "platform/store/ManagedObjectModel.h"
#include "platform/store/PersistentStoreCoordinator.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <limits>
#include <stdexcept>

namespace dovrel {

using Json = nlohmann::ordered_json;

namespace {

// ---- Keys ----------------------------------------------------------------------------------

namespace HabitKey {
constexpr const char* colorHex = "colorHex";
constexpr const char* creationDate = "creationDate";
constexpr const char* name = "name";
constexpr const char* question = "question";
constexpr const char* remind = "remind";
constexpr const char* remindTime = "remindTime";
constexpr const char* repeatInterval = "repeatInterval";
constexpr const char* performings = "performings";
constexpr const char* lastFivePerformingDates = "lastFivePerformingDates";
constexpr const char* lastPerformingDateProgress = "lastPerformingDateProgress";
}  // namespace HabitKey

constexpr const char* kPerformingDateKey = "date";
constexpr const char* kTimesKey = "times";
constexpr const char* kDaysKey = "days";
constexpr const char* kDatesKey = "dates";

// Stops the process; defined at the end of the file (see there).
[[noreturn]] void stopDecodingHabit(std::string_view message);
[[noreturn]] void stopDecodingPerforming(std::string_view message);

// ---- Encoding values -----------------------------------------------------------------------

Json encodeDate(Date date) {
    return iso8601Text(date);
}

template <typename T, typename Encode>
Json encodeOptional(const std::optional<T>& value, Encode encode) {
    return value ? Json(encode(*value)) : Json(nullptr);
}

// ---- Decoding values -----------------------------------------------------------------------

CodingPath appending(const CodingPath& path, std::string component) {
    CodingPath longer = path;
    longer.push_back(std::move(component));
    return longer;
}

// The JSON kind of a value, as the errors name it.
std::string kindOf(const Json& value) {
    switch (value.type()) {
        case Json::value_t::null:
            return "null";
        case Json::value_t::object:
            return "a dictionary";
        case Json::value_t::array:
            return "an array";
        case Json::value_t::string:
            return "a string";
        case Json::value_t::boolean:
            return "a boolean";
        case Json::value_t::number_integer:
        case Json::value_t::number_unsigned:
        case Json::value_t::number_float:
            return "a number";
        default:
            return "an unsupported value";
    }
}

// A null where `type` is required is "value not found"; any other kind is a type mismatch.
[[noreturn]] void mismatch(const std::string& type, const Json& value, const CodingPath& path) {
    if (value.is_null()) {
        throw DecodingError(DecodingError::Kind::valueNotFound, path,
                            "Expected " + type + " value but found null instead.");
    }
    throw DecodingError(DecodingError::Kind::typeMismatch, path,
                        "Expected to decode " + type + " but found " + kindOf(value) + " instead.");
}

// The value under `key` of the record `object` (which must be a dictionary).
const Json& requiredKey(const Json& object, const char* key, const CodingPath& path) {
    if (!object.is_object()) {
        mismatch("Dictionary", object, path);
    }
    const auto found = object.find(key);
    if (found == object.end()) {
        throw DecodingError(DecodingError::Kind::keyNotFound, appending(path, key),
                            std::string("No value associated with key \"") + key + "\".");
    }
    return *found;
}

bool decodeBool(const Json& value, const CodingPath& path) {
    if (!value.is_boolean()) {
        mismatch("Bool", value, path);
    }
    return value.get<bool>();
}

std::int64_t decodeInteger(const Json& value, const CodingPath& path) {
    if (value.is_number_integer() && !value.is_number_unsigned()) {
        return value.get<std::int64_t>();
    }
    if (value.is_number_unsigned()) {
        const auto number = value.get<std::uint64_t>();
        if (number <= static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) {
            return static_cast<std::int64_t>(number);
        }
    } else if (value.is_number_float()) {
        // A number written with a fraction or an exponent is accepted when it is a whole number
        // that fits.
        const double number = value.get<double>();
        if (std::trunc(number) == number && number >= -9.2233720368547758e18 &&
            number < 9.2233720368547758e18) {
            return static_cast<std::int64_t>(number);
        }
    } else {
        mismatch("Int", value, path);
    }
    throw DecodingError(DecodingError::Kind::dataCorrupted, path,
                        "Parsed JSON number <" + value.dump() + "> does not fit in Int.");
}

double decodeDouble(const Json& value, const CodingPath& path) {
    if (!value.is_number()) {
        mismatch("Double", value, path);
    }
    return value.get<double>();
}

std::string decodeString(const Json& value, const CodingPath& path) {
    if (!value.is_string()) {
        mismatch("String", value, path);
    }
    return value.get<std::string>();
}

// ISO 8601 text, or a number of seconds since the reference date; any instant it names.
Date readDate(const Json& value, const CodingPath& path) {
    if (value.is_number()) {
        return Date(value.get<double>());
    }
    if (!value.is_string()) {
        mismatch("Date", value, path);
    }
    const auto date = dateFromISO8601Text(value.get_ref<const std::string&>());
    if (!date) {
        throw DecodingError(DecodingError::Kind::dataCorrupted, path,
                            "Expected date string to be ISO8601-formatted.");
    }
    return *date;
}

// A date that habit data may hold (RepresentableDate.h): one that lies beyond the calendar's
// reach is as unreadable as text that is no date.
Date decodeDate(const Json& value, const CodingPath& path) {
    const Date date = readDate(value, path);
    if (!isRepresentable(date)) {
        throw DecodingError(DecodingError::Kind::dataCorrupted, path,
                            "Date <" + value.dump() +
                                "> is not one a habit can hold: it lies more than " +
                                std::to_string(static_cast<long long>(kRepresentableDateLimit)) +
                                " seconds from 2001-01-01.");
    }
    return date;
}

// A value whose key must be present but which may be null.
template <typename Decode>
auto decodeNullable(const Json& object, const char* key, const CodingPath& path, Decode decode)
    -> std::optional<decltype(decode(object, path))> {
    const Json& value = requiredKey(object, key, path);
    if (value.is_null()) {
        return std::nullopt;
    }
    return decode(value, appending(path, key));
}

// ---- The context of decoding ---------------------------------------------------------------

std::shared_ptr<store::ManagedObjectContext> contextFrom(const CodingUserInfo& userInfo) {
    const auto found = userInfo.find(CodingUserInfoKey::context);
    if (found == userInfo.end()) {
        return nullptr;
    }
    const auto* context =
        std::any_cast<std::shared_ptr<store::ManagedObjectContext>>(&found->second);
    return context != nullptr ? *context : nullptr;
}

bool modelHasEntity(const store::ManagedObjectContext& context, std::string_view entityName) {
    const auto& coordinator = context.persistentStoreCoordinator();
    if (!coordinator || !coordinator->managedObjectModel()) {
        return false;
    }
    return coordinator->managedObjectModel()->entity(entityName) != nullptr;
}

// The colour of a stored number: the palette's colour of that number, with its light and dark
// appearances, when there is one; otherwise the plain RGB colour of the number.
Color habitColorFromHex(std::int64_t number) {
    for (const Color& color : habitPalette()) {
        if (hex(color) == number) {
            return color;
        }
    }
    return colorFromHex(number);
}

std::vector<Date> datesOf(const std::vector<std::shared_ptr<Performing>>& performings) {
    std::vector<Date> dates;
    dates.reserve(performings.size());
    for (const auto& performing : performings) {
        if (const auto date = performing->date()) {
            dates.push_back(*date);
        }
    }
    std::sort(dates.begin(), dates.end());
    return dates;
}

}  // namespace

// ---- Encoding ------------------------------------------------------------------------------

Json encodeRepeatInterval(const RepeatInterval& interval) {
    Json record = Json::object();
    record[kTimesKey] = interval.times();
    record[kDaysKey] = interval.days();
    return record;
}

Json encodeLastFivePerformingDates(const LastFivePerformingDates& dates) {
    Json list = Json::array();
    for (const Date date : dates.dates()) {
        list.push_back(encodeDate(date));
    }
    Json record = Json::object();
    record[kDatesKey] = std::move(list);
    return record;
}

Json encodePerforming(const Performing& performing) {
    Json record = Json::object();
    record[kPerformingDateKey] = encodeOptional(performing.date(), encodeDate);
    return record;
}

Json encodeHabit(const Habit& habit) {
    const double progress = habit.lastPerformingDateProgress();
    if (!std::isfinite(progress)) {
        throw std::domain_error("a habit progress that JSON cannot hold");
    }
    Json performings = Json::array();
    for (const auto& performing : habit.performing()) {
        performings.push_back(encodePerforming(*performing));
    }
    auto text = [](const std::string& value) { return value; };

    Json record = Json::object();
    record[HabitKey::colorHex] =
        encodeOptional(habit.color(), [](const Color& color) { return hex(color); });
    record[HabitKey::creationDate] = encodeOptional(habit.creationDate(), encodeDate);
    record[HabitKey::name] = encodeOptional(habit.name(), text);
    record[HabitKey::question] = encodeOptional(habit.question(), text);
    record[HabitKey::remind] = habit.remind();
    record[HabitKey::remindTime] = encodeOptional(habit.remindTime(), encodeDate);
    record[HabitKey::repeatInterval] = encodeOptional(habit.repeatInterval(), encodeRepeatInterval);
    record[HabitKey::performings] = std::move(performings);
    record[HabitKey::lastFivePerformingDates] =
        encodeOptional(habit.lastFivePerformingDates(), encodeLastFivePerformingDates);
    record[HabitKey::lastPerformingDateProgress] = progress;
    return record;
}

// ---- Decoding ------------------------------------------------------------------------------

RepeatInterval decodeRepeatInterval(const Json& record, const CodingPath& codingPath) {
    const auto times =
        decodeInteger(requiredKey(record, kTimesKey, codingPath), appending(codingPath, kTimesKey));
    const auto days =
        decodeInteger(requiredKey(record, kDaysKey, codingPath), appending(codingPath, kDaysKey));
    return RepeatInterval(times, days);
}

LastFivePerformingDates decodeLastFivePerformingDates(const Json& record,
                                                      const CodingPath& codingPath) {
    const Json& list = requiredKey(record, kDatesKey, codingPath);
    const CodingPath listPath = appending(codingPath, kDatesKey);
    if (!list.is_array()) {
        mismatch("Array<Date>", list, listPath);
    }
    std::vector<Date> dates;
    dates.reserve(list.size());
    for (std::size_t index = 0; index < list.size(); ++index) {
        // A date that habit data cannot hold is skipped as an unreadable entry; the others stay.
        const Date date = readDate(list[index], appending(listPath, std::to_string(index)));
        if (isRepresentable(date)) {
            dates.push_back(date);
        }
    }
    return LastFivePerformingDates(std::move(dates));
}

std::shared_ptr<Performing> decodePerforming(const Json& record, const CodingUserInfo& userInfo,
                                             const CodingPath& codingPath) {
    const auto context = contextFrom(userInfo);
    if (!context) {
        stopDecodingPerforming(
            "There is no managed object context to init a Performing with decoder.");
    }
    if (!modelHasEntity(*context, kPerformingEntityName)) {
        stopDecodingPerforming("Performing entity is not initialized.");
    }
    auto performing = context->insertNewObject<Performing>(std::string(kPerformingEntityName));
    performing->setDate(decodeNullable(record, kPerformingDateKey, codingPath, decodeDate));
    return performing;
}

std::shared_ptr<Habit> decodeHabit(const Json& record, const CodingUserInfo& userInfo,
                                   const CodingPath& codingPath) {
    const auto context = contextFrom(userInfo);
    if (!context) {
        stopDecodingHabit("There is no managed object context to init a Habit with decoder.");
    }
    if (!modelHasEntity(*context, kHabitEntityName)) {
        stopDecodingHabit("Habit entity is not initialized.");
    }
    auto habit = context->insertNewObject<Habit>(std::string(kHabitEntityName));
    const auto path = [&](const char* key) { return appending(codingPath, key); };

    // The colour is required, although a habit without one is written with null.
    const std::int64_t colorNumber = decodeInteger(
        requiredKey(record, HabitKey::colorHex, codingPath), path(HabitKey::colorHex));
    habit->setColor(habitColorFromHex(colorNumber));

    habit->setCreationDate(decodeNullable(record, HabitKey::creationDate, codingPath, decodeDate));
    habit->setName(decodeNullable(record, HabitKey::name, codingPath, decodeString));
    habit->setQuestion(decodeNullable(record, HabitKey::question, codingPath, decodeString));
    habit->setRemindTime(decodeNullable(record, HabitKey::remindTime, codingPath, decodeDate));
    habit->setRemind(
        decodeBool(requiredKey(record, HabitKey::remind, codingPath), path(HabitKey::remind)));

    // Added after the first backups: a missing or unreadable interval is every day.
    RepeatInterval interval;
    try {
        interval = decodeRepeatInterval(requiredKey(record, HabitKey::repeatInterval, codingPath),
                                        path(HabitKey::repeatInterval));
    } catch (const DecodingError&) {
        interval = RepeatInterval();
    }
    habit->setRepeatInterval(interval);

    // Required and never null, although a habit without checkmarks may be written with null.
    const Json& list = requiredKey(record, HabitKey::performings, codingPath);
    const CodingPath listPath = path(HabitKey::performings);
    if (!list.is_array()) {
        mismatch("Array<Performing>", list, listPath);
    }
    std::vector<std::shared_ptr<Performing>> performings;
    performings.reserve(list.size());
    for (std::size_t index = 0; index < list.size(); ++index) {
        performings.push_back(
            decodePerforming(list[index], userInfo, appending(listPath, std::to_string(index))));
    }
    for (const auto& performing : performings) {
        habit->addPerformingObject(performing);
    }
    const std::vector<Date> dates = datesOf(performings);

    // The caches were added after the first backups too: rebuilt from the checkmarks when
    // missing or unreadable, taken as they are otherwise.
    std::optional<LastFivePerformingDates> lastFive;
    try {
        lastFive = decodeLastFivePerformingDates(
            requiredKey(record, HabitKey::lastFivePerformingDates, codingPath),
            path(HabitKey::lastFivePerformingDates));
    } catch (const DecodingError&) {
        lastFive = LastFivePerformingDates(dates);
    }
    habit->setLastFivePerformingDates(lastFive);

    // A score is never outside 0...100: a number outside (a huge one included) is as malformed
    // as a missing one, and is computed from the checkmarks the same way.
    std::optional<double> progress;
    try {
        progress =
            decodeDouble(requiredKey(record, HabitKey::lastPerformingDateProgress, codingPath),
                         path(HabitKey::lastPerformingDateProgress));
    } catch (const DecodingError&) {
        progress = std::nullopt;
    }
    if (!progress || !HabitProgressCalculator::isScore(*progress)) {
        progress =
            HabitProgressCalculator::calculateProgress(dates, interval.times(), interval.days());
    }
    habit->setLastPerformingDateProgress(*progress);
    return habit;
}

namespace {

// The decoders' fatal stops are reported at the sources of the record classes themselves,
// "DovrelFoundation/Habit" and "DovrelFoundation/Performing", as the classes' own decoding
// initialisers would report them. These two functions must stay the last lines of this file.
#line 1 "DovrelFoundation/Habit.cpp"
void stopDecodingHabit(std::string_view message) {
    fatalError(message);
}
#line 1 "DovrelFoundation/Performing.cpp"
void stopDecodingPerforming(std::string_view message) {
    fatalError(message);
}

}  // namespace

}  // namespace dovrel
