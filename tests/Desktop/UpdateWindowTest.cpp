#include "Services/UpdaterService.h"
#include "tests/Desktop/DesktopTest.h"
#include "tests/Desktop/SampleUpdateFeed.h"

using namespace corvane;

namespace {

// At the settings, where the feed has a newer version.
struct Desk : WindowedProgram {
    Desk()
        : WindowedProgram({}, updatableInfo()) {
        updates = [](auto&&) { return FakeHttpClient::response(200, updateFeed); };
        launchToPage(DashboardPage::settings);
    }
};

} // namespace

class UpdateWindowTest : public DesktopTest {
    Q_OBJECT

public:
    using DesktopTest::DesktopTest;

private Q_SLOTS:
    void theCardLeadsToTheWindowAndBack() {
        Desk desk;
        QVERIFY(showsUp("App Updates"));
        clickOnDashboard("Check Now");
        QVERIFY(showsUp("Corvane Lumetra 0.2.0 is available"));
        QVERIFY(waitUntil([] { return updateWindow() && updateWindow()->isActive(); }));
        QVERIFY(m_hands.sees("Release notes"));
        m_hands.press("Escape");
        QVERIFY(waitUntil([] { return !updateWindow(); }));
        QVERIFY(showsUp("Update Available — 0.2.0"));

        clickOnDashboard("Download & Install");
        QVERIFY(waitUntil([] { return updateWindow() && updateWindow()->isActive(); }));
        m_hands.press("Return"); // what it offers has the keyboard
        QVERIFY(showsUp("The update did not succeed"));
    }

    // An interviewer types while the interval ends.
    void whatNobodyAskedForLeavesTheKeyboard() {
        Desk desk;
        desk.clock->advance(std::chrono::minutes(1));
        QVERIFY(showsUp("Corvane Lumetra 0.2.0 is available"));
        QTest::qWait(200);
        QVERIFY(Desk::dashboard()->isActive());
    }
};

int main(int argc, char* argv[]) {
    return runOnDisplay<UpdateWindowTest>(argc, argv);
}

#include "UpdateWindowTest.moc"
