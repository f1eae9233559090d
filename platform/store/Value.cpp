#include "platform/store/Value.h"

#include <algorithm>
#include <cstring>
#include <sstream>

namespace dovrel::store {

Value Value::object(std::any object) {
    Value value;
    if (object.has_value()) {
        value.storage_ = std::move(object);
    }
    return value;
}

std::optional<std::int64_t> Value::integer() const {
    if (auto* held = std::get_if<std::int64_t>(&storage_)) {
        return *held;
    }
    return std::nullopt;
}

std::optional<double> Value::real() const {
    if (auto* held = std::get_if<double>(&storage_)) {
        return *held;
    }
    if (auto* held = std::get_if<std::int64_t>(&storage_)) {
        return static_cast<double>(*held);
    }
    return std::nullopt;
}

std::optional<bool> Value::boolean() const {
    if (auto* held = std::get_if<bool>(&storage_)) {
        return *held;
    }
    return std::nullopt;
}

std::optional<std::string> Value::string() const {
    if (auto* held = std::get_if<std::string>(&storage_)) {
        return *held;
    }
    return std::nullopt;
}

std::optional<Date> Value::date() const {
    if (auto* held = std::get_if<Date>(&storage_)) {
        return *held;
    }
    return std::nullopt;
}

std::optional<Data> Value::data() const {
    if (auto* held = std::get_if<Data>(&storage_)) {
        return *held;
    }
    return std::nullopt;
}

const std::any* Value::object() const {
    return std::get_if<std::any>(&storage_);
}

std::string Value::description() const {
    std::ostringstream out;
    switch (kind()) {
        case Kind::null:
            return "nil";
        case Kind::integer:
            out << *integer();
            break;
        case Kind::real:
            out << std::get<double>(storage_);
            break;
        case Kind::boolean:
            return *boolean() ? "YES" : "NO";
        case Kind::string:
            out << '"' << *string() << '"';
            break;
        case Kind::date:
            out << "CAST(" << date()->timeIntervalSinceReferenceDate() << ", \"NSDate\")";
            break;
        case Kind::data:
            out << "<" << std::get<Data>(storage_).size() << " bytes>";
            break;
        case Kind::object:
            out << "<object " << object()->type().name() << ">";
            break;
    }
    return out.str();
}

bool operator==(const Value& lhs, const Value& rhs) {
    if (lhs.kind() != rhs.kind()) {
        return false;
    }
    if (lhs.kind() == Value::Kind::object) {
        return !lhs.object()->has_value() && !rhs.object()->has_value();
    }
    switch (lhs.kind()) {
        case Value::Kind::null:
            return true;
        case Value::Kind::integer:
            return *lhs.integer() == *rhs.integer();
        case Value::Kind::real:
            return std::get<double>(lhs.storage()) == std::get<double>(rhs.storage());
        case Value::Kind::boolean:
            return *lhs.boolean() == *rhs.boolean();
        case Value::Kind::string:
            return std::get<std::string>(lhs.storage()) == std::get<std::string>(rhs.storage());
        case Value::Kind::date:
            return std::get<Date>(lhs.storage()) == std::get<Date>(rhs.storage());
        case Value::Kind::data:
            return std::get<Data>(lhs.storage()) == std::get<Data>(rhs.storage());
        case Value::Kind::object:
            break;
    }
    return false;
}

namespace {

// SQLite's storage classes in its sort order: NULL, numbers, text, blob.
int sortClass(const Value& value) {
    switch (value.kind()) {
        case Value::Kind::null:
            return 0;
        case Value::Kind::integer:
        case Value::Kind::real:
        case Value::Kind::boolean:
        case Value::Kind::date:
            return 1;
        case Value::Kind::string:
            return 2;
        case Value::Kind::data:
        case Value::Kind::object:
            return 3;
    }
    return 3;
}

double numeric(const Value& value) {
    switch (value.kind()) {
        case Value::Kind::integer:
            return static_cast<double>(*value.integer());
        case Value::Kind::real:
            return std::get<double>(value.storage());
        case Value::Kind::boolean:
            return *value.boolean() ? 1 : 0;
        case Value::Kind::date:
            return value.date()->timeIntervalSinceReferenceDate();
        default:
            return 0;
    }
}

template <class Bytes>
int compareBytes(const Bytes& lhs, const Bytes& rhs) {
    const std::size_t common = std::min(lhs.size(), rhs.size());
    if (common > 0) {
        if (int result = std::memcmp(lhs.data(), rhs.data(), common); result != 0) {
            return result < 0 ? -1 : 1;
        }
    }
    return lhs.size() < rhs.size() ? -1 : (lhs.size() > rhs.size() ? 1 : 0);
}

}  // namespace

int compareValues(const Value& lhs, const Value& rhs) {
    const int lhsClass = sortClass(lhs);
    const int rhsClass = sortClass(rhs);
    if (lhsClass != rhsClass) {
        return lhsClass < rhsClass ? -1 : 1;
    }
    switch (lhsClass) {
        case 0:
            return 0;
        case 1: {
            if (lhs.kind() == Value::Kind::integer && rhs.kind() == Value::Kind::integer) {
                return *lhs.integer() < *rhs.integer() ? -1 : (*lhs.integer() > *rhs.integer());
            }
            const double a = numeric(lhs);
            const double b = numeric(rhs);
            return a < b ? -1 : (a > b ? 1 : 0);
        }
        case 2:
            return compareBytes(std::get<std::string>(lhs.storage()),
                                std::get<std::string>(rhs.storage()));
        default:
            if (lhs.kind() == Value::Kind::data && rhs.kind() == Value::Kind::data) {
                return compareBytes(std::get<Data>(lhs.storage()), std::get<Data>(rhs.storage()));
            }
            return 0;
    }
}

}  // namespace dovrel::store
