#include "platform/notifications/NotificationCoding.h"

#include "platform/notifications/JsonWriter.h"

#include <cmath>
#include <cstdint>
#include <limits>
#include <nlohmann/json.hpp>
#include <type_traits>
#include <utility>
#include <vector>

namespace dovrel::notifications {

namespace {

using Json = nlohmann::json;

// JSON has no NaN or infinity; those travel as texts.
void writeReal(JsonWriter& writer, double value) {
    if (std::isnan(value)) {
        writer.text("nan");
    } else if (std::isinf(value)) {
        writer.text(value > 0 ? "inf" : "-inf");
    } else {
        writer.real(value);
    }
}

void writeUserInfoValue(JsonWriter& writer, const UserInfoValue& value) {
    writer.beginObject();
    std::visit(
        [&](const auto& held) {
            using T = std::decay_t<decltype(held)>;
            if constexpr (std::is_same_v<T, std::string>) {
                writer.key("type").text("text").key("value").text(held);
            } else if constexpr (std::is_same_v<T, Date>) {
                writer.key("type").text("date").key("value");
                writeReal(writer, held.timeIntervalSinceReferenceDate());
            } else if constexpr (std::is_same_v<T, std::int64_t>) {
                writer.key("type").text("integer").key("value").integer(held);
            } else if constexpr (std::is_same_v<T, double>) {
                writer.key("type").text("double").key("value");
                writeReal(writer, held);
            } else {
                static_assert(std::is_same_v<T, bool>);
                writer.key("type").text("bool").key("value").boolean(held);
            }
        },
        value);
    writer.endObject();
}

[[noreturn]] void fail(const std::string& what) {
    throw NotificationDecodingError(what);
}

const Json& member(const Json& object, const char* key) {
    if (!object.is_object()) {
        fail(std::string("expected an object holding \"") + key + "\"");
    }
    const auto found = object.find(key);
    if (found == object.end()) {
        fail(std::string("\"") + key + "\" is missing");
    }
    return *found;
}

std::string text(const Json& value, const char* what) {
    if (!value.is_string()) {
        fail(std::string(what) + " is not a text");
    }
    return value.get<std::string>();
}

bool boolean(const Json& value, const char* what) {
    if (!value.is_boolean()) {
        fail(std::string(what) + " is not a Boolean");
    }
    return value.get<bool>();
}

std::int64_t integer(const Json& value, const char* what) {
    if (value.is_number_integer()) {
        return value.get<std::int64_t>();
    }
    fail(std::string(what) + " is not an integer");
}

std::uint64_t unsignedInteger(const Json& value, const char* what) {
    if (value.is_number_unsigned()) {
        return value.get<std::uint64_t>();
    }
    if (value.is_number_integer() && value.get<std::int64_t>() >= 0) {
        return static_cast<std::uint64_t>(value.get<std::int64_t>());
    }
    fail(std::string(what) + " is not a non-negative integer");
}

double real(const Json& value, const char* what) {
    if (value.is_number()) {
        return value.get<double>();
    }
    if (value.is_string()) {
        const auto& spelled = value.get_ref<const std::string&>();
        if (spelled == "nan") {
            return std::numeric_limits<double>::quiet_NaN();
        }
        if (spelled == "inf") {
            return std::numeric_limits<double>::infinity();
        }
        if (spelled == "-inf") {
            return -std::numeric_limits<double>::infinity();
        }
    }
    fail(std::string(what) + " is not a number");
}

Json parse(const std::string& text) {
    Json document = Json::parse(text, nullptr, /*allow_exceptions=*/false);
    if (document.is_discarded()) {
        fail("not JSON");
    }
    if (!document.is_object()) {
        fail("not a JSON object");
    }
    return document;
}

UserInfoValue decodeUserInfoValue(const Json& encoded) {
    const std::string type = text(member(encoded, "type"), "a user-info type");
    const Json& value = member(encoded, "value");
    if (type == "text") {
        return text(value, "a user-info text");
    }
    if (type == "date") {
        return Date(real(value, "a user-info date"));
    }
    if (type == "integer") {
        return integer(value, "a user-info integer");
    }
    if (type == "double") {
        return real(value, "a user-info double");
    }
    if (type == "bool") {
        return boolean(value, "a user-info Boolean");
    }
    fail("unknown user-info type \"" + type + "\"");
}

// The calendar fields a trigger may set, by their names in the file.
struct ComponentField {
    const char* name;
    std::optional<std::int64_t> DateComponents::*field;
};
constexpr ComponentField kComponentFields[] = {
    {"era", &DateComponents::era},
    {"year", &DateComponents::year},
    {"month", &DateComponents::month},
    {"day", &DateComponents::day},
    {"hour", &DateComponents::hour},
    {"minute", &DateComponents::minute},
    {"second", &DateComponents::second},
    {"weekday", &DateComponents::weekday},
    {"weekOfYear", &DateComponents::weekOfYear},
    {"yearForWeekOfYear", &DateComponents::yearForWeekOfYear},
    {"dayOfYear", &DateComponents::dayOfYear},
};

}  // namespace

std::string encodeContent(const NotificationContent& content) {
    JsonWriter writer;
    writer.beginObject();
    writer.key("title").text(content.title);
    writer.key("subtitle").text(content.subtitle);
    writer.key("body").text(content.body);
    writer.key("sound");
    content.sound ? writer.text(content.sound->name) : writer.null();
    writer.key("badge");
    content.badge ? writer.integer(*content.badge) : writer.null();
    writer.key("categoryIdentifier").text(content.categoryIdentifier);
    writer.key("userInfo").beginObject();
    for (const auto& [key, value] : content.userInfo) {
        writer.key(key);
        writeUserInfoValue(writer, value);
    }
    writer.endObject();
    writer.endObject();
    return writer.take();
}

NotificationContent decodeContent(const std::string& encoded) {
    const Json document = parse(encoded);
    NotificationContent content;
    content.title = text(member(document, "title"), "the title");
    content.subtitle = text(member(document, "subtitle"), "the subtitle");
    content.body = text(member(document, "body"), "the body");
    if (const Json& sound = member(document, "sound"); !sound.is_null()) {
        content.sound = NotificationSound{text(sound, "the sound")};
    }
    if (const Json& badge = member(document, "badge"); !badge.is_null()) {
        content.badge = integer(badge, "the badge");
    }
    content.categoryIdentifier =
        text(member(document, "categoryIdentifier"), "the category identifier");
    const Json& userInfo = member(document, "userInfo");
    if (!userInfo.is_object()) {
        fail("the user info is not an object");
    }
    for (const auto& [key, value] : userInfo.items()) {
        content.userInfo.emplace(key, decodeUserInfoValue(value));
    }
    return content;
}

std::string encodeTrigger(const NotificationTrigger& trigger) {
    JsonWriter writer;
    writer.beginObject();
    if (const auto* calendar = std::get_if<CalendarNotificationTrigger>(&trigger)) {
        writer.key("kind").text("calendar");
        writer.key("components").beginObject();
        for (const auto& [name, field] : kComponentFields) {
            if (const auto& value = calendar->dateComponents().*field) {
                writer.key(name).integer(*value);
            }
        }
        if (const auto& leap = calendar->dateComponents().isLeapMonth) {
            writer.key("isLeapMonth").boolean(*leap);
        }
        writer.endObject();
        writer.key("repeats").boolean(calendar->repeats());
        writer.key("calendar");
        calendar->calendarIdentifier() ? writer.text(*calendar->calendarIdentifier())
                                       : writer.null();
    } else {
        const auto& interval = std::get<TimeIntervalNotificationTrigger>(trigger);
        writer.key("kind").text("timeInterval");
        writer.key("interval");
        writeReal(writer, interval.timeInterval());
        writer.key("repeats").boolean(interval.repeats());
    }
    writer.endObject();
    return writer.take();
}

NotificationTrigger decodeTrigger(const std::string& encoded) {
    const Json document = parse(encoded);
    const std::string kind = text(member(document, "kind"), "the trigger kind");
    const bool repeats = boolean(member(document, "repeats"), "the trigger's repeats");
    if (kind == "calendar") {
        const Json& encodedComponents = member(document, "components");
        if (!encodedComponents.is_object()) {
            fail("the trigger's components are not an object");
        }
        DateComponents components;
        for (const auto& [name, field] : kComponentFields) {
            if (const auto found = encodedComponents.find(name); found != encodedComponents.end()) {
                components.*field = integer(*found, name);
            }
        }
        if (const auto found = encodedComponents.find("isLeapMonth");
            found != encodedComponents.end()) {
            components.isLeapMonth = boolean(*found, "isLeapMonth");
        }
        std::optional<std::string> calendar;
        if (const Json& named = member(document, "calendar"); !named.is_null()) {
            calendar = text(named, "the trigger's calendar");
        }
        return CalendarNotificationTrigger(std::move(components), repeats, std::move(calendar));
    }
    if (kind == "timeInterval") {
        const double interval = real(member(document, "interval"), "the trigger's interval");
        // The trigger refuses such intervals by stopping the process; a damaged row must not.
        if (!(interval > 0) || !std::isfinite(interval)) {
            fail("the trigger's interval is not a positive number");
        }
        if (repeats && interval < 60) {
            fail("the repeating trigger's interval is less than 60 seconds");
        }
        return TimeIntervalNotificationTrigger(interval, repeats);
    }
    fail("unknown trigger kind \"" + kind + "\"");
}

std::string encodeCategory(const NotificationCategory& category) {
    Json actions = Json::array();
    for (const auto& action : category.actions) {
        actions.push_back({{"identifier", action.identifier},
                           {"title", action.title},
                           {"options", static_cast<std::uint64_t>(action.options)}});
    }
    Json document = {
        {"identifier", category.identifier},
        {"actions", std::move(actions)},
        {"intentIdentifiers", category.intentIdentifiers},
        {"options", static_cast<std::uint64_t>(category.options)},
    };
    return document.dump(-1, ' ', false, Json::error_handler_t::replace);
}

NotificationCategory decodeCategory(const std::string& encoded) {
    const Json document = parse(encoded);
    NotificationCategory category;
    category.identifier = text(member(document, "identifier"), "the category identifier");
    const Json& actions = member(document, "actions");
    if (!actions.is_array()) {
        fail("the category's actions are not an array");
    }
    for (const Json& action : actions) {
        category.actions.push_back(NotificationAction{
            text(member(action, "identifier"), "an action identifier"),
            text(member(action, "title"), "an action title"),
            static_cast<NotificationActionOptions>(
                unsignedInteger(member(action, "options"), "an action's options")),
        });
    }
    const Json& intents = member(document, "intentIdentifiers");
    if (!intents.is_array()) {
        fail("the category's intent identifiers are not an array");
    }
    for (const Json& intent : intents) {
        category.intentIdentifiers.push_back(text(intent, "an intent identifier"));
    }
    category.options = static_cast<NotificationCategoryOptions>(
        unsignedInteger(member(document, "options"), "the category's options"));
    return category;
}

}  // namespace dovrel::notifications
