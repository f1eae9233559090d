// dovrel-notifyd: the reminder daemon of Dovrel. Shows every reminder when it is due as a
// desktop notification with its buttons, and brings the answers back to the application.
//
// Exit status: 0 when stopped by SIGTERM or SIGINT, and when another daemon of the same user
// already runs (it says so and leaves at once); 1 without a session bus, when the store cannot
// be opened, or when the session bus goes away; 2 on a usage error.

#include <CLI/CLI.hpp>
#include <clocale>
#include <exception>
#include <filesystem>
#include <iostream>
#include <optional>
#include <string>

#include "DovrelFoundation/Version.h"
#include "apps/dovrel-notifyd/Daemon.h"
#include "apps/dovrel/CommandErrors.h"
#include "apps/dovrel/Texts.h"

int main(int argc, char** argv) {
    // Before any thread starts, so that every thread leaves them to the daemon's signalfd.
    dovrel::notifyd::Daemon::blockTerminationSignals();
    // Texts follow the user's locale; a locale that names no language gets the English texts
    // (the string tables' own language) rather than bare message keys, as in dovrel.
    std::setlocale(LC_ALL, "");
    std::setlocale(LC_NUMERIC, "C");
    const std::string messages = std::setlocale(LC_MESSAGES, nullptr);
    if (messages == "C" || messages == "POSIX" || messages.starts_with("C.")) {
        std::setlocale(LC_MESSAGES, "en_US.UTF-8");
    }
    using dovrel::cli::text;

    CLI::App program(text("Notifyd.Help"), "dovrel-notifyd");
    std::optional<std::filesystem::path> storePath;
    bool debug = false;
    program.add_option("--store", storePath, text("Cli.Help.Option.Store"));
    program.add_flag("--debug", debug, text("Cli.Help.Option.Debug"));
    program.set_version_flag("--version", std::string(dovrel::libraryVersion()));
    program.footer(text("Notifyd.Help.Footer"));
    try {
        program.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return program.exit(error);
    }

    try {
        dovrel::notifyd::Daemon daemon({storePath, debug});
        return daemon.run();
    } catch (const dovrel::notifyd::StartError& error) {
        std::cerr << "dovrel-notifyd: " << error.what() << '\n';
        return error.exitStatus();
    } catch (const dovrel::cli::CommandError& error) {
        std::cerr << "dovrel-notifyd: " << error.what() << '\n';
        return 1;
    } catch (const std::exception& error) {
        std::cerr << "dovrel-notifyd: " << error.what() << '\n';
        return 1;
    }
}
