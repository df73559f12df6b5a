#include "RawClient.h"

#include <Asio.h>

#include <boost/asio/connect.hpp>
#include <boost/asio/ssl.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <boost/beast/ssl.hpp>
#include <boost/beast/websocket.hpp>
#include <boost/beast/websocket/ssl.hpp>
#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>

#include <stdexcept>

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
namespace websocket = beast::websocket;
using boost::system::error_code;
using Tcp = beast::tcp_stream;
using Tls = beast::ssl_stream<Tcp>;

namespace {

constexpr std::chrono::seconds patience{5};
constexpr std::size_t maxMessageBytes = 8 * 1024 * 1024;

// Runs one asynchronous operation to its end or throws.
template<typename Start>
error_code settle(asio::io_context& context, Start start, std::chrono::milliseconds limit = patience) {
    std::optional<error_code> result;
    start([&result](error_code error, auto&&...) { result = error; });
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!result && std::chrono::steady_clock::now() < end) {
        context.restart();
        context.run_one_until(end);
    }
    if (!result) {
        throw std::runtime_error("nothing happened in time");
    }
    return *result;
}

void require(error_code error, const char* what) {
    if (error) {
        throw std::runtime_error(std::string(what) + ": " + error.message());
    }
}

std::string hostOnly(const std::string& host) {
    return host.substr(0, host.find(':'));
}

void openTunnel(asio::io_context& context, Tcp& stream, const std::string& host) {
    const std::string target = host.find(':') == std::string::npos ? host + ":443" : host;
    http::request<http::empty_body> connect{http::verb::connect, target, 11};
    connect.set(http::field::host, target);
    require(settle(context, [&](auto done) { http::async_write(stream, connect, std::move(done)); }),
            "CONNECT");
    http::response_parser<http::empty_body> parser;
    parser.skip(true);
    beast::flat_buffer buffer;
    require(
        settle(context, [&](auto done) { http::async_read_header(stream, buffer, parser, std::move(done)); }),
        "answer to CONNECT");
    if (parser.get().result_int() != 200) {
        throw std::runtime_error("proxy " + std::to_string(parser.get().result_int()));
    }
}

asio::ssl::context trusting(const std::string& file) {
    asio::ssl::context context(asio::ssl::context::tls_client);
    context.load_verify_file(file);
    context.set_verify_mode(asio::ssl::verify_peer);
    return context;
}

struct Connection {
    explicit Connection(const Route& route)
        : plain(context) {
        const auto port = route.proxyPort != 0 ? route.proxyPort : route.port;
        const asio::ip::tcp::endpoint endpoint(asio::ip::address_v4::loopback(), port);
        require(settle(context, [&](auto done) { plain.async_connect(endpoint, std::move(done)); }),
                "connect");
        if (route.proxyPort != 0) {
            openTunnel(context, plain, route.host);
        }
    }

    asio::io_context context;
    Tcp plain;
};

void secure(asio::io_context& context, Tls& stream, const Route& route) {
    const auto host = hostOnly(route.host);
    SSL_set_tlsext_host_name(stream.native_handle(), host.c_str());
    stream.set_verify_callback(asio::ssl::host_name_verification(host));
    require(
        settle(context,
               [&](auto done) { stream.async_handshake(asio::ssl::stream_base::client, std::move(done)); }),
        "TLS");
}

template<typename Stream>
RawAnswer exchange(asio::io_context& context, Stream& stream,
                   const http::request<http::string_body>& message) {
    require(settle(context, [&](auto done) { http::async_write(stream, message, std::move(done)); }),
            "write");
    http::response<http::string_body> response;
    beast::flat_buffer buffer;
    require(settle(context, [&](auto done) { http::async_read(stream, buffer, response, std::move(done)); }),
            "read");
    RawAnswer answer{static_cast<int>(response.result_int()), {}, response.body()};
    for (const auto& field : response) {
        answer.headers.emplace_back(field.name_string(), field.value());
    }
    return answer;
}

} // namespace

Route Route::direct(const std::string& url, const std::string& certificateFile) {
    const auto host = url.substr(url.find("//") + 2);
    return {host, static_cast<unsigned short>(std::stoi(host.substr(host.find(':') + 1))), certificateFile,
            0};
}

Route Route::byProxy(const std::string& proxy, const std::string& host, const std::string& certificateFile) {
    return {host, 443, certificateFile, direct(proxy).port};
}

boost::json::object RawAnswer::json() const {
    return boost::json::parse(body).as_object();
}

std::vector<std::string> RawAnswer::all(std::string_view header) const {
    std::vector<std::string> values;
    for (const auto& [name, value] : headers) {
        if (name == header) {
            values.push_back(value);
        }
    }
    return values;
}

RawAnswer request(const Route& route, const std::string& method, const std::string& target,
                  const Headers& headers, const std::string& body) {
    http::request<http::string_body> message{http::string_to_verb(method), target, 11};
    message.set(http::field::host, route.host);
    for (const auto& [name, value] : headers) {
        message.insert(name, value);
    }
    message.body() = body;
    message.content_length(body.size());
    Connection connection(route);
    if (route.certificateFile.empty()) {
        return exchange(connection.context, connection.plain, message);
    }
    auto trust = trusting(route.certificateFile);
    Tls tls(std::move(connection.plain), trust);
    secure(connection.context, tls, route);
    return exchange(connection.context, tls, message);
}

struct RawLink::Impl {
    Impl(const Route& route, const std::string& target)
        : trust(trusting(route.certificateFile))
        , connection(route)
        , socket(std::move(connection.plain), trust) {
        secure(connection.context, socket.next_layer(), route);
        socket.control_callback([this](websocket::frame_type kind, beast::string_view) {
            pongs += kind == websocket::frame_type::pong ? 1 : 0;
        });
        socket.read_message_max(maxMessageBytes);
        websocket::response_type response;
        const auto error = settle(connection.context, [&](auto done) {
            socket.async_handshake(response, route.host, target, std::move(done));
        });
        if (error == websocket::error::upgrade_declined) {
            throw UpgradeRefused{static_cast<int>(response.result_int())};
        }
        require(error, "upgrade");
    }

    asio::ssl::context trust;
    Connection connection;
    websocket::stream<Tls> socket;
    beast::flat_buffer buffer;
    // A read goes on over several receive() if nothing comes.
    bool reading = false;
    std::optional<error_code> received;
    int pongs = 0;
};

RawLink::RawLink(const Route& route, const std::string& target)
    : m_impl(std::make_unique<Impl>(route, target)) {}

RawLink::~RawLink() = default;

void RawLink::sendText(const std::string& text) {
    m_impl->socket.text(true);
    require(settle(m_impl->connection.context,
                   [&](auto done) { m_impl->socket.async_write(asio::buffer(text), std::move(done)); }),
            "send");
}

void RawLink::send(boost::json::object command) {
    sendText(boost::json::serialize(command));
}

void RawLink::sendBinary(const std::string& bytes) {
    m_impl->socket.binary(true);
    require(settle(m_impl->connection.context,
                   [&](auto done) { m_impl->socket.async_write(asio::buffer(bytes), std::move(done)); }),
            "send");
}

void RawLink::sendPing() {
    require(settle(m_impl->connection.context,
                   [&](auto done) { m_impl->socket.async_ping({}, std::move(done)); }),
            "ping");
}

void RawLink::close(int code) {
    const websocket::close_reason reason(static_cast<std::uint16_t>(code));
    require(settle(m_impl->connection.context,
                   [&](auto done) { m_impl->socket.async_close(reason, std::move(done)); }),
            "close");
}

std::optional<RawLink::Message> RawLink::receive(std::chrono::milliseconds limit) {
    auto& impl = *m_impl;
    if (!impl.reading) {
        impl.reading = true;
        impl.received.reset();
        impl.socket.async_read(impl.buffer,
                               [&impl](error_code error, std::size_t) { impl.received = error; });
    }
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!impl.received && std::chrono::steady_clock::now() < end) {
        impl.connection.context.restart();
        impl.connection.context.run_one_until(end);
    }
    if (!impl.received) {
        return std::nullopt;
    }
    impl.reading = false;
    require(*impl.received, "receive");
    Message message{impl.socket.got_text(), beast::buffers_to_string(impl.buffer.data())};
    impl.buffer.consume(impl.buffer.size());
    return message;
}

boost::json::object RawLink::await(std::string_view type, std::vector<boost::json::object>* passed) {
    while (auto message = receive()) {
        auto object = boost::json::parse(message->payload).as_object();
        if (object.at("type").as_string() == type) {
            return object;
        }
        if (passed != nullptr) {
            passed->push_back(std::move(object));
        }
    }
    throw std::runtime_error("no " + std::string(type));
}

int RawLink::awaitEnd() {
    try {
        while (receive()) {
        }
    } catch (const std::runtime_error&) {
        return *m_impl->received == websocket::error::closed ? m_impl->socket.reason().code : 1006;
    }
    throw std::runtime_error("the link goes on");
}

int RawLink::pongs() const {
    return m_impl->pongs;
}
