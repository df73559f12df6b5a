#include "LogCapture.h"
#include "Notifications.h"
#include "PrivateSession.h"
#include "Rows.h"
#include "ScreenGrabber.h"
#include "WaitFor.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QFile>
#include <QGuiApplication>
#include <QPainter>
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
        QImage desktop(1000, 400, QImage::Format_RGB32);
        desktop.fill(Qt::red);
        QPainter(&desktop).fillRect(QRect(600, 0, 400, 400), Qt::green);
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
            QCOMPARE(pictures.size(), QGuiApplication::screens().size());
            QCOMPARE(pictures.first().image, desktop);
            QVERIFY(!QFile::exists(m_portal.file));
        }
        QFile::remove(m_portal.file);
    }

    void aPictureOfTheDesktopIsCutIntoScreens_data() {
        const auto row = rows<QList<QRect>, QList<QRect>>();
        row("side by side, twice the size", {{0, 0, 300, 200}, {300, 0, 200, 200}},
            {{0, 0, 600, 400}, {600, 0, 400, 400}});
        row("the main screen to the right", {{0, 0, 200, 200}, {-300, 0, 300, 200}},
            {{600, 0, 400, 400}, {0, 0, 600, 400}});
        row("one above the other, of two widths", {{100, 0, 250, 50}, {0, 50, 500, 150}},
            {{200, 0, 500, 100}, {0, 100, 1000, 300}});
    }

    void aPictureOfTheDesktopIsCutIntoScreens() {
        const auto [screens, parts] = currentRow<QList<QRect>, QList<QRect>>();
        QImage desktop(1000, 400, QImage::Format_RGB32);
        for (int y = 0; y < desktop.height(); ++y) {
            for (int x = 0; x < desktop.width(); ++x) {
                desktop.setPixel(x, y, qRgb(x % 256, y % 256, x / 256 + 16 * (y / 256)));
            }
        }
        const auto pictures = platform::cutIntoScreens(desktop, screens);
        for (int index = 0; index < 2; ++index) {
            QCOMPARE(pictures.at(index), desktop.copy(parts.at(index)));
        }
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
    qputenv("QT_QPA_PLATFORM", "offscreen");
    ScreenshotPortalTest test;
    const QGuiApplication application(argc, argv);
    return QTest::qExec(&test, argc, argv);
}

#include "ScreenshotPortalTest.moc"
