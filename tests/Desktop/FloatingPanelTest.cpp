#include "Platform/Windows/UserInteraction.h"
#include "Platform/Windows/XcbWindow.h"
#include "ViewModels/OverlayViewModel.h"
#include "ViewModels/SettingsViewModel.h"
#include "tests/Desktop/DesktopTest.h"
#include "tests/Support/Rows.h"

#include <QClipboard>
#include <QProcess>
#include <QQuickItem>
#include <QRegularExpression>
#include <QScreen>

using namespace corvane;

namespace {

constexpr auto someId = "3f2b8c64-9d1e-4a57-b0c3-5e8f7a6d2c19";
constexpr auto field = "Interview ID";

const auto dashboard = &WindowedProgram::dashboard;

struct Desk : WindowedProgram {
    explicit Desk(bool hasSeenOnboarding = true) {
        defaults->setBool("hasSeenOnboardingVideo", hasSeenOnboarding);
        launchToBar();
        setAlwaysOnTop(true);
    }
    QPoint onScreen(QPoint place) { return panel().position() + place; }
    void setAlwaysOnTop(bool on) {
        if (app->settingsViewModel().customizable().alwaysOnTop.isEnabled != on) {
            app->settingsViewModel().toggleAlwaysOnTop();
        }
    }
};

} // namespace

class FloatingPanelTest : public NeighbourTest {
    Q_OBJECT

public:
    using NeighbourTest::NeighbourTest;

private:
    // To the other program; ours knows of it.
    bool leaves() const {
        return goesNextDoor() && waitUntil([] { return !QGuiApplication::focusWindow(); });
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

    static QString hint(const QStringList& window, const QString& name) {
        QProcess process;
        process.start("xprop", window + QStringList{name});
        process.waitForFinished();
        return QString::fromUtf8(process.readAllStandardOutput())
            .section(QRegularExpression("[=#]"), 1)
            .trimmed();
    }
    static QString hint(const QWindow& window, const QString& name) {
        return hint({"-id", QString::number(window.winId())}, name);
    }
    // "panel" or "neighbour".
    QString whoTakesClick(Desk& desk, QPoint place) {
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

    void drag(QPoint from, QPoint by) const {
        m_hands.hold(from);
        for (const auto& place : {from, from + QPoint(1, 0), from + by / 2, from + by}) {
            QTest::qWait(150);
            m_hands.moveTo(place);
        }
        QTest::qWait(150);
        m_hands.letGo();
    }

private Q_SLOTS:
    void initTestCase() { startNeighbour(); }

    void init() { QVERIFY(leaves()); }

    void theKeyboardStaysWhereItIs() {
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
            QCOMPARE(m_display.xdotool({"getactivewindow"}), m_neighbourId);
            // The second round is that of a user who has just been here.
            QVERIFY(entersField(desk));
            m_hands.type("x" + QString::number(round));
            QVERIFY(waitUntil(
                [&] { return desk.interview().interviewId().endsWith("x" + QString::number(round)); }));
            QVERIFY(leaves());
        }
    }

    void theFieldTakesWhatIsPasted() {
        Desk desk;
        QGuiApplication::clipboard()->setText("corvane://interview/" + QString(someId));
        QVERIFY(entersField(desk));
        m_hands.press("ctrl+a");
        m_hands.press("ctrl+v");
        QVERIFY(waitUntil([&] { return desk.interview().interviewId() == someId; }));
        m_hands.press("Return");
        QVERIFY(waitUntil([&] { return desk.interview().status() == InterviewStatus::waitingForQuestions; }));
    }

    void theHintsFollowTheSettings() {
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

    void theBarStaysAboveAFullScreenWindow() {
        Desk desk;
        m_hands.press("F11");
        const QPoint onTheBar(300, 20);
        for (int showing = 0; showing < 2; ++showing) {
            QVERIFY(waitUntil([&] { return whoTakesClick(desk, onTheBar) == "panel"; }));
            QCOMPARE(whoTakesClick(desk, QPoint(300, 60)), "neighbour");
            QVERIFY(leaves());
            desk.app->toggleFloatingPanel();
            desk.app->toggleFloatingPanel();
        }
        QVERIFY(waitUntil([&] { return whoTakesClick(desk, onTheBar) == "panel"; }));
        QVERIFY(leaves());
        m_hands.press("F11");
        desk.setAlwaysOnTop(false);
    }

    void whatIsNotDrawnOnTakesNoClicks() {
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

    void theBarMovesThePanelAndHeightsKeepItsTop() {
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

    void thereIsRoomUnderTheLowBar() {
        Desk desk;
        const auto isInside = [&](const QString& name) {
            const auto place = m_hands.find(name);
            return place && desk.panel().geometry().contains(*place);
        };
        desk.loseLink();
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

    void theDashboardComesBackAsItWas() {
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
        QVERIFY(showsUp("Audio"));
    }

    void aMinimizedDashboardComesAtOnePress() {
        Desk desk;
        desk.app->toggleDashboard();
        QVERIFY(waitUntil([] { return dashboard()->isActive(); }));
        m_display.xdotool({"windowminimize", QString::number(dashboard()->winId())});
        QVERIFY(waitUntil([] { return !dashboard()->isVisible(); }));
        desk.app->toggleDashboard();
        QVERIFY(waitUntil([] { return dashboard()->isVisible() && dashboard()->isActive(); }));
    }

    void aHiddenPageComesBackAsItWas() {
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

    void theLaunchEndsWithTheBarInFront() {
        WindowedProgram program;
        program.defaults->setString("DashboardWindow", "300 40 700 500");
        program.launchToSession();
        const auto& bar = program.panel();
        const auto place = [&](const QWindow& window) {
            return hint(QStringList{"-root"}, "_NET_CLIENT_LIST_STACKING")
                .indexOf("0x" + QString::number(window.winId(), 16));
        };
        QVERIFY(waitUntil(
            [&] { return dashboard() && dashboard()->isActive() && place(bar) > place(*dashboard()); }));
        QVERIFY(place(*dashboard()) >= 0);
    }

    // A desktop refuses what is asked for in the name of an older act than those elsewhere.
    void theKeyboardIsAskedForInTheNameOfTheUsersAct() {
        Desk desk;
        const auto now = platform::x11::serverTime();
        platform::noteUserInteractionNow();
        desk.app->focusInput();
        QVERIFY(waitUntil([&] { return desk.panel().isActive(); }));
        QVERIFY(hint(desk.panel(), "_NET_WM_USER_TIME").toUInt() >= now);
    }

    void aFrameOnAScreenThatIsGoneFallsBack_data() {
        const auto row = rows<QString, QRect>();
        row("a second screen", "2000 100 800 600", QRect(190, 140, 900, 620));
        row("nonsense", "10 10 x", QRect(190, 140, 900, 620));
        row("larger than any screen", "-1000000000 60 2000000000 600", QRect(190, 140, 900, 620));
        row("its own", "40 60 800 600", QRect(40, 60, 800, 600));
    }

    void aFrameOnAScreenThatIsGoneFallsBack() {
        const auto [stored, frame] = currentRow<QString, QRect>();
        TestProgram program(TestProgram::Start::signedOut, TestProgram::defaultInfo(), makeWindowFactory());
        program.defaults->setString("DashboardWindow", stored);
        program.launch();
        QVERIFY(waitUntil([&] { return dashboard()->isExposed() && dashboard()->geometry() == frame; }));
    }
};

int main(int argc, char* argv[]) {
    return runOnDisplay<FloatingPanelTest>(argc, argv);
}

#include "FloatingPanelTest.moc"
