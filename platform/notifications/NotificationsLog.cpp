#include "platform/notifications/NotificationsLog.h"

#include <memory>

#include "platform/foundation/Logging.h"
#include "platform/notifications/LauncherBadge.h"

namespace dovrel::notifications {

spdlog::logger& notificationsLogger() {
    static const std::shared_ptr<spdlog::logger> logger =
        namedLogger(LauncherBadge::kNotificationsLoggerName);
    return *logger;
}

}  // namespace dovrel::notifications
