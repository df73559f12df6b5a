#include "Platform/Desktop/Notifications.h"
#include "Platform/Screen/ScreenGrabber.h"
#include "sandbox/desktop/PrivateSession.h"
#include "tests/Support/LogCapture.h"
#include "tests/Support/Pattern.h"
#include "tests/Support/Rows.h"
#include "tests/Support/WaitFor.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QFile>
#include <QGuiApplication>
#include <QTemporaryFile>
#include <QTimer>
#include <QUrl>

namespace {

constexpr auto portalService = "org.freedesktop.portal.Desktop";

// The desktop's side of the portal.
class FakePortal : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.portal.Screenshot")

public:
    uint response = 0;
    bool ownPath = false; // as portals of old
    bool leaves = false;
    QString file;

public Q_SLOTS:
    QDBusObjectPath Screenshot(const QString&, const QVariantMap& options, const QDBusMessage& call) {
        auto bus = QDBusConnection("desktop");
        auto path = "/org/freedesktop/portal/desktop/request/" + call.service().mid(1).replace('.', '_') +
                    '/' + options.value("handle_token").toString();
        if (ownPath) {
            path = "/org/freedesktop/portal/desktop/request/old";
        }
        auto answer = QDBusMessage::createSignal(path, "org.freedesktop.portal.Request", "Response");
        answer << response << QVariantMap{{"uri", QUrl::fromLocalFile(file).toString()}};
        // Long after the path, if the other side only learns it now.
        QTimer::singleShot(ownPath ? 100 : 0, this, [this, bus, answer]() mutable {
            if (leaves) {
                bus.unregisterService(portalService);
            } else {
                bus.send(answer);
            }
        });
        return QDBusObjectPath(path);
    }
};

// What shows notices.
class FakeNotices : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Notifications")

public:
    QStringList shown;

public Q_SLOTS:
    uint Notify(const QString&, uint replaces, const QString&, const QString& title, const QString& body,
                const QStringList&, const QVariantMap&, int) {
        shown.append(QString("%1 %2: %3").arg(replaces).arg(title, body));
        return 7;
    }
};

} // namespace

class ScreenshotPortalTest : public QObject {
    Q_OBJECT

private:
    PrivateSession m_session;
    FakePortal m_portal;

private Q_SLOTS:
    void initTestCase() {
        QVERIFY(m_session.startBus());
        qputenv("WAYLAND_DISPLAY", "wayland-test");
        auto bus = QDBusConnection::connectToBus(m_session.busAddress(), "desktop");
        QVERIFY(bus.registerObject("/org/freedesktop/portal/desktop", &m_portal,
                                   QDBusConnection::ExportAllSlots));
    }

    void thePortalAnswersOrTheUserIsTold_data() {
        const auto row = rows<bool, uint, bool, bool, bool, QString>();
        row("a picture", true, 0, false, false, true, "");
        row("a picture, by an old portal", true, 0, true, false, true, "");
        row("refused", true, 1, false, false, true, "did not allow");
        row("failed", true, 2, false, false, true, "could not take");
        row("no file", true, 0, false, false, false, "could not be read");
        row("gone meanwhile", true, 0, false, true, true, "went away");
        row("no portal", false, 0, false, false, true, "gives programs no screenshots");
    }

    void thePortalAnswersOrTheUserIsTold() {
        const auto [there, response, ownPath, leaves, hasFile, failure] =
            currentRow<bool, uint, bool, bool, bool, QString>();
        auto bus = QDBusConnection("desktop");
        QVERIFY(there ? bus.registerService(portalService) : true);
        m_portal.response = response;
        m_portal.ownPath = ownPath;
        m_portal.leaves = leaves;
        m_portal.file = m_session.folder() + "/shot of all.png";
        // Twice as many pixels as the screens have points.
        const auto desktop = patternImage({0, 0, 1000, 400});
        QVERIFY(!hasFile || desktop.save(m_portal.file));

        const auto grabber = platform::makeScreenGrabber();
        QString error;
        QList<platform::ScreenPicture> pictures;
        try {
            pictures = ::waitFor(grabber->grabScreens());
        } catch (const platform::ScreenGrabError& thrown) {
            error = thrown.what();
        }
        bus.unregisterService(portalService);
        QVERIFY2(error.contains(failure) && error.isEmpty() == failure.isEmpty(), qPrintable(error));
        if (failure.isEmpty()) {
            QCOMPARE(pictures.size(), 2);
            QCOMPARE(pictures.at(0).image, desktop.copy(600, 200, 400, 200));
            QCOMPARE(pictures.at(1).image, desktop.copy(0, 0, 600, 400));
            QCOMPARE(pictures.at(1).pixelsPerPoint(), 2.0);
            QVERIFY(!QFile::exists(m_portal.file));
        }
        QFile::remove(m_portal.file);
    }

    void aNoticeTakesThePlaceOfTheOneBefore() {
        const LogCapture log;
        const auto notifications = platform::makeDesktopNotifications("Test", "com.example.Test");
        notifications->show("Copied", "Paste it");
        QVERIFY(waitUntil([&] { return log.contains("Copied. Paste it"); }));
        FakeNotices notices;
        auto bus = QDBusConnection("desktop");
        bus.registerObject("/org/freedesktop/Notifications", &notices, QDBusConnection::ExportAllSlots);
        QVERIFY(bus.registerService("org.freedesktop.Notifications"));
        notifications->show("One", "1 < 2");
        QVERIFY(waitUntil([&] { return notices.shown.size() == 1; }));
        QTest::qWait(50);
        notifications->show("Two", "");
        QVERIFY(waitUntil([&] { return notices.shown.size() == 2; }));
        QCOMPARE(notices.shown, QStringList({"0 One: 1 &lt; 2", "7 Two: "}));
        bus.unregisterObject("/org/freedesktop/Notifications");
    }
};

int main(int argc, char* argv[]) {
    ScreenshotPortalTest test;
    // The main screen to the right of the second and lower.
    QTemporaryFile screens;
    screens.open();
    screens.write(R"({"screens": [
        {"name": "main", "x": 0, "y": 100, "width": 200, "height": 100, "logicalDpi": 96, "logicalBaseDpi": 96, "dpr": 1},
        {"name": "other", "x": -300, "y": 0, "width": 300, "height": 200, "logicalDpi": 96, "logicalBaseDpi": 96, "dpr": 1}
    ]})");
    screens.close();
    qputenv("QT_QPA_PLATFORM", "offscreen:configfile=" + screens.fileName().toLocal8Bit());
    const QGuiApplication application(argc, argv);
    return QTest::qExec(&test, argc, argv);
}

#include "ScreenshotPortalTest.moc"
