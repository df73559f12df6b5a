#include "Platform/Desktop/SessionApplication.h"

#include "Platform/Core/Log.h"
#include "Platform/Desktop/ApplicationCall.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QVariantMap>

namespace platform {

namespace {

constexpr int activationTimeout = 5000; // ms

} // namespace

// The exported object, with the methods of D-Bus activation.
class SessionApplicationObject : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Application")

public Q_SLOTS:
    Q_SCRIPTABLE void Activate(const QVariantMap&) { Q_EMIT activated(); }
    Q_SCRIPTABLE void Open(const QStringList& uris, const QVariantMap&) { Q_EMIT opened(uris); }
    Q_SCRIPTABLE void ActivateAction(const QString&, const QVariantList&, const QVariantMap&) {
        Q_EMIT activated();
    }

Q_SIGNALS:
    void activated();
    void opened(QStringList uris);
};

namespace {

class BusApplication : public SessionApplication {
public:
    explicit BusApplication(QString applicationId)
        : m_applicationId(std::move(applicationId))
        , m_bus(QDBusConnection::connectToBus(QDBusConnection::SessionBus,
                                              QStringLiteral("session-application"))) {
        connect(&m_object, &SessionApplicationObject::activated, this, &SessionApplication::activated);
        connect(&m_object, &SessionApplicationObject::opened, this, &SessionApplication::openRequested);
    }

    ~BusApplication() override {
        if (m_bus.isConnected()) {
            m_bus.unregisterService(m_applicationId);
            m_bus.unregisterObject(applicationObjectPath(m_applicationId));
        }
        QDBusConnection::disconnectFromBus(QStringLiteral("session-application"));
    }

    Start start() override {
        if (!m_bus.isConnected()) {
            logLine(
                QStringLiteral("[App] No session bus: links and a second start cannot reach this program"));
            return Start::noBus;
        }
        // Register the object first and the name last: a caller that sees the name then finds the object.
        m_bus.registerObject(applicationObjectPath(m_applicationId), &m_object,
                             QDBusConnection::ExportScriptableSlots);
        auto* bus = m_bus.interface();
        const auto reply = bus->registerService(m_applicationId, QDBusConnectionInterface::DontQueueService,
                                                QDBusConnectionInterface::DontAllowReplacement);
        if (reply.isValid() && reply.value() == QDBusConnectionInterface::ServiceRegistered) {
            deliverStartingCall(*bus);
            return Start::first;
        }
        return activateRunning();
    }

private:
    // The call that started this process has waited for the name, so it arrives before the answer to anything
    // that is asked afterwards.
    void deliverStartingCall(const QDBusConnectionInterface& bus) {
        bus.isServiceRegistered(m_applicationId);
        QCoreApplication::sendPostedEvents(&m_object, QEvent::MetaCall);
    }
    Start activateRunning() {
        const auto answer = callApplication(m_bus, m_applicationId, {}, activationTimeout);
        if (answer.type() != QDBusMessage::ErrorMessage) {
            return Start::handedOver;
        }
        logLine(QStringLiteral("[App] The running program did not answer: %1").arg(answer.errorMessage()));
        return m_bus.isConnected() ? Start::hung : Start::noBus;
    }

    QString m_applicationId;
    QDBusConnection m_bus;
    SessionApplicationObject m_object;
};

} // namespace

std::unique_ptr<SessionApplication> makeSessionApplication(const QString& applicationId) {
    return std::make_unique<BusApplication>(applicationId);
}

} // namespace platform

#include "SessionApplication.moc"
