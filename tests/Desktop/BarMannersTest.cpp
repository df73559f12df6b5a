#include "ViewModels/OverlayViewModel.h"
#include "ViewModels/SettingsViewModel.h"
#include "Views/Overlay/OverlayBarPresenter.h"
#include "Views/Shared/Theme.h"
#include "Windows/DashboardWindowController.h"
#include "Windows/FloatingPanel.h"
#include "sandbox/desktop/PrivateCompositor.h"
#include "sandbox/desktop/UserHands.h"

#include "tests/Desktop/DesktopMain.h"
#include "tests/Support/TestProgram.h"
#include <QScreen>

using namespace corvane;

namespace {

constexpr auto field = "Interview ID";
// Between the controls, within the bar.
constexpr QPoint onTheBar(70, 46);
// The neighbour is all of it; above it the desktop may have a bar of its own, below it rests the pointer.
constexpr QRect stage(0, 36, 1280, 836);
constexpr QPoint backstage(640, 890);

// The program as it is in an interview: the bar is out, the dashboard is put away.
struct Desk : TestProgram {
    Desk()
        : TestProgram(Start::signedIn, defaultInfo(), makeWindowFactory()) {
        defaults->setBool("hasSeenOnboardingVideo", true);
        launchToSession();
        waitUntil([] { return dashboard() && dashboard()->isExposed(); });
        app->toggleDashboard();
        waitUntil([] { return !dashboard()->isVisible(); });
        setAlwaysOnTop(true);
        waitUntil([this] { return panel().isExposed(); });
    }
    static DashboardWindowController* dashboard() { return windowOf<DashboardWindowController>(); }
    FloatingPanel& panel() { return dynamic_cast<FloatingPanel&>(*app->floatingPanel()); }
    OverlayBarPresenter& presenter() { return app->overlayBarPresenter(); }
    // Where the model has the bar.
    QRect drawn() { return presenter().drawnRegion().boundingRect().translated(panel().position()); }
    void setAlwaysOnTop(bool on) {
        if (app->settingsViewModel().customizable().alwaysOnTop.isEnabled != on) {
            app->settingsViewModel().toggleAlwaysOnTop();
        }
    }
    void show(bool visible) {
        if (panel().isVisible() != visible) {
            app->toggleFloatingPanel();
        }
    }
};

} // namespace

// On a desktop that people have, beside a window of its own kind.
class BarMannersTest : public QObject {
    Q_OBJECT

public:
    BarMannersTest(const PrivateCompositor& desktop, CompositorKind kind)
        : m_desktop(desktop)
        , m_kind(kind)
        , m_hands(desktop) {}

private:
    // A key that is pressed now goes to the neighbour.
    bool neighbourHasTheKeys() const {
        const auto keys = m_neighbour.count("key a");
        m_hands.type("a");
        return waitUntil([&] { return m_neighbour.count("key a") > keys; });
    }
    bool goesNextDoor() const {
        const auto presses = m_neighbour.count("press");
        m_hands.clickAt(pixels(backstage));
        return waitUntil([&] { return m_neighbour.count("press") > presses; }) && neighbourHasTheKeys();
    }
    // Where the hands find a place that is given in points.
    QPoint pixels(QPoint place) const { return place * m_desktop.scaleOfClients(); }
    // A screen begins at its pixel, also where a point is two of them.
    QPoint pixels(Desk& desk, QPoint withinBar) const {
        const auto* screen = desk.panel().screen();
        const auto origin = screen->geometry().topLeft();
        return origin + (desk.panel().position() + withinBar - origin) * screen->devicePixelRatio();
    }
    // "bar", "dashboard", "neighbour" or "nobody".
    QString whoTakesClick(Desk& desk, QPoint place) const;
    // Where something hides the neighbour.
    QRect seen() const;
    bool isSeen(Desk& desk) const;
    QColor colourAt(const QImage& sight, QPoint place) const;
    void drag(QPoint from, QPoint by) const;

    const PrivateCompositor& m_desktop;
    const CompositorKind m_kind;
    const UserHands m_hands;
    Neighbour m_neighbour;

private Q_SLOTS:
    void initTestCase();
    void init();
    void theBarIsSeenInItsPlace();
    void theBarStaysVisibleWhileAnotherProgramIsActive();
    void showingTakesNoKeys();
    void anAskedForBarComesInFront();
    void clicksBesideTheFoldedBarAreTheNeighbours();
    void theFieldTakesWhatIsTyped();
    void theBarFollowsTheHand();
    void theBarWorksOnTheSecondScreen();
    void theBarIsOnEveryWorkspace();
    void fullScreenWindowsCoverNothingUnsaid();
};

void BarMannersTest::initTestCase() {
    m_neighbour.start(Neighbour::Platform::wayland);
    QVERIFY(waitUntil([this] { return m_neighbour.count("shown") > 0; }));
    QVERIFY(waitUntil([this] { return seen().isEmpty(); }));
}

void BarMannersTest::init() {
    QVERIFY(goesNextDoor());
}

QRect BarMannersTest::seen() const {
    m_hands.moveTo(pixels(backstage));
    const auto sight = m_desktop.picture();
    QRect box;
    for (int y = stage.top(); y <= stage.bottom(); ++y) {
        for (int x = stage.left(); x <= stage.right(); ++x) {
            if (colourAt(sight, {x, y}) != NeighbourWindow::colour) {
                box |= QRect(x, y, 1, 1);
            }
        }
    }
    return box;
}

QColor BarMannersTest::colourAt(const QImage& sight, QPoint place) const {
    return sight.pixelColor(place * (sight.width() / m_desktop.sizeInPoints().width()));
}

// Where the model has it, and nothing else.
bool BarMannersTest::isSeen(Desk& desk) const {
    QRect box;
    const bool result = waitUntil([&] {
        box = seen();
        const auto place = desk.drawn();
        // The shadow fades out before it reaches its edge.
        return place.adjusted(-1, -1, 1, 1).contains(box) && box.width() > place.width() * 0.9 &&
               box.height() > place.height() * 0.9;
    });
    if (!result) {
        qWarning() << "The bar is at" << desk.drawn() << "and seen at" << box;
    }
    return result;
}

void BarMannersTest::theBarIsSeenInItsPlace() {
    Desk desk;
    QVERIFY(isSeen(desk));
    const auto free = desk.panel().screen()->availableGeometry();
    QCOMPARE(desk.panel().frame().topLeft(), QPoint(free.center().x() - 309, free.y() + 54));
    desk.completion().setIsResponsePopoverOpen(true);
    QVERIFY(waitUntil([&] { return desk.drawn().height() == OverlayViewModel::expandedHeight; }));
    QVERIFY(isSeen(desk));
    QCOMPARE(desk.panel().frame().topLeft(), QPoint(free.center().x() - 309, free.y() + 54));
}

void BarMannersTest::theBarStaysVisibleWhileAnotherProgramIsActive() {
    Desk desk;
    for (int round = 0; round < 2; ++round) {
        QVERIFY(goesNextDoor());
        QVERIFY(isSeen(desk));
        desk.show(false);
        QVERIFY(waitUntil([&] { return seen().isEmpty(); }));
        desk.show(true);
        QVERIFY(isSeen(desk));
    }
}

void BarMannersTest::showingTakesNoKeys() {
    Desk desk;
    for (int round = 0; round < 2; ++round) {
        QVERIFY(goesNextDoor());
        desk.show(false);
        desk.show(true);
        QVERIFY(waitUntil([&] { return desk.panel().isExposed(); }));
        QVERIFY(neighbourHasTheKeys());
    }
}

void BarMannersTest::anAskedForBarComesInFront() {
    Desk desk;
    desk.setAlwaysOnTop(false);
    for (int round = 0; round < 2; ++round) {
        QVERIFY(goesNextDoor());
        desk.show(false);
        desk.show(true);
        QVERIFY(isSeen(desk));
        QVERIFY(neighbourHasTheKeys());
    }
}

void BarMannersTest::clicksBesideTheFoldedBarAreTheNeighbours() {
    Desk desk;
    const QPoint underTheBar(300, 400);
    QVERIFY(isSeen(desk));
    QCOMPARE(whoTakesClick(desk, onTheBar), "bar");
    desk.completion().setIsResponsePopoverOpen(true);
    QVERIFY(waitUntil([&] { return desk.panel().frame().height() == OverlayViewModel::expandedHeight; }));
    QVERIFY(waitUntil([&] { return whoTakesClick(desk, underTheBar) == "bar"; }));
    for (int round = 0; round < 2; ++round) {
        desk.presenter().toggleContent();
        QVERIFY(waitUntil([&] { return whoTakesClick(desk, underTheBar) == "neighbour"; }));
        QVERIFY(isSeen(desk));
        QCOMPARE(whoTakesClick(desk, onTheBar), "bar");
        desk.presenter().toggleContent();
        QVERIFY(waitUntil([&] { return whoTakesClick(desk, underTheBar) == "bar"; }));
    }
}

void BarMannersTest::theFieldTakesWhatIsTyped() {
    Desk desk;
    QVERIFY(isSeen(desk));
    QVERIFY(goesNextDoor());
    m_hands.click(field);
    QVERIFY(waitUntil([&] { return desk.panel().isActive() && desk.presenter().input()->isFocused(); }));
    m_hands.type("3f2B");
    QVERIFY(waitUntil([&] { return desk.interview().interviewId() == "3f2B"; }));
    QVERIFY(goesNextDoor());
}

void BarMannersTest::theBarFollowsTheHand() {
    Desk desk;
    QVERIFY(isSeen(desk));
    const auto start = desk.panel().position();
    const QPoint by(60, 90);
    drag(desk.panel().position() + onTheBar, by);
    // The first step is what tells a drag from a click.
    QVERIFY(waitUntil([&] { return (desk.panel().position() - start - by).manhattanLength() <= 1; }));
    QVERIFY(isSeen(desk));
}

void BarMannersTest::theBarWorksOnTheSecondScreen() {
    Desk desk;
    QVERIFY(isSeen(desk));
    const auto start = desk.panel().position();
    const auto there = start + QPoint(m_desktop.sizeInPoints().width() / 2, 100);
    drag(start + onTheBar, there - start);
    for (int round = 0; round < 2; ++round) {
        QVERIFY(waitUntil([&] {
            return colourAt(m_desktop.picture(), there + QPoint(5, 24)) == Theme::shared().material();
        }));
        QVERIFY((pixels(desk, {}) - pixels(there)).manhattanLength() <= 2 * m_desktop.scaleOfClients());
        QVERIFY(seen().isEmpty());
        QCOMPARE(whoTakesClick(desk, onTheBar), "bar");
        desk.show(false);
        desk.show(true);
    }
}

void BarMannersTest::theBarIsOnEveryWorkspace() {
    Desk desk;
    QVERIFY(isSeen(desk));
    m_desktop.showWorkspace(1);
    const bool isElsewhere =
        waitUntil([&] { return colourAt(m_desktop.picture(), backstage) != NeighbourWindow::colour; });
    const auto clicked = whoTakesClick(desk, onTheBar);
    m_desktop.showWorkspace(0);
    QVERIFY(isElsewhere);
    QCOMPARE(clicked, "bar");
    QVERIFY(isSeen(desk));
}

// What the desktop does not grant, the log says.
void BarMannersTest::fullScreenWindowsCoverNothingUnsaid() {
    Desk desk;
    const auto shown = m_neighbour.count("shown");
    m_hands.press("F11");
    QVERIFY(waitUntil([&] { return m_neighbour.count("shown") > shown; }));
    QVERIFY(waitUntil([&] { return colourAt(m_desktop.picture(), {640, 2}) == NeighbourWindow::colour; }));
    const bool isGranted = !desk.log.contains("This desktop does not let the bar: stay above other windows");
    QCOMPARE(isGranted, m_kind != CompositorKind::sway);
    for (int round = 0; isGranted && round < 2; ++round) {
        QVERIFY(isSeen(desk));
        QCOMPARE(whoTakesClick(desk, onTheBar), "bar");
        QVERIFY(goesNextDoor());
        desk.show(false);
        QVERIFY(waitUntil([&] { return seen().isEmpty(); }));
        desk.show(true);
    }
    m_hands.press("F11");
}

void BarMannersTest::drag(QPoint from, QPoint by) const {
    // A hand is there before it presses.
    m_hands.moveTo(pixels(from));
    QTest::qWait(150);
    m_hands.hold(pixels(from));
    for (const auto& place : {from, from + QPoint(1, 0), from + by / 2, from + by}) {
        QTest::qWait(150);
        m_hands.moveTo(pixels(place));
    }
    QTest::qWait(150);
    m_hands.letGo();
}

QString BarMannersTest::whoTakesClick(Desk& desk, QPoint place) const {
    struct Presses : QObject {
        bool eventFilter(QObject*, QEvent* event) override {
            count += event->type() == QEvent::MouseButtonPress;
            return false;
        }
        int count = 0;
    };
    Presses bar;
    Presses dashboard;
    desk.panel().installEventFilter(&bar);
    Desk::dashboard()->installEventFilter(&dashboard);
    const auto before = m_neighbour.count("press");
    m_hands.clickAt(pixels(desk, place));
    waitUntil([&] { return bar.count + dashboard.count > 0 || m_neighbour.count("press") > before; });
    return bar.count > 0                         ? "bar"
           : dashboard.count > 0                 ? "dashboard"
           : m_neighbour.count("press") > before ? "neighbour"
                                                 : "nobody";
}

int main(int argc, char* argv[]) {
    if (argc > 1 && qstrcmp(argv[1], Neighbour::argument) == 0) {
        return Neighbour::run(argc, argv);
    }
    const auto kind = compositorNamed(qEnvironmentVariable("CORVANE_DESKTOP"));
    if (!kind) {
        qCritical("CORVANE_DESKTOP is kwin, gnome or sway.");
        return 2;
    }
    const int scale = std::max(1, qEnvironmentVariableIntValue("CORVANE_DESKTOP_SCALE"));
    const auto desktop = PrivateCompositor::start(*kind, {.count = 2, .scale = scale});
    return runOnDesktop<BarMannersTest>(argc, argv, *desktop, *kind);
}

#include "BarMannersTest.moc"
