// dovrel-app: the desktop application. Today's habits in a window; add, edit, check and delete
// them with the mouse or the keyboard.
//
//   dovrel-app [--store FILE] [--merge-from FILE] [--appearance system|light|dark]
//              [--screenshot FILE [--show list|page|add|settings|welcome]]
//              [--quit-after-first-paint] [dovrel-app://habit_list]
//
// One window per session: a second start raises the first window (over the session bus) and
// exits. With --screenshot the window is drawn once, saved as a PNG and the program exits.

#include <QApplication>
#include <QCommandLineParser>
#include <QImage>
#include <QScreen>
#include <QTimer>
#include <clocale>
#include <iostream>
#include <memory>
#include <set>
#include <string>

#include "DovrelFoundation/Appearance/ColorExtensions.h"
#include "DovrelFoundation/Settings/HabitURL.h"
#include "DovrelFoundation/UI/OverridableUserInterfaceStyle.h"
#include "DovrelFoundation/Version.h"
#include "apps/dovrel-app/AppServices.h"
#include "apps/dovrel-app/AppText.h"
#include "apps/dovrel-app/HabitEditor.h"
#include "apps/dovrel-app/HabitListWindow.h"
#include "apps/dovrel-app/HabitPage.h"
#include "apps/dovrel-app/Onboarding.h"
#include "apps/dovrel-app/QtMainLoopBridge.h"
#include "apps/dovrel-app/SettingsDialog.h"
#include "apps/dovrel-app/SingleInstance.h"
#include "platform/ui/Appearance.h"
#include "platform/ui/table/TableView.h"

namespace {

using dovrel::UserInterfaceStyle;

std::optional<UserInterfaceStyle> styleNamed(const QString& name) {
    if (name == "light") {
        return UserInterfaceStyle::light;
    }
    if (name == "dark") {
        return UserInterfaceStyle::dark;
    }
    if (name == "system") {
        return UserInterfaceStyle::unspecified;
    }
    return std::nullopt;
}

// Reports the first time a widget has been painted: prints "painted" on standard output and
// quits the application (how the start-up benchmark knows when the list is on screen).
class FirstPaintProbe final : public QObject {
  public:
    explicit FirstPaintProbe(QWidget* watched) { watched->installEventFilter(this); }

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::Paint && !reported_) {
            reported_ = true;
            // The paint runs after this filter: report once it is done.
            QTimer::singleShot(0, [] {
                std::cout << "painted" << std::endl;
                QCoreApplication::quit();
            });
        }
        return QObject::eventFilter(watched, event);
    }

  private:
    bool reported_ = false;
};

// Whether an image shows more than a blank window: a drawn window has many colours.
bool looksDrawn(const QImage& image) {
    std::set<QRgb> colours;
    for (int y = 0; y < image.height(); y += 3) {
        for (int x = 0; x < image.width(); x += 3) {
            colours.insert(image.pixel(x, y));
        }
    }
    return colours.size() > 20;
}

void raise(QWidget& window) {
    window.show();
    window.setWindowState((window.windowState() & ~Qt::WindowMinimized) | Qt::WindowActive);
    window.raise();
    window.activateWindow();
}

}  // namespace

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    QApplication::setOrganizationName("Dovrel");
    QApplication::setApplicationName("dovrel-app");
    QApplication::setApplicationVersion(
        QString::fromStdString(std::string(dovrel::libraryVersion())));
    QApplication::setDesktopFileName("dovrel");
    // Numbers stay in the C locale; a locale without a language gets the English texts.
    std::setlocale(LC_NUMERIC, "C");
    const std::string messages = std::setlocale(LC_MESSAGES, nullptr);
    if (messages == "C" || messages == "POSIX" || messages.starts_with("C.")) {
        std::setlocale(LC_MESSAGES, "en_US.UTF-8");
    }

    QCommandLineParser parser;
    parser.setApplicationDescription(dovrel::app::appText("App.Help.Description"));
    parser.addHelpOption();
    parser.addVersionOption();
    const QCommandLineOption store("store", dovrel::app::appText("App.Help.Store"), "FILE");
    const QCommandLineOption mergeFrom("merge-from", dovrel::app::appText("App.Help.MergeFrom"),
                                       "FILE");
    const QCommandLineOption style("appearance", dovrel::app::appText("App.Help.Style"), "STYLE");
    const QCommandLineOption screenshot("screenshot", dovrel::app::appText("App.Help.Screenshot"),
                                        "FILE");
    const QCommandLineOption quitAfterFirstPaint(
        "quit-after-first-paint", dovrel::app::appText("App.Help.QuitAfterFirstPaint"));
    const QCommandLineOption show("show", dovrel::app::appText("App.Help.Show"), "VIEW", "list");
    parser.addOptions({store, mergeFrom, style, screenshot, show, quitAfterFirstPaint});
    parser.addPositionalArgument("link", dovrel::app::appText("App.Help.Link"), "[LINK]");
    parser.process(application);
    const QString link = parser.positionalArguments().value(0);
    if (!link.isEmpty() &&
        link != QString::fromStdString(
                    dovrel::HabitURL(dovrel::HabitURL::habitList).url().absoluteString())) {
        std::cerr << "dovrel-app: "
                  << dovrel::app::appText("App.Error.UnknownLink", {{"link", link.toStdString()}})
                         .toStdString()
                  << '\n';
    }
    std::optional<UserInterfaceStyle> chosenStyle;
    if (parser.isSet(style)) {
        chosenStyle = styleNamed(parser.value(style));
        if (!chosenStyle) {
            std::cerr << "dovrel-app: "
                      << dovrel::app::appText("App.Error.UnknownStyle",
                                              {{"style", parser.value(style).toStdString()}})
                             .toStdString()
                      << '\n';
            return 2;
        }
    }

    const bool takingScreenshot = parser.isSet(screenshot) || parser.isSet(quitAfterFirstPaint);
    dovrel::app::SingleInstance instance;
    if (!takingScreenshot &&
        instance.claim(link) == dovrel::app::SingleInstance::Role::handedOver) {
        return 0;
    }

    dovrel::app::QtMainLoopBridge bridge;
    dovrel::app::AppServices::Options options;
    if (parser.isSet(store)) {
        options.storePath = parser.value(store).toStdString();
    }
    if (parser.isSet(mergeFrom)) {
        options.mergeFrom = parser.value(mergeFrom).toStdString();
    }
    options.countsLaunch = !takingScreenshot;
    dovrel::app::AppServices services(options);

    dovrel::app::HabitListWindow window(services);
    const auto appliedStyle = chosenStyle
                                  ? *chosenStyle
                                  : services.settings().selectedUserInterfaceStyle().value_or(
                                        UserInterfaceStyle::unspecified);
    window.applyStyle(appliedStyle);
    instance.setOpenHandler([&window](const QString&) { raise(window); });
    std::unique_ptr<FirstPaintProbe> probe;
    if (parser.isSet(quitAfterFirstPaint)) {
        probe = std::make_unique<FirstPaintProbe>(
            window.tableView() ? window.tableView()->viewport()
                               : static_cast<QWidget*>(window.messageLabel()));
    }
    window.show();

    if (!parser.isSet(screenshot)) {
        if (!parser.isSet(quitAfterFirstPaint)) {
            // The welcome, once, over the list.
            QTimer::singleShot(0, &window, [&services, &window] {
                dovrel::app::showOnboardingIfNeeded(services, &window);
            });
        }
        return application.exec();
    }
    // The screenshot: the window, or a screen opened over it.
    std::unique_ptr<QDialog> shown;
    const QString view = parser.value(show);
    if (view == "page" && window.tableView() && window.tableView()->numberOfRows(0) > 0) {
        window.tableView()->selectRow(dovrel::IndexPath{0, 0});
        shown = std::make_unique<dovrel::app::HabitPage>(services, window.selectedHabit(), &window);
    } else if (view == "add") {
        dovrel::app::HabitDraft draft;
        draft.color = dovrel::habitPalette()[2];
        draft.name = dovrel::app::appText("App.Editor.NamePlaceholder").toStdString();
        draft.times = 3;
        draft.days = 7;
        draft.remind = true;
        shown = std::make_unique<dovrel::app::HabitEditor>(dovrel::app::HabitEditor::Mode::add,
                                                           draft, services.tracker(), &window);
    } else if (view == "welcome") {
        shown = std::make_unique<dovrel::app::OnboardingDialog>(&window);
    } else if (view == "settings") {
        shown = std::make_unique<dovrel::app::SettingsDialog>(
            services, [](UserInterfaceStyle) {}, &window);
    }
    if (shown) {
        shown->show();
    }
    QWidget* target = shown ? static_cast<QWidget*>(shown.get()) : &window;
    int status = 1;
    QTimer::singleShot(600, [&] {
        // What the display shows of the window, when there is a display to ask; else the
        // widget drawn by Qt.
        QImage image;
        if (QScreen* screen = target->screen();
            screen && QGuiApplication::platformName() == "xcb") {
            image = screen->grabWindow(target->winId()).toImage();
        }
        if (image.isNull()) {
            image = target->grab().toImage();
        }
        status = image.save(parser.value(screenshot)) && looksDrawn(image) ? 0 : 1;
        application.quit();
    });
    application.exec();
    return status;
}
