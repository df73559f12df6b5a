#include "tests/Desktop/DesktopTest.h"
#include "tests/Support/Rows.h"

#include <QProcess>
#include <QQuickItem>

#include <xcb/xtest.h>

using namespace corvane;

using namespace std::chrono_literals;
using Action = ShortcutAction;

namespace {

constexpr uint8_t keyY = 29; // as on an English keyboard
constexpr uint8_t keyZ = 52;
constexpr uint8_t keyI = 31;
constexpr uint8_t shift = 50;
constexpr uint8_t super = 133;
constexpr uint8_t menu = 135;

// Presses places of the keyboard, in the layout's group that is in force: xdotool goes back to the first.
class Keyboard {
public:
    ~Keyboard() { xcb_disconnect(m_connection); }
    // All at once.
    void press(const QList<uint8_t>& places) const {
        for (const auto type : {uint8_t(XCB_KEY_PRESS), uint8_t(XCB_KEY_RELEASE)}) {
            for (const auto place : places) {
                xcb_test_fake_input(m_connection, type, place, XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
            }
        }
        // Done when the server answers.
        free(xcb_get_input_focus_reply(m_connection, xcb_get_input_focus(m_connection), nullptr));
    }

private:
    xcb_connection_t* m_connection = xcb_connect(nullptr, nullptr);
};

// What the keys of this display fire, without a window.
struct Listener : ShortcutServiceDelegate {
    Listener() { service.registerAll(); }
    void shortcutTriggered(Action action) override { fired.append(action); }
    // These actions and no others: a key that is pressed after them fires next.
    bool fires(QList<Action> actions) {
        Keyboard().press({super, shift, keyI});
        actions.append(Action::focusInput);
        waitUntil([&] { return fired.size() >= actions.size(); });
        return std::exchange(fired, {}) == actions;
    }

    std::unique_ptr<platform::KeyMonitor> keys = platform::makeDesktopKeyMonitor();
    std::unique_ptr<platform::DefaultsStore> defaults = platform::makeMemoryDefaultsStore();
    FakeClock clock;
    ShortcutService service{*this, *keys, *defaults, clock};
    QList<Action> fired;
};

struct Desk : WindowedProgram {
    Desk()
        : WindowedProgram(platform::makeDesktopKeyMonitor()) {
        launchToBar();
    }
    bool hasMoved(QPoint from, QPoint by) {
        const auto is = [&] { return panel().frame().topLeft() == from + by; };
        return waitUntil(is) && (QTest::qWait(50), is());
    }
};

} // namespace

class ShortcutKeysTest : public NeighbourTest {
    Q_OBJECT

public:
    using NeighbourTest::NeighbourTest;

private:
    void hold(const QString& keys) const { m_display.xdotool({"keydown", keys}); }
    void letGo(const QString& keys) const { m_display.xdotool({"keyup", keys}); }
    static void setLayout(const QStringList& arguments) {
        QCOMPARE(QProcess::execute("setxkbmap", QStringList{"-option", ""} + arguments), 0);
        QTest::qWait(100);
    }
    bool entersBar(Desk& desk) const {
        desk.app->focusInput();
        return hasFocus(QString::number(desk.panel().winId())) &&
               waitUntil([&] { return desk.panel().isActive(); });
    }

private Q_SLOTS:
    void initTestCase() { startNeighbour(); }
    void init() { QVERIFY(goesNextDoor()); }

    void eachKeyFiresFromAnotherProgram_data() {
        const auto row = rows<QString, Action>();
        row("dashboard", "super+shift+d", Action::toggleDashboard);
        row("bar", "super+backslash", Action::toggleWindow);
        row("input", "super+shift+i", Action::focusInput);
        row("up", "super+Up", Action::moveWindowUp);
        row("down", "super+Down", Action::moveWindowDown);
        row("left", "super+Left", Action::moveWindowLeft);
        row("right", "super+Right", Action::moveWindowRight);
        row("system audio", "super+shift+m", Action::systemAudio);
        row("recording", "super+shift+a", Action::audioRecording);
        row("screenshot", "super+shift+s", Action::screenshot);
        row("manual stop", "space", Action::manualSendStop);
    }
    void eachKeyFiresFromAnotherProgram() {
        const auto [keys, action] = currentRow<QString, Action>();
        Listener listener;
        QCOMPARE(listener.service.reach(action), platform::KeyReach::everywhere);
        m_hands.press(keys);
        QVERIFY(listener.fires({action}));
        for (const auto* lock : {"Caps_Lock", "Num_Lock"}) {
            m_hands.press(lock);
            m_hands.press(keys);
            m_hands.press(lock);
            QVERIFY(listener.fires({action}));
        }
        // Alt and the space bar are the window manager's.
        m_hands.press("ctrl+" + keys);
        QVERIFY(listener.fires({}));
    }

    void aHeldKeyFiresOnceAndReachesTheOtherProgram() {
        Listener listener;
        const auto before = m_neighbour.count("key  ");
        hold("space");
        QVERIFY(waitUntil([&] { return m_neighbour.count("key  ") > before + 3; }));
        letGo("space");
        QVERIFY(listener.fires({Action::manualSendStop}));
    }

    void lettersGoByTheLayoutInForce() {
        Listener listener;
        auto config = listener.service.config();
        config.bindings["toggle_window"].key = "CmdOrCtrl+Z";
        listener.service.setConfig(config);
        // The two keys that English and German keyboards have swapped.
        const auto fires = [&](uint8_t place, bool expected) {
            Keyboard().press({super, place});
            return listener.fires(expected ? QList{Action::toggleWindow} : QList<Action>());
        };
        QVERIFY(fires(keyZ, true) && fires(keyY, false));
        setLayout({"-layout", "de"});
        QVERIFY(fires(keyZ, false) && fires(keyY, true));
        setLayout({"-layout", "us,de", "-option", "grp:menu_toggle"});
        QVERIFY(fires(keyZ, true) && fires(keyY, false));
        Keyboard().press({menu});
        QVERIFY(fires(keyZ, false) && fires(keyY, true));
        setLayout({"-layout", "us"});
        QVERIFY(fires(keyZ, true));
    }

    void heldArrowsMoveTheBar() {
        Desk desk;
        QVERIFY(goesNextDoor());
        for (const bool inOwnWindow : {false, true}) {
            if (inOwnWindow) {
                QVERIFY(entersBar(desk));
            }
            const auto start = desk.panel().frame().topLeft();
            hold("super");
            hold("Down");
            QVERIFY(desk.hasMoved(start, {0, 12}));
            hold("Right");
            QVERIFY(desk.hasMoved(start, {12, 12}));
            letGo("super");
            // Faster than the display tells of it.
            for (int tick = 0; tick < 10; ++tick) {
                desk.clock->advance(16ms);
                QTest::qWait(1);
            }
            QVERIFY(desk.hasMoved(start, {132, 132}));
            // Until the key repeats.
            QTest::qWait(800);
            desk.clock->advance(16ms);
            QVERIFY(desk.hasMoved(start, {144, 144}));
            letGo("Down");
            QTest::qWait(100);
            desk.clock->advance(1s);
            QVERIFY(desk.hasMoved(start, {144, 144}));
            letGo("Right");
            m_hands.press("super+Up");
            QTest::qWait(100);
            desk.clock->advance(1s);
            QVERIFY(desk.hasMoved(start, {144, 132}));
        }
    }

    void aSpaceInTheFieldIsText() {
        Desk desk;
        QVERIFY(goesNextDoor());
        QVERIFY(entersBar(desk) && waitUntil([&] { return desk.presenter().input()->isFocused(); }));
        m_hands.type("a b");
        QVERIFY(waitUntil([&] { return desk.interview().interviewId() == "a b"; }));
        QVERIFY(!desk.log.contains("manual:"));
        m_hands.press("super+shift+a");
        QVERIFY(waitUntil([&] { return desk.completion().isRecordingAudio(); }));
        QCOMPARE(desk.interview().interviewId(), "a b");
        QVERIFY(goesNextDoor());
        m_hands.press("space");
        QVERIFY(waitUntil([&] { return desk.log.count("manual: sendManualStop ignored") == 1; }));
    }

    void aSpacePressesTheButtonThatVisiblyHasTheKeyboard() {
        Desk desk;
        QVERIFY(goesNextDoor());
        QVERIFY(entersBar(desk) && waitUntil([&] { return desk.presenter().input()->isFocused(); }));
        m_hands.press("shift+Tab");
        QVERIFY(waitUntil([&] { return desk.panel().activeFocusItem()->property("visualFocus").toBool(); }));
        m_hands.press("space");
        QVERIFY(waitUntil([&] { return desk.presenter().showingDialog(); }));
        QVERIFY(!desk.log.contains("manual:"));
        m_hands.press("Escape");
        QVERIFY(waitUntil([&] { return !desk.presenter().showingDialog(); }));
        desk.app->toggleDashboard();
        QVERIFY(waitUntil([&] { return m_hands.sees("Shortcuts"); }));
        m_hands.click("Shortcuts");
        QVERIFY(waitUntil([&] { return m_hands.sees("Reset to Defaults"); }));
        m_hands.press("space");
        QVERIFY(waitUntil([&] { return desk.log.count("manual: sendManualStop ignored") == 1; }));
    }

    // The focus has come back by the time that the program hears of the press, which another program got.
    void aPressBeforeTheFocusComesIsNotLost() {
        for (int round = 0; round < 3; ++round) {
            Desk desk;
            QVERIFY(goesNextDoor());
            QVERIFY(entersBar(desk));
            const auto before = m_neighbour.count("key \\");
            // Nothing of ours runs meanwhile.
            m_display.xdotool({"windowfocus", m_neighbourId, "key", "super+backslash", "windowfocus",
                               QString::number(desk.panel().winId())});
            QVERIFY(waitUntil([&] { return !desk.panel().isVisible(); }));
            QVERIFY(waitUntil([&] { return m_neighbour.count("key \\") == before + 1; }));
            QVERIFY(goesNextDoor()); // which is heard after the press
            QVERIFY(!desk.panel().isVisible());
        }
    }

    void theBarTogglesOnceFromWhereverTheFocusIs() {
        Desk desk;
        QVERIFY(goesNextDoor());
        for (int round = 0; round < 3; ++round) {
            m_hands.press("super+shift+i");
            QVERIFY(waitUntil([&] { return desk.panel().isActive(); }));
            m_hands.press("super+backslash");
            QVERIFY(waitUntil([&] { return !desk.panel().isVisible(); }));
            QVERIFY(goesNextDoor()); // which is heard after the press
            QVERIFY(!desk.panel().isVisible());
            m_hands.press("super+backslash");
            QVERIFY(waitUntil([&] { return desk.panel().isVisible(); }));
            QVERIFY(goesNextDoor());
            QVERIFY(desk.panel().isVisible());
        }
    }
};

int main(int argc, char* argv[]) {
    return runOnDisplay<ShortcutKeysTest>(argc, argv);
}

#include "ShortcutKeysTest.moc"
