#include "Platform/Core/SystemClock.h"
#include "Services/ClerkAuthService.h"
#include "Utilities/Json.h"
#include "sandbox/Sandbox.h"
#include "tests/Support/Rows.h"
#include "tests/Support/TestProgram.h"

#include <QDirIterator>

using namespace corvane;

using namespace std::chrono_literals;

namespace {

const auto paused = QStringLiteral("[Interview] Disconnected during interview — pausing");
constexpr auto interviewId = "3f2b8c64-9d1e-4a57-b0c3-5e8f7a6d2c19";

sandbox::Options quickOptions() {
    sandbox::Options options;
    options.pace = 5ms;
    return options;
}

// The program on the real network layer, against the sandbox; sound and secrets are fakes.
class LiveProgram {
public:
    LiveProgram()
        : sandbox(quickOptions()) {
        const auto& addresses = sandbox.addresses();
        qputenv("SSL_CERT_FILE", QByteArray::fromStdString(addresses.certificateFile.string()));
        qputenv("https_proxy", QByteArray::fromStdString(addresses.proxy));
        qputenv("no_proxy", "127.0.0.1,localhost");
        PlatformServices services;
        services.applicationInfo = platform::ApplicationInfo(
            {{"CLERK_PUBLISHABLE_KEY", QString::fromStdString(addresses.developmentKey)},
             {"CORVANE_DEFAULT_ENDPOINT", QString::fromStdString(addresses.backend)}});
        services.dataFolder = folder.path();
        services.clock = std::make_unique<platform::SystemClock>();
        services.defaults = platform::makeFileDefaultsStore(folder.filePath("settings/settings.ini"));
        auto store = std::make_unique<MemorySecretStore>();
        secrets = store.get();
        services.secrets = std::move(store);
        services.identityHttp = platform::makeHttpClient(platform::HttpSessionKind::ephemeral);
        services.backendHttp = platform::makeHttpClient(platform::HttpSessionKind::shared);
        services.webSockets = platform::makeWebSocketFactory();
        services.connectivity = std::make_unique<platform::ConnectivityMonitor>();
        monitor = services.connectivity.get();
        services.audio = std::make_unique<FakeAudioHost>();
        services.systemAccess = std::make_unique<FakeSystemAccess>();
        services.windows = std::make_unique<FakeWindowFactory>();
        services.screens = std::make_unique<FakeScreenGrabber>();
        services.clipboard = std::make_unique<FakeClipboard>();
        services.notifications = std::make_unique<FakeNotifications>();
        services.loginItem = std::make_unique<FakeLoginItem>();
        services.appearance = std::make_unique<platform::Appearance>();
        app = std::make_unique<AppDelegate>(std::move(services));
    }

    void signIn() {
        app->applicationDidFinishLaunching();
        ::waitFor(app->clerkAuthService().startSignIn("interviewer@example.com"));
        ::waitFor(app->clerkAuthService().verifyCode(platform::Secret("424242")));
    }

    // Signed in, with a session that the server has confirmed.
    bool connectSession() {
        signIn();
        return waitUntil([&] { return log.contains("[WS] Fresh session confirmed"); });
    }

    bool startInterview() {
        interview().setInterviewId(QString::fromLatin1(interviewId));
        interview().startInterviewWithId();
        // The server may hear of it after the program has gone on.
        return reaches(InterviewStatus::streaming) &&
               waitUntil([&] { return !sandbox.state().at("interviews").as_array().empty(); });
    }

    bool reaches(InterviewStatus status) {
        return waitUntil([&] { return interview().status() == status; }, 30000);
    }

    InterviewViewModel& interview() { return app->interviewViewModel(); }

    LogCapture log;
    QTemporaryDir folder;
    sandbox::Sandbox sandbox;
    platform::ConnectivityMonitor* monitor = nullptr;
    MemorySecretStore* secrets = nullptr;
    std::unique_ptr<AppDelegate> app;
};

} // namespace

// What each fault of the backend does to a running interview.
class ProgramFaultsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void theInterviewOutlivesTheFault_data() {
        // The actions, each with its JSON parameters if it has any, and lines of the log.
        const auto row = rows<QStringList, QStringList>();
        const auto resumed =
            QStringLiteral("[Interview] Session resumed with active interview — auto-resuming audio");
        row("dropped link", {"drop"}, {"[WS] Connection closed with code: 1006", paused, resumed});
        row("closed with a code", {"close {\"code\":4001}"},
            {"[WS] Connection closed with code: 4001", paused, resumed});
        row("unanswered ping", {"ignore-pings", "disturb"}, {"[WS] Ping failed: ", paused, resumed});
        row("silent link", {"silence", "disturb"}, {"[WS] Ping failed: ", paused, resumed});
        row("refused upgrade", {"refuse-upgrade {\"status\":503}", "drop"},
            {"503", "[WS] Reconnecting in 2 seconds (attempt 2/10)", paused, resumed});
        // It waits for the user, who reconnects once the refusal is shown.
        row("refused token", {"refuse-upgrade {\"status\":401}", "drop", "reconnect"},
            {"[WS] Authentication failed (401) — invalidating JWT", paused, resumed});
        row("slow answers", {"slow {\"milliseconds\":400}", "drop"}, {paused, resumed});
        row("forgotten session", {"forget-sessions", "drop"},
            {paused, "[Interview] Fresh session after disconnect — re-sending interview_id to restart"});
        row("forgotten interview", {"forget-interviews", "drop"},
            {paused, "[Interview] Session resumed but server lost interview — re-sending interview_id"});
        row("absence", {"go-away {\"milliseconds\":1500,\"backend_only\":true}"}, {paused, resumed});
        for (const char* kind : {"enormous", "invalid_utf8"}) {
            row(kind, {QString("misbehave {\"kind\":\"%1\"}").arg(kind)},
                {"[WS] Receive error: ", paused, resumed});
        }
        for (const char* kind : {"malformed", "unknown_type", "wrong_types", "deeply_nested", "binary"}) {
            row(kind, {QString("misbehave {\"kind\":\"%1\"}").arg(kind)}, {});
        }
    }
    void theInterviewOutlivesTheFault() {
        const auto [actions, lines] = currentRow<QStringList, QStringList>();
        const bool pauses = lines.contains(paused);
        LiveProgram program;
        QVERIFY(program.connectSession() && program.startInterview());
        program.log.clear();

        for (const auto& action : actions) {
            auto& link = program.app->webSocketService();
            if (action == "disturb") {
                Q_EMIT program.monitor->disturbed(platform::ConnectivityMonitor::Cause::networkChanged);
            } else if (action == "reconnect") {
                QVERIFY(waitUntil([&] { return link.authError().has_value(); }));
                link.manualReconnect();
            } else {
                const auto parameters = action.section(u' ', 1).toUtf8();
                program.sandbox.apply(action.section(u' ', 0, 0).toStdString(),
                                      json::parse(parameters.isEmpty() ? "{}" : parameters).as_object());
            }
        }
        if (pauses) {
            QVERIFY(program.reaches(InterviewStatus::paused));
            QVERIFY(program.interview().disconnectedDuringInterview());
        }
        QVERIFY(program.reaches(InterviewStatus::streaming));
        for (const auto& line : lines) {
            QVERIFY2(waitUntil([&] { return program.log.contains(line); }), qPrintable(line));
        }
        QCOMPARE(program.interview().interviewId(), QString::fromLatin1(interviewId));
        QVERIFY(!program.interview().disconnectedDuringInterview());
        // The link still answers.
        program.interview().toggleFollowUps();
        const auto follows = [&] {
            const auto state = program.sandbox.state();
            const auto& interviews = state.at("interviews").as_array();
            return !interviews.empty() && interviews.back().at("follow_ups").as_bool();
        };
        QVERIFY(waitUntil(follows));
        QVERIFY(program.sandbox.violations().empty());
    }

    // Nobody says that the interview in it is gone: the stream goes on for a server that no longer knows it.
    void aSessionForgottenUnderTheLinkIsOpenedAgain() {
        LiveProgram program;
        QVERIFY(program.connectSession() && program.startInterview());
        program.log.clear();
        program.sandbox.apply("forget-sessions", {{"at_once", true}});
        for (const auto* line :
             {"[WS] Server error: ", "[WS] Session not found — re-creating via API",
              "[WS] Re-sent set_session after session recovery: ", "[WS] Fresh session confirmed"}) {
            QVERIFY2(waitUntil([&] { return program.log.contains(QString::fromUtf8(line)); }), line);
        }
        QCOMPARE(program.interview().status(), InterviewStatus::streaming);
        QVERIFY(!program.log.contains("[Interview] Re-sent interview_id"));
    }

    // Neither in a file, nor in the log, nor where other programs of the machine look.
    void secretsStayInTheirStore() {
        LiveProgram program;
        QVERIFY(program.connectSession() && program.startInterview());
        program.sandbox.apply("fail-rest", {{"status", 401}});
        program.sandbox.apply("drop");
        QVERIFY(program.reaches(InterviewStatus::paused) && program.reaches(InterviewStatus::streaming));
        auto secrets = program.secrets->items.values();
        QVERIFY(!secrets.isEmpty());
        secrets.append(::waitFor(program.app->clerkAuthService().getFreshJWT()).reveal().toUtf8());
        secrets.append("424242");

        QMap<QString, QByteArray> places{
            {"the log", program.log.lines().join('\n').toUtf8()},
            {"the environment", QProcessEnvironment::systemEnvironment().toStringList().join('\n').toUtf8()}};
        QStringList files{"/proc/self/cmdline", "/proc/self/environ"};
        QDirIterator written(program.folder.path(), QDir::Files, QDirIterator::Subdirectories);
        while (written.hasNext()) {
            files.append(written.next());
        }
        QVERIFY(files.size() > 3);
        for (const auto& path : files) {
            QFile file(path);
            QVERIFY2(file.open(QIODevice::ReadOnly), qPrintable(path));
            places[path] = file.readAll();
        }
        for (auto place = places.cbegin(); place != places.cend(); ++place) {
            for (const auto& secret : secrets) {
                QVERIFY2(!place->contains(secret), qPrintable(place.key()));
            }
        }
    }
};

QTEST_GUILESS_MAIN(ProgramFaultsTest)
#include "ProgramFaultsTest.moc"
