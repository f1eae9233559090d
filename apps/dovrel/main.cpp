#include <CLI/CLI.hpp>
#include <iostream>

#include "DovrelFoundation/Version.h"

int main(int argc, char** argv) {
    CLI::App app{"dovrel: keep your habits"};
    bool showVersion = false;
    app.add_flag("--version", showVersion, "Print the version and exit");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : 2;
    }
    if (showVersion) {
        std::cout << "dovrel " << dovrel::libraryVersion() << "\n";
        return 0;
    }
    std::cout << "dovrel " << dovrel::libraryVersion() << "\n";
    return 0;
}
