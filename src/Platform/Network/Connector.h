#pragma once

#include "Platform/Network/ConnectPlan.h"
#include "Platform/Network/NetworkThread.h"
#include "Platform/Network/SocksHandshake.h"
#include "Platform/Network/Transport.h"
#include "Platform/Network/WebSocketTask.h"

#include <memory>

namespace platform {

// Establishes a connection: name lookup, TCP, the proxy and TLS. Network thread.
class Connector {
public:
    using Handler = std::function<void(std::optional<WebSocketError>)>;

    Connector(NetworkThread& thread, Transport& transport, const ConnectPlan& plan);

    // `owner` keeps the connector and what it refers to alive while it works. The transport is ready if the
    // handler is called without an error.
    void run(std::shared_ptr<void> owner, Handler handler);
    // Gives up: the handler is not called any more.
    void abandon();

    // Prepares a context that verifies its peer. Throws WebSocketError if the roots cannot be read.
    static void loadTrustedRoots(asio::ssl::context& context, const QString& rootsFile);

private:
    void connectNext();
    void connected(error_code error);
    void connectThroughHttpProxy();
    void readProxyAnswer();
    void proxyAnswered(error_code error);
    void connectThroughSocks();
    bool setTlsHostName();
    void startTls();
    void finish(std::optional<WebSocketError> error);
    WebSocketError unreachable(const std::string& reason) const;
    WebSocketError tlsFailure(error_code error);

    NetworkThread& m_thread;
    Transport& m_transport;
    const ConnectPlan& m_plan;
    SteadyTimer m_attemptTimer;
    std::shared_ptr<void> m_owner;
    Handler m_handler;
    std::vector<std::string> m_addresses;
    std::size_t m_next = 0;
    bool m_connecting = false;
    std::string m_proxyBuffer;
    std::optional<SocksHandshake> m_socks;
};

} // namespace platform
