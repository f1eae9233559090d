#pragma once

#include <cstdint>
#include <map>
#include <stdexcept>
#include <string>

namespace dovrel {

// A recoverable failure reported by the platform or the library: a domain (who failed), a code
// (what failed, meaningful within the domain) and user info (text details by key). Thrown by
// operations that throw, passed as std::optional<Error> to completions that report failure.
class Error : public std::runtime_error {
public:
    using UserInfo = std::map<std::string, std::string>;

    // The user-info key whose text, when present, is the localized description.
    static constexpr const char* kLocalizedDescriptionKey = "NSLocalizedDescription";

    Error(std::string domain, std::int64_t code, UserInfo userInfo = {});

    const std::string& domain() const noexcept { return domain_; }
    std::int64_t code() const noexcept { return code_; }
    const UserInfo& userInfo() const noexcept { return userInfo_; }

    // The text under kLocalizedDescriptionKey, or
    // "The operation couldn’t be completed. (<domain> error <code>.)".
    std::string localizedDescription() const;

    // Equal domain, code and user info (the base class has nothing of its own to compare).
    friend bool operator==(const Error& a, const Error& b) {
        return a.domain_ == b.domain_ && a.code_ == b.code_ && a.userInfo_ == b.userInfo_;
    }

private:
    std::string domain_;
    std::int64_t code_;
    UserInfo userInfo_;
};

}  // namespace dovrel
