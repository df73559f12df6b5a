#include "tests/Services/Update/UpdaterFixture.h"

#include "sandbox/Sandbox.h"

#include <QFileInfo>

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
    // A quarter of a package is there, and the way to the rest is cut.
    bool loseDownload() {
        stand.apply("pace", {{"milliseconds", 20}});
        offer("none", 2048);
        const bool found = checksAndSees(Stage::found);
        driver().choose();
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
        fixture.offer("none");
        QVERIFY(fixture.checksAndSees(Stage::found));
        QCOMPARE(fixture.service->state().version, "0.2.0");
        fixture.driver().choose();
        QVERIFY(fixture.reaches(Stage::ready));
        QCOMPARE(fixture.state(), Case::readyToInstall);
        QCOMPARE(fixture.leftBehind().size(), 1);
        const QFileInfo package(fixture.folder() + u'/' + fixture.leftBehind().first());
        QCOMPARE(int(package.permissions() & ~(QFile::ReadUser | QFile::WriteUser)),
                 int(QFile::ReadOwner | QFile::WriteOwner));
        fixture.driver().dismiss();
        QVERIFY(fixture.checksAndSees(Stage::ready));
        QVERIFY(fixture.desktop.opened.isEmpty());
        fixture.driver().choose();
        QVERIFY(fixture.reaches(Stage::handedOver));
        QCOMPARE(fixture.desktop.opened, package.filePath());

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
        row("wrong_signature", Stage::found, "not signed by");
        row("truncated", Stage::found, "shorter");
        row("older_package", Stage::found, "0.0.1");
    }
    void aFaultyUpdateIsRefusedAndLeavesNothing() {
        const auto [noticed, part] = currentRow<Stage, QString>();
        Fixture fixture;
        fixture.offer(QTest::currentDataTag());
        if (noticed == Stage::found) {
            QVERIFY(fixture.checksAndSees(Stage::found));
            fixture.driver().choose();
            QVERIFY(fixture.reaches(Stage::failed));
        } else {
            QVERIFY(fixture.checksAndSees(Stage::failed));
        }
        QVERIFY2(fixture.driver().text().contains(part), qPrintable(fixture.driver().text()));
        fixture.settle();
        QCOMPARE(fixture.service->state().error, fixture.driver().text());
        QCOMPARE(fixture.leftBehind(), QStringList());
        QVERIFY(fixture.desktop.opened.isEmpty());
    }

    void aPackageChangedAfterItsCheckIsNotHandedOn() {
        Fixture fixture;
        fixture.offer("none");
        QVERIFY(fixture.checksAndSees(Stage::found));
        fixture.driver().choose();
        QVERIFY(fixture.reaches(Stage::ready));
        QFile package(fixture.folder() + u'/' + fixture.leftBehind().value(0));
        QVERIFY(package.open(QFile::ReadWrite) && package.write("?") == 1);
        package.close();
        fixture.driver().choose();
        QVERIFY(fixture.reaches(Stage::failed));
        QVERIFY(fixture.desktop.opened.isEmpty());
    }

    void aLostDownloadGoesOnWhereItStopped_data() {
        const auto row = rows<bool, int>();
        row("the same file", false, 1);
        row("another file by now", true, 0);
    }
    void aLostDownloadGoesOnWhereItStopped() {
        const auto [replaced, rests] = currentRow<bool, int>();
        Fixture fixture;
        QVERIFY(fixture.loseDownload());
        if (replaced) {
            fixture.offer("none", 1024);
        }
        fixture.launch();
        QVERIFY(fixture.checksAndSees(Stage::found));
        fixture.driver().choose();
        QVERIFY(fixture.reaches(Stage::ready));
        QCOMPARE(fixture.answered("corvane-lumetra.deb 206"), rests);
        QCOMPARE(fixture.leftBehind().size(), 1);
    }

    void aCancelledDownloadIsStillOffered() {
        Fixture fixture;
        fixture.stand.apply("pace", {{"milliseconds", 200}});
        fixture.offer("none", 4096);
        QVERIFY(fixture.checksAndSees(Stage::found));
        fixture.driver().choose();
        QVERIFY(waitUntil([&] { return fixture.driver().progress() > 0; }));
        QCOMPARE(fixture.state(), Case::downloading);
        fixture.driver().dismiss();
        QVERIFY(waitUntil([&] { return fixture.state() == Case::available; }));
        QCOMPARE(fixture.driver().stage(), Stage::hidden);
    }

    // The package of an earlier start is looked at once more, off the main thread.
    void aCancelIsHeardWhileAKeptPackageIsChecked_data() {
        const auto row = rows<bool>();
        row("a sound one", false);
        row("a spoiled one", true);
    }
    void aCancelIsHeardWhileAKeptPackageIsChecked() {
        const auto [spoiled] = currentRow<bool>();
        Fixture fixture;
        fixture.offer("none");
        QVERIFY(fixture.checksAndSees(Stage::found));
        fixture.driver().choose();
        QVERIFY(fixture.reaches(Stage::ready));
        if (spoiled) {
            QFile package(fixture.folder() + u'/' + fixture.leftBehind().value(0));
            QVERIFY(package.open(QFile::ReadWrite) && package.write("?") == 1);
        }
        fixture.launch();
        QVERIFY(fixture.checksAndSees(Stage::found));
        fixture.driver().choose();
        QCOMPARE(fixture.driver().stage(), Stage::downloading);
        fixture.driver().dismiss();
        fixture.settle(); // by now it is known that a download has begun
        QVERIFY(waitUntil([&] { return fixture.state() == Case::available; }));
        QCOMPARE(fixture.driver().stage(), Stage::hidden);
        QCOMPARE(fixture.answered("corvane-lumetra.deb 200"), 1);
    }

    void whatTheDesktopCannotDoIsSaid_data() {
        const auto row = rows<bool, QString>();
        row("no installer", false, "sudo apt install");
        row("as the administrator", true, "administrator");
    }
    void whatTheDesktopCannotDoIsSaid() {
        const auto [asRoot, part] = currentRow<bool, QString>();
        Fixture fixture;
        fixture.asRoot = asRoot;
        fixture.desktop.installs = false;
        fixture.launch();
        fixture.offer("none");
        QVERIFY(fixture.checksAndSees(Stage::found));
        fixture.driver().choose();
        if (!asRoot) {
            QVERIFY(fixture.reaches(Stage::ready));
            fixture.driver().choose();
        }
        QVERIFY(fixture.reaches(Stage::failed));
        QVERIFY(fixture.driver().text().contains(part));
    }
};

QTEST_GUILESS_MAIN(UpdateInstallationTest)
#include "UpdateInstallationTest.moc"
