#include "Platform/Core/SystemClock.h"
#include "Services/ScreenCaptureService.h"
#include "Windows/SelectionOverlayWindow.h"
#include "Windows/WindowFactory.h"
#include "sandbox/desktop/PrivateDisplay.h"
#include "sandbox/desktop/UserHands.h"
#include "tests/Desktop/Neighbour.h"
#include "tests/Support/Pattern.h"
#include "tests/Support/Rows.h"
#include "tests/Support/WaitFor.h"

#include <QAccessible>
#include <QPainter>
#include <QPixmap>
#include <QScreen>
#include <QSignalSpy>

using namespace corvane;

namespace {

// The main screen to the right of the second and lower, with a gap in between; in pixels of the display.
const QList<QRect> screens{{580, 120, 700, 600}, {0, 0, 560, 900}};

// Another program's window over all screens.
class PatternWindow : public QRasterWindow {
protected:
    void paintEvent(QPaintEvent*) override {
        QPainter(this).drawImage(0, 0, patternImage(QRect({}, size())));
    }
};

int showPattern(int argc, char* argv[]) {
    qputenv("QT_SCALE_FACTOR", "1");
    const QGuiApplication application(argc, argv);
    PatternWindow window;
    window.setFlags(Qt::BypassWindowManagerHint);
    window.setGeometry(0, 0, 1280, 900);
    window.show();
    return QGuiApplication::exec();
}

// A few pixels of a screen's corner, as they are on show and as the pattern has them.
QImage seenOn(int screen) {
    return QGuiApplication::screens().at(screen)->grabWindow(0).toImage().copy(0, 0, 9, 9);
}
QImage patternOn(int screen) {
    return patternImage(QRect(screens.at(screen).topLeft(), QSize(9, 9)));
}

} // namespace

class SelectionOverlayTest : public QObject {
    Q_OBJECT

public:
    explicit SelectionOverlayTest(const PrivateDisplay& display)
        : m_display(display)
        , m_hands(display) {}

private:
    SelectionOverlayWindow& overlay(int screen) {
        return dynamic_cast<SelectionOverlayWindow&>(*m_service.overlayWindows().at(size_t(screen)));
    }
    bool opens() {
        m_service.triggerScreenshot();
        return waitUntil([&] {
            return m_service.overlayWindows().size() == 2 && overlay(0).isExposed() && overlay(1).isExposed();
        });
    }
    void drag(int screen, QPoint from, QPoint to) {
        const auto& view = overlay(screen).selectionView();
        m_hands.hold(screens.at(screen).topLeft() + from);
        waitUntil([&] { return view.startPoint().has_value(); });
        m_hands.moveTo(screens.at(screen).topLeft() + (from + to) / 2);
        m_hands.moveTo(screens.at(screen).topLeft() + to);
        m_hands.letGo();
    }
    bool isOver() const { return m_service.overlayWindows().empty(); }

    const PrivateDisplay& m_display;
    const UserHands m_hands;
    const double m_scale = qGuiApp->devicePixelRatio();
    Neighbour m_neighbour;
    QTemporaryDir m_folder;
    ChildProcess m_pattern;
    const std::unique_ptr<platform::ScreenGrabber> m_grabber = platform::makeScreenGrabber();
    platform::SystemClock m_clock;
    const std::unique_ptr<WindowFactory> m_windows = makeWindowFactory();
    ScreenCaptureService m_service{*m_grabber,
                                   m_clock,
                                   {.mode = [] { return std::nullopt; },
                                    .makeOverlay =
                                        [this](int screen, const platform::ScreenPicture& picture) {
                                            return m_windows->makeSelectionOverlay(screen, picture);
                                        }}};

private Q_SLOTS:
    void initTestCase() {
        QCOMPARE(QGuiApplication::screens().size(), 2);
        m_neighbour.start();
        m_display.xdotool({"windowfocus", "--sync", m_display.awaitWindow(Neighbour::argument)});
        m_pattern.start(QCoreApplication::applicationFilePath(), {"pattern"},
                        QProcessEnvironment::systemEnvironment(), m_folder.filePath("pattern"));
        QVERIFY(waitUntil([] { return seenOn(0) == patternOn(0) && seenOn(1) == patternOn(1); }));
    }

    void thePictureHasWhatWasDraggedOver_data() {
        const auto row = rows<int, QPoint, QPoint, QRect>();
        row("main screen, down right", 0, {100, 80}, {160, 120}, {100, 80, 60, 40});
        row("main screen, up left", 0, {160, 120}, {100, 80}, {100, 80, 60, 40});
        row("second screen, up right", 1, {20, 898}, {100, 800}, {20, 800, 80, 98});
        row("second screen, down left", 1, {540, 4}, {500, 64}, {500, 4, 40, 60});
        row("on to another screen", 0, {20, 100}, {-60, 160}, {0, 100, 20, 60});
    }

    void thePictureHasWhatWasDraggedOver() {
        const auto [screen, from, to, part] = currentRow<int, QPoint, QPoint, QRect>();
        QSignalSpy captured(&m_service, &ScreenCaptureService::selectionCaptured);
        // Started again at once: the first dimming is not in the picture.
        QVERIFY(opens());
        QVERIFY(opens());
        drag(screen, from, to);
        QVERIFY(waitUntil([&] { return isOver(); }));
        const auto picture = QImage::fromData(captured.first().first().toByteArray());
        QCOMPARE(picture.size(), part.size() * 2 / m_scale);
        QCOMPARE(picture.scaled(part.size()), patternImage(part.translated(screens.at(screen).topLeft())));
    }

    void smallRectanglesLeaveTheScreensDimmed() {
        QVERIFY(opens());
        for (int screen = 0; screen < 2; ++screen) {
            QCOMPARE(overlay(screen).geometry(), QGuiApplication::screens().at(screen)->geometry());
            auto dimmed = patternOn(screen);
            QPainter(&dimmed).fillRect(dimmed.rect(), QColor(0, 0, 0, 77));
            QVERIFY(waitUntil([&] { return seenOn(screen) == dimmed; }));
        }
        for (const QPoint points : {QPoint(5, 100), QPoint(100, 5), QPoint(0, 0)}) {
            drag(1, {100, 100}, QPoint(100, 100) + points * m_scale);
            QVERIFY(waitUntil([&] { return !overlay(1).selectionView().startPoint(); }));
            QVERIFY(!overlay(1).selectionView().currentRect() && !isOver());
        }
        drag(1, {100, 100}, QPoint(100, 100) + QPoint(6, 6) * m_scale);
        QVERIFY(waitUntil([&] { return isOver(); }));
    }

    void escapeCancelsOnceAWindowHasBeenClicked() {
        QSignalSpy cancelled(&m_service, &ScreenCaptureService::captureCancelled);
        QVERIFY(opens());
        QVERIFY(overlay(1).accessibleRoot()->text(QAccessible::Name).contains("Escape"));
        m_hands.type("a");
        QVERIFY(waitUntil([&] { return m_neighbour.count("key a") == 1; }));
        for (const int screen : {0, 1, 0}) {
            m_hands.clickAt(screens.at(screen).center());
            QVERIFY(waitUntil([&] { return isOver() || overlay(screen).isActive(); }));
            QVERIFY(!isOver()); // any other key leaves it open
            m_hands.type("x");
        }
        m_hands.press("Escape");
        QVERIFY(waitUntil([&] { return cancelled.size() == 1; }));
        QVERIFY(isOver());
        m_hands.type("a");
        QVERIFY(waitUntil([&] { return m_neighbour.count("key a") == 2; }));
    }
};

int main(int argc, char* argv[]) {
    const QByteArray role(argc > 1 ? argv[1] : "");
    if (role == Neighbour::argument) {
        return Neighbour::run(argc, argv);
    }
    if (role == "pattern") {
        return showPattern(argc, argv);
    }
    // Twice the resolution is tried without a window manager and a compositor.
    const bool isPlain = qEnvironmentVariableIntValue("QT_SCALE_FACTOR") == 2;
    const PrivateDisplay display({1280, 900},
                                 isPlain ? PrivateDisplay::Manager::none : PrivateDisplay::Manager::openbox);
    display.splitIntoScreens(screens);
    display.useInThisProcess();
    qputenv("QT_QPA_PLATFORM", "xcb");
    const QGuiApplication application(argc, argv);
    QGuiApplication::setQuitOnLastWindowClosed(false);
    SelectionOverlayTest test(display);
    return QTest::qExec(&test, argc, argv);
}

#include "SelectionOverlayTest.moc"
