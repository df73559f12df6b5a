#pragma once

#include "Platform/Network/WebSocketTask.h"

#include <chrono>
#include <memory>

namespace platform {

class NetworkThread;
class WebSocketMailbox;

// Where and how to connect, determined on the main thread when a connection starts.
struct ConnectPlan {
    QByteArray host = {}; // ASCII, an IPv6 address without brackets
    quint16 port = 0;
    QByteArray hostHeader = {};
    QByteArray target = {}; // path and query, encoded
    bool encrypted = false;
    QString rootsFile = {}; // empty for the system's store
    qint64 maxMessageBytes = 0;
    // The time limit for name lookup, connection, TLS and upgrade together.
    std::chrono::milliseconds timeout{30'000};
    enum class ProxyKind { http, socks5 };
    ProxyKind proxyKind = ProxyKind::http;
    QByteArray proxyHost = {}; // empty for no proxy
    quint16 proxyPort = 0;
    QByteArray proxyCredentials = {}; // "user:password"; empty: none

    QString hostText() const { return QString::fromLatin1(host); }
};

// The part of a WebSocket on the network thread. All operations may be called from any thread and take effect
// in the order of the calls.
class WebSocketConnection {
public:
    static std::shared_ptr<WebSocketConnection> make(NetworkThread& thread,
                                                     std::shared_ptr<WebSocketMailbox> mailbox);
    virtual ~WebSocketConnection() = default;

    virtual void start(ConnectPlan plan) = 0;
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
