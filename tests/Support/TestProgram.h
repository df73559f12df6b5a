#pragma once

#include "AppDelegate.h"
#include "AudioCaptureService.h"
#include "CompletionViewModel.h"
#include "FakeAudioHost.h"
#include "FakeClock.h"
#include "FakeHttpClient.h"
#include "FakeWebSocket.h"
#include "InterviewViewModel.h"
#include "LogCapture.h"
#include "MemorySecretStore.h"
#include "WebSocketService.h"

#include "WaitFor.h"

#include <QTemporaryDir>

#include <memory>

class FakeSystemAccess : public platform::SystemAccess {
public:
    bool open(const QString& address) override;
    platform::MicrophoneAuthorization microphoneAuthorization() const override { return authorization; }
    QCoro::Task<bool> requestMicrophoneAccess() override { co_return grantsRequest; }

    platform::MicrophoneAuthorization authorization = platform::MicrophoneAuthorization::authorized;
    bool grantsRequest = true;
    QStringList opened;
};

// The whole program on fakes: every service and model is the real one, the desktop around it is the test's.
class TestProgram {
public:
    enum class Start { signedOut, signedIn };

    explicit TestProgram(Start start = Start::signedIn,
                         const platform::ApplicationInfo& info = defaultInfo());

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
    // From idle to streaming, on an open session.
    void startInterview(const QString& id = QStringLiteral("abc"));

    InterviewViewModel& interview() { return app->interviewViewModel(); }
    CompletionViewModel& completion() { return app->completionViewModel(); }

    static platform::ApplicationInfo defaultInfo();

    LogCapture log;
    QTemporaryDir folder;
    FakeClock* clock = nullptr;
    FakeHttpClient* identityHttp = nullptr;
    FakeHttpClient* backendHttp = nullptr;
    FakeWebSocketFactory* sockets = nullptr;
    FakeAudioHost* audio = nullptr;
    MemorySecretStore* secrets = nullptr;
    FakeSystemAccess* access = nullptr;
    platform::DefaultsStore* defaults = nullptr;
    std::unique_ptr<AppDelegate> app;
};
