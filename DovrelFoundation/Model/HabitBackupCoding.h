#pragma once

#include <any>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "DovrelFoundation/Model/LastFivePerformingDates.h"
#include "DovrelFoundation/Model/RepeatInterval.h"

namespace dovrel {

class Habit;
class Performing;

// The keyed records of a habit backup: how a Habit, a Performing, a RepeatInterval and a
// LastFivePerformingDates are written to and read from JSON (nlohmann::ordered_json, so that
// keys keep the order in which they are written). The file around the records is
// HabitBackupArchive's.
//
// Habit record, keys in this order:
//   "colorHex"                    integer, the colour's hex() (ColorExtensions.h); null
//                                 without a colour
//   "creationDate"                date or null
//   "name"                        text or null
//   "question"                    text or null
//   "remind"                      boolean
//   "remindTime"                  date or null
//   "repeatInterval"              repeat-interval record or null
//   "performings"                 list of checkmark records, in the habit's set order
//   "lastFivePerformingDates"     five-date record or null
//   "lastPerformingDateProgress"  number
// Checkmark record: "date", a date or null.
// Repeat-interval record: "times" then "days", integers.
// Five-date record: "dates", a list of dates, ascending.
// Optional values are written as explicit nulls, never left out. Dates are written as ISO 8601
// texts in UTC with milliseconds and read from such texts or from numbers of seconds since the
// reference date (HabitBackupDates.h).
//
// Decoding creates the habit and its checkmarks directly in the managed object context that the
// caller hands over in the user information under CodingUserInfoKey::context (a
// std::shared_ptr<store::ManagedObjectContext>), on that context's queue. Decoding is tolerant
// of records written before the interval and the caches existed:
//   - "colorHex" (an integer: a palette colour when one has that number, else the RGB colour of
//     the number), "remind", "performings" and each checkmark record are required: a missing,
//     null or malformed value throws DecodingError. A null "colorHex", as written for a habit
//     without colour, therefore does not restore; nor does a null "performings".
//   - "creationDate", "name", "question", "remindTime" and a checkmark's "date" may be null but
//     their keys must be there.
//   - A missing or malformed "repeatInterval" becomes 1/1; a missing or malformed
//     "lastFivePerformingDates" is rebuilt from the checkmark dates (the latest five); a missing
//     or malformed "lastPerformingDateProgress", or one outside 0...100, is computed from the
//     checkmark dates and the interval (HabitProgressCalculator). Valid caches are taken as they
//     are, not recomputed.
//   - Dates must be representable (RepresentableDate.h). In "lastFivePerformingDates" a date
//     that is not is skipped, the record's other dates kept; a checkmark's "date",
//     "creationDate" or "remindTime" that is not fails decoding with DecodingError
//     (dataCorrupted), as date text that does not read does: a checkmark cannot be repaired.
// A habit whose decoding throws stays inserted in the context (with whatever was decoded before
// the failure) until the caller rolls the context back.
//
// Programming errors stop the process: user information without a context ("There is no
// managed object context to init a Habit with decoder.", and "... a Performing ..." for a
// checkmark), and a context whose model has no "Habit" entity ("Habit entity is not
// initialized.") or no "Performing" entity ("Performing entity is not initialized.").

// The key of the user information under which decoding finds its context.
struct CodingUserInfoKey {
    CodingUserInfoKey() = delete;
    static constexpr std::string_view context = "context";
};

// Values that decoding reads besides the record, by key.
using CodingUserInfo = std::map<std::string, std::any, std::less<>>;

// Where in the archive a record lies, from the outside in ({"habits", "3"}); reported by
// DecodingError.
using CodingPath = std::vector<std::string>;

// Encoding. Throws std::domain_error for a date or a progress that JSON cannot hold (not
// finite, or a date tens of thousands of years away).
nlohmann::ordered_json encodeHabit(const Habit& habit);
nlohmann::ordered_json encodePerforming(const Performing& performing);
nlohmann::ordered_json encodeRepeatInterval(const RepeatInterval& interval);
nlohmann::ordered_json encodeLastFivePerformingDates(const LastFivePerformingDates& dates);

// Decoding. Throws DecodingError naming `codingPath` plus the place inside the record.
std::shared_ptr<Habit> decodeHabit(const nlohmann::ordered_json& record,
                                   const CodingUserInfo& userInfo,
                                   const CodingPath& codingPath = {});
std::shared_ptr<Performing> decodePerforming(const nlohmann::ordered_json& record,
                                             const CodingUserInfo& userInfo,
                                             const CodingPath& codingPath = {});
// "times" and "days", both required, normalised as by the RepeatInterval constructor.
RepeatInterval decodeRepeatInterval(const nlohmann::ordered_json& record,
                                    const CodingPath& codingPath = {});
// "dates", required, built into LastFivePerformingDates (sorted, the last five kept); dates that
// are not representable are left out.
LastFivePerformingDates decodeLastFivePerformingDates(const nlohmann::ordered_json& record,
                                                      const CodingPath& codingPath = {});

}  // namespace dovrel
