#include "TestProgram.h"

#include <QTest>

using namespace std::chrono_literals;

Q_DECLARE_METATYPE(InterviewStatus)

namespace {

const std::vector<float> tone(4096, 0.25F);

// A plan message whose one topic is "Design".
constexpr auto planMessage = R"({"type":"chat_interview_plan","plan":{"Design":[{"question":"Why?"}]}})";
constexpr auto questionsMessage =
    R"({"type":"chat_questions","questions":{"Design":[{"question":"Why?"},{"question":"How [x]?"}]}})";

} // namespace

class InterviewViewModelTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void anInterviewFromStartToFinish();
    void startsThatDoNotHappen_data();
    void startsThatDoNotHappen();
    void plainChatAnswerEndsTheWait_data();
    void plainChatAnswerEndsTheWait();
    void questionsAndModesGoOutAsCommands();
    void theInterviewRunsOnWhatStarts_data();
    void theInterviewRunsOnWhatStarts();
    void retryBringsSystemAudioBack();
    void aLostLinkPausesAndRecovers_data();
    void aLostLinkPausesAndRecovers();
    void anEventsOfAnotherStatusChangesNothing();
    void aLateTaskUndoesNothing_data();
    void aLateTaskUndoesNothing();
    void aLateAcknowledgementEndsNoOtherInterview();
    void anEarlierLossDoesNotRestartTheNextInterview();
    void theServerMayEndTheInterview();
    void chunksLeaveInOrderWithTheirStreamsFlag();
    void failedSendsAreLoggedOnceInAHundred();
    void manualModeHoldsTheStopBack();
    void soundThatCameBackIsTakenUp();
};

void InterviewViewModelTest::anInterviewFromStartToFinish() {
    TestProgram program;
    program.launchToSession();
    auto& interview = program.interview();

    interview.setInterviewId(QStringLiteral("  abc \n"));
    interview.startInterviewWithId();
    program.settle();
    QCOMPARE(interview.interviewId(), QStringLiteral("abc"));
    QCOMPARE(interview.status(), InterviewStatus::waitingForQuestions);
    QCOMPARE(program.commands("chat").size(), 1);
    QVERIFY(program.commands("chat").first().contains("\"I want to start interview with id abc\""));
    QVERIFY(!program.audio->microphoneRuns());

    program.serverSays(planMessage);
    QCOMPARE(interview.status(), InterviewStatus::streaming);
    QCOMPARE(interview.interviewPlan().first().topic, QStringLiteral("Design"));
    QVERIFY(program.audio->microphoneRuns() && program.audio->systemRuns());

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
    QVERIFY(!program.audio->microphoneRuns() && !program.audio->systemRuns());
    interview.resumeInterview();
    program.settle();
    QCOMPARE(interview.status(), InterviewStatus::streaming);
    QVERIFY(program.audio->microphoneRuns() && program.audio->systemRuns());

    interview.toggleFollowUps();
    interview.setShowStopDialog(true);
    interview.stopInterview();
    program.settle();
    QCOMPARE(interview.status(), InterviewStatus::idle);
    QVERIFY(!program.audio->microphoneRuns() && !program.audio->systemRuns());
    QCOMPARE(program.commands("end_interview").size(), 1);
    QVERIFY(!interview.showStopDialog() && !interview.followUpsEnabled());
    QVERIFY(interview.questions().isEmpty() && interview.interviewPlan().isEmpty());
    QVERIFY(interview.interviewId().isEmpty());
    QVERIFY(!program.completion().isResponsePopoverOpen());
}

void InterviewViewModelTest::startsThatDoNotHappen_data() {
    using Authorization = platform::MicrophoneAuthorization;
    QTest::addColumn<QString>("id");
    QTest::addColumn<int>("authorization");
    QTest::addColumn<QString>("message");
    QTest::addColumn<InterviewStatus>("status");
    const auto row = [](const char* name, const char* id, Authorization authorization, const char* message,
                        InterviewStatus status) {
        QTest::newRow(name) << QString::fromLatin1(id) << static_cast<int>(authorization)
                            << QString::fromLatin1(message) << status;
    };
    row("blank id", " \t", Authorization::authorized, "", InterviewStatus::idle);
    row("denied", "abc", Authorization::denied, "Microphone access required. Open System Settings to allow.",
        InterviewStatus::error);
    row("restricted", "abc", Authorization::restricted,
        "Microphone access required. Open System Settings to allow.", InterviewStatus::error);
    row("refused when asked", "abc", Authorization::notDetermined, "Microphone access required",
        InterviewStatus::error);
}

void InterviewViewModelTest::startsThatDoNotHappen() {
    QFETCH(QString, id);
    QFETCH(int, authorization);
    QFETCH(QString, message);
    QFETCH(InterviewStatus, status);
    TestProgram program;
    program.launchToSession();
    program.access->authorization = static_cast<platform::MicrophoneAuthorization>(authorization);
    program.access->grantsRequest = false;
    program.interview().setInterviewId(id);
    program.interview().startInterviewWithId();
    program.settle();
    QCOMPARE(program.interview().status(), status);
    QCOMPARE(program.interview().errorMessageText(), message);
    QCOMPARE(program.access->opened.size(), status == InterviewStatus::error ? 1 : 0);
    QVERIFY(program.commands("chat").isEmpty());
}

void InterviewViewModelTest::plainChatAnswerEndsTheWait_data() {
    QTest::addColumn<int>("milliseconds");
    QTest::addColumn<InterviewStatus>("status");
    QTest::newRow("questions in time") << 1900 << InterviewStatus::streaming;
    QTest::newRow("questions too late") << 2100 << InterviewStatus::idle;
}

void InterviewViewModelTest::plainChatAnswerEndsTheWait() {
    QFETCH(int, milliseconds);
    QFETCH(InterviewStatus, status);
    TestProgram program;
    program.launchToSession();
    program.interview().setInterviewId(QStringLiteral("abc"));
    program.interview().startInterviewWithId();
    program.serverSays(R"({"type":"chat_done"})");
    program.clock->advance(std::chrono::milliseconds(milliseconds));
    program.serverSays(questionsMessage);
    program.clock->advance(1s);
    QCOMPARE(program.interview().status(), status);
    QCOMPARE(program.interview().questions().size(), 2);
}

void InterviewViewModelTest::questionsAndModesGoOutAsCommands() {
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
    program.settle();
    interview.toggleEnglishAssessment();
    program.settle();
    QVERIFY(program.commands("set_follow_ups").last().contains("true"));
    QVERIFY(program.commands("set_english_assessment").last().contains("true"));
}

void InterviewViewModelTest::theInterviewRunsOnWhatStarts_data() {
    QTest::addColumn<bool>("microphone");
    QTest::addColumn<bool>("system");
    QTest::addColumn<bool>("unavailable");
    QTest::addColumn<bool>("fallback");
    QTest::addColumn<QString>("message");
    QTest::newRow("both") << true << true << false << false << "";
    QTest::newRow("microphone alone") << true << false << false << true << "";
    QTest::newRow("system alone") << false << true << false << false << "";
    QTest::newRow("neither") << false << false << true << false
                             << "Could not capture system or microphone audio. Check System Settings.";
}

void InterviewViewModelTest::theInterviewRunsOnWhatStarts() {
    QFETCH(bool, microphone);
    QFETCH(bool, system);
    TestProgram program;
    const platform::AudioError failure(platform::AudioError::Kind::failed, QStringLiteral("broken"));
    if (!microphone) {
        program.audio->microphoneError = failure;
    }
    if (!system) {
        program.audio->systemError = failure;
    }
    program.launchToSession();
    program.startInterview();
    QCOMPARE(program.interview().status(), InterviewStatus::streaming);
    QTEST(program.interview().audioUnavailable(), "unavailable");
    QTEST(program.interview().microphoneFallbackActive(), "fallback");
    QTEST(program.interview().errorMessageText(), "message");
}

void InterviewViewModelTest::retryBringsSystemAudioBack() {
    TestProgram program;
    const platform::AudioError failure(platform::AudioError::Kind::failed, QStringLiteral("broken"));
    program.audio->systemError = failure;
    program.audio->microphoneError = failure;
    program.launchToSession();
    program.startInterview();
    auto& interview = program.interview();

    interview.retrySystemAudioCapture();
    program.settle();
    QVERIFY(interview.audioUnavailable());
    QCOMPARE(interview.errorMessageText(),
             QStringLiteral("Could not capture any audio. Check System Settings."));
    QVERIFY(program.log.contains(QStringLiteral("[Interview] Retry: mic failed — broken")));

    program.audio->microphoneError.reset();
    interview.retrySystemAudioCapture();
    program.settle();
    QVERIFY(interview.microphoneFallbackActive() && !interview.audioUnavailable());

    program.audio->systemError.reset();
    interview.retrySystemAudioCapture();
    program.settle();
    QCOMPARE(interview.status(), InterviewStatus::streaming);
    QVERIFY(!interview.microphoneFallbackActive() && program.audio->systemRuns());
    QCOMPARE(program.audio->microphoneStreamsOpened(), 1);

    const auto streams = program.audio->systemStreamsOpened();
    interview.retrySystemAudioCapture();
    program.settle();
    QCOMPARE(program.audio->systemStreamsOpened(), streams);
}

void InterviewViewModelTest::aLostLinkPausesAndRecovers_data() {
    QTest::addColumn<QByteArray>("answer");
    QTest::addColumn<bool>("resends");
    QTest::newRow("the server still runs it")
        << QByteArray(R"({"type":"session_resumed","interview_id":"abc"})") << false;
    QTest::newRow("the server has lost it") << QByteArray(R"({"type":"session_resumed"})") << true;
    QTest::newRow("a fresh session") << QByteArray(R"({"type":"set_session"})") << true;
}

void InterviewViewModelTest::aLostLinkPausesAndRecovers() {
    QFETCH(QByteArray, answer);
    QFETCH(bool, resends);
    TestProgram program;
    program.launchToSession();
    program.startInterview();
    auto& interview = program.interview();
    interview.toggleFollowUps();
    program.settle();

    program.peer().breakConnection();
    program.settle();
    QCOMPARE(interview.status(), InterviewStatus::paused);
    QVERIFY(interview.disconnectedDuringInterview());
    QVERIFY(!program.audio->microphoneRuns() && !program.audio->systemRuns());

    program.clock->advance(1s);
    program.settle();
    program.peer().open();
    program.settle();
    program.serverSays(answer);
    QCOMPARE(interview.status(), InterviewStatus::streaming);
    QVERIFY(!interview.disconnectedDuringInterview());
    QVERIFY(program.audio->microphoneRuns() && program.audio->systemRuns());
    QCOMPARE(program.commands("interview_id").size(), resends ? 1 : 0);
    QCOMPARE(program.commands("set_follow_ups").size(), resends ? 1 : 0);
    QVERIFY(program.commands("set_english_assessment").isEmpty());
    QCOMPARE(interview.interviewId(), QStringLiteral("abc"));
    QCOMPARE(interview.interviewPlan().size(), 1);
}

void InterviewViewModelTest::anEventsOfAnotherStatusChangesNothing() {
    TestProgram program;
    program.launchToSession();
    program.startInterview();
    auto& interview = program.interview();

    // A user's pause is not undone by a loss and its recovery.
    interview.pauseInterview();
    program.peer().breakConnection();
    program.settle();
    program.clock->advance(1s);
    program.settle();
    program.peer().open();
    program.settle();
    program.serverSays(R"({"type":"session_resumed","interview_id":"abc"})");
    QCOMPARE(interview.status(), InterviewStatus::paused);
    QVERIFY(!interview.disconnectedDuringInterview());
    QVERIFY(!program.audio->microphoneRuns());

    // A recovery that failed leaves the decision to the user.
    interview.resumeInterview();
    program.settle();
    program.peer().breakConnection();
    program.settle();
    program.clock->advance(1s);
    program.settle();
    program.backendHttp->setHandler(
        [](const platform::HttpRequest&) { return FakeHttpClient::response(500); });
    program.peer().open();
    program.settle();
    program.serverSays(R"({"type":"error","message":"Session not found"})");
    QVERIFY(program.log.contains(QStringLiteral("[Interview] Session recovery failed — staying paused")));
    program.serverSays(R"({"type":"session_resumed","interview_id":"abc"})");
    QCOMPARE(interview.status(), InterviewStatus::paused);
    QVERIFY(interview.disconnectedDuringInterview());
}

void InterviewViewModelTest::aLateTaskUndoesNothing_data() {
    QTest::addColumn<QString>("event");
    QTest::addColumn<InterviewStatus>("status");
    QTest::newRow("lost link") << "lost" << InterviewStatus::paused;
    QTest::newRow("finish") << "finish" << InterviewStatus::idle;
    QTest::newRow("end by the server") << "ended" << InterviewStatus::idle;
}

// The start of the microphone is under way when the event comes, and succeeds afterwards.
void InterviewViewModelTest::aLateTaskUndoesNothing() {
    QFETCH(QString, event);
    QFETCH(InterviewStatus, status);
    TestProgram program;
    program.launchToSession();
    program.audio->hold();
    program.startInterview();
    auto& interview = program.interview();
    QCOMPARE(interview.status(), InterviewStatus::startingAudio);
    QVERIFY(program.audio->waitingOperations() > 0);

    if (event == QLatin1String("lost")) {
        program.peer().breakConnection();
    } else if (event == QLatin1String("finish")) {
        interview.stopInterview();
    } else {
        program.peer().sendText(R"({"type":"end_interview_ack"})");
    }
    program.settle();
    program.audio->release();
    program.settle();
    QCOMPARE(interview.status(), status);
    QVERIFY(!program.audio->microphoneRuns() && !program.audio->systemRuns());
    QVERIFY(!program.log.contains(QStringLiteral("Starting dual audio forwarding")));
}

void InterviewViewModelTest::aLateAcknowledgementEndsNoOtherInterview() {
    TestProgram program;
    program.launchToSession();
    program.startInterview(QStringLiteral("first"));
    program.interview().stopInterview();
    program.settle();
    program.startInterview(QStringLiteral("second"));
    program.serverSays(R"({"type":"end_interview_ack"})");
    QCOMPARE(program.interview().status(), InterviewStatus::streaming);
    QCOMPARE(program.interview().interviewId(), QStringLiteral("second"));
    QVERIFY(program.audio->microphoneRuns());

    // Nor does the wait of an earlier start end a later one.
    program.interview().stopInterview();
    program.interview().setInterviewId(QStringLiteral("third"));
    program.interview().startInterviewWithId();
    program.serverSays(R"({"type":"chat_done"})");
    program.interview().stopInterview();
    program.interview().setInterviewId(QStringLiteral("fourth"));
    program.interview().startInterviewWithId();
    program.clock->advance(5s);
    QCOMPARE(program.interview().status(), InterviewStatus::waitingForQuestions);
}

void InterviewViewModelTest::anEarlierLossDoesNotRestartTheNextInterview() {
    TestProgram program;
    program.launchToSession();
    program.startInterview(QStringLiteral("first"));
    program.peer().breakConnection();
    program.settle();
    program.interview().stopInterview();
    program.interview().setInterviewId(QStringLiteral("second"));
    program.interview().startInterviewWithId();
    program.clock->advance(1s);
    program.settle();
    program.peer().open();
    program.settle();
    program.serverSays(R"({"type":"set_session"})");
    QCOMPARE(program.interview().status(), InterviewStatus::waitingForQuestions);
    QVERIFY(program.commands("interview_id").isEmpty());
    QVERIFY(!program.interview().disconnectedDuringInterview());
}

void InterviewViewModelTest::theServerMayEndTheInterview() {
    TestProgram program;
    program.launchToSession();
    program.startInterview();
    program.interview().toggleFollowUps();
    program.serverSays(R"({"type":"end_interview_ack"})");
    QCOMPARE(program.interview().status(), InterviewStatus::idle);
    QVERIFY(program.interview().interviewId().isEmpty() && program.interview().interviewPlan().isEmpty());
    QVERIFY(!program.interview().followUpsEnabled());
    QVERIFY(!program.audio->microphoneRuns() && !program.audio->systemRuns());
    QVERIFY(program.commands("end_interview").isEmpty());
}

void InterviewViewModelTest::chunksLeaveInOrderWithTheirStreamsFlag() {
    TestProgram program;
    program.launchToSession();
    program.startInterview();
    for (int i = 0; i < 8; ++i) {
        program.audio->pushMicrophone(std::span(tone));
        program.audio->pushSystem(std::span(tone));
        program.clock->advance(80ms);
    }
    program.settle();
    int microphone = 0;
    int system = 0;
    for (const auto& frame : program.peer().sentBinaries()) {
        QCOMPARE(frame.mid(1, 4), QByteArray("RIFF"));
        (frame.at(0) == 0 ? microphone : system) += 1;
    }
    QCOMPARE(microphone, 8);
    QCOMPARE(system, 8);
    for (int n = 1; n <= 4; ++n) {
        const auto expected = n < 4 ? 1 : 0;
        QCOMPARE(program.log.count(QStringLiteral("Mic chunk #%1 (7724 bytes, flag=0x00)").arg(n)), expected);
        QCOMPARE(program.log.count(QStringLiteral("System chunk #%1 (7724 bytes, flag=0x01)").arg(n)),
                 expected);
    }
    QCOMPARE(program.commands("candidate_speech_start").size(), 1);

    program.interview().pauseInterview();
    program.settle();
    QVERIFY(program.log.contains(QStringLiteral("Stopped audio forwarding (mic=8, system=8 chunks)")));
    program.interview().resumeInterview();
    program.settle();
    program.audio->pushMicrophone(std::span(tone));
    program.settle();
    QCOMPARE(program.log.count(QStringLiteral("Mic chunk #1 ")), 2);
}

void InterviewViewModelTest::failedSendsAreLoggedOnceInAHundred() {
    TestProgram program;
    program.launchToSession();
    program.startInterview();
    program.peer().setSendError(
        platform::WebSocketError(platform::WebSocketError::Kind::connectionLost, QStringLiteral("gone")));
    for (int i = 0; i < 150; ++i) {
        program.audio->pushMicrophone(std::span(tone).first(3840));
        program.settle();
    }
    QCOMPARE(program.log.count(QStringLiteral("[Interview] mic sendBinary failed: gone")), 2);
    QCOMPARE(program.interview().status(), InterviewStatus::streaming);
}

void InterviewViewModelTest::manualModeHoldsTheStopBack() {
    TestProgram program;
    program.launchToSession();
    program.startInterview();
    auto& interview = program.interview();
    const auto speakAndStop = [&] {
        const std::vector<float> silence(1024 * 50, 0.0F);
        for (int i = 0; i < 3; ++i) {
            program.audio->pushSystem(std::span(tone));
        }
        program.audio->pushSystem(std::span(silence));
        program.settle();
    };
    interview.setManualMode(true);
    waitFor(interview.sendManualStop());
    QVERIFY(program.log.contains(QStringLiteral("sendManualStop ignored (manual mode inactive")));
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
             QStringLiteral(R"({"at":%1,"type":"candidate_speech_stop"})")
                 .arg(program.clock->nowMilliseconds())
                 .toUtf8());

    interview.toggleEnglishAssessment();
    QVERIFY(!interview.manualModeActive());
    interview.toggleEnglishAssessment();
    program.peer().breakConnection();
    program.settle();
    waitFor(interview.sendManualStop());
    QVERIFY(program.log.contains(QStringLiteral("sendManualStop ignored (ws disconnected)")));
    QCOMPARE(interview.manualStopSentCount(), 1);
    QCOMPARE(program.defaults->boolean(QStringLiteral("manual_mode_enabled")), std::optional(true));
}

void InterviewViewModelTest::soundThatCameBackIsTakenUp() {
    TestProgram program;
    program.launchToSession();
    program.startInterview();
    auto& interview = program.interview();
    const platform::AudioError gone(platform::AudioError::Kind::noServer,
                                    QStringLiteral("No sound server is running."));
    program.audio->surveyError = gone;
    program.audio->systemError = gone;
    program.audio->microphoneError = gone;
    program.audio->failSystem(QStringLiteral("the sound server ended"));
    program.settle();
    QVERIFY(interview.audioUnavailable());
    QCOMPARE(interview.errorMessageText(),
             QStringLiteral("Could not capture any audio. Check System Settings."));

    program.clock->advance(10s);
    program.settle();
    QCOMPARE(interview.status(), InterviewStatus::streaming);
    QVERIFY(!program.log.contains(QStringLiteral("Retry")));

    program.audio->surveyError.reset();
    program.audio->systemError.reset();
    program.audio->microphoneError.reset();
    program.clock->advance(2s);
    program.settle();
    QVERIFY(program.audio->systemRuns() && program.audio->microphoneRuns());
    QVERIFY(!interview.audioUnavailable() && interview.errorMessageText().isEmpty());

    // A microphone that was unplugged alone comes back alone.
    program.audio->failMicrophone(QStringLiteral("unplugged"));
    program.settle();
    QVERIFY(!program.audio->microphoneRuns());
    program.clock->advance(2s);
    program.settle();
    QVERIFY(program.audio->systemRuns() && program.audio->microphoneRuns());
    const auto timers = program.clock->timerCount();
    program.clock->advance(5s);
    QVERIFY(program.clock->timerCount() <= timers);
}

QTEST_GUILESS_MAIN(InterviewViewModelTest)
#include "InterviewViewModelTest.moc"
