#pragma once

#include <array>
#include <concepts>
#include <cstddef>
#include <functional>
#include <optional>
#include <string_view>

// The shape shared by the library's string-valued enumerations (the analytics vocabulary, the
// deep links). Each is a small class around a scoped `Case` enumeration whose cases are
// reachable from the class itself (AnalyticsEvents::MainApp::name_main_screen), so that a class
// can also hold nested groups as the vocabulary requires. Every such class offers:
//   - implicit construction from a case, equality by case, and std::hash;
//   - caseValue(), for switch statements;
//   - rawValue(), and the free rawValue(value) that also takes a bare case
//     (rawValue(AnalyticsEvents::MainApp::name_main_screen)): the exact raw text;
//   - fromRawValue(text): the case whose raw text is exactly `text` (case-sensitive), or nothing;
//   - allCases(): every case in declaration order.

// Declares the members listed above inside `Type`, which must already declare `enum class Case`
// with `Count` cases. Leaves the class in its public section.
#define DOVREL_RAW_STRING_ENUMERATION(Type, Count)                          \
  public:                                                                   \
    using enum Case;                                                        \
    using IsRawStringEnumeration = void;                                    \
    static constexpr std::size_t caseCount = Count;                         \
    constexpr Type(Case value) noexcept : value_(value) {}                  \
    constexpr Case caseValue() const noexcept {                             \
        return value_;                                                      \
    }                                                                       \
    std::string_view rawValue() const noexcept;                             \
    static std::optional<Type> fromRawValue(std::string_view raw) noexcept; \
    static const std::array<Type, Count>& allCases() noexcept;              \
    friend constexpr bool operator==(Type, Type) noexcept = default;        \
    friend std::string_view rawValue(Type value) noexcept {                 \
        return value.rawValue();                                            \
    }                                                                       \
                                                                            \
  private:                                                                  \
    Case value_;                                                            \
                                                                            \
  public:

namespace dovrel {

// Satisfied by every class declared with DOVREL_RAW_STRING_ENUMERATION.
template <typename T>
concept RawStringEnumeration = requires {
    typename T::IsRawStringEnumeration;
};

}  // namespace dovrel

template <dovrel::RawStringEnumeration T>
struct std::hash<T> {
    std::size_t operator()(T value) const noexcept {
        return std::hash<std::size_t>{}(static_cast<std::size_t>(value.caseValue()));
    }
};
