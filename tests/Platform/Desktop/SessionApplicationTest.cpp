#include "SessionApplication.h"
#include "WaitFor.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QProcess>
#include <QSignalSpy>
#include <QTest>

using platform::SessionApplication;

namespace {

constexpr auto applicationId = "com.corvane.Lumetra.Test";
constexpr auto applicationPath = "/com/corvane/Lumetra/Test";

// A session bus of the test's own.
class PrivateBus {
public:
    PrivateBus() {
        m_daemon.start(
            QStringLiteral("dbus-daemon"),
            {QStringLiteral("--session"), QStringLiteral("--nofork"), QStringLiteral("--print-address=1")});
        m_daemon.waitForReadyRead(5000);
        m_address = m_daemon.readLine().trimmed();
    }
    ~PrivateBus() {
        m_daemon.kill();
        m_daemon.waitForFinished();
    }
    QByteArray address() const { return m_address; }

private:
    QProcess m_daemon;
    QByteArray m_address;
};

QDBusMessage call(const QString& method, const QVariantList& arguments) {
    auto message =
        QDBusMessage::createMethodCall(QLatin1String(applicationId), QLatin1String(applicationPath),
                                       QStringLiteral("org.freedesktop.Application"), method);
    message.setArguments(arguments);
    return message;
}

} // namespace

// Calls go through a second connection, as those of a launcher do.
class SessionApplicationTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanup();
    void linksAndActivationArrive();
    void secondStartActivatesTheFirst();
    void noLinkIsLostBetweenNameAndObject();
    void withoutABusTheProgramRuns();

private:
    QDBusConnection launcher() {
        return QDBusConnection::connectToBus(QString::fromLatin1(m_bus.address()),
                                             QStringLiteral("launcher"));
    }

    PrivateBus m_bus;
};

void SessionApplicationTest::initTestCase() {
    QVERIFY(!m_bus.address().isEmpty());
    qputenv("DBUS_SESSION_BUS_ADDRESS", m_bus.address());
}

void SessionApplicationTest::cleanup() {
    QDBusConnection::disconnectFromBus(QStringLiteral("launcher"));
}

void SessionApplicationTest::linksAndActivationArrive() {
    const auto application = platform::makeSessionApplication(QString::fromLatin1(applicationId));
    QSignalSpy opened(application.get(), &SessionApplication::openRequested);
    QSignalSpy activated(application.get(), &SessionApplication::activated);
    QCOMPARE(application->start(), SessionApplication::Start::first);

    const QStringList uris{QStringLiteral("corvane://interview/a1"),
                           QStringLiteral("corvane://interview/a2")};
    launcher().call(call(QStringLiteral("Open"), {uris, QVariantMap()}), QDBus::NoBlock);
    launcher().call(call(QStringLiteral("Activate"), {QVariantMap()}), QDBus::NoBlock);
    QVERIFY(waitUntil([&] { return activated.count() == 1; }));
    QCOMPARE(opened.count(), 1);
    const auto urls = opened.first().first().value<QList<QUrl>>();
    QCOMPARE(urls, QList<QUrl>({QUrl(uris[0]), QUrl(uris[1])}));
}

void SessionApplicationTest::secondStartActivatesTheFirst() {
    const auto first = platform::makeSessionApplication(QString::fromLatin1(applicationId));
    QSignalSpy activated(first.get(), &SessionApplication::activated);
    QCOMPARE(first->start(), SessionApplication::Start::first);

    // The second start is a process of its own: its blocking call is answered by this one.
    QProcess second;
    second.start(QCoreApplication::applicationFilePath(), {QStringLiteral("--second-start")});
    QVERIFY(waitUntil([&] { return second.state() == QProcess::NotRunning; }, 10000));
    QCOMPARE(second.exitCode(), static_cast<int>(SessionApplication::Start::handedOver));
    QCOMPARE(activated.count(), 1);
}

// Whoever waits for the name and calls at once must find the object.
void SessionApplicationTest::noLinkIsLostBetweenNameAndObject() {
    constexpr int starts = 100;
    int delivered = 0;
    for (int i = 0; i < starts; ++i) {
        QProcess client;
        client.start(
            QStringLiteral("sh"),
            {QStringLiteral("-c"),
             QStringLiteral(
                 "until gdbus call --session --dest org.freedesktop.DBus --object-path "
                 "/org/freedesktop/DBus --method org.freedesktop.DBus.NameHasOwner %1 | grep -q true; "
                 "do :; done; exec gdbus call --session --dest %1 --object-path %2 --method "
                 "org.freedesktop.Application.Open \"['corvane://interview/%3']\" '{}'")
                 .arg(QLatin1String(applicationId), QLatin1String(applicationPath))
                 .arg(i)});
        const auto application = platform::makeSessionApplication(QString::fromLatin1(applicationId));
        QSignalSpy opened(application.get(), &SessionApplication::openRequested);
        QCOMPARE(application->start(), SessionApplication::Start::first);
        if (waitUntil([&] { return opened.count() == 1; })) {
            ++delivered;
        }
        client.waitForFinished();
        QCOMPARE(client.exitCode(), 0);
    }
    QCOMPARE(delivered, starts);
}

void SessionApplicationTest::withoutABusTheProgramRuns() {
    QProcess start;
    auto environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"),
                       QStringLiteral("unix:path=/nonexistent/bus"));
    start.setProcessEnvironment(environment);
    start.start(QCoreApplication::applicationFilePath(), {QStringLiteral("--second-start")});
    QVERIFY(start.waitForFinished());
    QCOMPARE(start.exitCode(), static_cast<int>(SessionApplication::Start::noBus));
    QCOMPARE(start.readAllStandardError().count("No session bus"), 1);
}

int main(int argc, char* argv[]) {
    QCoreApplication application(argc, argv);
    if (application.arguments().contains(QStringLiteral("--second-start"))) {
        return static_cast<int>(
            platform::makeSessionApplication(QString::fromLatin1(applicationId))->start());
    }
    SessionApplicationTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "SessionApplicationTest.moc"
