#include "Platform/Core/Tasks.h"
#include "Services/ClerkAuthService.h"
#include "Services/WebSocketService.h"
#include "ViewModels/OverlayViewModel.h"
#include "ViewModels/SettingsViewModel.h"
#include "Views/Overlay/OverlayBarPresenter.h"
#include "tests/Support/Rows.h"
#include "tests/Support/TestProgram.h"

#include <QSignalSpy>

using namespace corvane;

using namespace std::chrono_literals;

namespace {

constexpr auto someId = "3f2b8c64-9d1e-4a57-b0c3-5e8f7a6d2c19";
constexpr auto questions = R"({"type":"chat_questions","questions":{"Design":[{"question":"Why?"}]}})";

struct Bar : SessionProgram {
    OverlayBarPresenter& presenter() { return app->overlayBarPresenter(); }
};

// From idle on.
void bring(TestProgram& program, InterviewStatus status, const QString& id) {
    using enum InterviewStatus;
    using Authorization = platform::MicrophoneAuthorization;
    program.interview().setInterviewId(id);
    program.access->authorization = status == error ? Authorization::denied : Authorization::authorized;
    if (status == startingAudio) {
        program.audio->hold();
    }
    if (status == waitingForQuestions || status == error) {
        program.askForInterview(id);
    } else if (status != idle) {
        program.startInterview(id);
    }
    if (status == paused) {
        program.interview().pauseInterview();
    }
    program.access->authorization = Authorization::authorized;
    QCOMPARE(program.interview().status(), status);
}

} // namespace

class BarControlsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void theStartControlFollowsTheInterview_data() {
        using enum InterviewStatus;
        const auto row = rows<InterviewStatus, QString, QString, bool, QString, InterviewStatus, bool>();
        row("idle", idle, someId, "Start", true, "Start interview", waitingForQuestions, false);
        row("no id", idle, "abc", "Start", false, "Enter a valid Interview ID first", idle, false);
        row("waiting", waitingForQuestions, someId, "Starting...", false, "Connecting...",
            waitingForQuestions, false);
        row("starting", startingAudio, someId, "Starting...", false, "Connecting...", startingAudio, false);
        row("streaming", streaming, someId, "Pause", true, "Pause or finish interview", streaming, true);
        row("paused", paused, someId, "Resume", true, "Resume interview", streaming, false);
        row("error", error, someId, "Retry", true,
            "Microphone access required. Open System Settings to allow.", waitingForQuestions, false);
        row("error without an id", error, "abc", "Retry", false,
            "Microphone access required. Open System Settings to allow.", error, false);
    }

    void theStartControlFollowsTheInterview() {
        const auto [status, id, text, enabled, tip, afterPress, dialog] =
            currentRow<InterviewStatus, QString, QString, bool, QString, InterviewStatus, bool>();
        Bar bar;
        auto& control = *bar.presenter().audioControl();
        bring(bar, status, id);
        QCOMPARE(control.text(), text);
        QCOMPARE(control.enabled(), enabled);
        QCOMPARE(control.tip(), tip);
        control.press();
        bar.settle();
        QCOMPARE(bar.interview().status(), afterPress);
        QCOMPARE(bar.interview().showStopDialog(), dialog);
    }

    void withoutTheBackendItRecords() {
        Bar bar;
        auto& control = *bar.presenter().audioControl();
        bar.app->settingsViewModel().setCorvaneApiEnabled(false);
        QCOMPARE(control.tip(), "Start Recording");
        control.press();
        QVERIFY(bar.completion().isRecordingAudio());
        QCOMPARE(control.tip(), "Stop Recording");
        QCOMPARE(control.tint(), "destructive");
    }

    void anIdIsTakenOutOfWhatIsPasted_data() {
        const QString id = someId;
        const auto other = QString(id).replace(u'3', u'4');
        const auto row = rows<QString, QString, bool>();
        row("bare", id, id, false);
        row("blanks around it", "\n " + id + " \t", id, false);
        row("upper case in a link", "corvane://interview/" + id.toUpper() + "?from=mail", id.toUpper(),
            false);
        row("the first of two", "not " + other + " but " + id, other, false);
        row("another version", QString(id).replace("-4", "-1"), QString(id).replace("-4", "-1"), true);
        row("another variant", QString(id).replace("-b", "-c"), QString(id).replace("-b", "-c"), true);
        row("no id", " soon ", " soon ", true);
        row("blanks", "  ", "  ", false);
    }

    void anIdIsTakenOutOfWhatIsPasted() {
        const auto [pasted, kept, showsError] = currentRow<QString, QString, bool>();
        Bar bar;
        auto& input = *bar.presenter().input();
        const QSignalSpy writes(&bar.interview(), &InterviewViewModel::interviewIdChanged);
        input.setInterviewId(pasted);
        QCOMPARE(bar.interview().interviewId(), kept);
        QCOMPARE(writes.size(), pasted == kept ? 1 : 2);
        QCOMPARE(input.showError(), showsError);
    }

    void returnStartsFromIdleOnly() {
        Bar bar;
        auto& interview = bar.interview();
        auto& input = *bar.presenter().input();
        bring(bar, InterviewStatus::error, someId);
        input.submit();
        QCOMPARE(interview.status(), InterviewStatus::error);
        interview.stopInterview();
        input.setInterviewId("abc");
        input.submit();
        QCOMPARE(interview.status(), InterviewStatus::idle);
        input.setInterviewId(someId);
        input.submit();
        QCOMPARE(interview.status(), InterviewStatus::waitingForQuestions);
        QVERIFY(!input.showsField() && input.isProcessing());
    }

    void theFieldTakesTheKeyboardWhileItIsThere() {
        Bar bar;
        auto& input = *bar.presenter().input();
        bar.app->overlayViewModel().setShouldFocusInput(true);
        QVERIFY(input.isFocused() && !bar.app->overlayViewModel().shouldFocusInput());
        input.setIsFocused(false);
        bring(bar, InterviewStatus::streaming, someId);
        bar.app->overlayViewModel().setShouldFocusInput(true);
        QVERIFY(!input.isFocused() && bar.app->overlayViewModel().shouldFocusInput());
    }

    void modesGoOutInOrder_data() {
        const auto row = rows<QList<int>, QStringList, int>();
        row("to Assessment", {1}, {"set_follow_ups:true"}, 1);
        row("to English", {2}, {"set_english_assessment:true"}, 2);
        row("English to Assessment", {2, 1},
            {"set_english_assessment:true", "set_english_assessment:false", "set_follow_ups:true"}, 1);
        row("Assessment to English", {1, 2},
            {"set_follow_ups:true", "set_follow_ups:false", "set_english_assessment:true"}, 2);
        row("the active one again", {2, 2}, {"set_english_assessment:true"}, 2);
        row("back to Transcript", {1, 0}, {"set_follow_ups:true", "set_follow_ups:false"}, 0);
    }

    void modesGoOutInOrder() {
        const auto [clicks, sent, active] = currentRow<QList<int>, QStringList, int>();
        Bar bar;
        auto& modes = *bar.presenter().modes();
        bar.startInterview(someId);
        modes.select(1); // nothing to assess yet
        bar.serverSays(questions);
        for (const auto click : clicks) {
            modes.select(click);
            bar.settle();
        }
        QStringList commands;
        for (const auto& text : bar.commands()) {
            const auto object = json::parse(text).as_object();
            if (const auto* enabled = object.if_contains("enabled")) {
                commands.append(json::requiredString(object, "type") +
                                (enabled->as_bool() ? ":true" : ":false"));
            }
        }
        QCOMPARE(commands, sent);
        QCOMPARE(modes.active().indexOf(true), active);
        QCOMPARE(modes.active().count(true), 1);
        QCOMPARE(modes.manualModeAvailable(), active == 1);
    }

    void onlyALastingLossShows() {
        for (const auto& [enabled, milliseconds, shows] :
             {std::tuple(true, 1000, false), {true, 1999, false}, {true, 3000, true}, {false, 3000, false}}) {
            Bar bar;
            bar.app->settingsViewModel().setCorvaneApiEnabled(enabled);
            auto& status = *bar.presenter().status();
            bar.loseLink();
            bar.advance(std::chrono::milliseconds(milliseconds));
            QCOMPARE(status.showIcon(), shows);
            status.setShowPopover(shows);
            bar.openLink();
            QVERIFY(bar.app->webSocketService().isConnected());
            QVERIFY(!status.showIcon() && !status.showPopover());
            // What the drop had begun is over.
            bar.clock->advance(5s);
            QVERIFY(!status.showIcon());
        }
    }

    void theStatusSaysWhatIsWrong() {
        Bar bar;
        auto& status = *bar.presenter().status();
        QCOMPARE(status.statusText(), "Connection lost");
        bar.loseLink();
        QCOMPARE(status.statusText(), "Reconnecting");
        QCOMPARE(status.statusMessage(), "The assistant is trying to reconnect automatically in 1s.");
        bar.advance(1s);
        QCOMPARE(status.statusMessage(), "The assistant is trying to reconnect automatically.");

        bar.peer().complete({}, 401);
        bar.settle();
        QCOMPARE(status.statusText(), "Sign-in required");
        QCOMPARE(status.statusMessage(), bar.app->webSocketService().authErrorText());
        bar.windows->dashboard->orderOut();
        status.act();
        QVERIFY(bar.windows->dashboard->isVisible());

        // A connection that could not be replaced goes on, and has an issue.
        auto& link = bar.app->webSocketService();
        link.manualReconnect();
        bar.settle();
        bar.openLink();
        bar.app->clerkAuthService().invalidateCachedJWT();
        bar.identityHttp->fail(platform::HttpError::Kind::hostNotFound);
        platform::startTask(link.connect(QStringLiteral("https://other.test")), "connect");
        bar.settle();
        bar.clock->advance(2s);
        QVERIFY(link.isConnected() && status.showIcon());
        QCOMPARE(status.statusText(), "Sign-in required");
    }
};

QTEST_GUILESS_MAIN(BarControlsTest)
#include "BarControlsTest.moc"
