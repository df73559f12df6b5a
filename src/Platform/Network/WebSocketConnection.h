#pragma once

#include "Platform/Network/ConnectPlan.h"
#include "Platform/Network/WebSocketTask.h"

#include <chrono>
#include <memory>

namespace platform {

class NetworkThread;
class WebSocketMailbox;

// The part of a WebSocket on the network thread. All operations may be called from any thread and take effect
// in the order of the calls.
class WebSocketConnection {
public:
    static std::shared_ptr<WebSocketConnection> make(NetworkThread& thread,
                                                     std::shared_ptr<WebSocketMailbox> mailbox);
    virtual ~WebSocketConnection() = default;

    // `openTimeout` covers name lookup, connection, TLS and upgrade together.
    virtual void start(ConnectPlan plan, qint64 maxMessageBytes,
                       std::chrono::milliseconds openTimeout = std::chrono::seconds(30)) = 0;
    virtual void send(WebSocketTask::Payload kind, QByteArray payload, WebSocketTask::DoneHandler done) = 0;
    // Ids must increase from call to call.
    virtual void ping(quint32 id) = 0;
    // The handler runs on the network thread.
    virtual void readHealth(WebSocketTask::HealthHandler handler) = 0;
    // Continues reading after the mailbox was full.
    virtual void resumeReading() = 0;
    // Closes the connection. Nothing is reported afterwards.
    virtual void cancel(int closeCode) = 0;
};

} // namespace platform
