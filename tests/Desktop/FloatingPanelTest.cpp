#include "Windows/FloatingPanel.h"
#include "Platform/Windows/UserInteraction.h"
#include "Platform/Windows/XcbWindow.h"
#include "ViewModels/DashboardViewModel.h"
#include "ViewModels/OverlayViewModel.h"
#include "ViewModels/SettingsViewModel.h"
#include "Views/Overlay/OverlayBarPresenter.h"
#include "Windows/DashboardWindowController.h"
#include "sandbox/desktop/UserHands.h"
#include "tests/Desktop/DesktopMain.h"
#include "tests/Support/Rows.h"
#include "tests/Support/TestProgram.h"

#include <QClipboard>
#include <QProcess>
#include <QQuickItem>
#include <QRegularExpression>
#include <QScreen>

using namespace corvane;

namespace {

constexpr auto someId = "3f2b8c64-9d1e-4a57-b0c3-5e8f7a6d2c19";
constexpr auto field = "Interview ID";

DashboardWindowController* dashboard() {
    return windowOf<DashboardWindowController>();
}

// The program with its real windows; the dashboard has shown, as it does at each launch, and is put away.
struct Desk : TestProgram {
    explicit Desk(bool hasSeenOnboarding = true)
        : TestProgram(Start::signedIn, defaultInfo(), makeWindowFactory()) {
        defaults->setBool("hasSeenOnboardingVideo", hasSeenOnboarding);
        launchToSession();
        waitUntil([] { return dashboard() && dashboard()->isActive(); });
        app->toggleDashboard();
        waitUntil([] { return !QGuiApplication::focusWindow(); });
        setAlwaysOnTop(true);
    }
    FloatingPanel& panel() { return dynamic_cast<FloatingPanel&>(*app->floatingPanel()); }
    OverlayBarPresenter& presenter() { return app->overlayBarPresenter(); }
    QPoint onScreen(QPoint place) { return panel().position() + place; }
    void setAlwaysOnTop(bool on) {
        if (app->settingsViewModel().customizable().alwaysOnTop.isEnabled != on) {
            app->settingsViewModel().toggleAlwaysOnTop();
        }
    }
};

} // namespace

class FloatingPanelTest : public QObject {
    Q_OBJECT

public:
    explicit FloatingPanelTest(const PrivateDisplay& display)
        : m_display(display)
        , m_hands(display) {}

private:
    QString activeWindow() const { return m_display.xdotool({"getactivewindow"}); }
    bool isActive(const QString& window) const {
        return waitUntil([&] { return activeWindow() == window; });
    }
    // To the other program.
    bool goesNextDoor() const {
        m_hands.clickAt(QPoint(640, 880));
        return isActive(m_neighbourId) && waitUntil([] { return !QGuiApplication::focusWindow(); });
    }
    // By a click from another program's window.
    bool entersField(Desk& desk) const {
        const auto entered = [&] { return desk.panel().isActive() && desk.presenter().input()->isFocused(); };
        for (int attempt = 0; attempt < 3 && !entered(); ++attempt) {
            m_hands.click(field);
            waitUntil(entered, 3000);
        }
        return entered();
    }
    static QString hint(const QStringList& window, const QString& name);
    static QString hint(const QWindow& window, const QString& name) {
        return hint({"-id", QString::number(window.winId())}, name);
    }
    // "panel" or "neighbour".
    QString whoTakesClick(Desk& desk, QPoint place);
    void drag(QPoint from, QPoint by) const;

    const PrivateDisplay& m_display;
    const UserHands m_hands;
    Neighbour m_neighbour;
    QString m_neighbourId;

private Q_SLOTS:
    void initTestCase();
    void init();
    void theKeyboardStaysWhereItIs();
    void theFieldTakesWhatIsTypedAndPasted();
    void theHintsFollowTheSettings();
    void theBarStaysAboveAFullScreenWindow();
    void whatIsNotDrawnOnTakesNoClicks();
    void theBarMovesThePanelAndHeightsKeepItsTop();
    void thereIsRoomUnderTheLowBar();
    void theDashboardComesBackAsItWas();
    void aMinimizedDashboardComesAtOnePress();
    void aHiddenPageComesBackAsItWas();
    void theLaunchEndsWithTheBarInFront();
    void theKeyboardIsAskedForInTheNameOfTheUsersAct();
    void aFrameOnAScreenThatIsGoneFallsBack_data();
    void aFrameOnAScreenThatIsGoneFallsBack();
};

void FloatingPanelTest::initTestCase() {
    m_neighbour.start();
    m_neighbourId = m_display.awaitWindow(Neighbour::argument);
    QVERIFY(isActive(m_neighbourId));
}

void FloatingPanelTest::init() {
    QVERIFY(goesNextDoor());
}

QString FloatingPanelTest::hint(const QStringList& window, const QString& name) {
    QProcess process;
    process.start("xprop", window + QStringList{name});
    process.waitForFinished();
    return QString::fromUtf8(process.readAllStandardOutput())
        .section(QRegularExpression("[=#]"), 1)
        .trimmed();
}

void FloatingPanelTest::theKeyboardStaysWhereItIs() {
    Desk desk;
    desk.setAlwaysOnTop(false);
    for (int round = 0; round < 2; ++round) {
        desk.app->toggleFloatingPanel();
        QVERIFY(!desk.panel().isVisible());
        desk.app->toggleFloatingPanel();
        QVERIFY(waitUntil([&] { return desk.panel().isExposed(); }));
        const auto keys = m_neighbour.count("key a");
        m_hands.type("a");
        QVERIFY(waitUntil([&] { return m_neighbour.count("key a") == keys + 1; }));
        QCOMPARE(activeWindow(), m_neighbourId);
        // The second round is that of a user who has just been here.
        QVERIFY(entersField(desk));
        m_hands.type("x" + QString::number(round));
        QVERIFY(
            waitUntil([&] { return desk.interview().interviewId().endsWith("x" + QString::number(round)); }));
        QVERIFY(goesNextDoor());
    }
}

void FloatingPanelTest::theFieldTakesWhatIsTypedAndPasted() {
    Desk desk;
    // By the shortcut, from another program.
    desk.app->focusInput();
    QVERIFY(waitUntil([&] { return desk.presenter().input()->isFocused() && desk.panel().isActive(); }));
    m_hands.press("x");
    QVERIFY(waitUntil([&] { return desk.interview().interviewId() == "x"; }));
    QVERIFY(goesNextDoor());
    QGuiApplication::clipboard()->setText("corvane://interview/" + QString(someId));
    QVERIFY(entersField(desk));
    m_hands.press("ctrl+a");
    m_hands.press("ctrl+v");
    QVERIFY(waitUntil([&] { return desk.interview().interviewId() == someId; }));
    m_hands.press("Return");
    QVERIFY(waitUntil([&] { return desk.interview().status() == InterviewStatus::waitingForQuestions; }));
}

void FloatingPanelTest::theHintsFollowTheSettings() {
    Desk desk;
    auto& panel = desk.panel();
    const auto states = [&panel] { return hint(panel, "_NET_WM_STATE"); };
    for (const bool on : {true, false, true}) {
        desk.setAlwaysOnTop(on);
        desk.app->setActivationPolicy(on ? ActivationPolicy::accessory : ActivationPolicy::regular);
        for (int showing = 0; showing < 2; ++showing) {
            QVERIFY2(waitUntil([&] {
                         const auto now = states();
                         return now.contains("_ABOVE") == on && now.contains("_SKIP_TASKBAR") == on &&
                                now.contains("_SKIP_PAGER") == on &&
                                hint(panel, "_NET_WM_DESKTOP") == "4294967295";
                     }),
                     qPrintable(states()));
            // At once, and with time for the window manager in between.
            panel.orderOut();
            if (on) {
                QVERIFY(waitUntil([&] { return states().isEmpty(); }));
            }
            panel.orderFrontRegardless();
        }
    }
}

void FloatingPanelTest::theBarStaysAboveAFullScreenWindow() {
    Desk desk;
    m_hands.press("F11");
    const QPoint onTheBar(300, 20);
    for (int showing = 0; showing < 2; ++showing) {
        QVERIFY(waitUntil([&] { return whoTakesClick(desk, onTheBar) == "panel"; }));
        QCOMPARE(whoTakesClick(desk, QPoint(300, 60)), "neighbour");
        QVERIFY(goesNextDoor());
        desk.app->toggleFloatingPanel();
        desk.app->toggleFloatingPanel();
    }
    QVERIFY(waitUntil([&] { return whoTakesClick(desk, onTheBar) == "panel"; }));
    QVERIFY(goesNextDoor());
    m_hands.press("F11");
    desk.setAlwaysOnTop(false);
}

void FloatingPanelTest::whatIsNotDrawnOnTakesNoClicks() {
    Desk desk;
    const QPoint underTheBar(300, 400);
    const QPoint onTheBar(70, 46);
    const auto taker = [&](QPoint place) { return whoTakesClick(desk, place); };
    QCOMPARE(taker(onTheBar), "panel");
    QCOMPARE(taker(QPoint(-3, 20)), "neighbour");
    desk.completion().setIsResponsePopoverOpen(true);
    QVERIFY(waitUntil([&] { return desk.panel().height() == OverlayViewModel::expandedHeight; }));
    QVERIFY(waitUntil([&] { return taker(underTheBar) == "panel"; }));
    for (int round = 0; round < 2; ++round) {
        desk.presenter().toggleContent();
        QVERIFY(waitUntil([&] { return taker(underTheBar) == "neighbour"; }));
        // Not by a shape alone, which a desktop may pass over.
        QCOMPARE(desk.panel().height(), OverlayViewModel::collapsedHeight);
        QCOMPARE(desk.panel().frame().height(), OverlayViewModel::expandedHeight);
        QCOMPARE(taker(onTheBar), "panel");
        desk.presenter().toggleContent();
        QVERIFY(waitUntil([&] { return taker(underTheBar) == "panel"; }));
    }
    desk.app->toggleFloatingPanel();
    QVERIFY(waitUntil([&] { return taker(onTheBar) == "neighbour"; }));
    desk.app->toggleFloatingPanel();
    QVERIFY(waitUntil([&] { return taker(underTheBar) == "panel"; }));
}

void FloatingPanelTest::drag(QPoint from, QPoint by) const {
    m_hands.hold(from);
    for (const auto& place : {from, from + QPoint(1, 0), from + by / 2, from + by}) {
        QTest::qWait(150);
        m_hands.moveTo(place);
    }
    QTest::qWait(150);
    m_hands.letGo();
}

void FloatingPanelTest::theBarMovesThePanelAndHeightsKeepItsTop() {
    Desk desk;
    auto& panel = desk.panel();
    const QPoint start(330, 54);
    QCOMPARE(panel.position(), start);
    const QPoint by(60, 90);
    drag(desk.onScreen(QPoint(70, 46)), by);
    // The first step is what tells a drag from a click.
    QVERIFY(waitUntil([&] { return (panel.position() - start - by).manhattanLength() <= 1; }));
    const auto place = panel.position();
    desk.completion().setIsResponsePopoverOpen(true);
    QVERIFY(waitUntil([&] { return panel.height() == OverlayViewModel::expandedHeight; }));
    QVERIFY(waitUntil([&] { return whoTakesClick(desk, QPoint(300, 400)) == "panel"; }));
    drag(desk.onScreen(QPoint(300, 400)), by);
    drag(m_hands.find(field)->center(), by);
    drag(m_hands.find("Settings")->center(), by);
    desk.completion().clearAfterInterview();
    desk.app->overlayViewModel().collapsePanel();
    QVERIFY(waitUntil([&] { return panel.height() == OverlayViewModel::collapsedHeight; }));
    desk.app->toggleFloatingPanel();
    desk.app->toggleFloatingPanel();
    QVERIFY(waitUntil([&] { return panel.isExposed(); }));
    QCOMPARE(panel.position(), place);
    QCOMPARE(panel.frame().size(), QSize(620, 48));
}

void FloatingPanelTest::thereIsRoomUnderTheLowBar() {
    Desk desk;
    const auto isInside = [&](const QString& name) {
        const auto place = m_hands.find(name);
        return place && desk.panel().geometry().contains(*place);
    };
    desk.peer().breakConnection();
    desk.settle();
    desk.clock->advance(std::chrono::seconds(3));
    QVERIFY(waitUntil([&] { return m_hands.sees("Reconnecting"); }));
    // It fades in, and the field makes room for it.
    QTest::qWait(400);
    m_hands.click("Reconnecting");
    QVERIFY(waitUntil([&] { return isInside("Reconnect now"); }));
    QCOMPARE(desk.panel().frame().height(), 48);
    desk.presenter().status()->setShowPopover(false);
    QVERIFY(waitUntil([&] { return desk.panel().height() == 48; }));
    Desk first(false);
    QVERIFY(waitUntil([&] { return first.panel().height() == 48 + 88; }));
    QCOMPARE(first.panel().frame().height(), 48);
}

void FloatingPanelTest::theDashboardComesBackAsItWas() {
    Desk desk;
    auto& window = *dashboard();
    const auto opens = [&] {
        desk.app->showDashboard();
        return waitUntil([&] { return window.isActive(); });
    };
    QVERIFY(opens());
    const auto id = QString::number(window.winId());
    desk.app->dashboardViewModel().setSelectedPage(DashboardPage::audio);
    m_display.xdotool({"windowmove", id, "150", "120"});
    QVERIFY(waitUntil([&] {
        m_display.xdotool({"windowsize", id, "100", "100"});
        return window.size() == QSize(700, 500);
    }));
    const auto frame = window.geometry();
    m_hands.press("alt+F4");
    QVERIFY(waitUntil([&] { return !window.isVisible(); }));
    // What the next start begins with.
    const QStringList numbers{QString::number(frame.x()), QString::number(frame.y()), "700", "500"};
    QCOMPARE(desk.defaults->string("DashboardWindow"), numbers.join(' '));
    QVERIFY(opens());
    QVERIFY(waitUntil([&] { return window.geometry() == frame; }));
    QCOMPARE(desk.app->dashboardViewModel().selectedPage(), DashboardPage::audio);
    QVERIFY(m_hands.sees("Audio"));
}

void FloatingPanelTest::aMinimizedDashboardComesAtOnePress() {
    Desk desk;
    desk.app->toggleDashboard();
    QVERIFY(waitUntil([] { return dashboard()->isActive(); }));
    m_display.xdotool({"windowminimize", QString::number(dashboard()->winId())});
    QVERIFY(waitUntil([] { return !dashboard()->isVisible(); }));
    desk.app->toggleDashboard();
    QVERIFY(waitUntil([] { return dashboard()->isVisible() && dashboard()->isActive(); }));
}

void FloatingPanelTest::aHiddenPageComesBackAsItWas() {
    Desk desk;
    const auto flickable = [] { return dashboard()->findChild<QQuickItem*>("page"); };
    const auto hideAndShow = [&] {
        desk.app->toggleDashboard();
        desk.app->toggleDashboard();
        return waitUntil([&] { return dashboard()->isActive() && flickable(); });
    };
    // The section's label has the field's name, too.
    const auto focusField = [&] {
        return waitUntil([&] {
            for (const auto* item : dashboard()->findChildren<QQuickItem*>()) {
                if (item->property("label") == "API base URL" && item->isVisible()) {
                    m_hands.clickAt(item->mapToGlobal(item->boundingRect().center()).toPoint());
                    return waitUntil([&] { return item->hasActiveFocus(); });
                }
            }
            return false;
        });
    };
    desk.app->toggleDashboard();
    QVERIFY(waitUntil([&] { return m_hands.sees("API base URL"); }));
    QVERIFY(focusField());
    m_hands.type("half");
    const auto url = [&] {
        const auto* field = dashboard()->activeFocusItem();
        return field ? field->property("text").toString() : QString();
    };
    QVERIFY(waitUntil([&] { return url().contains("half"); }));
    const auto typed = url();
    QVERIFY(hideAndShow());
    QVERIFY(focusField());
    QVERIFY(waitUntil([&] { return url() == typed; }));
    // Another page, and back, shows what is stored.
    desk.app->dashboardViewModel().setSelectedPage(DashboardPage::shortcuts);
    QVERIFY(waitUntil([&] { return m_hands.sees("Reset to Defaults"); }));
    // The page before it may not have gone yet.
    QVERIFY(waitUntil([&] {
        return flickable() && flickable()->property("contentHeight").toReal() >
                                  flickable()->property("height").toReal() + 200;
    }));
    flickable()->setProperty("contentY", 200);
    QVERIFY(hideAndShow());
    QVERIFY(waitUntil([&] { return flickable()->property("contentY").toReal() == 200; }));
    desk.app->dashboardViewModel().setSelectedPage(DashboardPage::dashboard);
    QVERIFY(waitUntil([&] { return m_hands.sees("API base URL"); }));
    QVERIFY(waitUntil([&] { return flickable() && flickable()->property("contentY").toReal() == 0; }));
    QVERIFY(focusField());
    QVERIFY(waitUntil([&] { return dashboard()->activeFocusItem() && !url().contains("half"); }));
    desk.app->toggleDashboard();
}

void FloatingPanelTest::theLaunchEndsWithTheBarInFront() {
    TestProgram program(TestProgram::Start::signedIn, TestProgram::defaultInfo(), makeWindowFactory());
    program.defaults->setString("DashboardWindow", "300 40 700 500");
    program.launchToSession();
    const auto& bar = dynamic_cast<FloatingPanel&>(*program.app->floatingPanel());
    const auto place = [&](const QWindow& window) {
        return hint(QStringList{"-root"}, "_NET_CLIENT_LIST_STACKING")
            .indexOf("0x" + QString::number(window.winId(), 16));
    };
    QVERIFY(waitUntil(
        [&] { return dashboard() && dashboard()->isActive() && place(bar) > place(*dashboard()); }));
    QVERIFY(place(*dashboard()) >= 0);
}

// A desktop refuses what is asked for in the name of an older act than those elsewhere.
void FloatingPanelTest::theKeyboardIsAskedForInTheNameOfTheUsersAct() {
    Desk desk;
    const auto now = platform::x11::serverTime();
    platform::noteUserInteractionNow();
    desk.app->focusInput();
    QVERIFY(waitUntil([&] { return desk.panel().isActive(); }));
    QVERIFY(hint(desk.panel(), "_NET_WM_USER_TIME").toUInt() >= now);
}

void FloatingPanelTest::aFrameOnAScreenThatIsGoneFallsBack_data() {
    const auto row = rows<QString, QRect>();
    row("a second screen", "2000 100 800 600", QRect(190, 140, 900, 620));
    row("nonsense", "10 10 x", QRect(190, 140, 900, 620));
    row("larger than any screen", "-1000000000 60 2000000000 600", QRect(190, 140, 900, 620));
    row("its own", "40 60 800 600", QRect(40, 60, 800, 600));
}

void FloatingPanelTest::aFrameOnAScreenThatIsGoneFallsBack() {
    const auto [stored, frame] = currentRow<QString, QRect>();
    TestProgram program(TestProgram::Start::signedOut, TestProgram::defaultInfo(), makeWindowFactory());
    program.defaults->setString("DashboardWindow", stored);
    program.launch();
    QVERIFY(waitUntil([&] { return dashboard()->isExposed() && dashboard()->geometry() == frame; }));
}

QString FloatingPanelTest::whoTakesClick(Desk& desk, QPoint place) {
    struct Presses : QObject {
        bool eventFilter(QObject*, QEvent* event) override {
            count += event->type() == QEvent::MouseButtonPress;
            return false;
        }
        int count = 0;
    } presses;
    desk.panel().installEventFilter(&presses);
    const auto before = m_neighbour.count("press");
    m_hands.clickAt(desk.onScreen(place));
    waitUntil([&] { return presses.count > 0 || m_neighbour.count("press") > before; });
    return presses.count > 0 ? "panel" : m_neighbour.count("press") > before ? "neighbour" : "nobody";
}

int main(int argc, char* argv[]) {
    return runOnDisplay<FloatingPanelTest>(argc, argv);
}

#include "FloatingPanelTest.moc"
