#include "DovrelFoundation/Analytics/AnalyticsParameters.h"

#include <array>
#include <charconv>
#include <cmath>
#include <string_view>

namespace dovrel {

namespace {

void appendQuoted(std::string& out, std::string_view text) {
    out.push_back('"');
    for (char c : text) {
        if (c == '"' || c == '\\') {
            out.push_back('\\');
        }
        out.push_back(c);
    }
    out.push_back('"');
}

void appendDouble(std::string& out, double value) {
    if (std::isnan(value)) {
        out += "nan";
        return;
    }
    if (std::isinf(value)) {
        out += value < 0 ? "-inf" : "inf";
        return;
    }
    std::array<char, 32> buffer{};
    const auto result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value);
    const std::string_view text(buffer.data(),
                                static_cast<std::size_t>(result.ptr - buffer.data()));
    out += text;
    // Whole numbers still read as floating point: "1.0", not "1".
    if (text.find_first_of(".e") == std::string_view::npos) {
        out += ".0";
    }
}

void append(std::string& out, const AnalyticsParameterValue& value) {
    std::visit(
        [&out](const auto& alternative) {
            using T = std::decay_t<decltype(alternative)>;
            if constexpr (std::is_same_v<T, std::string>) {
                appendQuoted(out, alternative);
            } else if constexpr (std::is_same_v<T, std::int64_t>) {
                out += std::to_string(alternative);
            } else if constexpr (std::is_same_v<T, double>) {
                appendDouble(out, alternative);
            } else if constexpr (std::is_same_v<T, bool>) {
                out += alternative ? "true" : "false";
            } else {
                out.push_back('[');
                bool first = true;
                for (const auto& element : alternative) {
                    if (!first) {
                        out += ", ";
                    }
                    first = false;
                    append(out, element);
                }
                out.push_back(']');
            }
        },
        static_cast<const AnalyticsParameterValue::variant&>(value));
}

}  // namespace

std::string AnalyticsParameterValue::description() const {
    std::string out;
    append(out, *this);
    return out;
}

std::string description(const AnalyticsParameters& parameters) {
    if (parameters.empty()) {
        return "[:]";
    }
    std::string out = "[";
    bool first = true;
    for (const auto& [key, value] : parameters) {
        if (!first) {
            out += ", ";
        }
        first = false;
        appendQuoted(out, key);
        out += ": ";
        append(out, value);
    }
    out.push_back(']');
    return out;
}

}  // namespace dovrel
