#pragma once

#include <any>
#include <concepts>
#include <cstdint>
#include <optional>
#include <string>
#include <variant>

#include "platform/foundation/Data.h"
#include "platform/foundation/Date.h"

namespace dovrel::store {

// The value of one attribute of a managed object: nothing (null), a 64-bit integer, a double, a
// boolean, a string, a date, a binary blob, or an arbitrary object held for a transformable
// attribute (the store turns it into a blob through the attribute's value transformer when it
// saves, and back when it reads).
//
// Values compare equal when they hold the same alternative with equal contents; two transformable
// objects never compare equal unless both are empty, since std::any has no equality.
class Value {
  public:
    using Storage =
        std::variant<std::monostate, std::int64_t, double, bool, std::string, Date, Data, std::any>;

    enum class Kind { null, integer, real, boolean, string, date, data, object };

    Value() = default;
    Value(std::nullptr_t) {}
    template <std::integral T>
    requires(!std::same_as<T, bool>) Value(T integer)
        : storage_(static_cast<std::int64_t>(integer)) {}
    Value(double real) : storage_(real) {}
    Value(bool boolean) : storage_(boolean) {}
    Value(std::string string) : storage_(std::move(string)) {}
    Value(const char* string) : storage_(std::string(string)) {}
    Value(Date date) : storage_(date) {}
    Value(Data data) : storage_(std::move(data)) {}
    // A null value when `optional` is empty.
    template <class T>
    Value(const std::optional<T>& optional) {
        if (optional) {
            *this = Value(*optional);
        }
    }

    // An object for a transformable attribute (an empty std::any is the null value).
    static Value object(std::any object);

    Kind kind() const noexcept { return static_cast<Kind>(storage_.index()); }
    bool isNull() const noexcept { return kind() == Kind::null; }
    const Storage& storage() const noexcept { return storage_; }

    // Each accessor answers nothing unless the value holds that alternative, except that
    // `real()` also converts an integer.
    std::optional<std::int64_t> integer() const;
    std::optional<double> real() const;
    std::optional<bool> boolean() const;
    std::optional<std::string> string() const;
    std::optional<Date> date() const;
    std::optional<Data> data() const;
    // The held object of a transformable value, or null.
    const std::any* object() const;
    // The held object as T when it is one.
    template <class T>
    std::optional<T> objectAs() const {
        if (const std::any* held = object()) {
            if (const T* typed = std::any_cast<T>(held)) {
                return *typed;
            }
        }
        return std::nullopt;
    }

    // A short text for diagnostics and predicate descriptions.
    std::string description() const;

    friend bool operator==(const Value& lhs, const Value& rhs);

  private:
    Storage storage_;
};

// Orders two values the way the store's SQL sorts them: null first, numbers (integers, doubles,
// booleans and dates) by numeric value, then strings by their bytes, then blobs by their bytes.
// Negative, zero or positive like strcmp.
int compareValues(const Value& lhs, const Value& rhs);

}  // namespace dovrel::store
