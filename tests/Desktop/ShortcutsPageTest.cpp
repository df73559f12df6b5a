#include "ViewModels/DashboardViewModel.h"
#include "Windows/DashboardWindowController.h"
#include "sandbox/desktop/UserHands.h"
#include "tests/Desktop/DesktopMain.h"
#include "tests/Support/TestProgram.h"

using namespace corvane;

namespace {

const QString dashboardKeys = "Keys of Toggle Dashboard: ";

DashboardWindowController* dashboard() {
    return windowOf<DashboardWindowController>();
}

// The program with its real windows and keyboard, at the page.
struct Desk : TestProgram {
    Desk()
        : TestProgram(Start::signedIn, defaultInfo(), makeWindowFactory(),
                      platform::makeDesktopKeyMonitor()) {
        launchToSession();
        app->dashboardViewModel().setSelectedPage(DashboardPage::shortcuts);
        waitUntil([] { return dashboard() && dashboard()->isActive(); });
    }
    bool isRecording() const { return app->shortcutService().isRecording(); }
};

} // namespace

class ShortcutsPageTest : public QObject {
    Q_OBJECT

public:
    explicit ShortcutsPageTest(const PrivateDisplay& display)
        : m_hands(display) {}

private:
    bool showsDashboardKeys(const QString& keys) const {
        return waitUntil([&] { return m_hands.sees(dashboardKeys + keys); });
    }
    // Where the layout that is under way will have put it: a picture waits for it.
    void click(const QString& name) const {
        dashboard()->grabWindow();
        m_hands.click(name);
    }
    bool startsRecording(const Desk& desk, const QString& keys) const {
        click(dashboardKeys + keys);
        return waitUntil([&] { return desk.isRecording(); });
    }

    const UserHands m_hands;

private Q_SLOTS:
    // The bare space bar is a shortcut and a button's key: it has to be neither while keys are recorded.
    void whatIsPressedOnAChipIsRecorded() {
        Desk desk;
        QVERIFY(showsDashboardKeys("Super+Shift+D"));
        QVERIFY(startsRecording(desk, "Super+Shift+D"));
        m_hands.press("super+shift+k");
        QVERIFY(showsDashboardKeys("Super+Shift+K"));
        QVERIFY(!desk.isRecording());
        m_hands.press("Return");
        QVERIFY(waitUntil([&] { return desk.isRecording(); }));
        m_hands.press("space");
        QVERIFY(waitUntil([&] { return m_hands.sees("Use Anyway"); }));
        click("Use Anyway");
        QVERIFY(showsDashboardKeys("Space"));
        QVERIFY(m_hands.sees("Keys of Toggle Window: Super+\\"));
        QVERIFY(!desk.isRecording() && dashboard()->isVisible());
        QCOMPARE(desk.app->shortcutService().config().binding(ShortcutAction::manualSendStop)->key, "");
    }

    void recordingEndsWhereTheKeyboardGoes() {
        Desk desk;
        QVERIFY(showsDashboardKeys("Super+Shift+D"));
        for (const auto* elsewhere : {"Reset to Defaults", "Audio"}) {
            QVERIFY(startsRecording(desk, "Super+Shift+D"));
            click(elsewhere);
            QVERIFY(waitUntil([&] { return !desk.isRecording(); }));
        }
        desk.app->dashboardViewModel().setSelectedPage(DashboardPage::shortcuts);
        QVERIFY(startsRecording(desk, "Super+Shift+D"));
        desk.app->toggleDashboard();
        QVERIFY(waitUntil([&] { return !desk.isRecording(); }));
        desk.app->toggleDashboard();
        QVERIFY(showsDashboardKeys("Super+Shift+D"));
    }
};

int main(int argc, char* argv[]) {
    return runOnDisplay<ShortcutsPageTest>(argc, argv);
}

#include "ShortcutsPageTest.moc"
