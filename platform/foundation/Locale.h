#pragma once

#include <optional>
#include <string>

namespace dovrel {

// A locale named by its ICU/POSIX identifier ("en_US", "uk_UA", "sr_Latn_RS",
// "th_TH@calendar=buddhist"). A plain value: it reads nothing from the process after creation.
class Locale {
  public:
    explicit Locale(std::string identifier);

    // The process's current locale (the one Region::current() uses), read at every call.
    static Locale current();

    const std::string& identifier() const noexcept { return identifier_; }
    // The ISO 639 language code ("en"), or nothing when the identifier has none.
    std::optional<std::string> languageCode() const;
    // The ISO 3166 region code ("US"), or nothing when the identifier has none.
    std::optional<std::string> regionCode() const;
    // The text that diagnostics print for the locale: its identifier.
    std::string description() const { return identifier_; }

    friend bool operator==(const Locale&, const Locale&) = default;

  private:
    std::string identifier_;
};

}  // namespace dovrel
