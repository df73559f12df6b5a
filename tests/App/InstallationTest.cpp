#include "sandbox/desktop/PrivateSession.h"
#include "tests/Support/Rows.h"
#include "tests/Support/WaitFor.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDirIterator>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QSettings>
#include <QUuid>

#include <csignal>
#include <memory>

#include <sys/resource.h>

namespace {

constexpr auto applicationId = "com.corvane.Lumetra";
constexpr int patience = 20000; // ms

QByteArray contents(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QString newLink() {
    return QStringLiteral("corvane://interview/") + QUuid::createUuid().toString(QUuid::WithoutBraces);
}

// Everything it prints, and its exit code.
std::pair<int, QByteArray> run(const QString& program, const QStringList& arguments) {
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(program, arguments);
    if (!process.waitForFinished(2 * patience)) {
        return {-1, process.errorString().toUtf8()};
    }
    return {process.exitCode(), process.readAll()};
}

} // namespace

// The program as it is installed, on a bus that starts it by its service file, without a display.
class InstallationTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() {
        qputenv("XDG_DATA_DIRS", (share() + ":/usr/share").toUtf8());
        qputenv("PULSE_SERVER", "unix:/nonexistent");
        qunsetenv("CORVANE_APPLICATION_INFO");
        const auto [code, output] =
            run("cmake", {"--install", QStringLiteral(CORVANE_BUILD_FOLDER), "--prefix", prefix()});
        QVERIFY2(code == 0, output.constData());
    }

    void init() { m_services = share() + "/dbus-1/services"; }

    void cleanup() {
        QVERIFY(endProgram());
        QDBusConnection::disconnectFromBus("observer");
        m_session.stopBus();
        QFile::remove(m_session.busLog());
    }

    // The validator of Debian 12 is older than the key SingleMainWindow.
    void theEntryIsValid() {
        const auto [code, output] = run("desktop-file-validate", {entry()});
        for (const auto& complaint : output.split('\n')) {
            QVERIFY2(complaint.isEmpty() || complaint.contains("\"SingleMainWindow\""),
                     complaint.constData());
        }
    }

    // CORVANE_COLD_STARTS makes it more of them.
    void everyColdStartByALinkDeliversIt() {
        QVERIFY(startBus());
        const int starts = qEnvironmentVariableIsSet("CORVANE_COLD_STARTS")
                               ? qEnvironmentVariableIntValue("CORVANE_COLD_STARTS")
                               : 6;
        int delivered = 0;
        for (int i = 0; i < starts; ++i) {
            const auto link = newLink();
            open(link, i % 2 == 0 ? Launcher::bus : Launcher::command);
            delivered += received(link) ? 1 : 0;
            QVERIFY(endProgram());
        }
        qInfo("%d links delivered in %d cold starts", delivered, starts);
        QCOMPARE(delivered, starts);
        // Each once, and by a program that has found its information.
        QCOMPARE(contents(m_session.busLog()).count("[DeepLink] Received"), starts);
        QCOMPARE(contents(m_session.busLog()).count("launched: v0."), starts);
    }

    void whatItLeavesIsForItsUserAlone() {
        // What is started from here could dump its memory, if it did not forbid it.
        rlimit limit{};
        QCOMPARE(::getrlimit(RLIMIT_CORE, &limit), 0);
        QVERIFY(limit.rlim_max > 0);
        limit.rlim_cur = limit.rlim_max;
        QCOMPARE(::setrlimit(RLIMIT_CORE, &limit), 0);
        QVERIFY(startBus());
        const auto link = newLink();
        open(link, Launcher::command);
        QVERIFY(received(link));
        const auto limits = contents(QStringLiteral("/proc/%1/limits").arg(processId()));
        QVERIFY2(QRegularExpression("Max core file size +0 ").match(limits).hasMatch(), limits.constData());
        QVERIFY(endProgram());
        int count = 0;
        for (const char* place : {"data", "config", "cache", "state"}) {
            QDirIterator written(m_session.folder() + '/' + place, QDir::AllEntries | QDir::NoDotAndDotDot,
                                 QDirIterator::Subdirectories);
            while (written.hasNext()) {
                const auto path = written.next();
                const QFile::Permissions others(0x0077);
                QVERIFY2((QFile::permissions(path) & others) == QFile::Permissions(), qPrintable(path));
                ++count;
            }
        }
        QVERIFY(count >= 2); // a folder, and the database in it
    }

    void theRunningProgramGetsLinksAndActivation() {
        QVERIFY(startBus());
        open({}, Launcher::command);
        QVERIFY(waitUntil([&] { return processId() != 0; }, patience));
        const auto first = processId();
        for (const auto launcher : {Launcher::bus, Launcher::command}) {
            const auto link = newLink();
            open(link, launcher);
            QVERIFY(received(link));
        }
        open({}, Launcher::command);
        QCOMPARE(processId(), first);
        QCOMPARE(contents(m_session.busLog()).count("launched: v0."), 1);
    }

    // A prefix that the bus does not look at, or files that have moved since it was told.
    void theCommandStartsWhatTheBusCannot_data() {
        const auto row = rows<QByteArray>();
        row("unknown", "");
        row("moved", "[D-BUS Service]\nName=com.corvane.Lumetra\nExec=/nonexistent/program\n");
    }
    void theCommandStartsWhatTheBusCannot() {
        const auto [service] = currentRow<QByteArray>();
        m_services = m_session.folder() + "/services";
        QDir().mkpath(m_services);
        QFile file(m_services + "/com.corvane.Lumetra.service");
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(service) == service.size());
        file.close();
        QVERIFY(!service.isEmpty() || file.remove());
        QVERIFY(startBus());
        const auto link = newLink();
        open(link, Launcher::command);
        QVERIFY(received(link));
    }

    void withoutABusTheCommandBecomesTheProgram() {
        const auto output = runUntilLaunched("corvane-lumetra-open", {newLink()});
        QCOMPARE(output.count("No session bus: links"), 1);
    }

    // As on a Wayland desktop that runs no programs of X11, and with a display that does not answer.
    void withoutAUsableDisplayItRunsAndSaysSo() {
        for (const char* variable : {"WAYLAND_DISPLAY", "DISPLAY"}) {
            const auto output = runUntilLaunched("corvane-lumetra", {}, variable);
            QCOMPARE(output.count("No window can be shown on this display"), 1);
        }
    }

private:
    // One that calls the bus, as the desktops do, and one that knows only the Exec key.
    enum class Launcher { bus, command };

    QString prefix() const { return m_session.folder() + "/installed"; }
    QString share() const { return prefix() + "/share"; }
    QString entry() const { return share() + "/applications/com.corvane.Lumetra.desktop"; }

    // What the program prints up to its launch; it ends in good order. The variable names no display.
    QByteArray runUntilLaunched(const QString& name, const QStringList& arguments,
                                const char* variable = {}) {
        QProcess process;
        auto environment = QProcessEnvironment::systemEnvironment();
        if (variable) {
            environment.insert(variable, "nonexistent:9");
        }
        process.setProcessEnvironment(environment);
        process.setProcessChannelMode(QProcess::MergedChannels);
        process.start(prefix() + "/bin/" + name, arguments);
        QByteArray output;
        const auto isLaunched = [&] { return (output += process.readAll()).contains("launched: v0."); };
        const bool launched = waitUntil(isLaunched, patience);
        process.terminate();
        const bool ended = process.waitForFinished(patience) && process.exitCode() == 0;
        return launched && ended ? output : QByteArray();
    }

    bool startBus() { return m_session.startBus(m_services); }
    QDBusConnection observer() { return QDBusConnection::connectToBus(m_session.busAddress(), "observer"); }
    uint processId() {
        const auto bus = observer();
        return bus.isConnected() ? bus.interface()->servicePid(applicationId).value() : 0;
    }

    // Returns when the launcher has done its part. Without a link it activates.
    void open(const QString& link, Launcher launcher) {
        auto words = QProcess::splitCommand(
            QSettings(entry(), QSettings::IniFormat).value("Desktop Entry/Exec").toString());
        QCOMPARE(words.takeLast(), "%u");
        if (launcher == Launcher::bus) {
            words = QStringList{"gio", "open"};
        }
        if (!link.isEmpty()) {
            words.append(link);
        }
        QProcess process;
        // What it starts prints where the bus's services print.
        process.setStandardErrorFile(m_session.busLog(), QIODevice::Append);
        process.start(words.first(), words.mid(1));
        QVERIFY(process.waitForFinished(2 * patience));
        QCOMPARE(process.exitCode(), 0);
    }

    bool received(const QString& link) {
        const auto line = "[DeepLink] Received interview ID: " + link.section('/', -1).toUtf8();
        return waitUntil([&] { return contents(m_session.busLog()).contains(line); }, patience);
    }

    bool endProgram() {
        const auto process = processId();
        if (process == 0) {
            return true;
        }
        ::kill(static_cast<pid_t>(process), SIGTERM);
        return waitUntil([&] { return processId() == 0; }, patience);
    }

    PrivateSession m_session;
    QString m_services;
};

QTEST_GUILESS_MAIN(InstallationTest)

#include "InstallationTest.moc"
