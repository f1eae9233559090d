#pragma once

#include <spdlog/logger.h>

namespace dovrel::notifications {

// The logger of the notification pieces ("notifications", LauncherBadge::kNotificationsLoggerName,
// platform/foundation/Logging.h). It writes nowhere until the program adds a destination. Safe
// from any thread.
spdlog::logger& notificationsLogger();

}  // namespace dovrel::notifications
