#pragma once

#include <optional>
#include <stdexcept>
#include <string>

#include "platform/notifications/NotificationCategory.h"
#include "platform/notifications/NotificationContent.h"
#include "platform/notifications/NotificationTrigger.h"

namespace dovrel::notifications {

// The text form in which the center's file keeps contents, triggers and categories: JSON
// objects whose every value names its kind, so that a user-info date comes back as a Date and a
// text as a text in any process. The layout is part of the file format:
//   content   {"title": s, "subtitle": s, "body": s, "sound": s|null, "badge": int|null,
//              "categoryIdentifier": s, "userInfo": {key: {"type": kind, "value": v}}}
//              kind is "text", "date", "integer", "double" or "bool"; a date's value is its
//              seconds since the reference date; a double or date that is not finite is the
//              text "nan", "inf" or "-inf"
//   trigger   {"kind": "calendar", "components": {field: int}, "repeats": b,
//              "calendar": s|null} or {"kind": "timeInterval", "interval": number,
//              "repeats": b}
//   category  {"identifier": s, "actions": [{"identifier": s, "title": s, "options": int}],
//              "intentIdentifiers": [s], "options": int}
//
// Encoding never fails. Decoding text that is not in this layout (a damaged row, a row of a
// newer version) throws NotificationDecodingError and never anything else. Pure functions,
// safe from any thread.

// Decoding failed; what() tells what was wrong.
class NotificationDecodingError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

std::string encodeContent(const NotificationContent& content);
NotificationContent decodeContent(const std::string& text);

std::string encodeTrigger(const NotificationTrigger& trigger);
NotificationTrigger decodeTrigger(const std::string& text);

std::string encodeCategory(const NotificationCategory& category);
NotificationCategory decodeCategory(const std::string& text);

}  // namespace dovrel::notifications
