#include "Views/Dashboard/ShortcutsPresenter.h"
#include "tests/Support/Rows.h"
#include "tests/Support/TestProgram.h"

#include <QSignalSpy>

using namespace corvane;

using platform::KeyEvent;
using platform::KeyReach;
namespace keycode = platform::keycode;

namespace {

KeyEvent withCommand(const QString& characters, int code = keycode::none) {
    return {.modifierFlags = platform::modifier::command,
            .charactersIgnoringModifiers = characters,
            .keyCode = code};
}
const KeyEvent escape{.charactersIgnoringModifiers = "Escape", .keyCode = keycode::escape};
const KeyEvent backspace{.charactersIgnoringModifiers = "BackSpace", .keyCode = keycode::backspace};
const auto k = withCommand("k");
const auto up = withCommand("Up", keycode::up);
const auto down = withCommand("Down", keycode::down);

struct Page : TestProgram {
    explicit Page(const QByteArray& bindings = {}) {
        if (!bindings.isEmpty()) {
            defaults->setData("shortcuts_config", "{\"bindings\":{" + bindings + "}}");
        }
        launch();
        page = std::make_unique<ShortcutsPresenter>(app->settingsViewModel(), app->shortcutService());
    }
    QString of(int row, const char* what) const { return page->rows().at(row).toMap()[what].toString(); }
    // Where the rows differ from the defaults, and the warning.
    QString changes() const {
        QString text;
        for (int row = 0; row < page->rowCount(); ++row) {
            const auto key = of(row, "key");
            const auto changed = key != shownKey(defaultKey(allShortcutActions.at(size_t(row))));
            text += changed ? of(row, "name") + u'=' + key + u' ' : QString();
            text += of(row, "warning");
        }
        return text.trimmed();
    }
    bool isRecording() const { return app->shortcutService().isRecording(); }

    std::unique_ptr<ShortcutsPresenter> page;
};

QByteArray binding(const char* action, const char* key) {
    return QStringLiteral(R"("%1":{"action":"%1","key":"%2","enabled":true})").arg(action, key).toUtf8();
}

} // namespace

class ShortcutsPresenterTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void keysOfTheDesktopGiveWayToFreeOnes() {
        Page page;
        page.page->appear();
        QCOMPARE(page.page->takenNotice(), "");
        page.keys->taken = {platform::parseDesktopKey("<Super>Left"), platform::parseDesktopKey("Meta+Up"),
                            platform::parseDesktopKey("<Super>d"), platform::parseDesktopKey("Alt+Down")};
        page.page->appear();
        QVERIFY(page.page->takenNotice().contains(shownKey("CmdOrCtrl+Left")));
        QVERIFY(!page.page->takenNotice().contains(shownKey("CmdOrCtrl+Down")));
        page.page->useFreeKeys();
        QCOMPARE(page.changes(), "Move Window Up=Super+Ctrl+Alt+↑ Move Window Left=Super+Ctrl+Alt+←");
        QCOMPARE(page.page->takenNotice(), "");
    }

    void aRowTakesWhatIsPressed_data() {
        const auto row = rows<int, QList<KeyEvent>, QString>();
        const int none = -1;
        const int moveUp = 3;
        const QString upIsUsed = "Super+↑ is used by Move Window Up. Press it again to take it, or Escape.";
        row("a free key", none, {k}, "Toggle Dashboard=Super+K");
        row("left", none, {escape, k}, "");
        row("cleared", none, {backspace}, "Toggle Dashboard=Not set");
        row("used", none, {up}, upIsUsed);
        row("used, and left", none, {up, escape}, "");
        row("used, and taken", none, {up, up}, "Toggle Dashboard=Super+↑ Move Window Up=Not set");
        row("used, and a free one", none, {up, k}, "Toggle Dashboard=Super+K");
        row("used, and cleared", none, {up, backspace}, "Toggle Dashboard=Not set");
        row("one used after another", none, {down, up}, upIsUsed);
        row("used by what is off", moveUp, {up}, "Toggle Dashboard=Super+↑");
    }
    void aRowTakesWhatIsPressed() {
        const auto [off, presses, changes] = currentRow<int, QList<KeyEvent>, QString>();
        Page desk;
        if (off >= 0) {
            desk.page->toggle(off);
        }
        desk.page->record(0);
        for (const auto& press : presses) {
            desk.keys->press(press);
        }
        QCOMPARE(desk.changes(), changes);
        QCOMPARE(desk.of(0, "isRecording"), QVariant(desk.isRecording()).toString());
    }

    void recordingEndsWithThePageAndWithAnotherRow() {
        Page desk;
        desk.page->record(0);
        desk.keys->press(up);
        desk.page->record(1);
        QCOMPARE(desk.of(0, "isRecording"), "false");
        desk.keys->press(k);
        QCOMPARE(desk.changes(), "Toggle Window=Super+K");
        desk.page->record(2);
        desk.page->leave();
        QVERIFY(!desk.isRecording());
        desk.page->record(2);
        desk.page.reset();
        QVERIFY(!desk.isRecording());
    }

    void aStoredTableIsShownAsItIs_data() {
        const auto row = rows<QByteArray, QString, QString>();
        row("no binding", binding("other", "cmd+k"), "Not set", "");
        row("no parts", binding("toggle_dashboard", "+++"), "Not set", "");
        row("no such key", binding("toggle_dashboard", "cmd+nonsense"), "Super+nonsense", "");
        row("lines", binding("toggle_dashboard", R"(cmd+two\nlines)"), "Super+two lines", "");
        row("the same twice",
            binding("toggle_dashboard", "cmd+return") + ',' + binding("toggle_window", "cmd+Enter"),
            "Super+Enter", "Toggle Window has the same keys, so only one of them works.");
    }
    void aStoredTableIsShownAsItIs() {
        const auto [stored, key, note] = currentRow<QByteArray, QString, QString>();
        Page desk(stored);
        QCOMPARE(desk.of(0, "key"), key);
        QCOMPARE(desk.of(0, "note"), note);
        for (const auto* isOn : {"false", "true"}) {
            desk.page->toggle(0);
            QCOMPARE(desk.of(0, "isOn"), isOn);
            QCOMPARE(desk.of(0, "key"), key);
        }
    }

    void thePageSaysWhereShortcutsWork_data() {
        const auto row = rows<KeyReach, QStringList>();
        row("everywhere", KeyReach::everywhere, {"", "", ""});
        row("here", KeyReach::ownWindows, {"This desktop shows key presses", "", ""});
        row("as the desktop says", KeyReach::desktop,
            {"This desktop watches the keys itself", "In other programs: Meta+F", "In other programs: none"});
    }
    void thePageSaysWhereShortcutsWork() {
        const auto [reach, texts] = currentRow<KeyReach, QStringList>();
        Page desk;
        desk.keys->reachNow = reach;
        desk.keys->triggers["toggle_dashboard"] = "Meta+F";
        const QStringList seen{desk.page->reachNotice(), desk.of(0, "note"), desk.of(1, "note")};
        for (int line = 0; line < 3; ++line) {
            QVERIFY2(texts[line].isEmpty() ? seen[line].isEmpty() : seen[line].startsWith(texts[line]),
                     qPrintable(seen[line]));
        }
    }

    void aResetIsAlwaysSeen() {
        Page desk;
        QSignalSpy resets(desk.page.get(), &ShortcutsPresenter::wasReset);
        desk.page->toggle(4);
        for (int count = 1; count <= 2; ++count) {
            desk.page->record(0);
            desk.page->resetToDefaults();
            QCOMPARE(resets.count(), count);
            QVERIFY(!desk.page->resetNote().isEmpty() && !desk.isRecording());
        }
        QCOMPARE(desk.of(4, "isOn"), "true");
        desk.page->toggle(4);
        QCOMPARE(desk.page->resetNote(), "");
    }
};

QTEST_GUILESS_MAIN(ShortcutsPresenterTest)
#include "ShortcutsPresenterTest.moc"
