#include "ViewModels/SystemAudioViewModel.h"
#include "tests/Support/Rows.h"
#include "tests/Support/TestProgram.h"

#include <QSignalSpy>

using namespace corvane;

using namespace std::chrono_literals;
using Authorization = platform::MicrophoneAuthorization;

namespace {

const std::vector<float> tone(4096, 0.25F);
const std::vector<float> silence(1024 * 50, 0.0F);
const platform::AudioError failure(platform::AudioError::Kind::failed, QStringLiteral("broken"));

constexpr auto questionsMessage =
    R"({"type":"chat_questions","questions":{"Design":[{"question":"Why?"},{"question":"How [x]?"}]}})";
constexpr auto resumed = R"({"type":"session_resumed","interview_id":"abc"})";
constexpr auto forgotten = R"({"type":"session_resumed"})";
constexpr auto fresh = R"({"type":"set_session"})";
constexpr auto acknowledgement = R"({"type":"end_interview_ack"})";
const platform::WebSocketError offline(platform::WebSocketError::Kind::notConnected, "offline");

// The candidate says something and stops.
void speak(TestProgram& program) {
    for (int i = 0; i < 3; ++i) {
        program.audio->pushSystem(std::span(tone));
    }
    program.audio->pushSystem(std::span(silence));
    program.settle();
}

// Lets a start go on that the sound server holds, until the microphone runs and the rest does not.
void letTheMicrophoneStart(TestProgram& program) {
    while (!program.audio->microphoneRuns()) {
        program.audio->releaseWaiting();
        program.settle();
    }
}

} // namespace

class InterviewViewModelTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void anInterviewFromStartToFinish() {
        SessionProgram program;
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

        QVERIFY(program.app->systemAudioViewModel().interviewOwnsAudio());
        interview.pauseInterview();
        program.settle();
        QCOMPARE(interview.status(), InterviewStatus::paused);
        QVERIFY(program.isSilent() && !program.app->systemAudioViewModel().interviewOwnsAudio());
        interview.resumeInterview();
        program.settle();
        QCOMPARE(interview.status(), InterviewStatus::streaming);
        QVERIFY(program.captures());

        interview.toggleFollowUps();
        interview.setShowStopDialog(true);
        interview.stopInterview();
        program.settle();
        QCOMPARE(interview.status(), InterviewStatus::idle);
        QVERIFY(program.isSilent() && !program.app->systemAudioViewModel().interviewOwnsAudio());
        QCOMPARE(program.commands("end_interview").size(), 1);
        QVERIFY(!interview.showStopDialog() && !interview.followUpsEnabled());
        QVERIFY(interview.questions().isEmpty() && interview.interviewPlan().isEmpty());
        QVERIFY(interview.interviewId().isEmpty());
        QVERIFY(!program.completion().isResponsePopoverOpen());
    }

    void whatAStartComesTo_data() {
        const auto row = rows<QString, Authorization, bool, InterviewStatus, QString>();
        using Status = InterviewStatus;
        row("blank id", " \t", Authorization::authorized, true, Status::idle, "");
        row("denied", "abc", Authorization::denied, true, Status::error,
            "Microphone access required. Open System Settings to allow.");
        row("refused when asked", "abc", Authorization::notDetermined, false, Status::error,
            "Microphone access required");
        row("granted when asked", "abc", Authorization::notDetermined, true, Status::waitingForQuestions, "");
    }
    void whatAStartComesTo() {
        const auto [id, authorization, grants, status, message] =
            currentRow<QString, Authorization, bool, InterviewStatus, QString>();
        SessionProgram program;
        program.access->authorization = authorization;
        program.access->grantsRequest = grants;
        program.askForInterview(id);
        QCOMPARE(program.interview().status(), status);
        QCOMPARE(program.interview().errorMessageText(), message);
        QCOMPARE(program.access->opened.size(), message.isEmpty() ? 0 : 1);
        QCOMPARE(program.commands("chat").size(), status == InterviewStatus::waitingForQuestions ? 1 : 0);
    }

    void plainChatAnswerEndsTheWait() {
        for (const auto& [wait, status] :
             {std::pair(1900ms, InterviewStatus::streaming), {2100ms, InterviewStatus::idle}}) {
            SessionProgram program;
            program.askForInterview("abc");
            program.serverSays(R"({"type":"chat_done"})");
            program.clock->advance(wait);
            program.serverSays(questionsMessage);
            program.clock->advance(1s);
            QCOMPARE(program.interview().status(), status);
            QCOMPARE(program.interview().questions().size(), 2);
        }
    }

    void theActiveQuestionGoesOutAsACommand() {
        SessionProgram program;
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
    }

    void theInterviewRunsOnWhatStarts() {
        for (const auto& [microphone, system] : {std::pair(true, false), {false, true}, {false, false}}) {
            TestProgram program;
            program.audio->microphoneError = microphone ? std::nullopt : std::optional(failure);
            program.audio->systemError = system ? std::nullopt : std::optional(failure);
            program.launchToInterview();
            QCOMPARE(program.interview().status(), InterviewStatus::streaming);
            QCOMPARE(program.interview().audioUnavailable(), !microphone && !system);
            QCOMPARE(program.interview().microphoneFallbackActive(), microphone && !system);
            const auto* neither = "Could not capture system or microphone audio. Check System Settings.";
            QCOMPARE(program.interview().errorMessageText(), microphone || system ? "" : neither);
        }
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
        const auto row = rows<QByteArray, int, bool>();
        row("the server still runs it", resumed, 0, false);
        row("the server has lost it", forgotten, 1, false);
        row("a fresh session", fresh, 1, false);
        row("a fresh session, in English mode", fresh, 1, true);
    }
    void aLostLinkPausesAndRecovers() {
        const auto [answer, resent, english] = currentRow<QByteArray, int, bool>();
        InterviewProgram program;
        auto& interview = program.interview();
        english ? interview.toggleEnglishAssessment() : interview.toggleFollowUps();
        program.settle();
        program.loseLink();
        QCOMPARE(interview.status(), InterviewStatus::paused);
        QVERIFY(interview.disconnectedDuringInterview() && program.isSilent());
        program.reopenLink(answer);
        QCOMPARE(interview.status(), InterviewStatus::streaming);
        QVERIFY(!interview.disconnectedDuringInterview() && program.captures());
        QCOMPARE(program.commands("interview_id").size(), resent);
        QCOMPARE(program.commands("set_follow_ups").size(), english ? 0 : resent);
        QCOMPARE(program.commands("set_english_assessment").size(), english ? resent : 0);
        QCOMPARE(interview.interviewId(), "abc");
        QCOMPARE(interview.interviewPlan().size(), 1);
    }

    void aUsersPauseOutlivesTheRecovery_data() {
        const auto row = rows<bool, QByteArray, int>();
        // What the server says once the link is back, and what the user's resume has to tell it.
        row("paused before the loss", false, resumed, 0);
        row("and the server has forgotten", false, fresh, 1);
        row("paused after it", true, resumed, 0);
        row("and the interview is lost", true, forgotten, 1);
        row("and the session is lost", true, fresh, 1);
    }
    void aUsersPauseOutlivesTheRecovery() {
        const auto [afterTheLoss, answer, told] = currentRow<bool, QByteArray, int>();
        InterviewProgram program;
        auto& interview = program.interview();
        if (afterTheLoss) {
            program.loseLink();
            interview.resumeInterview();
            program.settle();
            QCOMPARE(interview.status(), InterviewStatus::streaming);
        }
        interview.pauseInterview();
        if (!afterTheLoss) {
            program.loseLink();
        }
        program.reopenLink(answer);
        QCOMPARE(interview.status(), InterviewStatus::paused);
        QVERIFY(!interview.disconnectedDuringInterview() && program.isSilent());
        QVERIFY(!program.log.contains("auto-resuming"));
        interview.resumeInterview();
        program.settle();
        QVERIFY(interview.status() == InterviewStatus::streaming && program.captures());
        QCOMPARE(program.commands("interview_id").size(), told);
    }

    void aRecoveryThatFailedLeavesTheDecisionToTheUser() {
        InterviewProgram program;
        auto& interview = program.interview();
        program.loseLink();
        program.backendHttp->setHandler(
            [](const platform::HttpRequest&) { return FakeHttpClient::response(500); });
        program.reopenLink(R"({"type":"error","message":"Session not found"})");
        QVERIFY(program.log.contains("[Interview] Session recovery failed — staying paused"));
        program.serverSays(resumed);
        QCOMPARE(interview.status(), InterviewStatus::paused);
        QVERIFY(interview.disconnectedDuringInterview());
    }

    void whatAFreshSessionRestarts_data() {
        using Work = std::function<void(TestProgram&)>;
        const auto row = rows<Work, QString>();
        // With the link lost during the interview abc. The id that the server is told.
        row(
            "begun while the link was down",
            [](TestProgram& program) {
                program.interview().stopInterview();
                program.askForInterview("second");
            },
            "second");
        row(
            "gone on without the link", [](TestProgram& program) { program.interview().resumeInterview(); },
            "abc");
        row(
            "an id that is only typed in",
            [](TestProgram& program) {
                program.interview().stopInterview();
                program.interview().setInterviewId("typed");
            },
            "");
    }
    void whatAFreshSessionRestarts() {
        const auto [work, id] = currentRow<std::function<void(TestProgram&)>, QString>();
        InterviewProgram program;
        program.loseLink();
        work(program);
        program.settle();
        program.reopenLink(fresh);
        const auto told = program.commands("interview_id");
        QCOMPARE(told.size(), id.isEmpty() ? 0 : 1);
        QVERIFY(id.isEmpty() || told.first().contains(id.toUtf8()));
        QCOMPARE(program.interview().status(),
                 id.isEmpty() ? InterviewStatus::idle : InterviewStatus::streaming);
        QVERIFY(id.isEmpty() ? program.isSilent() : program.captures());
        QVERIFY(!program.interview().disconnectedDuringInterview());
    }

    void anIdThatCouldNotBeSent() {
        SessionProgram program;
        auto& interview = program.interview();
        program.askForInterview("abc");
        program.peer().setSendError(offline);
        program.serverSays(questionsMessage);
        QCOMPARE(interview.status(), InterviewStatus::error);
        QCOMPARE(interview.errorMessageText(), "Could not start interview: offline");
        QVERIFY(program.isSilent());

        // The same after a lost link: the user resumes once the way is free, and the server is told first.
        program.peer().setSendError({});
        program.startInterview();
        program.loseLink();
        program.advance(1s);
        program.openLink();
        program.peer().setSendError(offline);
        program.serverSays(fresh);
        QVERIFY(program.log.contains("[Interview] Failed to re-send interview_id: offline"));
        QVERIFY(interview.status() == InterviewStatus::paused && interview.disconnectedDuringInterview());
        QVERIFY(program.isSilent());
        program.peer().setSendError({});
        interview.resumeInterview();
        program.settle();
        QCOMPARE(program.commands("interview_id").size(), 1);
        QVERIFY(interview.status() == InterviewStatus::streaming && program.captures());
    }

    void aLateTaskUndoesNothing_data() {
        const auto row = rows<std::function<void(TestProgram&)>, InterviewStatus>();
        row(
            "lost link", [](TestProgram& program) { program.loseLink(); }, InterviewStatus::paused);
        row(
            "finish", [](TestProgram& program) { program.interview().stopInterview(); },
            InterviewStatus::idle);
        row(
            "end by the server", [](TestProgram& program) { program.serverSays(acknowledgement); },
            InterviewStatus::idle);
    }
    // The start of the microphone is under way when the event comes, and succeeds afterwards.
    void aLateTaskUndoesNothing() {
        const auto [event, status] = currentRow<std::function<void(TestProgram&)>, InterviewStatus>();
        SessionProgram program;
        program.audio->hold();
        program.startInterview();
        auto& interview = program.interview();
        QCOMPARE(interview.status(), InterviewStatus::startingAudio);
        QVERIFY(program.audio->waitingOperations() > 0);
        event(program);
        program.settle();
        program.audio->release();
        program.settle();
        QCOMPARE(interview.status(), status);
        QVERIFY(program.isSilent());
        QVERIFY(!program.log.contains("Starting dual audio forwarding"));
    }

    void nothingActsAfterTheProgramsEnd_data() {
        using Work = std::function<void(TestProgram&)>;
        const auto row = rows<Work>();
        row("while a plain answer's time runs", [](TestProgram& program) {
            program.askForInterview("abc");
            program.serverSays(R"({"type":"chat_done"})");
        });
        row("while the microphone starts", [](TestProgram& program) {
            program.audio->hold();
            program.startInterview();
        });
        row("while system audio starts", [](TestProgram& program) {
            program.audio->hold();
            program.startInterview();
            letTheMicrophoneStart(program);
        });
        row("while lost sound is looked for", [](TestProgram& program) {
            program.startInterview();
            program.audio->failMicrophone("unplugged");
            program.settle();
            program.audio->hold();
            program.clock->advance(1s);
        });
    }
    // What is waited for is cancelled with its service, and finds nobody.
    void nothingActsAfterTheProgramsEnd() {
        const auto [work] = currentRow<std::function<void(TestProgram&)>>();
        SessionProgram program;
        work(program);
        program.log.clear();
        program.app.reset();
        program.settle();
        QVERIFY2(!program.log.contains("[Interview]"), qPrintable(program.log.lines().join(u'\n')));
    }

    void aLateAcknowledgementEndsNoOtherInterview() {
        InterviewProgram program;
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

    // An acknowledgement that cannot come any more does not stand for the next one.
    void aMissingAcknowledgementIsForgotten() {
        for (const bool isOffline : {false, true}) {
            InterviewProgram program;
            if (isOffline) {
                program.loseLink();
            }
            program.interview().stopInterview();
            program.settle();
            if (isOffline) {
                program.reopenLink(forgotten);
            } else {
                program.serverSays(fresh);
            }
            program.startInterview("second");
            program.serverSays(acknowledgement);
            QCOMPARE(program.interview().status(), InterviewStatus::idle);
        }
    }

    void theServerMayEndTheInterview() {
        InterviewProgram program;
        program.interview().toggleFollowUps();
        program.serverSays(acknowledgement);
        QCOMPARE(program.interview().status(), InterviewStatus::idle);
        QVERIFY(program.interview().interviewId().isEmpty() && program.interview().interviewPlan().isEmpty());
        QVERIFY(!program.interview().followUpsEnabled() && program.isSilent());
        QVERIFY(program.commands("end_interview").isEmpty());

        // Also when the answer to an earlier end was lost with its link.
        program.startInterview();
        program.interview().stopInterview();
        program.loseLink();
        program.reopenLink(forgotten);
        program.startInterview("second");
        program.serverSays(acknowledgement);
        QCOMPARE(program.interview().status(), InterviewStatus::idle);
    }

    void chunksLeaveInOrderWithTheirStreamsFlag() {
        InterviewProgram program;
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

        QStringList ends;
        const auto* audio = &program.app->audioCaptureService();
        connect(audio, &AudioCaptureService::isMicCapturingChanged, this, [&] { ends.append("microphone"); });
        connect(audio, &AudioCaptureService::captureStopped, this, [&] { ends.append("system"); });
        program.interview().pauseInterview();
        program.settle();
        const auto lines = program.log.lines();
        const auto end = lines.indexOf("[Interview] Stopped audio forwarding (mic=8, system=8 chunks)");
        QVERIFY(end >= 0 && end < lines.indexOf("[Audio] Microphone capture stopped"));
        QCOMPARE(ends, (QStringList{"microphone", "system"}));
        audio->disconnect(this);
        program.interview().resumeInterview();
        program.settle();
        program.log.clear();
        program.peer().setSendError(offline);
        for (int i = 0; i < 101; ++i) {
            program.audio->pushMicrophone(std::span(tone).first(3840)); // one chunk
            program.settle();
        }
        // The first three and each hundredth; of the failures the first of each hundred.
        QCOMPARE(program.log.count("Mic chunk #"), 4);
        QCOMPARE(program.log.count("[Interview] mic sendBinary failed: offline"), 2);
    }

    void anUtteranceBesideAPausedInterviewIsTheCandidates() {
        InterviewProgram program;
        program.interview().pauseInterview();
        program.settle();
        program.app->systemAudioViewModel().startCapture();
        program.settle();
        speak(program);
        const auto frames = program.peer().sentBinaries();
        QCOMPARE(frames.size(), 1);
        QCOMPARE(frames[0].first(5), "\x01RIFF");
    }

    void manualModeHoldsTheStopBack() {
        InterviewProgram program;
        auto& interview = program.interview();
        interview.setManualMode(true);
        waitFor(interview.sendManualStop());
        QVERIFY(program.log.contains("sendManualStop ignored (manual mode inactive"));
        speak(program);
        QCOMPARE(program.commands("candidate_speech_stop").size(), 1);

        interview.toggleFollowUps();
        QVERIFY(interview.manualModeActive());
        speak(program);
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
        InterviewProgram program;
        auto& interview = program.interview();
        program.audio->setFailing(failure);
        program.audio->failSystem("the sound server ended");
        program.settle();
        QVERIFY(interview.audioUnavailable());
        QCOMPARE(interview.errorMessageText(), "Could not capture any audio. Check System Settings.");
        program.advance(10s);
        QCOMPARE(interview.status(), InterviewStatus::streaming);
        QVERIFY(!program.log.contains("Retry"));

        program.audio->setFailing({});
        QSignalSpy flicker(&interview, &InterviewViewModel::statusChanged);
        program.advance(2s);
        QVERIFY(program.captures());
        QVERIFY(!interview.audioUnavailable() && interview.errorMessageText().isEmpty());
        QCOMPARE(flicker.size(), 0);

        // A microphone that was unplugged alone comes back alone.
        program.audio->failMicrophone("unplugged");
        program.settle();
        QVERIFY(!program.audio->microphoneRuns());
        program.advance(2s);
        QVERIFY(program.captures());
        const auto timers = program.clock->timerCount();
        program.clock->advance(5s);
        QVERIFY(program.clock->timerCount() <= timers);

        // One that cannot be opened for a minute, as another program holds it, comes back as well.
        program.audio->microphoneError = failure;
        program.audio->failMicrophone("unplugged");
        for (int second = 0; second < 60; ++second) {
            program.advance(1s);
        }
        QVERIFY(!program.audio->microphoneRuns());
        QVERIFY(program.log.count("[Interview] Retry: mic failed") < 20);
        program.audio->microphoneError.reset();
        for (int second = 0; second < 11; ++second) {
            program.advance(1s);
        }
        QVERIFY(program.captures());

        // So does one that went while the other stream was still starting.
        interview.pauseInterview();
        program.settle();
        program.audio->hold();
        interview.resumeInterview();
        letTheMicrophoneStart(program);
        program.audio->failMicrophone("unplugged");
        program.settle();
        program.audio->release();
        program.settle();
        QVERIFY(program.audio->systemRuns() && !program.audio->microphoneRuns());
        program.advance(2s);
        QVERIFY(program.captures());
    }

    void soundAndLinkAreLostTogether() {
        InterviewProgram program;
        auto& interview = program.interview();
        program.audio->setFailing(failure);
        program.audio->failSystem("the sound server ended");
        program.loseLink();
        program.reopenLink(resumed);
        QVERIFY(interview.status() == InterviewStatus::streaming && interview.audioUnavailable());
        program.audio->setFailing({});
        program.advance(2s);
        QVERIFY(program.captures() && !interview.audioUnavailable());
    }
};

QTEST_GUILESS_MAIN(InterviewViewModelTest)
#include "InterviewViewModelTest.moc"
