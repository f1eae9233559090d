#pragma once

#include <QObject>
#include <QString>
#include <functional>

namespace dovrel::app {

// One application window per user session. The first process takes the name kServiceName on
// the session bus and serves kObjectPath; a later start hands its link (or an empty text) to the
// first one with the method Open and exits, and the first raises its window. Without a session
// bus every start runs on its own. Main thread only.
class SingleInstance final : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "app.dovrel.Dovrel.Application")

  public:
    static constexpr const char* kServiceName = "app.dovrel.Dovrel";
    static constexpr const char* kObjectPath = "/app/dovrel/Dovrel";
    static constexpr const char* kInterfaceName = "app.dovrel.Dovrel.Application";

    enum class Role {
        first,       // this process serves the session
        handedOver,  // another process had it and took the link
        alone,       // no session bus: run without the check
    };

    // Claims the name, or hands `link` to the process that has it.
    Role claim(const QString& link);

    // What the first process does with a link of a later start.
    void setOpenHandler(std::function<void(const QString&)> handler) {
        openHandler_ = std::move(handler);
    }

  public slots:
    // Over the bus: a later start's link ("" when it had none).
    void Open(const QString& link);

  private:
    std::function<void(const QString&)> openHandler_;
};

}  // namespace dovrel::app
