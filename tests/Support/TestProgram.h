#pragma once

#include "App/AppDelegate.h"
#include "Services/AudioCaptureService.h"
#include "Services/WebSocketService.h"
#include "ViewModels/CompletionViewModel.h"
#include "ViewModels/InterviewViewModel.h"
#include "tests/Support/FakeAudioHost.h"
#include "tests/Support/FakeClock.h"
#include "tests/Support/FakeDesktop.h"
#include "tests/Support/FakeHttpClient.h"
#include "tests/Support/FakeKeyMonitor.h"
#include "tests/Support/FakeScreens.h"
#include "tests/Support/FakeWebSocket.h"
#include "tests/Support/FakeWindowFactory.h"
#include "tests/Support/LogCapture.h"
#include "tests/Support/MemorySecretStore.h"

#include "tests/Support/WaitFor.h"

#include <QTemporaryDir>

#include <memory>

namespace corvane {

class FakeSystemAccess : public platform::SystemAccess {
public:
    bool open(const QString& address) override {
        opened.append(address);
        return true;
    }
    platform::MicrophoneAuthorization microphoneAuthorization() const override { return authorization; }
    QCoro::Task<bool> requestMicrophoneAccess() override {
        const bool granted = grantsRequest;
        co_return granted;
    }

    platform::MicrophoneAuthorization authorization = platform::MicrophoneAuthorization::authorized;
    bool grantsRequest = true;
    QStringList opened;
};

// The whole program on fakes: every service and model is the real one, the desktop around it is the test's.
class TestProgram {
public:
    enum class Start { signedOut, signedIn };

    // Without a window factory there are no windows, without a key monitor no keyboard.
    explicit TestProgram(Start start = Start::signedIn, const platform::ApplicationInfo& info = defaultInfo(),
                         std::unique_ptr<WindowFactory> windowFactory = {},
                         std::unique_ptr<platform::KeyMonitor> keyMonitor = {});

    void launch();
    // Launches, opens the socket and has the server confirm a fresh session.
    void launchToSession();
    // The newest connection, and what the server says on it.
    FakeWebSocketPeer& peer() { return sockets->last(); }
    void serverSays(const QByteArray& json);
    // Runs the queues until nothing more happens at this moment.
    void settle();
    // The commands that the program sent on the newest connection, in order, audio left out.
    QList<QByteArray> commands(const QByteArray& type = {}) const;
    // Asks for the interview, on an open session; with the plan in the server's answer it streams.
    void askForInterview(const QString& id);
    void startInterview(const QString& id = QStringLiteral("abc"));
    void launchToInterview();
    void advance(std::chrono::milliseconds time);
    // The connection that the program has asked for comes about.
    void openLink();
    // The connection breaks; a second later it is back, and the server speaks first.
    void loseLink();
    void reopenLink(const QByteArray& json);
    // Both captures run; neither does.
    bool captures() const { return audio->microphoneRuns() && audio->systemRuns(); }
    bool isSilent() const { return !audio->microphoneRuns() && !audio->systemRuns(); }

    InterviewViewModel& interview() { return app->interviewViewModel(); }
    CompletionViewModel& completion() { return app->completionViewModel(); }

    static platform::ApplicationInfo defaultInfo();

    LogCapture log;
    QTemporaryDir folder;
    FakeClock* clock = nullptr;
    FakeHttpClient* identityHttp = nullptr;
    FakeHttpClient* backendHttp = nullptr;
    // Answers the updater.
    FakeHttpClient::Handler updates;
    FakeWebSocketFactory* sockets = nullptr;
    FakeAudioHost* audio = nullptr;
    MemorySecretStore* secrets = nullptr;
    FakeSystemAccess* access = nullptr;
    platform::DefaultsStore* defaults = nullptr;
    FakeWindowFactory* windows = nullptr;
    FakeLoginItem* loginItem = nullptr;
    FakeKeyMonitor* keys = nullptr;
    FakeScreenGrabber* screens = nullptr;
    FakeClipboard* clipboard = nullptr;
    FakeNotifications* notifications = nullptr;
    std::unique_ptr<AppDelegate> app;
};

// The program on a session that the server has confirmed, and in an interview.
struct SessionProgram : TestProgram {
    SessionProgram() { launchToSession(); }
};
struct InterviewProgram : TestProgram {
    InterviewProgram() { launchToInterview(); }
};

} // namespace corvane
