// dovrel_screen_grab FILE.png: saves what the X screen of $DISPLAY shows as a PNG, for the tests
// that put notifications on a virtual screen (Xvfb). Exit status 0 when saved, 1 otherwise.

#include <QGuiApplication>
#include <QPixmap>
#include <QScreen>
#include <cstdio>

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: dovrel_screen_grab FILE.png\n");
        return 2;
    }
    // X only: the screen to grab is an X server's.
    qputenv("QT_QPA_PLATFORM", "xcb");
    QGuiApplication application(argc, argv);
    QScreen* screen = QGuiApplication::primaryScreen();
    if (screen == nullptr) {
        std::fprintf(stderr, "dovrel_screen_grab: no screen\n");
        return 1;
    }
    // Window 0 is the whole screen (the root window).
    const QPixmap shot = screen->grabWindow(0);
    if (shot.isNull() || !shot.save(QString::fromLocal8Bit(argv[1]), "PNG")) {
        std::fprintf(stderr, "dovrel_screen_grab: cannot save %s\n", argv[1]);
        return 1;
    }
    return 0;
}
