// An interview that streams for ten minutes while its link is dropped every eight seconds: memory,
// descriptors and threads after the first minute and at the end. Exit status 1 when they grow.
//   StreamingSoak [minutes]
#include "ClerkAuthService.h"
#include "SystemClock.h"
#include "TestProgram.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>

#include <cstdio>
#include <unistd.h>

using namespace std::chrono_literals;

namespace {

constexpr auto dropInterval = 8s;
constexpr int allowedGrowth = 2048; // KiB; the allocator's own rounding, seen over repeated runs

struct Footprint {
    long resident = 0; // KiB
    long descriptors = 0;
    long threads = 0;

    static Footprint now() {
        QFile status(QStringLiteral("/proc/self/statm"));
        if (!status.open(QIODevice::ReadOnly)) {
            return {};
        }
        const auto entries = [](const char* folder) {
            return static_cast<long>(
                QDir(QLatin1String(folder)).entryList(QDir::AllEntries | QDir::NoDotAndDotDot).size());
        };
        return {status.readAll().split(' ').value(1).toLong() * (sysconf(_SC_PAGESIZE) / 1024),
                entries("/proc/self/fd"), entries("/proc/self/task")};
    }

    void print(const char* when) const {
        std::printf("%-16s %8ld KiB %6ld descriptors %4ld threads\n", when, resident, descriptors, threads);
        std::fflush(stdout);
    }
};

QJsonObject startSandbox(QProcess& process) {
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process.start(QCoreApplication::applicationDirPath() + QStringLiteral("/corvane-sandbox"),
                  {QStringLiteral("--quiet")});
    while (!process.canReadLine() && process.waitForReadyRead()) {
    }
    return QJsonDocument::fromJson(process.readLine()).object();
}

PlatformServices servicesFor(const QJsonObject& sandbox, const QString& folder, FakeAudioHost*& audio) {
    const auto environment = sandbox.value(QStringLiteral("environment")).toObject();
    for (const auto& name : environment.keys()) {
        qputenv(name.toLatin1().constData(), environment.value(name).toString().toUtf8());
    }
    qputenv("no_proxy", "127.0.0.1,localhost");
    const auto signIn = sandbox.value(QStringLiteral("sign_in")).toObject();
    const auto key =
        signIn.value(QStringLiteral("development")).toObject().value(QStringLiteral("publishable_key"));
    const auto backend = sandbox.value(QStringLiteral("backend")).toObject().value(QStringLiteral("url"));
    PlatformServices services;
    services.applicationInfo =
        platform::ApplicationInfo({{QStringLiteral("CLERK_PUBLISHABLE_KEY"), key.toString()},
                                   {QStringLiteral("CORVANE_DEFAULT_ENDPOINT"), backend.toString()}});
    services.dataFolder = folder;
    services.clock = std::make_unique<platform::SystemClock>();
    services.defaults = platform::makeMemoryDefaultsStore();
    services.secrets = std::make_unique<MemorySecretStore>();
    services.identityHttp = platform::makeHttpClient(platform::HttpSessionKind::ephemeral);
    services.backendHttp = platform::makeHttpClient(platform::HttpSessionKind::shared);
    services.webSockets = platform::makeWebSocketFactory();
    services.connectivity = platform::makeConnectivityMonitor();
    auto host = std::make_unique<FakeAudioHost>();
    audio = host.get();
    services.audio = std::move(host);
    services.screens = std::make_unique<FakeScreenGrabber>();
    services.clipboard = std::make_unique<FakeClipboard>();
    services.notifications = std::make_unique<FakeNotifications>();
    services.systemAccess = std::make_unique<FakeSystemAccess>();
    return services;
}

bool waitForStatus(InterviewViewModel& interview, InterviewStatus status) {
    return waitUntil([&] { return interview.status() == status; }, 20000);
}

} // namespace

int main(int argc, char* argv[]) {
    QCoreApplication application(argc, argv);
    const auto minutes = argc > 1 ? QByteArray(argv[1]).toInt() : 10;
    QTemporaryDir folder;
    QProcess sandbox;
    const auto ready = startSandbox(sandbox);
    FakeAudioHost* audio = nullptr;
    LogCapture log;
    AppDelegate app(servicesFor(ready, folder.path(), audio));
    app.applicationDidFinishLaunching();
    ::waitFor(app.clerkAuthService().startSignIn(QStringLiteral("interviewer@example.com")));
    ::waitFor(app.clerkAuthService().verifyCode(platform::Secret(QStringLiteral("424242"))));
    auto& interview = app.interviewViewModel();
    if (!waitUntil([&] { return log.contains(QStringLiteral("[WS] Fresh session confirmed")); })) {
        return 1;
    }
    interview.setInterviewId(QStringLiteral("3f2b8c64-9d1e-4a57-b0c3-5e8f7a6d2c19"));
    interview.startInterviewWithId();
    if (!waitForStatus(interview, InterviewStatus::streaming)) {
        return 1;
    }

    platform::SystemClock clock;
    const std::vector<float> chunk(3840, 0.1F);
    const auto sound = clock.repeat(80ms, [&] {
        audio->pushMicrophone(std::span(chunk));
        audio->pushSystem(std::span(chunk));
    });
    auto control = platform::makeHttpClient(platform::HttpSessionKind::ephemeral);
    const auto start = clock.monotonic();
    std::optional<Footprint> early;
    int reconnects = 0;
    bool holds = true;
    while (holds && clock.monotonic() - start < std::chrono::minutes(minutes)) {
        QTest::qWait(static_cast<int>(std::chrono::milliseconds(dropInterval).count()));
        platform::HttpRequest drop;
        drop.method = "POST";
        drop.url = QUrl(ready.value(QStringLiteral("control")).toString() + QStringLiteral("/drop"));
        drop.headers = {{"Content-Type", "application/json"}};
        drop.body = "{}";
        ::waitFor(control->execute(drop));
        holds = waitForStatus(interview, InterviewStatus::paused) &&
                waitForStatus(interview, InterviewStatus::streaming);
        ++reconnects;
        log.clear();
        if (!early && clock.monotonic() - start >= 1min) {
            early = Footprint::now();
            early->print("minute 1");
        }
    }
    const auto end = Footprint::now();
    end.print("end");
    std::printf("%d forced reconnects, the interview %s\n", reconnects, holds ? "streams" : "was lost");
    sandbox.terminate();
    sandbox.waitForFinished();
    const bool flat = early && end.resident - early->resident <= allowedGrowth &&
                      end.descriptors <= early->descriptors && end.threads <= early->threads;
    std::printf("%s\n", flat ? "flat" : "it has grown");
    return holds && flat ? 0 : 1;
}
