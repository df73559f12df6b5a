#pragma once

#include "Platform/Core/Tasks.h"
#include "Services/CorvaneAPIService.h"
#include "Services/WebSocketService.h"
#include "tests/Services/Identity/IdentityFixture.h"
#include "tests/Support/FakeWebSocket.h"
#include "tests/Support/LogCapture.h"

#include <QCoreApplication>
#include <QSignalSpy>

namespace corvane {

using namespace std::chrono_literals;

inline const QString backend = QStringLiteral("https://backend.example");

// A signed-in program whose link the test plays against. The sign-in service gives a new token at each
// request, the backend answers every REST call with `sessionStatus`.
struct LinkFixture : IdentityFixture {
    LogCapture log;
    int tokenRequests = 0;
    int sessionRequests = 0;
    int sessionStatus = 201;
    // How often disconnected() was emitted.
    int losses = 0;
    // A status, or -1 for a service that cannot be reached.
    int tokenStatus = 200;
    platform::ConnectivityMonitor monitor;
    FakeWebSocketFactory sockets;
    std::unique_ptr<CorvaneAPIService> api;
    std::unique_ptr<WebSocketService> service;

    LinkFixture() {
        launchSignedIn();
        http.setHandler([this](const platform::HttpRequest& request) { return answer(request); });
        api = std::make_unique<CorvaneAPIService>(backend, auth.get(), http, "machine-1");
        service = std::make_unique<WebSocketService>(sockets, clock, &monitor);
        service->setApiService(api.get());
        service->setAuth(auth.get());
        QObject::connect(service.get(), &WebSocketService::disconnected, service.get(), [this] { ++losses; });
    }

    ~LinkFixture() {
        service.reset();
        settle();
    }

    // Lets everything happen that is due now, through the event loop's turns that a token, a REST call and a
    // send take one after the other.
    void settle() {
        for (int turn = 0; turn < 8; ++turn) {
            clock.advance(0ms);
        }
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }

    void connect(const QString& baseURL = backend) {
        platform::startTask(service->connect(baseURL), "connect");
        settle();
    }

    // To an open socket whose handshake was sent.
    void open() {
        connect();
        opens();
    }

    void opens() {
        sockets.last().open();
        settle();
    }

    void disturb() { Q_EMIT monitor.disturbed(platform::ConnectivityMonitor::Cause::networkChanged); }
    void confirm() { receive(R"({"type":"set_session"})"); }

    void receive(const QByteArray& text) {
        sockets.last().sendText(text);
        settle();
    }

    void breakConnection() {
        sockets.last().breakConnection();
        settle();
    }

    // The observable fields in one line.
    QString state() const {
        return QStringLiteral("%1%2 in %3 attempt %4%5")
            .arg(service->isConnected() ? "connected" : "down",
                 service->isReconnecting() ? " reconnecting" : "")
            .arg(service->reconnectCountdown())
            .arg(service->currentAttempt())
            .arg(service->authError() ? u' ' + *service->authError() : QString());
    }

    // What a frame of sound meets: "sent", "dropped" or "refused".
    QString audioFate() {
        const auto before = sockets.count() > 0 ? sockets.last().sentBinaries().size() : 0;
        bool failed = false;
        service->sendBinary("x", 0, [&](const std::exception_ptr& error) { failed = error != nullptr; });
        if (failed) {
            return QStringLiteral("refused");
        }
        return sockets.last().sentBinaries().size() > before ? "sent" : "dropped";
    }

private:
    FakeHttpClient::Answer answer(const platform::HttpRequest& request) {
        if (request.url.path().endsWith(QLatin1String("/tokens"))) {
            ++tokenRequests;
            if (tokenStatus < 0) {
                return platform::HttpError(platform::HttpError::Kind::hostNotFound, "no such host");
            }
            return FakeHttpClient::response(
                tokenStatus, tokenBody(sessionJWT(clock, 60s, QByteArray::number(tokenRequests))));
        }
        if (request.url.path() == QLatin1String("/api/interview-sessions")) {
            ++sessionRequests;
            return FakeHttpClient::response(sessionStatus);
        }
        return FakeHttpClient::response(200, "{}");
    }
};

} // namespace corvane
