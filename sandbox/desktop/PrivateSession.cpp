#include "sandbox/desktop/PrivateSession.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusVariant>
#include <QDeadlineTimer>
#include <QFile>
#include <QThread>
#include <QUuid>

#include <array>
#include <csignal>

#include <sys/prctl.h>

namespace {

constexpr int processTimeout = 10000; // ms

struct Folder {
    const char* variable;
    const char* name;
};
constexpr std::array folders{
    Folder{"HOME", "home"},
    Folder{"XDG_RUNTIME_DIR", "run"},
    Folder{"XDG_DATA_HOME", "data"},
    Folder{"XDG_CONFIG_HOME", "config"},
    Folder{"XDG_CACHE_HOME", "cache"},
    Folder{"XDG_STATE_HOME", "state"},
};

constexpr const char* busConfiguration = R"(<busconfig>
<type>session</type>
<listen>unix:path=%1</listen>
%2
<auth>EXTERNAL</auth>
<policy context="default">
<allow send_destination="*" eavesdrop="true"/>
<allow eavesdrop="true"/>
<allow own="*"/>
</policy>
</busconfig>
)";

std::unique_ptr<QProcess> start(const QString& program, const QStringList& arguments,
                                const QByteArray& input = {}, const QString& log = QProcess::nullDevice()) {
    auto process = std::make_unique<QProcess>();
    process->setStandardErrorFile(log, QIODevice::Append);
    // Nothing may outlive a test that crashed.
    process->setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGKILL); });
    process->start(program, arguments);
    if (!process->waitForStarted(processTimeout)) {
        return nullptr;
    }
    process->write(input);
    process->closeWriteChannel();
    process->waitForBytesWritten(processTimeout);
    return process;
}

void end(std::unique_ptr<QProcess>& process) {
    if (process) {
        process->terminate();
        if (!process->waitForFinished(processTimeout)) {
            process->kill();
            process->waitForFinished(processTimeout);
        }
        process.reset();
    }
}

constexpr const char* secretsInterface = "org.freedesktop.Secret.Service";
const QString loginCollection = QStringLiteral("/org/freedesktop/secrets/collection/login");

// A separate connection to the secret service, closed at the end.
class BusClient {
public:
    explicit BusClient(const QString& address)
        : m_bus(QDBusConnection::connectToBus(address, m_name)) {}
    ~BusClient() { QDBusConnection::disconnectFromBus(m_name); }
    BusClient(const BusClient&) = delete;
    BusClient& operator=(const BusClient&) = delete;

    bool isRegistered(const QString& name) const {
        return m_bus.isConnected() && m_bus.interface()->isServiceRegistered(name);
    }
    QDBusMessage call(const char* interface, const char* method, const QVariantList& arguments) const {
        auto message = QDBusMessage::createMethodCall(
            QStringLiteral("org.freedesktop.secrets"), QStringLiteral("/org/freedesktop/secrets"),
            QString::fromLatin1(interface), QString::fromLatin1(method));
        message.setArguments(arguments);
        return m_bus.call(message, QDBus::Block, processTimeout);
    }

private:
    QString m_name = QUuid::createUuid().toString();
    QDBusConnection m_bus;
};

} // namespace

PrivateSession::PrivateSession() {
    for (const auto& [variable, name] : folders) {
        const auto path = m_folder.filePath(QString::fromLatin1(name));
        QDir().mkdir(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        setVariable(variable, path.toUtf8());
    }
    setVariable("DBUS_SESSION_BUS_ADDRESS", busAddress().toUtf8());
    for (const char* variable : {"DISPLAY", "WAYLAND_DISPLAY", "GNOME_KEYRING_CONTROL"}) {
        setVariable(variable, {});
    }
}

PrivateSession::~PrivateSession() {
    stopKeyring();
    stopBus();
    for (const auto& [name, value] : m_oldVariables) {
        if (value.isNull()) {
            qunsetenv(name.constData());
        } else {
            qputenv(name.constData(), value);
        }
    }
}

void PrivateSession::setVariable(const char* name, const QByteArray& value) {
    m_oldVariables.emplace(name, qEnvironmentVariableIsSet(name) ? qgetenv(name) : QByteArray());
    if (value.isEmpty()) {
        qunsetenv(name);
    } else {
        qputenv(name, value);
    }
}

void PrivateSession::joinBus(const QString& address) {
    m_busAddress = address;
    setVariable("DBUS_SESSION_BUS_ADDRESS", address.toUtf8());
}

bool PrivateSession::startBus(const QString& services) {
    const auto path = m_folder.filePath(QStringLiteral("bus.conf"));
    const auto folder = services.isEmpty()
                            ? QString()
                            : QStringLiteral("<servicedir>%1</servicedir>").arg(services.toHtmlEscaped());
    const auto configuration =
        QString::fromLatin1(busConfiguration).arg(m_folder.filePath(QStringLiteral("bus")), folder).toUtf8();
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(configuration) < 0) {
        return false;
    }
    file.close();
    m_bus = start(QStringLiteral("dbus-daemon"),
                  {QStringLiteral("--nofork"), QStringLiteral("--print-address"),
                   QStringLiteral("--config-file=") + path},
                  {}, busLog());
    // The address is printed when the bus listens.
    return m_bus && m_bus->waitForReadyRead(processTimeout);
}

void PrivateSession::stopBus() {
    end(m_bus);
}

bool PrivateSession::waitForService(const QString& name) {
    const BusClient client(busAddress());
    const QDeadlineTimer deadline(processTimeout);
    while (!client.isRegistered(name)) {
        if (deadline.hasExpired()) {
            return false;
        }
        QThread::msleep(10);
    }
    return true;
}

bool PrivateSession::startKeyring(const QString& password) {
    QStringList arguments{QStringLiteral("--foreground"), QStringLiteral("--components=secrets")};
    if (!password.isEmpty()) {
        arguments.append(QStringLiteral("--unlock"));
    }
    m_keyring = start(QStringLiteral("gnome-keyring-daemon"), arguments, password.toUtf8());
    return m_keyring && waitForService(QStringLiteral("org.freedesktop.secrets"));
}

bool PrivateSession::lockKeyring() {
    const BusClient client(busAddress());
    const auto reply =
        client.call(secretsInterface, "Lock", {QVariant::fromValue(QList{QDBusObjectPath(loginCollection)})});
    return reply.type() == QDBusMessage::ReplyMessage;
}

bool PrivateSession::unlockKeyring(const QString& password) {
    const BusClient client(busAddress());
    const auto session = client.call(secretsInterface, "OpenSession",
                                     {QStringLiteral("plain"), QVariant::fromValue(QDBusVariant(QString()))});
    if (session.arguments().size() != 2) {
        return false;
    }
    QDBusArgument secret;
    secret.beginStructure();
    secret << session.arguments().at(1).value<QDBusObjectPath>() << QByteArray() << password.toUtf8()
           << QStringLiteral("text/plain");
    secret.endStructure();
    const auto reply =
        client.call("org.gnome.keyring.InternalUnsupportedGuiltRiddenInterface", "UnlockWithMasterPassword",
                    {QVariant::fromValue(QDBusObjectPath(loginCollection)), QVariant::fromValue(secret)});
    return reply.type() == QDBusMessage::ReplyMessage;
}

void PrivateSession::stopKeyring() {
    end(m_keyring);
}

void PrivateSession::killKeyring() {
    if (m_keyring) {
        m_keyring->kill();
        m_keyring->waitForFinished(processTimeout);
        m_keyring.reset();
    }
}
