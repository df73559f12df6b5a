#include "TourScript.h"

#include "ChatsViewModel.h"
#include "ClerkAuthService.h"
#include "CompletionViewModel.h"
#include "DatabaseService.h"
#include "Dispatch.h"
#include "InterviewViewModel.h"
#include "Log.h"
#include "SystemClock.h"
#include "Tasks.h"
#include "WebSocketService.h"

#include <QJsonArray>
#include <QJsonDocument>

using namespace std::chrono_literals;

namespace {

constexpr auto applicationId = "com.corvane.Lumetra";
constexpr auto interviewId = "3f2b8c64-9d1e-4a57-b0c3-5e8f7a6d2c19";
constexpr auto recordings = "/usr/share/sounds/alsa/";

const QString tour = QStringLiteral("tour");
const QString interviewer = QStringLiteral("interviewer");
const QString candidate = QStringLiteral("candidate");
const QString program = QStringLiteral("program");
const QString sandbox = QStringLiteral("sandbox");

QString recording(const char* name) {
    return QLatin1String(recordings) + QLatin1String(name);
}

// Lines that tell a reader something; the rest is kept for the check at the end.
bool isTelling(const QString& line) {
    return line.startsWith(QLatin1String("====")) || line.startsWith(QLatin1String("[Interview]")) ||
           line.startsWith(QLatin1String("[DeepLink]")) ||
           line.startsWith(QLatin1String("[Audio] System audio")) ||
           (line.startsWith(QLatin1String("[WS]")) && !line.startsWith(QLatin1String("[WS] Received")) &&
            !line.startsWith(QLatin1String("[WS] Sending")));
}

} // namespace

TourScript::TourScript(TourDesktop& desktop, Transcript& transcript, QString program, QString fault)
    : m_desktop(desktop)
    , m_transcript(transcript)
    , m_program(std::move(program))
    , m_fault(std::move(fault))
    , m_clock(std::make_unique<platform::SystemClock>())
    , m_http(platform::makeHttpClient(platform::HttpSessionKind::ephemeral)) {
    platform::setLogHandler([this](platform::LogSink, const QString& line) {
        platform::dispatchToMain([this, line] {
            m_log.append(line);
            if (isTelling(line)) {
                m_transcript.log(line);
            }
        });
    });
}

TourScript::~TourScript() {
    platform::setLogHandler({});
}

InterviewViewModel& TourScript::interview() {
    return m_app->appDelegate().interviewViewModel();
}

CompletionViewModel& TourScript::completion() {
    return m_app->appDelegate().completionViewModel();
}

void TourScript::require(bool holds, const QString& what) const {
    if (!holds) {
        throw TourFailure(what.toStdString());
    }
}

QCoro::Task<void> TourScript::pause(int milliseconds) {
    co_await m_clock->sleep(std::chrono::milliseconds(milliseconds));
}

QCoro::Task<void> TourScript::until(QString what, Condition condition, int seconds) {
    const auto end = m_clock->monotonic() + std::chrono::seconds(seconds);
    while (!condition()) {
        require(m_clock->monotonic() < end, QStringLiteral("within %1 s: %2").arg(seconds).arg(what));
        co_await m_clock->sleep(20ms);
    }
}

QCoro::Task<QJsonObject> TourScript::control(QString path, QJsonObject parameters, bool isQuery) {
    platform::HttpRequest request;
    request.method = isQuery ? "GET" : "POST";
    request.url = QUrl(m_desktop.sandbox().value(QStringLiteral("control")).toString() + path);
    if (!isQuery) {
        request.headers = {{"Content-Type", "application/json"}};
        request.body = QJsonDocument(parameters).toJson(QJsonDocument::Compact);
    }
    const auto response = co_await m_http->execute(request);
    require(response.status == 200,
            QStringLiteral("the sandbox refused %1: %2").arg(path, QString::fromUtf8(response.body)));
    co_return QJsonDocument::fromJson(response.body).object();
}

QCoro::Task<void> TourScript::apply(QString action, QJsonObject parameters) {
    const auto answer = co_await control(u'/' + action, parameters, false);
}

QCoro::Task<QJsonObject> TourScript::state() {
    const auto answer = co_await control(QStringLiteral("/state"), QJsonObject(), true);
    co_return answer;
}

QCoro::Task<void> TourScript::run() {
    co_await launch();
    co_await signIn();
    co_await startInterview();
    co_await converse();
    if (!m_fault.isEmpty()) {
        m_transcript.chapter(QStringLiteral("A fault that stays"));
        m_transcript.say(sandbox, m_fault);
        co_await apply(m_fault, QJsonObject());
    }
    co_await workManually();
    co_await loseTheLink();
    co_await loseTheSession();
    co_await loseTheSound();
    co_await loseTheBackend();
    co_await loseTheSecrets();
    co_await pauseAndResume();
    co_await finish();
    co_await startAgain();
    checkSecrecy();
}

QCoro::Task<void> TourScript::launch() {
    m_transcript.chapter(QStringLiteral("First start"));
    m_app = std::make_unique<CorvaneApp>(PlatformServices::ofThisDesktop(),
                                         platform::makeSessionApplication(QLatin1String(applicationId)));
    require(m_app->launch(), QStringLiteral("the program launches"));
    require(!m_app->appDelegate().clerkAuthService().isSignedIn(),
            QStringLiteral("a first start is signed out"));
    m_transcript.say(program, QStringLiteral("is running, nobody is signed in"));
    co_return;
}

QCoro::Task<void> TourScript::signIn() {
    m_transcript.chapter(QStringLiteral("Sign-in"));
    auto& auth = m_app->appDelegate().clerkAuthService();
    const auto described = m_desktop.sandbox().value(QStringLiteral("sign_in")).toObject();
    const auto email = described.value(QStringLiteral("email")).toString();
    const auto code = described.value(QStringLiteral("code")).toString();

    m_transcript.say(interviewer, QStringLiteral("types nobody@example.com"));
    QString refusal;
    try {
        co_await auth.startSignIn(QStringLiteral("nobody@example.com"));
    } catch (const std::exception& error) {
        refusal = platform::errorText(error);
    }
    require(!refusal.isEmpty() && !auth.pendingSignInId(), QStringLiteral("an unknown address is refused"));
    m_transcript.say(program, QStringLiteral("refuses: ") + refusal);

    m_transcript.say(interviewer, QStringLiteral("types %1").arg(email));
    co_await auth.startSignIn(email);
    require(auth.pendingEmail() == email, QStringLiteral("the code is on its way"));
    refusal.clear();
    m_transcript.say(interviewer, QStringLiteral("types a wrong code"));
    try {
        co_await auth.verifyCode(platform::Secret(QStringLiteral("111111")));
    } catch (const std::exception& error) {
        refusal = platform::errorText(error);
    }
    require(!refusal.isEmpty() && !auth.isSignedIn(), QStringLiteral("a wrong code is refused"));
    m_transcript.say(program, QStringLiteral("refuses: ") + refusal);
    m_transcript.say(interviewer, QStringLiteral("types the code of the e-mail"));
    co_await auth.verifyCode(platform::Secret(code));
    require(auth.isSignedIn(), QStringLiteral("the right code signs in"));
    m_transcript.say(program, QStringLiteral("signed in as %1").arg(auth.state()->email));
    m_secrets.append(code);
    const auto token = co_await auth.getFreshJWT();
    m_secrets.append(token.reveal());

    auto& link = m_app->appDelegate().webSocketService();
    co_await until(QStringLiteral("the link is open"), [&link] { return link.isConnected(); });
    m_transcript.say(program, QStringLiteral("connected to the backend"));
}

QCoro::Task<void> TourScript::openLink(QString id) {
    QProcess launcher;
    launcher.start(QStringLiteral("gdbus"),
                   {QStringLiteral("call"), QStringLiteral("--session"), QStringLiteral("--dest"),
                    QLatin1String(applicationId), QStringLiteral("--object-path"),
                    QStringLiteral("/com/corvane/Lumetra"), QStringLiteral("--method"),
                    QStringLiteral("org.freedesktop.Application.Open"),
                    QStringLiteral("['corvane://interview/%1']").arg(id), QStringLiteral("{}")});
    co_await until(QStringLiteral("the launcher hands the link over"),
                   [&launcher] { return launcher.state() == QProcess::NotRunning; });
    require(launcher.exitCode() == 0, QString::fromUtf8(launcher.readAllStandardError()));
}

QCoro::Task<void> TourScript::startInterview() {
    m_transcript.chapter(QStringLiteral("The interview starts"));
    m_transcript.say(interviewer,
                     QStringLiteral("clicks corvane://interview/%1").arg(QLatin1String(interviewId)));
    co_await openLink(QLatin1String(interviewId));
    co_await until(QStringLiteral("the interview streams"),
                   [this] { return interview().status() == InterviewStatus::streaming; });
    require(!interview().audioUnavailable() && !interview().microphoneFallbackActive(),
            QStringLiteral("both streams are captured"));
    co_await until(QStringLiteral("the questions arrive"),
                   [this] { return !interview().questions().isEmpty(); });
    co_await until(QStringLiteral("the reply is complete"), [this] { return !completion().isLoading(); });
    m_transcript.say(program, QStringLiteral("shows the reply and the plan:"));
    m_transcript.quote(completion().response());
    for (const auto& topic : interview().interviewPlan()) {
        m_transcript.quote(
            QStringLiteral("%1: %2 question(s)").arg(topic.displayTopic()).arg(topic.questions.size()));
    }
}

// The candidate answers until the assessment says that a further answer was heard.
QCoro::Task<void> TourScript::speakUntilHeard(QString question, QString answer) {
    const auto before = completion().assessmentText();
    m_transcript.say(interviewer, QStringLiteral("speaks"));
    auto asking = m_desktop.interviewerSays(question);
    co_await until(QStringLiteral("the question is asked"), [&asking] { return !asking.isPlaying(); });
    m_transcript.say(candidate, QStringLiteral("answers"));
    auto answering = m_desktop.candidateSays(answer);
    co_await until(
        QStringLiteral("the answer is given"), [&answering] { return !answering.isPlaying(); }, 20);
    m_transcript.say(candidate, QStringLiteral("has stopped speaking"));
    if (interview().manualModeActive()) {
        co_return;
    }
    // Named, since g++ 12 destroys the captures of a lambda twice that stands in an awaited call.
    const Condition assessed = [this, before] {
        return !completion().assessmentText().isEmpty() && completion().assessmentText() != before &&
               !completion().isAssessmentStreaming();
    };
    co_await until(QStringLiteral("an assessment of the answer"), assessed);
    m_transcript.say(program, QStringLiteral("shows the assessment:"));
    m_transcript.quote(completion().assessmentText());
}

QCoro::Task<void> TourScript::converse() {
    m_transcript.chapter(QStringLiteral("A question and its answer"));
    interview().sendActiveQuestion();
    const auto& question = interview().questions().at(interview().activeQuestionIndex());
    m_transcript.say(program,
                     QStringLiteral("on show: ") + InterviewQuestion::cleanDisplayText(question.question));
    co_await speakUntilHeard(recording("Front_Center.wav"), recording("Rear_Left.wav"));
    interview().nextQuestion();
    const auto answer = m_desktop.speech(
        QStringLiteral("answer"), QStringLiteral("I would count the requests in each region on its own, and "
                                                 "reconcile the counts every second."));
    co_await speakUntilHeard(recording("Front_Left.wav"), answer);
    const auto seen = co_await state();
    checkServer(seen);
}

QCoro::Task<void> TourScript::workManually() {
    m_transcript.chapter(QStringLiteral("Manual mode"));
    interview().toggleFollowUps();
    interview().setManualMode(true);
    require(interview().manualModeActive(), QStringLiteral("manual mode is active"));
    const auto held = interview().vadStopSuppressedCount();
    const auto before = completion().assessmentText();
    co_await speakUntilHeard(recording("Front_Right.wav"), recording("Side_Left.wav"));
    co_await until(QStringLiteral("the detector's stop is held back"),
                   [this, held] { return interview().vadStopSuppressedCount() > held; });
    require(completion().assessmentText() == before,
            QStringLiteral("no assessment before the interviewer's mark"));
    m_transcript.say(interviewer, QStringLiteral("marks the end of the answer"));
    co_await interview().sendManualStop();
    const Condition assessed = [this, before] {
        return completion().assessmentText() != before && !completion().isAssessmentStreaming();
    };
    co_await until(QStringLiteral("an assessment after the interviewer's mark"), assessed);
    m_transcript.say(program, QStringLiteral("shows the next assessment"));
    interview().setManualMode(false);
}

QCoro::Task<void> TourScript::loseTheLink() {
    m_transcript.chapter(QStringLiteral("The link drops"));
    co_await apply(QStringLiteral("drop"), QJsonObject());
    co_await until(QStringLiteral("the interview pauses"),
                   [this] { return interview().status() == InterviewStatus::paused; });
    require(interview().disconnectedDuringInterview(), QStringLiteral("the loss is shown"));
    co_await until(QStringLiteral("the interview resumes by itself"),
                   [this] { return interview().status() == InterviewStatus::streaming; });
    require(!interview().disconnectedDuringInterview(), QStringLiteral("the loss is no longer shown"));
    m_transcript.say(program, QStringLiteral("has resumed by itself"));
    co_await speakUntilHeard(recording("Front_Center.wav"), recording("Side_Right.wav"));
}

QCoro::Task<void> TourScript::loseTheSession() {
    m_transcript.chapter(QStringLiteral("The backend forgets the session"));
    QJsonObject wording;
    wording.insert(QStringLiteral("wording"), QStringLiteral("id"));
    co_await apply(QStringLiteral("forget-sessions"), wording);
    co_await apply(QStringLiteral("drop"), QJsonObject());
    co_await until(QStringLiteral("the interview pauses"),
                   [this] { return interview().status() == InterviewStatus::paused; });
    co_await until(QStringLiteral("the interview is set up again on the server"),
                   [this] { return interview().status() == InterviewStatus::streaming; });
    require(interview().interviewId() == QLatin1String(interviewId),
            QStringLiteral("it is the same interview"));
    m_transcript.say(program, QStringLiteral("has set the interview up again"));
    co_await speakUntilHeard(recording("Front_Left.wav"), recording("Rear_Right.wav"));
}

QCoro::Task<void> TourScript::loseTheSound() {
    m_transcript.chapter(QStringLiteral("The sound server is killed and comes back"));
    m_desktop.sound().kill();
    co_await until(
        QStringLiteral("the loss of sound is shown"), [this] { return interview().audioUnavailable(); }, 20);
    m_transcript.say(program, interview().errorMessageText());
    m_desktop.sound().start();
    m_desktop.plugSoundDevices();
    const auto back = m_clock->monotonic();
    co_await until(
        QStringLiteral("sound is captured again"), [this] { return !interview().audioUnavailable(); }, 20);
    m_transcript.say(program,
                     QStringLiteral("captures again, %1 s after the server")
                         .arg(std::chrono::duration<double>(m_clock->monotonic() - back).count(), 0, 'f', 1));
    co_await speakUntilHeard(recording("Front_Right.wav"), recording("Rear_Center.wav"));
}

QCoro::Task<void> TourScript::loseTheBackend() {
    m_transcript.chapter(QStringLiteral("The backend and the sign-in service end and come back"));
    m_desktop.stopSandbox();
    co_await until(QStringLiteral("the interview pauses"),
                   [this] { return interview().status() == InterviewStatus::paused; });
    m_transcript.say(program, QStringLiteral("shows the loss and tries again"));
    co_await pause(1500);
    m_desktop.startSandbox();
    m_transcript.say(sandbox, QStringLiteral("is back, without its sessions"));
    auto& link = m_app->appDelegate().webSocketService();
    if (link.authError()) {
        // No token could be fetched meanwhile: then the user decides when to try again.
        m_transcript.say(program, *link.authError());
        m_transcript.say(interviewer, QStringLiteral("asks for a new try"));
        link.manualReconnect();
    }
    co_await until(
        QStringLiteral("the interview streams again"),
        [this] { return interview().status() == InterviewStatus::streaming; }, 40);
    m_transcript.say(program, QStringLiteral("has set the interview up again"));
    co_await speakUntilHeard(recording("Front_Left.wav"), recording("Side_Left.wav"));
}

QCoro::Task<void> TourScript::loseTheSecrets() {
    m_transcript.chapter(QStringLiteral("The secret service is killed and comes back"));
    auto& auth = m_app->appDelegate().clerkAuthService();
    m_desktop.session().killKeyring();
    co_await pause(500);
    require(auth.isSignedIn() && interview().status() == InterviewStatus::streaming,
            QStringLiteral("the interview does not mind"));
    m_transcript.say(program, QStringLiteral("goes on without it"));
    require(m_desktop.startSecrets(), QStringLiteral("the secret service starts again"));
    auth.invalidateCachedJWT();
    const auto token = co_await auth.getFreshJWT();
    m_secrets.append(token.reveal());
    m_transcript.say(program, QStringLiteral("has read its tokens from the secret service again"));
}

QCoro::Task<void> TourScript::pauseAndResume() {
    m_transcript.chapter(QStringLiteral("Pause and resume"));
    interview().pauseInterview();
    require(interview().status() == InterviewStatus::paused, QStringLiteral("the interview is paused"));
    m_transcript.say(interviewer, QStringLiteral("pauses the interview"));
    co_await pause(500);
    const auto before = co_await state();
    co_await pause(1000);
    const auto after = co_await state();
    const auto frames = [](const QJsonObject& seen) {
        return seen.value(QStringLiteral("frames")).toObject().value(QStringLiteral("total")).toInt();
    };
    require(frames(before) == frames(after), QStringLiteral("no sound leaves during the pause"));
    m_transcript.say(sandbox, QStringLiteral("has received nothing for a second"));
    interview().resumeInterview();
    co_await until(QStringLiteral("the interview streams again"),
                   [this] { return interview().status() == InterviewStatus::streaming; });
    m_transcript.say(interviewer, QStringLiteral("resumes"));
    co_await pause(500);
    const auto resumed = co_await state();
    require(frames(resumed) > frames(after), QStringLiteral("sound leaves again"));
}

QCoro::Task<void> TourScript::finish() {
    m_transcript.chapter(QStringLiteral("The end"));
    const auto seen = co_await state();
    checkServer(seen);
    interview().stopInterview();
    m_transcript.say(interviewer, QStringLiteral("finishes the interview"));
    require(interview().status() == InterviewStatus::idle, QStringLiteral("the interview has ended"));
    co_await until(QStringLiteral("the server acknowledges the end"), [this] {
        return m_log.contains(QStringLiteral("[Interview] End interview ack received"));
    });
    checkStore();
}

void TourScript::checkServer(const QJsonObject& seen) {
    const auto violations = seen.value(QStringLiteral("violations")).toArray();
    require(violations.isEmpty(),
            QStringLiteral("the program breaks no rule of the wire: ") +
                QString::fromUtf8(QJsonDocument(violations).toJson(QJsonDocument::Compact)));
    const auto frames = seen.value(QStringLiteral("frames")).toObject();
    require(frames.value(QStringLiteral("bad")).toInt() == 0, QStringLiteral("every frame is readable"));
    const auto record = seen.value(QStringLiteral("interviews")).toArray().last().toObject();
    for (const auto& side : {interviewer, candidate}) {
        const auto stream = record.value(side).toObject();
        require(stream.value(QStringLiteral("seconds")).toDouble() > 1.0,
                QStringLiteral("sound of the %1 arrives").arg(side));
        m_transcript.say(sandbox, QStringLiteral("%1: %2 s at %3 Hz, %4 dBFS")
                                      .arg(side)
                                      .arg(stream.value(QStringLiteral("seconds")).toDouble(), 0, 'f', 1)
                                      .arg(stream.value(QStringLiteral("sample_rate")).toInt())
                                      .arg(stream.value(QStringLiteral("level_dbfs")).toDouble(), 0, 'f', 1));
    }
    require(record.value(candidate).toObject().value(QStringLiteral("spoke_times")).toInt() > 0,
            QStringLiteral("the candidate is heard to speak"));
}

void TourScript::checkStore() {
    auto& database = m_app->appDelegate().databaseService();
    const auto conversations = database.getAllConversations();
    require(conversations.size() == 1, QStringLiteral("one conversation is stored"));
    const auto messages = database.getMessages(conversations.first().id);
    require(messages.size() >= 2, QStringLiteral("its messages are stored"));
    m_transcript.say(program, QStringLiteral("has stored the conversation “%1” with %2 messages")
                                  .arg(conversations.first().title)
                                  .arg(messages.size()));
}
