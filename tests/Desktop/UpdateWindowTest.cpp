#include "Services/UpdaterService.h"
#include "ViewModels/DashboardViewModel.h"
#include "Windows/DashboardWindowController.h"
#include "sandbox/desktop/UserHands.h"
#include "tests/Desktop/DesktopMain.h"
#include "tests/Desktop/SampleUpdateFeed.h"
#include "tests/Support/TestProgram.h"

using namespace corvane;

namespace {

QWindow* updateWindow() {
    for (auto* window : QGuiApplication::topLevelWindows()) {
        if (window->title() == u"Software Update") {
            return window;
        }
    }
    return nullptr;
}

bool dashboardIsActive() {
    return qobject_cast<DashboardWindowController*>(QGuiApplication::focusWindow()) != nullptr;
}

// The program with its real windows, at the settings, where the feed has a newer version.
struct Desk : TestProgram {
    Desk()
        : TestProgram(Start::signedIn, updatableInfo(), makeWindowFactory()) {
        updates = [](auto&&) { return FakeHttpClient::response(200, updateFeed); };
        launchToSession();
        app->dashboardViewModel().setSelectedPage(DashboardPage::settings);
        waitUntil(dashboardIsActive);
    }
};

} // namespace

class UpdateWindowTest : public QObject {
    Q_OBJECT

public:
    explicit UpdateWindowTest(const PrivateDisplay& display)
        : m_hands(display) {}

private:
    bool seen(const QString& name) const {
        return waitUntil([&] { return m_hands.sees(name); });
    }

    // Where the layout that is under way will have put it: a picture waits for it.
    void click(const QString& name) const {
        windowOf<DashboardWindowController>()->grabWindow();
        m_hands.click(name);
    }

    const UserHands m_hands;

private Q_SLOTS:
    void theCardLeadsToTheWindowAndBack() {
        Desk desk;
        QVERIFY(seen("App Updates"));
        click("Check Now");
        QVERIFY(seen("Corvane Lumetra 0.2.0 is available"));
        QVERIFY(waitUntil([] { return updateWindow() && updateWindow()->isActive(); }));
        QVERIFY(m_hands.sees("Release notes"));
        m_hands.press("Escape");
        QVERIFY(waitUntil([] { return !updateWindow(); }));
        QVERIFY(seen("Update Available — 0.2.0"));

        click("Download & Install");
        QVERIFY(waitUntil([] { return updateWindow() && updateWindow()->isActive(); }));
        m_hands.press("Return"); // what it offers has the keyboard
        QVERIFY(seen("The update did not succeed"));
    }

    // An interviewer types while the interval ends.
    void whatNobodyAskedForLeavesTheKeyboard() {
        Desk desk;
        desk.clock->advance(std::chrono::minutes(1));
        QVERIFY(seen("Corvane Lumetra 0.2.0 is available"));
        QTest::qWait(200);
        QVERIFY(dashboardIsActive());
    }
};

int main(int argc, char* argv[]) {
    return runOnDisplay<UpdateWindowTest>(argc, argv);
}

#include "UpdateWindowTest.moc"
