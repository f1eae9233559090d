// notification_center_peer: another process of the application group on a notification center's
// files, for the tests of several processes at once. Each command prints "ready", waits for a
// line on standard input (so that the test can start every process's work at the same moment),
// works, and prints its results followed by "done".
//
//   deliver STORE DEFAULTS NOW           deliverDueRequests(NOW seconds since the reference
//                                        date); prints each delivered identifier on a line
//   add-remove STORE DEFAULTS PREFIX N   adds PREFIX-0 ... PREFIX-(N-1) one at a time, then
//                                        removes the even-numbered ones one at a time
// Exit status 0, 1 when the center failed (the error on standard error), 2 on bad usage.

#include <cstdio>
#include <exception>
#include <iostream>
#include <string>

#include "platform/foundation/Logging.h"
#include "platform/notifications/LauncherBadge.h"
#include "platform/notifications/UserNotificationCenter.h"

namespace {

using dovrel::notifications::NotificationRequest;
using dovrel::notifications::UserNotificationCenter;

int usage() {
    std::fputs(
        "usage: notification_center_peer COMMAND STORE DEFAULTS ARGUMENTS (see the source)\n",
        stderr);
    return 2;
}

void waitForStart() {
    std::cout << "ready" << std::endl;
    std::string line;
    std::getline(std::cin, line);
}

int deliver(UserNotificationCenter& center, double now) {
    waitForStart();
    for (const auto& notification : center.deliverDueRequests(dovrel::Date(now))) {
        std::cout << notification.request.identifier << '\n';
    }
    std::cout << "done" << std::endl;
    return 0;
}

int addRemove(UserNotificationCenter& center, const std::string& prefix, int count) {
    waitForStart();
    for (int index = 0; index < count; ++index) {
        NotificationRequest request;
        request.identifier = prefix + "-" + std::to_string(index);
        request.content.title = request.identifier;
        center.add(request);
    }
    for (int index = 0; index < count; index += 2) {
        center.removePendingNotificationRequests({prefix + "-" + std::to_string(index)});
    }
    std::cout << "done" << std::endl;
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 4) {
        return usage();
    }
    const std::string command = argv[1];
    // Writes that fail are logged; the test sees them on its standard error.
    dovrel::addLogDestination(dovrel::notifications::LauncherBadge::kNotificationsLoggerName,
                              dovrel::makeConsoleLogDestination());
    try {
        const auto center = UserNotificationCenter::atPath(argv[2], argv[3]);
        if (command == "deliver" && argc == 5) {
            return deliver(*center, std::stod(argv[4]));
        }
        if (command == "add-remove" && argc == 6) {
            return addRemove(*center, argv[4], std::stoi(argv[5]));
        }
    } catch (const std::exception& error) {
        std::cerr << error.what() << std::endl;
        return 1;
    }
    return usage();
}
