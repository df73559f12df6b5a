#include "ViewModels/OverlayViewModel.h"
#include "sandbox/desktop/PrivateDisplay.h"
#include "tests/Desktop/WindowedProgram.h"

#include <QProcess>
#include <QScreen>
#include <QSignalSpy>

#include <algorithm>

using namespace corvane;

namespace {

// The main screen to the right of the second and lower; in pixels of the display.
const QRect mainScreen(1280, 100, 1400, 1700);
const QRect secondScreen(0, 0, 1200, 900);

// What is on show, screen by screen.
QList<QImage> sight() {
    QList<QImage> images;
    for (auto* screen : QGuiApplication::screens()) {
        images.append(screen->grabWindow(0).toImage());
    }
    return images;
}

// After windows have gone: what does not change any more.
QList<QImage> calmSight() {
    QList<QImage> last;
    QList<QImage> now;
    do {
        last = std::exchange(now, sight());
        QTest::qWait(100);
    } while (now != last);
    return now;
}

// The smallest rectangle, in pixels of the display, around what has changed on the main screen.
QRect changed(const QImage& before, const QImage& now) {
    QRect box;
    for (int y = 0; y < now.height(); ++y) {
        for (int x = 0; x < now.width(); ++x) {
            if (now.pixel(x, y) != before.pixel(x, y)) {
                box |= QRect(x, y, 1, 1);
            }
        }
    }
    return box.translated(mainScreen.topLeft());
}

} // namespace

struct Desk : WindowedProgram {
    Desk() { launchToBar(); }
    bool moveTo(QPoint place) {
        panel().setFrame(QRect(place, panel().frame().size()));
        return waitUntil([&] { return panel().position() == place && panel().isExposed(); });
    }
};

class ScreensTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void theBarIsWholeOnTheMainScreen() {
        QCOMPARE(QGuiApplication::screens().size(), 2);
        Desk desk;
        auto& panel = desk.panel();
        desk.app->toggleFloatingPanel();
        const auto empty = calmSight();
        desk.app->toggleFloatingPanel();
        const auto scale = panel.devicePixelRatio();
        // Where the model has the content, in pixels of the display.
        const auto wanted = [&] {
            const auto drawn = QRectF(desk.presenter().drawnRegion().boundingRect());
            const QPointF corner = QPointF(panel.position() - panel.screen()->geometry().topLeft()) * scale;
            return QRectF(corner + drawn.topLeft() * scale, drawn.size() * scale)
                .toAlignedRect()
                .translated(mainScreen.topLeft());
        };
        const auto isWhole = [&] {
            const auto box = changed(empty.first(), sight().first());
            const auto place = wanted();
            // The shadow fades out before it reaches its edge.
            return mainScreen.contains(place) && place.adjusted(-1, -1, 1, 1).contains(box) &&
                   box.width() > place.width() * 0.9 && box.height() > place.height() * 0.9;
        };
        QVERIFY(waitUntil(isWhole));
        const auto bar = wanted();
        QVERIFY(std::abs(bar.center().x() - mainScreen.center().x()) <= 2);
        desk.completion().setIsResponsePopoverOpen(true);
        QVERIFY(waitUntil([&] { return wanted().height() > bar.height() && isWhole(); }));
        QCOMPARE(wanted().top(), bar.top());
        QCOMPARE(sight().last(), empty.last());
    }

    void aTipIsShownBesideItsControlOnEachScreen() {
        Desk desk;
        const QPoint inTheField(200, 24);
        for (const auto* screen : QGuiApplication::screens()) {
            const auto place = screen->geometry().topLeft() + QPoint(20, 100);
            QVERIFY(desk.moveTo(place));
            QTest::mouseMove(&desk.panel(), QPoint(2, 2));
            QTest::mouseMove(&desk.panel(), inTheField);
            const auto control = place + inTheField;
            QVERIFY(waitUntil([&] {
                const auto windows = QGuiApplication::topLevelWindows();
                return std::ranges::any_of(windows, [&](const QWindow* window) {
                    return window->type() == Qt::ToolTip && window->isVisible() &&
                           window->geometry().adjusted(-200, -60, 200, 60).contains(control);
                });
            }));
            QTest::mouseMove(&desk.panel(), QPoint(2, 2));
        }
    }

    void theBarComesBackFromAScreenThatGoes() {
        Desk desk;
        const auto* main = QGuiApplication::primaryScreen();
        // The middle of the content is past the screen's end, and the bar can be held.
        desk.app->overlayViewModel().expandPanel();
        const auto low = main->geometry().bottomLeft() + QPoint(20, -60);
        QVERIFY(desk.moveTo(low));
        QSignalSpy gone(qGuiApp, &QGuiApplication::screenRemoved);
        QSignalSpy added(qGuiApp, &QGuiApplication::screenAdded);
        QCOMPARE(QProcess::execute("xrandr", {"--delmonitor", "part1"}), 0);
        QVERIFY(waitUntil([&] { return gone.size() == 1; }));
        QCOMPARE(desk.panel().position(), low);
        QCOMPARE(QProcess::execute("xrandr", {"--setmonitor", "part1", "1200/317x900/238+0+0", "none"}), 0);
        QVERIFY(waitUntil([&] { return added.size() == 1; }));
        QVERIFY(
            desk.moveTo(added.first().first().value<QScreen*>()->geometry().topLeft() + QPoint(100, 100)));
        QCOMPARE(QProcess::execute("xrandr", {"--delmonitor", "part1"}), 0);
        QVERIFY(waitUntil([&] { return main->geometry().contains(desk.panel().geometry()); }));
    }
};

int main(int argc, char* argv[]) {
    const PrivateDisplay display({2700, 1900}, PrivateDisplay::Manager::openbox);
    display.splitIntoScreens({mainScreen, secondScreen});
    display.useInThisProcess();
    qputenv("QT_QPA_PLATFORM", "xcb");
    QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    const QGuiApplication application(argc, argv);
    QGuiApplication::setQuitOnLastWindowClosed(false);
    ScreensTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "ScreensTest.moc"
