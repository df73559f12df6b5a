// Listens on a loopback port and answers HTTP/1.1 requests, plain or over TLS.
#pragma once

#include "sandbox/Http.h"
#include "sandbox/Wire.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace sandbox {

// Network thread only.
class HttpServer {
public:
    using Answer = std::function<HttpReply(const HttpRequest&)>;
    // Takes a connection over from the server that accepted it.
    using Adopt = std::function<void(std::shared_ptr<Wire>)>;
    // The answer to a request for a tunnel (CONNECT): the status and, if it is 200, the function that takes
    // over the connection.
    struct Tunnel {
        int status = 405;
        Adopt adopt;
    };
    using OpenTunnel = std::function<Tunnel(const HttpRequest&)>;

    HttpServer(asio::io_context& context, Answer answer);
    ~HttpServer();

    OpenTunnel openTunnel;
    // Makes every new connection start with a TLS handshake. `tls` must outlive the server.
    void useTls(asio::ssl::context* tls) { m_tls = tls; }

    // 0 picks a free port. Throws boost::system::system_error.
    void listen(unsigned short port);
    unsigned short port() const { return m_port; }
    // Listens again on the previous port.
    void listenAgain() { listen(m_port); }
    void stopListening();
    // Resets every connection.
    void dropConnections();
    // Serves a connection that another server has accepted.
    void adopt(std::shared_ptr<Wire> wire);
    std::size_t openConnections() const;

private:
    asio::awaitable<void> accept(std::shared_ptr<tcp::acceptor> acceptor);
    asio::awaitable<void> serve(std::shared_ptr<Wire> wire);
    asio::awaitable<void> converse(std::shared_ptr<Wire> wire);
    asio::awaitable<void> writePieces(Wire& wire, const HttpReply& reply);
    asio::awaitable<HttpRequest> readRequest(Wire& wire);

    asio::io_context& m_context;
    asio::ssl::context* m_tls = nullptr;
    Answer m_answer;
    std::shared_ptr<tcp::acceptor> m_acceptor;
    unsigned short m_port = 0;
    std::vector<std::weak_ptr<Wire>> m_wires;
};

} // namespace sandbox
