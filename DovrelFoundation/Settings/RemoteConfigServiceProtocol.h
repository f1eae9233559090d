#pragma once

#include <cstdint>
#include <optional>

namespace dovrel {

// Tunable values that a remote-configuration backend may provide (here: whether and when to ask
// the user to rate the application). The library ships StaticRemoteConfigService with fixed
// defaults; the application may plug in a backend. All members are read-only.
class RemoteConfigServiceProtocol {
  public:
    virtual ~RemoteConfigServiceProtocol() = default;

    // Whether the rate-us prompt may be shown at all.
    virtual bool showRateUsAlert() const = 0;
    // Application launches after which the prompt is shown the first time; a backend may leave
    // it absent, and the absence is passed on unchanged.
    virtual std::optional<std::int64_t> appLaunchesToShowRateUsAlertFirstTime() const = 0;
    // Application launches after which it is shown the second time; may be absent likewise.
    virtual std::optional<std::int64_t> appLaunchesToShowRateUsAlertSecondTime() const = 0;
};

}  // namespace dovrel
