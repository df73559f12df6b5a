#include "App/MachineId.h"
#include "Services/ClerkAuthService.h"
#include "Services/DatabaseService.h"
#include "ViewModels/OverlayViewModel.h"
#include "ViewModels/SettingsViewModel.h"
#include "ViewModels/SystemAudioViewModel.h"
#include "Views/Overlay/OverlayBarPresenter.h"
#include "tests/Support/Rows.h"
#include "tests/Support/TestProgram.h"

#include <QSignalSpy>

using namespace corvane;

namespace {

const QStringList one{"corvane://interview/one"};
const QStringList two{"corvane://interview/two"};

} // namespace

class AppDelegateTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void aBrokenPackageDoesNotLaunch() {
        TestProgram program(TestProgram::Start::signedOut, platform::ApplicationInfo());
        try {
            program.app->applicationDidFinishLaunching();
            QFAIL("launched");
        } catch (const LaunchError& error) {
            QCOMPARE(error.what(), "CLERK_PUBLISHABLE_KEY missing/invalid in Info.plist: missingBundleKey");
        }
    }

    void thePanelFollowsTheSignedInUser() {
        TestProgram program(TestProgram::Start::signedOut);
        program.launch();
        auto& app = *program.app;
        QVERIFY(!program.windows->panel->visible && app.overlayViewModel().isHidden());
        QVERIFY(program.windows->dashboard->visible);
        app.applicationShouldHandleReopen();
        QVERIFY(program.windows->panel->visible && !app.overlayViewModel().isHidden());

        SessionProgram signedIn;
        QVERIFY(signedIn.windows->panel->visible);
        Q_EMIT signedIn.app->clerkAuthService().stateChanged(); // finds the link up
        signedIn.settle();
        QCOMPARE(signedIn.sockets->count(), 1);
        signedIn.app->toggleFloatingPanel();
        QVERIFY(!signedIn.windows->panel->visible && signedIn.app->overlayViewModel().isHidden());
        // A desktop may refuse the keyboard: each press asks again.
        QSignalSpy asked(signedIn.app->overlayBarPresenter().input(),
                         &CompletionInputPresenter::focusRequested);
        signedIn.app->focusInput();
        QVERIFY(signedIn.windows->panel->visible && signedIn.app->overlayBarPresenter().input()->isFocused());
        signedIn.app->focusInput();
        QCOMPARE(asked.size(), 2);
        waitFor(signedIn.app->clerkAuthService().signOut());
        signedIn.settle();
        QVERIFY(!signedIn.windows->panel->visible && signedIn.app->overlayViewModel().isHidden());
        // The link ends with the session, for good.
        const auto& link = signedIn.app->webSocketService();
        QVERIFY(!link.isConnected() && !link.isReconnecting());
        signedIn.clock->advance(std::chrono::minutes(1));
        QCOMPARE(signedIn.sockets->count(), 1);
    }

    void launchTakesUpTheStoredSwitches() {
        TestProgram program;
        program.launch();
        QCOMPARE(program.windows->panel->level, WindowLevel::normal);
        QCOMPARE(program.windows->panel->sharing, SharingType::none);
        program.app->showDashboard();
        program.app->settingsViewModel().toggleAlwaysOnTop();
        program.app->settingsViewModel().toggleContentProtected();
        QCOMPARE(program.windows->panel->level, WindowLevel::floating);
        QCOMPARE(program.windows->panel->sharing, SharingType::readOnly);
        QCOMPARE(program.windows->dashboard->sharing, SharingType::readOnly);
        program.app->settingsViewModel().toggleContentProtected();
        QCOMPARE(program.windows->dashboard->sharing, SharingType::none);
        program.app->settingsViewModel().toggleContentProtected();

        TestProgram other;
        other.defaults->setData("customizable", program.defaults->data("customizable").value());
        other.launch();
        QCOMPARE(other.windows->panel->level, WindowLevel::floating);
        QCOMPARE(other.windows->panel->sharing, SharingType::readOnly);
    }

    void theStoredBackendIsConnectedTo_data() {
        const auto row = rows<std::optional<QString>, QString>();
        row("none stored", std::nullopt, "backend.lumetra.test");
        row("another one", "https://other.test", "other.test");
        row("an empty one", "", "");
    }
    void theStoredBackendIsConnectedTo() {
        const auto [stored, host] = currentRow<std::optional<QString>, QString>();
        TestProgram program;
        if (stored) {
            // As the setup page of an earlier run left it.
            FakeClock clock;
            DatabaseService(program.folder.path(), clock).setSetting("corvane_api_url", *stored);
        }
        program.launch();
        QCOMPARE(program.sockets->count(), host.isEmpty() ? 0 : 1);
        QCOMPARE(host.isEmpty() ? QString() : program.sockets->last().url.host(), host);
    }

    void linksAreReadStrictly_data() {
        const auto row = rows<QString, QString>();
        row("an id", "corvane://interview/abc", "abc");
        row("the last component", "corvane://interview/a/b", "b");
        row("a trailing slash", "corvane://interview/a/", "a");
        row("escaped", "corvane://interview/a%20b", "a b");
        row("the scheme in capitals", "CORVANE://interview/abc", "");
        row("the host in capitals", "corvane://Interview/abc", "");
        row("with a query", "corvane://interview/abc?x=/y", "abc");
        row("the host as a user", "corvane://interview@meeting/abc", "");
        row("no path", "corvane://interview", "");
        row("the word itself", "corvane://interview/interview", "");
    }
    void linksAreReadStrictly() {
        const auto [url, id] = currentRow<QString, QString>();
        TestProgram program(TestProgram::Start::signedOut);
        program.launch();
        program.app->open({url, "corvane://interview/second"});
        QCOMPARE(program.interview().interviewId(), id);
        QCOMPARE(program.log.count("[DeepLink] Received interview ID"), id.isEmpty() ? 0 : 1);
        program.app->open(QStringList());
        // Signed out, a link can start nothing.
        program.settle();
        QCOMPARE(program.interview().status(), InterviewStatus::idle);
    }

    void anEarlyLinkWaitsForLaunchAndSession() {
        TestProgram program;
        program.app->open(one);
        program.app->open(two);
        program.launchToSession();
        QCOMPARE(program.interview().interviewId(), "two");
        QCOMPARE(program.interview().status(), InterviewStatus::waitingForQuestions);
        QVERIFY(program.log.contains("[DeepLink] Waiting for WebSocket session…"));
        QCOMPARE(program.log.count("[DeepLink] Session ready — starting interview two"), 1);
        QCOMPARE(program.commands("chat").size(), 1);
    }

    void theLaterOfTwoWaitingLinksStarts() {
        TestProgram program;
        program.launch();
        program.app->open(one);
        program.app->open(two);
        program.openLink();
        // Connected, though the session is not confirmed: a third link needs no wait and takes the place of
        // the second.
        // The server says so twice in one breath, and is heard afterwards.
        program.peer().sendText(R"({"type":"session_resumed"})");
        program.serverSays(R"({"type":"session_resumed"})");
        program.serverSays(R"({"type":"processing_status","stage":"thinking"})");
        QVERIFY(program.completion().processingStatusText());
        QCOMPARE(program.commands("chat").size(), 1);
        QCOMPARE(program.log.count("Session ready — starting interview"), 1);
        QVERIFY(program.log.contains("Session ready — starting interview two"));
        program.serverSays(R"({"type":"set_session"})");
        QCOMPARE(program.commands("chat").size(), 1);
    }

    void aLinkStartsAtOnceOrNotAtAll() {
        SessionProgram program;
        program.app->open(one);
        program.settle();
        QCOMPARE(program.interview().status(), InterviewStatus::waitingForQuestions);
        QVERIFY(!program.log.contains("Waiting for WebSocket session"));

        program.app->open(two);
        program.settle();
        QCOMPARE(program.interview().interviewId(), "two");
        QCOMPARE(program.commands("chat").size(), 1);
    }

    void aShortcutDoesItsWork_data() {
        using Work = std::function<bool(TestProgram&)>;
        const auto row = rows<ShortcutAction, Work>();
        row("dashboard", ShortcutAction::toggleDashboard,
            [](TestProgram& program) { return !program.windows->dashboard->visible; });
        row("bar", ShortcutAction::toggleWindow, [](TestProgram& program) {
            return !program.windows->panel->visible && program.app->overlayViewModel().isHidden();
        });
        row("input", ShortcutAction::focusInput,
            [](TestProgram& program) { return program.app->overlayBarPresenter().input()->isFocused(); });
        const auto standsAt = [](QPoint place) {
            return
                [place](TestProgram& program) { return program.windows->panel->frame().topLeft() == place; };
        };
        row("up", ShortcutAction::moveWindowUp, standsAt({330, 42}));
        row("down", ShortcutAction::moveWindowDown, standsAt({330, 66}));
        row("left", ShortcutAction::moveWindowLeft, standsAt({318, 54}));
        row("right", ShortcutAction::moveWindowRight, standsAt({342, 54}));
        row("system audio", ShortcutAction::systemAudio,
            [](TestProgram& program) { return program.app->systemAudioViewModel().isCapturing(); });
        row("recording", ShortcutAction::audioRecording,
            [](TestProgram& program) { return program.completion().isRecordingAudio(); });
        row("screenshot", ShortcutAction::screenshot,
            [](TestProgram& program) { return program.screens->grabs == 1; });
    }
    void aShortcutDoesItsWork() {
        const auto [action, isDone] = currentRow<ShortcutAction, std::function<bool(TestProgram&)>>();
        SessionProgram program;
        QVERIFY(!isDone(program));
        program.app->shortcutTriggered(action);
        QVERIFY(!isDone(program));
        program.settle();
        QVERIFY(isDone(program));
    }

    void theKeyboardIsLetGoAtTheEnd() {
        InterviewProgram program;
        const platform::KeyEvent space{.charactersIgnoringModifiers = " ",
                                       .keyCode = platform::keycode::space};
        QVERIFY(program.keys->press(space));
        program.settle();
        QVERIFY(program.log.contains("sendManualStop ignored"));
        program.app->shortcutTriggered(ShortcutAction::systemAudio);
        program.settle();
        QVERIFY(program.isSilent());
        program.app->applicationWillTerminate();
        QVERIFY(!program.keys->press(space) && !program.keys->isWatched());
    }

    void theMachineIdIsOneStringForEver() {
        const auto defaults = platform::makeMemoryDefaultsStore();
        QCOMPARE(loadMachineId(*defaults, "of-the-system"), "of-the-system");
        const auto made = loadMachineId(*defaults, std::nullopt);
        QCOMPARE(made.size(), 36);
        QCOMPARE(loadMachineId(*defaults, std::nullopt), made);
        QCOMPARE(loadMachineId(*defaults, "of-the-system"), made);

        // One socket with one token; the REST call and the socket name the same machine.
        SessionProgram program;
        QCOMPARE(program.sockets->count(), 1);
        QCOMPARE(program.identityHttp->requests().size(), 1);
        const auto body = program.backendHttp->requests().first().body.value();
        const auto command = program.commands("set_session").first();
        const auto id = loadMachineId(*program.defaults).toUtf8();
        QVERIFY(body.contains("\"session_id\":\"" + id + '"'));
        QVERIFY(command.contains("\"session_id\":\"" + id + '"'));
    }
};

QTEST_GUILESS_MAIN(AppDelegateTest)
#include "AppDelegateTest.moc"
