#pragma once

#include <filesystem>
#include <string>

namespace dovrel::widget {

// The widget's entry in the user's XDG autostart folder ($XDG_CONFIG_HOME/autostart, else
// ~/.config/autostart): a desktop file "dovrel-widget.desktop" that starts `executable` when the
// user logs in (X-GNOME-Autostart-enabled=true), or none.
std::filesystem::path autostartFile();

// Writes the entry (making the folder when needed) or removes it. Throws std::runtime_error with
// the file's path and the system's reason when the file cannot be written or removed.
void setAutostart(bool enabled, const std::string& executable);

}  // namespace dovrel::widget
