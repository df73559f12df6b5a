#include "benchmarks/soak/SoakPairs.h"

#include "Platform/Core/Tasks.h"
#include "Services/ClerkAuthService.h"
#include "Services/CorvaneAPIService.h"
#include "Services/DatabaseService.h"
#include "Services/ScreenCaptureService.h"
#include "ViewModels/CompletionViewModel.h"

#include <algorithm>
#include <array>

namespace corvane {

using namespace std::chrono_literals;
using Cause = platform::ConnectivityMonitor::Cause;
using Field = SoakField;
using Loss = PairedFault::Loss;

namespace {

template<const char* const& action>
void ordered(SoakRig& rig) {
    rig.order(QLatin1String(action));
}

template<const char* const& kind>
void misbehaved(SoakRig& rig) {
    rig.order(QStringLiteral("misbehave"), {{QStringLiteral("kind"), QLatin1String(kind)}});
}

template<const char* const& fault>
void refusedOnce(SoakRig& rig) {
    rig.order(QLatin1String(fault), {{QStringLiteral("status"), 500}});
}

template<int status>
void upgradeRefused(SoakRig& rig) {
    rig.order(QStringLiteral("refuse-upgrade"), {{QStringLiteral("status"), status}});
}

template<bool backendOnly>
void wentAway(SoakRig& rig) {
    rig.order(QStringLiteral("go-away"), {{QStringLiteral("milliseconds"), rig.between(200, 2500)},
                                          {QStringLiteral("backend_only"), backendOnly}});
}

template<const char* const& text>
void serverSays(SoakRig& rig) {
    rig.order(QStringLiteral("send-text"), {{QStringLiteral("text"), QLatin1String(text)}});
}

constexpr const char* drop = "drop";
constexpr const char* close = "close";
constexpr const char* ignorePings = "ignore-pings";
constexpr const char* silence = "silence";
constexpr const char* revokeTokens = "revoke-tokens";
constexpr const char* endSignIns = "end-sign-ins";
constexpr const char* forgetSessions = "forget-sessions";
constexpr const char* forgetInterviews = "forget-interviews";
constexpr const char* failRest = "fail-rest";
constexpr const char* failToken = "fail-token";
constexpr const char* notJson = "malformed";
constexpr const char* notUtf8 = "invalid_utf8";
constexpr const char* tooLong = "enormous";
constexpr const char* errorMessage = R"({"type":"error","message":"The model is busy"})";
constexpr const char* endMessage = R"({"type":"end_interview_ack"})";

void slept(SoakRig& rig) {
    rig.freeze(15s);
    Q_EMIT rig.connectivity->disturbed(Cause::resumedFromSleep);
}

void routeChanged(SoakRig& rig) {
    Q_EMIT rig.connectivity->disturbed(Cause::networkChanged);
}

void slowedDown(SoakRig& rig) {
    rig.order(QStringLiteral("slow"), {{QStringLiteral("milliseconds"), 300}});
}

void distrusted(SoakRig& rig) {
    rig.order(QStringLiteral("certificate"), {{QStringLiteral("kind"), QStringLiteral("expired")}});
}

// Makes the next connection need a token that has to be fetched.
template<void (*strike)(SoakRig&)>
void withoutToken(SoakRig& rig) {
    rig.app->clerkAuthService().invalidateCachedJWT();
    strike(rig);
}

void keyringLocked(SoakRig& rig) {
    rig.secrets->setCondition(platform::SecretStore::Status::locked);
}

void keyringGone(SoakRig& rig) {
    rig.secrets->setCondition(platform::SecretStore::Status::absent);
}

void keyringBack(SoakRig& rig) {
    rig.secrets->setCondition(platform::SecretStore::Status::ok);
}

void microphoneGone(SoakRig& rig) {
    rig.audio->input.reset();
    rig.audio->microphoneError.emplace(platform::AudioError::Kind::noDevice, QStringLiteral("no microphone"));
    rig.audio->failMicrophone(QStringLiteral("unplugged"));
}

void soundServerKilled(SoakRig& rig) {
    for (auto* error : {&rig.audio->surveyError, &rig.audio->microphoneError, &rig.audio->systemError}) {
        error->emplace(platform::AudioError::Kind::noServer, QStringLiteral("no sound server"));
    }
    rig.audio->failSystem(QStringLiteral("killed"));
    rig.audio->failMicrophone(QStringLiteral("killed"));
}

void soundBack(SoakRig& rig) {
    rig.audio->input = platform::AudioEndpoint{QStringLiteral("1"), QStringLiteral("Test microphone")};
    for (auto* error : {&rig.audio->surveyError, &rig.audio->microphoneError, &rig.audio->systemError}) {
        error->reset();
    }
}

void systemStreamEnded(SoakRig& rig) {
    rig.audio->failSystem(QStringLiteral("moved"));
}

void userPaused(SoakRig& rig) {
    rig.interview().holdInterview();
}

void interviewBeganAgain(SoakRig& rig) {
    rig.interview().stopInterview();
    rig.submitInterview();
}

// During an interview the picture must be stored with the conversation, and nothing on screen may change.
void screenshotTaken(SoakRig& rig) {
    auto& chat = rig.app->completionViewModel();
    const auto stored = [&] {
        const auto id = chat.currentConversationId();
        return id ? rig.app->databaseService().getMessageCount(*id) : 0;
    };
    const bool isKept = isUnderWay(rig.interview().status()) && !rig.isStoreHeld();
    const auto expected = stored() + 1;
    const auto shown = std::pair(chat.assessmentText(), chat.isLoading());
    Q_EMIT rig.app->screenCaptureService().selectionCaptured(QByteArrayLiteral("a picture"));
    rig.expect(!isKept ||
                   (stored() == expected && shown == std::pair(chat.assessmentText(), chat.isLoading())),
               QStringLiteral("a screenshot is kept and disturbs nothing"));
}

void addressSaved(SoakRig& rig) {
    rig.app->apiService().setBaseURL(rig.backendUrl());
    platform::startTask(rig.link().connect(rig.backendUrl()), "connect");
}

void reconnectPressed(SoakRig& rig) {
    rig.link().manualReconnect();
}

// The server refuses a chat that comes before the session, and the user is not that quick.
void storeHeld(SoakRig& rig) {
    rig.holdStore();
    if (rig.hasSession()) {
        auto& chat = rig.app->completionViewModel();
        chat.setInput(QStringLiteral("What should I ask next?"));
        chat.submit();
    }
}

constexpr auto nothing = PairedFault::nothing;
constexpr auto button = PairedFault::button;
constexpr auto signIn = PairedFault::signIn | PairedFault::button;
constexpr auto resume = PairedFault::resume;
constexpr auto restart = PairedFault::restart;

constexpr std::array pairedFaults{
    PairedFault{"the link is dropped", Field::link, Loss::certain, nothing, ordered<drop>, nullptr},
    PairedFault{"the server closes the link", Field::link, Loss::certain, nothing, ordered<close>, nullptr},
    PairedFault{"pings are not answered", Field::link, Loss::certain, nothing, ordered<ignorePings>, nullptr},
    PairedFault{"the link falls silent", Field::link, Loss::certain, nothing, ordered<silence>, nullptr},

    PairedFault{"a sleep", Field::machine, Loss::none, nothing, slept, nullptr},
    PairedFault{"the network changes", Field::machine, Loss::none, nothing, routeChanged, nullptr},

    PairedFault{"slow answers", Field::way, Loss::none, nothing, slowedDown, nullptr},
    PairedFault{"a busy backend", Field::way, Loss::hidden, nothing, upgradeRefused<503>, nullptr},
    PairedFault{"the backend is away", Field::way, Loss::certain, nothing, wentAway<true>, nullptr},
    PairedFault{"backend and sign-in service are away", Field::way, Loss::certain, button, wentAway<false>,
                nullptr},
    PairedFault{"a wrong certificate", Field::way, Loss::hidden, button, distrusted, nullptr},
    PairedFault{"the server is killed", Field::way, Loss::server, button,
                [](SoakRig& rig) { rig.killServer(); }, [](SoakRig& rig) { rig.startServer(); }},

    PairedFault{"a token is refused", Field::identity, Loss::hidden, button, upgradeRefused<401>, nullptr},
    PairedFault{"tokens are revoked", Field::identity, Loss::hidden, button, ordered<revokeTokens>, nullptr},
    PairedFault{"no token to be had", Field::identity, Loss::hidden, button,
                withoutToken<refusedOnce<failToken>>, nullptr},
    PairedFault{"the sign-in ends", Field::identity, Loss::hidden, signIn, withoutToken<ordered<endSignIns>>,
                nullptr},

    PairedFault{"the keyring is locked", Field::keyring, Loss::hidden, nothing, withoutToken<keyringLocked>,
                keyringBack},
    PairedFault{"the keyring is gone", Field::keyring, Loss::hidden, nothing, withoutToken<keyringGone>,
                keyringBack},

    PairedFault{"the session is forgotten", Field::session, Loss::hidden, nothing, ordered<forgetSessions>,
                nullptr},
    PairedFault{"the interview is forgotten", Field::session, Loss::hidden, nothing,
                ordered<forgetInterviews>, nullptr},
    PairedFault{"no session to be had", Field::session, Loss::hidden, button, refusedOnce<failRest>, nullptr},

    PairedFault{"a message that is no JSON", Field::message, Loss::none, nothing, misbehaved<notJson>,
                nullptr},
    PairedFault{"the server tells of an error", Field::message, Loss::none, nothing, serverSays<errorMessage>,
                nullptr},
    PairedFault{"the server ends the interview", Field::message, Loss::none, restart, serverSays<endMessage>,
                nullptr},
    PairedFault{"a message in broken UTF-8", Field::message, Loss::certain, nothing, misbehaved<notUtf8>,
                nullptr},
    PairedFault{"a message of 100 MB", Field::message, Loss::certain, nothing, misbehaved<tooLong>, nullptr},

    PairedFault{"the microphone is unplugged", Field::sound, Loss::none, nothing, microphoneGone, soundBack},
    PairedFault{"the sound server is killed", Field::sound, Loss::none, nothing, soundServerKilled,
                soundBack},
    PairedFault{"system audio ends", Field::sound, Loss::none, nothing, systemStreamEnded, nullptr},

    PairedFault{"the user pauses", Field::user, Loss::none, resume, userPaused, nullptr},
    PairedFault{"the user begins another interview", Field::user, Loss::none, restart, interviewBeganAgain,
                nullptr},
    PairedFault{"a screenshot", Field::user, Loss::none, nothing, screenshotTaken, nullptr},
    PairedFault{"the address is saved", Field::user, Loss::replaced, nothing, addressSaved, nullptr},
    PairedFault{"the user reconnects", Field::user, Loss::replaced, nothing, reconnectPressed, nullptr},

    PairedFault{"the store is held", Field::store, Loss::none, nothing, storeHeld,
                [](SoakRig& rig) { rig.releaseStore(); }},
};

// Acts like a user who looks at the program every few seconds, and does no more than the faults call for.
class User {
public:
    User(SoakRig& rig, unsigned help)
        : m_rig(rig)
        , m_help(help) {}

    void bringBack() {
        constexpr int looks = 240; // 8 minutes
        for (int look = 0; look < looks; ++look) {
            if (isWell()) {
                return;
            }
            m_rig.wait(2s);
            noteChange();
            act();
        }
        throw SoakFailure(QStringLiteral("it does not come back: ") + m_before);
    }

private:
    bool isWell() const {
        return m_rig.interview().status() == InterviewStatus::streaming && m_rig.captures() &&
               m_rig.hasSession();
    }

    void noteChange() {
        const auto now = QStringLiteral("%1, connected %2, session %3, error \"%4\" \"%5\", sound %6")
                             .arg(m_rig.interview().statusName())
                             .arg(m_rig.link().isConnected())
                             .arg(m_rig.hasSession())
                             .arg(m_rig.link().authErrorText(), m_rig.interview().errorMessageText())
                             .arg(m_rig.captures());
        if (std::exchange(m_before, now) != now) {
            m_since = m_rig.time();
        }
    }

    // Longer than the longest delay between two attempts of the program's own.
    bool hasWaited() const { return m_rig.time() - m_since > 35s; }

    void act() {
        const auto status = m_rig.interview().status();
        const bool isLocked = !m_rig.hasSession();
        if (isLocked && (m_help & PairedFault::signIn) && m_rig.link().authError()) {
            m_help &= ~static_cast<unsigned>(PairedFault::signIn);
            ::waitFor(m_rig.app->clerkAuthService().signOut(), 20'000);
            m_rig.signIn();
        } else if (isLocked && (m_help & PairedFault::button) && (m_rig.link().authError() || hasWaited())) {
            ++m_rig.pressed;
            m_rig.link().manualReconnect();
            m_since = m_rig.time();
        } else if (!isLocked && (m_help & PairedFault::resume) && status == InterviewStatus::paused) {
            m_help &= ~static_cast<unsigned>(PairedFault::resume);
            m_rig.interview().resumeInterview();
        } else if (!isLocked && (m_help & PairedFault::restart)) {
            beginAgain(status);
        }
    }

    void beginAgain(InterviewStatus status) {
        auto& interview = m_rig.interview();
        if (status == InterviewStatus::idle || status == InterviewStatus::error) {
            m_rig.submitInterview();
        } else if (!hasWaited()) {
            return;
        } else if (status == InterviewStatus::waitingForQuestions) {
            interview.giveUpStart();
        } else if (interview.audioUnavailable() || interview.microphoneFallbackActive()) {
            // A source that has never run in an interview waits for the user.
            interview.retrySystemAudioCapture();
        } else if (interview.microphoneMissing()) {
            interview.pauseInterview();
            m_help |= PairedFault::resume;
        } else if (status == InterviewStatus::paused) {
            interview.resumeInterview();
        }
        m_since = m_rig.time();
    }

    SoakRig& m_rig;
    unsigned m_help;
    QString m_before;
    SoakRig::Seconds m_since = m_rig.time();
};

} // namespace

QByteArray SoakPair::name() const {
    return QByteArray(first->name) + ", and " + second->name;
}

void SoakPair::happen(SoakRig& rig) const {
    auto order = rig.between(0, 1) == 0 ? std::array{first, second} : std::array{second, first};
    if (order.front()->loss == Loss::server) {
        std::ranges::reverse(order);
    }
    for (const auto* fault : order) {
        fault->strike(rig);
    }
    const auto either = [&](Loss loss) { return first->loss == loss || second->loss == loss; };
    if (either(Loss::hidden) && !either(Loss::certain) && !either(Loss::server)) {
        rig.order(QLatin1String(drop));
    }
    rig.wait(SoakRig::Seconds(rig.between(0, 15)));
    std::ranges::reverse(order);
    for (const auto* fault : order) {
        if (fault->mend) {
            fault->mend(rig);
        }
    }
    if (first->loss != Loss::none || second->loss != Loss::none) {
        rig.expectLossFelt();
    }
    rig.order(QStringLiteral("cure"));
    User(rig, first->help | second->help).bringBack();
    rig.expectRightPauses();
}

namespace {

// With a link that is replaced, a session that the server forgets ends unnoticed: no loss is reported.
bool isBearable(const PairedFault& first, const PairedFault& second) {
    return first.field != Field::session || second.loss != Loss::replaced;
}

} // namespace

std::vector<std::vector<SoakPair>> soakPairs(std::mt19937_64& random) {
    std::vector<std::vector<SoakPair>> lists;
    for (int one = 0; one < soakFields; ++one) {
        for (int other = one + 1; other < soakFields; ++other) {
            auto& list = lists.emplace_back();
            for (const auto& first : pairedFaults) {
                for (const auto& second : pairedFaults) {
                    if (static_cast<int>(first.field) == one && static_cast<int>(second.field) == other &&
                        isBearable(first, second)) {
                        list.push_back({&first, &second});
                    }
                }
            }
            std::ranges::shuffle(list, random);
        }
    }
    return lists;
}

} // namespace corvane
