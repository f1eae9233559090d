#pragma once

#include <cstdlib>
#include <string>

namespace dovrel::testing {

// True inside tests/support/with-session-services: a private session bus with a Secret
// Service, and a temporary HOME, so the tests may write to the bus and the keyring.
inline bool insidePrivateSession() {
    const char* marker = std::getenv("DOVREL_SESSION_SERVICES");
    const char* address = std::getenv("DBUS_SESSION_BUS_ADDRESS");
    return marker != nullptr && std::string(marker) == "1" && address != nullptr &&
           *address != '\0';
}

inline constexpr const char* kNotInsidePrivateSession =
    "these tests use the session bus and the keyring; run them through "
    "tests/support/with-session-services (ctest does)";

// The second process of these tests (tests/platform/session/SessionProbe.cpp).
inline constexpr const char* kProbePath = DOVREL_SESSION_PROBE_PATH;

}  // namespace dovrel::testing
