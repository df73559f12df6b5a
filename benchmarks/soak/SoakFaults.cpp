#include "benchmarks/soak/SoakFaults.h"

#include "Services/ClerkAuthService.h"
#include "Services/DatabaseService.h"
#include "ViewModels/CompletionViewModel.h"

#include <array>

namespace corvane {

using namespace std::chrono_literals;
using Cause = platform::ConnectivityMonitor::Cause;

namespace {

QJsonObject with(const char* name, const QJsonValue& value) {
    return {{QLatin1String(name), value}};
}

// Drops the link, after a previous command has made recovery hard.
void drop(SoakRig& rig) {
    rig.order(QStringLiteral("drop"));
    rig.expectPaused();
}

template<size_t count>
QString oneOf(SoakRig& rig, const std::array<const char*, count>& names) {
    return QLatin1String(names.at(static_cast<size_t>(rig.between(0, count - 1))));
}

void expectAuthError(SoakRig& rig, const char* text) {
    const auto expected = QString::fromUtf8(text);
    rig.expectSoon([&] { return rig.link().authError() == expected; }, expected);
    // Only the button helps.
    rig.wait(20s);
    rig.expect(rig.interview().status() == InterviewStatus::paused,
               QStringLiteral("paused until the button"));
}

void droppedLink(SoakRig& rig) {
    drop(rig);
    rig.expectStreaming();
}

void closedLink(SoakRig& rig) {
    constexpr std::array codes{1000, 1001, 1011, 1012, 4000};
    rig.order(QStringLiteral("close"), with("code", codes.at(static_cast<size_t>(rig.between(0, 4)))));
    rig.expectPaused();
    rig.expectStreaming();
}

void unansweredPings(SoakRig& rig) {
    rig.order(QStringLiteral("ignore-pings"));
    rig.expectPaused();
    rig.expectStreaming();
}

void silentLink(SoakRig& rig) {
    rig.order(QStringLiteral("silence"));
    rig.expectPaused();
    rig.expectStreaming();
}

void networkChanged(SoakRig& rig) {
    Q_EMIT rig.connectivity->disturbed(Cause::networkChanged);
    rig.expectUndisturbed(10s);
}

void networkChangedForTheWorse(SoakRig& rig) {
    rig.order(QStringLiteral("silence"));
    const auto start = rig.time();
    Q_EMIT rig.connectivity->disturbed(Cause::networkChanged);
    rig.expectPaused();
    rig.expect(rig.time() - start < 40s, QStringLiteral("a doubted link is known to be dead within seconds"));
    rig.expectStreaming();
}

void sleptShortly(SoakRig& rig) {
    rig.freeze(15s);
    Q_EMIT rig.connectivity->disturbed(Cause::resumedFromSleep);
    rig.wait(15s);
}

void sleptWhileTheLinkDied(SoakRig& rig) {
    rig.order(QStringLiteral("silence"));
    rig.freeze(30s);
    Q_EMIT rig.connectivity->disturbed(Cause::resumedFromSleep);
    rig.expectPaused();
    rig.expectStreaming();
}

void refusedUpgrade(SoakRig& rig) {
    rig.order(QStringLiteral("refuse-upgrade"),
              {{QStringLiteral("status"), 503}, {QStringLiteral("times"), rig.between(1, 3)}});
    drop(rig);
    rig.expectStreaming();
}

void refusedToken(SoakRig& rig) {
    rig.order(QStringLiteral("refuse-upgrade"), with("status", 401));
    drop(rig);
    expectAuthError(rig, "Authentication failed — please sign in again.");
    rig.reconnectByHand();
}

void revokedTokens(SoakRig& rig) {
    rig.order(QStringLiteral("revoke-tokens"));
    drop(rig);
    rig.reconnectByHand();
}

void noToken(SoakRig& rig) {
    rig.app->clerkAuthService().invalidateCachedJWT();
    rig.order(QStringLiteral("fail-token"), with("status", 500));
    drop(rig);
    expectAuthError(rig, "Could not fetch session token");
    rig.reconnectByHand();
}

void endedSignIn(SoakRig& rig) {
    rig.app->clerkAuthService().invalidateCachedJWT();
    rig.order(QStringLiteral("end-sign-ins"));
    drop(rig);
    expectAuthError(rig, "Could not fetch session token");
    ::waitFor(rig.app->clerkAuthService().signOut(), 20'000);
    rig.signIn();
    rig.expectStreaming();
}

void failedSession(SoakRig& rig) {
    rig.order(QStringLiteral("fail-rest"), {{QStringLiteral("status"), 500}, {QStringLiteral("times"), 1}});
    drop(rig);
    rig.expectSoon([&] { return rig.link().isConnected(); }, QStringLiteral("connected, without a session"));
    rig.wait(20s);
    rig.expect(rig.interview().status() == InterviewStatus::paused,
               QStringLiteral("paused without a session"));
    rig.reconnectByHand();
}

void slowAnswers(SoakRig& rig) {
    rig.order(QStringLiteral("slow"), with("milliseconds", 300));
    rig.expectUndisturbed(15s);
    drop(rig);
    rig.expectStreaming();
    rig.order(QStringLiteral("slow"), with("milliseconds", 0));
}

void forgottenSession(SoakRig& rig) {
    rig.order(QStringLiteral("forget-sessions"), with("wording", oneOf<3>(rig, {"plain", "id", "reversed"})));
    drop(rig);
    rig.expectStreaming();
}

void forgottenInterview(SoakRig& rig) {
    rig.order(QStringLiteral("forget-interviews"));
    rig.expectUndisturbed(5s);
    drop(rig);
    rig.expectStreaming();
}

template<const char* const& kind>
void harmlessMessage(SoakRig& rig) {
    rig.order(QStringLiteral("misbehave"), with("kind", kind));
    rig.expectUndisturbed(5s);
}

template<const char* const& kind>
void unbearableMessage(SoakRig& rig) {
    rig.order(QStringLiteral("misbehave"), with("kind", kind));
    rig.expectPaused();
    rig.expectStreaming();
}

constexpr const char* malformed = "malformed";
constexpr const char* unknownType = "unknown_type";
constexpr const char* wrongTypes = "wrong_types";
constexpr const char* deeplyNested = "deeply_nested";
constexpr const char* binary = "binary";
constexpr const char* invalidUtf8 = "invalid_utf8";
constexpr const char* enormous = "enormous";

void serverError(SoakRig& rig) {
    rig.order(QStringLiteral("send-text"), with("text", R"({"type":"error","message":"The model is busy"})"));
    rig.expectUndisturbed(5s);
}

void serverEndsInterview(SoakRig& rig) {
    rig.order(QStringLiteral("send-text"), with("text", R"({"type":"end_interview_ack"})"));
    rig.expectSoon([&] { return rig.interview().status() == InterviewStatus::idle; }, QStringLiteral("idle"));
    rig.expect(!rig.audio->microphoneRuns() && !rig.audio->systemRuns() &&
                   rig.interview().interviewId().isEmpty(),
               QStringLiteral("an ended interview is silent and has no id"));
    rig.startInterview();
}

void lateEndAcknowledgement(SoakRig& rig) {
    rig.order(QStringLiteral("delay-end-ack"), with("milliseconds", 1000));
    rig.interview().stopInterview();
    rig.expect(rig.interview().status() == InterviewStatus::idle && !rig.audio->microphoneRuns() &&
                   !rig.audio->systemRuns(),
               QStringLiteral("idle and silent at once"));
    rig.wait(2s);
    rig.startInterview();
    // The acknowledgement of the previous interview arrives now.
    rig.expectUndisturbed(15s);
    rig.order(QStringLiteral("delay-end-ack"), with("milliseconds", 0));
}

void pausedByUser(SoakRig& rig) {
    rig.interview().pauseInterview();
    rig.expect(rig.interview().status() == InterviewStatus::paused && !rig.audio->microphoneRuns() &&
                   !rig.audio->systemRuns(),
               QStringLiteral("paused and silent"));
    rig.wait(10s);
    rig.interview().resumeInterview();
}

void backendAway(SoakRig& rig) {
    rig.order(QStringLiteral("go-away"), {{QStringLiteral("milliseconds"), rig.between(200, 2500)},
                                          {QStringLiteral("backend_only"), true}});
    rig.expectPaused();
    rig.expectStreaming();
}

void everythingAway(SoakRig& rig) {
    rig.order(QStringLiteral("go-away"), with("milliseconds", rig.between(200, 2500)));
    rig.expectPaused();
    rig.reconnectByHand();
}

void wrongCertificate(SoakRig& rig) {
    rig.order(QStringLiteral("certificate"),
              with("kind", oneOf<3>(rig, {"other_name", "expired", "unknown_issuer"})));
    drop(rig);
    rig.wait(SoakRig::Seconds(rig.between(5, 30)));
    rig.expect(rig.interview().status() == InterviewStatus::paused,
               QStringLiteral("no link to a server not trusted"));
    rig.order(QStringLiteral("cure"));
    rig.reconnectByHand();
}

void serverKilled(SoakRig& rig) {
    rig.killServer();
    rig.expectPaused();
    rig.wait(SoakRig::Seconds(rig.between(0, 20)));
    rig.startServer();
    rig.reconnectByHand();
}

void microphoneGone(SoakRig& rig) {
    const platform::AudioError none(platform::AudioError::Kind::noDevice, QStringLiteral("no microphone"));
    const auto input = std::exchange(rig.audio->input, std::nullopt);
    rig.audio->microphoneError = none;
    rig.audio->failMicrophone(QStringLiteral("unplugged"));
    rig.wait(10s);
    rig.expect(rig.interview().status() == InterviewStatus::streaming && rig.audio->systemRuns() &&
                   !rig.audio->microphoneRuns() && !rig.interview().audioUnavailable(),
               QStringLiteral("the candidate is heard without the interviewer"));
    rig.audio->input = input;
    rig.audio->microphoneError.reset();
    rig.expectSoon([&] { return rig.captures(); }, QStringLiteral("the microphone is back"), 5s);
}

void soundServerGone(SoakRig& rig) {
    const platform::AudioError none(platform::AudioError::Kind::noServer, QStringLiteral("no sound server"));
    for (auto* error : {&rig.audio->surveyError, &rig.audio->microphoneError, &rig.audio->systemError}) {
        *error = none;
    }
    rig.audio->failSystem(QStringLiteral("killed"));
    rig.audio->failMicrophone(QStringLiteral("killed"));
    rig.wait(SoakRig::Seconds(rig.between(2, 30)));
    rig.expect(rig.interview().status() == InterviewStatus::streaming && rig.interview().audioUnavailable() &&
                   !rig.interview().errorMessageText().isEmpty(),
               QStringLiteral("the user is told that nothing is heard"));
    for (auto* error : {&rig.audio->surveyError, &rig.audio->microphoneError, &rig.audio->systemError}) {
        error->reset();
    }
    rig.expectSoon([&] { return rig.captures(); }, QStringLiteral("both sides are back"), 5s);
}

void soundAndLinkGone(SoakRig& rig) {
    rig.audio->failSystem(QStringLiteral("killed"));
    drop(rig);
    rig.expectStreaming();
}

// What the identity needs is in memory, also for a new token.
void keyringLocked(SoakRig& rig) {
    rig.app->clerkAuthService().invalidateCachedJWT();
    rig.secrets->setCondition(platform::SecretStore::Status::locked);
    drop(rig);
    rig.expectStreaming();
    rig.secrets->setCondition(platform::SecretStore::Status::ok);
}

// Another program holds the database while a message is to be stored.
void storeLocked(SoakRig& rig) {
    rig.holdStore();
    auto& chat = rig.app->completionViewModel();
    chat.setInput(QStringLiteral("What should I ask next?"));
    chat.submit();
    rig.expectUndisturbed(10s);
    rig.releaseStore();
    rig.expect(chat.errorText().isEmpty(), QStringLiteral("the chat goes on: ") + chat.errorText());
}

constexpr std::array faults{
    SoakFault{"the link is dropped", droppedLink},
    SoakFault{"the server closes the link", closedLink},
    SoakFault{"pings are not answered", unansweredPings},
    SoakFault{"the link falls silent", silentLink},
    SoakFault{"the network changes", networkChanged},
    SoakFault{"the network changes, the link is dead", networkChangedForTheWorse},
    SoakFault{"a short sleep", sleptShortly},
    SoakFault{"a sleep in which the link dies", sleptWhileTheLinkDied},
    SoakFault{"the upgrade is refused with 503", refusedUpgrade},
    SoakFault{"the upgrade is refused with 401", refusedToken},
    SoakFault{"tokens are revoked", revokedTokens},
    SoakFault{"no token is available", noToken},
    SoakFault{"the sign-in ends", endedSignIn},
    SoakFault{"no session is available", failedSession},
    SoakFault{"slow answers", slowAnswers},
    SoakFault{"the session is forgotten", forgottenSession},
    SoakFault{"the interview is forgotten", forgottenInterview},
    SoakFault{"a message that is not JSON", harmlessMessage<malformed>},
    SoakFault{"a message of an unknown type", harmlessMessage<unknownType>},
    SoakFault{"messages with wrong types", harmlessMessage<wrongTypes>},
    SoakFault{"100,000 brackets", harmlessMessage<deeplyNested>},
    SoakFault{"a binary message", harmlessMessage<binary>},
    SoakFault{"a message in broken UTF-8", unbearableMessage<invalidUtf8>},
    SoakFault{"a message of 100 MB", unbearableMessage<enormous>},
    SoakFault{"the server reports an error", serverError},
    SoakFault{"the server ends the interview", serverEndsInterview},
    SoakFault{"a new interview before the old one's end is acknowledged", lateEndAcknowledgement},
    SoakFault{"the user pauses", pausedByUser},
    SoakFault{"the backend is away", backendAway},
    SoakFault{"backend and sign-in service are away", everythingAway},
    SoakFault{"a wrong certificate", wrongCertificate},
    SoakFault{"the server is killed", serverKilled},
    SoakFault{"the microphone is unplugged", microphoneGone},
    SoakFault{"the sound server is away", soundServerGone},
    SoakFault{"sound and link are lost at once", soundAndLinkGone},
    SoakFault{"the keyring is locked", keyringLocked},
    SoakFault{"the store is locked", storeLocked},
};

} // namespace

std::span<const SoakFault> soakFaults() {
    return faults;
}

} // namespace corvane
