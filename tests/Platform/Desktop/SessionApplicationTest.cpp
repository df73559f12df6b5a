#include "Platform/Desktop/SessionApplication.h"
#include "sandbox/desktop/PrivateSession.h"
#include "tests/Support/EnvironmentOverride.h"
#include "tests/Support/WaitFor.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QFile>
#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>

#include <unistd.h>

using platform::SessionApplication;

namespace {

constexpr auto applicationId = "com.corvane.Lumetra.Test";
constexpr auto applicationPath = "/com/corvane/Lumetra/Test";

QDBusMessage call(const QString& method, const QVariantList& arguments) {
    auto message = QDBusMessage::createMethodCall(
        QLatin1String(applicationId), QLatin1String(applicationPath), "org.freedesktop.Application", method);
    message.setArguments(arguments);
    return message;
}

} // namespace

// Calls go through a second connection, as those of a launcher do.
class SessionApplicationTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QVERIFY(m_session.startBus()); }
    void cleanup() { QDBusConnection::disconnectFromBus("launcher"); }

    void linksAndActivationArrive() {
        const auto application = platform::makeSessionApplication(applicationId);
        QSignalSpy opened(application.get(), &SessionApplication::openRequested);
        QSignalSpy activated(application.get(), &SessionApplication::activated);
        QCOMPARE(application->start(), SessionApplication::Start::first);

        const QStringList uris{"CORVANE://Interview/a1", "corvane://interview/a2"};
        launcher().call(call("Open", {uris, QVariantMap()}), QDBus::NoBlock);
        launcher().call(call("Activate", {QVariantMap()}), QDBus::NoBlock);
        QVERIFY(waitUntil([&] { return activated.count() == 1; }));
        QCOMPARE(opened.count(), 1);
        QCOMPARE(opened.first().first().toStringList(), uris);
    }

    void secondStartActivatesTheFirst() {
        const auto first = platform::makeSessionApplication(applicationId);
        QSignalSpy activated(first.get(), &SessionApplication::activated);
        QCOMPARE(first->start(), SessionApplication::Start::first);

        QProcess second;
        QCOMPARE(startAgain(second), SessionApplication::Start::handedOver);
        QCOMPARE(activated.count(), 1);
    }

    // A second instance would write the same files.
    void aSecondStartEndsWhenTheFirstHangs() {
        QProcess first;
        first.start(QCoreApplication::applicationFilePath(), {"--hang"});
        QVERIFY(waitUntil([&] { return launcher().interface()->isServiceRegistered(applicationId); }));
        QProcess second;
        QCOMPARE(startAgain(second), SessionApplication::Start::hung);
        QVERIFY(second.readAllStandardError().contains("did not answer"));
        first.kill();
        QVERIFY(first.waitForFinished());
    }

    // A caller that waits for the name and calls at once must find the object.
    void noLinkIsLostBetweenNameAndObject() {
        constexpr int starts = 100;
        int delivered = 0;
        for (int i = 0; i < starts; ++i) {
            QProcess client;
            client.start(
                "sh",
                {"-c",
                 QStringLiteral(
                     "until gdbus call --session --dest org.freedesktop.DBus --object-path "
                     "/org/freedesktop/DBus --method org.freedesktop.DBus.NameHasOwner %1 | grep -q true; "
                     "do :; done; exec gdbus call --session --dest %1 --object-path %2 --method "
                     "org.freedesktop.Application.Open \"['corvane://interview/%3']\" '{}'")
                     .arg(QLatin1String(applicationId), QLatin1String(applicationPath))
                     .arg(i)});
            const auto application = platform::makeSessionApplication(applicationId);
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

    // What the program was started for is known before it launches.
    void theCallThatStartsTheProgramIsToldFirst() {
        const QTemporaryDir folder;
        QFile service(folder.filePath("test.service"));
        QVERIFY(service.open(QIODevice::WriteOnly));
        service.write(
            QStringLiteral("[D-BUS Service]\nName=%1\nExec=\"%2\" --started %3\n")
                .arg(applicationId, QCoreApplication::applicationFilePath(), folder.filePath("told"))
                .toUtf8());
        service.close();
        m_session.stopBus();
        QVERIFY(m_session.startBus(folder.path()));
        launcher().call(call("Open", {QStringList("corvane://interview/a1"), QVariantMap()}));
        QFile told(folder.filePath("told"));
        // The file is there for a moment before it is written.
        QVERIFY(waitUntil([&] { return told.size() > 0; }));
        QVERIFY(told.open(QIODevice::ReadOnly));
        QCOMPARE(told.readAll(), "1");
        QDBusConnection::disconnectFromBus("launcher");
        m_session.stopBus();
        QVERIFY(m_session.startBus());
    }

    void withoutABusTheProgramRuns() {
        const EnvironmentOverride bus("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/bus");
        QProcess start;
        QCOMPARE(startAgain(start), SessionApplication::Start::noBus);
        QCOMPARE(start.readAllStandardError().count("No session bus"), 1);
    }

private:
    // What a second start comes to, in a process of its own: its blocking call is answered by this one.
    SessionApplication::Start startAgain(QProcess& second) {
        second.start(QCoreApplication::applicationFilePath(), {"--second-start"});
        waitUntil([&] { return second.state() == QProcess::NotRunning; }, 20'000);
        return static_cast<SessionApplication::Start>(second.exitCode());
    }
    QDBusConnection launcher() { return QDBusConnection::connectToBus(m_session.busAddress(), "launcher"); }

    PrivateSession m_session;
};

int main(int argc, char* argv[]) {
    QCoreApplication application(argc, argv);
    if (application.arguments().contains("--second-start")) {
        return static_cast<int>(platform::makeSessionApplication(applicationId)->start());
    }
    if (application.arguments().contains("--hang")) {
        const auto first = platform::makeSessionApplication(applicationId);
        first->start();
        for (;;) {
            ::pause();
        }
    }
    if (application.arguments().contains("--started")) {
        const auto session = platform::makeSessionApplication(applicationId);
        QSignalSpy opened(session.get(), &SessionApplication::openRequested);
        session->start();
        QFile told(application.arguments().last());
        told.open(QIODevice::WriteOnly);
        told.write(QByteArray::number(opened.count()));
        return 0;
    }
    SessionApplicationTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "SessionApplicationTest.moc"
