#pragma once

#include <plist/plist.h>

#include <concepts>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "platform/foundation/Data.h"
#include "platform/foundation/Date.h"
#include "platform/foundation/Error.h"
#include "platform/foundation/PropertyList.h"

namespace dovrel {

class KeyedUnarchiver;

// A type that a KeyedUnarchiver can rebuild by class name (see SecureCoding.h).
template <class T>
concept SecureDecodable = requires(KeyedUnarchiver& coder) {
    { T::kClassName } -> std::convertible_to<std::string_view>;
    { T::decode(coder) } -> std::same_as<std::optional<T>>;
};

// Reads keyed archives in the binary property-list layout described in KeyedArchiver.h, whether
// written here or by the phone's archiver.
//
// Reading never throws and never crashes on bad input. Bytes that are not a binary property
// list, a truncated list, a top level without "$archiver" = "NSKeyedArchiver", "$version" =
// 100000, "$objects" and "$top", a UID that points outside "$objects", an object that contains
// itself (directly or through others), a class record without "$classname", and a scalar read
// (integer, double, boolean, bytes) of a value that is not a number or data all make the
// archive unreadable: the unarchiver records an error, every later read gives 0 or nothing, and
// unarchivedObject() returns nothing.
//
// A key that is absent reads as 0, false or nothing. An object of another class than the one
// asked for, "$null", or an inline value where an object is asked for reads as nothing without
// spoiling the rest of the archive; the caller decides what an absent object means.
class KeyedUnarchiver {
  public:
    // The root object of `data`, decoded by `decode` when its class record names one of
    // `classNames` (as "$classname" or anywhere in "$classes"). Nothing when the archive is
    // unreadable, the root is of another class, `decode` gives nothing, or anything throws.
    template <class Decoder>
    static auto unarchivedObject(const Data& data,
                                 std::initializer_list<std::string_view> classNames,
                                 Decoder&& decode)
        -> std::invoke_result_t<Decoder, KeyedUnarchiver&>;

    template <SecureDecodable T>
    static std::optional<T> unarchivedObject(const Data& data) {
        return unarchivedObject(data, {std::string_view(T::kClassName)}, &T::decode);
    }

    // True when the object being decoded has a value under `key`.
    bool containsValue(std::string_view key) const;

    // The keys of the object being decoded, without "$class", in no particular order.
    std::vector<std::string> allKeys() const;

    // An integer; a real is truncated toward zero when it fits, a boolean reads as 0 or 1.
    std::int64_t decodeInteger(std::string_view key);
    // A real; an integer is converted.
    double decodeDouble(std::string_view key);
    // A boolean; an integer reads as true when it is not 0.
    bool decodeBool(std::string_view key);
    // Inline bytes (a data value).
    std::optional<Data> decodeBytes(std::string_view key);
    // A string object (a plain string entry, or an NSString/NSMutableString with "NS.string").
    std::optional<std::string> decodeString(std::string_view key);
    // A date object (class NSDate with "NS.time").
    std::optional<Date> decodeDate(std::string_view key);

    // A nested object decoded by `decode` when its class is one of `classNames`.
    template <class Decoder>
    auto decodeObject(std::string_view key, std::initializer_list<std::string_view> classNames,
                      Decoder&& decode) -> std::invoke_result_t<Decoder, KeyedUnarchiver&>;

    template <SecureDecodable T>
    std::optional<T> decodeObject(std::string_view key) {
        return decodeObject(key, {std::string_view(T::kClassName)}, &T::decode);
    }

    // Marks the archive unreadable (a decoder found values it cannot accept). The first error
    // is kept.
    void failWithError(Error error);
    const std::optional<Error>& error() const noexcept { return error_; }

    KeyedUnarchiver(const KeyedUnarchiver&) = delete;
    KeyedUnarchiver& operator=(const KeyedUnarchiver&) = delete;

  private:
    explicit KeyedUnarchiver(PlistNode root, plist_t objects, plist_t top);

    // Opens `data` and returns an unarchiver positioned on "$top", or nothing.
    static std::unique_ptr<KeyedUnarchiver> open(const Data& data);

    // Runs `body` with the unarchiver positioned on the object that `key` refers to, when that
    // object is of one of `classNames`. Returns whether `body` ran.
    bool withObject(std::string_view key, std::initializer_list<std::string_view> classNames,
                    const std::function<void(KeyedUnarchiver&)>& body);
    // The value under `key` in the current object, or null.
    plist_t value(std::string_view key) const;
    // The entry of "$objects" that a UID value refers to; null for "$null" and, after recording
    // the error, for a value that is not a UID or is out of range.
    plist_t referencedObject(plist_t value, std::uint64_t* uid);
    // Whether the object dictionary's class record names one of `classNames`.
    bool isOfClass(plist_t object, std::initializer_list<std::string_view> classNames);
    void failCorrupt(std::string_view reason);

    PlistNode root_;
    plist_t objects_ = nullptr;
    plist_t current_ = nullptr;
    std::vector<std::uint64_t> decoding_;  // UIDs of the objects being decoded, outermost first
    std::optional<Error> error_;
};

template <class Decoder>
auto KeyedUnarchiver::decodeObject(std::string_view key,
                                   std::initializer_list<std::string_view> classNames,
                                   Decoder&& decode)
    -> std::invoke_result_t<Decoder, KeyedUnarchiver&> {
    std::invoke_result_t<Decoder, KeyedUnarchiver&> result{};
    withObject(key, classNames, [&](KeyedUnarchiver& coder) {
        result = std::invoke(std::forward<Decoder>(decode), coder);
    });
    if (error_) {
        return {};
    }
    return result;
}

template <class Decoder>
auto KeyedUnarchiver::unarchivedObject(const Data& data,
                                       std::initializer_list<std::string_view> classNames,
                                       Decoder&& decode)
    -> std::invoke_result_t<Decoder, KeyedUnarchiver&> {
    try {
        const std::unique_ptr<KeyedUnarchiver> unarchiver = open(data);
        if (!unarchiver) {
            return {};
        }
        return unarchiver->decodeObject("root", classNames, std::forward<Decoder>(decode));
    } catch (...) {
        // A decoder that throws on unexpected contents makes the archive unreadable, no more.
        return {};
    }
}

}  // namespace dovrel
