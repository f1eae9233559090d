#pragma once

#include <plist/plist.h>

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

#include "platform/foundation/Data.h"
#include "platform/foundation/Date.h"
#include "platform/foundation/PropertyList.h"
#include "platform/foundation/SecureCoding.h"

namespace dovrel {

// Writes an object graph as a keyed archive in the binary property-list layout that the
// phone's keyed archiver uses, so that archives travel both ways:
//
//   { "$archiver": "NSKeyedArchiver", "$version": 100000,
//     "$top": { "root": UID(1) },
//     "$objects": [ "$null", <object>, <class record>, ... ] }
//
// Each archived object is a dictionary of its keyed values plus "$class", the UID of a class
// record { "$classname": "RepeatInterval", "$classes": ["RepeatInterval", "NSObject"] }.
// Scalars (integers, doubles, booleans, bytes) are stored inline in the object's dictionary;
// strings, dates and nested objects are entries of "$objects" referred to by UID. UID 0 is the
// "$null" entry, the reference of an absent object. Keys that start with "$" are written with an
// extra "$" in front, as the phone's archiver does, so they never clash with "$class".
//
// An archiver lives only inside archivedData(); objects reach it through SecureCoding::encode.
class KeyedArchiver {
  public:
    static constexpr std::string_view kArchiverName = "NSKeyedArchiver";
    static constexpr std::int64_t kVersion = 100000;

    // The binary keyed archive whose root object is `rootObject`.
    static Data archivedData(const SecureCoding& rootObject);

    // Keyed values of the object being encoded. Encoding a key twice keeps the later value.
    void encodeInteger(std::int64_t value, std::string_view key);
    void encodeDouble(double value, std::string_view key);
    void encodeBool(bool value, std::string_view key);
    void encodeBytes(const Data& bytes, std::string_view key);
    // A string object (NSString): a plain string entry of "$objects". Equal strings share one.
    void encodeString(std::string_view value, std::string_view key);
    // A date object (NSDate): { "NS.time": seconds since 2001-01-01 UTC, "$class": NSDate }.
    void encodeDate(Date date, std::string_view key);
    // A nested object, or the "$null" reference when `object` is null. An object encoded twice
    // (the same address) is archived once and referred to twice, so cycles terminate.
    void encodeObject(const SecureCoding* object, std::string_view key);

    KeyedArchiver(const KeyedArchiver&) = delete;
    KeyedArchiver& operator=(const KeyedArchiver&) = delete;

  private:
    KeyedArchiver();

    void set(std::string_view key, plist_t value);
    std::uint64_t append(plist_t object);
    std::uint64_t classRecord(const std::vector<std::string>& classHierarchy);

    PlistNode objects_;
    plist_t current_ = nullptr;  // the dictionary of the object being encoded (owned by objects_)
    std::map<std::string, std::uint64_t, std::less<>> classRecords_;
    std::map<std::string, std::uint64_t, std::less<>> strings_;
    std::map<const SecureCoding*, std::uint64_t> encodedObjects_;
};

}  // namespace dovrel
