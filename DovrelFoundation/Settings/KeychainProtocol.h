#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace dovrel {

// The texts kept under keys in one keychain access group, as the settings service sees them.
// The service's own keychains wrap dovrel::Keychain (the Secret Service, or its fallback
// file); tests give it others.
//
// Failures never throw: a read that fails finds nothing, a write that fails returns false.
class KeychainProtocol {
  public:
    virtual ~KeychainProtocol() = default;

    // The access group whose items this keychain reads and writes.
    virtual const std::string& accessGroup() const = 0;

    // The text stored for `key`, or nothing when there is none or it cannot be read.
    virtual std::optional<std::string> get(std::string_view key) const = 0;

    // Stores `value` for `key`, replacing any earlier value. True when stored.
    virtual bool set(std::string_view key, std::string_view value) = 0;
};

}  // namespace dovrel
