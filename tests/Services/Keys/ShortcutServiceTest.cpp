#include "Services/ShortcutService.h"
#include "Platform/Storage/DefaultsStore.h"
#include "tests/Support/FakeClock.h"
#include "tests/Support/FakeKeyMonitor.h"
#include "tests/Support/Rows.h"

using namespace corvane;

using namespace std::chrono_literals;
using platform::KeyEvent;
using Action = ShortcutAction;
namespace keycode = platform::keycode;

namespace {

constexpr auto command = platform::modifier::command;
constexpr auto shift = platform::modifier::shift;
constexpr auto option = platform::modifier::option;
constexpr auto control = platform::modifier::control;
constexpr quint32 capsLock = 0x10000;

KeyEvent key(quint32 flags, const QString& characters, int code = keycode::none) {
    return {.modifierFlags = flags, .charactersIgnoringModifiers = characters, .keyCode = code};
}

const auto up = key(command, "Up", keycode::up);
const auto left = key(command, "Left", keycode::left);
const auto dashboard = key(command | shift, "D");
const auto space = key(0, " ", keycode::space);

KeyEvent repeated(KeyEvent event) {
    event.isARepeat = true;
    return event;
}
KeyEvent inField(KeyEvent event) {
    event.isInTextField = true;
    return event;
}
KeyEvent onControl(KeyEvent event) {
    event.isForControl = true;
    return event;
}

// A table with this one key, for Toggle Window.
ShortcutsConfig only(const QString& text) {
    ShortcutsConfig config;
    config.bindings["toggle_window"] = {.action = "toggle_window", .key = text};
    return config;
}

struct Desk : ShortcutServiceDelegate {
    explicit Desk(const QByteArray& stored = {}) {
        if (!stored.isEmpty()) {
            defaults->setData("shortcuts_config", stored);
        }
        service = std::make_unique<ShortcutService>(*this, keys, *defaults, clock);
        service->registerAll();
    }
    void shortcutTriggered(Action action) override { fired.append(action); }
    int count(Action action) const { return static_cast<int>(fired.count(action)); }

    FakeKeyMonitor keys;
    FakeClock clock;
    std::unique_ptr<platform::DefaultsStore> defaults = platform::makeMemoryDefaultsStore();
    std::unique_ptr<ShortcutService> service;
    QList<Action> fired;
};

} // namespace

class ShortcutServiceTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void aKeyFiresWhatItIsWrittenFor_data() {
        const auto row = rows<QString, KeyEvent, bool>();
        row("as written", "CmdOrCtrl+Shift+D", dashboard, true);
        row("a modifier too few", "CmdOrCtrl+Shift+D", key(command, "d"), false);
        row("modifiers too many", "CmdOrCtrl+Shift+D", key(command | shift | option | control, "D"), false);
        row("any case and order", "d+shift+CMD+D", dashboard, true);
        row("Caps Lock", "CmdOrCtrl+Shift+D", key(command | shift | capsLock, "d"), true);
        row("control is not command", "ctrl+d", key(command, "d"), false);
        row("ctrl", "ctrl+d", key(control, "d"), true);
        row("control", "Control+d", key(control, "d"), true);
        row("alt", "alt+d", key(option, "d"), true);
        row("option", "OPTION+d", key(option, "d"), true);
        row("a letter by what it types", "cmd+z", key(command, "y"), false);
        row("a named key by its place", "cmd+up", key(command, "8", keycode::up), true);
        row("not by its name", "cmd+up", key(command, "up"), false);
        row("enter", "enter", key(0, "Return", keycode::returnKey), true);
        row("esc", "esc", key(0, "Escape", keycode::escape), true);
        row("delete", "alt+delete", key(option, "BackSpace", keycode::backspace), true);
        row("backslash, by its sign", "CmdOrCtrl+\\", key(command, "\\"), true);
        row("backslash, by its name", "cmd+backslash", key(command, "\\"), true);
        row("plus cannot be written", "cmd++", key(command, "+"), false);
        row("modifiers alone", "cmd+shift", key(command | shift, "S"), false);
        row("empty parts", "+cmd++d+", key(command, "d"), true);
        row("no such key", "cmd+nonsense", key(command, "n"), false);
        row("a function key", "cmd+f5", key(command, "F5"), true);
    }
    void aKeyFiresWhatItIsWrittenFor() {
        const auto [text, event, fires] = currentRow<QString, KeyEvent, bool>();
        Desk desk;
        desk.service->setConfig(only(text));
        QCOMPARE(desk.keys.press(event), fires);
        desk.keys.pressElsewhere(event);
        QCOMPARE(desk.count(Action::toggleWindow), fires ? 2 : 0);
    }

    void aRecordedKeyIsWrittenSoThatItFires_data() {
        const auto row = rows<KeyEvent, QString, QString>();
        row("a letter", dashboard, "CmdOrCtrl+Shift+D", "Super+Shift+D");
        row("a named key", key(option | control, "Left", keycode::left), "Ctrl+Alt+Left", "Ctrl+Alt+←");
        row("space", space, "space", "Space");
        row("a sign", key(command, "\\"), "CmdOrCtrl+\\", "Super+\\");
        row("with Shift", key(command | shift, "@"), "CmdOrCtrl+Shift+@", "Super+Shift+@");
        row("a function key", key(shift, "F5"), "Shift+F5", "Shift+F5");
        row("another alphabet", key(command, "ж"), "CmdOrCtrl+Ж", "Super+Ж");
        row("no single capital", key(command, "ß"), "CmdOrCtrl+ß", "Super+ß");
        row("escape with a modifier", key(command, "Escape", keycode::escape), "CmdOrCtrl+Escape",
            "Super+Esc");
    }
    void aRecordedKeyIsWrittenSoThatItFires() {
        const auto [event, written, shown] = currentRow<KeyEvent, QString, QString>();
        Desk desk;
        desk.service->recordNextKey([&](const std::optional<QString>& text) {
            desk.service->updateBinding(Action::toggleWindow, text, true);
        });
        // Plus cannot be written, the second comes of holding the key that began this, and the third is
        // pressed in another program.
        QVERIFY(desk.keys.press(key(command, "+")));
        QVERIFY(desk.keys.press(repeated(dashboard)));
        desk.keys.pressElsewhere(up);
        QVERIFY(desk.keys.press(inField(event)));
        QCOMPARE(desk.service->config().binding(Action::toggleWindow)->key, written);
        QCOMPARE(shownKey(written), shown);
        QVERIFY(desk.fired.isEmpty());
        desk.service->setConfig(only(written));
        QVERIFY(desk.keys.press(event));
        QCOMPARE(desk.count(Action::toggleWindow), 1);
    }

    void recordingEndsWithoutAKey() {
        Desk desk;
        QList<std::optional<QString>> recorded;
        const auto record = [&] {
            desk.service->recordNextKey([&](const auto& text) { recorded.append(text); });
        };
        record();
        desk.keys.press(key(0, "Escape", keycode::escape));
        record();
        desk.keys.press(key(0, "BackSpace", keycode::backspace));
        record();
        Q_EMIT desk.keys.focusMoved();
        QCOMPARE(recorded, QList<std::optional<QString>>({std::nullopt, QString(), std::nullopt}));
        QVERIFY(desk.keys.press(dashboard));
        QCOMPARE(desk.fired, {Action::toggleDashboard});
    }

    void aRecordedKeyActsWhenItIsPressedAgain() {
        Desk desk;
        const auto k = key(command, "k");
        desk.service->recordNextKey(
            [&](const auto& text) { desk.service->updateBinding(Action::moveWindowUp, text, std::nullopt); });
        for (const auto& event : {k, repeated(k), repeated(k)}) {
            QVERIFY(desk.keys.press(event));
        }
        desk.clock.advance(1s);
        QVERIFY(desk.fired.isEmpty());
        desk.keys.release();
        QVERIFY(desk.keys.press(k) && desk.keys.press(repeated(k)));
        desk.clock.advance(16ms);
        QCOMPARE(desk.count(Action::moveWindowUp), 2);
    }

    void whatTheFocusUsesIsNotAShortcut() {
        Desk desk;
        QVERIFY(!desk.keys.press(inField(space)) && !desk.keys.press(onControl(space)));
        QVERIFY(desk.fired.isEmpty());
        QVERIFY(desk.keys.press(inField(dashboard)));
        QVERIFY(desk.keys.press(space));
        QVERIFY(!desk.keys.release());
        desk.keys.pressElsewhere(space);
        QCOMPARE(desk.fired,
                 QList({Action::toggleDashboard, Action::manualSendStop, Action::manualSendStop}));
    }

    void aHeldKeyFiresOnceAndAHeldMoveGoesOn() {
        Desk desk;
        desk.keys.pressElsewhere(dashboard);
        desk.keys.pressElsewhere(repeated(dashboard));
        QCOMPARE(desk.fired, {Action::toggleDashboard});
        desk.keys.pressElsewhere(up);
        QCOMPARE(desk.count(Action::moveWindowUp), 1);
        desk.keys.pressElsewhere(repeated(up));
        desk.clock.advance(15ms);
        QCOMPARE(desk.count(Action::moveWindowUp), 1);
        desk.clock.advance(145ms);
        QCOMPARE(desk.count(Action::moveWindowUp), 11);
        desk.keys.press(left);
        desk.clock.advance(16ms);
        QCOMPARE(desk.count(Action::moveWindowUp), 12);
        QCOMPARE(desk.count(Action::moveWindowLeft), 2);
        // Either key, in either place; what was switched off meanwhile goes on until then.
        desk.service->updateBinding(Action::moveWindowLeft, std::nullopt, false);
        desk.clock.advance(16ms);
        QCOMPARE(desk.count(Action::moveWindowLeft), 3);
        desk.keys.releaseElsewhere();
        desk.clock.advance(1s);
        QCOMPARE(desk.count(Action::moveWindowUp) + desk.count(Action::moveWindowLeft), 16);
        QVERIFY(!desk.keys.press(left));
    }

    void noMoveSticks_data() {
        const auto row = rows<std::function<void(Desk&)>>();
        row("the key comes up here", [](Desk& desk) { desk.keys.release(); });
        row("its end may go unseen", [](Desk& desk) { Q_EMIT desk.keys.keysLost(); });
        row("a key is recorded", [](Desk& desk) { desk.service->recordNextKey([](const auto&) {}); });
        row("the program ends", [](Desk& desk) { desk.service->unregisterAll(); });
        row("it starts again", [](Desk& desk) { desk.service->registerAll(); });
    }
    void noMoveSticks() {
        const auto [end] = currentRow<std::function<void(Desk&)>>();
        Desk desk;
        desk.keys.press(up);
        end(desk);
        desk.clock.advance(1s);
        QCOMPARE(desk.fired, {Action::moveWindowUp});
        QCOMPARE(desk.clock.timerCount(), 0);
    }

    void nothingIsWatchedAfterTheEnd() {
        Desk desk;
        desk.service->unregisterAll();
        QVERIFY(!desk.keys.isWatched() && desk.keys.asked.isEmpty());
        QVERIFY(!desk.keys.press(dashboard));
        desk.service->registerAll();
        desk.service->registerAll();
        desk.keys.press(dashboard);
        QCOMPARE(desk.fired, {Action::toggleDashboard});
        desk.service.reset();
        QVERIFY(!desk.keys.isWatched());
    }

    // No JSON, a missing member, one of another kind.
    void aBadTableIsTheDefaultsAndStaysStored() {
        for (const QByteArray stored :
             {"{\"bindings\":", R"({"bindings":{"toggle_window":{"action":"toggle_window","key":"x"}}})",
              R"({"bindings":{"toggle_window":{"action":"toggle_window","key":1,"enabled":true}}})"}) {
            Desk desk(stored);
            QCOMPARE(desk.service->config(), ShortcutsConfig::defaults());
            QCOMPARE(desk.defaults->data("shortcuts_config"), stored);
            desk.service->updateBinding(Action::toggleDashboard, "alt+D", std::nullopt);
            Desk next(desk.defaults->data("shortcuts_config").value());
            QCOMPARE(next.service->config(), desk.service->config());
            QVERIFY(next.keys.press(key(option, "d")) && next.keys.press(key(command, "\\")));
            next.service->resetToDefaults();
            QVERIFY(next.keys.press(dashboard));
        }
    }

    void aStoredTableIsTakenAsItIs() {
        const QByteArray stored =
            R"({"bindings":{"brew_tea":{"action":"brew_tea","key":"cmd+\\","enabled":true},)"
            R"("toggle_window":{"action":"x","key":"space","enabled":false}}})";
        Desk desk(stored);
        for (const auto& event : {dashboard, space, key(command, "\\")}) {
            QVERIFY(!desk.keys.press(event));
        }
        desk.service->updateBinding(Action::toggleDashboard, std::nullopt, true);
        // It has no key yet.
        QCOMPARE(desk.service->config().binding(Action::toggleDashboard)->key, QString());
        QVERIFY(!desk.keys.press(dashboard));
        desk.service->updateBinding(Action::toggleWindow, std::nullopt, true);
        QVERIFY(desk.keys.press(space));
        QVERIFY(desk.defaults->data("shortcuts_config")->contains("brew_tea"));
    }

    void theDesktopFiresWhatItWatches() {
        Desk desk;
        desk.keys.reachNow = platform::KeyReach::desktop;
        desk.keys.triggers = {{"move_window_up", "Meta+Up"}};
        QCOMPARE(desk.service->reach(Action::moveWindowUp), platform::KeyReach::desktop);
        QCOMPARE(desk.service->reach(Action::screenshot), platform::KeyReach::ownWindows);
        Q_EMIT desk.keys.desktopShortcutPressed("move_window_up");
        desk.clock.advance(16ms);
        Q_EMIT desk.keys.desktopShortcutReleased("move_window_up");
        desk.clock.advance(1s);
        QCOMPARE(desk.count(Action::moveWindowUp), 2);
        desk.service->updateBinding(Action::toggleWindow, std::nullopt, false);
        QCOMPARE(desk.keys.asked.size(), 10);
        Q_EMIT desk.keys.desktopShortcutPressed("toggle_window");
        Q_EMIT desk.keys.desktopShortcutPressed("brew_tea");
        QCOMPARE(desk.fired.size(), 2);
    }
};

QTEST_GUILESS_MAIN(ShortcutServiceTest)
#include "ShortcutServiceTest.moc"
