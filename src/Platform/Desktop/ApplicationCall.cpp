#include "Platform/Desktop/ApplicationCall.h"

#include "Platform/Core/Log.h"

#include <QDBusConnectionInterface>
#include <QDBusError>
#include <QDeadlineTimer>
#include <QFile>
#include <QProcess>
#include <QThread>
#include <QVariantMap>

#include <unistd.h>

namespace platform {

namespace {

constexpr int openTimeout = 60000; // ms; includes a start from a slow disk
constexpr int pollInterval = 10;   // ms

// Returns only when the program could not be started.
bool replaceProcessWith(const QString& program) {
    const auto path = QFile::encodeName(program);
    ::execl(path.constData(), path.constData(), nullptr);
    logLine(QStringLiteral("[App] %1 could not be started: %2. Install the program again.")
                .arg(program, qt_error_string()));
    return false;
}

// The bus does not know the application's service file, or the program that the file names is gone.
bool busCannotStart(const QDBusMessage& answer) {
    return QDBusError(answer).type() == QDBusError::ServiceUnknown ||
           answer.errorName() == QLatin1String("org.freedesktop.DBus.Error.Spawn.ExecFailed");
}

bool waitForName(const QDBusConnection& bus, const QString& name) {
    const QDeadlineTimer deadline(openTimeout);
    while (!bus.interface()->isServiceRegistered(name)) {
        if (deadline.hasExpired()) {
            return false;
        }
        QThread::msleep(pollInterval);
    }
    return true;
}

} // namespace

QString applicationObjectPath(const QString& applicationId) {
    auto path = u'/' + applicationId;
    return path.replace(u'.', u'/').replace(u'-', u'_');
}

QDBusMessage callApplication(const QDBusConnection& bus, const QString& applicationId,
                             const QStringList& links, int timeout) {
    auto call = QDBusMessage::createMethodCall(
        applicationId, applicationObjectPath(applicationId), QStringLiteral("org.freedesktop.Application"),
        links.isEmpty() ? QStringLiteral("Activate") : QStringLiteral("Open"));
    if (!links.isEmpty()) {
        call << links;
    }
    call << QVariantMap();
    return bus.call(call, QDBus::Block, timeout);
}

bool openApplication(const QString& applicationId, const QStringList& links, const QString& program) {
    const auto bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        logLine(QStringLiteral(
            "[App] No session bus: the program starts without the link. Type the interview ID instead."));
        return replaceProcessWith(program);
    }
    auto answer = callApplication(bus, applicationId, links, openTimeout);
    if (answer.type() == QDBusMessage::ErrorMessage && busCannotStart(answer)) {
        if (links.isEmpty()) {
            return replaceProcessWith(program);
        }
        if (QProcess::startDetached(program, {}) && waitForName(bus, applicationId)) {
            answer = callApplication(bus, applicationId, links, openTimeout);
        }
    }
    if (answer.type() == QDBusMessage::ErrorMessage) {
        logLine(QStringLiteral("[App] The program could not be reached: %1").arg(answer.errorMessage()));
        return false;
    }
    return true;
}

} // namespace platform
