#include "Platform/Desktop/PortalRequest.h"

#include "Platform/Core/Log.h"

#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QGuiApplication>

namespace platform {

void portal::introduce(const QDBusConnection& bus) {
    if (QGuiApplication::desktopFileName().isEmpty()) {
        return;
    }
    auto call = QDBusMessage::createMethodCall(
        service, path, QStringLiteral("org.freedesktop.host.portal.Registry"), QStringLiteral("Register"));
    call << QGuiApplication::desktopFileName() << QVariantMap();
    // Errors are ignored: older portals lack this interface and recognise the application by the way it was
    // started, and a portal that already knows it refuses a second registration.
    bus.asyncCall(call);
}

void portal::listen(QDBusConnection bus, const QString& object, const QString& interface,
                    const QString& signal, QObject* receiver, const char* slot) {
    if (!bus.connect(service, object, interface, signal, receiver, slot)) {
        logLine(QStringLiteral("[App] Cannot listen to the signal %1 of %2").arg(signal, interface));
    }
}

PortalRequest::PortalRequest(const QString& interface, const QString& method, const QVariantList& arguments,
                             QVariantMap options)
    : m_gone(portal::service, m_bus, QDBusServiceWatcher::WatchForUnregistration) {
    portal::introduce(m_bus);
    connect(&m_gone, &QDBusServiceWatcher::serviceUnregistered, this,
            [this] { fail(PortalError::Kind::wentAway, QStringLiteral("The portal went away.")); });
    const auto token = newToken();
    options[QStringLiteral("handle_token")] = token;
    // Listen before asking, so that no answer is missed.
    listenTo(portal::path + QStringLiteral("/request/") +
             m_bus.baseService().remove(u':').replace(u'.', u'_') + u'/' + token);
    auto question = QDBusMessage::createMethodCall(
        portal::service, portal::path, QStringLiteral("org.freedesktop.portal.") + interface, method);
    question.setArguments(arguments + QVariantList{options});
    auto* watcher = new QDBusPendingCallWatcher(m_bus.asyncCall(question), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher] {
        const QDBusPendingReply<QDBusObjectPath> reply = *watcher;
        if (reply.isError()) {
            fail(PortalError::Kind::notOffered, reply.error().message());
        } else if (reply.value().path() != m_path) {
            // Older portals choose the path of the request themselves.
            listenTo(reply.value().path());
        }
        watcher->deleteLater();
    });
}

QString PortalRequest::newToken() {
    static int last = 0;
    return QStringLiteral("request%1").arg(++last);
}

void PortalRequest::listenTo(const QString& path) {
    m_path = path;
    portal::listen(m_bus, path, QStringLiteral("org.freedesktop.portal.Request"), QStringLiteral("Response"),
                   this, SLOT(responded(uint, QVariantMap)));
}

void PortalRequest::responded(uint response, const QVariantMap& results) {
    m_answer.resolve(Answer{response, results});
}

void PortalRequest::fail(PortalError::Kind kind, const QString& text) const {
    m_answer.fail(PortalError(kind, text));
}

} // namespace platform
