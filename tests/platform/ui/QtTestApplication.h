#pragma once

#include <QApplication>
#include <cstdlib>

namespace dovrel::ui::test {

// The one QApplication of a test program, on Qt's offscreen platform unless the environment
// names another (xvfb-run tests name xcb).
inline QApplication& application() {
    static int argc = 1;
    static char name[] = "platform_ui_tests";
    static char* argv[] = {name, nullptr};
    static QApplication* instance = [] {
        setenv("QT_QPA_PLATFORM", "offscreen", 0);
        return new QApplication(argc, argv);
    }();
    return *instance;
}

}  // namespace dovrel::ui::test
