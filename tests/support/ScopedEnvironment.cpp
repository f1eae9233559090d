#include "tests/support/ScopedEnvironment.h"

#include <cstdlib>
#include <utility>

namespace dovrel::testing {

namespace {

void setOrUnset(const std::string& name, const std::optional<std::string>& value) {
    if (value) {
        ::setenv(name.c_str(), value->c_str(), 1);
    } else {
        ::unsetenv(name.c_str());
    }
}

}  // namespace

ScopedEnvironment::ScopedEnvironment(std::string name, const std::optional<std::string>& value)
    : name_(std::move(name)) {
    if (const char* current = std::getenv(name_.c_str())) {
        previous_ = current;
    }
    setOrUnset(name_, value);
}

ScopedEnvironment::~ScopedEnvironment() {
    setOrUnset(name_, previous_);
}

}  // namespace dovrel::testing
