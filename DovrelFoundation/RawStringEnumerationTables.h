#pragma once

// For the sources that define raw-string enumerations (not for their users).

#include <array>
#include <cstddef>
#include <optional>
#include <string_view>
#include <utility>

namespace dovrel::raw_string_detail {

template <typename Type, std::size_t Count>
std::optional<Type> find(const std::array<std::string_view, Count>& table,
                         std::string_view raw) noexcept {
    for (std::size_t index = 0; index < Count; ++index) {
        if (table[index] == raw) {
            return Type(static_cast<typename Type::Case>(index));
        }
    }
    return std::nullopt;
}

template <typename Type, std::size_t... Index>
constexpr std::array<Type, sizeof...(Index)> makeAllCases(std::index_sequence<Index...>) {
    return {Type(static_cast<typename Type::Case>(Index))...};
}

}  // namespace dovrel::raw_string_detail

// Defines the members declared by DOVREL_RAW_STRING_ENUMERATION for `Type` from `table`, an
// array of the raw texts in case order.
#define DOVREL_DEFINE_RAW_STRING_ENUMERATION(Type, table)                                          \
    static_assert(std::tuple_size_v<decltype(table)> == Type::caseCount, "one raw text per case"); \
    std::string_view Type::rawValue() const noexcept {                                             \
        return table[static_cast<std::size_t>(value_)];                                            \
    }                                                                                              \
    std::optional<Type> Type::fromRawValue(std::string_view raw) noexcept {                        \
        return raw_string_detail::find<Type>(table, raw);                                          \
    }                                                                                              \
    const std::array<Type, Type::caseCount>& Type::allCases() noexcept {                           \
        static constexpr auto cases =                                                              \
            raw_string_detail::makeAllCases<Type>(std::make_index_sequence<Type::caseCount>());    \
        return cases;                                                                              \
    }
