#include "Services/ReceiveLoop.h"

#include "Platform/Core/Background.h"
#include "Platform/Core/Log.h"
#include "Platform/Core/Tasks.h"

namespace corvane {

using platform::errorText;
using platform::logLine;

namespace {

// Longer texts are parsed off the main thread, which the longest would block for tenths of a second.
constexpr qsizetype longText = 256 * 1024;

using Parsed = std::optional<WSServerMessage>;

} // namespace

ReceiveLoop::ReceiveLoop(const ActiveSocket& socket, Handlers handlers)
    : m_socket(socket)
    , m_handlers(std::move(handlers)) {}

void ReceiveLoop::receiveNext(int identifier) {
    if (!m_socket.isInUse(identifier)) {
        return;
    }
    m_socket.snapshot().webSocketTask->receive(
        [this, ticket = m_scope.ticket(), identifier](
            const std::optional<platform::WebSocketMessage>& message, const std::exception_ptr& error) {
            if (ticket.isCurrent() && m_socket.isActive(identifier)) {
                handleReceived(identifier, message, error);
            }
        });
}

void ReceiveLoop::handleReceived(int identifier, const std::optional<platform::WebSocketMessage>& message,
                                 const std::exception_ptr& error) {
    if (!message) {
        logLine(QStringLiteral("[WS] Receive error: %1").arg(errorText(error)));
        m_handlers.failed(identifier);
        return;
    }
    if (message->isText && message->payload.size() > longText) {
        platform::startTask(handleLongTextMessage(identifier, message->payload), "long message");
        return;
    }
    if (message->isText) {
        handleTextMessage(identifier, message->payload);
    }
    receiveNext(identifier);
}

void ReceiveLoop::handleTextMessage(int identifier, const QByteArray& text) {
    handOver(identifier, parseServerMessage(text));
}

// The next message is received afterwards, so that the order is kept.
QCoro::Task<void> ReceiveLoop::handleLongTextMessage(int identifier, QByteArray text) {
    const auto ticket = m_scope.ticket();
    auto parsing =
        platform::inBackground([text] { return std::make_shared<Parsed>(parseServerMessage(text)); });
    const auto parsed = co_await std::move(parsing);
    ticket.ensureCurrent();
    if (m_socket.isActive(identifier)) {
        handOver(identifier, std::move(*parsed));
        receiveNext(identifier);
    }
}

void ReceiveLoop::handOver(int identifier, std::optional<WSServerMessage> message) {
    if (message) {
        logLine(QStringLiteral("[WS] Received: %1").arg(message->rawType));
        m_handlers.message(identifier, std::move(*message));
    }
}

} // namespace corvane
