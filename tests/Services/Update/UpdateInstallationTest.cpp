#include "tests/Services/Update/UpdaterFixture.h"

#include "sandbox/Sandbox.h"

#include <QFileInfo>
#include <QSignalSpy>

using namespace corvane;

namespace {

// The updater on the real network layer, against a feed whose packages are signed by the stand-in's key.
struct Fixture : UpdaterFixture {
    sandbox::Sandbox stand;

    Fixture()
        : stand(options()) {
        const auto& addresses = stand.addresses();
        qputenv("SSL_CERT_FILE", QByteArray::fromStdString(addresses.certificateFile.string()));
        qputenv("https_proxy", QByteArray::fromStdString(addresses.proxy));
        makeHttp = [] { return platform::makeHttpClient(platform::HttpSessionKind::ephemeral); };
        launch();
    }
    static sandbox::Options options() {
        sandbox::Options quick;
        quick.pace = 1ms;
        return quick;
    }
    void offer(const char* flaw, int kilobytes = 256) {
        stand.apply("offer-update", {{"flaw", flaw}, {"kilobytes", kilobytes}});
    }
    int answered(const std::string& line) const {
        const auto state = stand.state();
        const auto& lines = state.at("requests").as_array();
        return static_cast<int>(
            std::ranges::count(lines, boost::json::value("GET updates.lumetra.test/update/" + line)));
    }
    bool getsReady() {
        offer("none");
        return choosesWhatIsFound() && reaches(Stage::ready) && service->state().version == "";
    }
    QString packagePath() const { return folder() + u'/' + leftBehind().value(0); }
    QByteArray package() const {
        QFile file(packagePath());
        return file.open(QFile::ReadOnly) ? file.readAll() : QByteArray();
    }
    bool spoilPackage() const {
        QFile file(packagePath());
        return file.open(QFile::ReadWrite) && file.write("?") == 1;
    }
    void write(const QString& name, const QByteArray& content) const {
        QFile file(cache.filePath(name));
        QVERIFY(QDir().mkpath(QFileInfo(file).path()) && file.open(QFile::WriteOnly));
        QCOMPARE(file.write(content), content.size());
        file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    }
    // As dpkg keeps it.
    void recordInstalled(const QByteArray& version) const {
        write("dpkg/status",
              "Package: corvane-lumetra\nStatus: install ok installed\nArchitecture: all\nMaintainer: a\n"
              "Description: a\nVersion: " +
                  version + "\n\n");
        qputenv("DPKG_ADMINDIR", cache.filePath("dpkg").toUtf8());
    }
    void realInstaller(const QByteArray& asker) {
        write("bin/pkexec", "#!/bin/sh\n" + asker + "\n");
        write("bin/apt-get",
              "#!/bin/sh\nif [ \"$FAIL\" ]; then echo 'E: You have held broken packages.' >&2; exit 100; fi\n"
              "for package; do :; done\ncp \"$package\" " +
                  cache.filePath("installed").toUtf8() + "\n");
        write("info.json", "{\"SUPublicEDKey\":\"" + key.toUtf8() + "\"}");
        qputenv("CORVANE_APPLICATION_INFO", cache.filePath("info.json").toUtf8());
        static const auto path = qgetenv("PATH");
        qputenv("PATH", cache.filePath("bin").toUtf8() + ':' + path);
        makeInstaller = [] { return platform::makePackageInstaller(CORVANE_INSTALLER); };
        launch();
    }
    // A quarter of a package is there, and the way to the rest is cut.
    bool loseDownload() {
        stand.apply("pace", {{"milliseconds", 20}});
        offer("none", 2048);
        const bool found = choosesWhatIsFound();
        const bool begun = waitUntil([&] { return driver().progress() > 0.25; });
        stand.apply("go-away", {{"milliseconds", 0}});
        const bool failed = reaches(Stage::failed);
        stand.apply("come-back", {});
        stand.apply("pace", {{"milliseconds", 1}});
        return found && begun && failed;
    }
};

} // namespace

class UpdateInstallationTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void aSoundUpdateReachesTheInstaller() {
        Fixture fixture;
        QVERIFY(fixture.getsReady());
        QCOMPARE(fixture.state(), Case::readyToInstall);
        QCOMPARE(fixture.leftBehind().size(), 1);
        const QFileInfo package(fixture.packagePath());
        QCOMPARE(int(package.permissions() & ~(QFile::ReadUser | QFile::WriteUser)),
                 int(QFile::ReadOwner | QFile::WriteOwner));
        fixture.driver().dismiss();
        QVERIFY(fixture.checksAndSees(Stage::ready));
        QCOMPARE(fixture.installer->calls, 0);
        fixture.driver().choose();
        QVERIFY(fixture.reaches(Stage::installed));
        QCOMPARE(fixture.installer->installed, fixture.package());

        QSignalSpy restart(fixture.service->updater(), &platform::SPUUpdater::restartRequested);
        fixture.driver().choose();
        fixture.service->updater()->refuseRestart("An interview is running.");
        QCOMPARE(fixture.driver().text(), "An interview is running.");
        fixture.driver().dismiss();
        QVERIFY(fixture.checksAndSees(Stage::installed));
        QCOMPARE(restart.count(), 1);

        // The new version has started: what it came from goes.
        fixture.stand.apply("offer-update", {{"version", "1"}, {"display_version", "0.1.0"}});
        fixture.launch();
        QVERIFY(fixture.checksAndSees(Stage::upToDate));
        QCOMPARE(fixture.leftBehind(), QStringList());
    }

    void aFaultyUpdateIsRefusedAndLeavesNothing_data() {
        const auto row = rows<Stage, QString>();
        row("unsigned", Stage::checking, "not signed");
        row("plain_address", Stage::checking, "https");
        row("too_large", Stage::checking, "larger");
        row("wrong_signature", Stage::found, "not signed by");
        row("truncated", Stage::found, "shorter");
        row("older_package", Stage::found, "0.0.1");
        row("other_package", Stage::found, "another program (sudo)");
    }
    void aFaultyUpdateIsRefusedAndLeavesNothing() {
        const auto [noticed, part] = currentRow<Stage, QString>();
        Fixture fixture;
        fixture.offer(QTest::currentDataTag());
        if (noticed == Stage::found) {
            QVERIFY(fixture.choosesWhatIsFound());
            QVERIFY(fixture.reaches(Stage::failed));
        } else {
            QVERIFY(fixture.checksAndSees(Stage::failed));
        }
        QVERIFY2(fixture.driver().text().contains(part), qPrintable(fixture.driver().text()));
        fixture.settle();
        QCOMPARE(fixture.service->state().error, fixture.driver().text());
        QCOMPARE(fixture.leftBehind(), QStringList());
        QCOMPARE(fixture.installer->calls, 0);
    }

    // The package is 0.2.0, newer than the program says it is; the system's own record decides.
    void whatIsInstalledIsNotTakenBack() {
        for (const auto& [installed, end] : {std::pair("0.1.9-7", Stage::ready),
                                             {"0.2.0", Stage::failed},
                                             {"0.2.0-1", Stage::failed},
                                             {"1:0.1.0-1", Stage::failed}}) {
            Fixture fixture;
            fixture.recordInstalled(installed);
            fixture.offer("none");
            QVERIFY(fixture.choosesWhatIsFound());
            QVERIFY(fixture.reaches(end));
            qunsetenv("DPKG_ADMINDIR");
        }
    }

    // From its verification on the package is an open file: its path is opened by nobody.
    void whatWasVerifiedIsWhatIsInstalled() {
        Fixture fixture;
        QVERIFY(fixture.getsReady());
        const auto sound = fixture.package();
        const auto path = fixture.packagePath();
        fixture.write("other", "another package");
        QVERIFY(QFile::remove(path) && QFile::rename(fixture.cache.filePath("other"), path));
        fixture.driver().choose();
        QVERIFY(fixture.reaches(Stage::installed));
        QCOMPARE(fixture.installer->installed, sound);
    }

    void aPackageChangedAfterItsCheckIsNotHandedOn() {
        Fixture fixture;
        QVERIFY(fixture.getsReady());
        QVERIFY(fixture.spoilPackage());
        fixture.driver().choose();
        QVERIFY(fixture.reaches(Stage::failed));
        QCOMPARE(fixture.installer->calls, 0);
    }

    void twoClicksInstallOnceAndLaterWinsOverTheLastCheck() {
        Fixture fixture;
        QVERIFY(fixture.getsReady());
        fixture.driver().choose();
        QCOMPARE(fixture.driver().stage(), Stage::verifying);
        fixture.driver().dismiss();
        fixture.settle();
        QCOMPARE(fixture.driver().stage(), Stage::hidden);
        QCOMPARE(fixture.installer->calls, 0);

        fixture.installer->answers = false;
        fixture.installer->result.outcome = platform::PackageInstaller::Outcome::declined;
        QVERIFY(fixture.checksAndSees(Stage::ready));
        fixture.driver().choose();
        fixture.driver().choose();
        QVERIFY(fixture.reaches(Stage::installing));
        fixture.driver().choose();
        fixture.driver().dismiss();
        QCOMPARE(fixture.driver().stage(), Stage::installing);
        fixture.installer->answer();
        QVERIFY(fixture.reaches(Stage::ready));
        QCOMPARE(fixture.installer->calls, 1);
    }

    // Half a day later the feed is looked at again, beside a package that is ready.
    void aReadyPackageHearsOfANewerOrAWithdrawnRelease_data() {
        const auto row = rows<bool, QString, Stage, Case>();
        row("still offered", false, "2", Stage::ready, Case::readyToInstall);
        row("a newer one", false, "3", Stage::found, Case::available);
        row("withdrawn", false, "1", Stage::failed, Case::upToDate);
        row("put off, still offered", true, "2", Stage::hidden, Case::readyToInstall);
        row("put off, a newer one", true, "3", Stage::found, Case::available);
        row("put off, withdrawn", true, "1", Stage::hidden, Case::upToDate);
    }
    void aReadyPackageHearsOfANewerOrAWithdrawnRelease() {
        const auto [putOff, version, stage, card] = currentRow<bool, QString, Stage, Case>();
        Fixture fixture;
        QVERIFY(fixture.getsReady());
        if (putOff) {
            fixture.driver().dismiss();
        }
        if (version != "2") {
            fixture.stand.apply("offer-update",
                                {{"version", version.toStdString()}, {"display_version", "0.3.0"}});
        }
        const auto checks = fixture.answered("appcast.xml 200");
        const auto timers = fixture.clock.timersStarted();
        fixture.clock.advance(13h);
        QVERIFY(fixture.clock.timersStarted() - timers < 30); // not one a second
        QVERIFY(waitUntil([&] { return fixture.answered("appcast.xml 200") == checks + 1; }));
        QVERIFY(fixture.reaches(stage));
        QVERIFY(waitUntil([&] { return fixture.state() == card; }));
        fixture.settle();
        QCOMPARE(fixture.driver().stage(), stage);
        if (version == "2") {
            QVERIFY(fixture.checksAndSees(Stage::ready));
        }
    }

    // With the program that runs as the administrator, between stand-ins for what asks for the consent and
    // for the package manager.
    void theInstallerTrustsWhatItHasVerifiedItself_data() {
        const auto row = rows<QByteArray, Stage, QString>();
        row("consent", "exec \"$@\"", Stage::installed, "");
        row("no consent", "exit 126", Stage::ready, "");
        row("nobody to ask", "exit 127", Stage::failed, "sudo apt install");
        row("another package", "exec \"$@\" < /bin/true", Stage::failed, "not signed by");
        row("another signature", "exec \"$1\" AAAA", Stage::failed, "not signed by");
        row("a package manager that fails", "FAIL=1 exec \"$@\"", Stage::failed, "held broken packages");
    }
    void theInstallerTrustsWhatItHasVerifiedItself() {
        const auto [asker, end, part] = currentRow<QByteArray, Stage, QString>();
        Fixture fixture;
        fixture.realInstaller(asker);
        QVERIFY(fixture.getsReady());
        const auto sound = fixture.package();
        fixture.driver().choose();
        QVERIFY(fixture.reaches(Stage::installing));
        QVERIFY(fixture.reaches(end));
        QVERIFY2(fixture.driver().text().contains(part), qPrintable(fixture.driver().text()));
        QFile managed(fixture.cache.filePath("installed"));
        QCOMPARE(managed.open(QFile::ReadOnly), end == Stage::installed);
        QVERIFY(end != Stage::installed || managed.readAll() == sound);
    }

    void aLostDownloadGoesOnWhereItStopped() {
        for (const bool replaced : {false, true}) {
            Fixture fixture;
            QVERIFY(fixture.loseDownload());
            if (replaced) {
                fixture.offer("none", 1024);
            }
            fixture.launch();
            QVERIFY(fixture.choosesWhatIsFound());
            QVERIFY(fixture.reaches(Stage::ready));
            QCOMPARE(fixture.answered("corvane-lumetra.deb 206"), replaced ? 0 : 1);
            QCOMPARE(fixture.leftBehind().size(), 1);
        }
    }

    void aCancelledDownloadIsStillOffered() {
        Fixture fixture;
        fixture.stand.apply("pace", {{"milliseconds", 200}});
        fixture.offer("none", 4096);
        QVERIFY(fixture.choosesWhatIsFound());
        QVERIFY(waitUntil([&] { return fixture.driver().progress() > 0; }));
        QCOMPARE(fixture.state(), Case::downloading);
        fixture.driver().dismiss();
        QVERIFY(waitUntil([&] { return fixture.state() == Case::available; }));
        QCOMPARE(fixture.driver().stage(), Stage::hidden);
    }

    // The package of an earlier start is looked at once more, off the main thread.
    void aCancelIsHeardWhileAKeptPackageIsChecked() {
        for (const bool spoiled : {false, true}) {
            Fixture fixture;
            QVERIFY(fixture.getsReady());
            QVERIFY(!spoiled || fixture.spoilPackage());
            fixture.launch();
            QVERIFY(fixture.choosesWhatIsFound());
            QCOMPARE(fixture.driver().stage(), Stage::downloading);
            fixture.driver().dismiss();
            fixture.settle(); // by now it is known that a download has begun
            QVERIFY(waitUntil([&] { return fixture.state() == Case::available; }));
            QCOMPARE(fixture.driver().stage(), Stage::hidden);
            QCOMPARE(fixture.answered("corvane-lumetra.deb 200"), 1);
        }
    }
};

QTEST_GUILESS_MAIN(UpdateInstallationTest)
#include "UpdateInstallationTest.moc"
