#include "Platform/Desktop/Notifications.h"

#include "Platform/Core/Log.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QObject>

namespace platform {

namespace {

const auto service = QStringLiteral("org.freedesktop.Notifications");
const auto path = QStringLiteral("/org/freedesktop/Notifications");
constexpr int desktopDefaultExpiry = -1;

class DesktopNotifications : public QObject, public Notifications {
public:
    DesktopNotifications(QString applicationName, QString desktopEntry)
        : m_applicationName(std::move(applicationName))
        , m_desktopEntry(std::move(desktopEntry)) {}

    void show(const QString& title, const QString& body) override {
        auto call = QDBusMessage::createMethodCall(service, path, service, QStringLiteral("Notify"));
        // The desktop drops a transient notice once it has been seen.
        const QVariantMap hints{{QStringLiteral("desktop-entry"), m_desktopEntry},
                                {QStringLiteral("transient"), true}};
        // The body is markup.
        call << m_applicationName << m_shown << m_desktopEntry << title << body.toHtmlEscaped()
             << QStringList() << hints << desktopDefaultExpiry;
        auto* watcher = new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(call), this);
        connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher, title, body] {
            const QDBusPendingReply<uint> reply = *watcher;
            if (reply.isError()) {
                logLine(QStringLiteral("[App] %1. %2").arg(title, body));
            } else {
                m_shown = reply.value();
            }
            watcher->deleteLater();
        });
    }

private:
    const QString m_applicationName;
    const QString m_desktopEntry;
    uint m_shown = 0; // id of the notice on show; 0 if there is none
};

} // namespace

std::unique_ptr<Notifications> makeDesktopNotifications(const QString& applicationName,
                                                        const QString& desktopEntry) {
    return std::make_unique<DesktopNotifications>(applicationName, desktopEntry);
}

} // namespace platform
