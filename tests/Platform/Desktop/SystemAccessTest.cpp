#include "Platform/Desktop/SystemAccess.h"
#include "Platform/Desktop/ApplicationInfo.h"
#include "Platform/Desktop/LoginItem.h"
#include "Platform/Desktop/MachineIdentifier.h"
#include "Platform/Desktop/ProcessLimits.h"
#include "tests/Support/EnvironmentOverride.h"
#include "tests/Support/FakeScreens.h"
#include "tests/Support/LogCapture.h"
#include "tests/Support/Rows.h"
#include "tests/Support/WaitFor.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>

#include <sys/resource.h>
#include <sys/stat.h>

namespace {

// A program of that name in the folder.
void install(const QTemporaryDir& folder, const QString& name, const QString& script) {
    QFile program(folder.filePath(name));
    QVERIFY(program.open(QIODevice::WriteOnly));
    program.write("#!/bin/sh\n" + script.toUtf8());
    QVERIFY(program.setPermissions(QFile::ReadOwner | QFile::ExeOwner));
}

} // namespace

class SystemAccessTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void settingsAddressesOpenWhatTheDesktopHas_data() {
        const auto row = rows<QString, QString, QString, QString, QString>();
        const auto microphone =
            QStringLiteral("x-apple.systempreferences:com.apple.preference.security?Privacy_Microphone");
        const auto screen =
            QStringLiteral("x-apple.systempreferences:com.apple.preference.security?Privacy_ScreenCapture");

        row("GNOME's own page first", "ubuntu:GNOME", "gnome-control-center pavucontrol", microphone,
            "gnome-control-center microphone", "");
        row("any desktop with a mixer", "i3", "pavucontrol", microphone, "pavucontrol --tab=4", "");
        row("another desktop's page is passed over", "XFCE", "gnome-control-center pavucontrol", screen,
            "pavucontrol --tab=3", "");
        row("nothing installed", "GNOME", "", screen, "", "Install pavucontrol");
        row("a web address", "GNOME", "xdg-open", "https://example.com/a?b=c",
            "xdg-open https://example.com/a?b=c", "");
        row("no browser", "GNOME", "", "https://example.com", "", "Go to https://example.com in");
        row("no package installer", "GNOME", "", "file:///a%20b.deb", "", "opens the file /a b.deb");
    }
    void settingsAddressesOpenWhatTheDesktopHas() {
        const auto [desktop, installed, address, started, advice] =
            currentRow<QString, QString, QString, QString, QString>();
        // Programs that write down how they were called.
        const QTemporaryDir folder;
        for (const auto& name : installed.split(u' ', Qt::SkipEmptyParts)) {
            install(
                folder, name,
                QString("cd '%1' && echo \"${0##*/} $*\" >part && /bin/mv part called\n").arg(folder.path()));
        }
        const EnvironmentOverride path("PATH", folder.path().toUtf8());
        qputenv("XDG_CURRENT_DESKTOP", desktop.toUtf8());
        LogCapture log;
        FakeNotifications notices;
        const bool opened = platform::makeSystemAccess(&notices)->open(address);
        QCOMPARE(opened, !started.isEmpty());
        QCOMPARE(log.count(address), started.isEmpty() ? 1 : 0);
        QCOMPARE(notices.shown.size(), opened ? 0 : 1);
        QVERIFY(notices.shown.join(u'|').contains(advice));
        if (opened) {
            QFile called(folder.filePath("called"));
            QVERIFY(waitUntil([&] { return called.exists(); }));
            QVERIFY(called.open(QIODevice::ReadOnly));
            QCOMPARE(QString::fromUtf8(called.readAll()).trimmed(), started);
        }
    }

    // Those of this process are for its own secrets.
    void whatIsStartedHasTheLimitsOfTheUser() {
        rlimit ours{};
        QCOMPARE(::getrlimit(RLIMIT_CORE, &ours), 0);
        ours.rlim_cur = ours.rlim_max;
        QCOMPARE(::setrlimit(RLIMIT_CORE, &ours), 0);
        ::umask(027);
        platform::restrictProcess();
        const QTemporaryDir folder;
        for (const auto* name : {"xdg-open", "pavucontrol"}) {
            install(
                folder, name,
                QString(
                    "cd '%1' && (umask; ulimit -Sc; ulimit -Hc) >part.$$ && /bin/mv part.$$ ${0##*/}.told\n")
                    .arg(folder.path()));
        }
        const EnvironmentOverride path("PATH", folder.path().toUtf8());
        const auto access = platform::makeSystemAccess();
        for (const auto* address :
             {"https://example.com",
              "x-apple.systempreferences:com.apple.preference.security?Privacy_Microphone"}) {
            QVERIFY(access->open(address));
        }
        for (const auto* name : {"xdg-open", "pavucontrol"}) {
            QFile told(folder.filePath(QString(name) + ".told"));
            QVERIFY(waitUntil([&] { return told.exists(); }));
            QVERIFY(told.open(QIODevice::ReadOnly));
            const auto lines = told.readAll().split('\n');
            QCOMPARE(lines.at(0), "0027");
            QCOMPARE(lines.at(1), lines.at(2));
        }
    }

    void aStarterThatFindsNoBrowserSaysSo() {
        const QTemporaryDir folder;
        install(folder, "xdg-open", "exit 3\n");
        const EnvironmentOverride path("PATH", folder.path().toUtf8());
        FakeNotifications notices;
        const auto access = platform::makeSystemAccess(&notices);
        access->open("https://example.com");
        QVERIFY(waitUntil([&] { return !notices.shown.isEmpty(); }));
        QVERIFY(notices.shown.first().contains("https://example.com"));
    }

    void applicationInformationIsReadFromOneFile() {
        const LogCapture log;
        const QTemporaryDir folder;
        QFile file(folder.filePath("info.json"));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(R"({"CFBundleVersion": "7", "number": 7})");
        file.close();
        const auto load = [&](const char* name) {
            qputenv("TEST_APPLICATION_INFO", folder.filePath(name).toUtf8());
            return platform::ApplicationInfo::load("absent.json", "absent", "TEST_APPLICATION_INFO", {});
        };
        QCOMPARE(load("info.json").string("CFBundleVersion"), std::optional("7"));
        QVERIFY(!load("info.json").string("number"));
        QVERIFY(!load("gone.json").string("CFBundleVersion"));
        QCOMPARE(log.count("gone.json"), 1);
        qunsetenv("TEST_APPLICATION_INFO");
    }

    // By a copy of this program, put where an installed one is.
    void anInstalledProgramKeepsItsFeedAndKey() {
        const QTemporaryDir prefix;
        const auto write = [&](const QString& path, const QByteArray& text) {
            QVERIFY(QDir().mkpath(QFileInfo(prefix.filePath(path)).path()));
            QFile file(prefix.filePath(path));
            QVERIFY(file.open(QIODevice::WriteOnly) && file.write(text) == text.size());
        };
        const auto program = prefix.filePath("bin/program");
        write("share/program/info.json", R"({"feed": "ours", "name": "ours"})");
        write("theirs.json", R"({"feed": "theirs", "key": "theirs", "name": "theirs"})");
        QVERIFY(QDir().mkpath(prefix.filePath("bin")));
        QVERIFY(QFile::copy(QCoreApplication::applicationFilePath(), program));
        const auto reads = [&] {
            QProcess process;
            process.start(program, {"--read-info"});
            process.waitForFinished();
            return process.readAllStandardOutput();
        };
        qputenv("TEST_APPLICATION_INFO", prefix.filePath("theirs.json").toUtf8());
        QCOMPARE(reads(), "ours - theirs\n");
        // Where it is built its information lies beside it, and a developer says what holds.
        write("bin/info.json", R"({"feed": "built"})");
        QCOMPARE(reads(), "theirs theirs theirs\n");
        qunsetenv("TEST_APPLICATION_INFO");
        QCOMPARE(reads(), "built - -\n");
    }

    void theLoginItemIsAnEntryThatStartsTheProgram() {
        const QTemporaryDir folder;
        const auto path = folder.filePath("autostart/com.corvane.Test.desktop");
        const auto item = platform::makeAutostartEntry(folder.filePath("autostart"), "com.corvane.Test",
                                                       "A Name", "/opt/it's 100%/a\\b");
        item->registerItem();
        QFile entry(path);
        QVERIFY(entry.open(QIODevice::ReadOnly));
        const auto text = entry.readAll();
        QVERIFY(text.startsWith("[Desktop Entry]\nType=Application\n"));
        QVERIFY(text.contains("\nName=A Name\n"));
        QVERIFY2(text.contains("Exec=\"/opt/it's 100%%/a\\\\\\\\b\""), text.constData());
        item->unregisterItem();
        QVERIFY(!QFile::exists(path));
        item->unregisterItem(); // it may be gone already

        QFile blocked(folder.filePath("file"));
        QVERIFY(blocked.open(QIODevice::WriteOnly));
        QVERIFY_EXCEPTION_THROWN(
            platform::makeAutostartEntry(blocked.fileName(), "a", "A", "/a")->registerItem(),
            std::runtime_error);
    }

    void machineIdentifierIsStableAndNotTheRawId() {
        constexpr auto application = "5b0c9d6e3f2a4e71a8c4d1f09e7b6a35";
        QFile raw("/etc/machine-id");
        const auto rawId = raw.open(QIODevice::ReadOnly) ? QString::fromLatin1(raw.readAll().trimmed()) : "";
        const auto id = platform::machineIdentifier(application);
        QCOMPARE(id.has_value(), rawId.size() == 32);
        QCOMPARE(platform::machineIdentifier(application), id);
        QVERIFY(QString(id.value_or("none")).remove(u'-') != rawId);
        QVERIFY(!platform::machineIdentifier("not hexadecimal"));
    }
};

int main(int argc, char* argv[]) {
    const QCoreApplication application(argc, argv);
    if (QCoreApplication::arguments().contains("--read-info")) {
        const auto info =
            platform::ApplicationInfo::load("info.json", "program", "TEST_APPLICATION_INFO", {"feed", "key"});
        const auto value = [&info](const char* key) { return info.string(key).value_or("-"); };
        std::printf("%s %s %s\n", qPrintable(value("feed")), qPrintable(value("key")),
                    qPrintable(value("name")));
        return 0;
    }
    SystemAccessTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "SystemAccessTest.moc"
