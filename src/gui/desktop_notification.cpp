#include "gui/desktop_notification.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QStringList>
#include <QVariantMap>

namespace {
const QString kService = QStringLiteral("org.freedesktop.Notifications");
}

bool notification_due(qint64 elapsedMs, bool windowShown, bool windowActive) {
    return elapsedMs > kNotifyAfterMs && windowShown && !windowActive;
}

bool notify_desktop(const QString& summary, const QString& body) {
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected() || !bus.interface() ||
        !bus.interface()->isServiceRegistered(kService).value())
        return false;
    QDBusMessage call =
        QDBusMessage::createMethodCall(kService, QStringLiteral("/org/freedesktop/Notifications"),
                                       kService, QStringLiteral("Notify"));
    // app_name, replaces_id, app_icon, summary, body, actions, hints, expire_timeout
    call << QStringLiteral("Brightquill Desktop") << 0u << QStringLiteral("brightquill") << summary
         << body << QStringList() << QVariantMap() << -1;
    // Sent without waiting for the answer: a slow service must not hold up the window.
    return bus.send(call);
}
