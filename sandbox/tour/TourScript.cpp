#include "sandbox/tour/TourScript.h"

#include "sandbox/tour/TourRoles.h"

#include "App/ApplicationId.h"
#include "Platform/Core/Dispatch.h"
#include "Platform/Core/Log.h"
#include "Platform/Core/SystemClock.h"
#include "Platform/Core/Tasks.h"
#include "Services/ClerkAuthService.h"
#include "Services/DatabaseService.h"
#include "Services/WebSocketService.h"
#include "ViewModels/ChatsViewModel.h"
#include "ViewModels/CompletionViewModel.h"
#include "ViewModels/InterviewViewModel.h"

#include <QDir>
#include <QGuiApplication>
#include <QJsonArray>
#include <QJsonDocument>

namespace corvane {

using namespace std::chrono_literals;

namespace {

// Returns whether a log line is worth showing; the others are kept for the check at the end.
bool isNoteworthy(const QString& line) {
    return line.startsWith(QLatin1String("====")) || line.startsWith(QLatin1String("[Interview]")) ||
           line.startsWith(QLatin1String("[DeepLink]")) ||
           line.startsWith(QLatin1String("[Audio] System audio")) ||
           (line.startsWith(QLatin1String("[WS]")) && !line.startsWith(QLatin1String("[WS] Received")) &&
            !line.startsWith(QLatin1String("[WS] Sending")));
}

} // namespace

using namespace tourroles;

TourScript::TourScript(TourDesktop& desktop, const PrivateDesktop& display, Transcript& transcript,
                       Options options)
    : m_desktop(desktop)
    , m_display(display)
    , m_hands(display)
    , m_transcript(transcript)
    , m_options(std::move(options))
    , m_clock(std::make_unique<platform::SystemClock>())
    , m_http(platform::makeHttpClient(platform::HttpSessionKind::ephemeral)) {
    platform::setLogHandler([this](platform::LogSink, const QString& line) {
        platform::dispatchToMain([this, line] {
            m_log.append(line);
            if (isNoteworthy(line)) {
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
        require(m_clock->monotonic() < end, QStringLiteral("within %1 s: %2. On the screen: %3")
                                                .arg(seconds)
                                                .arg(what, m_hands.names().join(QStringLiteral(", "))));
        co_await m_clock->sleep(20ms);
    }
}

QCoro::Task<void> TourScript::click(QString name, QString within) {
    const Condition usable = [this, name, within] {
        return m_hands.find(name, within).has_value() && m_hands.canUse(name);
    };
    co_await until(QStringLiteral("“%1” can be clicked").arg(name), usable);
    m_hands.click(name, within);
    co_await pause(150);
}

QCoro::Task<void> TourScript::type(QString text) {
    m_hands.type(text);
    co_await pause(150);
}

QCoro::Task<void> TourScript::press(QString keys) {
    m_hands.press(keys);
    co_await pause(150);
}

QCoro::Task<void> TourScript::drag(QPoint from, QPoint to) {
    m_hands.moveTo(from);
    co_await pause(120);
    m_hands.hold(from);
    for (const auto& place : {from, from + QPoint(1, 0), (from + to) / 2, to}) {
        co_await pause(120);
        m_hands.moveTo(place);
    }
    co_await pause(120);
    m_hands.letGo();
    co_await pause(300);
}

void TourScript::savePicture(const QString& name) const {
    m_display.picture().save(m_options.pictures + u'/' + name + QStringLiteral(".png"), "PNG", 80);
}

QCoro::Task<void> TourScript::picture(QString name) {
    // Moves the pointer away, because it would change what it rests on.
    m_hands.moveTo(QPoint(m_display.size().width() - 4, m_display.size().height() - 4));
    co_await pause(300);
    savePicture(name);
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
    QDir().mkpath(m_options.pictures);
    co_await launch();
    co_await signIn();
    co_await visitPages();
    co_await installUpdate();
    co_await startInterview();
    co_await converse();
    if (!m_options.fault.isEmpty()) {
        m_transcript.chapter(QStringLiteral("A fault that stays"));
        m_transcript.say(sandbox, m_options.fault);
        co_await apply(m_options.fault, QJsonObject());
    }
    co_await workManually();
    co_await lookAtTheBar();
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
    const Condition asks = [this] { return m_hands.sees(QStringLiteral("Email address")); };
    co_await until(QStringLiteral("the sign-in card shows"), asks);
    co_await picture(QStringLiteral("signed-out"));
}

QCoro::Task<void> TourScript::openLink(QString id) {
    QProcess launcher;
    launcher.start(QStringLiteral("gdbus"), TourDesktop::openLinkArguments(id));
    co_await until(QStringLiteral("the launcher hands the link over"),
                   [&launcher] { return launcher.state() == QProcess::NotRunning; });
    require(launcher.exitCode() == 0, QString::fromUtf8(launcher.readAllStandardError()));
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

} // namespace corvane
