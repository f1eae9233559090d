#pragma once

#include <cstdint>
#include <map>
#include <ostream>
#include <string>
#include <variant>
#include <vector>

namespace dovrel {

class AnalyticsParameterValue;

// An ordered list of parameter values (for instance the values of an ads link's "b[]" items).
using AnalyticsParameterArray = std::vector<AnalyticsParameterValue>;

// One event parameter's value: text, a 64-bit integer (every integer width travels as this),
// a floating-point number, a boolean, or an array of values. Construction picks the alternative
// by the argument's type without narrowing: 5 is an integer, 5.0 a double, true a boolean,
// "text" a string.
class AnalyticsParameterValue
    : public std::variant<std::string, std::int64_t, double, bool, AnalyticsParameterArray> {
  public:
    using variant::variant;
    using variant::operator=;

    // The value as diagnostics print it: text in double quotes ("a \"b\"" escapes quotes and
    // backslashes), integers in decimal, doubles in their shortest exact form with at least one
    // decimal ("1.0", "0.25", "1e-05"), booleans as true/false, arrays as "[1, 2]".
    std::string description() const;

    // Writes description(), for diagnostics and test failure messages.
    friend std::ostream& operator<<(std::ostream& stream, const AnalyticsParameterValue& value) {
        return stream << value.description();
    }
};

// Event parameters by key. Ordered by key, so their description is stable.
using AnalyticsParameters = std::map<std::string, AnalyticsParameterValue, std::less<>>;

// The dictionary as diagnostics print it: `["key": value, ...]` in key order with every key
// quoted and each value as AnalyticsParameterValue::description() gives it; "[:]" when empty.
std::string description(const AnalyticsParameters& parameters);

}  // namespace dovrel
