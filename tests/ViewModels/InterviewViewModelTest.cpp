#include "tests/Support/Rows.h"
#include "tests/Support/TestProgram.h"

using namespace corvane;

using namespace std::chrono_literals;
using Authorization = platform::MicrophoneAuthorization;

namespace {

const std::vector<float> tone(4096, 0.25F);
const platform::AudioError failure(platform::AudioError::Kind::failed, QStringLiteral("broken"));

constexpr auto questionsMessage =
    R"({"type":"chat_questions","questions":{"Design":[{"question":"Why?"},{"question":"How [x]?"}]}})";
constexpr auto resumed = R"({"type":"session_resumed","interview_id":"abc"})";

} // namespace

class InterviewViewModelTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void anInterviewFromStartToFinish() {
        TestProgram program;
        program.launchToSession();
        auto& interview = program.interview();
        program.askForInterview("  abc \n");
        QCOMPARE(interview.interviewId(), "abc");
        QCOMPARE(interview.status(), InterviewStatus::waitingForQuestions);
        QCOMPARE(program.commands("chat").size(), 1);
        QVERIFY(program.commands("chat").first().contains("\"I want to start interview with id abc\""));
        QVERIFY(program.isSilent());

        program.serverSays(R"({"type":"chat_interview_plan","plan":{"Design":[{"question":"Why?"}]}})");
        QCOMPARE(interview.status(), InterviewStatus::streaming);
        QCOMPARE(interview.interviewPlan().first().topic, "Design");
        QVERIFY(program.captures());
        // The second of the two messages stores its data and starts nothing again.
        interview.setActiveQuestionIndex(1);
        program.serverSays(questionsMessage);
        QCOMPARE(interview.questions().size(), 2);
        QCOMPARE(interview.activeQuestionIndex(), 0);
        QCOMPARE(program.commands("interview_id").size(), 1);
        QCOMPARE(program.audio->microphoneStreamsOpened(), 1);

        interview.pauseInterview();
        program.settle();
        QCOMPARE(interview.status(), InterviewStatus::paused);
        QVERIFY(program.isSilent());
        interview.resumeInterview();
        program.settle();
        QCOMPARE(interview.status(), InterviewStatus::streaming);
        QVERIFY(program.captures());

        interview.toggleFollowUps();
        interview.setShowStopDialog(true);
        interview.stopInterview();
        program.settle();
        QCOMPARE(interview.status(), InterviewStatus::idle);
        QVERIFY(program.isSilent());
        QCOMPARE(program.commands("end_interview").size(), 1);
        QVERIFY(!interview.showStopDialog() && !interview.followUpsEnabled());
        QVERIFY(interview.questions().isEmpty() && interview.interviewPlan().isEmpty());
        QVERIFY(interview.interviewId().isEmpty());
        QVERIFY(!program.completion().isResponsePopoverOpen());
    }

    void startsThatDoNotHappen_data() {
        const auto row = rows<QString, Authorization, QString>();
        row("blank id", " \t", Authorization::authorized, "");
        row("denied", "abc", Authorization::denied,
            "Microphone access required. Open System Settings to allow.");
        row("refused when asked", "abc", Authorization::notDetermined, "Microphone access required");
    }
    void startsThatDoNotHappen() {
        const auto [id, authorization, message] = currentRow<QString, Authorization, QString>();
        TestProgram program;
        program.launchToSession();
        program.access->authorization = authorization;
        program.access->grantsRequest = false;
        program.askForInterview(id);
        QCOMPARE(program.interview().status(),
                 message.isEmpty() ? InterviewStatus::idle : InterviewStatus::error);
        QCOMPARE(program.interview().errorMessageText(), message);
        QCOMPARE(program.access->opened.size(), message.isEmpty() ? 0 : 1);
        QVERIFY(program.commands("chat").isEmpty());
    }

    void plainChatAnswerEndsTheWait() {
        for (const auto& [wait, status] :
             {std::pair(1900ms, InterviewStatus::streaming), {2100ms, InterviewStatus::idle}}) {
            TestProgram program;
            program.launchToSession();
            program.askForInterview("abc");
            program.serverSays(R"({"type":"chat_done"})");
            program.clock->advance(wait);
            program.serverSays(questionsMessage);
            program.clock->advance(1s);
            QCOMPARE(program.interview().status(), status);
            QCOMPARE(program.interview().questions().size(), 2);
        }
    }

    void questionsAndModesGoOutAsCommands() {
        TestProgram program;
        program.launchToSession();
        auto& interview = program.interview();
        interview.nextQuestion();
        program.serverSays(R"({"type":"request_active_question"})");
        QVERIFY(program.commands("active_question").isEmpty());

        program.startInterview();
        program.serverSays(questionsMessage);
        program.serverSays(R"({"type":"request_active_question"})");
        interview.nextQuestion();
        interview.nextQuestion();
        program.settle();
        const auto sent = program.commands("active_question");
        QCOMPARE(sent.size(), 2);
        QVERIFY(sent[0].contains("\"Why?\""));
        QVERIFY(sent[1].contains("\"How [x]?\""));
        interview.toggleFollowUps();
        interview.toggleEnglishAssessment();
        program.settle();
        QVERIFY(program.commands("set_follow_ups").last().contains("true"));
        QVERIFY(program.commands("set_english_assessment").last().contains("true"));
    }

    void theInterviewRunsOnWhatStarts_data() {
        const auto row = rows<bool, bool, QString>();
        row("microphone alone", true, false, "");
        row("system alone", false, true, "");
        row("neither", false, false, "Could not capture system or microphone audio. Check System Settings.");
    }
    void theInterviewRunsOnWhatStarts() {
        const auto [microphone, system, message] = currentRow<bool, bool, QString>();
        TestProgram program;
        program.audio->microphoneError = microphone ? std::nullopt : std::optional(failure);
        program.audio->systemError = system ? std::nullopt : std::optional(failure);
        program.launchToInterview();
        QCOMPARE(program.interview().status(), InterviewStatus::streaming);
        QCOMPARE(program.interview().audioUnavailable(), !microphone && !system);
        QCOMPARE(program.interview().microphoneFallbackActive(), microphone && !system);
        QCOMPARE(program.interview().errorMessageText(), message);
    }

    void retryBringsSystemAudioBack() {
        TestProgram program;
        program.audio->systemError = failure;
        program.audio->microphoneError = failure;
        program.launchToInterview();
        auto& interview = program.interview();
        const auto retry = [&] {
            interview.retrySystemAudioCapture();
            program.settle();
        };
        retry();
        QVERIFY(interview.audioUnavailable());
        QCOMPARE(interview.errorMessageText(), "Could not capture any audio. Check System Settings.");
        QVERIFY(program.log.contains("[Interview] Retry: mic failed — broken"));
        program.audio->microphoneError.reset();
        retry();
        QVERIFY(interview.microphoneFallbackActive() && !interview.audioUnavailable());
        program.audio->systemError.reset();
        retry();
        QCOMPARE(interview.status(), InterviewStatus::streaming);
        QVERIFY(!interview.microphoneFallbackActive() && program.audio->systemRuns());
        QCOMPARE(program.audio->microphoneStreamsOpened(), 1);
        const auto streams = program.audio->systemStreamsOpened();
        retry();
        QCOMPARE(program.audio->systemStreamsOpened(), streams);
    }

    void aLostLinkPausesAndRecovers_data() {
        const auto row = rows<QByteArray, int>();
        row("the server still runs it", resumed, 0);
        row("the server has lost it", R"({"type":"session_resumed"})", 1);
        row("a fresh session", R"({"type":"set_session"})", 1);
    }
    void aLostLinkPausesAndRecovers() {
        const auto [answer, resent] = currentRow<QByteArray, int>();
        TestProgram program;
        program.launchToInterview();
        auto& interview = program.interview();
        interview.toggleFollowUps();
        program.settle();
        program.loseLink();
        QCOMPARE(interview.status(), InterviewStatus::paused);
        QVERIFY(interview.disconnectedDuringInterview() && program.isSilent());
        program.reopenLink(answer);
        QCOMPARE(interview.status(), InterviewStatus::streaming);
        QVERIFY(!interview.disconnectedDuringInterview() && program.captures());
        QCOMPARE(program.commands("interview_id").size(), resent);
        QCOMPARE(program.commands("set_follow_ups").size(), resent);
        QVERIFY(program.commands("set_english_assessment").isEmpty());
        QCOMPARE(interview.interviewId(), "abc");
        QCOMPARE(interview.interviewPlan().size(), 1);
    }

    void anEventOfAnotherStatusChangesNothing() {
        TestProgram program;
        program.launchToInterview();
        auto& interview = program.interview();
        // A user's pause is not undone by a loss and its recovery.
        interview.pauseInterview();
        program.loseLink();
        program.reopenLink(resumed);
        QCOMPARE(interview.status(), InterviewStatus::paused);
        QVERIFY(!interview.disconnectedDuringInterview() && program.isSilent());
        // Nor is one after a loss that the user had gone past.
        interview.resumeInterview();
        program.settle();
        program.loseLink();
        interview.resumeInterview();
        program.settle();
        interview.pauseInterview();
        program.reopenLink(resumed);
        QVERIFY(interview.status() == InterviewStatus::paused && program.isSilent());

        // A recovery that failed leaves the decision to the user.
        interview.resumeInterview();
        program.settle();
        program.loseLink();
        program.backendHttp->setHandler(
            [](const platform::HttpRequest&) { return FakeHttpClient::response(500); });
        program.reopenLink(R"({"type":"error","message":"Session not found"})");
        QVERIFY(program.log.contains("[Interview] Session recovery failed — staying paused"));
        program.serverSays(resumed);
        QCOMPARE(interview.status(), InterviewStatus::paused);
        QVERIFY(interview.disconnectedDuringInterview());
    }

    void aLateTaskUndoesNothing_data() {
        const auto row = rows<InterviewStatus>();
        row("lost link", InterviewStatus::paused);
        row("finish", InterviewStatus::idle);
        row("end by the server", InterviewStatus::idle);
    }
    // The start of the microphone is under way when the event comes, and succeeds afterwards.
    void aLateTaskUndoesNothing() {
        const auto [status] = currentRow<InterviewStatus>();
        const QByteArray event = QTest::currentDataTag();
        TestProgram program;
        program.launchToSession();
        program.audio->hold();
        program.startInterview();
        auto& interview = program.interview();
        QCOMPARE(interview.status(), InterviewStatus::startingAudio);
        QVERIFY(program.audio->waitingOperations() > 0);
        if (event == "lost link") {
            program.peer().breakConnection();
        } else if (event == "finish") {
            interview.stopInterview();
        } else {
            program.peer().sendText(R"({"type":"end_interview_ack"})");
        }
        program.settle();
        program.audio->release();
        program.settle();
        QCOMPARE(interview.status(), status);
        QVERIFY(program.isSilent());
        QVERIFY(!program.log.contains("Starting dual audio forwarding"));
    }

    void aLateAcknowledgementEndsNoOtherInterview() {
        TestProgram program;
        program.launchToInterview();
        program.interview().stopInterview();
        program.settle();
        program.startInterview("second");
        program.serverSays(R"({"type":"end_interview_ack"})");
        QCOMPARE(program.interview().status(), InterviewStatus::streaming);
        QCOMPARE(program.interview().interviewId(), "second");
        QVERIFY(program.captures());

        // Nor does the wait of an earlier start end a later one.
        program.interview().stopInterview();
        program.askForInterview("third");
        program.serverSays(R"({"type":"chat_done"})");
        program.interview().stopInterview();
        program.askForInterview("fourth");
        program.clock->advance(5s);
        QCOMPARE(program.interview().status(), InterviewStatus::waitingForQuestions);
    }

    void anEarlierLossDoesNotRestartTheNextInterview() {
        TestProgram program;
        program.launchToInterview();
        program.loseLink();
        program.interview().stopInterview();
        program.askForInterview("second");
        program.reopenLink(R"({"type":"set_session"})");
        QCOMPARE(program.interview().status(), InterviewStatus::waitingForQuestions);
        QVERIFY(program.commands("interview_id").isEmpty());
        QVERIFY(!program.interview().disconnectedDuringInterview());
    }

    void theServerMayEndTheInterview() {
        TestProgram program;
        program.launchToInterview();
        program.interview().toggleFollowUps();
        program.serverSays(R"({"type":"end_interview_ack"})");
        QCOMPARE(program.interview().status(), InterviewStatus::idle);
        QVERIFY(program.interview().interviewId().isEmpty() && program.interview().interviewPlan().isEmpty());
        QVERIFY(!program.interview().followUpsEnabled() && program.isSilent());
        QVERIFY(program.commands("end_interview").isEmpty());
    }

    void chunksLeaveInOrderWithTheirStreamsFlag() {
        TestProgram program;
        program.launchToInterview();
        for (int i = 0; i < 8; ++i) {
            program.audio->pushMicrophone(std::span(tone));
            program.audio->pushSystem(std::span(tone));
            program.clock->advance(80ms);
        }
        program.settle();
        int streams[2] = {};
        for (const auto& frame : program.peer().sentBinaries()) {
            QCOMPARE(frame.mid(1, 4), "RIFF");
            ++streams[frame.at(0) == 1];
        }
        QCOMPARE(streams[0], 8);
        QCOMPARE(streams[1], 8);
        QCOMPARE(program.log.count("(7724 bytes, flag=0x00)"), 3);
        QCOMPARE(program.log.count("System chunk #3 (7724 bytes, flag=0x01)"), 1);
        QCOMPARE(program.commands("candidate_speech_start").size(), 1);

        program.interview().pauseInterview();
        program.settle();
        QVERIFY(program.log.contains("Stopped audio forwarding (mic=8, system=8 chunks)"));
        program.interview().resumeInterview();
        program.settle();
        program.audio->pushMicrophone(std::span(tone));
        program.settle();
        QCOMPARE(program.log.count("Mic chunk #1 "), 2);
    }

    void manualModeHoldsTheStopBack() {
        TestProgram program;
        program.launchToInterview();
        auto& interview = program.interview();
        const std::vector<float> silence(1024 * 50, 0.0F);
        const auto speakAndStop = [&] {
            for (int i = 0; i < 3; ++i) {
                program.audio->pushSystem(std::span(tone));
            }
            program.audio->pushSystem(std::span(silence));
            program.settle();
        };
        interview.setManualMode(true);
        waitFor(interview.sendManualStop());
        QVERIFY(program.log.contains("sendManualStop ignored (manual mode inactive"));
        speakAndStop();
        QCOMPARE(program.commands("candidate_speech_stop").size(), 1);

        interview.toggleFollowUps();
        QVERIFY(interview.manualModeActive());
        speakAndStop();
        QCOMPARE(program.commands("candidate_speech_start").size(), 2);
        QCOMPARE(program.commands("candidate_speech_stop").size(), 1);
        QCOMPARE(interview.vadStopSuppressedCount(), 1);
        waitFor(interview.sendManualStop());
        QCOMPARE(program.commands("candidate_speech_stop").size(), 2);
        QCOMPARE(program.commands("candidate_speech_stop").last(),
                 "{\"at\":" + QByteArray::number(program.clock->nowMilliseconds()) +
                     R"(,"type":"candidate_speech_stop"})");

        interview.toggleEnglishAssessment();
        QVERIFY(!interview.manualModeActive());
        interview.toggleEnglishAssessment();
        program.loseLink();
        waitFor(interview.sendManualStop());
        QVERIFY(program.log.contains("sendManualStop ignored (ws disconnected)"));
        QCOMPARE(interview.manualStopSentCount(), 1);
        QCOMPARE(program.defaults->boolean("manual_mode_enabled"), std::optional(true));
    }

    void soundThatCameBackIsTakenUp() {
        TestProgram program;
        program.launchToInterview();
        auto& interview = program.interview();
        program.audio->surveyError = program.audio->systemError = program.audio->microphoneError = failure;
        program.audio->failSystem("the sound server ended");
        program.settle();
        QVERIFY(interview.audioUnavailable());
        QCOMPARE(interview.errorMessageText(), "Could not capture any audio. Check System Settings.");
        program.clock->advance(10s);
        program.settle();
        QCOMPARE(interview.status(), InterviewStatus::streaming);
        QVERIFY(!program.log.contains("Retry"));

        program.audio->surveyError.reset();
        program.audio->systemError.reset();
        program.audio->microphoneError.reset();
        program.clock->advance(2s);
        program.settle();
        QVERIFY(program.captures());
        QVERIFY(!interview.audioUnavailable() && interview.errorMessageText().isEmpty());

        // A microphone that was unplugged alone comes back alone.
        program.audio->failMicrophone("unplugged");
        program.settle();
        QVERIFY(!program.audio->microphoneRuns());
        program.clock->advance(2s);
        program.settle();
        QVERIFY(program.captures());
        const auto timers = program.clock->timerCount();
        program.clock->advance(5s);
        QVERIFY(program.clock->timerCount() <= timers);

        // So does one that went while the other stream was still starting.
        interview.pauseInterview();
        program.settle();
        program.audio->hold();
        interview.resumeInterview();
        while (!program.audio->microphoneRuns()) {
            program.audio->releaseWaiting();
            program.settle();
        }
        program.audio->failMicrophone("unplugged");
        program.settle();
        program.audio->release();
        program.settle();
        QVERIFY(program.audio->systemRuns() && !program.audio->microphoneRuns());
        program.clock->advance(2s);
        program.settle();
        QVERIFY(program.captures());
    }
};

QTEST_GUILESS_MAIN(InterviewViewModelTest)
#include "InterviewViewModelTest.moc"
