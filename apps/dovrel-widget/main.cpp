// dovrel-widget: today's habits in a small window on the desktop, checked with one click.
//
//   dovrel-widget [--habit NAME|URI] [--appearance system|light|dark] [--screenshot FILE]
//   dovrel-widget --autostart on|off     start it (or no longer) when you log in
//
// The widget opens the application group's store the widget's way and never makes or changes
// the file except through a click on a checkbox. With --screenshot it draws itself once, saves a
// PNG and exits.

#include <QApplication>
#include <QCommandLineParser>
#include <QGuiApplication>
#include <QImage>
#include <QScreen>
#include <QTimer>
#include <clocale>
#include <iostream>
#include <set>
#include <string>

#include "DovrelFoundation/UI/OverridableUserInterfaceStyle.h"
#include "DovrelFoundation/Version.h"
#include "apps/dovrel-app/AppServices.h"
#include "apps/dovrel-app/AppText.h"
#include "apps/dovrel-app/QtMainLoopBridge.h"
#include "apps/dovrel-widget/Autostart.h"
#include "apps/dovrel-widget/WidgetWindow.h"

namespace {

bool looksDrawn(const QImage& image) {
    std::set<QRgb> colours;
    for (int y = 0; y < image.height(); y += 2) {
        for (int x = 0; x < image.width(); x += 2) {
            colours.insert(image.pixel(x, y));
        }
    }
    return colours.size() > 12;
}

}  // namespace

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    QApplication::setOrganizationName("Dovrel");
    QApplication::setApplicationName("dovrel-widget");
    QApplication::setApplicationVersion(
        QString::fromStdString(std::string(dovrel::libraryVersion())));
    QApplication::setDesktopFileName("dovrel-widget");
    std::setlocale(LC_NUMERIC, "C");
    const std::string messages = std::setlocale(LC_MESSAGES, nullptr);
    if (messages == "C" || messages == "POSIX" || messages.starts_with("C.")) {
        std::setlocale(LC_MESSAGES, "en_US.UTF-8");
    }

    QCommandLineParser parser;
    parser.setApplicationDescription(dovrel::app::appText("Widget.Help.Description"));
    parser.addHelpOption();
    parser.addVersionOption();
    const QCommandLineOption habit("habit", dovrel::app::appText("Widget.Help.Habit"), "HABIT");
    const QCommandLineOption style("appearance", dovrel::app::appText("App.Help.Style"), "STYLE");
    const QCommandLineOption screenshot("screenshot", dovrel::app::appText("App.Help.Screenshot"),
                                        "FILE");
    const QCommandLineOption autostart("autostart", dovrel::app::appText("Widget.Help.Autostart"),
                                       "on|off");
    parser.addOptions({habit, style, screenshot, autostart});
    parser.process(application);
    if (parser.isSet(autostart)) {
        const QString value = parser.value(autostart);
        if (value != "on" && value != "off") {
            std::cerr << "dovrel-widget: --autostart takes on or off\n";
            return 2;
        }
        try {
            dovrel::widget::setAutostart(value == "on",
                                         QCoreApplication::applicationFilePath().toStdString());
        } catch (const std::exception& error) {
            std::cerr << "dovrel-widget: " << error.what() << '\n';
            return 1;
        }
        std::cout << dovrel::app::appText(
                         value == "on" ? "Widget.Autostart.On" : "Widget.Autostart.Off",
                         {{"file", dovrel::widget::autostartFile().string()}})
                         .toStdString()
                  << '\n';
        return 0;
    }

    dovrel::app::QtMainLoopBridge bridge;
    dovrel::app::AppServices::Options options;
    options.mode = dovrel::app::AppServices::Mode::widget;
    options.countsLaunch = false;
    dovrel::app::AppServices services(options);

    dovrel::widget::WidgetWindow::Options widgetOptions;
    if (parser.isSet(habit)) {
        widgetOptions.habit = parser.value(habit).toStdString();
    }
    widgetOptions.listensForReloads = !parser.isSet(screenshot);
    dovrel::widget::WidgetWindow window(services, widgetOptions);
    if (parser.isSet(style)) {
        const QString name = parser.value(style);
        const auto chosen = name == "light"  ? dovrel::UserInterfaceStyle::light
                            : name == "dark" ? dovrel::UserInterfaceStyle::dark
                                             : dovrel::UserInterfaceStyle::unspecified;
        dovrel::StyledView(&window).setOverrideUserInterfaceStyle(chosen);
        window.reload();
    }
    window.show();
    if (!parser.isSet(screenshot)) {
        return application.exec();
    }
    int status = 1;
    QTimer::singleShot(600, [&] {
        QImage image;
        if (QScreen* screen = window.screen(); screen && QGuiApplication::platformName() == "xcb") {
            image = screen->grabWindow(window.winId()).toImage();
        }
        if (image.isNull()) {
            image = window.grab().toImage();
        }
        status = image.save(parser.value(screenshot)) && looksDrawn(image) ? 0 : 1;
        application.quit();
    });
    application.exec();
    return status;
}
