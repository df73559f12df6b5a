#include "Services/WebSocketService.h"

#include "Services/BackendLink.h"
#include "Services/DroppedSound.h"

#include "Platform/Core/Dispatch.h"
#include "Platform/Core/Log.h"
#include "Utilities/Json.h"

namespace corvane {

using platform::logLine;
using platform::WebSocketError;
using platform::WebSocketTask;

namespace {

WebSocketError notConnected() {
    return {WebSocketError::Kind::notConnected,
            QStringLiteral("There is no connection to the backend. Check the network, then reconnect.")};
}

bool isCongestion(const std::exception_ptr& error) {
    try {
        if (error) {
            std::rethrow_exception(error);
        }
    } catch (const WebSocketError& failure) {
        return failure.kind() == WebSocketError::Kind::congested;
    } catch (...) {
    }
    return false;
}

// Returns a handler that resolves the completion on the main thread, whichever thread calls it.
WebSocketTask::DoneHandler resolveOnMainThread(platform::Completion<void> sent) {
    return [sent = std::move(sent)](const std::exception_ptr& error) mutable {
        platform::dispatchToMain([completion = std::move(sent), error] {
            if (error) {
                completion.fail(error);
            } else {
                completion.resolve();
            }
        });
    };
}

QCoro::Task<void> sendText(std::shared_ptr<WebSocketTask> task, QByteArray text) {
    platform::Completion<void> sent;
    task->send(WebSocketTask::Payload::text, std::move(text), resolveOnMainThread(sent));
    co_await std::move(sent);
}

// Returns the task in use. Logs the complaint and throws when there is none.
std::shared_ptr<WebSocketTask> taskForSending(const ActiveSocket& socket, const QString& complaint) {
    auto task = socket.snapshot().webSocketTask;
    if (!task) {
        logLine(complaint);
        throw notConnected();
    }
    return task;
}

} // namespace

WebSocketService::WebSocketService(platform::WebSocketFactory& factory, platform::Clock& clock,
                                   platform::ConnectivityMonitor* monitor)
    : m_link(std::make_unique<BackendLink>(*this, factory, clock))
    , m_droppedSound(std::make_shared<DroppedSound>(clock)) {
    if (monitor) {
        QObject::connect(monitor, &platform::ConnectivityMonitor::disturbed, this,
                         [this] { m_link->followDisturbance(); });
    }
}

WebSocketService::~WebSocketService() = default;

void WebSocketService::setApiService(CorvaneAPIService* apiService) {
    m_link->handshake().setApiService(apiService);
}

void WebSocketService::setAuth(ClerkAuthService* auth) {
    m_link->setAuth(auth);
}

bool WebSocketService::isConnected() const {
    return m_link->fields().isConnected();
}

bool WebSocketService::isReconnecting() const {
    return m_link->fields().isReconnecting();
}

const std::optional<QString>& WebSocketService::authError() const {
    return m_link->fields().authError();
}

QString WebSocketService::authErrorText() const {
    return authError().value_or(QString());
}

int WebSocketService::reconnectCountdown() const {
    return m_link->fields().reconnectCountdown();
}

int WebSocketService::currentAttempt() const {
    return m_link->fields().currentAttempt();
}

QCoro::Task<void> WebSocketService::connect(QString baseURL) {
    return m_link->connect(std::move(baseURL));
}

void WebSocketService::disconnect() {
    m_link->disconnect();
}

void WebSocketService::manualReconnect() {
    m_link->manualReconnect();
}

QCoro::Task<void> WebSocketService::send(WSCommand command) {
    auto task =
        taskForSending(m_link->socket(), QStringLiteral("[WS] Cannot send — no active WebSocket task"));
    const auto object = command.toJson();
    const auto type = json::stringOrNullopt(object, "type");
    logLine(QStringLiteral("[WS] Sending: %1").arg(type.value_or(QStringLiteral("unknown"))));
    co_await sendText(std::move(task), json::serialize(object));
}

QCoro::Task<void> WebSocketService::sendCandidateSpeechStart() {
    auto task = taskForSending(m_link->socket(),
                               QStringLiteral("[WS] sendCandidateSpeechStart: no active WebSocket task"));
    logLine(QStringLiteral("[WS] Sending: candidate_speech_start"));
    co_await sendText(std::move(task), candidateSpeechStartFrame());
}

QCoro::Task<void> WebSocketService::sendCandidateSpeechStop(qint64 at) {
    auto task = taskForSending(m_link->socket(),
                               QStringLiteral("[WS] sendCandidateSpeechStop: no active WebSocket task"));
    logLine(QStringLiteral("[WS] Sending: candidate_speech_stop at=%1").arg(at));
    co_await sendText(std::move(task), candidateSpeechStopFrame(at));
}

QCoro::Task<void> WebSocketService::sendBinary(QByteArray data, quint8 streamFlag) {
    platform::Completion<void> sent;
    sendBinary(std::move(data), streamFlag, resolveOnMainThread(sent));
    co_await std::move(sent);
}

void WebSocketService::sendBinary(QByteArray data, quint8 streamFlag, SendHandler done) {
    const auto current = m_link->socket().snapshot();
    if (!current.isUsable()) {
        logLine(QStringLiteral("[WS] sendBinary: no active WebSocket task"));
        done(std::make_exception_ptr(notConnected()));
        return;
    }
    if (!current.binarySendAllowed) {
        logLine(QStringLiteral("[WS] sendBinary: blocked (session not confirmed) — dropping %1 bytes")
                    .arg(data.size()));
        done(nullptr);
        return;
    }
    QByteArray frame;
    frame.reserve(data.size() + 1);
    frame.append(static_cast<char>(streamFlag));
    frame.append(data);
    current.webSocketTask->send(
        WebSocketTask::Payload::binary, std::move(frame),
        [dropped = m_droppedSound, done = std::move(done)](const std::exception_ptr& error) {
            if (isCongestion(error)) {
                dropped->note();
            }
            done(error);
        });
}

} // namespace corvane
