#include "benchmarks/soak/SoakRig.h"

#include "Services/ClerkAuthService.h"
#include "Windows/WindowFactory.h"

#include <QDir>
#include <QJsonDocument>

#include <csignal>
#include <sys/prctl.h>

namespace corvane {

using namespace std::chrono_literals;

namespace {

const auto interviewId = QStringLiteral("3f2b8c64-9d1e-4a57-b0c3-5e8f7a6d2c19");
// In real time: for a control request or a start of the stand-in.
constexpr int serverTimeout = 20'000; // ms

QString text(const QJsonObject& object, const char* outer, const char* inner) {
    return object.value(QLatin1String(outer)).toObject().value(QLatin1String(inner)).toString();
}

QJsonObject lastInterview(const QJsonObject& state) {
    return state.value(QLatin1String("interviews")).toArray().last().toObject();
}

qint64 framesOf(const QJsonObject& interview, const char* side) {
    return interview.value(QLatin1String(side)).toObject().value(QLatin1String("frames")).toInteger();
}

} // namespace

SoakRig::SoakRig(quint64 seed)
    : random(seed)
    , m_control(platform::makeHttpClient(platform::HttpSessionKind::ephemeral))
    , m_start(std::chrono::steady_clock::now()) {
    startServer();
    const auto environment = m_addresses.value(QLatin1String("environment")).toObject();
    for (const auto& name : environment.keys()) {
        qputenv(name.toLatin1().constData(), environment.value(name).toString().toUtf8());
    }
    qputenv("no_proxy", "127.0.0.1,localhost");
    app = std::make_unique<AppDelegate>(services());
}

SoakRig::~SoakRig() {
    m_voices.reset();
    app.reset();
    m_server.terminate();
    m_server.waitForFinished();
}

PlatformServices SoakRig::services() {
    const auto signIn = m_addresses.value(QLatin1String("sign_in")).toObject();
    PlatformServices services;
    services.applicationInfo = platform::ApplicationInfo(
        {{QStringLiteral("CLERK_PUBLISHABLE_KEY"), text(signIn, "development", "publishable_key")},
         {QStringLiteral("CORVANE_DEFAULT_ENDPOINT"), text(m_addresses, "backend", "url")}});
    services.dataFolder = folder.path();
    services.cacheFolder = folder.filePath(QStringLiteral("cache"));
    services.clock = std::make_unique<ScaledClock>(speed);
    services.defaults = platform::makeMemoryDefaultsStore();
    services.identityHttp = platform::makeHttpClient(platform::HttpSessionKind::ephemeral);
    services.backendHttp = platform::makeHttpClient(platform::HttpSessionKind::shared);
    services.makeUpdateHttp = [] { return platform::makeHttpClient(platform::HttpSessionKind::ephemeral); };
    services.webSockets = m_sent.recorded(platform::makeWebSocketFactory());
    const auto give = [](auto& place, auto object) {
        auto* raw = object.get();
        place = std::move(object);
        return raw;
    };
    secrets = give(services.secrets, std::make_unique<MemorySecretStore>());
    connectivity = give(services.connectivity, std::make_unique<platform::ConnectivityMonitor>());
    audio = give(services.audio, std::make_unique<FakeAudioHost>());
    services.systemAccess = std::make_unique<FakeSystemAccess>();
    services.appearance = std::make_unique<platform::Appearance>();
    services.loginItem = std::make_unique<FakeLoginItem>();
    services.screens = std::make_unique<FakeScreenGrabber>();
    services.clipboard = std::make_unique<FakeClipboard>();
    services.notifications = std::make_unique<FakeNotifications>();
    services.windows = makeWindowFactory();
    return services;
}

void SoakRig::begin() {
    app->applicationDidFinishLaunching();
    followPauses();
    signIn();
    startInterview();
    m_voices = std::make_unique<SimulatedVoices>(*audio, speed, static_cast<std::uint32_t>(random()));
    expectHealthy();
}

void SoakRig::followPauses() {
    QObject::connect(&interview(), &InterviewViewModel::statusChanged, &interview(), [this] {
        if (interview().status() != InterviewStatus::paused) {
            return;
        }
        ++m_pauses;
        if (audio->microphoneRuns() || audio->systemRuns()) {
            m_wrongPause = QStringLiteral("paused, and still listening");
        } else if (!link().isConnected() && !interview().disconnectedDuringInterview()) {
            m_wrongPause = QStringLiteral("paused, but the user is not told why");
        }
    });
}

void SoakRig::noteFault() {
    m_broken = SentSound::Time::clock::now();
    m_pauses = 0;
}

void SoakRig::signIn() {
    const auto sessions = [this] {
        return log.count(QStringLiteral("[WS] Fresh session")) +
               log.count(QStringLiteral("[WS] Session resumed"));
    };
    const auto before = sessions();
    ::waitFor(app->clerkAuthService().startSignIn(QStringLiteral("interviewer@example.com")), serverTimeout);
    ::waitFor(app->clerkAuthService().verifyCode(platform::Secret(QStringLiteral("424242"))), serverTimeout);
    expectSoon([&] { return sessions() > before; }, QStringLiteral("the sign-in is followed by a session"));
}

void SoakRig::startInterview() {
    submitInterview();
    expectStreaming();
}

void SoakRig::submitInterview() {
    interview().setInterviewId(interviewId);
    interview().startInterviewWithId();
}

bool SoakRig::hasSession() {
    const auto lines = log.lines();
    const auto last = [&](const char* text) {
        const auto found = std::ranges::find_if(lines.rbegin(), lines.rend(), [&](const QString& line) {
            return line.startsWith(QLatin1String(text));
        });
        return lines.rend() - found; // 0 when there is none
    };
    return link().isConnected() && std::max(last("[WS] Fresh session confirmed"),
                                            last("[WS] Session resumed")) >= last("[WS] Connected (task ");
}

QString SoakRig::backendUrl() const {
    return text(m_addresses, "backend", "url");
}

void SoakRig::end() {
    interview().pauseInterview();
    expect(!captures(), QStringLiteral("paused, and still listening"));
    expectSoon(
        [this] {
            const auto sound =
                serverState().value(QLatin1String("links")).toObject().value(QLatin1String("sound"));
            return static_cast<quint64>(
                       sound.toArray().last().toObject().value(QLatin1String("frames")).toInteger()) ==
                   m_sent.framesOfNewest();
        },
        QStringLiteral("the server has all that was sent"));
    judge(true);
    ++links;
}

SoakRig::Seconds SoakRig::time() const {
    return (std::chrono::steady_clock::now() - m_start) * speed;
}

void SoakRig::wait(Seconds time) {
    QTest::qWait(
        static_cast<int>(std::chrono::duration_cast<std::chrono::milliseconds>(time / speed).count()));
}

void SoakRig::order(const QString& action, const QJsonObject& parameters) {
    platform::HttpRequest request;
    request.method = "POST";
    request.url = QUrl(m_addresses.value(QLatin1String("control")).toString() + QLatin1Char('/') + action);
    request.headers = {{"Content-Type", "application/json"}};
    request.body = QJsonDocument(parameters).toJson(QJsonDocument::Compact);
    const auto answer = ::waitFor(m_control->execute(request), serverTimeout);
    expect(answer.status == 200, QStringLiteral("%1: %2").arg(action, QString::fromUtf8(answer.body)));
}

QJsonObject SoakRig::serverState() {
    platform::HttpRequest request;
    request.method = "GET";
    request.url = QUrl(m_addresses.value(QLatin1String("control")).toString() + QStringLiteral("/state"));
    return QJsonDocument::fromJson(::waitFor(m_control->execute(request), serverTimeout).body).object();
}

void SoakRig::startServer() {
    QStringList arguments{QStringLiteral("--quiet"), QStringLiteral("--folder"), m_serverFolder.path(),
                          QStringLiteral("--pace"), QString::number(120 / speed)};
    const auto keepPort = [&](const char* option, const QString& address) {
        if (!address.isEmpty()) {
            arguments << QLatin1String(option) << QString::number(QUrl(address).port());
        }
    };
    keepPort("--proxy-port", m_addresses.value(QLatin1String("proxy")).toString());
    keepPort("--https-port", text(m_addresses, "backend", "tls"));
    keepPort("--http-port", text(m_addresses, "backend", "plain"));
    keepPort("--control-port", m_addresses.value(QLatin1String("control")).toString());
    m_server.setStandardErrorFile(QProcess::nullDevice());
    m_server.setChildProcessModifier([] { prctl(PR_SET_PDEATHSIG, SIGTERM); });
    m_server.start(QCoreApplication::applicationDirPath() + QStringLiteral("/corvane-sandbox"), arguments);
    expect(waitUntil([this] { return m_server.canReadLine(); }, serverTimeout),
           QStringLiteral("the stand-in starts"));
    m_addresses = QJsonDocument::fromJson(m_server.readLine()).object();
}

void SoakRig::killServer() {
    judge(false);
    m_server.kill();
    expect(waitUntil([this] { return m_server.state() == QProcess::NotRunning; }, serverTimeout),
           QStringLiteral("the stand-in ends"));
    // Nobody knows any more what became of the frames after the comparison.
    m_sent.forget();
    m_judgedLinks = 0;
    ++links;
}

void SoakRig::holdStore() {
    const auto path = folder.filePath(QStringLiteral("com.corvane.interview-assistant/corvane.db"));
    m_holder.start(QCoreApplication::applicationFilePath(), {QLatin1String(lockOption), path});
    expectSoon([this] { return m_holder.canReadLine(); }, QStringLiteral("another program locks the store"));
}

void SoakRig::releaseStore() {
    m_holder.closeWriteChannel();
    expectSoon([this] { return m_holder.state() == QProcess::NotRunning; },
               QStringLiteral("the lock is gone"));
}

void SoakRig::freeze(Seconds time) {
    const auto script = QStringLiteral("kill -STOP %1; sleep %2; kill -CONT %1")
                            .arg(QCoreApplication::applicationPid())
                            .arg(time.count() / speed, 0, 'f', 2);
    const auto before = std::chrono::steady_clock::now();
    QProcess::startDetached(QStringLiteral("/bin/sh"), {QStringLiteral("-c"), script});
    expect(waitUntil([&] { return std::chrono::steady_clock::now() - before > time / speed; }, serverTimeout),
           QStringLiteral("time stands still"));
}

void SoakRig::expect(bool holds, const QString& what) const {
    if (!holds) {
        throw SoakFailure(what);
    }
}

void SoakRig::expectSoon(const std::function<bool()>& condition, const QString& what, Seconds within) {
    const auto limit = std::chrono::duration_cast<std::chrono::milliseconds>(within / speed);
    // A busy machine is not a fault of the program.
    expect(waitUntil(condition, static_cast<int>(limit.count()) + serverTimeout),
           QStringLiteral("not so: ") + what);
}

void SoakRig::expectPaused() {
    // The pause may already be over.
    expectSoon([this] { return m_pauses > 0; }, QStringLiteral("paused"));
    m_pauses = 0;
    expectRightPauses();
}

void SoakRig::expectRightPauses() const {
    expect(m_wrongPause.isEmpty(), m_wrongPause);
}

void SoakRig::expectLossFelt() {
    expectSoon(
        [this] { return !link().isConnected() || log.contains(QStringLiteral("[WS] Opening connection")); },
        QStringLiteral("the link was lost"));
}

void SoakRig::expectUndisturbed(Seconds time) {
    const auto reconnects = log.count(QStringLiteral("[WS] Opening connection"));
    wait(time);
    expect(log.count(QStringLiteral("[WS] Opening connection")) == reconnects,
           QStringLiteral("the link was lost"));
    expect(interview().status() == InterviewStatus::streaming && captures(),
           QStringLiteral("the interview was disturbed"));
}

void SoakRig::expectStreaming() {
    expectSoon([this] { return interview().status() == InterviewStatus::streaming; },
               QStringLiteral("the interview runs"));
}

void SoakRig::reconnectByHand() {
    const auto runs = [this] { return interview().status() == InterviewStatus::streaming; };
    for (int attempt = 0; attempt < 10; ++attempt) {
        // Longer than the longest delay between two attempts of its own.
        if (waitUntil([&] { return runs() || link().authError(); }, 4000) && runs()) {
            return;
        }
        ++pressed;
        link().manualReconnect();
        wait(10s);
    }
    expect(runs(), QStringLiteral("not even the button brings the interview back"));
}

bool SoakRig::isServerHealthy(const QJsonObject& before, const QJsonObject& now) const {
    const auto was = lastInterview(before);
    const auto is = lastInterview(now);
    return is.value(QLatin1String("running")).toBool() &&
           framesOf(is, "interviewer") > framesOf(was, "interviewer") &&
           framesOf(is, "candidate") > framesOf(was, "candidate");
}

void SoakRig::expectHealthy() {
    expectStreaming();
    expectSoon([this] { return captures(); }, QStringLiteral("both sides are heard"));
    auto& model = interview();
    expectSoon([&] { return !model.audioUnavailable() && !model.microphoneFallbackActive(); },
               QStringLiteral("no sound is said to be missing"));
    expect(!model.disconnectedDuringInterview() && model.errorMessageText().isEmpty(),
           QStringLiteral("an old trouble is still on show: ") + model.errorMessageText());
    expect(link().isConnected() && !link().isReconnecting() && !link().authError(),
           QStringLiteral("connected, without an error"));
    const auto before = serverState();
    expectSoon([&] { return isServerHealthy(before, serverState()); },
               QStringLiteral("the server hears both sides"));
    const auto complaints = serverState().value(QLatin1String("violations")).toArray();
    expect(complaints.isEmpty(), complaints.first().toString());
    judge(false);
    // Until the next fault no frame may be lost.
    m_broken = SentSound::Time::max();
}

void SoakRig::judge(bool isOver) {
    const auto state = serverState().value(QLatin1String("links")).toObject();
    const auto sound = state.value(QLatin1String("sound")).toArray();
    const auto opened = static_cast<quint64>(state.value(QLatin1String("opened")).toInteger());
    const auto first = opened - static_cast<quint64>(sound.size());
    expect(m_judgedLinks >= first, QStringLiteral("the server has forgotten links that were not judged"));
    std::vector<SentSound::Received> newLinks;
    for (auto i = m_judgedLinks - first; i < static_cast<quint64>(sound.size()); ++i) {
        const auto link = sound.at(static_cast<qsizetype>(i)).toObject();
        newLinks.push_back({static_cast<quint64>(link.value(QLatin1String("frames")).toInteger()),
                            static_cast<quint32>(link.value(QLatin1String("crc32")).toInteger())});
    }
    const auto verdict = m_sent.judge(newLinks, m_broken, isOver);
    expect(verdict.complaint.isEmpty(), verdict.complaint);
    links += static_cast<int>(opened - m_judgedLinks) - 1;
    m_judgedLinks = opened - 1;
    received += verdict.received;
    lost += verdict.lost;
}

} // namespace corvane
