// Everything that can go wrong during an interview, one thing after the other, and how the program recovers.
#include "sandbox/tour/TourScript.h"

#include "sandbox/tour/TourRoles.h"

#include "Services/ClerkAuthService.h"
#include "Services/WebSocketService.h"
#include "ViewModels/InterviewViewModel.h"

namespace corvane {

using namespace tourroles;

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
    co_await picture(QStringLiteral("no-audio"));
    m_desktop.sound().start();
    const auto silent = m_desktop.sound().addSilentMicrophone(QStringLiteral("webcam"));
    co_await until(
        QStringLiteral("the microphone is captured alone"),
        [this] { return interview().microphoneFallbackActive(); }, 20);
    co_await picture(QStringLiteral("microphone-only"));
    m_transcript.say(program, QStringLiteral("goes on with the microphone alone, and says so"));
    m_desktop.plugMicrophone();
    m_desktop.plugSpeakers();
    m_desktop.sound().unloadModule(silent);
    const auto back = m_clock->monotonic();
    const Condition whole = [this] {
        return !interview().audioUnavailable() && !interview().microphoneFallbackActive();
    };
    co_await until(QStringLiteral("both streams are captured again"), whole, 20);
    m_transcript.say(program,
                     QStringLiteral("captures both again, %1 s after the speakers")
                         .arg(std::chrono::duration<double>(m_clock->monotonic() - back).count(), 0, 'f', 1));
    co_await speakUntilHeard(recording("Front_Right.wav"), recording("Rear_Center.wav"));
}

QCoro::Task<void> TourScript::loseTheBackend() {
    m_transcript.chapter(QStringLiteral("The backend and the sign-in service end and come back"));
    auto& link = m_app->appDelegate().webSocketService();
    m_desktop.stopSandbox();
    co_await until(QStringLiteral("the interview pauses"),
                   [this] { return interview().status() == InterviewStatus::paused; });
    // Without the sign-in service no token can be fetched, so the user decides when to try again.
    co_await until(QStringLiteral("the sign-in service is missed"),
                   [&link] { return link.authError().has_value(); });
    m_transcript.say(program, *link.authError());
    co_await click(QStringLiteral("Sign-in required"));
    co_await picture(QStringLiteral("lost-connection"));
    m_desktop.startSandbox();
    m_transcript.say(sandbox, QStringLiteral("is back, without its sessions"));
    m_transcript.say(interviewer, QStringLiteral("asks for a new try at the dashboard"));
    co_await click(QStringLiteral("Open Dashboard"));
    co_await click(QStringLiteral("Dashboard"), QStringLiteral("Pages"));
    co_await picture(QStringLiteral("connection-page-lost"));
    co_await click(QStringLiteral("Hide panel")); // the panel may cover the button
    co_await click(QStringLiteral("Reconnect"));
    co_await click(QStringLiteral("Show panel"));
    m_app->appDelegate().toggleDashboard();
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

} // namespace corvane
