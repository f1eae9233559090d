#include "apps/dovrel-app/SingleInstance.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>

namespace dovrel::app {

SingleInstance::Role SingleInstance::claim(const QString& link) {
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        return Role::alone;
    }
    if (bus.registerService(kServiceName)) {
        bus.registerObject(kObjectPath, this, QDBusConnection::ExportAllSlots);
        return Role::first;
    }
    QDBusMessage call =
        QDBusMessage::createMethodCall(kServiceName, kObjectPath, kInterfaceName, "Open");
    call << link;
    const QDBusMessage reply = bus.call(call, QDBus::Block, 5000);
    // A first process that does not answer (stuck, or on its way out) is not waited for.
    return reply.type() == QDBusMessage::ReplyMessage ? Role::handedOver : Role::alone;
}

void SingleInstance::Open(const QString& link) {
    if (openHandler_) {
        openHandler_(link);
    }
}

}  // namespace dovrel::app
