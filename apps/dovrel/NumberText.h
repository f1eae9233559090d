#pragma once

#include <memory>
#include <string>

namespace dovrel::cli {

// Decimal numbers for people, in a locale's digits and separators (an ICU locale identifier such
// as "en_US" or "uk_UA"), with a fixed number of fraction digits. Making one builds an ICU
// formatter: make one per view, not per number. Not thread-safe.
class NumberText {
  public:
    NumberText(const std::string& localeIdentifier, int fractionDigits);
    ~NumberText();
    NumberText(const NumberText&) = delete;
    NumberText& operator=(const NumberText&) = delete;

    // "9.45" (English), "9,45" (Ukrainian).
    std::string operator()(double value) const;
    // With its sign always: "+4.42", "-2.16".
    std::string change(double value) const;
    // A share (0 to 1) as a whole percentage in the locale's form: "80%", "80 %".
    std::string percent(double share) const;

  private:
    struct Formatters;
    std::unique_ptr<Formatters> formatters_;
};

}  // namespace dovrel::cli
