#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

namespace dovrel::notifications {

// The number shown on the application's launcher icon by docks and panels.
//
// The number is kept in the application group's defaults (kBadgeNumberKey), so every process
// of the group reads the same number. Setting it stores it and announces it on the session bus
// with the launcher-entry signal that docks and panels listen to:
//   interface  com.canonical.Unity.LauncherEntry
//   signal     Update(s app_uri, a{sv} properties)
//   app_uri    "application://dovrel.desktop"
//   properties "count" (x, the number), "count-visible" (b, true when the number is not 0)
// With no session bus the number is still kept, and one warning is logged to
// kNotificationsLoggerName per process.
//
// Safe to call from any thread.
class LauncherBadge {
  public:
    static constexpr const char* kBadgeNumberKey = "applicationIconBadgeNumber";
    static constexpr const char* kApplicationURI = "application://dovrel.desktop";
    static constexpr const char* kLauncherEntryInterface = "com.canonical.Unity.LauncherEntry";
    static constexpr const char* kLauncherEntryObjectPath = "/org/dovrel/LauncherEntry";
    static constexpr const char* kNotificationsLoggerName = "notifications";

    // The badge of the application group `groupIdentifier`.
    explicit LauncherBadge(std::string_view groupIdentifier);
    // A badge kept in an explicit defaults file, for tests and tools.
    static LauncherBadge atPath(const std::filesystem::path& defaultsFile);
    ~LauncherBadge();
    LauncherBadge(LauncherBadge&&) noexcept;
    LauncherBadge& operator=(LauncherBadge&&) noexcept;

    std::int64_t badgeNumber() const;
    // Stores `number` and announces it (see above). Throws Error when the number cannot be stored.
    void setBadgeNumber(std::int64_t number);

  private:
    struct Implementation;
    explicit LauncherBadge(std::unique_ptr<Implementation> implementation);
    std::unique_ptr<Implementation> implementation_;
};

}  // namespace dovrel::notifications
