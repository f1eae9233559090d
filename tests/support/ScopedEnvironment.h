#pragma once

#include <optional>
#include <string>

namespace dovrel::testing {

// Sets (or, with std::nullopt, unsets) one environment variable for the guard's lifetime and
// restores its previous value, or its absence, afterwards. Guards nest. The environment is
// process-wide: use these only where no other thread reads it at the same time.
class ScopedEnvironment {
  public:
    ScopedEnvironment(std::string name, const std::optional<std::string>& value);
    ~ScopedEnvironment();
    ScopedEnvironment(const ScopedEnvironment&) = delete;
    ScopedEnvironment& operator=(const ScopedEnvironment&) = delete;

  private:
    std::string name_;
    std::optional<std::string> previous_;
};

}  // namespace dovrel::testing
