#include "ViewModels/OverlayViewModel.h"
#include "ViewModels/SettingsViewModel.h"
#include "Views/Overlay/OverlayBarPresenter.h"
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
        if (!app->settingsViewModel().customizable().alwaysOnTop.isEnabled) {
            app->settingsViewModel().toggleAlwaysOnTop();
        }
        waitUntil([this] { return panel().isExposed(); });
    }
    static DashboardWindowController* dashboard() { return windowOf<DashboardWindowController>(); }
    FloatingPanel& panel() { return dynamic_cast<FloatingPanel&>(*app->floatingPanel()); }
    OverlayBarPresenter& presenter() { return app->overlayBarPresenter(); }
    QPoint onScreen(QPoint place) { return panel().position() + place; }
    // Where the model has the bar.
    QRect drawn() { return presenter().drawnRegion().boundingRect().translated(panel().position()); }
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
    explicit BarMannersTest(const PrivateCompositor& desktop)
        : m_desktop(desktop)
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
        m_hands.clickAt(backstage);
        return waitUntil([&] { return m_neighbour.count("press") > presses; }) && neighbourHasTheKeys();
    }
    // "bar", "dashboard", "neighbour" or "nobody".
    QString whoTakesClick(Desk& desk, QPoint place) const;
    // Where something hides the neighbour.
    QRect seen() const;
    bool isSeen(Desk& desk) const;
    void drag(QPoint from, QPoint by) const;

    const PrivateCompositor& m_desktop;
    const UserHands m_hands;
    Neighbour m_neighbour;

private Q_SLOTS:
    void initTestCase();
    void init();
    void theBarIsSeenInItsPlace();
    void showingTakesNoKeys();
    void clicksBesideTheFoldedBarAreTheNeighbours();
    void theFieldTakesWhatIsTyped();
    void theBarFollowsTheHand();
    void theBarStaysAboveAFullScreenWindow();
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
    m_hands.moveTo(backstage);
    const auto sight = m_desktop.picture();
    QRect box;
    for (int y = stage.top(); y <= stage.bottom(); ++y) {
        for (int x = stage.left(); x <= stage.right(); ++x) {
            if (sight.pixelColor(x, y) != NeighbourWindow::colour) {
                box |= QRect(x, y, 1, 1);
            }
        }
    }
    return box;
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
    for (int round = 0; round < 2; ++round) {
        // Another program is the active one.
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

void BarMannersTest::clicksBesideTheFoldedBarAreTheNeighbours() {
    Desk desk;
    const QPoint onTheBar(70, 46);
    const QPoint underTheBar(300, 400);
    QVERIFY(isSeen(desk));
    QCOMPARE(whoTakesClick(desk, onTheBar), "bar");
    desk.completion().setIsResponsePopoverOpen(true);
    QVERIFY(waitUntil([&] { return desk.panel().frame().height() == OverlayViewModel::expandedHeight; }));
    QVERIFY(waitUntil([&] { return whoTakesClick(desk, underTheBar) == "bar"; }));
    for (int round = 0; round < 2; ++round) {
        desk.presenter().toggleContent();
        QVERIFY(waitUntil([&] { return whoTakesClick(desk, underTheBar) == "neighbour"; }));
        QCOMPARE(whoTakesClick(desk, onTheBar), "bar");
        desk.presenter().toggleContent();
        QVERIFY(waitUntil([&] { return whoTakesClick(desk, underTheBar) == "bar"; }));
    }
}

void BarMannersTest::theFieldTakesWhatIsTyped() {
    Desk desk;
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
    drag(desk.onScreen(QPoint(70, 46)), by);
    // The first step is what tells a drag from a click.
    QVERIFY(waitUntil([&] { return (desk.panel().position() - start - by).manhattanLength() <= 1; }));
    QVERIFY(isSeen(desk));
}

void BarMannersTest::theBarStaysAboveAFullScreenWindow() {
    Desk desk;
    const auto shown = m_neighbour.count("shown");
    m_hands.press("F11");
    QVERIFY(waitUntil([&] { return m_neighbour.count("shown") > shown; }));
    QVERIFY(waitUntil([&] { return m_desktop.picture().pixelColor(640, 2) == NeighbourWindow::colour; }));
    for (int round = 0; round < 2; ++round) {
        QVERIFY(isSeen(desk));
        QCOMPARE(whoTakesClick(desk, QPoint(70, 46)), "bar");
        QVERIFY(goesNextDoor());
        desk.show(false);
        QVERIFY(waitUntil([&] { return seen().isEmpty(); }));
        desk.show(true);
    }
    m_hands.press("F11");
}

void BarMannersTest::drag(QPoint from, QPoint by) const {
    // A hand is there before it presses.
    m_hands.moveTo(from);
    QTest::qWait(150);
    m_hands.hold(from);
    for (const auto& place : {from, from + QPoint(1, 0), from + by / 2, from + by}) {
        QTest::qWait(150);
        m_hands.moveTo(place);
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
    m_hands.clickAt(desk.onScreen(place));
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
    const auto desktop = PrivateCompositor::start(*kind);
    return runOnDesktop<BarMannersTest>(argc, argv, *desktop);
}

#include "BarMannersTest.moc"
