#include "sandbox/HttpServer.h"

#include "sandbox/WebSocketPeer.h"

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/use_awaitable.hpp>

#include <charconv>
#include <sstream>

namespace sandbox {

namespace {

constexpr std::size_t maxHeadBytes = 64 * 1024;
constexpr std::size_t maxBodyBytes = 8 * 1024 * 1024;

// Thrown to end the connection after an answer with this status.
struct Refused {
    int status;
};

bool wantsUpgrade(const HttpRequest& request) {
    const auto* upgrade = request.header("upgrade");
    return upgrade != nullptr && lowerCased(*upgrade) == "websocket";
}

void completeUpgrade(const HttpRequest& request, HttpReply& reply) {
    const auto* key = request.header("sec-websocket-key");
    const auto* version = request.header("sec-websocket-version");
    if (key == nullptr || version == nullptr || *version != "13" || !reply.endpoint) {
        reply = HttpReply::json(400, R"({"error":"no WebSocket upgrade"})");
        return;
    }
    reply.headers = {{"Upgrade", "websocket"},
                     {"Connection", "Upgrade"},
                     {"Sec-WebSocket-Accept", WebSocketPeer::acceptKey(*key)}};
}

} // namespace

HttpServer::HttpServer(asio::io_context& context, Answer answer)
    : m_context(context)
    , m_answer(std::move(answer)) {}

HttpServer::~HttpServer() {
    stopListening();
    dropConnections();
}

void HttpServer::listen(unsigned short port) {
    stopListening();
    m_acceptor =
        std::make_shared<tcp::acceptor>(m_context, tcp::endpoint(asio::ip::address_v4::loopback(), port));
    m_port = m_acceptor->local_endpoint().port();
    asio::co_spawn(
        m_context, [this, acceptor = m_acceptor] { return accept(acceptor); }, asio::detached);
}

void HttpServer::stopListening() {
    if (m_acceptor) {
        boost::system::error_code ignored;
        m_acceptor->close(ignored);
        m_acceptor.reset();
    }
}

void HttpServer::dropConnections() {
    for (const auto& weak : std::exchange(m_wires, {})) {
        if (const auto wire = weak.lock()) {
            wire->drop();
        }
    }
}

std::size_t HttpServer::openConnections() const {
    return static_cast<std::size_t>(std::count_if(m_wires.begin(), m_wires.end(), [](const auto& weak) {
        const auto wire = weak.lock();
        return wire && wire->isOpen();
    }));
}

void HttpServer::adopt(std::shared_ptr<Wire> wire) {
    std::erase_if(m_wires, [](const auto& weak) { return weak.expired(); });
    m_wires.push_back(wire);
    asio::co_spawn(
        m_context, [this, wire] { return serve(wire); }, asio::detached);
}

asio::awaitable<void> HttpServer::accept(std::shared_ptr<tcp::acceptor> acceptor) {
    try {
        while (acceptor->is_open()) {
            tcp::socket socket = co_await acceptor->async_accept(asio::use_awaitable);
            adopt(std::make_shared<Wire>(std::move(socket)));
        }
    } catch (const boost::system::system_error&) {
        // The acceptor was closed.
    }
}

asio::awaitable<void> HttpServer::serve(std::shared_ptr<Wire> wire) {
    int refused = 0;
    try {
        if (m_tls != nullptr) {
            co_await wire->secure(*m_tls);
        }
        co_await converse(wire);
    } catch (const Refused& refusal) {
        refused = refusal.status;
    } catch (const boost::system::system_error&) {
        // The client went away.
    }
    if (refused != 0) {
        try {
            co_await wire->write(HttpReply::json(refused, "{}").serialize());
            co_await wire->finish();
        } catch (const boost::system::system_error&) {
            // The client is gone.
        }
    }
}

asio::awaitable<void> HttpServer::converse(std::shared_ptr<Wire> wire) {
    while (wire->isOpen()) {
        const HttpRequest request = co_await readRequest(*wire);
        if (request.method == "CONNECT") {
            const Tunnel tunnel = openTunnel ? openTunnel(request) : Tunnel{};
            if (tunnel.status != 200) {
                throw Refused{tunnel.status};
            }
            co_await wire->write("HTTP/1.1 200 Connection established\r\n\r\n");
            tunnel.adopt(wire);
            co_return;
        }
        HttpReply reply = m_answer(request);
        if (reply.delay.count() > 0) {
            co_await wire->pause(reply.delay);
        }
        if (reply.status == 101 || wantsUpgrade(request)) {
            if (reply.status == 101) {
                completeUpgrade(request, reply);
            }
            co_await wire->write(reply.serialize());
            if (reply.status == 101) {
                const auto peer = std::make_shared<WebSocketPeer>(wire, reply.endpoint);
                co_await peer->run();
            } else {
                co_await wire->finish();
            }
            co_return;
        }
        co_await wire->write(reply.serialize());
        if (!reply.pieces.empty()) {
            co_await writePieces(*wire, reply);
        }
    }
}

asio::awaitable<void> HttpServer::writePieces(Wire& wire, const HttpReply& reply) {
    for (const auto& piece : reply.pieces) {
        std::ostringstream chunk;
        chunk << std::hex << piece.size() << "\r\n" << piece << "\r\n";
        co_await wire.write(chunk.str());
        co_await wire.pause(reply.pace);
    }
    co_await wire.write("0\r\n\r\n");
}

asio::awaitable<HttpRequest> HttpServer::readRequest(Wire& wire) {
    const std::string head = co_await wire.readHead(maxHeadBytes);
    auto request = parseHead(head);
    if (!request) {
        throw Refused{400};
    }
    request->secure = wire.isSecure();
    request->serverName = wire.serverName();
    if (request->header("transfer-encoding") != nullptr) {
        throw Refused{411};
    }
    if (const auto* length = request->header("content-length")) {
        std::size_t count = 0;
        const auto [end, error] = std::from_chars(length->data(), length->data() + length->size(), count);
        if (error != std::errc() || end != length->data() + length->size()) {
            throw Refused{400};
        }
        if (count > maxBodyBytes) {
            throw Refused{413};
        }
        request->body = co_await wire.readExactly(count);
    }
    co_return std::move(*request);
}

} // namespace sandbox
