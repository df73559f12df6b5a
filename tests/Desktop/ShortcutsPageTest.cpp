#include "tests/Desktop/DesktopTest.h"

using namespace corvane;

namespace {

const QString dashboardKeys = "Keys of Toggle Dashboard: ";

const auto dashboard = &WindowedProgram::dashboard;

struct Desk : WindowedProgram {
    Desk()
        : WindowedProgram(platform::makeDesktopKeyMonitor()) {
        launchToPage(DashboardPage::shortcuts);
    }
    bool isRecording() const { return app->shortcutService().isRecording(); }
};

} // namespace

class ShortcutsPageTest : public DesktopTest {
    Q_OBJECT

public:
    using DesktopTest::DesktopTest;

private:
    bool showsDashboardKeys(const QString& keys) const { return showsUp(dashboardKeys + keys); }
    bool startsRecording(const Desk& desk, const QString& keys) const {
        clickOnDashboard(dashboardKeys + keys);
        return waitUntil([&] { return desk.isRecording(); });
    }

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
        QVERIFY(showsUp("Use Anyway"));
        clickOnDashboard("Use Anyway");
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
            clickOnDashboard(elsewhere);
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
