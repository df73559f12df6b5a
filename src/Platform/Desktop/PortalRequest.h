#pragma once

#include "Platform/Core/Completion.h"

#include <QDBusConnection>
#include <QDBusServiceWatcher>
#include <QObject>
#include <QVariantMap>

#include <stdexcept>

namespace platform {

namespace portal {
inline const auto service = QStringLiteral("org.freedesktop.portal.Desktop");
inline const auto path = QStringLiteral("/org/freedesktop/portal/desktop");

// Registers this connection with the portal as that of the application with QGuiApplication's desktop file:
// newer portals refuse unregistered programs whatever the user can allow or forbid. Call it before every
// other request, because the portal may have been started only now.
void introduce(const QDBusConnection& bus);

// Connects `slot` of the receiver to a signal of an object of the portal. Logs a line if the bus does not
// allow it.
void listen(QDBusConnection bus, const QString& object, const QString& interface, const QString& signal,
            QObject* receiver, const char* slot);
} // namespace portal

// The portal did not answer, or refused. The text is the bus's.
class PortalError : public std::runtime_error {
public:
    enum class Kind { notOffered, refused, wentAway };
    PortalError(Kind ofKind, const QString& text)
        : std::runtime_error(text.toStdString())
        , kind(ofKind) {}

    Kind kind;
};

// One request to the desktop's portal. The answer comes as a signal of an object that the portal creates for
// it. A coroutine that awaits the answer may resume from within that signal, so destroy the request with
// deleteLater(). Main thread.
class PortalRequest : public QObject {
    Q_OBJECT

public:
    enum Response : uint { success = 0, refused = 1 };
    struct Answer {
        uint response = success;
        QVariantMap results;
    };

    // Calls a method of org.freedesktop.portal.<interface>; `arguments` are those before the options.
    PortalRequest(const QString& interface, const QString& method, const QVariantList& arguments,
                  QVariantMap options);

    // Waits as long as the desktop takes to ask the user. Throws PortalError.
    Completion<Answer> answer() const { return m_answer; }

    // Returns a new token each time, for an object that the portal creates and names after it.
    static QString newToken();

private Q_SLOTS:
    void responded(uint response, const QVariantMap& results);

private:
    void listenTo(const QString& path);
    void fail(PortalError::Kind kind, const QString& text) const;

    QDBusConnection m_bus = QDBusConnection::sessionBus();
    QDBusServiceWatcher m_gone;
    QString m_path;
    const Completion<Answer> m_answer;
};

} // namespace platform
