#include "apps/dovrel-widget/Autostart.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <stdexcept>

namespace dovrel::widget {

namespace {

// A desktop-entry value: "\" and the characters Exec reserves are escaped.
std::string execQuoted(const std::string& path) {
    std::string quoted = "\"";
    for (const char character : path) {
        if (character == '"' || character == '`' || character == '$' || character == '\\') {
            quoted += "\\\\";
        }
        quoted += character;
    }
    return quoted + "\"";
}

}  // namespace

std::filesystem::path autostartFile() {
    const char* config = std::getenv("XDG_CONFIG_HOME");
    std::filesystem::path folder;
    if (config != nullptr && config[0] == '/') {
        folder = config;
    } else {
        const char* home = std::getenv("HOME");
        folder = std::filesystem::path(home != nullptr ? home : "/") / ".config";
    }
    return folder / "autostart" / "dovrel-widget.desktop";
}

void setAutostart(bool enabled, const std::string& executable) {
    const auto file = autostartFile();
    std::error_code error;
    if (!enabled) {
        std::filesystem::remove(file, error);
        if (error) {
            throw std::runtime_error(file.string() + ": " + error.message());
        }
        return;
    }
    std::filesystem::create_directories(file.parent_path(), error);
    if (error) {
        throw std::runtime_error(file.parent_path().string() + ": " + error.message());
    }
    std::ofstream out(file, std::ios::trunc);
    out << "[Desktop Entry]\n"
           "Type=Application\n"
           "Name=Dovrel Widget\n"
           "Comment=Today's habits on the desktop, checked with one click\n"
           "Exec="
        << execQuoted(executable)
        << "\n"
           "Icon=dovrel\n"
           "Terminal=false\n"
           "X-GNOME-Autostart-enabled=true\n";
    out.close();
    if (!out) {
        throw std::runtime_error(file.string() + ": " + std::strerror(errno));
    }
}

}  // namespace dovrel::widget
