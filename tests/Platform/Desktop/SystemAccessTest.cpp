#include "Platform/Desktop/SystemAccess.h"
#include "Platform/Desktop/ApplicationInfo.h"
#include "Platform/Desktop/MachineIdentifier.h"
#include "Platform/Desktop/Notifications.h"
#include "tests/Support/LogCapture.h"
#include "tests/Support/Rows.h"
#include "tests/Support/WaitFor.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

namespace {

struct Notices : platform::Notifications {
    void show(const QString&, const QString& body) override { bodies.append(body); }

    QStringList bodies;
};

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
        const auto path = qgetenv("PATH");
        qputenv("PATH", folder.path().toUtf8());
        qputenv("XDG_CURRENT_DESKTOP", desktop.toUtf8());
        LogCapture log;
        Notices notices;
        const bool opened = platform::makeSystemAccess(&notices)->open(address);
        qputenv("PATH", path);

        QCOMPARE(opened, !started.isEmpty());
        QCOMPARE(log.count(address), started.isEmpty() ? 1 : 0);
        QCOMPARE(notices.bodies.size(), opened ? 0 : 1);
        QVERIFY(notices.bodies.join(u'|').contains(advice));
        if (opened) {
            QFile called(folder.filePath("called"));
            QVERIFY(waitUntil([&] { return called.exists(); }));
            QVERIFY(called.open(QIODevice::ReadOnly));
            QCOMPARE(QString::fromUtf8(called.readAll()).trimmed(), started);
        }
    }

    void aStarterThatFindsNoBrowserSaysSo() {
        const QTemporaryDir folder;
        install(folder, "xdg-open", "exit 3\n");
        const auto path = qgetenv("PATH");
        qputenv("PATH", folder.path().toUtf8());
        const LogCapture log;
        Notices notices;
        const auto access = platform::makeSystemAccess(&notices);
        access->open("https://example.com");
        qputenv("PATH", path);
        QVERIFY(waitUntil([&] { return !notices.bodies.isEmpty(); }));
        QVERIFY(notices.bodies.first().contains("https://example.com"));
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
            return platform::ApplicationInfo::load("absent.json", "absent", "TEST_APPLICATION_INFO");
        };
        QCOMPARE(load("info.json").string("CFBundleVersion"), std::optional("7"));
        QVERIFY(!load("info.json").string("number"));
        QVERIFY(!load("gone.json").string("CFBundleVersion"));
        QCOMPARE(log.count("gone.json"), 1);
        qunsetenv("TEST_APPLICATION_INFO");
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

QTEST_GUILESS_MAIN(SystemAccessTest)
#include "SystemAccessTest.moc"
