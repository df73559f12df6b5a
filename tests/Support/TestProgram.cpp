#include "tests/Support/TestProgram.h"

#include "Utilities/Json.h"

#include <QCoreApplication>

namespace corvane {

namespace {

// A session token that expires an hour after the clock's start.
QByteArray sessionToken(const platform::Clock& clock, int serial) {
    const auto encode = [](const QByteArray& part) {
        return part.toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals);
    };
    const auto expiry = clock.nowMilliseconds() / 1000 + 3600;
    return encode(R"({"alg":"none"})") + '.' +
           encode("{\"exp\":" + QByteArray::number(expiry) + ",\"n\":" + QByteArray::number(serial) + '}') +
           ".c2ln";
}

} // namespace

platform::ApplicationInfo TestProgram::defaultInfo() {
    return platform::ApplicationInfo({{"CFBundleShortVersionString", "1.2"},
                                      {"CFBundleVersion", "34"},
                                      {"CLERK_PUBLISHABLE_KEY", "pk_live_Y2xlcmsubHVtZXRyYS50ZXN0JA=="},
                                      {"CORVANE_DEFAULT_ENDPOINT", "https://backend.lumetra.test"}});
}

TestProgram::TestProgram(Start start, const platform::ApplicationInfo& info,
                         std::unique_ptr<WindowFactory> windowFactory,
                         std::unique_ptr<platform::KeyMonitor> keyMonitor) {
    PlatformServices services;
    services.applicationInfo = info;
    services.dataFolder = folder.path();
    const auto give = [](auto& place, auto object) {
        auto* raw = object.get();
        place = std::move(object);
        return raw;
    };
    clock = give(services.clock, std::make_unique<FakeClock>());
    services.defaults = platform::makeMemoryDefaultsStore();
    defaults = services.defaults.get();
    secrets = give(services.secrets, std::make_unique<MemorySecretStore>());
    identityHttp = give(services.identityHttp, std::make_unique<FakeHttpClient>());
    backendHttp = give(services.backendHttp, std::make_unique<FakeHttpClient>());
    services.cacheFolder = folder.filePath("cache");
    services.makeUpdateHttp = [this] {
        auto http = std::make_unique<FakeHttpClient>();
        http->setHandler(updates);
        return http;
    };
    sockets = give(services.webSockets, std::make_unique<FakeWebSocketFactory>());
    audio = give(services.audio, std::make_unique<FakeAudioHost>());
    access = give(services.systemAccess, std::make_unique<FakeSystemAccess>());
    if (windowFactory) {
        services.windows = std::move(windowFactory);
    } else {
        windows = give(services.windows, std::make_unique<FakeWindowFactory>());
    }
    if (keyMonitor) {
        services.keys = std::move(keyMonitor);
    } else {
        keys = give(services.keys, std::make_unique<FakeKeyMonitor>());
    }
    loginItem = give(services.loginItem, std::make_unique<FakeLoginItem>());
    screens = give(services.screens, std::make_unique<FakeScreenGrabber>());
    clipboard = give(services.clipboard, std::make_unique<FakeClipboard>());
    notifications = give(services.notifications, std::make_unique<FakeNotifications>());
    services.appearance = std::make_unique<platform::Appearance>();
    services.connectivity = std::make_unique<platform::ConnectivityMonitor>();

    identityHttp->setHandler([this](const platform::HttpRequest&) {
        const auto serial = static_cast<int>(identityHttp->requests().size());
        return FakeHttpClient::response(200, "{\"jwt\":\"" + sessionToken(*clock, serial) + "\"}");
    });
    backendHttp->setHandler([](const platform::HttpRequest&) { return FakeHttpClient::response(201); });
    if (start == Start::signedIn) {
        const auto service = QStringLiteral("com.corvane.interview-assistant");
        secrets->write(service, "clerk_client_token", "client-token");
        secrets->write(service, "clerk_session_id", "sess_1");
        secrets->write(service, "clerk_user_email", "interviewer@example.com");
    }
    app = std::make_unique<AppDelegate>(std::move(services));
}

void TestProgram::settle() {
    // Every hop between queues is one round; the longest chain of the program is far shorter.
    for (int round = 0; round < 30; ++round) {
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QCoreApplication::processEvents();
    }
}

void TestProgram::launch() {
    app->applicationDidFinishLaunching();
    settle();
}

void TestProgram::launchToSession() {
    launch();
    openLink();
    serverSays(R"({"type":"set_session"})");
}

void TestProgram::serverSays(const QByteArray& json) {
    peer().sendText(json);
    settle();
}

QList<QByteArray> TestProgram::commands(const QByteArray& type) const {
    QList<QByteArray> result;
    for (const auto& text : sockets->last().sentTexts()) {
        if (type.isEmpty() ||
            json::requiredString(json::parse(text).as_object(), "type") == QString::fromUtf8(type)) {
            result.append(text);
        }
    }
    return result;
}

void TestProgram::askForInterview(const QString& id) {
    interview().setInterviewId(id);
    interview().startInterviewWithId();
    settle();
}

void TestProgram::startInterview(const QString& id) {
    askForInterview(id);
    serverSays(R"({"type":"chat_interview_plan","plan":{"Design":[{"question":"Why?"}]}})");
}

void TestProgram::launchToInterview() {
    launchToSession();
    startInterview();
}

void TestProgram::advance(std::chrono::milliseconds time) {
    clock->advance(time);
    settle();
}

void TestProgram::openLink() {
    peer().open();
    settle();
}

void TestProgram::loseLink() {
    peer().breakConnection();
    settle();
}

void TestProgram::reopenLink(const QByteArray& json) {
    advance(std::chrono::seconds(1));
    openLink();
    serverSays(json);
}

} // namespace corvane
