#pragma once

#include "Services/ActiveSocket.h"
#include "Services/WebSocketMessages.h"

#include "Platform/Core/OperationScope.h"

#include <QCoroTask>

#include <functional>
#include <optional>

namespace corvane {

// Reads what the server says, one receive at a time, as long as the socket is in use. Main thread.
class ReceiveLoop {
public:
    struct Handlers {
        std::function<void(int identifier, WSServerMessage message)> message;
        std::function<void(int identifier)> failed;
    };

    ReceiveLoop(const ActiveSocket& socket, Handlers handlers);

    // Arms the next receive of the task with this identifier.
    void receiveNext(int identifier);

private:
    void handleReceived(int identifier, const std::optional<platform::WebSocketMessage>& message,
                        const std::exception_ptr& error);
    void handleTextMessage(int identifier, const QByteArray& text);
    QCoro::Task<void> handleLongTextMessage(int identifier, QByteArray text);
    void handOver(int identifier, std::optional<WSServerMessage> message);

    const ActiveSocket& m_socket;
    Handlers m_handlers;
    platform::OperationScope m_scope;
};

} // namespace corvane
