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

// Tells the portal that this connection is that of the application with QGuiApplication's desktop file: newer
// ones do for nobody else what the user can allow and forbid. Before anything else is asked of it, which may
// have started it only now.
void introduce(const QDBusConnection& bus);

// `slot` of the receiver hears that signal of an object of the portal. Where the bus does not let it, a line
// in the log says what is missing.
void listen(QDBusConnection bus, const QString& object, const QString& interface, const QString& signal,
            QObject* receiver, const char* slot);
} // namespace portal

// No answer came, or one that says no. The text is the bus's.
class PortalError : public std::runtime_error {
public:
    enum class Kind { notOffered, refused, wentAway };
    PortalError(Kind ofKind, const QString& text)
        : std::runtime_error(text.toStdString())
        , kind(ofKind) {}

    Kind kind;
};

// One question to the desktop's portal: its answer comes as a signal of an object that the portal makes for
// it. Awaiting the answer may resume from within that signal: destroy this later. Main thread.
class PortalRequest : public QObject {
    Q_OBJECT

public:
    enum Response : uint { success = 0, refused = 1 };
    struct Answer {
        uint response = success;
        QVariantMap results;
    };

    // A method of org.freedesktop.portal.<interface>; `arguments` are those before the options.
    PortalRequest(const QString& interface, const QString& method, const QVariantList& arguments,
                  QVariantMap options);

    // Waits for as long as the desktop asks its user. Throws PortalError.
    Completion<Answer> answer() const { return m_answer; }

    // A new one each time, for what the portal makes for us and names after it.
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
