#include "ViewModels/SystemAudioViewModel.h"
#include "tests/Support/TestProgram.h"

using namespace corvane;

using namespace std::chrono_literals;

// Who sends the candidate's sound: this model by the utterance, or an interview by the chunk.
class SystemAudioViewModelTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void utterancesGoOutAsTheCandidate() {
        TestProgram program;
        program.launchToSession();
        listen(program);
        speak(program);
        const auto frames = program.peer().sentBinaries();
        QCOMPARE(frames.size(), 1);
        QCOMPARE(frames[0].first(5), QByteArray("\x01RIFF"));
    }

    void interviewGivesTheSoundBack() {
        TestProgram program;
        program.launchToInterview();
        QVERIFY(program.app->systemAudioViewModel().interviewOwnsAudio());
        program.interview().pauseInterview();
        program.settle();
        QVERIFY(!program.app->systemAudioViewModel().interviewOwnsAudio());
        const auto before = program.peer().sentBinaries().size();
        listen(program);
        speak(program);
        QCOMPARE(program.peer().sentBinaries().size(), before + 1);
    }

    // Nothing is captured any more that is not forwarded, and the end of a capture finds no subscriber.
    void forwardingStopsBeforeTheCaptures() {
        TestProgram program;
        program.launchToInterview();
        program.audio->pushMicrophone(std::vector<float>(3840, 0.1F));
        program.settle();
        program.log.clear();
        program.interview().pauseInterview();
        const auto lines = program.log.lines();
        const auto forwarding =
            lines.indexOf("[Interview] Stopped audio forwarding (mic=1, system=0 chunks)");
        QVERIFY(forwarding >= 0);
        QVERIFY(forwarding < lines.indexOf("[Audio] Microphone capture stopped"));
    }

    void grantedMicrophoneStartsTheInterview() {
        for (const bool granted : {true, false}) {
            TestProgram program;
            program.launchToSession();
            program.access->authorization = platform::MicrophoneAuthorization::notDetermined;
            program.access->grantsRequest = granted;
            program.askForInterview("abc");
            program.settle();
            QCOMPARE(program.interview().status(),
                     granted ? InterviewStatus::waitingForQuestions : InterviewStatus::error);
            QCOMPARE(program.access->opened.size(), granted ? 0 : 1);
        }
    }

private:
    static void listen(TestProgram& program) {
        program.app->systemAudioViewModel().startCapture();
        program.settle();
        QVERIFY(program.app->systemAudioViewModel().isCapturing());
    }
    static void speak(TestProgram& program) {
        program.audio->pushSystem(std::vector<float>(7 * 1024, 0.1F));
        program.audio->pushSystem(std::vector<float>(45 * 1024));
        program.settle();
    }
};

QTEST_GUILESS_MAIN(SystemAudioViewModelTest)
#include "SystemAudioViewModelTest.moc"
