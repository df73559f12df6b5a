#pragma once

#include "Platform/Network/WebSocketTask.h"

#include <chrono>
#include <memory>

namespace platform {

class NetworkThread;
class WebSocketMailbox;

// Where a connection goes and how, found out on the main thread when it starts.
struct ConnectPlan {
    QByteArray host = {}; // ASCII, an IPv6 address without brackets
    quint16 port = 0;
    QByteArray hostHeader = {};
    QByteArray target = {}; // path and query, as they leave
    bool encrypted = false;
    QString rootsFile = {}; // empty: the system's store
    qint64 maxMessageBytes = 0;
    // For name, connection, TLS and upgrade together.
    std::chrono::milliseconds timeout{30'000};
    enum class ProxyKind { http, socks5 };
    ProxyKind proxyKind = ProxyKind::http;
    QByteArray proxyHost = {}; // empty: no proxy
    quint16 proxyPort = 0;
    QByteArray proxyCredentials = {}; // "user:password"; empty: none

    QString hostText() const { return QString::fromLatin1(host); }
};

// The side of a WebSocket that lives on the network thread. All operations may be called from any thread and
// take effect in the order of the calls.
class WebSocketConnection {
public:
    static std::shared_ptr<WebSocketConnection> make(NetworkThread& thread,
                                                     std::shared_ptr<WebSocketMailbox> mailbox);
    virtual ~WebSocketConnection() = default;

    virtual void start(ConnectPlan plan) = 0;
    virtual void send(WebSocketTask::Payload kind, QByteArray payload, WebSocketTask::DoneHandler done) = 0;
    // Ids rise from call to call.
    virtual void ping(quint32 id) = 0;
    // The handler runs on the network thread.
    virtual void readHealth(WebSocketTask::HealthHandler handler) = 0;
    // After the mailbox said that it is full.
    virtual void resumeReading() = 0;
    // Nothing is reported after it.
    virtual void cancel(int closeCode) = 0;
};

} // namespace platform
